// XmlWriter, then XmlReader: what is written by the rules is read again, and no
// order of calls and no text does harm.
//
// Input: a byte of choices, then either the elements of a tree or calls.

#include <libxml/xmlerror.h>

#include <clocale>

#include "Bases/Guid.h"
#include "Bases/XmlDoc.h"
#include "tests/fuzz/Fuzz.h"

using Novu::Guid;
using Novu::XmlReader;
using Novu::XmlWriter;
using NovuFuzz::Input;
using NovuFuzz::Require;

namespace {

// A text of characters that XML allows, by two bytes each.
std::string ValidText(Input& input, std::size_t limit) {
    std::string text;
    for (std::size_t left = input.Below(limit); left != 0; --left) {
        std::uint32_t number = input.Byte();
        if (number >= 0xA0) {  // Of two, three or four bytes.
            number = (number << 8 | input.Byte()) << (number & 7);
        } else if (number < 0x20 || number > 0x7E) {
            number = static_cast<unsigned char>("\t\n\r "[number % 4]);
        }
        number = (number >= 0xD800 && number < 0xE000) || number > 0x10FFFF ||
                         (number & 0xFFFE) == 0xFFFE
                     ? '?'
                     : number;
        const int more = number < 0x80      ? 0
                         : number < 0x800   ? 1
                         : number < 0x10000 ? 2
                                            : 3;
        const std::uint32_t leads[] = {0, 0xC0, 0xE0, 0xF0};
        text += static_cast<char>(leads[more] | number >> 6 * more);
        for (int each = more - 1; each >= 0; --each) {
            text += static_cast<char>(0x80 | (number >> 6 * each & 0x3F));
        }
    }
    return text;
}

// A name without a colon, which "n" keeps from being a namespace's.
std::string ValidName(Input& input) {
    std::string name = "n";
    for (std::size_t left = input.Below(12); left != 0; --left) {
        name += "abcXYZ019._-"[input.Below(12)];
    }
    return name + (input.Below(8) == 0 ? "\xed\x95\x9c" : "");
}

// A text, or a value with the text that is to be read.
struct Value {
    std::string text;
    int kind;
    long long number;
    Guid guid;

    explicit Value(Input& input)
        : kind(static_cast<int>(input.Below(8))), number(0) {
        switch (kind) {
            case 0:
            case 1:  // Written as a signed number, and of a long the low half.
                number = input.Take<int>();
                text = std::to_string(number);
                break;
            case 2:
                number = input.Take<long long>();
                text = std::to_string(static_cast<int>(number & 0xFFFFFFFF));
                break;
            case 3:
                number = input.Take<long long>();
                text = std::to_string(number);
                break;
            case 4:
                number = input.Take<long long>();
                text = std::to_string(static_cast<unsigned long long>(number));
                break;
            case 5:
                number = input.Take<short>();
                text = std::to_string(static_cast<double>(number) / 64);
                break;
            case 6:
                if (guid.Generate()) {
                    text = guid.ToString(1);
                }
                break;
            default:
                text = ValidText(input, 300);
        }
    }

    // Calls write(value) with the value's own type.
    template <typename Write, typename WriteGuid>
    int Pass(Write write, WriteGuid writeGuid) const {
        switch (kind) {
            case 0:
                return write(static_cast<int>(number));
            case 1:
                return write(static_cast<unsigned int>(number));
            case 2:
                return write(static_cast<unsigned long>(number));
            case 3:
                return write(number);
            case 4:
                return write(static_cast<unsigned long long>(number));
            case 5:
                return write(static_cast<double>(number) / 64);
            case 6:
                return writeGuid(guid);
            default:
                return write(text);
        }
    }
};

// Writes an element and answers what is to be read: its name, its attributes,
// the text before anything else, the elements in it.
std::string Write(XmlWriter& writer, Input& input, int depth) {
    const std::string name = ValidName(input);
    std::string tree = "<" + name;
    Require(writer.BeginElement(name) == 1, "BeginElement");
    for (std::size_t each = 0, count = input.Below(4); each != count; ++each) {
        const std::string key = ValidName(input) + std::to_string(each);
        const Value value(input);
        Require(
            value.Pass(
                [&](const auto& v) { return writer.WriteAttribute(key, v); },
                [&](const Guid& v) {
                    return writer.WriteAttribute(key, v, 1);
                }) == 1,
            "WriteAttribute");
        tree += "[" + key + "=" + value.text + "]";
    }
    std::string text;
    std::string below;
    bool first = true;  // Nothing but text so far.
    for (std::size_t left = input.Below(6); left != 0; --left) {
        const std::size_t kind = input.Below(depth < 40 ? 5 : 4);
        if (kind == 0) {
            const Value value(input);
            Require(
                value.Pass([&](const auto& v) { return writer.WriteEntity(v); },
                           [&](const Guid& v) {
                               return writer.WriteEntity(v, 1);
                           }) == 1,
                "WriteEntity");
            text += first ? value.text : "";
        } else if (kind == 1) {
            std::string comment = ValidText(input, 20);
            for (char& character : comment) {
                character = character == '-' ? '+' : character;
            }
            Require(writer.WriteComment(comment) == 1, "WriteComment");
            first = false;
        } else if (kind == 2) {
            const std::string child = ValidName(input);
            const Value value(input);
            Require(value.Pass(
                        [&](const auto& v) {
                            return writer.WriteElementEntity(child, v);
                        },
                        [&](const Guid& v) {
                            return writer.WriteElementEntity(child, v, 1);
                        }) == 1,
                    "WriteElementEntity");
            below += "<" + child + "'" + value.text + "'>";
            first = false;
        } else if (kind == 3) {
            const std::string child = ValidName(input);
            const std::string inside = ValidText(input, 50);
            Require(writer.WriteElement(child, inside) == 1, "WriteElement");
            below += "<" + child + "'" + inside + "'>";
            first = false;
        } else {
            below += Write(writer, input, depth + 1);
            first = false;
        }
    }
    if (depth != 0 || input.Below(2) == 0) {  // Or EndDocument ends it.
        Require(writer.EndElement() == 1, "EndElement");
    }
    return tree + "'" + text + "'" + below + ">";
}

std::string Read(XmlReader& reader, XmlReader::Element* element) {
    std::string name;
    Require(reader.GetElement(element, name) == 1, "GetElement");
    std::string tree = "<" + name;
    for (auto* each = reader.GetFirstAttribute(element); each != nullptr;
         each = reader.NextAttribute(each)) {
        std::string value;
        Require(reader.GetAttribute(each, name, value) == 1, "GetAttribute");
        tree += "[" + name + "=" + value + "]";
    }
    std::string text;
    reader.GetEntity(element, text);
    tree += "'" + text + "'";
    for (auto* each = reader.ChildElement(element, nullptr); each != nullptr;
         each = reader.NextElement(each, nullptr)) {
        tree += Read(reader, each);
    }
    return tree + ">";
}

void RoundTrip(Input& input) {
    XmlWriter writer;
    Require(writer.BeginDocument("UTF-8") == 1, "BeginDocument");
    const std::string tree = Write(writer, input, 0);
    Require(writer.EndDocument() == 1, "EndDocument");
    unsigned long size = 0;
    unsigned char* const bytes = writer.GetXmlBuffer(size);
    XmlReader reader;
    Require(reader.Load(bytes, size) == 1, "Load");
    Require(Read(reader, reader.GetRootElement()) == tree, "what was read");
}

// Any calls with any texts. The model knows no more than whether a document is
// begun, and whether it still takes names and texts.
void AnyCalls(Input& input) {
    const char* const encodings[] = {"UTF-8", "ISO-8859-1", "UTF-16", "EUC-KR",
                                     "UTF-7", "none",       ""};
    XmlWriter writer;
    bool begun = false;
    bool takes = false;
    while (!input.IsEmpty()) {
        const std::size_t call = input.Below(12);
        const std::string first = input.Text();
        const std::string second = input.Text();
        if (call == 0) {
            const int answer = writer.BeginDocument(
                encodings[input.Below(std::size(encodings))]);
            Require(answer == 0 || !begun, "a second BeginDocument");
            takes = begun ? takes : answer == 1;
            begun = true;
        } else if (call == 1) {
            Require(writer.EndDocument() == 0 || begun, "EndDocument");
            begun = takes = false;
        } else if (call == 2) {
            writer.Close();
            takes = false;
        } else if (call == 3) {
            Require(writer.EndElement() == 0 || begun, "EndElement");
        } else if (call == 4) {
            Require(writer.BeginElement(first) == 0 || takes, "BeginElement");
        } else if (call == 5) {
            Require(writer.WriteElement(first, second) == 0 || takes,
                    "WriteElement");
        } else if (call == 6) {
            Require(writer.WriteAttribute(first, second) == 0 || takes,
                    "WriteAttribute");
        } else if (call == 7) {
            Require(writer.WriteEntity(first) == 0 || takes, "WriteEntity");
        } else if (call == 8) {
            Require(writer.WriteElementEntity(first, second) == 0 || takes,
                    "WriteElementEntity");
        } else if (call == 9) {
            Require(writer.WriteComment(first) == 0 || takes, "WriteComment");
        } else if (call == 10) {
            const auto value = input.Take<double>();
            Require(writer.WriteAttribute(first, value) == 0 || takes,
                    "WriteAttribute of a double");
        } else {
            unsigned long size = 4711;
            unsigned char* const bytes = writer.GetXmlBuffer(size);
            Require(bytes != nullptr || size == 0, "GetXmlBuffer");
            XmlReader reader;
            Require(reader.Load(bytes, size) == 0 ||
                        reader.GetRootElement() != nullptr,
                    "the root");
        }
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool once = [] {
        std::setlocale(LC_ALL, "C.utf8");
        ::xmlSetStructuredErrorFunc(nullptr,
                                    [](void* /*context*/, auto* /*error*/) {});
        return true;
    }();
    Input input(data, size);
    if (once && (input.Byte() & 1) == 0) {
        RoundTrip(input);
    } else {
        AnyCalls(input);
    }
    return 0;
}
