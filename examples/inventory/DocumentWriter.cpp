// The document's making, from DocumentWriter.h.

#include "DocumentWriter.h"

#include <Bases/Guid.h>
#include <strings.h>

#include <climits>
#include <utility>

#include "Failure.h"
#include "Files.h"
#include "Names.h"

namespace Inventory {

namespace {

// The library answers 0 for what it could not write.
void Require(int written) {
    if (written == 0) {
        throw Failure("the document cannot be written in memory");
    }
}

// Whether a document in `encoding` gives ASCII text back as it was written.
// Many encodings that the library knows do not, such as UTF-16.
bool CarriesAscii(const std::string& encoding) {
    std::string ascii;
    for (char c = 0x20; c < 0x7F; ++c) {
        ascii += c;
    }

    Novu::XmlWriter writer;
    if (writer.BeginDocument(encoding) == 0 ||
        writer.BeginElement("probe") == 0 ||
        writer.WriteAttribute("text", ascii) == 0 || writer.EndElement() == 0 ||
        writer.EndDocument() == 0) {
        return false;
    }
    unsigned long size = 0;
    unsigned char* const bytes = writer.GetXmlBuffer(size);

    Novu::XmlReader reader;
    std::string name;
    std::string value;
    return reader.Load(bytes, size) == 1 &&
           reader.GetAttribute(
               reader.GetFirstAttribute(reader.GetRootElement()), name,
               value) == 1 &&
           name == "text" && value == ascii;
}

}  // namespace

DocumentWriter::DocumentWriter(const std::string& encoding)
    : utf8(::strcasecmp(encoding.c_str(), "UTF-8") == 0) {
    if (!CarriesAscii(encoding) || writer.BeginDocument(encoding) == 0) {
        throw Failure("encoding '" + Printable(encoding) +
                      "': unknown, or not fit for the document; try UTF-8");
    }
    Require(writer.BeginElement("inventory"));
    Require(writer.WriteAttribute("version", 1));
    Require(writer.WriteAttribute("charset", CharacterSet()));
    WriteIdentifier();
    Require(writer.WriteEntity("\n"));
}

bool DocumentWriter::Add(const Entry& entry) {
    Require(writer.BeginElement("entry"));
    WriteIdentifier();
    bool escaped = WriteName("path", entry.path);
    Require(writer.WriteAttribute("type", std::string(NameOf(entry.type))));
    if (entry.type != Type::Unreadable) {
        // unsigned long long and long long: the narrower overloads write 32
        // bits.
        Require(writer.WriteAttribute("size", entry.size));
        Require(writer.WriteAttribute("modified", entry.modified));
        Require(writer.WriteAttribute("changed", entry.changed));
        Require(writer.WriteAttribute("created", entry.created));
    }
    if (!entry.md5.empty()) {
        Require(writer.WriteAttribute("md5", entry.md5));
    }
    if (entry.type == Type::Link) {
        escaped = WriteName("target", entry.target) || escaped;
    }
    if (entry.contentsUnreadable) {
        Require(writer.WriteAttribute("contents", std::string("unreadable")));
    }
    Require(writer.EndElement());
    Require(writer.WriteEntity("\n"));
    return escaped;
}

unsigned long DocumentWriter::Save(const std::string& path,
                                   const std::optional<Key>& key) {
    Require(writer.EndElement());
    Require(writer.EndDocument());
    unsigned long size = 0;
    const unsigned char* const bytes = writer.GetXmlBuffer(size);
    std::string sealed;
    if (key) {
        sealed = Seal(bytes, size, *key);
        size = sealed.size();
    }
    if (size > INT_MAX) {
        throw Failure("the document has " + std::to_string(size) +
                      " bytes; 2 GiB or more could not be read again");
    }
    if (key) {
        PutAt(path, std::move(sealed));
    } else {
        PutAt(path, size, [this](const std::string& name) {
            return writer.Save(name) == 1;
        });
    }
    return size;
}

void DocumentWriter::WriteIdentifier() {
    Novu::Guid id;
    while (!id.Generate()) {  // It could draw the nil value, and never will.
    }
    // Format 0 would cut off two digits.
    Require(writer.WriteAttribute("id", id, /*format=*/1));
}

// Answers whether the name had to be escaped.
bool DocumentWriter::WriteName(const std::string& attribute,
                               const std::string& fileName) {
    if (IsWrittenPlain(fileName)) {
        Require(writer.WriteAttribute(attribute, fileName));
        return false;
    }
    Require(writer.WriteAttribute(attribute + "Escaped", Escape(fileName)));
    return true;
}

// Only a UTF-8 document takes non-ASCII text: in others, two conversions meet.
bool DocumentWriter::IsWrittenPlain(const std::string& fileName) const {
    return utf8 ? IsPlain(fileName) : IsAscii(fileName);
}

}  // namespace Inventory
