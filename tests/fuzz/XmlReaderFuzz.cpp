// XmlReader on any bytes: loads them from memory and from a file, walks
// everything, reads every typed value.
//
// Input: the document.

#include <libxml/xmlerror.h>
#include <sys/mman.h>
#include <unistd.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "Bases/Guid.h"
#include "Bases/XmlDoc.h"
#include "tests/fuzz/Fuzz.h"

using Novu::Guid;
using Novu::XmlReader;
using NovuFuzz::Require;

namespace {

const char* const kJunk = "junk";

// As atoi: the low 32 bits of what fits 64.
int ModelInt(const std::string& text) {
    std::size_t at = 0;
    while (at < text.size() &&
           std::strchr(" \t\n\v\f\r", text[at]) != nullptr) {
        ++at;
    }
    const bool minus = at < text.size() && text[at] == '-';
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) {
        ++at;
    }
    const std::uint64_t most = (std::uint64_t{1} << 63) - (minus ? 0 : 1);
    std::uint64_t number = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        const auto digit = static_cast<std::uint64_t>(text[at] - '0');
        number = number > (most - digit) / 10 ? most : number * 10 + digit;
    }
    return static_cast<int>(
        static_cast<std::uint32_t>(minus ? 0 - number : number));
}

void CheckGuid(XmlReader& reader, XmlReader::Attribute* attribute,
               const std::string& text) {
    Guid before;
    before.FromString("00112233-4455-6677-8899-aabbccddeeff");
    Guid expected = before;
    bool throws = false;
    try {
        expected.FromString(text);
    } catch (const std::runtime_error&) {
        throws = true;
    }
    std::string name;
    Guid guid = before;
    try {
        Require(reader.GetAttribute(attribute, name, guid) == 1 && !throws,
                "GetAttribute of a Guid");
    } catch (const std::runtime_error&) {
        Require(throws, "what GetAttribute of a Guid throws");
    }
    Require(guid == expected, "an attribute's Guid");
}

// The text form of what was read.
std::string CheckAttribute(XmlReader& reader, XmlReader::Attribute* attribute) {
    std::string name = kJunk;
    std::string value = kJunk;
    unsigned int number = 4711;
    unsigned char byte = 47;
    unsigned long wide = 4711;
    double real = 47.11;
    const int answer = reader.GetAttribute(attribute, name, value);
    std::string other;
    Require(reader.GetAttribute(attribute, other, number) == answer,
            "GetAttribute of an int");
    Require(reader.GetAttribute(attribute, other, byte) == answer,
            "GetAttribute of a byte");
    Require(reader.GetAttribute(attribute, other, wide) == answer,
            "GetAttribute of a long");
    Require(reader.GetAttribute(attribute, other, real) == answer,
            "GetAttribute of a double");
    if (answer == 0) {
        Require(value == kJunk && number == 4711 && byte == 47 &&
                    wide == 4711 && real == 47.11,
                "an output after a 0");
        return "[]";
    }
    const int expected = ModelInt(value);
    Require(number == static_cast<unsigned int>(expected),
            "an attribute's int");
    Require(byte == static_cast<unsigned char>(expected),
            "an attribute's byte");
    Require(wide == static_cast<unsigned long>(expected),
            "an attribute's long");
    const double fraction = std::strtod(value.c_str(), nullptr);
    Require(real == fraction || (std::isnan(real) && std::isnan(fraction)),
            "an attribute's double");
    CheckGuid(reader, attribute, value);
    Require(name.find('\0') == std::string::npos &&
                value.find('\0') == std::string::npos,
            "a zero in a text");
    return "[" + name + "=" + value + "]";
}

std::string CheckElement(XmlReader& reader, XmlReader::Element* element,
                         const std::string& found) {
    std::string name = kJunk;
    const int answer = reader.GetElement(element, name);
    Require(name == found && (answer == 1 || name == kJunk),
            "an element's name");
    std::string tree = "<" + name;
    for (auto* each = reader.GetFirstAttribute(element); each != nullptr;
         each = reader.NextAttribute(each)) {
        tree += CheckAttribute(reader, each);
    }
    std::string text = kJunk;
    Require(reader.GetEntity(element, text) == 1 || text == kJunk,
            "a text after a 0");
    tree += "'" + text + "'";
    name = kJunk;
    for (auto* each = reader.ChildElement(element, &name); each != nullptr;
         name = kJunk, each = reader.NextElement(each, &name)) {
        tree += CheckElement(reader, each, name);
    }
    Require(name == kJunk, "a name without an element");
    return tree + ">";
}

std::string CheckTree(XmlReader& reader, int answer, unsigned char* bytes,
                      unsigned long size) {
    auto* const root = reader.GetRootElement();
    Require((root != nullptr) == (answer == 1), "the root");
    std::string tree = "none";
    if (root != nullptr) {
        Require(reader.Load(bytes, size) == 0 && reader.Load("-") == 0,
                "a load while loaded");
        std::string name = kJunk;
        reader.GetElement(root, name);
        tree = CheckElement(reader, root, name);
    }
    reader.Close();
    Require(reader.GetRootElement() == nullptr, "the root after Close");
    return tree;
}

bool IsCompressed(const std::string& document) {
    return document.starts_with("\x1f\x8b") || document.starts_with("\xfd") ||
           document.starts_with("\x5d");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int file = [] {
        std::setlocale(LC_ALL, "C.utf8");
        ::xmlSetStructuredErrorFunc(nullptr,
                                    [](void* /*context*/, auto* /*error*/) {});
        return ::memfd_create("document", 0);
    }();
    std::string document = NovuFuzz::Input(data, size).Rest();
    auto* const bytes = reinterpret_cast<unsigned char*>(document.data());
    XmlReader reader;
    int answer = reader.Load(bytes, size);
    const std::string tree = CheckTree(reader, answer, bytes, size);

    Require(::ftruncate(file, 0) == 0 &&
                ::pwrite(file, bytes, size, 0) == static_cast<ssize_t>(size),
            "the file");
    answer = reader.Load("/proc/self/fd/" + std::to_string(file));
    const std::string fromFile = CheckTree(reader, answer, bytes, size);
    Require(IsCompressed(document) || fromFile == tree, "a file and memory");
    return 0;
}
