// The XML writer and reader, from Bases/XmlDoc.h, over libxml2 and iconv.

#include "Bases/XmlDoc.h"

#include <iconv.h>
#include <langinfo.h>
#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlmemory.h>
#include <libxml/xmlstring.h>
#include <libxml/xmlwriter.h>
#include <string.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Bases/Guid.h"
#include "Bases/Impl/CancellationDisabled.h"
#include "Bases/Impl/Owned.h"
#include "Bases/Impl/Utf8.h"
#include "Bases/String.h"
#include "Bases/tchar.h"

namespace Novu {

namespace {

const std::size_t kIconvError = static_cast<std::size_t>(-1);

const std::size_t kIntegerRoom = 32;  // For every integer, in characters.

// For every number: "%lf" of the largest double has 316 characters.
const std::size_t kNumberRoom = 512;

// Zero bytes behind a converted text: libxml2 is to find an end also where the
// conversion wrote none (UTF-7 may not).
const std::size_t kTerminatorRoom = 4;

const std::size_t kDecodeRoom = 4096;  // Of a loaded reader, in bytes.
const std::size_t kDecodeGrowth = 10;  // What a text may grow by, in bytes.

// xmlFree is a variable that hosts may set, so it is read at each call.
void FreeText(xmlChar* text) { ::xmlFree(text); }
void CloseConverter(iconv_t converter) { ::iconv_close(converter); }

// Closes what is open, and leaves null.
void CloseIfOpen(iconv_t& converter) {
    if (converter != nullptr) {
        CloseConverter(std::exchange(converter, nullptr));
    }
}

// Closes the file that was parsed, too, which is a cancellation point.
void FreeParser(xmlParserCtxt* parser) {
    const CancellationDisabled disabled;
    ::xmlFreeParserCtxt(parser);
}

using Text = Owned<xmlChar, FreeText>;
using Converter = Owned<std::remove_pointer_t<iconv_t>, CloseConverter>;
using Document = Owned<xmlDoc, ::xmlFreeDoc>;

Converter OpenConverter(const char* to, const char* from) {
    const iconv_t converter = ::iconv_open(to, from);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): iconv's word for a failure.
    const iconv_t failure = reinterpret_cast<iconv_t>(-1);
    return Converter(converter != failure ? converter : nullptr);
}

// "char" is the character set of the C locale. glibc's iconv does not know the
// name; that of the character set, as it is at the moment, takes its place.

const char* CharacterSet() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): BasesInit alone sets the locale.
    return ::nl_langinfo(CODESET);
}

Converter OpenFromChar(const char* to) {
    Converter converter = OpenConverter(to, "char");
    return converter != nullptr ? std::move(converter)
                                : OpenConverter(to, CharacterSet());
}

Converter OpenToChar(const char* from) {
    Converter converter = OpenConverter("char", from);
    return converter != nullptr ? std::move(converter)
                                : OpenConverter(CharacterSet(), from);
}

void ResetShiftState(iconv_t converter) {
    ::iconv(converter, nullptr, nullptr, nullptr, nullptr);
}

}  // namespace

// Which texts a converter gives back byte for byte, so that there is nothing
// to convert. Every other text goes through it, and is refused where it is. Not
// in an unnamed namespace, since it is the type of a field of PrivateData.
enum class Copied { kNone, kAscii, kUtf8 };

namespace {

bool IsCopied(Copied copied, const char* text, std::size_t size) {
    switch (copied) {
        case Copied::kUtf8:
            return IsUtf8(text, size);
        case Copied::kAscii:
            return IsAscii(text, size);
        case Copied::kNone:
            break;
    }
    return false;
}

// All of ASCII, and what would stand for something else: encodings with shifts
// or escapes made of ASCII give back each character alone, but not these, which
// they read as nothing (ISO-2022) or as the letter a (UTF-7, that of mailboxes,
// those of programming languages). The size is odd, so that an encoding in
// units of two or four bytes finds a part of one.
constexpr auto kAsciiTrial = [] {
    constexpr std::string_view escapes = "\x1B(B+AGE-&AGE-\\u0061\\U00000061";
    constexpr std::size_t size = 0x80 + escapes.size();
    static_assert(size % 2 == 1);
    std::array<char, size> trial{};
    for (std::size_t i = 0; i != size; ++i) {
        trial[i] = i < 0x80 ? static_cast<char>(i) : escapes[i - 0x80];
    }
    return trial;
}();

// The ends of what each length of a sequence holds, and what a converter might
// drop, refuse or compose: a byte-order mark, characters that are none, tags, a
// letter with its accent as one and as two.
constexpr std::string_view kUtf8Trial =
    "\uFEFF\u0080\u07FF\u0800\uD7FF\uE000\uFDD0\uFFFD\uFFFE\uFFFF"
    "\U00010000\U000E0001\U000E007F\U0010FFFF\u00E9e\u0301";

bool GivesBack(iconv_t converter, std::string_view text) {
    std::array<char, 2 * kAsciiTrial.size()> given{};
    char* in = const_cast<char*>(text.data());
    char* out = given.data();
    std::size_t inLeft = text.size();
    std::size_t outLeft = given.size();
    ResetShiftState(converter);
    if (::iconv(converter, &in, &inLeft, &out, &outLeft) == kIconvError) {
        return false;
    }
    return std::string_view(given.data(), given.size() - outLeft) == text;
}

bool IsNameOfUtf8(const char* encoding) {
    const auto* const name = reinterpret_cast<const xmlChar*>(encoding);
    return ::xmlStrcasecmp(name, reinterpret_cast<const xmlChar*>("UTF-8")) ==
               0 ||
           ::xmlStrcasecmp(name, reinterpret_cast<const xmlChar*>("UTF8")) == 0;
}

// Of a converter between `encoding` and the C locale's character set. That both
// are UTF-8 is known from one being so by name: what has the same bytes for the
// trial is UTF-8, too.
Copied CopiedBy(iconv_t converter, const char* encoding) {
    if (!GivesBack(converter, {kAsciiTrial.data(), kAsciiTrial.size()})) {
        return Copied::kNone;
    }
    return IsNameOfUtf8(encoding) && GivesBack(converter, kUtf8Trial)
               ? Copied::kUtf8
               : Copied::kAscii;
}

// Where memory runs out, libxml2 may answer as if it had not: an empty text is
// written, or a tree lacks a part. What it remembers of its last error tells.

// That of this thread, whose place does not change. From libxml2 2.12 on, null
// while there is none.
const xmlError* LastError() {
#if LIBXML_VERSION < 21200
    return &xmlLastError;
#else  // Deprecates that variable.
    return ::xmlGetLastError();
#endif
}

bool IsOfMemory(const xmlError* error) {
    return error != nullptr && error->code == XML_ERR_NO_MEMORY;
}

bool RanOutOfMemory() { return IsOfMemory(LastError()); }

// Before a call after which RanOutOfMemory is asked. Other errors stay.
void ForgetMemoryError() {
    if (RanOutOfMemory()) {
        ::xmlResetLastError();
    }
}

// The answer of a write: libxml2's, but a text that could not be converted is
// a failure also where libxml2 takes a null pointer for an empty text. The last
// error is found once, where there is one: that takes as long as a short write.
template <typename Write, typename... Texts>
int Written(Write write, const Texts&... texts) {
    const xmlError* const error = LastError();
    if (IsOfMemory(error)) {
        ::xmlResetLastError();
    }
    const int result = write();
    const bool ranOut = IsOfMemory(error != nullptr ? error : LastError());
    return result >= 0 && !ranOut && (... && (texts.Get() != nullptr)) ? 1 : 0;
}

// What atoi and atof answer, also where the number is out of their range and
// their own behaviour undefined.
int ParseInt(const std::string& text) {
    // A long is the wider one: the low bits count.
    static_assert(sizeof(long) > sizeof(int));
    return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

double ParseDouble(const std::string& text) {
    return std::strtod(text.c_str(), nullptr);
}

// The text of a value, as the document shows it.

std::string TextOf(int value) {
    char text[kIntegerRoom] = {};
    return _itoa(value, text, 10);
}

// By design [xml-6]
std::string TextOf(unsigned int value) {
    return TextOf(static_cast<int>(value));
}

// By design [xml-6]
std::string TextOf(unsigned long value) {
    return TextOf(static_cast<int>(value));
}

std::string TextOf(long long value) {
    char text[kIntegerRoom] = {};
    return _i64toa(value, text, 10);
}

std::string TextOf(unsigned long long value) {
    char text[kIntegerRoom] = {};
    std::snprintf(text, sizeof text, "%llu", value);
    return text;
}

std::string TextOf(double value) {
    char text[kNumberRoom] = {};
    std::snprintf(text, sizeof text, "%lf", value);
    return text;
}

}  // namespace

// Writer

struct [[gnu::visibility("hidden")]] XmlWriter::PrivateData {
    xmlBuffer* buffer;      // Receives the document; null when none.
    xmlTextWriter* writer;  // Writes into the buffer; null between documents.
    iconv_t converter;      // From the C locale; null when none.
    xmlBuffer* closed;      // Closed under a writer that still flushes into it.
    Copied copied;          // By the converter.

    void FreeWriter();
};

namespace {

// The text in the document's encoding, or null. The converter is told of twice
// the text's length with its terminator, all zero behind the text, and of room
// for three times that length.
Text Convert(iconv_t converter, Copied copied, const std::string& text) {
    const std::size_t length = text.size() + 1;
    // Where a zero comes out as one, those behind the terminator take as many
    // bytes of the room as they are, and both are left out. Otherwise the text
    // stands in a block with its zeros.
    const bool hasZeros = copied == Copied::kNone;
    const std::size_t outRoom = hasZeros ? 3 * length : 2 * length;
    const std::size_t inCount = hasZeros ? 2 * length : length;
    Text block(static_cast<xmlChar*>(
        ::xmlMalloc(outRoom + kTerminatorRoom + (hasZeros ? inCount : 0))));
    if (block == nullptr) {
        return nullptr;
    }

    char* out = reinterpret_cast<char*>(block.get());
    char* in = const_cast<char*>(text.c_str());
    if (hasZeros) {
        in = out + outRoom + kTerminatorRoom;
        // NOLINTNEXTLINE(bugprone-not-null-terminated-result): memset ends it.
        std::memcpy(in, text.data(), text.size());
        std::memset(in + text.size(), 0, inCount - text.size());
    }

    std::size_t outLeft = outRoom;
    std::size_t inLeft = inCount;
    ResetShiftState(converter);
    if (::iconv(converter, &in, &inLeft, &out, &outLeft) == kIconvError) {
        return nullptr;
    }
    std::memset(out, 0, kTerminatorRoom);
    return block;
}

// A name or text for one call of libxml2: as it is where the converter would
// only copy it, else converted; null where that fails. It refers to `text`.
class Encoded {
public:
    Encoded(iconv_t converter, Copied copied, const std::string& text) {
        if (converter == nullptr) {
            return;
        }
        if (IsCopied(copied, text.data(), text.size())) {
            start = reinterpret_cast<const xmlChar*>(text.c_str());
        } else {
            converted = Convert(converter, copied, text);
            start = converted.get();
        }
    }

    const xmlChar* Get() const { return start; }

private:
    Text converted;
    const xmlChar* start = nullptr;
};

}  // namespace

void XmlWriter::PrivateData::FreeWriter() {
    if (writer != nullptr) {
        ::xmlFreeTextWriter(writer);
        writer = nullptr;
    }
    if (closed != nullptr) {
        ::xmlBufferFree(closed);
        closed = nullptr;
    }
}

XmlWriter::XmlWriter() : data(new PrivateData()) {}

XmlWriter::~XmlWriter() {
    XmlWriter::Close();
    data->FreeWriter();
    delete data;
}

int XmlWriter::BeginDocument(const std::string& encoding) {
    if (data->writer != nullptr) {
        return 0;
    }
    if (data->buffer != nullptr) {
        ::xmlBufferFree(data->buffer);
    }
    ForgetMemoryError();
    data->buffer = ::xmlBufferCreate();
    if (data->buffer == nullptr) {
        return 0;
    }
    // Grown by exact steps, a large document would be moved at every step.
    ::xmlBufferSetAllocationScheme(data->buffer, XML_BUFFER_ALLOC_DOUBLEIT);
    data->writer = ::xmlNewTextWriterMemory(data->buffer, 0);
    if (data->writer != nullptr &&
        ::xmlTextWriterStartDocument(data->writer, nullptr, encoding.c_str(),
                                     nullptr) >= 0 &&
        !RanOutOfMemory()) {
        data->converter = OpenFromChar(encoding.c_str()).release();
    }
    if (data->converter == nullptr) {
        Close();
        return 0;
    }
    data->copied = CopiedBy(data->converter, encoding.c_str());
    return 1;
}

int XmlWriter::EndDocument() {
    int result = 0;
    if (data->writer != nullptr) {
        result =
            Written([&] { return ::xmlTextWriterEndDocument(data->writer); });
        data->FreeWriter();
    }
    CloseIfOpen(data->converter);
    return result;
}

void XmlWriter::Close() {
    if (data->buffer != nullptr) {
        // A live writer flushes into the buffer once more when it is freed.
        if (data->writer != nullptr) {
            data->closed = data->buffer;
        } else {
            ::xmlBufferFree(data->buffer);
        }
        data->buffer = nullptr;
    }
    CloseIfOpen(data->converter);
}

int XmlWriter::BeginElement(const std::string& name) {
    if (data->writer == nullptr) {
        return 0;
    }
    const Encoded xmlName(data->converter, data->copied, name);
    return Written(
        [&] {
            return ::xmlTextWriterStartElement(data->writer, xmlName.Get());
        },
        xmlName);
}

int XmlWriter::EndElement() {
    if (data->writer == nullptr) {
        return 0;
    }
    return Written([&] { return ::xmlTextWriterEndElement(data->writer); });
}

int XmlWriter::WriteElement(const std::string& name, const std::string& text) {
    if (data->writer == nullptr) {
        return 0;
    }
    const Encoded xmlName(data->converter, data->copied, name);
    const Encoded xmlText(data->converter, data->copied, text);
    return Written(
        [&] {
            return ::xmlTextWriterWriteElement(data->writer, xmlName.Get(),
                                               xmlText.Get());
        },
        xmlName, xmlText);
}

int XmlWriter::WriteAttribute(const std::string& name,
                              const std::string& value) {
    if (data->writer == nullptr) {
        return 0;
    }
    const Encoded xmlName(data->converter, data->copied, name);
    const Encoded xmlValue(data->converter, data->copied, value);
    return Written(
        [&] {
            return ::xmlTextWriterWriteAttribute(data->writer, xmlName.Get(),
                                                 xmlValue.Get());
        },
        xmlName, xmlValue);
}

int XmlWriter::WriteEntity(const std::string& text) {
    if (data->writer == nullptr) {
        return 0;
    }
    const Encoded xmlText(data->converter, data->copied, text);
    return Written(
        [&] { return ::xmlTextWriterWriteString(data->writer, xmlText.Get()); },
        xmlText);
}

int XmlWriter::WriteElementEntity(const std::string& name,
                                  const std::string& text) {
    if (BeginElement(name) == 0) {
        return 0;
    }
    const int result = WriteEntity(text);
    EndElement();
    return result;
}

int XmlWriter::WriteComment(const std::string& text) {
    if (data->writer == nullptr) {
        return 0;
    }
    const Encoded xmlText(data->converter, data->copied, text);
    return Written(
        [&] {
            return ::xmlTextWriterWriteComment(data->writer, xmlText.Get());
        },
        xmlText);
}

// Writer: values as text

int XmlWriter::WriteAttribute(const std::string& name, int value) {
    return WriteAttribute(name, TextOf(value));
}

int XmlWriter::WriteAttribute(const std::string& name, unsigned int value) {
    return WriteAttribute(name, TextOf(value));
}

int XmlWriter::WriteAttribute(const std::string& name, unsigned long value) {
    return WriteAttribute(name, TextOf(value));
}

int XmlWriter::WriteAttribute(const std::string& name, long long value) {
    return WriteAttribute(name, TextOf(value));
}

int XmlWriter::WriteAttribute(const std::string& name,
                              unsigned long long value) {
    return WriteAttribute(name, TextOf(value));
}

int XmlWriter::WriteAttribute(const std::string& name, double value) {
    return WriteAttribute(name, TextOf(value));
}

int XmlWriter::WriteAttribute(const std::string& name, const Guid& value,
                              int format) {
    return WriteAttribute(name, value.ToString(format));
}

int XmlWriter::WriteEntity(int value) { return WriteEntity(TextOf(value)); }

int XmlWriter::WriteEntity(unsigned int value) {
    return WriteEntity(TextOf(value));
}

int XmlWriter::WriteEntity(unsigned long value) {
    return WriteEntity(TextOf(value));
}

int XmlWriter::WriteEntity(long long value) {
    return WriteEntity(TextOf(value));
}

int XmlWriter::WriteEntity(unsigned long long value) {
    return WriteEntity(TextOf(value));
}

int XmlWriter::WriteEntity(double value) { return WriteEntity(TextOf(value)); }

int XmlWriter::WriteEntity(const Guid& value, int format) {
    return WriteEntity(value.ToString(format));
}

int XmlWriter::WriteElementEntity(const std::string& name, int value) {
    return WriteElementEntity(name, TextOf(value));
}

int XmlWriter::WriteElementEntity(const std::string& name, unsigned int value) {
    return WriteElementEntity(name, TextOf(value));
}

int XmlWriter::WriteElementEntity(const std::string& name,
                                  unsigned long value) {
    return WriteElementEntity(name, TextOf(value));
}

int XmlWriter::WriteElementEntity(const std::string& name, long long value) {
    return WriteElementEntity(name, TextOf(value));
}

int XmlWriter::WriteElementEntity(const std::string& name,
                                  unsigned long long value) {
    return WriteElementEntity(name, TextOf(value));
}

int XmlWriter::WriteElementEntity(const std::string& name, double value) {
    return WriteElementEntity(name, TextOf(value));
}

int XmlWriter::WriteElementEntity(const std::string& name, const Guid& value,
                                  int format) {
    return WriteElementEntity(name, value.ToString(format));
}

// Writer: the document

unsigned char* XmlWriter::GetXmlBuffer(unsigned long& size) {
    size = 0;
    if (data->buffer == nullptr) {
        return nullptr;
    }
    // libxml2 counts in unsigned int, but answers the count as an int.
    size = static_cast<unsigned int>(::xmlBufferLength(data->buffer));
    return const_cast<xmlChar*>(::xmlBufferContent(data->buffer));
}

int XmlWriter::Save(const std::string& path) {
    if (data->buffer == nullptr) {
        return 0;
    }
    unsigned long size = 0;
    const unsigned char* const bytes = GetXmlBuffer(size);
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return 0;
    }
    [[maybe_unused]] const std::size_t written =
        std::fwrite(bytes, 1, size, file);
    std::fclose(file);
    return 1;
}

// Reader

struct [[gnu::visibility("hidden")]] XmlReader::PrivateData {
    xmlDoc* document = nullptr;   // Null when nothing is loaded.
    iconv_t converter = nullptr;  // To the C locale; null when none.

    // For converted texts; empty when nothing is loaded.
    std::unique_ptr<std::vector<char>> room =
        std::make_unique<std::vector<char>>();

    Copied copied = Copied::kNone;  // By the converter.

    int Adopt(Document parsed);
    int ConvertDecoding(const unsigned char* text, std::string& out);
};

namespace {

xmlNode* NodeOf(XmlReader::Element* element) {
    return reinterpret_cast<xmlNode*>(element);
}

xmlAttr* NodeOf(XmlReader::Attribute* attribute) {
    return reinterpret_cast<xmlAttr*>(attribute);
}

XmlReader::Element* HandleOf(xmlNode* node) {
    return reinterpret_cast<XmlReader::Element*>(node);
}

XmlReader::Attribute* HandleOf(xmlAttr* node) {
    return reinterpret_cast<XmlReader::Attribute*>(node);
}

// The first element at or behind `node` among its siblings.
xmlNode* ElementFrom(xmlNode* node) {
    while (node != nullptr && node->type != XML_ELEMENT_NODE) {
        node = node->next;
    }
    return node;
}

// A parser for documents from outside. It has no options, also where the host
// gave libxml2 defaults by which documents open files and connections: what is
// told with the document would not take them back.
//
// And it keeps parameter entities within bounds. libxml2 before 2.11 finds that
// they have none, and then expands them on, or for ever; so it is stopped
// before it looks, which it does at 10,240 references.
class Parser {
public:
    Parser() : context(::xmlNewParserCtxt()) {
        if (context != nullptr) {
            context->options = 0;
            context->_private = this;
            context->sax->getParameterEntity = Find;
        }
    }
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;
    ~Parser() = default;

    xmlParserCtxt* Get() const { return context.get(); }

private:
    static const unsigned long kMostReferences = 10'000;  // Of any entities.
    static const unsigned long kMostBytes = 10'000'000;   // Expanded to.

    static xmlEntity* Find(void* of, const xmlChar* name) {
        auto* const context = static_cast<xmlParserCtxt*>(of);
        unsigned long& bytes = static_cast<Parser*>(context->_private)->bytes;
        xmlEntity* const found = ::xmlSAX2GetParameterEntity(of, name);
        bytes +=
            found != nullptr ? static_cast<unsigned long>(found->length) : 0;
        if (context->nbentities > kMostReferences || bytes > kMostBytes) {
            context->wellFormed = 0;
            ::xmlStopParser(context);
            return nullptr;
        }
        return found;
    }

    Owned<xmlParserCtxt, FreeParser> context;
    unsigned long bytes = 0;
};

// Reads an attribute's text and stores what `parse` makes of it, narrowed.
template <typename Value, typename Parse>
int ReadNumber(XmlReader& reader, XmlReader::Attribute* attribute,
               std::string& name, Value& value, Parse parse) {
    std::string text;
    if (reader.GetAttribute(attribute, name, text) == 0) {
        return 0;
    }
    value = static_cast<Value>(parse(text));
    return 1;
}

}  // namespace

// Takes over a document that parsed in whole and declares an encoding that can
// be converted. The reader is empty before, and after a 0.
int XmlReader::PrivateData::Adopt(Document parsed) {
    if (parsed == nullptr || RanOutOfMemory() || parsed->encoding == nullptr) {
        return 0;
    }
    Converter opened =
        OpenToChar(reinterpret_cast<const char*>(parsed->encoding));
    if (opened == nullptr) {
        return 0;
    }
    copied =
        CopiedBy(opened.get(), reinterpret_cast<const char*>(parsed->encoding));
    room->resize(kDecodeRoom);
    converter = opened.release();
    document = parsed.release();
    return 1;
}

int XmlReader::PrivateData::ConvertDecoding(const unsigned char* text,
                                            std::string& out) {
    if (converter == nullptr) {
        return 0;
    }
    // A node without content, such as an attribute's missing value, is empty.
    unsigned char nothing = 0;
    const unsigned char* const start = text != nullptr ? text : &nothing;
    const char* const bytes = reinterpret_cast<const char*>(start);
    const auto length = static_cast<std::size_t>(::xmlStrlen(start));
    if (IsCopied(copied, bytes, length)) {
        out.assign(bytes, length);
        return 1;
    }
    const std::size_t outRoom = length + kDecodeGrowth;
    if (room->size() < outRoom) {
        room->resize(outRoom);
    }

    char* in = const_cast<char*>(bytes);
    char* converted = room->data();
    std::size_t inLeft = length + 1;
    std::size_t outLeft = outRoom;
    ResetShiftState(converter);
    if (::iconv(converter, &in, &inLeft, &converted, &outLeft) == kIconvError) {
        return 0;
    }
    // The terminator may not have found room.
    out.assign(room->data(), ::strnlen(room->data(), room->size()));
    return 1;
}

XmlReader::XmlReader() : data(new PrivateData()) {}

XmlReader::~XmlReader() {
    Close();
    delete data;
}

XmlReader::Element* XmlReader::GetRootElement() {
    return HandleOf(::xmlDocGetRootElement(data->document));
}

int XmlReader::Load(unsigned char* buffer, unsigned long size) {
    if (buffer == nullptr || size == 0 || data->document != nullptr) {
        return 0;
    }
    ForgetMemoryError();
    const Parser parser;
    return data->Adopt(Document(::xmlCtxtReadMemory(
        parser.Get(), reinterpret_cast<const char*>(buffer),
        static_cast<int>(size), "noname.xml", /*encoding=*/nullptr,
        /*options=*/0)));
}

int XmlReader::Load(const std::string& path) {
    if (data->document != nullptr) {
        return 0;
    }
    const std::string file = tcs_to_mbs(path, std::locale());
    ForgetMemoryError();
    const Parser parser;
    return data->Adopt(
        Document(::xmlCtxtReadFile(parser.Get(), file.c_str(),
                                   /*encoding=*/nullptr, /*options=*/0)));
}

void XmlReader::Close() {
    if (data->document != nullptr) {
        ::xmlFreeDoc(data->document);
        data->document = nullptr;
    }
    CloseIfOpen(data->converter);
    data->room->clear();
}

// Reader: navigation

XmlReader::Element* XmlReader::ChildElement(Element* element,
                                            std::string* name) {
    if (element == nullptr) {
        return nullptr;
    }
    xmlNode* const found = ElementFrom(NodeOf(element)->children);
    if (found != nullptr && name != nullptr) {
        data->ConvertDecoding(found->name, *name);
    }
    return HandleOf(found);
}

XmlReader::Element* XmlReader::NextElement(Element* element,
                                           std::string* name) {
    if (element == nullptr) {
        return nullptr;
    }
    xmlNode* const found = ElementFrom(NodeOf(element)->next);
    if (found != nullptr && name != nullptr) {
        data->ConvertDecoding(found->name, *name);
    }
    return HandleOf(found);
}

XmlReader::Attribute* XmlReader::GetFirstAttribute(Element* element) {
    return element != nullptr ? HandleOf(NodeOf(element)->properties) : nullptr;
}

XmlReader::Attribute* XmlReader::NextAttribute(Attribute* attribute) {
    return attribute != nullptr ? HandleOf(NodeOf(attribute)->next) : nullptr;
}

// Reader: names, texts and values

int XmlReader::GetElement(Element* element, std::string& name) {
    if (element == nullptr) {
        return 0;
    }
    return data->ConvertDecoding(NodeOf(element)->name, name);
}

int XmlReader::GetEntity(Element* element, std::string& text) {
    if (element == nullptr) {
        return 0;
    }
    const xmlNode* const first = NodeOf(element)->children;
    if (first == nullptr || first->type != XML_TEXT_NODE) {
        return 0;
    }
    return data->ConvertDecoding(first->content, text);
}

int XmlReader::GetAttribute(Attribute* attribute, std::string& name,
                            std::string& value) {
    if (attribute == nullptr ||
        data->ConvertDecoding(NodeOf(attribute)->name, name) == 0) {
        return 0;
    }
    const xmlNode* const first = NodeOf(attribute)->children;
    return data->ConvertDecoding(first != nullptr ? first->content : nullptr,
                                 value);
}

int XmlReader::GetAttribute(Attribute* attribute, std::string& name,
                            unsigned int& value) {
    return ReadNumber(*this, attribute, name, value, ParseInt);
}

int XmlReader::GetAttribute(Attribute* attribute, std::string& name,
                            unsigned char& value) {
    return ReadNumber(*this, attribute, name, value, ParseInt);
}

int XmlReader::GetAttribute(Attribute* attribute, std::string& name,
                            unsigned long& value) {
    return ReadNumber(*this, attribute, name, value, ParseInt);
}

int XmlReader::GetAttribute(Attribute* attribute, std::string& name,
                            double& value) {
    return ReadNumber(*this, attribute, name, value, ParseDouble);
}

int XmlReader::GetAttribute(Attribute* attribute, std::string& name,
                            Guid& value) {
    std::string text;
    if (GetAttribute(attribute, name, text) == 0) {
        return 0;
    }
    value.FromString(text);
    return 1;
}

}  // namespace Novu
