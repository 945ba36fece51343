// The document's reading, from DocumentReader.h.

#include "DocumentReader.h"

#include <Bases/Guid.h>
#include <Bases/XmlDoc.h>
#include <strings.h>

#include <algorithm>
#include <climits>
#include <set>
#include <stdexcept>
#include <utility>

#include "Attributes.h"
#include "Failure.h"
#include "Files.h"
#include "Names.h"

namespace Inventory {

namespace {

// Not XmlReader::Load(path): only who opens the file knows why it cannot be
// read, and libxml2 takes some names for more than a file ("-" is standard
// input).
std::string ReadXml(const std::string& path, const std::optional<Key>& key) {
    std::string bytes =
        ReadFile(path, INT_MAX, "2 GiB or more, which XmlReader cannot load");
    if (IsSealed(bytes) != key.has_value()) {
        throw Failure(key ? "is not sealed, and is read without --seal"
                          : "is sealed, and is read with --seal KEYFILE");
    }
    return key ? Unseal(bytes, *key) : bytes;
}

// The encoding that the XML declaration names.
std::string DeclaredEncoding(const std::string& bytes) {
    const std::string declaration = bytes.substr(0, bytes.find("?>"));
    const std::size_t word = declaration.find("encoding");
    const std::size_t open = declaration.find_first_of("\"'", word);
    if (word == std::string::npos || open == std::string::npos) {
        return "";
    }
    const std::size_t close = declaration.find(declaration[open], open + 1);
    return declaration.substr(open + 1, close - open - 1);
}

// Reads the document's tree. Its failures do not name the file.
class Parser {
public:
    explicit Parser(std::string& bytes);  // Only read.
    std::vector<Entry> Read();

private:
    Attributes ReadAttributes(Novu::XmlReader::Element* element);
    Entry ReadEntry(Attributes attributes);
    void TakeIdentifier(Attributes& attributes);
    std::string TakeName(Attributes& attributes, const std::string& attribute);

    Novu::XmlReader reader;
    std::string encoding;              // Of the document.
    std::string charset;               // Of the names when it was written.
    std::set<Novu::Guid> identifiers;  // Those met so far.
};

Parser::Parser(std::string& bytes) {
    // A value with an entity of the document's own would be read up to it.
    if (bytes.find("<!DOCTYPE") != std::string::npos) {
        throw Failure("has a document type, which no inventory has");
    }
    if (reader.Load(reinterpret_cast<unsigned char*>(bytes.data()),
                    bytes.size()) == 0) {
        throw Failure(
            "no XML document that is well-formed and declares a known "
            "encoding");
    }
    encoding = DeclaredEncoding(bytes);
}

std::vector<Entry> Parser::Read() {
    Novu::XmlReader::Element* const root = reader.GetRootElement();
    std::string name;
    if (reader.GetElement(root, name) == 0 || name != "inventory") {
        throw Failure("no inventory: its root element is '" + Printable(name) +
                      "'");
    }
    Attributes attributes = ReadAttributes(root);
    if (Take(attributes, "version") != "1") {
        throw Failure("an inventory of another version than 1");
    }
    charset = Take(attributes, "charset");
    TakeIdentifier(attributes);
    RequireNone(attributes);

    std::vector<Entry> entries;
    for (Novu::XmlReader::Element* element = reader.ChildElement(root, nullptr);
         element != nullptr; element = reader.NextElement(element, nullptr)) {
        try {
            if (reader.GetElement(element, name) == 0 || name != "entry" ||
                reader.ChildElement(element, nullptr) != nullptr) {
                throw Failure("not an entry alone");
            }
            entries.push_back(ReadEntry(ReadAttributes(element)));
        } catch (const Failure& failure) {
            throw Failure("element " + std::to_string(entries.size() + 1) +
                          ": " + failure.what());
        }
    }
    return entries;
}

Attributes Parser::ReadAttributes(Novu::XmlReader::Element* element) {
    Attributes attributes;
    for (Novu::XmlReader::Attribute* attribute =
             reader.GetFirstAttribute(element);
         attribute != nullptr; attribute = reader.NextAttribute(attribute)) {
        std::string name;
        std::string value;
        if (reader.GetAttribute(attribute, name, value) == 0) {
            throw Failure("the attribute " + Printable(name) +
                          " has no form in this locale's character set, " +
                          CharacterSet() + " (LC_ALL chooses it)");
        }
        if (!attributes.emplace(name, value).second) {
            throw Failure("the attribute " + Printable(name) +
                          " is there twice");
        }
    }
    return attributes;
}

Entry Parser::ReadEntry(Attributes attributes) {
    Entry entry;
    TakeIdentifier(attributes);
    entry.path = TakeName(attributes, "path");
    if (!IsBelowAFolder(entry.path)) {
        throw Failure("the path '" + Printable(entry.path) +
                      "' is not one below a folder");
    }

    const std::string typeName = Take(attributes, "type");
    const std::optional<Type> type = TypeNamed(typeName);
    if (!type) {
        throw Failure("the type '" + Printable(typeName) + "' is unknown");
    }
    entry.type = *type;
    if (entry.type != Type::Unreadable) {
        entry.size = TakeNumber<unsigned long long>(attributes, "size");
        for (const auto& [name, time] :
             {std::pair("modified", &entry.modified),
              std::pair("changed", &entry.changed),
              std::pair("created", &entry.created)}) {
            *time = TakeNumber<long long>(attributes, name);
        }
    }
    if (entry.type == Type::File) {
        entry.md5 = TakeDigest(attributes);
    }
    if (entry.type == Type::Link) {
        entry.target = TakeName(attributes, "target");
    }
    if (entry.type == Type::Folder) {
        const auto contents = TakeIfThere(attributes, "contents");
        entry.contentsUnreadable = contents.has_value();
        if (contents && *contents != "unreadable") {
            throw Failure("contents '" + Printable(*contents) + "' is unknown");
        }
    }
    RequireNone(attributes);
    return entry;
}

// The identifier is read to see that it is one, and not met before.
void Parser::TakeIdentifier(Attributes& attributes) {
    const std::string text = Take(attributes, "id");
    Novu::Guid id;
    bool read = false;
    try {
        read = id.FromString(text);
    } catch (const std::runtime_error&) {  // The library's: no identifier.
    }
    // FromString also takes other spellings, and ignores what follows.
    if (!read || id.ToString(/*format=*/1) != text) {
        throw Failure("the id '" + Printable(text) + "' is no identifier");
    }
    if (!identifiers.insert(id).second) {
        throw Failure("the id '" + text + "' is there twice");
    }
}

// A name in its plain or its escaped form, as bytes of this system.
std::string Parser::TakeName(Attributes& attributes,
                             const std::string& attribute) {
    const auto escaped = TakeIfThere(attributes, attribute + "Escaped");
    if (escaped) {
        std::string name;
        if (!Unescape(*escaped, name)) {
            throw Failure("the " + attribute + " '" + Printable(*escaped) +
                          "' is not well escaped");
        }
        return name;
    }

    std::string name = Take(attributes, attribute);
    if (!IsPlain(name)) {
        throw Failure("the " + attribute + " '" + Printable(name) +
                      "' should have been escaped");
    }
    // XmlReader reads non-ASCII text well from UTF-8 documents alone; and the
    // bytes of a name depend on the character set.
    if (!IsAscii(name) && ::strcasecmp(encoding.c_str(), "UTF-8") != 0) {
        throw Failure("the " + attribute + " '" + Printable(name) +
                      "' is not ASCII, which needs a document in UTF-8");
    }
    if (!IsAscii(name) && charset != CharacterSet()) {
        throw Failure("the " + attribute + " '" + Printable(name) +
                      "' was in the character set " + Printable(charset) +
                      "; this locale's is " + CharacterSet());
    }
    return name;
}

}  // namespace

std::vector<Entry> ReadDocument(const std::string& path,
                                const std::optional<Key>& key) {
    try {
        std::string bytes = ReadXml(path, key);
        std::vector<Entry> entries = Parser(bytes).Read();
        std::sort(entries.begin(), entries.end(),
                  [](const Entry& a, const Entry& b) {
                      return IsBefore(a.path, b.path);
                  });
        const auto twice = std::adjacent_find(
            entries.begin(), entries.end(),
            [](const Entry& a, const Entry& b) { return a.path == b.path; });
        if (twice != entries.end()) {
            throw Failure("the path '" + Printable(twice->path) +
                          "' is there twice");
        }
        return entries;
    } catch (const Failure& failure) {
        throw Failure(Printable(path) + ": " + failure.what());
    }
}

}  // namespace Inventory
