// XmlDoc: a document with attributes, written and read. Its texts are ASCII;
// for others, call BasesInit (Bases.h) first.

#include <Bases/XmlDoc.h>

#include <iostream>
#include <string>

namespace {

bool Write(Novu::XmlWriter& writer) {
    bool good = writer.BeginDocument("UTF-8") == 1;
    good = good && writer.BeginElement("books") == 1;
    good = good && writer.BeginElement("book") == 1;
    good = good && writer.WriteAttribute("title", "Five & Ten") == 1;
    // Unsigned: "long long", or it would be cut to an int.
    const unsigned long long pages = 3000000000;
    good = good && writer.WriteAttribute("pages", pages) == 1;
    good = good && writer.WriteEntity("A text.") == 1;
    return writer.EndDocument() == 1 && good;  // It ends the elements, too.
}

bool Read(Novu::XmlReader& reader) {
    std::string element;
    std::string text;
    auto* book = reader.ChildElement(reader.GetRootElement(), &element);
    if (book == nullptr || reader.GetEntity(book, text) != 1) {
        return false;
    }
    std::cout << element << ": " << text << '\n';
    std::string name;
    std::string value;
    auto* attribute = reader.GetFirstAttribute(book);
    while (attribute != nullptr) {
        if (reader.GetAttribute(attribute, name, value) != 1) {
            return false;
        }
        std::cout << name << " = " << value << '\n';
        attribute = reader.NextAttribute(attribute);
    }
    return true;
}

}  // namespace

int main() {
    Novu::XmlWriter writer;
    if (!Write(writer)) {
        return 1;
    }
    unsigned long size = 0;
    unsigned char* const bytes = writer.GetXmlBuffer(size);  // Not ours.
    Novu::XmlReader reader;
    return reader.Load(bytes, size) == 1 && Read(reader) ? 0 : 1;
}

// Prints:
//   book: A text.
//   title = Five & Ten
//   pages = 3000000000
