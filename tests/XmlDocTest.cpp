// The contract of Bases/XmlDoc.h.
//
// Stand-ins note what the library asks of libxml2, iconv and the C library
// while a Probe lives, answer it as a test scripts it, and else pass it on.
// What libxml2 asks of them for itself is passed on and not noted, nor is what
// a converter is asked on trial: where a trial succeeds, most texts need no
// conversion, so tests of conversions let it fail.

#include "Bases/XmlDoc.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <iconv.h>
#include <langinfo.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlmemory.h>
#include <libxml/xmlwriter.h>

#include <algorithm>
#include <cerrno>
#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <locale>
#include <map>
#include <new>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Bases/Guid.h"
#include "Bases/Impl/Utf8.h"
#include "tests/support/Allocation.h"
#include "tests/support/CommaLocale.h"
#include "tests/support/GlobalLocale.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/ObjectBytes.h"
#include "tests/support/TempDir.h"
#include "tests/support/XmlTree.h"

namespace {

using Lines = std::vector<std::string>;

// One conversion of a text that the library asked for.
struct Conversion {
    std::string input;  // As many bytes as the converter was told of.
    std::size_t outRoom;
};

class Probe;

// Null while nobody looks.
Probe* probe = nullptr;

// For the length of a scope, in which all that is made is to be released.
class Probe {
public:
    Probe() { probe = this; }
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;
    ~Probe() {
        probe = nullptr;
        EXPECT_EQ(std::set<std::string>{}, live) << "was never released";
        EXPECT_EQ(Lines{}, faults);
    }

    /// The calls since the last Take, in order.
    Lines Take() { return std::exchange(calls, {}); }

    /// Those of `function`, of the calls since the last Take.
    Lines Of(const std::string& function) const {
        Lines found;
        std::copy_if(calls.begin(), calls.end(), std::back_inserter(found),
                     [&](const std::string& line) {
                         return line.compare(0, function.size() + 1,
                                             function + "(") == 0;
                     });
        return found;
    }

    /// Names the things of a kind "buffer1", "buffer2" and so on.
    template <typename Thing>
    Thing* Name(Thing* thing, const std::string& kind) {
        if (thing != nullptr) {
            names[thing] = kind + std::to_string(++counts[kind]);
        }
        return thing;
    }

    /// The same for a thing that is to be released.
    template <typename Thing>
    Thing* Made(Thing* thing, const std::string& kind) {
        if (Name(thing, kind) != nullptr) {
            live.insert(names[thing]);
        }
        return thing;
    }

    void Released(const std::string& call, const void* thing) {
        calls.push_back(call + "(" + NameOf(thing) + ")");
        if (live.erase(NameOf(thing)) == 0) {
            faults.push_back("not live: " + calls.back());
        }
        names.erase(thing);
    }

    bool Lives(const std::string& name) const { return live.contains(name); }

    std::string NameOf(const void* thing) const {
        if (thing == nullptr) {
            return "null";
        }
        const auto found = names.find(thing);
        return found != names.end() ? found->second : "unknown";
    }

    bool Fails(const std::string& call) const { return failing.contains(call); }

    Lines calls;
    Lines resets;  // Since the last conversion; they go to its calls.
    Lines faults;
    std::vector<Conversion> conversions;
    std::map<std::string, std::string> bufferOf;  // By the writer's name.

    // The script.
    std::set<std::string> failing;           // What answers failure.
    std::map<std::string, int> answers;      // Of libxml2's functions.
    std::map<std::string, std::string> aka;  // What iconv knows a name as.
    const char* codeset = nullptr;           // Of the C locale.
    xmlDoc* document = nullptr;              // What the parser makes.
    std::function<std::size_t(char**, std::size_t*, char**, std::size_t*)>
        convert;

private:
    std::map<const void*, std::string> names;
    std::map<std::string, int> counts;
    std::set<std::string> live;
};

// Whether the code at `address` is libxml2's.
bool IsLibxml2(const void* address) {
    static const void* const base = [] {
        Dl_info info{};
        ::dladdr(reinterpret_cast<const void*>(
                     NovuTest::NextSymbol<void()>("xmlInitParser")),
                 &info);
        return info.dli_fbase;
    }();
    Dl_info info{};
    return ::dladdr(address, &info) != 0 && info.dli_fbase == base;
}

// Whether a stand-in that was called from `caller` notes the call.
bool IsNoted(const void* caller) {
    return probe != nullptr && !IsLibxml2(caller);
}

// Whether a converter is asked what it gives back: a text that begins as all of
// ASCII does, or with a byte-order mark. No name or text of these tests does.
bool IsTrial(std::string_view text) {
    return text.starts_with(std::string_view("\0\1", 2)) ||
           text.starts_with("\xef\xbb\xbf");
}

std::string Shown(const char* text) { return text != nullptr ? text : "null"; }

std::string Shown(const unsigned char* text) {
    return Shown(reinterpret_cast<const char*>(text));
}

// One under which every text is converted.
class ConvertingProbe : public Probe {
public:
    ConvertingProbe() { failing = {"trial"}; }
};

// A call on the text writer: noted, and answered as scripted or by libxml2.
template <typename Next, typename... Texts>
int Ask(const void* caller, const char* name, Next* next, xmlTextWriter* writer,
        Texts... texts) {
    if (!IsNoted(caller)) {
        return next(writer, texts...);
    }
    std::string line = std::string(name) + "(" + probe->NameOf(writer);
    ((line += ", " + Shown(texts)), ...);
    probe->calls.push_back(line + ")");
    const auto answer = probe->answers.find(name);
    return answer != probe->answers.end() ? answer->second
                                          : next(writer, texts...);
}

}  // namespace

#define NOVU_NEXT(name) NovuTest::NextSymbol<decltype(::name)>(#name)
#define NOVU_CALLER __builtin_return_address(0)

extern "C" {

// iconv

iconv_t iconv_open(const char* to, const char* from) {
    static auto* const next =
        NovuTest::NextSymbol<iconv_t(const char*, const char*)>("iconv_open");
    if (!IsNoted(NOVU_CALLER)) {
        return next(to, from);
    }
    probe->calls.push_back("iconv_open(" + Shown(to) + ", " + Shown(from) +
                           ")");
    const auto known = [](const char* name) {
        const auto other = probe->aka.find(name);
        return other != probe->aka.end() ? other->second : std::string(name);
    };
    const iconv_t converter = next(known(to).c_str(), known(from).c_str());
    return converter != reinterpret_cast<iconv_t>(-1)
               ? probe->Made(converter, "converter")
               : converter;
}

std::size_t iconv(iconv_t converter, char** in, std::size_t* inLeft, char** out,
                  std::size_t* outLeft) {
    static auto* const next = NovuTest::NextSymbol<std::size_t(
        iconv_t, char**, std::size_t*, char**, std::size_t*)>("iconv");
    if (!IsNoted(NOVU_CALLER)) {
        return next(converter, in, inLeft, out, outLeft);
    }
    if (in == nullptr || *in == nullptr) {
        probe->resets.push_back("reset(" + probe->NameOf(converter) + ")");
        return next(converter, in, inLeft, out, outLeft);
    }
    if (IsTrial({*in, *inLeft})) {
        probe->resets.clear();
        if (probe->Fails("trial")) {
            errno = EILSEQ;
            return static_cast<std::size_t>(-1);
        }
        return next(converter, in, inLeft, out, outLeft);
    }
    probe->calls.insert(probe->calls.end(), probe->resets.begin(),
                        probe->resets.end());
    probe->resets.clear();
    probe->calls.push_back("iconv(" + probe->NameOf(converter) + ")");
    probe->conversions.push_back({std::string(*in, *inLeft), *outLeft});
    return probe->convert ? probe->convert(in, inLeft, out, outLeft)
                          : next(converter, in, inLeft, out, outLeft);
}

int iconv_close(iconv_t converter) {
    static auto* const next = NovuTest::NextSymbol<int(iconv_t)>("iconv_close");
    if (IsNoted(NOVU_CALLER)) {
        probe->Released("iconv_close", converter);
    }
    return next(converter);
}

// The C library

char* nl_langinfo(nl_item item) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<char*(nl_item)>("nl_langinfo");
    return item == CODESET && probe != nullptr && probe->codeset != nullptr
               ? const_cast<char*>(probe->codeset)
               : next(item);
}

std::FILE* fopen(const char* path, const char* mode) {
    static auto* const next =
        NovuTest::NextSymbol<std::FILE*(const char*, const char*)>("fopen");
    if (!IsNoted(NOVU_CALLER)) {
        return next(path, mode);
    }
    probe->calls.push_back("fopen(" + Shown(path) + ", " + Shown(mode) + ")");
    return probe->Made(next(path, mode), "file");
}

std::size_t fwrite(const void* bytes, std::size_t size, std::size_t count,
                   std::FILE* file) {
    static auto* const next = NovuTest::NextSymbol<std::size_t(
        const void*, std::size_t, std::size_t, std::FILE*)>("fwrite");
    if (probe == nullptr || probe->NameOf(file) == "unknown") {
        return next(bytes, size, count, file);
    }
    probe->calls.push_back("fwrite(" + probe->NameOf(bytes) + ", " +
                           std::to_string(size * count) + ", " +
                           probe->NameOf(file) + ")");
    return probe->Fails("fwrite") ? 0 : next(bytes, size, count, file);
}

int fclose(std::FILE* file) {
    static auto* const next = NovuTest::NextSymbol<int(std::FILE*)>("fclose");
    if (probe == nullptr || probe->NameOf(file) == "unknown") {
        return next(file);
    }
    probe->Released("fclose", file);
    const int answer = next(file);
    return probe->Fails("fclose") ? EOF : answer;
}

// libxml2's buffer and text writer

xmlBuffer* xmlBufferCreate() {
    static auto* const next = NOVU_NEXT(xmlBufferCreate);
    if (!IsNoted(NOVU_CALLER)) {
        return next();
    }
    probe->calls.emplace_back("xmlBufferCreate()");
    return probe->Fails("xmlBufferCreate") ? nullptr
                                           : probe->Made(next(), "buffer");
}

int xmlBufferLength(const xmlBuffer* buffer) {
    static auto* const next = NOVU_NEXT(xmlBufferLength);
    if (IsNoted(NOVU_CALLER)) {
        const auto answer = probe->answers.find("xmlBufferLength");
        if (answer != probe->answers.end()) {
            return answer->second;
        }
    }
    return next(buffer);
}

void xmlBufferFree(xmlBuffer* buffer) {
    static auto* const next = NOVU_NEXT(xmlBufferFree);
    if (IsNoted(NOVU_CALLER)) {
        probe->Released("xmlBufferFree", buffer);
    }
    next(buffer);
}

xmlTextWriter* xmlNewTextWriterMemory(xmlBuffer* buffer, int compression) {
    static auto* const next = NOVU_NEXT(xmlNewTextWriterMemory);
    if (!IsNoted(NOVU_CALLER)) {
        return next(buffer, compression);
    }
    probe->calls.push_back("xmlNewTextWriterMemory(" + probe->NameOf(buffer) +
                           ", " + std::to_string(compression) + ")");
    if (probe->Fails("xmlNewTextWriterMemory")) {
        return nullptr;
    }
    xmlTextWriter* const writer =
        probe->Made(next(buffer, compression), "writer");
    probe->bufferOf[probe->NameOf(writer)] = probe->NameOf(buffer);
    return writer;
}

void xmlFreeTextWriter(xmlTextWriter* writer) {
    static auto* const next = NOVU_NEXT(xmlFreeTextWriter);
    if (IsNoted(NOVU_CALLER)) {
        if (!probe->Lives(probe->bufferOf[probe->NameOf(writer)])) {
            probe->faults.emplace_back("the buffer went before the writer");
        }
        probe->Released("xmlFreeTextWriter", writer);
    }
    next(writer);
}

int xmlTextWriterStartDocument(xmlTextWriter* writer, const char* version,
                               const char* encoding, const char* standalone) {
    static auto* const next = NOVU_NEXT(xmlTextWriterStartDocument);
    return Ask(NOVU_CALLER, "StartDocument", next, writer, version, encoding,
               standalone);
}

int xmlTextWriterEndDocument(xmlTextWriter* writer) {
    static auto* const next = NOVU_NEXT(xmlTextWriterEndDocument);
    return Ask(NOVU_CALLER, "EndDocument", next, writer);
}

int xmlTextWriterStartElement(xmlTextWriter* writer, const xmlChar* name) {
    static auto* const next = NOVU_NEXT(xmlTextWriterStartElement);
    return Ask(NOVU_CALLER, "StartElement", next, writer, name);
}

int xmlTextWriterEndElement(xmlTextWriter* writer) {
    static auto* const next = NOVU_NEXT(xmlTextWriterEndElement);
    return Ask(NOVU_CALLER, "EndElement", next, writer);
}

int xmlTextWriterWriteElement(xmlTextWriter* writer, const xmlChar* name,
                              const xmlChar* content) {
    static auto* const next = NOVU_NEXT(xmlTextWriterWriteElement);
    return Ask(NOVU_CALLER, "WriteElement", next, writer, name, content);
}

int xmlTextWriterWriteAttribute(xmlTextWriter* writer, const xmlChar* name,
                                const xmlChar* content) {
    static auto* const next = NOVU_NEXT(xmlTextWriterWriteAttribute);
    return Ask(NOVU_CALLER, "WriteAttribute", next, writer, name, content);
}

int xmlTextWriterWriteString(xmlTextWriter* writer, const xmlChar* content) {
    static auto* const next = NOVU_NEXT(xmlTextWriterWriteString);
    return Ask(NOVU_CALLER, "WriteString", next, writer, content);
}

int xmlTextWriterWriteComment(xmlTextWriter* writer, const xmlChar* content) {
    static auto* const next = NOVU_NEXT(xmlTextWriterWriteComment);
    return Ask(NOVU_CALLER, "WriteComment", next, writer, content);
}

// libxml2's parser, whose start and end are not the classes' business

void xmlInitParser() {
    static auto* const next = NOVU_NEXT(xmlInitParser);
    if (IsNoted(NOVU_CALLER)) {
        probe->calls.emplace_back("xmlInitParser()");
    }
    next();
}

void xmlCleanupParser() {
    static auto* const next = NOVU_NEXT(xmlCleanupParser);
    if (IsNoted(NOVU_CALLER)) {
        probe->calls.emplace_back("xmlCleanupParser()");
    }
    next();
}

xmlDoc* xmlCtxtReadMemory(xmlParserCtxt* parser, const char* buffer, int size,
                          const char* url, const char* encoding, int options) {
    static auto* const next = NOVU_NEXT(xmlCtxtReadMemory);
    if (!IsNoted(NOVU_CALLER)) {
        return next(parser, buffer, size, url, encoding, options);
    }
    probe->calls.push_back("xmlCtxtReadMemory(" + probe->NameOf(buffer) + ", " +
                           std::to_string(size) + ", " + Shown(url) + ", " +
                           Shown(encoding) + ", " + std::to_string(options) +
                           ")");
    return probe->Made(probe->document != nullptr
                           ? std::exchange(probe->document, nullptr)
                           : next(parser, buffer, size, url, encoding, options),
                       "document");
}

xmlDoc* xmlCtxtReadFile(xmlParserCtxt* parser, const char* path,
                        const char* encoding, int options) {
    static auto* const next = NOVU_NEXT(xmlCtxtReadFile);
    if (!IsNoted(NOVU_CALLER)) {
        return next(parser, path, encoding, options);
    }
    probe->calls.push_back("xmlCtxtReadFile(" + Shown(path) + ", " +
                           Shown(encoding) + ", " + std::to_string(options) +
                           ")");
    return probe->Made(next(parser, path, encoding, options), "document");
}

void xmlFreeDoc(xmlDoc* document) {
    static auto* const next = NOVU_NEXT(xmlFreeDoc);
    if (IsNoted(NOVU_CALLER)) {
        probe->Released("xmlFreeDoc", document);
    }
    next(document);
}

}  // extern "C"

namespace {

using Novu::Guid;
using Novu::XmlReader;
using Novu::XmlWriter;
using NovuTest::ContentOf;
using NovuTest::GlobalLocale;
using NovuTest::NameOf;
using NovuTest::Slot;
using NovuTest::TempDir;
using NovuTest::Tree;

// In UTF-8.
const char* const kE = "\xc3\xa9";        // U+00E9, a letter of Latin-1.
const char* const kHan = "\xed\x95\x9c";  // U+D55C, a letter of EUC-KR.
const char* const kNoText = "\xff";       // Nothing.

const std::string kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// What libxml2 reports, kept from standard error.
class ScopedReports {
public:
    ScopedReports()
        : handler(xmlGenericError), context(xmlGenericErrorContext) {
        ::xmlSetGenericErrorFunc(&count, Count);
    }
    ScopedReports(const ScopedReports&) = delete;
    ScopedReports& operator=(const ScopedReports&) = delete;
    ~ScopedReports() { ::xmlSetGenericErrorFunc(context, handler); }

    unsigned long Reports() const { return count; }
    bool AreInPlace() const {
        return xmlGenericError == Count && xmlGenericErrorContext == &count;
    }

private:
    // The type is libxml2's. NOLINTNEXTLINE(cert-dcl50-cpp)
    static void Count(void* counter, const char* /*format*/, ...) {
        ++*static_cast<unsigned long*>(counter);
    }

    xmlGenericErrorFunc handler;
    void* context;
    unsigned long count = 0;
};

// The memory of libxml2, for the length of a scope: blocks are counted and
// filled with junk, and can be made to fail.
class ScopedXmlMemory {
public:
    ScopedXmlMemory() {
        ::xmlMemGet(&earlierFree, &earlierMalloc, &earlierRealloc,
                    &earlierDuplicate);
        blocks = 0;
        nullsFreed = 0;
        failsOwn = false;
        untilFailure = 0;
        asked.clear();
        // What libxml2 keeps is not of the scope.
        ::xmlInitParser();
        ::xmlResetLastError();
        ::xmlMemSetup(Free, Malloc, Realloc, Duplicate);
    }
    ScopedXmlMemory(const ScopedXmlMemory&) = delete;
    ScopedXmlMemory& operator=(const ScopedXmlMemory&) = delete;
    ~ScopedXmlMemory() {
        ::xmlResetLastError();
        ::xmlMemSetup(earlierFree, earlierMalloc, earlierRealloc,
                      earlierDuplicate);
    }

    static inline long blocks;                 // Made and not freed.
    static inline unsigned long untilFailure;  // Of any block; 0: none fails.
    static inline bool failsOwn;               // Blocks the library asks for,
    static inline std::vector<std::size_t> asked;  // their sizes,
    static inline long nullsFreed;                 // and what it frees.

private:
    static bool Fails() { return untilFailure != 0 && --untilFailure == 0; }

    static void* Malloc(std::size_t size) {
        const bool own = !IsLibxml2(NOVU_CALLER);
        if (own) {
            asked.push_back(size);
        }
        if (Fails() || (own && failsOwn)) {
            return nullptr;
        }
        ++blocks;
        void* const block = std::malloc(size);
        std::memset(block, 'j', size);
        return block;
    }
    static void Free(void* block) {
        if (block != nullptr) {
            --blocks;
        } else if (!IsLibxml2(NOVU_CALLER)) {
            ++nullsFreed;
        }
        std::free(block);
    }
    static void* Realloc(void* block, std::size_t size) {
        if (Fails()) {
            return nullptr;
        }
        blocks += block == nullptr ? 1 : 0;
        return std::realloc(block, size);
    }
    static char* Duplicate(const char* text) {
        if (Fails()) {
            return nullptr;
        }
        ++blocks;
        return ::strdup(text);
    }

    xmlFreeFunc earlierFree = nullptr;
    xmlMallocFunc earlierMalloc = nullptr;
    xmlReallocFunc earlierRealloc = nullptr;
    xmlStrdupFunc earlierDuplicate = nullptr;
};

// The private data, which the second word of an object points to.
template <typename Data>
Data PrivateData(const void* object) {
    const void* words[2] = {};
    std::memcpy(words, object, sizeof words);
    Data data{};
    std::memcpy(&data, words[1], sizeof data);
    return data;
}

struct WriterData {
    void* buffer;
    void* writer;
    void* converter;
};

WriterData DataOf(const XmlWriter& writer) {
    return PrivateData<WriterData>(&writer);
}

// The document as it is in the buffer; "none" where there is no buffer.
std::string DocumentOf(XmlWriter& writer) {
    unsigned long size = 12345;
    const unsigned char* const bytes = writer.GetXmlBuffer(size);
    if (bytes == nullptr) {
        EXPECT_EQ(0U, size);
        return "none";
    }
    return std::string(reinterpret_cast<const char*>(bytes), size);
}

// What `write` puts between the declaration of a UTF-8 document and the line
// feed at its end.
std::string Written(const std::function<void(XmlWriter&)>& write) {
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    write(writer);
    EXPECT_EQ(1, writer.EndDocument());
    const std::string document = DocumentOf(writer);
    if (document.compare(0, kDeclaration.size(), kDeclaration) != 0 ||
        document.back() != '\n') {
        return "not the frame of a document: " + document;
    }
    return document.substr(kDeclaration.size(),
                           document.size() - kDeclaration.size() - 1);
}

Guid GuidOf(const char* text) {
    Guid guid;
    EXPECT_TRUE(guid.FromString(text));
    return guid;
}

// Gives every test a locale whose character set holds all of the texts here,
// and keeps libxml2 quiet.
class XmlDocFixture : public testing::Test {
protected:
    const ScopedReports reports;

private:
    const GlobalLocale ownLocale{"C.utf8"};
};

class XmlWriterTest : public XmlDocFixture {};
class XmlReaderTest : public XmlDocFixture {};

// Writer: layout

// The table pointer, the private data.
static_assert(sizeof(XmlWriter) == 2 * sizeof(void*));
static_assert(std::has_virtual_destructor_v<XmlWriter>);
static_assert(!std::is_copy_constructible_v<XmlWriter>);
static_assert(!std::is_copy_assignable_v<XmlWriter>);

// Counts how often it is closed, and adds a slot behind the last one.
class CountingWriter : public XmlWriter {
public:
    explicit CountingWriter(int* counter = nullptr)
        : closed(counter != nullptr ? counter : &own) {}

    void Close() override {
        ++*closed;
        XmlWriter::Close();
    }
    virtual int Extra() { return 4711; }

    int Closed() const { return *closed; }

private:
    int own = 0;
    int* closed;
};

TEST_F(XmlWriterTest, TheVirtualSlotsStandInOrder) {
    CountingWriter object;
    XmlWriter* const writer = &object;
    const std::string encoding = "UTF-8";
    using Begin = int(XmlWriter*, const std::string&);
    EXPECT_EQ(1, Slot<Begin>(writer, 2)(writer, encoding));
    EXPECT_EQ(0, Slot<Begin>(writer, 2)(writer, encoding));
    EXPECT_EQ(1, Slot<int(XmlWriter*)>(writer, 3)(writer));
    EXPECT_EQ(kDeclaration + "\n", DocumentOf(*writer));
    EXPECT_EQ(0, object.Closed());
    Slot<void(XmlWriter*)>(writer, 4)(writer);
    EXPECT_EQ(1, object.Closed());
    EXPECT_EQ("none", DocumentOf(*writer));
    EXPECT_EQ(4711, Slot<int(CountingWriter*)>(writer, 5)(&object))
        << "nothing else is virtual";
}

TEST_F(XmlWriterTest, TheFirstTwoSlotsDestroyAndDelete) {
    const NovuTest::AllocationLedger ledger;
    alignas(XmlWriter) unsigned char place[sizeof(XmlWriter)];
    auto* const placed = new (place) XmlWriter();
    EXPECT_EQ(1U, ledger.Blocks()) << "the private data";
    Slot<void(XmlWriter*)>(placed, 0)(placed);
    EXPECT_EQ(0U, ledger.Blocks());

    auto* const made = new XmlWriter();
    EXPECT_EQ(2U, ledger.Blocks());
    Slot<void(XmlWriter*)>(made, 1)(made);
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST_F(XmlWriterTest, ThePrivateDataHoldsBufferWriterConverter) {
    Probe seen;
    XmlWriter writer;
    WriterData data = DataOf(writer);
    EXPECT_EQ(nullptr, data.buffer);
    EXPECT_EQ(nullptr, data.writer);
    EXPECT_EQ(nullptr, data.converter);

    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    data = DataOf(writer);
    EXPECT_EQ("buffer1", seen.NameOf(data.buffer));
    EXPECT_EQ("writer1", seen.NameOf(data.writer));
    EXPECT_EQ("converter1", seen.NameOf(data.converter));

    EXPECT_EQ(1, writer.EndDocument());
    data = DataOf(writer);
    EXPECT_EQ("buffer1", seen.NameOf(data.buffer));
    EXPECT_EQ(nullptr, data.writer);
    EXPECT_EQ(nullptr, data.converter);

    writer.Close();
    EXPECT_EQ(nullptr, DataOf(writer).buffer);
}

// Writer: states

TEST_F(XmlWriterTest, BeginDocumentMakesBufferWriterAndConverter) {
    Probe seen;
    XmlWriter writer;
    EXPECT_EQ(Lines{}, seen.Take());
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ((Lines{"xmlBufferCreate()", "xmlNewTextWriterMemory(buffer1, 0)",
                     "StartDocument(writer1, null, UTF-8, null)",
                     "iconv_open(UTF-8, char)", "iconv_open(UTF-8, UTF-8)"}),
              seen.Take());
}

TEST_F(XmlWriterTest, EndDocumentLeavesTheBufferAlone) {
    Probe seen;
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    seen.Take();
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ((Lines{"EndDocument(writer1)", "xmlFreeTextWriter(writer1)",
                     "iconv_close(converter1)"}),
              seen.Take());
    EXPECT_EQ(kDeclaration + "\n", DocumentOf(writer));

    EXPECT_EQ(0, writer.EndDocument());
    EXPECT_EQ(Lines{}, seen.Take());
    EXPECT_EQ(kDeclaration + "\n", DocumentOf(writer));

    writer.Close();
    EXPECT_EQ((Lines{"xmlBufferFree(buffer1)"}), seen.Take());
    EXPECT_EQ("none", DocumentOf(writer));
    writer.Close();
    EXPECT_EQ(Lines{}, seen.Take());
    EXPECT_EQ("none", DocumentOf(writer));
}

TEST_F(XmlWriterTest, EndDocumentAnswersByLibxml2AndReleasesEitherWay) {
    for (const int answer : {-1, 0, 7}) {
        Probe seen;
        XmlWriter writer;
        EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
        seen.Take();
        seen.answers["EndDocument"] = answer;
        EXPECT_EQ(answer >= 0 ? 1 : 0, writer.EndDocument()) << answer;
        EXPECT_EQ((Lines{"EndDocument(writer1)", "xmlFreeTextWriter(writer1)",
                         "iconv_close(converter1)"}),
                  seen.Take());
        EXPECT_NE("none", DocumentOf(writer));
        EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    }
}

TEST_F(XmlWriterTest, EndDocumentWithoutADocumentAnswersZero) {
    Probe seen;
    XmlWriter writer;
    EXPECT_EQ(0, writer.EndDocument());
    writer.Close();
    EXPECT_EQ(Lines{}, seen.Take());
    EXPECT_EQ("none", DocumentOf(writer));
}

TEST_F(XmlWriterTest, EndDocumentClosesTheOpenElements) {
    EXPECT_EQ("<a><b><c k=\"v\"/></b></a>", Written([](XmlWriter& writer) {
                  EXPECT_EQ(1, writer.BeginElement("a"));
                  EXPECT_EQ(1, writer.BeginElement("b"));
                  EXPECT_EQ(1, writer.BeginElement("c"));
                  EXPECT_EQ(1, writer.WriteAttribute("k", "v"));
              }));
}

TEST_F(XmlWriterTest, ASecondBeginDocumentIsRefusedAndTouchesNothing) {
    Probe seen;
    CountingWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.BeginElement("a"));
    seen.Take();
    EXPECT_EQ(0, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(0, writer.BeginDocument("no such encoding"));
    EXPECT_EQ(Lines{}, seen.Take());
    EXPECT_EQ(0, writer.Closed());
    EXPECT_EQ(1, writer.EndElement());
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ(kDeclaration + "<a/>\n", DocumentOf(writer));
}

TEST_F(XmlWriterTest, BeginDocumentDiscardsTheFinishedDocument) {
    Probe seen;
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.WriteElement("first", ""));
    EXPECT_EQ(1, writer.EndDocument());
    seen.Take();
    EXPECT_EQ(1, writer.BeginDocument("US-ASCII"));
    EXPECT_EQ(
        (Lines{"xmlBufferFree(buffer1)", "xmlBufferCreate()",
               "xmlNewTextWriterMemory(buffer2, 0)",
               "StartDocument(writer2, null, US-ASCII, null)",
               "iconv_open(US-ASCII, char)", "iconv_open(US-ASCII, UTF-8)"}),
        seen.Take());
    EXPECT_EQ("", DocumentOf(writer));
    EXPECT_EQ(1, writer.BeginElement("second"));
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"US-ASCII\"?>\n<second/>\n",
              DocumentOf(writer));
}

TEST_F(XmlWriterTest, BeginDocumentAfterCloseStartsAnew) {
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.WriteElement("first", ""));
    EXPECT_EQ(1, writer.EndDocument());
    writer.Close();
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.BeginElement("second"));
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ(kDeclaration + "<second/>\n", DocumentOf(writer));
}

TEST_F(XmlWriterTest, WithoutABufferNothingIsBegunNorClosed) {
    Probe seen;
    CountingWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.EndDocument());
    seen.Take();
    seen.failing = {"xmlBufferCreate"};
    EXPECT_EQ(0, writer.BeginDocument("UTF-8"));
    EXPECT_EQ((Lines{"xmlBufferFree(buffer1)", "xmlBufferCreate()"}),
              seen.Take());
    EXPECT_EQ(0, writer.Closed());
    EXPECT_EQ("none", DocumentOf(writer)) << "the old one is gone";
    EXPECT_EQ(0, writer.EndDocument()) << "no writer was made";
    seen.failing.clear();
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
}

TEST_F(XmlWriterTest, WithoutATextWriterTheDocumentIsClosed) {
    Probe seen;
    CountingWriter writer;
    seen.failing = {"xmlNewTextWriterMemory"};
    EXPECT_EQ(0, writer.BeginDocument("UTF-8"));
    EXPECT_EQ((Lines{"xmlBufferCreate()", "xmlNewTextWriterMemory(buffer1, 0)",
                     "xmlBufferFree(buffer1)"}),
              seen.Take());
    EXPECT_EQ(1, writer.Closed());
    EXPECT_EQ("none", DocumentOf(writer));
    EXPECT_EQ(0, writer.WriteEntity("text"));
    seen.failing.clear();
    EXPECT_EQ(1, writer.BeginDocument("UTF-8")) << "no writer is in the way";
}

TEST_F(XmlWriterTest, BeginDocumentAnswersByLibxml2) {
    for (const int answer : {-1, 0, 7}) {
        Probe seen;
        CountingWriter writer;
        seen.answers["StartDocument"] = answer;
        EXPECT_EQ(answer >= 0 ? 1 : 0, writer.BeginDocument("UTF-8"));
        EXPECT_EQ(answer >= 0 ? 2U : 0U, seen.Of("iconv_open").size());
        EXPECT_EQ(answer >= 0 ? 0 : 1, writer.Closed());
    }
}

// Nobody knows the first; libxml2 knows the others, but iconv does not.
const char* const kRefusedEncodings[] = {"no such encoding", "HTML",
                                         "ISO-10646-UCS-2"};

// [xml-5]
TEST_F(XmlWriterTest, ARefusedEncodingLeavesTheWriterUntilEndDocument) {
    const TempDir temp;
    for (const char* const encoding : kRefusedEncodings) {
        SCOPED_TRACE(encoding);
        const bool known = encoding != kRefusedEncodings[0];
        Probe seen;
        CountingWriter writer;
        EXPECT_EQ(0, writer.BeginDocument(encoding));
        EXPECT_EQ(1, writer.Closed());
        EXPECT_EQ(known ? 2U : 0U, seen.Of("iconv_open").size());
        EXPECT_EQ(Lines{}, seen.Of("iconv_close")) << "none was opened";
        EXPECT_EQ("none", DocumentOf(writer));
        EXPECT_EQ(nullptr, DataOf(writer).buffer);
        EXPECT_EQ("writer1", seen.NameOf(DataOf(writer).writer));
        EXPECT_EQ(nullptr, DataOf(writer).converter);

        // Every begin is refused, and so is every name and text.
        EXPECT_EQ(0, writer.BeginDocument("UTF-8"));
        EXPECT_EQ(0, writer.BeginDocument(encoding));
        EXPECT_EQ(1, writer.Closed());
        EXPECT_EQ(0, writer.BeginElement("a"));
        EXPECT_EQ(0, writer.WriteElement("a", "b"));
        EXPECT_EQ(0, writer.WriteElementEntity("a", "b"));
        EXPECT_EQ(0, writer.WriteAttribute("a", "b"));
        EXPECT_EQ(0, writer.WriteEntity("a"));
        EXPECT_EQ(0, writer.WriteEntity(1));
        EXPECT_EQ(0, writer.EndElement());
        EXPECT_EQ(0, writer.Save(temp / "none.xml"));
        EXPECT_EQ(Lines{}, seen.Of("fopen"));

        EXPECT_EQ(1, writer.EndDocument()) << "libxml2 has nothing to object";
        EXPECT_EQ((Lines{"xmlFreeTextWriter(writer1)"}),
                  seen.Of("xmlFreeTextWriter"));
        EXPECT_EQ("none", DocumentOf(writer));
        EXPECT_EQ(0, writer.EndDocument());

        EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
        EXPECT_EQ(1, writer.BeginElement("a"));
        EXPECT_EQ(1, writer.EndDocument());
        EXPECT_EQ(kDeclaration + "<a/>\n", DocumentOf(writer));
    }
}

TEST_F(XmlWriterTest, WriteCommentIsRefusedAfterARefusedEncoding) {
    XmlWriter writer;
    EXPECT_EQ(0, writer.BeginDocument("HTML"));
    EXPECT_EQ(0, writer.WriteComment("text"));
}

TEST_F(XmlWriterTest, ARefusedEncodingDiscardsTheFinishedDocumentToo) {
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ(0, writer.BeginDocument("no such encoding"));
    EXPECT_EQ("none", DocumentOf(writer));
}

// Releasing is left to Close, which a subclass may replace.
TEST_F(XmlWriterTest, AFailedBeginDocumentReleasesByTheVirtualClose) {
    class Keeping : public XmlWriter {
    public:
        void Close() override { ++closed; }
        int closed = 0;
    };
    for (const char* const encoding : kRefusedEncodings) {
        Probe seen;
        Keeping writer;
        EXPECT_EQ(0, writer.BeginDocument(encoding)) << encoding;
        EXPECT_EQ(1, writer.closed);
        EXPECT_EQ("buffer1", seen.NameOf(DataOf(writer).buffer));
    }
}

TEST_F(XmlWriterTest, TheDestructorDoesNotCallAnOverriddenClose) {
    int closed = 0;
    {
        const CountingWriter idle(&closed);
        CountingWriter open(&closed);
        EXPECT_EQ(1, open.BeginDocument("UTF-8"));
        CountingWriter finished(&closed);
        EXPECT_EQ(1, finished.BeginDocument("UTF-8"));
        EXPECT_EQ(1, finished.EndDocument());
        auto* const deleted = new CountingWriter(&closed);
        EXPECT_EQ(1, deleted->BeginDocument("UTF-8"));
        const XmlWriter* const base = deleted;
        delete base;
    }
    EXPECT_EQ(0, closed);
}

TEST_F(XmlWriterTest, TheDestructorReleasesAnOpenDocument) {
    Probe seen;
    {
        XmlWriter writer;
        EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
        EXPECT_EQ(1, writer.BeginElement("a"));
        EXPECT_EQ(1, writer.WriteEntity(std::string(20000, 'x')));
        seen.Take();
    }
    EXPECT_EQ((Lines{"iconv_close(converter1)"}), seen.Of("iconv_close"));
    EXPECT_EQ((Lines{"xmlFreeTextWriter(writer1)"}),
              seen.Of("xmlFreeTextWriter"));
    EXPECT_EQ((Lines{"xmlBufferFree(buffer1)"}), seen.Of("xmlBufferFree"));
    EXPECT_EQ(3U, seen.calls.size());
}

// [xml-5]
TEST_F(XmlWriterTest, CloseLeavesAnOpenDocumentOpenOverNoBuffer) {
    const TempDir temp;
    Probe seen;
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.BeginElement("a"));
    EXPECT_EQ(1, writer.WriteEntity(std::string(20000, 'x')));
    writer.Close();
    EXPECT_EQ((Lines{"iconv_close(converter1)"}), seen.Of("iconv_close"));
    EXPECT_EQ(nullptr, DataOf(writer).buffer);
    EXPECT_EQ("writer1", seen.NameOf(DataOf(writer).writer));
    EXPECT_EQ(nullptr, DataOf(writer).converter);
    EXPECT_EQ("none", DocumentOf(writer));
    EXPECT_EQ(0, writer.Save(temp / "none.xml"));
    EXPECT_EQ(0, writer.BeginDocument("UTF-8"));

    const std::size_t conversions = seen.conversions.size();
    seen.Take();
    EXPECT_EQ(0, writer.BeginElement("b"));
    EXPECT_EQ(0, writer.WriteElement("b", "c"));
    EXPECT_EQ(0, writer.WriteElementEntity("b", "c"));
    EXPECT_EQ(0, writer.WriteAttribute("b", "c"));
    EXPECT_EQ(0, writer.WriteEntity("b"));
    EXPECT_EQ(conversions, seen.conversions.size());
    EXPECT_EQ((Lines{"StartElement(writer1, null)",
                     "WriteElement(writer1, null, null)",
                     "StartElement(writer1, null)",
                     "WriteAttribute(writer1, null, null)",
                     "WriteString(writer1, null)"}),
              seen.Take());
    EXPECT_EQ(1, writer.EndElement()) << "libxml2 still has the element";
    EXPECT_EQ(0, writer.EndElement());
    seen.Take();
    writer.Close();
    EXPECT_EQ(Lines{}, seen.Take());

    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ((Lines{"EndDocument(writer1)", "xmlFreeTextWriter(writer1)",
                     "xmlBufferFree(buffer1)"}),
              seen.Take())
        << "the writer flushes into the buffer to its end";
    EXPECT_EQ("none", DocumentOf(writer));
    EXPECT_EQ(0, writer.EndDocument());
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
}

TEST_F(XmlWriterTest, WriteCommentIsRefusedAfterClose) {
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    writer.Close();
    EXPECT_EQ(0, writer.WriteComment("text"));
    EXPECT_EQ("none", DocumentOf(writer));
}

// What the sequences below lead to.
struct WriterModel {
    bool buffer = false;
    bool writer = false;
    bool converter = false;
    bool finished = false;
    bool tagIsOpen = false;  // The start tag of the innermost element.
    int depth = 0;
    std::string text;

    int Begin(bool known) {
        if (writer || converter) {
            return 0;
        }
        *this = WriterModel();
        writer = true;
        buffer = converter = known;
        text = kDeclaration;
        return known ? 1 : 0;
    }

    int Element() {
        if (!writer || !converter) {
            return 0;
        }
        text += tagIsOpen ? "><a" : "<a";
        tagIsOpen = true;
        ++depth;
        return 1;
    }

    int End() {
        if (!writer || depth == 0) {
            return 0;
        }
        text += tagIsOpen ? "/>" : "</a>";
        tagIsOpen = false;
        --depth;
        return 1;
    }

    int EndDocument() {
        if (!writer) {
            return 0;
        }
        while (End() == 1) {
        }
        text += "\n";
        writer = converter = false;
        finished = true;
        return 1;
    }

    int Close() {
        buffer = converter = false;
        return 0;
    }

    std::string Document() const {
        return !buffer ? "none" : finished ? text : "";
    }
};

//   B  BeginDocument, UTF-8                e  BeginElement
//   x  BeginDocument, unknown to libxml2   /  EndElement
//   i  BeginDocument, unknown to iconv     E  EndDocument
//   C  Close
const std::string kSteps = "BxieE/C";

// The answers of the model and of the writer, which are to be the same.
std::pair<int, int> Step(char step, WriterModel& model, XmlWriter& writer) {
    switch (step) {
        case 'B':
            return {model.Begin(true), writer.BeginDocument("UTF-8")};
        case 'x':
            return {model.Begin(false), writer.BeginDocument("no such")};
        case 'i':
            return {model.Begin(false), writer.BeginDocument("HTML")};
        case 'e':
            return {model.Element(), writer.BeginElement("a")};
        case '/':
            return {model.End(), writer.EndElement()};
        case 'E':
            return {model.EndDocument(), writer.EndDocument()};
        default:
            writer.Close();
            return {model.Close(), 0};
    }
}

// Answers, fields and bytes, for every sequence of up to five steps; and the
// probe sees that all is released in order.
TEST_F(XmlWriterTest, EverySequenceOfStepsFollowsTheStates) {
    const std::size_t longest = 5;
    std::vector<std::string> sequences{""};
    for (std::size_t next = 0; next < sequences.size(); ++next) {
        const std::string sequence = sequences[next];
        for (const char step : sequence.size() < longest ? kSteps : "") {
            sequences.push_back(sequence + step);
        }

        SCOPED_TRACE(sequence);
        const Probe seen;
        XmlWriter writer;
        WriterModel model;
        for (const char step : sequence) {
            const auto [expected, answer] = Step(step, model, writer);
            const WriterData data = DataOf(writer);
            ASSERT_EQ(expected, answer) << "at " << step;
            ASSERT_EQ(model.buffer, data.buffer != nullptr) << "at " << step;
            ASSERT_EQ(model.writer, data.writer != nullptr) << "at " << step;
            ASSERT_EQ(model.converter, data.converter != nullptr)
                << "at " << step;
            ASSERT_EQ(model.Document(), DocumentOf(writer)) << "at " << step;
        }
    }
    EXPECT_EQ(1U + 7 + 49 + 343 + 2401 + 16807, sequences.size());
}

// Writer: calls of libxml2

// The operations that are one call of libxml2, and a value form of each kind.
const struct WriteCase {
    int line;
    std::function<int(XmlWriter&)> write;
    const char* call;
    const char* rest;   // Of its arguments, after the writer.
    std::size_t texts;  // That are converted.
} kWriteCases[] = {
    {__LINE__, [](XmlWriter& w) { return w.BeginElement("n"); }, "StartElement",
     ", n", 1},
    {__LINE__, [](XmlWriter& w) { return w.EndElement(); }, "EndElement", "",
     0},
    {__LINE__, [](XmlWriter& w) { return w.WriteElement("n", "t"); },
     "WriteElement", ", n, t", 2},
    {__LINE__, [](XmlWriter& w) { return w.WriteAttribute("n", "t"); },
     "WriteAttribute", ", n, t", 2},
    {__LINE__, [](XmlWriter& w) { return w.WriteAttribute("n", -7); },
     "WriteAttribute", ", n, -7", 2},
    {__LINE__, [](XmlWriter& w) { return w.WriteEntity("t"); }, "WriteString",
     ", t", 1},
    {__LINE__, [](XmlWriter& w) { return w.WriteEntity(-7); }, "WriteString",
     ", -7", 1},
    {__LINE__, [](XmlWriter& w) { return w.WriteComment("t"); }, "WriteComment",
     ", t", 1},
};

TEST_F(XmlWriterTest, AWriteConvertsItsTextsAndIsOneCallOfLibxml2) {
    for (const WriteCase& row : kWriteCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        ConvertingProbe seen;
        XmlWriter writer;
        EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
        EXPECT_EQ(1, writer.BeginElement("a"));
        seen.conversions.clear();
        seen.Take();
        EXPECT_EQ(1, row.write(writer));
        Lines expected;
        for (std::size_t text = 0; text < row.texts; ++text) {
            expected.emplace_back("reset(converter1)");
            expected.emplace_back("iconv(converter1)");
        }
        expected.push_back(std::string(row.call) + "(writer1" + row.rest + ")");
        EXPECT_EQ(expected, seen.Take());
    }
}

TEST_F(XmlWriterTest, AWriteAnswersByLibxml2) {
    for (const WriteCase& row : kWriteCases) {
        for (const int answer : {INT_MIN, -1, 0, 1, 7, INT_MAX}) {
            Probe seen;
            XmlWriter writer;
            EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
            seen.answers[row.call] = answer;
            EXPECT_EQ(answer >= 0 ? 1 : 0, row.write(writer))
                << "row at line " << row.line << ", " << answer;
        }
    }
}

TEST_F(XmlWriterTest, AWriteWhoseTextDoesNotConvertHandsOnNullAndAnswersZero) {
    for (const WriteCase& row : kWriteCases) {
        for (std::size_t failing = 0; failing < row.texts; ++failing) {
            SCOPED_TRACE(testing::Message()
                         << "row at line " << row.line << ", text " << failing);
            ConvertingProbe seen;
            XmlWriter writer;
            EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
            EXPECT_EQ(1, writer.BeginElement("a"));
            std::size_t converted = 0;
            seen.convert = [&](char** in, std::size_t* /*inLeft*/, char** out,
                               std::size_t* /*outLeft*/) {
                if (converted++ == failing) {
                    errno = EILSEQ;
                    return static_cast<std::size_t>(-1);
                }
                **out = **in;
                ++*out;
                return std::size_t{0};
            };
            seen.answers[row.call] = 0;  // Also where libxml2 takes a null.
            seen.Take();
            EXPECT_EQ(0, row.write(writer));
            ASSERT_EQ(1U, seen.Of(row.call).size());
            EXPECT_NE(std::string::npos, seen.Of(row.call)[0].find("null"));
            EXPECT_EQ(row.texts, seen.conversions.size() - 1);
        }
    }
}

TEST_F(XmlWriterTest, WriteElementEntityIsBeginTextEnd) {
    ConvertingProbe seen;
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.BeginElement("a"));
    seen.Take();
    EXPECT_EQ(1, writer.WriteElementEntity("n", "t"));
    EXPECT_EQ((Lines{"reset(converter1)", "iconv(converter1)",
                     "StartElement(writer1, n)", "reset(converter1)",
                     "iconv(converter1)", "WriteString(writer1, t)",
                     "EndElement(writer1)"}),
              seen.Take());

    // Without a begin there is nothing to write and to end.
    EXPECT_EQ(0, writer.WriteElementEntity(kNoText, "t"));
    EXPECT_EQ((Lines{"reset(converter1)", "iconv(converter1)",
                     "StartElement(writer1, null)"}),
              seen.Take());
    EXPECT_EQ(0, writer.WriteElementEntity("", "t"));
    EXPECT_EQ((Lines{"reset(converter1)", "iconv(converter1)",
                     "StartElement(writer1, )"}),
              seen.Take());
    seen.answers["StartElement"] = -1;
    EXPECT_EQ(0, writer.WriteElementEntity("n", "t"));
    EXPECT_EQ(Lines{}, seen.Of("WriteString"));
    EXPECT_EQ(Lines{}, seen.Of("EndElement"));
    seen.answers.clear();
    seen.Take();

    // The text's failure does not keep the element open.
    EXPECT_EQ(0, writer.WriteElementEntity("n", kNoText));
    EXPECT_EQ((Lines{"WriteString(writer1, null)"}), seen.Of("WriteString"));
    EXPECT_EQ((Lines{"EndElement(writer1)"}), seen.Of("EndElement"));
    seen.answers["WriteString"] = -1;
    EXPECT_EQ(0, writer.WriteElementEntity("n", "t"));
    EXPECT_EQ(2U, seen.Of("EndElement").size());

    // The end's result is not the answer.
    seen.answers = {{"EndElement", -1}};
    EXPECT_EQ(1, writer.WriteElementEntity("n", "t"));
}

TEST_F(XmlWriterTest, AnElementEndsAlsoWhereItsTextWasRefused) {
    EXPECT_EQ("<a><n/><m>t</m></a>", Written([](XmlWriter& writer) {
                  EXPECT_EQ(1, writer.BeginElement("a"));
                  EXPECT_EQ(0, writer.WriteElementEntity("n", kNoText));
                  EXPECT_EQ(0, writer.WriteElementEntity(kNoText, "t"));
                  EXPECT_EQ(1, writer.WriteElementEntity("m", "t"));
              }));
}

template <typename Number>
void ExpectIsNotWritten(XmlWriter& writer, Number number) {
    EXPECT_EQ(0, writer.WriteAttribute("n", number));
    EXPECT_EQ(0, writer.WriteEntity(number));
    EXPECT_EQ(0, writer.WriteElementEntity("n", number));
}

// Every operation and form, for the states in which all of them answer 0.
void ExpectNothingIsWritten(XmlWriter& writer) {
    const Guid guid = GuidOf("00112233-4455-6677-8899-aabbccddeeff");
    EXPECT_EQ(0, writer.BeginElement("n"));
    EXPECT_EQ(0, writer.EndElement());
    EXPECT_EQ(0, writer.WriteElement("n", "t"));
    EXPECT_EQ(0, writer.WriteComment("t"));
    EXPECT_EQ(0, writer.WriteAttribute("n", "t"));
    EXPECT_EQ(0, writer.WriteEntity("t"));
    EXPECT_EQ(0, writer.WriteElementEntity("n", "t"));
    EXPECT_EQ(0, writer.WriteAttribute("n", guid, 1));
    EXPECT_EQ(0, writer.WriteEntity(guid, 1));
    EXPECT_EQ(0, writer.WriteElementEntity("n", guid, 1));
    ExpectIsNotWritten(writer, 1);
    ExpectIsNotWritten(writer, 1U);
    ExpectIsNotWritten(writer, 1UL);
    ExpectIsNotWritten(writer, 1LL);
    ExpectIsNotWritten(writer, 1ULL);
    ExpectIsNotWritten(writer, 1.0);
}

TEST_F(XmlWriterTest, NothingIsWrittenWithoutADocument) {
    Probe seen;
    XmlWriter writer;
    ExpectNothingIsWritten(writer);
    EXPECT_EQ(Lines{}, seen.Take());
    EXPECT_EQ("none", DocumentOf(writer));

    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.EndDocument());
    seen.Take();
    ExpectNothingIsWritten(writer);
    EXPECT_EQ(Lines{}, seen.Take());
    EXPECT_EQ(kDeclaration + "\n", DocumentOf(writer));

    writer.Close();
    seen.Take();
    ExpectNothingIsWritten(writer);
    EXPECT_EQ(Lines{}, seen.Take());
    EXPECT_EQ("none", DocumentOf(writer));
}

// Writer: conversion

TEST_F(XmlWriterTest, AConverterComesFromCharOrElseFromTheLocalesCharacterSet) {
    struct {
        const char* locale;
        const char* encoding;
        const char* second;  // The call that follows the one with "char".
    } const cases[] = {
        {"C.utf8", "UTF-8", "iconv_open(UTF-8, UTF-8)"},
        {"C.utf8", "ISO-8859-1", "iconv_open(ISO-8859-1, UTF-8)"},
        {"C", "UTF-8", "iconv_open(UTF-8, ANSI_X3.4-1968)"},
    };
    for (const auto& row : cases) {
        const GlobalLocale locale(row.locale);
        Probe seen;
        XmlWriter writer;
        EXPECT_EQ(1, writer.BeginDocument(row.encoding));
        EXPECT_EQ((Lines{std::string("iconv_open(") + row.encoding + ", char)",
                         row.second}),
                  seen.Of("iconv_open"));
    }

    // In a locale of another character set, which may not be installed here.
    Probe seen;
    seen.codeset = "ISO-8859-1";
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.WriteElement("a", "\xe9"));
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ(kDeclaration + "<a>" + kE + "</a>\n", DocumentOf(writer));
}

TEST_F(XmlWriterTest, WhereIconvKnowsCharItIsTheOnlyName) {
    Probe seen;
    seen.aka["char"] = "ISO-8859-1";
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ((Lines{"iconv_open(UTF-8, char)"}), seen.Of("iconv_open"));
    EXPECT_EQ(1, writer.WriteElement("a", "\xe9"));
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ(kDeclaration + "<a>" + kE + "</a>\n", DocumentOf(writer));
}

TEST_F(XmlWriterTest, TheCharacterSetIsThatOfTheBegin) {
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    const GlobalLocale later("C");
    EXPECT_EQ(1, writer.WriteElement("a", kE));
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ(kDeclaration + "<a>" + kE + "</a>\n", DocumentOf(writer));

    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    const GlobalLocale latest("C.utf8");
    EXPECT_EQ(0, writer.WriteElement("a", kE));
}

// The converter is told of 2 x n bytes, n with the terminator: the text and
// zeros; and of room for 3 x n.
TEST_F(XmlWriterTest, AConversionIsOfTwiceTheTextIntoThreeTimesItsRoom) {
    for (const std::string& text :
         {std::string(), std::string("a"), std::string("abc"), std::string(kE),
          std::string("a\0b", 3), std::string(5000, 'x')}) {
        ConvertingProbe seen;
        XmlWriter writer;
        EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
        const ScopedXmlMemory memory;
        EXPECT_EQ(1, writer.WriteEntity(text));
        ASSERT_EQ(1U, seen.conversions.size());
        const std::size_t n = text.size() + 1;
        EXPECT_EQ(text + std::string(2 * n - text.size(), '\0'),
                  seen.conversions[0].input);
        EXPECT_EQ(3 * n, seen.conversions[0].outRoom);
        ASSERT_EQ(1U, ScopedXmlMemory::asked.size());
        EXPECT_LE(3 * n, ScopedXmlMemory::asked[0]);
    }
}

// A converter that fills all of its room, and so writes no terminator.
TEST_F(XmlWriterTest, AConvertedTextEndsAlsoWithoutATerminator) {
    ConvertingProbe seen;
    seen.convert = [](char** /*in*/, std::size_t* inLeft, char** out,
                      std::size_t* outLeft) {
        std::memset(*out, 'o', *outLeft);
        *out += *outLeft;
        *inLeft = *outLeft = 0;
        return std::size_t{0};
    };
    const ScopedXmlMemory memory;
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.BeginElement("ab"));
    EXPECT_EQ(1, writer.WriteAttribute("", "a"));
    EXPECT_EQ(1, writer.WriteEntity("abc"));
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ(kDeclaration + "<" + std::string(9, 'o') + " ooo=\"" +
                  std::string(6, 'o') + "\">" + std::string(12, 'o') + "</" +
                  std::string(9, 'o') + ">\n",
              DocumentOf(writer));
}

TEST_F(XmlWriterTest, EachConversionStartsAnew) {
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("ISO-2022-JP"));
    EXPECT_EQ(1, writer.BeginElement("a"));
    // It shifts to U+3042's set and breaks off there; in that state, the next
    // text would begin with a shift back, and have no room for it.
    EXPECT_EQ(0, writer.WriteEntity("\xe3\x81\x82\xff"));
    EXPECT_EQ(1, writer.WriteEntity("b"));
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"ISO-2022-JP\"?>\n<a>b</a>\n",
              DocumentOf(writer));
}

TEST_F(XmlWriterTest, TextsAreReleasedAndNullsAreNot) {
    const ScopedXmlMemory memory;
    {
        XmlWriter writer;
        EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
        EXPECT_EQ(1, writer.BeginElement("a"));
        for (const char* const name : {"n", kNoText}) {
            for (const char* const text : {"t", kNoText}) {
                writer.WriteElement(name, text);
                writer.WriteElementEntity(name, text);
                writer.WriteAttribute(name, text);
                writer.BeginElement(name);
                writer.WriteEntity(text);
            }
        }
        writer.WriteComment("t");
        writer.WriteComment(kNoText);
        EXPECT_EQ(0, ScopedXmlMemory::nullsFreed);
    }
    ::xmlResetLastError();
    EXPECT_EQ(0, ScopedXmlMemory::blocks);
}

TEST_F(XmlWriterTest, WithoutMemoryForATextTheAnswerIsZero) {
    const ScopedXmlMemory memory;
    ConvertingProbe seen;
    for (const WriteCase& row : kWriteCases) {
        XmlWriter writer;
        EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
        EXPECT_EQ(1, writer.BeginElement("a"));
        ScopedXmlMemory::failsOwn = true;
        seen.Take();
        const int answer = row.write(writer);
        ScopedXmlMemory::failsOwn = false;
        EXPECT_EQ(row.texts == 0 ? 1 : 0, answer) << "line " << row.line;
        EXPECT_EQ(Lines{}, seen.Of("iconv"));
    }
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    ScopedXmlMemory::failsOwn = true;
    EXPECT_EQ(0, writer.WriteElementEntity("n", "t"));
    ScopedXmlMemory::failsOwn = false;
    EXPECT_EQ(1, writer.WriteElementEntity("n", "t"));
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ(kDeclaration + "<n>t</n>\n", DocumentOf(writer));
}

// Writer: encodings

// [xml-1]
TEST_F(XmlWriterTest, AsciiTextIsGoodForEveryEncodingThatExtendsIt) {
    for (const std::string encoding : {"UTF-8", "ISO-8859-1", "ISO-8859-15",
                                       "US-ASCII", "EUC-KR", "windows-1252"}) {
        XmlWriter writer;
        EXPECT_EQ(1, writer.BeginDocument(encoding)) << encoding;
        EXPECT_EQ(1, writer.BeginElement("a"));
        EXPECT_EQ(1, writer.WriteAttribute("k", "<v>"));
        EXPECT_EQ(1, writer.WriteEntity("t & u"));
        EXPECT_EQ(1, writer.EndDocument());
        EXPECT_EQ("<?xml version=\"1.0\" encoding=\"" + encoding +
                      "\"?>\n<a k=\"&lt;v&gt;\">t &amp; u</a>\n",
                  DocumentOf(writer));
    }
}

TEST_F(XmlWriterTest, AUtf8DocumentTakesEveryText) {
    const std::string text = std::string(kE) + kHan + "\xf0\x9f\x98\x80";
    EXPECT_EQ("<" + text + " " + text + "=\"" + text + "\">" + text + "<!--" +
                  text + "--><b>" + text + "</b><c>" + text + "</c></" + text +
                  ">",
              Written([&](XmlWriter& writer) {
                  EXPECT_EQ(1, writer.BeginElement(text));
                  EXPECT_EQ(1, writer.WriteAttribute(text, text));
                  EXPECT_EQ(1, writer.WriteEntity(text));
                  EXPECT_EQ(1, writer.WriteComment(text));
                  EXPECT_EQ(1, writer.WriteElement("b", text));
                  EXPECT_EQ(1, writer.WriteElementEntity("c", text));
              }));
}

// [xml-1]
TEST_F(XmlWriterTest, NonAsciiTextMeetsTwoConversionsInAnotherEncoding) {
    // The encoding has no such character.
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("ISO-8859-1"));
    EXPECT_EQ(0, writer.WriteElement("a", kHan));
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ(1, writer.BeginDocument("US-ASCII"));
    EXPECT_EQ(0, writer.WriteElement("a", kE));
    EXPECT_EQ(1, writer.EndDocument());

    // Its bytes are no UTF-8, which is noticed when libxml2 flushes.
    for (const auto& [encoding, text] :
         {std::pair("ISO-8859-1", kE), std::pair("EUC-KR", kHan)}) {
        EXPECT_EQ(1, writer.BeginDocument(encoding));
        EXPECT_EQ(1, writer.WriteElement("a", text)) << encoding;
        EXPECT_EQ(0, writer.EndDocument()) << encoding;
        EXPECT_EQ("", DocumentOf(writer)) << encoding;
    }

    // Its bytes C3 A9 are UTF-8 by chance, for the one character E9.
    EXPECT_EQ(1, writer.BeginDocument("ISO-8859-1"));
    EXPECT_EQ(1, writer.WriteElement("a", "\xc3\x83\xc2\xa9"));
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<a>\xe9</a>\n",
              DocumentOf(writer));
}

// [xml-2]
TEST_F(XmlWriterTest, UnderTheCLocaleNonAsciiTextIsRefused) {
    const GlobalLocale locale("C");
    EXPECT_EQ("<a>t</a>", Written([](XmlWriter& writer) {
                  EXPECT_EQ(0, writer.BeginElement(kE));
                  EXPECT_EQ(1, writer.BeginElement("a"));
                  EXPECT_EQ(0, writer.WriteEntity(kE));
                  EXPECT_EQ(0, writer.WriteElement(kE, "t"));
                  EXPECT_EQ(0, writer.WriteElementEntity(kE, "t"));
                  EXPECT_EQ(1, writer.WriteEntity("t"));
              }));
}

// [xml-4]
TEST_F(XmlWriterTest, WideEncodingsBeginButHaveNoRoomForAsciiText) {
    for (const char* const encoding :
         {"UTF-16", "UTF-16LE", "UTF-16BE", "UTF-32", "UCS-4"}) {
        SCOPED_TRACE(encoding);
        XmlWriter writer;
        EXPECT_EQ(1, writer.BeginDocument(encoding));
        EXPECT_EQ(0, writer.BeginElement("a"));
        EXPECT_EQ(0, writer.WriteElement("a", "b"));
        EXPECT_EQ(0, writer.WriteElementEntity("a", "b"));
        EXPECT_EQ(0, writer.WriteEntity(""));
        EXPECT_EQ(0, writer.WriteEntity("a"));
        EXPECT_EQ(0, writer.WriteEntity(1));
        EXPECT_EQ(0, writer.WriteEntity(std::string(1000, 'a')));
        EXPECT_EQ(0, writer.WriteAttribute("a", "b"));
        EXPECT_EQ(1, writer.EndDocument());
    }

    // The whole document, two bytes for a character, behind the byte order.
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-16"));
    EXPECT_EQ(0, writer.BeginElement("a"));
    EXPECT_EQ(1, writer.EndDocument());
    std::string expected = "\xff\xfe";
    for (const char letter :
         std::string("<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n\n")) {
        expected += letter;
        expected += '\0';
    }
    EXPECT_EQ(expected, DocumentOf(writer));
}

// It is the room that decides: a text of L bytes in UTF-8 becomes its
// characters and L + 2 zeros, of two bytes each, where 3 x (L + 1) bytes have
// room.
TEST_F(XmlWriterTest, CharactersOfThreeBytesFindRoomInAWideEncoding) {
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-16LE"));
    EXPECT_EQ(0, writer.WriteEntity(kE)) << "10 of 9 bytes";
    EXPECT_EQ(1, writer.WriteEntity(kHan)) << "12 of 12 bytes";
}

// [xml-3]
TEST_F(XmlWriterTest, ATextThatIsRefusedMayLeaveItsFrameOpen) {
    EXPECT_EQ("<a k=\"\" m=\"x\"/>", Written([](XmlWriter& writer) {
                  EXPECT_EQ(1, writer.BeginElement("a"));
                  EXPECT_EQ(0, writer.WriteAttribute("k", kNoText));
                  EXPECT_EQ(1, writer.WriteAttribute("m", "x"));
              }));
    EXPECT_EQ("<a><!--x--></a>", Written([](XmlWriter& writer) {
                  EXPECT_EQ(1, writer.BeginElement("a"));
                  EXPECT_EQ(0, writer.WriteComment(kNoText));
                  EXPECT_EQ(1, writer.WriteEntity("x"));
                  EXPECT_EQ(0, writer.EndElement()) << "the comment is open";
              }));
    EXPECT_EQ("<a><k/></a>", Written([](XmlWriter& writer) {
                  EXPECT_EQ(1, writer.BeginElement("a"));
                  EXPECT_EQ(0, writer.WriteElement("k", kNoText));
              }));
    // Where the name is refused, or a plain text, nothing is left behind.
    EXPECT_EQ("<a/>", Written([](XmlWriter& writer) {
                  EXPECT_EQ(1, writer.BeginElement("a"));
                  EXPECT_EQ(0, writer.WriteAttribute(kNoText, "v"));
                  EXPECT_EQ(0, writer.BeginElement(kNoText));
                  EXPECT_EQ(0, writer.WriteElement(kNoText, "t"));
                  EXPECT_EQ(0, writer.WriteEntity(kNoText));
              }));
}

// Writer: documents

const struct DocumentCase {
    int line;
    std::function<void(XmlWriter&)> write;
    const char* expected;
} kDocumentCases[] = {
    // Nothing.
    {__LINE__, [](XmlWriter&) {}, ""},

    // Elements, one in another and one beside another.
    {__LINE__,
     [](XmlWriter& w) {
         EXPECT_EQ(1, w.BeginElement("a"));
         EXPECT_EQ(1, w.BeginElement("b"));
         EXPECT_EQ(1, w.EndElement());
         EXPECT_EQ(1, w.BeginElement("c"));
         EXPECT_EQ(1, w.WriteEntity("t"));
         EXPECT_EQ(1, w.EndElement());
         EXPECT_EQ(1, w.WriteEntity("u"));
         EXPECT_EQ(1, w.EndElement());
     },
     "<a><b/><c>t</c>u</a>"},

    // Attributes: in order, and escaped.
    {__LINE__,
     [](XmlWriter& w) {
         EXPECT_EQ(1, w.BeginElement("a"));
         EXPECT_EQ(1, w.WriteAttribute("z", "1"));
         EXPECT_EQ(1, w.WriteAttribute("y", ""));
         EXPECT_EQ(1, w.WriteAttribute("x", "<&>\"'\t\n\r"));
         EXPECT_EQ(1, w.EndElement());
     },
     "<a z=\"1\" y=\"\" x=\"&lt;&amp;&gt;&quot;'&#9;&#10;&#13;\"/>"},

    // An attribute comes too late, or has no element.
    {__LINE__,
     [](XmlWriter& w) {
         EXPECT_EQ(0, w.WriteAttribute("k", "v"));
         EXPECT_EQ(1, w.BeginElement("a"));
         EXPECT_EQ(1, w.WriteEntity("t"));
         EXPECT_EQ(0, w.WriteAttribute("k", "v"));
         EXPECT_EQ(1, w.WriteElement("b", "t"));
         EXPECT_EQ(0, w.WriteAttribute("k", "v"));
     },
     "<a>t<b>t</b></a>"},

    // Text is escaped.
    {__LINE__,
     [](XmlWriter& w) {
         EXPECT_EQ(1, w.BeginElement("a"));
         EXPECT_EQ(1, w.WriteEntity("<b k='1'>&amp;</b>"));
         EXPECT_EQ(1, w.WriteEntity("]]>\t\n"));
     },
     "<a>&lt;b k='1'&gt;&amp;amp;&lt;/b&gt;]]&gt;\t\n</a>"},

    // An element with a text, by either operation; an empty text is one.
    {__LINE__,
     [](XmlWriter& w) {
         EXPECT_EQ(1, w.BeginElement("a"));
         EXPECT_EQ(1, w.WriteElement("b", "<&>"));
         EXPECT_EQ(1, w.WriteElementEntity("b", "<&>"));
         EXPECT_EQ(1, w.WriteElement("c", ""));
         EXPECT_EQ(1, w.WriteElementEntity("c", ""));
     },
     "<a><b>&lt;&amp;&gt;</b><b>&lt;&amp;&gt;</b><c></c><c></c></a>"},

    // Comments, which are not escaped, before, in and behind an element.
    {__LINE__,
     [](XmlWriter& w) {
         EXPECT_EQ(1, w.WriteComment(" one "));
         EXPECT_EQ(1, w.BeginElement("a"));
         EXPECT_EQ(1, w.WriteComment("<two> & \""));
         EXPECT_EQ(1, w.WriteComment(""));
         EXPECT_EQ(1, w.EndElement());
         EXPECT_EQ(1, w.WriteComment("three"));
     },
     "<!-- one --><a><!--<two> & \"--><!----></a><!--three-->"},

    // An empty name is refused.
    {__LINE__,
     [](XmlWriter& w) {
         EXPECT_EQ(0, w.BeginElement(""));
         EXPECT_EQ(1, w.BeginElement("a"));
         EXPECT_EQ(0, w.WriteAttribute("", "v"));
         EXPECT_EQ(0, w.WriteElement("", "t"));
         EXPECT_EQ(0, w.WriteElementEntity("", "t"));
     },
     "<a/>"},

    // An end too many is refused, and harmless.
    {__LINE__,
     [](XmlWriter& w) {
         EXPECT_EQ(0, w.EndElement());
         EXPECT_EQ(1, w.BeginElement("a"));
         EXPECT_EQ(1, w.EndElement());
         EXPECT_EQ(0, w.EndElement());
         EXPECT_EQ(0, w.EndElement());
         EXPECT_EQ(1, w.BeginElement("b"));
         EXPECT_EQ(1, w.WriteAttribute("k", "v"));
         EXPECT_EQ(1, w.EndElement());
     },
     "<a/><b k=\"v\"/>"},

    // What libxml2 takes: attributes twice, two roots, "--" in a comment,
    // names that are none.
    {__LINE__,
     [](XmlWriter& w) {
         EXPECT_EQ(1, w.BeginElement("a"));
         EXPECT_EQ(1, w.WriteAttribute("k", "1"));
         EXPECT_EQ(1, w.WriteAttribute("k", "2"));
         EXPECT_EQ(1, w.EndElement());
         EXPECT_EQ(1, w.BeginElement("1 <"));
         EXPECT_EQ(1, w.WriteComment("--"));
     },
     "<a k=\"1\" k=\"2\"/><1 <><!------></1 <>"},

    // A text ends at its first zero.
    {__LINE__,
     [](XmlWriter& w) {
         const std::string text("ab\0cd", 5);
         EXPECT_EQ(1, w.BeginElement(text));
         EXPECT_EQ(1, w.WriteAttribute(text, text));
         EXPECT_EQ(1, w.WriteEntity(text));
         EXPECT_EQ(1, w.WriteComment(text));
         EXPECT_EQ(1, w.WriteElement(text, text));
         EXPECT_EQ(1, w.WriteElementEntity(text, text));
     },
     "<ab ab=\"ab\">ab<!--ab--><ab>ab</ab><ab>ab</ab></ab>"},
};

TEST_F(XmlWriterTest, DocumentsAreWrittenToTheByte) {
    for (const DocumentCase& row : kDocumentCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        EXPECT_EQ(row.expected, Written(row.write));
    }
}

// Compared as a whole: the difference of such texts would take minutes.
TEST_F(XmlWriterTest, LongTextsAreWrittenWhole) {
    std::string text;
    while (text.size() < 1 << 20) {
        text += "0123456789abcde\n";
    }
    const std::string attribute(1 << 20, 'v');
    const std::string name(70000, 'n');
    const std::string written = Written([&](XmlWriter& writer) {
        EXPECT_EQ(1, writer.BeginElement(name));
        EXPECT_EQ(1, writer.WriteAttribute("k", attribute));
        EXPECT_EQ(1, writer.WriteEntity(text));
        EXPECT_EQ(1, writer.WriteComment(text));
    });
    EXPECT_TRUE("<" + name + " k=\"" + attribute + "\">" + text + "<!--" +
                    text + "--></" + name + ">" ==
                written);
}

TEST_F(XmlWriterTest, ManyElementsNest) {
    std::string open;
    std::string close;
    for (int level = 0; level < 1000; ++level) {
        open += "<a>";
        close += "</a>";
    }
    EXPECT_EQ(open + "t" + close, Written([](XmlWriter& writer) {
                  for (int level = 0; level < 1000; ++level) {
                      EXPECT_EQ(1, writer.BeginElement("a"));
                  }
                  EXPECT_EQ(1, writer.WriteEntity("t"));
              }));
}

// Writer: values

// The text of a value is to be the same in all three forms.
struct ValueCase {
    int line;
    std::function<void(XmlWriter&)> write;
    std::string text;
};

template <typename... Value>
ValueCase Case(int line, const std::string& text, Value... value) {
    return {line,
            [=](XmlWriter& writer) {
                EXPECT_EQ(1, writer.BeginElement("r"));
                EXPECT_EQ(1, writer.WriteAttribute("k", value...));
                EXPECT_EQ(1, writer.WriteEntity(value...));
                EXPECT_EQ(1, writer.WriteElementEntity("e", value...));
            },
            text};
}

void ExpectValues(const std::vector<ValueCase>& cases) {
    for (const ValueCase& row : cases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        EXPECT_EQ("<r k=\"" + row.text + "\">" + row.text + "<e>" + row.text +
                      "</e></r>",
                  Written(row.write));
    }
}

TEST_F(XmlWriterTest, SignedNumbersAreDecimal) {
    ExpectValues({
        Case(__LINE__, "0", 0),
        Case(__LINE__, "7", 7),
        Case(__LINE__, "-1", -1),
        Case(__LINE__, "2147483647", INT_MAX),
        Case(__LINE__, "-2147483648", INT_MIN),

        Case(__LINE__, "0", 0LL),
        Case(__LINE__, "-1", -1LL),
        Case(__LINE__, "2147483648", 2147483648LL),
        Case(__LINE__, "-2147483649", -2147483649LL),
        Case(__LINE__, "9223372036854775807", LLONG_MAX),
        Case(__LINE__, "-9223372036854775808", LLONG_MIN),
    });
}

// [xml-6]
TEST_F(XmlWriterTest, UnsignedIntAndLongAreWrittenAsSignedInts) {
    ExpectValues({
        Case(__LINE__, "0", 0U),
        Case(__LINE__, "2147483647", 2147483647U),
        Case(__LINE__, "-2147483648", 2147483648U),
        Case(__LINE__, "-2147483647", 2147483649U),
        Case(__LINE__, "-1", 4294967295U),

        Case(__LINE__, "0", 0UL),
        Case(__LINE__, "2147483647", 2147483647UL),
        Case(__LINE__, "-2147483648", 2147483648UL),
        Case(__LINE__, "-1", 4294967295UL),
        Case(__LINE__, "0", 4294967296UL),
        Case(__LINE__, "7", 4294967303UL),
        Case(__LINE__, "-1", ULONG_MAX),
        Case(__LINE__, "0", 0x8000000000000000UL),
    });
}

TEST_F(XmlWriterTest, UnsignedLongLongIsWrittenWhole) {
    ExpectValues({
        Case(__LINE__, "0", 0ULL),
        Case(__LINE__, "4294967295", 4294967295ULL),
        Case(__LINE__, "9223372036854775808", 9223372036854775808ULL),
        Case(__LINE__, "18446744073709551615", ULLONG_MAX),
    });
}

TEST_F(XmlWriterTest, DoublesHaveSixDecimals) {
    ExpectValues({
        Case(__LINE__, "0.000000", 0.0),
        Case(__LINE__, "-0.000000", -0.0),
        Case(__LINE__, "1.000000", 1.0),
        Case(__LINE__, "-2.500000", -2.5),
        Case(__LINE__, "0.333333", 1.0 / 3),
        Case(__LINE__, "0.666667", 2.0 / 3),
        Case(__LINE__, "0.000000", DBL_MIN),
        Case(__LINE__, "0.000001", 0.00000075),
        Case(__LINE__, "1234567890.125000", 1234567890.125),
        Case(__LINE__, "10000000000000000000000.000000", 1e22),
        Case(__LINE__, "inf", HUGE_VAL),
        Case(__LINE__, "-inf", -HUGE_VAL),
        Case(__LINE__, "nan", std::copysign(std::nan(""), 1.0)),
        Case(__LINE__, "-nan", std::copysign(std::nan(""), -1.0)),
    });

    char text[400];
    EXPECT_EQ(316, std::snprintf(text, sizeof text, "%lf", DBL_MAX));
    ExpectValues({Case(__LINE__, text, DBL_MAX)});
    ExpectValues({Case(__LINE__, std::string("-") + text, -DBL_MAX)});
}

// [xml-7]
TEST_F(XmlWriterTest, TheDecimalPointIsThatOfTheCLocale) {
    // A comma of C++ alone is none of C.
    struct Comma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
    };
    const std::locale earlier =
        std::locale::global(std::locale(std::locale(), new Comma));
    ExpectValues({Case(__LINE__, "2.500000", 2.5)});
    std::locale::global(earlier);

    const NovuTest::CommaLocale comma;
    ExpectValues({Case(__LINE__, "2,500000", 2.5)});
}

// [xml-19]
TEST_F(XmlWriterTest, WhatXmlDoesNotAllowIsWrittenAndCannotBeLoaded) {
    const struct {
        int line;
        std::function<void(XmlWriter&)> write;
    } cases[] = {
        {__LINE__,
         [](XmlWriter& w) { EXPECT_EQ(1, w.WriteElement("a", "\x01")); }},
        {__LINE__,
         [](XmlWriter& w) {
             EXPECT_EQ(1, w.WriteElement("a", "\xef\xbf\xbf"));
         }},
        {__LINE__,
         [](XmlWriter& w) {
             EXPECT_EQ(1, w.BeginElement("a"));
             EXPECT_EQ(1, w.WriteAttribute("b", 1));
             EXPECT_EQ(1, w.WriteAttribute("b", 2));
             EXPECT_EQ(1, w.EndElement());
         }},
        {__LINE__,
         [](XmlWriter& w) {
             EXPECT_EQ(1, w.WriteElement("a", ""));
             EXPECT_EQ(1, w.WriteElement("b", ""));
         }},
        {__LINE__,
         [](XmlWriter& w) {
             EXPECT_EQ(1, w.BeginElement("a"));
             EXPECT_EQ(1, w.WriteComment("b--c"));
             EXPECT_EQ(1, w.EndElement());
         }},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        XmlWriter writer;
        EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
        row.write(writer);
        EXPECT_EQ(1, writer.EndDocument());
        unsigned long size = 0;
        unsigned char* const bytes = writer.GetXmlBuffer(size);
        XmlReader reader;
        EXPECT_EQ(0, reader.Load(bytes, size));
    }
}

TEST_F(XmlWriterTest, GuidsAreWrittenInTheirFormat) {
    const char* const text = "00112233-4455-6677-8899-aabbccddeeff";
    const Guid guid = GuidOf("{00112233-4455-6677-8899-AABBCCDDEEFF}");
    ExpectValues({
        Case(__LINE__, text, guid, 1),
        Case(__LINE__, text, guid, 2),
        Case(__LINE__, text, guid, -1),
        Case(__LINE__, text, guid, INT_MIN),
        Case(__LINE__, "0112233-4455-6677-8899-aabbccddeef", guid, 0),
    });
}

// [xml-8]
TEST_F(XmlWriterTest, TheNilGuidIsAnEmptyText) {
    for (const int format : {0, 1, 2, -1}) {
        ExpectValues({Case(__LINE__, "", Guid(), format)});
    }
}

// Writer: the bytes

// libxml2 counts in unsigned int and answers an int.
TEST_F(XmlWriterTest, TheCountOfBytesHas32Bits) {
    Probe seen;
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.EndDocument());
    for (const auto& [answer, expected] :
         {std::pair{INT_MAX, 2147483647UL}, std::pair{INT_MIN, 2147483648UL},
          std::pair{-1, 4294967295UL}}) {
        seen.answers["xmlBufferLength"] = answer;
        unsigned long size = 12345;
        EXPECT_NE(nullptr, writer.GetXmlBuffer(size));
        EXPECT_EQ(expected, size);
    }
}

TEST_F(XmlWriterTest, WithoutABufferThereAreNoBytes) {
    XmlWriter writer;
    unsigned long size = 12345;
    EXPECT_EQ(nullptr, writer.GetXmlBuffer(size));
    EXPECT_EQ(0U, size);

    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_NE(nullptr, writer.GetXmlBuffer(size));
    EXPECT_NE(0U, size);
    writer.Close();
    size = 12345;
    EXPECT_EQ(nullptr, writer.GetXmlBuffer(size));
    EXPECT_EQ(0U, size);
}

TEST_F(XmlWriterTest, TheBytesAreTheBuffersOwn) {
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.WriteElement("a", "b"));
    EXPECT_EQ(1, writer.EndDocument());
    unsigned long size = 12345;
    const unsigned char* const bytes = writer.GetXmlBuffer(size);
    const auto* const buffer =
        static_cast<const xmlBuffer*>(DataOf(writer).buffer);
    EXPECT_EQ(::xmlBufferContent(buffer), bytes);
    EXPECT_EQ(static_cast<unsigned long>(::xmlBufferLength(buffer)), size);

    // They last, whatever is tried.
    EXPECT_EQ(0, writer.EndDocument());
    EXPECT_EQ(0, writer.WriteElement("c", "d"));
    unsigned long again = 12345;
    EXPECT_EQ(bytes, writer.GetXmlBuffer(again));
    EXPECT_EQ(size, again);
    EXPECT_EQ(kDeclaration + "<a>b</a>\n", DocumentOf(writer));
}

// [xml-9]
TEST_F(XmlWriterTest, BeforeTheEndTheBufferHoldsAPartOrNothing) {
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    unsigned long size = 12345;
    EXPECT_NE(nullptr, writer.GetXmlBuffer(size));
    EXPECT_EQ(0U, size);
    EXPECT_EQ(1, writer.BeginElement("a"));
    EXPECT_NE(nullptr, writer.GetXmlBuffer(size));
    EXPECT_EQ(0U, size);

    EXPECT_EQ(1, writer.WriteEntity(std::string(20000, 'x')));
    const std::string part = DocumentOf(writer);
    EXPECT_LT(kDeclaration.size(), part.size());
    EXPECT_EQ(1, writer.EndDocument());
    const std::string whole = DocumentOf(writer);
    EXPECT_EQ(kDeclaration + "<a>" + std::string(20000, 'x') + "</a>\n", whole);
    EXPECT_LT(part.size(), whole.size());
    EXPECT_EQ(part, whole.substr(0, part.size()));
}

TEST_F(XmlWriterTest, SaveWritesTheBytesInOnePiece) {
    const TempDir temp;
    const std::string path = temp / "a.xml";
    Probe seen;
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.WriteElement("a", std::string(100000, 'x') + kE));
    EXPECT_EQ(1, writer.EndDocument());
    const std::string document = DocumentOf(writer);
    unsigned long size = 0;
    seen.Name(writer.GetXmlBuffer(size), "bytes");
    seen.Take();
    EXPECT_EQ(1, writer.Save(path));
    EXPECT_EQ(
        (Lines{"fopen(" + path + ", wb)",
               "fwrite(bytes1, " + std::to_string(document.size()) + ", file1)",
               "fclose(file1)"}),
        seen.Take());
    EXPECT_EQ(document, ContentOf(path));

    // Once more, and elsewhere: the document stays.
    EXPECT_EQ(1, writer.Save(path));
    EXPECT_EQ(1, writer.Save(temp / "b.xml"));
    EXPECT_EQ(document, ContentOf(path));
    EXPECT_EQ(document, ContentOf(temp / "b.xml"));
    EXPECT_EQ(document, DocumentOf(writer));
}

TEST_F(XmlWriterTest, SaveReplacesALongerFile) {
    const TempDir temp;
    const std::string path = temp.Write("a.xml", std::string(100000, 'o'));
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.WriteElement("a", "b"));
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ(1, writer.Save(path));
    EXPECT_EQ(kDeclaration + "<a>b</a>\n", ContentOf(path));
}

TEST_F(XmlWriterTest, SaveWithoutABufferTouchesNoFile) {
    const TempDir temp;
    const std::string path = temp.Write("a.xml", "before");
    Probe seen;
    XmlWriter writer;
    EXPECT_EQ(0, writer.Save(path));
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.EndDocument());
    writer.Close();
    EXPECT_EQ(0, writer.Save(path));
    EXPECT_EQ(Lines{}, seen.Of("fopen"));
    EXPECT_EQ("before", ContentOf(path));
}

TEST_F(XmlWriterTest, SaveToAPathThatCannotBeOpenedAnswersZero) {
    const TempDir temp;
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.WriteElement("a", "b"));
    EXPECT_EQ(1, writer.EndDocument());
    const std::string document = DocumentOf(writer);
    errno = 0;
    EXPECT_EQ(0, writer.Save(temp / "missing/a.xml"));
    EXPECT_EQ(ENOENT, errno) << "as the system set it";
    EXPECT_EQ(0, writer.Save(temp.Path()));
    EXPECT_EQ(0, writer.Save(""));
    EXPECT_EQ(document, DocumentOf(writer));
    EXPECT_EQ(1, writer.Save(temp / "a.xml"));
    EXPECT_EQ(document, ContentOf(temp / "a.xml"));
}

// [xml-9]
TEST_F(XmlWriterTest, SaveBeforeTheEndWritesWhatTheBufferHolds) {
    const TempDir temp;
    const std::string path = temp.Write("a.xml", "before");
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.BeginElement("a"));
    EXPECT_EQ(1, writer.Save(path));
    EXPECT_EQ("", ContentOf(path));

    EXPECT_EQ(1, writer.WriteEntity(std::string(20000, 'x')));
    const std::string part = DocumentOf(writer);
    EXPECT_NE("", part);
    EXPECT_EQ(1, writer.Save(path));
    EXPECT_EQ(part, ContentOf(path));

    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ(1, writer.Save(path));
    EXPECT_EQ(DocumentOf(writer), ContentOf(path));
}

// [xml-10]
TEST_F(XmlWriterTest, SaveAnswersOneAlsoWhereTheWriteFails) {
    const TempDir temp;
    const std::string path = temp / "a.xml";
    Probe seen;
    seen.failing = {"fwrite", "fclose"};
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ(1, writer.Save(path));
    EXPECT_EQ(1U, seen.Of("fwrite").size()) << "no second try";
    EXPECT_EQ(1U, seen.Of("fclose").size());
    EXPECT_EQ("", ContentOf(path));
}

// Writer: memory

TEST_F(XmlWriterTest, TheConstructorTakesOneBlockOrNone) {
    const NovuTest::AllocationLedger ledger;
    EXPECT_EQ(1U, NovuTest::FailEachAllocation(
                      [] { const XmlWriter writer; },
                      [&] { EXPECT_EQ(0U, ledger.Blocks()); }));
    EXPECT_EQ(0U, ledger.Blocks());
    EXPECT_EQ(2U, NovuTest::FailEachAllocation(
                      [] { delete new XmlWriter(); },
                      [&] { EXPECT_EQ(0U, ledger.Blocks()); }));
    EXPECT_EQ(0U, ledger.Blocks());
}

// Numbers and identifiers whose texts are too long to stand in the string.
TEST_F(XmlWriterTest, FailingMemoryInAValuePassesAndLeavesTheDocument) {
    const Guid guid = GuidOf("00112233-4455-6677-8899-aabbccddeeff");
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.BeginElement("a"));
    const std::string name = "k";
    const auto walk = [&](const std::function<int()>& write) {
        int answer = 0;
        EXPECT_LE(
            1U, NovuTest::FailEachAllocation([&] { answer = write(); }, [] {}));
        EXPECT_EQ(1, answer);
    };
    walk([&] { return writer.WriteAttribute(name, guid, 1); });
    walk([&] { return writer.WriteAttribute(name, 1e22); });
    walk([&] { return writer.WriteAttribute(name, LLONG_MIN); });
    walk([&] { return writer.WriteAttribute(name, ULLONG_MAX); });
    walk([&] { return writer.WriteEntity(guid, 0); });
    walk([&] { return writer.WriteElementEntity(name, 1e22); });
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ(kDeclaration +
                  "<a k=\"00112233-4455-6677-8899-aabbccddeeff\""
                  " k=\"10000000000000000000000.000000\""
                  " k=\"-9223372036854775808\" k=\"18446744073709551615\">"
                  "0112233-4455-6677-8899-aabbccddeef"
                  "<k>10000000000000000000000.000000</k></a>\n",
              DocumentOf(writer));
}

// libxml2's own memory failing within BeginDocument, block by block.
TEST_F(XmlWriterTest, ABeginDocumentWithoutMemoryCanBeRepeated) {
    int failures = 0;
    bool through = false;
    for (unsigned long n = 1; !through && n < 1000; ++n) {
        Probe seen;
        const ScopedXmlMemory memory;
        CountingWriter writer;
        ScopedXmlMemory::untilFailure = n;
        const int answer = writer.BeginDocument("UTF-8");
        through = ScopedXmlMemory::untilFailure != 0;
        ScopedXmlMemory::untilFailure = 0;
        if (answer == 0) {
            ++failures;
            EXPECT_EQ("none", DocumentOf(writer)) << n;
            writer.EndDocument();
            EXPECT_EQ(1, writer.BeginDocument("UTF-8")) << n;
        }
        EXPECT_EQ(1, writer.BeginElement("a")) << n;
        EXPECT_EQ(1, writer.EndDocument()) << n;
        EXPECT_EQ(kDeclaration + "<a/>\n", DocumentOf(writer)) << n;
    }
    EXPECT_TRUE(through);
    EXPECT_LT(2, failures) << "the buffer, the text writer and their parts";
}

// Reader: helpers

using Element = XmlReader::Element;
using Attribute = XmlReader::Attribute;

struct ReaderData {
    void* document;
    void* converter;
    std::vector<char>* room;

    std::string Room() const { return {room->begin(), room->end()}; }
    std::size_t Capacity() const { return room->capacity(); }
};

ReaderData DataOf(const XmlReader& reader) {
    return PrivateData<ReaderData>(&reader);
}

// A UTF-8 document.
std::string Declared(const std::string& body) { return kDeclaration + body; }

std::string DeclaredAs(const std::string& encoding, const std::string& body) {
    return "<?xml version=\"1.0\" encoding=\"" + encoding + "\"?>" + body;
}

// Loads from a copy that is gone afterwards.
int Load(XmlReader& reader, const std::string& document) {
    std::vector<unsigned char> bytes(document.begin(), document.end());
    const int answer = reader.Load(bytes.data(), bytes.size());
    std::fill(bytes.begin(), bytes.end(), static_cast<unsigned char>('#'));
    return answer;
}

// A reader that has loaded the document of `body`.
class LoadedReader : public XmlReader {
public:
    explicit LoadedReader(const std::string& body,
                          const std::string& encoding = "UTF-8") {
        EXPECT_EQ(1, ::Load(*this, DeclaredAs(encoding, body))) << body;
    }

    Element* Root() { return GetRootElement(); }
    Attribute* First() { return GetFirstAttribute(Root()); }
};

// Nothing is loaded.
void ExpectIsEmpty(XmlReader& reader) {
    EXPECT_EQ(nullptr, reader.GetRootElement());
    const ReaderData data = DataOf(reader);
    EXPECT_EQ(nullptr, data.document);
    EXPECT_EQ(nullptr, data.converter);
    EXPECT_EQ("", data.Room());
}

// A converter that fails at its n-th conversion (1 is the next one) and else
// copies.
std::function<std::size_t(char**, std::size_t*, char**, std::size_t*)>
FailingAt(int n) {
    return [n](char** in, std::size_t* inLeft, char** out,
               std::size_t* outLeft) mutable {
        if (--n == 0) {
            **out = 'p';  // A part of the text has been converted.
            errno = EILSEQ;
            return static_cast<std::size_t>(-1);
        }
        std::memcpy(*out, *in, *inLeft);
        *out += *inLeft;
        *outLeft -= *inLeft;
        *inLeft = 0;
        return std::size_t{0};
    };
}

// A converter that copies, and counts a character that it could only replace.
std::size_t Replacing(char** in, std::size_t* inLeft, char** out,
                      std::size_t* outLeft) {
    std::memcpy(*out, *in, *inLeft);
    *out += *inLeft;
    *outLeft -= *inLeft;
    *inLeft = 0;
    return 1;
}

// Reader: layout

// The table pointer, the private data.
static_assert(sizeof(XmlReader) == 2 * sizeof(void*));
static_assert(std::has_virtual_destructor_v<XmlReader>);
static_assert(!std::is_copy_constructible_v<XmlReader>);
static_assert(!std::is_copy_assignable_v<XmlReader>);

TEST_F(XmlReaderTest, TheVirtualSlotsStandInOrder) {
    class Extended : public XmlReader {
    public:
        virtual int Extra() { return 4711; }
    };
    Extended object;
    XmlReader* const reader = &object;
    using Root = Element*(XmlReader*);
    EXPECT_EQ(nullptr, Slot<Root>(reader, 2)(reader));
    EXPECT_EQ(1, Load(*reader, Declared("<a/>")));
    EXPECT_EQ(reader->GetRootElement(), Slot<Root>(reader, 2)(reader));
    EXPECT_NE(nullptr, Slot<Root>(reader, 2)(reader));
    EXPECT_EQ(4711, Slot<int(Extended*)>(reader, 3)(&object))
        << "nothing else is virtual";
}

TEST_F(XmlReaderTest, TheFirstTwoSlotsDestroyAndDelete) {
    const std::string document = Declared("<a/>");
    const NovuTest::AllocationLedger ledger;
    alignas(XmlReader) unsigned char place[sizeof(XmlReader)];
    auto* const placed = new (place) XmlReader();
    EXPECT_EQ(2U, ledger.Blocks()) << "the private data and its vector";
    EXPECT_EQ(1, Load(*placed, document));
    EXPECT_EQ(3U, ledger.Blocks()) << "and the room";
    Slot<void(XmlReader*)>(placed, 0)(placed);
    EXPECT_EQ(0U, ledger.Blocks());

    auto* const made = new XmlReader();
    EXPECT_EQ(1, Load(*made, document));
    EXPECT_EQ(4U, ledger.Blocks());
    Slot<void(XmlReader*)>(made, 1)(made);
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST_F(XmlReaderTest, ThePrivateDataHoldsDocumentConverterRoom) {
    Probe seen;
    XmlReader reader;
    ExpectIsEmpty(reader);
    EXPECT_EQ(0U, DataOf(reader).Capacity());

    EXPECT_EQ(1, Load(reader, Declared("<a>text</a>")));
    ReaderData data = DataOf(reader);
    EXPECT_EQ("document1", seen.NameOf(data.document));
    EXPECT_EQ("converter1", seen.NameOf(data.converter));
    EXPECT_EQ(std::string(4096, '\0'), data.Room());

    EXPECT_EQ("a'text'", Tree(reader));
    reader.Close();
    ExpectIsEmpty(reader);
    EXPECT_LE(4096U, DataOf(reader).Capacity()) << "the capacity stays";

    EXPECT_EQ(1, Load(reader, Declared("<a/>")));
    EXPECT_EQ(std::string(4096, '\0'), DataOf(reader).Room());
}

// Reader: loading

TEST_F(XmlReaderTest, ANewReaderIsEmpty) {
    XmlReader reader;
    ExpectIsEmpty(reader);
    reader.Close();
    ExpectIsEmpty(reader);
}

TEST_F(XmlReaderTest, LoadParsesTheBytesWithoutOptions) {
    std::string document = Declared("<a>b</a>");
    auto* const bytes = reinterpret_cast<unsigned char*>(document.data());
    Probe seen;
    seen.Name(bytes, "bytes");
    XmlReader reader;
    EXPECT_EQ(1, reader.Load(bytes, document.size()));
    EXPECT_EQ(
        (Lines{"xmlCtxtReadMemory(bytes1, " + std::to_string(document.size()) +
                   ", noname.xml, null, 0)",
               "iconv_open(char, UTF-8)", "iconv_open(UTF-8, UTF-8)"}),
        seen.Take());
    EXPECT_EQ(Declared("<a>b</a>"), document) << "the bytes are only read";
    document.assign(document.size(), '#');
    EXPECT_EQ("a'b'", Tree(reader)) << "and not kept";
}

TEST_F(XmlReaderTest, LoadParsesNoMoreThanTheSize) {
    std::string document = Declared("<a/>") + "<no more of it";
    XmlReader reader;
    EXPECT_EQ(1, reader.Load(reinterpret_cast<unsigned char*>(document.data()),
                             Declared("<a/>").size()));
    EXPECT_EQ("a", Tree(reader));
}

TEST_F(XmlReaderTest, LoadParsesTheFileWithoutOptions) {
    const TempDir temp;
    const std::string path = temp.Write("a.xml", Declared("<a>b</a>"));
    Probe seen;
    XmlReader reader;
    EXPECT_EQ(1, reader.Load(path));
    EXPECT_EQ((Lines{"xmlCtxtReadFile(" + path + ", null, 0)",
                     "iconv_open(char, UTF-8)", "iconv_open(UTF-8, UTF-8)"}),
              seen.Take());
    EXPECT_EQ(std::string(4096, '\0'), DataOf(reader).Room());
    EXPECT_EQ("a'b'", Tree(reader));
    reader.Close();
    EXPECT_EQ((Lines{"xmlFreeDoc(document1)"}), seen.Of("xmlFreeDoc"));
    ExpectIsEmpty(reader);
}

// The path's bytes are the system's, whatever the locale makes of them.
TEST_F(XmlReaderTest, LoadHandsThePathOnAsItIs) {
    const TempDir temp;
    const std::string path =
        temp.Write(std::string(kHan) + ".xml", Declared("<a/>"));
    for (const char* const name : {"C.utf8", "C"}) {
        const GlobalLocale locale(name);
        Probe seen;
        XmlReader reader;
        EXPECT_EQ(1, reader.Load(path)) << name;
        EXPECT_EQ((Lines{"xmlCtxtReadFile(" + path + ", null, 0)"}),
                  seen.Of("xmlCtxtReadFile"));
    }
}

TEST_F(XmlReaderTest, BothLoadsReadTheSame) {
    const std::string document = Declared(
        "<!-- c --><a k=\"v\" l=\"&lt;\"><b>t<c/></b><d e=\"f\"/>u</a>");
    const TempDir temp;
    XmlReader fromFile;
    EXPECT_EQ(1, fromFile.Load(temp.Write("a.xml", document)));
    XmlReader fromMemory;
    EXPECT_EQ(1, Load(fromMemory, document));
    EXPECT_EQ("a[k=v][l=<](b't'(c) d[e=f])", Tree(fromFile));
    EXPECT_EQ(Tree(fromFile), Tree(fromMemory));
}

TEST_F(XmlReaderTest, LoadOfNothingIsRefusedWithoutParsing) {
    std::string document = Declared("<a/>");
    auto* const bytes = reinterpret_cast<unsigned char*>(document.data());
    Probe seen;
    XmlReader reader;
    EXPECT_EQ(0, reader.Load(nullptr, 0));
    EXPECT_EQ(0, reader.Load(nullptr, document.size()));
    EXPECT_EQ(0, reader.Load(bytes, 0));
    EXPECT_EQ(Lines{}, seen.Take());
    EXPECT_EQ(0U, reports.Reports());
    ExpectIsEmpty(reader);
    EXPECT_EQ(1, reader.Load(bytes, document.size()));
}

TEST_F(XmlReaderTest, ASecondLoadIsRefusedWithoutParsing) {
    const TempDir temp;
    const std::string path = temp.Write("b.xml", Declared("<b/>"));
    Probe seen;
    XmlReader reader;
    EXPECT_EQ(1, Load(reader, Declared("<a k=\"v\">t</a>")));
    Element* const root = reader.GetRootElement();
    seen.Take();
    EXPECT_EQ(0, Load(reader, Declared("<b/>")));
    EXPECT_EQ(0, Load(reader, "not well-formed"));
    EXPECT_EQ(0, reader.Load(path));
    EXPECT_EQ(0, reader.Load(temp / "missing.xml"));
    EXPECT_EQ(Lines{}, seen.Take());
    EXPECT_EQ(root, reader.GetRootElement());
    EXPECT_EQ("a[k=v]'t'", Tree(reader));

    reader.Close();
    EXPECT_EQ(1, reader.Load(path));
    EXPECT_EQ("b", Tree(reader));
    EXPECT_EQ(0, Load(reader, Declared("<a/>")));
    EXPECT_EQ("b", Tree(reader));
}

// [xml-12]
TEST_F(XmlReaderTest, TheSizeIsA32BitInt) {
    std::string document = Declared("<a/>");
    auto* const bytes = reinterpret_cast<unsigned char*>(document.data());
    const unsigned long size = document.size();
    const struct {
        int line;
        unsigned long size;
        int answer;
        std::string parsed;  // The size that libxml2 gets.
    } cases[] = {
        // line     size                   answer  parsed
        {__LINE__, size, 1, std::to_string(size)},
        {__LINE__, (1UL << 32) + size, 1, std::to_string(size)},
        {__LINE__, (0xFFFFFFFFUL << 32) + size, 1, std::to_string(size)},
        {__LINE__, 1UL << 31, 0, "-2147483648"},
        {__LINE__, (1UL << 31) + size, 0,
         std::to_string(INT_MIN + static_cast<int>(size))},
        {__LINE__, 0xFFFFFFFFUL, 0, "-1"},
        {__LINE__, ULONG_MAX, 0, "-1"},
        {__LINE__, 1UL << 32, 0, "0"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Probe seen;
        seen.Name(bytes, "bytes");
        XmlReader reader;
        EXPECT_EQ(row.answer, reader.Load(bytes, row.size));
        EXPECT_EQ((Lines{"xmlCtxtReadMemory(bytes1, " + row.parsed +
                         ", noname.xml, null, 0)"}),
                  seen.Of("xmlCtxtReadMemory"));
        if (row.answer == 0) {
            ExpectIsEmpty(reader);
        }
    }
}

const struct LoadCase {
    int line;
    std::string document;
    int answer;
    std::size_t opens;  // Calls of iconv_open: 0 when none is to be tried.
} kLoadCases[] = {
    // No encoding is declared.
    {__LINE__, "<a/>", 0, 0},
    {__LINE__, "<?xml version=\"1.0\"?><a/>", 0, 0},
    {__LINE__, "<?xml version=\"1.0\" standalone=\"yes\"?><a/>", 0, 0},
    {__LINE__, "\xef\xbb\xbf<a/>", 0, 0},
    {__LINE__, "\xef\xbb\xbf<?xml version=\"1.0\"?><a/>", 0, 0},

    // Encodings that libxml2 does not read.
    {__LINE__, DeclaredAs("no-such-encoding", "<a/>"), 0, 0},
    {__LINE__, DeclaredAs("HTML", "<a/>"), 0, 0},

    // Not well-formed.
    {__LINE__, "a", 0, 0},
    {__LINE__, " ", 0, 0},
    {__LINE__, std::string(1, '\0'), 0, 0},
    {__LINE__, kDeclaration, 0, 0},
    {__LINE__, Declared("<a>"), 0, 0},
    {__LINE__, Declared("<a></b>"), 0, 0},
    {__LINE__, Declared("<a/><b/>"), 0, 0},
    {__LINE__, Declared("<a k=\"1\" k=\"2\"/>"), 0, 0},
    {__LINE__, Declared("<a>&none;</a>"), 0, 0},
    {__LINE__, Declared("<a>\xff</a>"), 0, 0},

    // Good ones.
    {__LINE__, Declared("<a/>"), 1, 2},
    {__LINE__, DeclaredAs("utf-8", "<a/>"), 1, 2},
    {__LINE__, DeclaredAs("ISO-8859-1", "<a/>"), 1, 2},
    {__LINE__, DeclaredAs("US-ASCII", "<a/>"), 1, 2},
    {__LINE__, DeclaredAs("EUC-KR", "<a/>"), 1, 2},
    {__LINE__, "<?xml version='1.0' encoding='UTF-8' standalone='yes'?><a/>", 1,
     2},
};

// [xml-11]
TEST_F(XmlReaderTest, OnlyDocumentsThatDeclareAKnownEncodingAreLoaded) {
    const TempDir temp;
    for (const LoadCase& row : kLoadCases) {
        const std::string path = temp.Write("a.xml", row.document);
        for (const bool fromFile : {false, true}) {
            SCOPED_TRACE(testing::Message() << "row at line " << row.line);
            Probe seen;
            XmlReader reader;
            EXPECT_EQ(row.answer, fromFile ? reader.Load(path)
                                           : Load(reader, row.document));
            EXPECT_EQ(row.opens, seen.Of("iconv_open").size());
            if (row.answer == 1) {
                EXPECT_EQ("a", Tree(reader));
                continue;
            }
            EXPECT_EQ(Lines{}, seen.Of("iconv_close")) << "none was opened";
            ExpectIsEmpty(reader);
            EXPECT_EQ(1, Load(reader, Declared("<b/>")));
            EXPECT_EQ("b", Tree(reader));
        }
    }
}

// [xml-11]
TEST_F(XmlReaderTest, ADocumentThatIsRefusedIsFreed) {
    Probe seen;
    XmlReader reader;
    seen.document = ::xmlNewDoc(nullptr);  // It names no encoding.
    EXPECT_EQ(0, Load(reader, "scripted"));
    EXPECT_EQ((Lines{"xmlFreeDoc(document1)"}), seen.Of("xmlFreeDoc"));
    EXPECT_EQ(Lines{}, seen.Of("iconv_open"));
    ExpectIsEmpty(reader);
}

// [xml-11]
TEST_F(XmlReaderTest, ADocumentInAnEncodingUnknownToIconvIsRefusedAndFreed) {
    const TempDir temp;
    const std::string document = DeclaredAs("US-ASCII", "<a/>");
    const std::string path = temp.Write("a.xml", document);
    for (const bool fromFile : {false, true}) {
        Probe seen;
        XmlReader reader;
        seen.aka["US-ASCII"] = "unknown here";
        EXPECT_EQ(0, fromFile ? reader.Load(path) : Load(reader, document));
        EXPECT_EQ(
            (Lines{"iconv_open(char, US-ASCII)", "iconv_open(UTF-8, US-ASCII)",
                   "xmlFreeDoc(document1)"}),
            Lines(seen.calls.begin() + 1, seen.calls.end()));
        ExpectIsEmpty(reader);
        seen.aka.clear();
        EXPECT_EQ(1, fromFile ? reader.Load(path) : Load(reader, document));
        EXPECT_EQ("a", Tree(reader));
    }
}

TEST_F(XmlReaderTest, AFileThatIsMissingIsNotLoaded) {
    const TempDir temp;
    Probe seen;
    XmlReader reader;
    EXPECT_EQ(0, reader.Load(temp / "missing.xml"));
    EXPECT_EQ(0, reader.Load(temp.Path()));
    EXPECT_EQ(0, reader.Load(temp.Write("empty.xml", "")));
    EXPECT_EQ(0, reader.Load(std::string()));
    EXPECT_EQ(Lines{}, seen.Of("iconv_open"));
    ExpectIsEmpty(reader);
    EXPECT_EQ(1, reader.Load(temp.Write("a.xml", Declared("<a/>"))));
}

TEST_F(XmlReaderTest, Libxml2ReportsAsItIsToldTo) {
    XmlReader reader;
    EXPECT_EQ(0, Load(reader, Declared("<a>")));
    const unsigned long once = reports.Reports();
    EXPECT_NE(0U, once);
    EXPECT_EQ(0, reader.Load("missing/missing.xml"));
    EXPECT_LT(once, reports.Reports());
    EXPECT_TRUE(reports.AreInPlace());
}

TEST_F(XmlReaderTest, CloseReleasesOnceAndTheDestructorWhatIsLeft) {
    Probe seen;
    {
        XmlReader reader;
        EXPECT_EQ(1, Load(reader, Declared("<a/>")));
        seen.Take();
        reader.Close();
        std::vector<std::string> released = seen.Take();
        std::sort(released.begin(), released.end());
        EXPECT_EQ((Lines{"iconv_close(converter1)", "xmlFreeDoc(document1)"}),
                  released);
        ExpectIsEmpty(reader);
        reader.Close();
        EXPECT_EQ(Lines{}, seen.Take());
        ExpectIsEmpty(reader);

        EXPECT_EQ(1, Load(reader, Declared("<a/>")));
        seen.Take();
    }
    std::vector<std::string> released = seen.Take();
    std::sort(released.begin(), released.end());
    EXPECT_EQ((Lines{"iconv_close(converter2)", "xmlFreeDoc(document2)"}),
              released);
}

TEST_F(XmlReaderTest, AReaderServesOneDocumentAfterAnother) {
    XmlReader reader;
    for (const char* const body : {"<a/>", "<b k=\"v\"/>", "<c>t</c>"}) {
        EXPECT_EQ(1, Load(reader, Declared(body)));
        EXPECT_EQ(body[1], Tree(reader)[0]);
        reader.Close();
        ExpectIsEmpty(reader);
        EXPECT_EQ(0, Load(reader, "<d/>"));
        ExpectIsEmpty(reader);
    }
}

// [xml-20]
TEST_F(XmlReaderTest, ElementsNestTo256) {
    for (const auto& [depth, answer] :
         {std::pair{1UL, 1}, std::pair{256UL, 1}, std::pair{300UL, 0}}) {
        std::string body;
        for (std::size_t level = 0; level < depth; ++level) {
            body += "<a>";
        }
        for (std::size_t level = 0; level < depth; ++level) {
            body += "</a>";
        }
        XmlReader reader;
        EXPECT_EQ(answer, Load(reader, Declared(body))) << depth;
    }
}

// [xml-20]
TEST_F(XmlReaderTest, EntitiesOfADtdAreReferredToTenThousandTimes) {
    for (const auto& [references, answer] :
         {std::pair{9'900, 1}, std::pair{10'100, 0}}) {
        std::string dtd = "<!DOCTYPE a [<!ENTITY % p ''>";
        for (int n = 0; n < references; ++n) {
            dtd += "%p;";
        }
        XmlReader reader;
        EXPECT_EQ(answer, Load(reader, Declared(dtd + "]><a/>"))) << references;
    }
}

// [xml-20]
TEST_F(XmlReaderTest, NamesAndTextsHaveALimit) {
    const std::string name(49000, 'n');
    const std::string longName(51000, 'n');
    std::string text;
    while (text.size() < 9'900'000) {
        text += std::string(100'000, 't');
    }
    const std::string longText = text + std::string(200'000, 't');
    const struct {
        int line;
        std::string body;
        int fromMemory;
        int fromFile;
    } cases[] = {
        {__LINE__, "<" + name + "/>", 1, 1},
        {__LINE__, "<" + longName + "/>", 0, 0},
        {__LINE__, "<a b='" + text + "'/>", 1, 1},
        {__LINE__, "<a b='" + longText + "'/>", 0, 0},
        {__LINE__, "<a>" + text + "</a>", 1, 1},
        {__LINE__, "<a>" + longText + "</a>", 1, 0},
    };
    const TempDir temp;
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const std::string document = Declared(row.body);
        XmlReader memory;
        EXPECT_EQ(row.fromMemory, Load(memory, document));
        XmlReader file;
        EXPECT_EQ(row.fromFile, file.Load(temp.Write("a.xml", document)));
    }
}

// Reader: conversion

TEST_F(XmlReaderTest, AConverterLeadsToCharOrElseToTheLocalesCharacterSet) {
    const struct {
        const char* locale;
        const char* encoding;
        const char* second;  // The call that follows the one with "char".
    } cases[] = {
        {"C.utf8", "UTF-8", "iconv_open(UTF-8, UTF-8)"},
        {"C.utf8", "ISO-8859-1", "iconv_open(UTF-8, ISO-8859-1)"},
        {"C", "UTF-8", "iconv_open(ANSI_X3.4-1968, UTF-8)"},
    };
    for (const auto& row : cases) {
        const GlobalLocale locale(row.locale);
        Probe seen;
        XmlReader reader;
        EXPECT_EQ(1, Load(reader, DeclaredAs(row.encoding, "<a/>")));
        EXPECT_EQ((Lines{std::string("iconv_open(char, ") + row.encoding + ")",
                         row.second}),
                  seen.Of("iconv_open"));
    }

    // In a locale of another character set, which may not be installed here.
    Probe seen;
    seen.codeset = "ISO-8859-1";
    LoadedReader reader(std::string("<a>") + kE + "</a>");
    EXPECT_EQ("a'\xe9'", Tree(reader));
}

TEST_F(XmlReaderTest, WhereIconvKnowsCharItIsTheOnlyName) {
    Probe seen;
    seen.aka["char"] = "ISO-8859-1";
    LoadedReader reader(std::string("<a>") + kE + "</a>");
    EXPECT_EQ((Lines{"iconv_open(char, UTF-8)"}), seen.Of("iconv_open"));
    EXPECT_EQ("a'\xe9'", Tree(reader));
}

TEST_F(XmlReaderTest, TheCharacterSetIsThatOfTheLoad) {
    const std::string body = std::string("<a>") + kE + "</a>";
    LoadedReader reader(body);
    const GlobalLocale later("C");
    std::string text = "junk";
    EXPECT_EQ(1, reader.GetEntity(reader.Root(), text));
    EXPECT_EQ(kE, text);

    LoadedReader second(body);
    const GlobalLocale latest("C.utf8");
    text = "junk";
    EXPECT_EQ(0, second.GetEntity(second.Root(), text));
    EXPECT_EQ("junk", text);
}

// The converter is told of n + 1 bytes, the terminator included, and of room
// for n + 10, however large the room is.
TEST_F(XmlReaderTest, AConversionIsOfTheTextIntoTenBytesMore) {
    for (const std::size_t n :
         {1UL, 2UL, 100UL, 4085UL, 4086UL, 4087UL, 4096UL, 5000UL, 100000UL}) {
        SCOPED_TRACE(n);
        const std::string text(n, 'x');
        ConvertingProbe seen;
        LoadedReader reader("<a>" + text + "</a>");
        seen.Take();
        std::string read = "junk";
        EXPECT_EQ(1, reader.GetEntity(reader.Root(), read));
        EXPECT_EQ(text, read);
        EXPECT_EQ((Lines{"reset(converter1)", "iconv(converter1)"}),
                  seen.Take());
        ASSERT_EQ(1U, seen.conversions.size());
        EXPECT_EQ(text + '\0', seen.conversions[0].input);
        EXPECT_EQ(n + 10, seen.conversions[0].outRoom);

        // The room grows where it must, zero behind the text, and stays.
        const std::size_t room = std::max<std::size_t>(4096, n + 10);
        EXPECT_EQ(text + std::string(room - n, '\0'), DataOf(reader).Room());
        EXPECT_EQ("a", NameOf(reader, reader.Root()));
        EXPECT_EQ(room, DataOf(reader).Room().size());
        EXPECT_EQ(1U + 10, seen.conversions[1].outRoom);
    }
}

TEST_F(XmlReaderTest, AnAttributeConvertsNameThenValue) {
    ConvertingProbe seen;
    LoadedReader reader("<a name=\"value\"/>");
    std::string name;
    std::string value;
    EXPECT_EQ(1, reader.GetAttribute(reader.First(), name, value));
    ASSERT_EQ(2U, seen.conversions.size());
    EXPECT_EQ(std::string("name\0", 5), seen.conversions[0].input);
    EXPECT_EQ(14U, seen.conversions[0].outRoom);
    EXPECT_EQ(std::string("value\0", 6), seen.conversions[1].input);
    EXPECT_EQ(15U, seen.conversions[1].outRoom);
}

// A converter that fills all of its room, and so writes no terminator.
TEST_F(XmlReaderTest, AConvertedTextEndsWithTheRoomAtTheLatest) {
    for (const std::size_t n : {1UL, 4086UL, 5000UL}) {
        ConvertingProbe seen;
        LoadedReader reader("<a>" + std::string(n, 'x') + "</a>");
        seen.convert = [](char** /*in*/, std::size_t* inLeft, char** out,
                          std::size_t* outLeft) {
            std::memset(*out, 'o', *outLeft);
            *out += *outLeft;
            *inLeft = *outLeft = 0;
            return std::size_t{0};
        };
        std::string text = "junk";
        EXPECT_EQ(1, reader.GetEntity(reader.Root(), text));
        EXPECT_EQ(std::string(n + 10, 'o'), text);
    }
}

// The room is not cleared between conversions.
TEST_F(XmlReaderTest, AConvertedTextEndsAtTheFirstZeroOfTheRoom) {
    ConvertingProbe seen;
    LoadedReader reader("<a>text</a>");
    std::string text;
    EXPECT_EQ(1, reader.GetEntity(reader.Root(), text));
    EXPECT_EQ("text", text);
    seen.convert = [](char** /*in*/, std::size_t* /*inLeft*/, char** out,
                      std::size_t* /*outLeft*/) {
        **out = 'N';
        return std::size_t{0};
    };
    EXPECT_EQ(1, reader.GetEntity(reader.Root(), text));
    EXPECT_EQ("Next", text);
}

// The converter's whole room is looked at for the end of a text.
TEST_F(XmlReaderTest, WithoutATerminatorTheTextBeforeShowsBehind) {
    ConvertingProbe seen;
    LoadedReader reader("<a><b>" + std::string(100, 'b') + "</b><c>c</c></a>");
    Element* const first = reader.ChildElement(reader.Root(), nullptr);
    Element* const second = reader.NextElement(first, nullptr);
    std::string text;
    EXPECT_EQ(1, reader.GetEntity(first, text));
    EXPECT_EQ(std::string(100, 'b'), text);
    seen.convert = [](char** /*in*/, std::size_t* inLeft, char** out,
                      std::size_t* outLeft) {
        std::memset(*out, 'o', *outLeft);
        *out += *outLeft;
        *inLeft = *outLeft = 0;
        return std::size_t{0};
    };
    EXPECT_EQ(1, reader.GetEntity(second, text));
    EXPECT_EQ(std::string(11, 'o') + std::string(89, 'b'), text);
    reader.Close();
}

TEST_F(XmlReaderTest, EachConversionStartsAnew) {
    XmlReader reader;
    ASSERT_EQ(1, Load(reader, DeclaredAs("ISO-2022-JP", "<ab><cd/></ab>")));
    Element* const root = reader.GetRootElement();
    // Shifts to another set for U+3042 and stays there; in that state, "ab"
    // would be one character of it.
    auto* const node = reinterpret_cast<xmlNode*>(root);
    ::xmlAddPrevSibling(
        node->children,
        ::xmlNewText(reinterpret_cast<const xmlChar*>("\x1b$B$\"")));
    std::string text = "junk";
    EXPECT_EQ(1, reader.GetEntity(root, text));
    EXPECT_EQ("\xe3\x81\x82", text);
    EXPECT_EQ("ab", NameOf(reader, root));
}

TEST_F(XmlReaderTest, AReplacedCharacterIsNoFailure) {
    ConvertingProbe seen;
    seen.convert = Replacing;
    EXPECT_EQ("<a>b</a>", Written([](XmlWriter& w) {
                  EXPECT_EQ(1, w.WriteElement("a", "b"));
              }));
    LoadedReader reader("<a>b</a>");
    std::string text = "junk";
    EXPECT_EQ(1, reader.GetEntity(reader.Root(), text));
    EXPECT_EQ("b", text);
    reader.Close();
}

TEST_F(XmlReaderTest, WhatCannotBeConvertedLeavesTheOutputs) {
    ConvertingProbe seen;
    LoadedReader reader("<a k=\"v\">t<b/></a>");
    Element* const root = reader.Root();
    Element* const child = reader.ChildElement(root, nullptr);
    Attribute* const attribute = reader.First();

    std::string text = "junk";
    seen.convert = FailingAt(1);
    EXPECT_EQ(0, reader.GetElement(root, text));
    seen.convert = FailingAt(1);
    EXPECT_EQ(0, reader.GetEntity(root, text));
    EXPECT_EQ("junk", text);

    // An element is found, named or not.
    seen.convert = FailingAt(1);
    EXPECT_EQ(child, reader.ChildElement(root, &text));
    EXPECT_EQ("junk", text);
    EXPECT_EQ(1U, seen.Of("iconv").size() - 2);

    std::string value = "junk";
    seen.convert = FailingAt(1);
    EXPECT_EQ(0, reader.GetAttribute(attribute, text, value));
    EXPECT_EQ("junk", text);
    EXPECT_EQ("junk", value);

    seen.convert = FailingAt(2);
    EXPECT_EQ(0, reader.GetAttribute(attribute, text, value));
    EXPECT_EQ("k", text) << "the name was good";
    EXPECT_EQ("junk", value);

    // The reader is none the worse.
    seen.convert = nullptr;
    EXPECT_EQ("a[k=v]'t'(b)", Tree(reader));
}

TEST_F(XmlReaderTest, NextElementIsFoundAlsoWhereItsNameIsRefused) {
    ConvertingProbe seen;
    LoadedReader reader("<a><b/><c/></a>");
    Element* const first = reader.ChildElement(reader.Root(), nullptr);
    Element* const second = reader.NextElement(first, nullptr);
    ASSERT_NE(nullptr, second);
    std::string name = "junk";
    seen.convert = FailingAt(1);
    EXPECT_EQ(second, reader.NextElement(first, &name));
    EXPECT_EQ("junk", name);
}

// The converter belongs to the reader, not to the handle.
TEST_F(XmlReaderTest, AnEmptyReaderConvertsNothing) {
    LoadedReader other("<a k=\"v\">t<b/></a>");
    XmlReader reader;
    std::string name = "junk";
    std::string value = "junk";
    EXPECT_EQ(0, reader.GetElement(other.Root(), name));
    EXPECT_EQ(0, reader.GetEntity(other.Root(), name));
    EXPECT_EQ(0, reader.GetAttribute(other.First(), name, value));
    EXPECT_NE(nullptr, reader.ChildElement(other.Root(), &name));
    EXPECT_EQ("junk", name);
    EXPECT_EQ("junk", value);
}

// [xml-2]
TEST_F(XmlReaderTest, UnderTheCLocaleNonAsciiTextIsRefused) {
    const GlobalLocale locale("C");
    const std::string e = kE;
    LoadedReader reader("<a k=\"" + e + "\" " + e + "=\"v\">" + e + "<" + e +
                        "/><b/></a>");
    std::string name = "junk";
    std::string value = "junk";
    EXPECT_EQ(1, reader.GetElement(reader.Root(), name));
    EXPECT_EQ("a", name);
    EXPECT_EQ(0, reader.GetEntity(reader.Root(), value));
    EXPECT_EQ(0, reader.GetAttribute(reader.First(), name, value));
    EXPECT_EQ("k", name);
    Attribute* const second = reader.NextAttribute(reader.First());
    EXPECT_EQ(0, reader.GetAttribute(second, name, value));
    EXPECT_EQ("k", name);
    EXPECT_EQ("junk", value);

    Element* const child = reader.ChildElement(reader.Root(), &name);
    ASSERT_NE(nullptr, child);
    EXPECT_EQ("k", name);
    EXPECT_EQ(0, reader.GetElement(child, name));
    EXPECT_NE(nullptr, reader.NextElement(child, &name));
    EXPECT_EQ("b", name);
}

// [xml-1]
TEST_F(XmlReaderTest, NonAsciiTextMeetsTwoConversionsInAnotherEncoding) {
    // libxml2 has made UTF-8 of a character, whose two bytes are two
    // characters of the declared encoding.
    XmlReader reader;
    EXPECT_EQ(1, Load(reader, DeclaredAs("ISO-8859-1",
                                         "<\xe9 \xe8='\xe9'>\xe9</\xe9>")));
    EXPECT_EQ(
        "\xc3\x83\xc2\xa9[\xc3\x83\xc2\xa8=\xc3\x83\xc2\xa9]"
        "'\xc3\x83\xc2\xa9'",
        Tree(reader));
    reader.Close();

    // They become four bytes each time: four characters and a terminator have
    // room in 8 + 10 bytes, five have none in 10 + 10.
    const std::string four = "\xe9\xe9\xe9\xe9";
    EXPECT_EQ(1, Load(reader, DeclaredAs("ISO-8859-1", "<a>" + four + "</a>")));
    std::string text = "junk";
    EXPECT_EQ(1, reader.GetEntity(reader.GetRootElement(), text));
    EXPECT_EQ(
        "\xc3\x83\xc2\xa9\xc3\x83\xc2\xa9\xc3\x83\xc2\xa9\xc3\x83\xc2"
        "\xa9",
        text);
    reader.Close();
    EXPECT_EQ(
        1, Load(reader, DeclaredAs("ISO-8859-1", "<a>" + four + "\xe9</a>")));
    text = "junk";
    EXPECT_EQ(0, reader.GetEntity(reader.GetRootElement(), text));
    EXPECT_EQ("junk", text);
    reader.Close();

    // The letter of EUC-KR has no meaning there as UTF-8.
    EXPECT_EQ(1, Load(reader, DeclaredAs("EUC-KR", "<a>\xc7\xd1</a>")));
    EXPECT_EQ(0, reader.GetEntity(reader.GetRootElement(), text));
    EXPECT_EQ("junk", text);
}

// [xml-1] The tree is UTF-8, and is read as if it were UTF-16.
TEST_F(XmlReaderTest, ADocumentInUtf16LoadsAndHardlyReads) {
    std::string document = "\xff\xfe";
    for (const char c : std::string("<?xml version='1.0' encoding='UTF-16LE'?>"
                                    "<a b='cd'>e</a>")) {
        document += c;
        document += '\0';
    }
    XmlReader reader;
    ASSERT_EQ(1, Load(reader, document));
    Element* const root = reader.GetRootElement();
    ASSERT_NE(nullptr, root);
    EXPECT_EQ("a", NameOf(reader, root));
    std::string name = "junk";
    std::string value = "junk";
    EXPECT_EQ(0,
              reader.GetAttribute(reader.GetFirstAttribute(root), name, value));
    EXPECT_EQ("junk", value);
}

// [xml-1]
TEST_F(XmlReaderTest, AsciiTextIsGoodForEveryEncodingThatExtendsIt) {
    for (const char* const encoding : {"UTF-8", "ISO-8859-1", "ISO-8859-15",
                                       "US-ASCII", "EUC-KR", "windows-1252"}) {
        XmlReader reader;
        EXPECT_EQ(
            1, Load(reader, DeclaredAs(encoding, "<a k=\"v\">t &amp; u</a>")));
        EXPECT_EQ("a[k=v]'t & u'", Tree(reader)) << encoding;
    }
}

TEST_F(XmlReaderTest, AUtf8DocumentGivesEveryText) {
    const std::string text = std::string(kE) + kHan;
    const std::string wide = text + "\xf0\x9f\x98\x80";
    LoadedReader reader("<" + text + " " + text + "=\"" + wide + "\">" + wide +
                        "</" + text + ">");
    EXPECT_EQ(text + "[" + text + "=" + wide + "]'" + wide + "'", Tree(reader));
}

// Reader: navigation

TEST_F(XmlReaderTest, NullIsNavigatedToNull) {
    LoadedReader loaded("<a k=\"v\"/>");
    XmlReader empty;
    for (XmlReader* const reader : {static_cast<XmlReader*>(&loaded), &empty}) {
        std::string name = "junk";
        std::string value = "junk";
        EXPECT_EQ(nullptr, reader->ChildElement(nullptr, &name));
        EXPECT_EQ(nullptr, reader->ChildElement(nullptr, nullptr));
        EXPECT_EQ(nullptr, reader->NextElement(nullptr, &name));
        EXPECT_EQ(nullptr, reader->NextElement(nullptr, nullptr));
        EXPECT_EQ(nullptr, reader->GetFirstAttribute(nullptr));
        EXPECT_EQ(nullptr, reader->NextAttribute(nullptr));
        EXPECT_EQ(0, reader->GetElement(nullptr, name));
        EXPECT_EQ(0, reader->GetEntity(nullptr, name));
        EXPECT_EQ(0, reader->GetAttribute(nullptr, name, value));
        EXPECT_EQ("junk", name);
        EXPECT_EQ("junk", value);
    }
}

TEST_F(XmlReaderTest, TheRootIsTheOutermostElement) {
    LoadedReader reader(
        "<!-- c --><?pi x?><!DOCTYPE a [<!ELEMENT b ANY>]><a><b/></a><!-- d -->"
        "<?pi y?>");
    EXPECT_EQ("a", NameOf(reader, reader.Root()));
    EXPECT_EQ(nullptr, reader.NextElement(reader.Root(), nullptr));
}

TEST_F(XmlReaderTest, AnEmptyDocumentHasNoRoot) {
    Probe seen;
    seen.document = ::xmlNewDoc(nullptr);
    seen.document->encoding =
        ::xmlStrdup(reinterpret_cast<const xmlChar*>("UTF-8"));
    XmlReader reader;
    EXPECT_EQ(1, Load(reader, "scripted"));
    EXPECT_EQ(nullptr, reader.GetRootElement());
    EXPECT_EQ(0, Load(reader, Declared("<a/>"))) << "it is loaded all the same";
    reader.Close();
    EXPECT_EQ(1, Load(reader, Declared("<a/>")));
}

TEST_F(XmlReaderTest, HandlesAreTheNodesOfTheTree) {
    LoadedReader reader("<a k=\"v\"><b/></a>");
    const auto* const root = reinterpret_cast<const xmlNode*>(reader.Root());
    EXPECT_EQ(DataOf(reader).document, root->doc);
    EXPECT_EQ(XML_ELEMENT_NODE, root->type);
    EXPECT_EQ(root->children, reinterpret_cast<const xmlNode*>(
                                  reader.ChildElement(reader.Root(), nullptr)));
    EXPECT_EQ(root->properties,
              reinterpret_cast<const xmlAttr*>(reader.First()));
}

// Elements as GetElement names them, found by ChildElement and NextElement.
const struct NavigationCase {
    int line;
    const char* body;
    const char* tree;
} kNavigationCases[] = {
    // No child.
    {__LINE__, "<a/>", "a"},
    {__LINE__, "<a></a>", "a"},
    {__LINE__, "<a>text</a>", "a'text'"},
    {__LINE__, "<a><!-- c --></a>", "a"},
    {__LINE__, "<a><?pi x?></a>", "a"},
    {__LINE__, "<a><![CDATA[cd]]></a>", "a"},

    // Children, from the first on, and their children.
    {__LINE__, "<a><b/></a>", "a(b)"},
    {__LINE__, "<a><b/><c/><d/></a>", "a(b c d)"},
    {__LINE__, "<a><b><c><d/></c></b><e/></a>", "a(b(c(d)) e)"},
    {__LINE__, "<a><b/><b/><a/></a>", "a(b b a)"},

    // Every other kind of node is passed over, before, between and behind.
    {__LINE__, "<a>t<b/>u<c/>v</a>", "a't'(b c)"},
    {__LINE__, "<a> <b/> <c/> </a>", "a' '(b c)"},
    {__LINE__, "<a><!-- c --><b/><!-- d --><c/><!-- e --></a>", "a(b c)"},
    {__LINE__, "<a><?p x?><b/><?p y?><c/><?p z?></a>", "a(b c)"},
    {__LINE__, "<a><![CDATA[<x/>]]><b/><![CDATA[y]]><c/><![CDATA[z]]></a>",
     "a(b c)"},
    {__LINE__, "<!DOCTYPE a [<!ENTITY e 'x<y/>z'>]><a>&e;<b/>&e;<c/>&e;</a>",
     "a(b c)"},
    {__LINE__, "<a><!-- 1 -->t<?p 2?><![CDATA[3]]><b/>u<!-- 4 --><c/></a>",
     "a(b c)"},

    // The text is that of the first node, if that is a text.
    {__LINE__, "<a>&lt;&amp;&gt;&quot;&apos;&#65;&#x42;</a>", "a'<&>\"'AB'"},
    {__LINE__, "<a> \t\n </a>", "a' \t\n '"},
    {__LINE__, "<a>t<b/>u</a>", "a't'(b)"},
    {__LINE__, "<a>t<!-- c -->u</a>", "a't'"},
    {__LINE__, "<a>t<![CDATA[u]]>v</a>", "a't'"},
    {__LINE__, "<a><!-- c -->t</a>", "a"},
    {__LINE__, "<a><?p x?>t</a>", "a"},
    {__LINE__, "<a><b/>t</a>", "a(b)"},
    {__LINE__, "<a><![CDATA[t]]>u</a>", "a"},
    {__LINE__, "<!DOCTYPE a [<!ENTITY e 'x'>]><a>&e;t</a>", "a"},
    {__LINE__, "<!DOCTYPE a [<!ENTITY e 'x'>]><a>t&e;u</a>", "a't'"},

    // Attributes, in order, and their values.
    {__LINE__, "<a z='1' y='2' x='3'/>", "a[z=1][y=2][x=3]"},
    {__LINE__, "<a k=''/>", "a[k=]"},
    {__LINE__, "<a k='' l='' m='n'/>", "a[k=][l=][m=n]"},
    {__LINE__, "<a k='&lt;&amp;&gt;&quot;&apos;&#65;'/>", "a[k=<&>\"'A]"},
    {__LINE__, "<a k='1 &amp; 2 &lt; 3'/>", "a[k=1 & 2 < 3]"},
    {__LINE__, "<a k=' 1\n2\t3 '/>", "a[k= 1 2 3 ]"},
    {__LINE__, "<a k='1&#10;2'/>", "a[k=1\n2]"},
    {__LINE__, "<a k='v'><b l='w'/></a>", "a[k=v](b[l=w])"},
    {__LINE__, "<!DOCTYPE a [<!ENTITY e 'x'>]><a k='t&e;u'/>", "a[k=t]"},

    // Names are those within their namespaces, whose declarations are no
    // attributes.
    {__LINE__, "<p:a xmlns:p='urn:p' p:k='v' xmlns='urn:q'><p:b/><c/></p:a>",
     "a[k=v](b c)"},
};

// [xml-14]
TEST_F(XmlReaderTest, DocumentsAreWalkedByTheirElements) {
    for (const NavigationCase& row : kNavigationCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        LoadedReader reader(row.body);
        EXPECT_EQ(row.tree, Tree(reader));
    }
}

// [xml-13]
TEST_F(XmlReaderTest, TheNameIsAnOutputAndNoFilter) {
    LoadedReader reader("<a>t<b/>u<c/></a>");
    std::string name = "c";
    Element* const first = reader.ChildElement(reader.Root(), &name);
    EXPECT_EQ("b", name);
    EXPECT_EQ("b", NameOf(reader, first));
    name = "none of them";
    Element* const second = reader.NextElement(first, &name);
    EXPECT_EQ("c", name);
    EXPECT_EQ("c", NameOf(reader, second));

    // Where nothing is found, the name stays.
    name = "junk";
    EXPECT_EQ(nullptr, reader.NextElement(second, &name));
    EXPECT_EQ(nullptr, reader.ChildElement(first, &name));
    EXPECT_EQ("junk", name);

    EXPECT_EQ(first, reader.ChildElement(reader.Root(), nullptr));
    EXPECT_EQ(second, reader.NextElement(first, nullptr));
}

// [xml-14]
TEST_F(XmlReaderTest, GetEntityLeavesTheTextWhereThereIsNone) {
    for (const char* const body : {"<a/>", "<a><b/>t</a>", "<a><!-- c -->t</a>",
                                   "<a><?p x?>t</a>", "<a><![CDATA[t]]></a>"}) {
        LoadedReader reader(body);
        std::string text = "junk";
        EXPECT_EQ(0, reader.GetEntity(reader.Root(), text)) << body;
        EXPECT_EQ("junk", text) << body;
    }
}

// [xml-18]
TEST_F(XmlReaderTest, APathIsWhatLibxml2TakesForOne) {
    const TempDir temp;
    const std::string path = temp.Write("a.xml", Declared("<a/>"));
    XmlReader reader;
    EXPECT_EQ(1, reader.Load("file://" + path));
    EXPECT_NE(nullptr, reader.GetRootElement());
    reader.Close();

    // Escapes of a URL are undone where the path as it stands is no file.
    temp.Write("a b.xml", Declared("<b/>"));
    EXPECT_EQ(1, reader.Load(temp / "a%20b.xml"));
    EXPECT_EQ("b", NameOf(reader, reader.GetRootElement()));
}

TEST_F(XmlReaderTest, AnElementWithoutAttributesHasNone) {
    LoadedReader reader("<a><b k='v'/></a>");
    EXPECT_EQ(nullptr, reader.First());
}

TEST_F(XmlReaderTest, AttributesEndWithTheLast) {
    LoadedReader reader("<a k='1' l='2'><b m='3'/></a>");
    Attribute* const first = reader.First();
    Attribute* const second = reader.NextAttribute(first);
    EXPECT_NE(nullptr, first);
    EXPECT_NE(nullptr, second);
    EXPECT_NE(first, second);
    EXPECT_EQ(nullptr, reader.NextAttribute(second));
}

// [xml-17]
TEST_F(XmlReaderTest, AValueEndsAtAnEntityOfTheDocumentsOwn) {
    const struct {
        int line;
        const char* written;
        const char* read;
    } cases[] = {
        {__LINE__, "x&e;y", "x"},
        {__LINE__, "&e;y", "entity"},
        {__LINE__, "x&amp;&lt;&#233;y", "x&<\xc3\xa9y"},
    };
    const GlobalLocale utf8("C.utf8");
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        LoadedReader reader(
            std::string("<!DOCTYPE a [<!ENTITY e \"entity\">]><a k=\"") +
            row.written + "\"/>");
        std::string name;
        std::string value;
        EXPECT_EQ(1, reader.GetAttribute(reader.First(), name, value));
        EXPECT_EQ(row.read, value);
    }
}

TEST_F(XmlReaderTest, AnAttributeWithoutAValueReadsAsEmpty) {
    LoadedReader reader("<a/>");
    ::xmlNewProp(reinterpret_cast<xmlNode*>(reader.Root()),
                 reinterpret_cast<const xmlChar*>("k"), nullptr);
    ASSERT_NE(nullptr, reader.First());
    ASSERT_EQ(nullptr,
              reinterpret_cast<const xmlAttr*>(reader.First())->children);
    std::string name = "junk";
    std::string value = "junk";
    EXPECT_EQ(1, reader.GetAttribute(reader.First(), name, value));
    EXPECT_EQ("k", name);
    EXPECT_EQ("", value);

    unsigned int number = 4711;
    EXPECT_EQ(1, reader.GetAttribute(reader.First(), name, number));
    EXPECT_EQ(0U, number);
}

// Name and value may be the same string: the value comes last.
TEST_F(XmlReaderTest, OutputsReplaceWhatWasThere) {
    LoadedReader reader("<a k='v'>t</a>");
    std::string text(1000, 'j');
    EXPECT_EQ(1, reader.GetElement(reader.Root(), text));
    EXPECT_EQ("a", text);
    text.assign(1000, 'j');
    EXPECT_EQ(1, reader.GetEntity(reader.Root(), text));
    EXPECT_EQ("t", text);
    text.assign(1000, 'j');
    EXPECT_EQ(1, reader.GetAttribute(reader.First(), text, text));
    EXPECT_EQ("v", text);
}

// Compared as a whole: the difference of such texts would take minutes.
TEST_F(XmlReaderTest, LongTextsAreReadWhole) {
    std::string text;
    while (text.size() < 1 << 20) {
        text += "0123456789abcde\n";
    }
    const std::string value(1 << 20, 'v');
    const std::string name(40000, 'n');
    LoadedReader reader("<" + name + " k='" + value + "'>" + text + "</" +
                        name + ">");
    EXPECT_TRUE(name + "[k=" + value + "]'" + text + "'" == Tree(reader));
}

// Both: texts that need no conversion

// A converter of the test's own.
class Reference {
public:
    Reference(const char* to, const char* from)
        : converter(::iconv_open(to, from)) {}
    Reference(const Reference&) = delete;
    Reference& operator=(const Reference&) = delete;
    ~Reference() { ::iconv_close(converter); }

    bool IsKnown() const { return converter != reinterpret_cast<iconv_t>(-1); }

    /// As a writer's, and as a reader's; nullopt where it fails.
    std::optional<std::string> Written(const std::string& text) const {
        const std::size_t n = text.size() + 1;
        return Converted(text + std::string(n + 1, '\0'), 3 * n);
    }
    std::optional<std::string> Read(const std::string& text) const {
        return Converted(text + '\0', text.size() + 10);
    }

private:
    std::optional<std::string> Converted(std::string in,
                                         std::size_t room) const {
        std::string out(room, '\0');
        char* read = in.data();
        char* written = out.data();
        std::size_t inLeft = in.size();
        std::size_t outLeft = out.size();
        ::iconv(converter, nullptr, nullptr, nullptr, nullptr);
        if (::iconv(converter, &read, &inLeft, &written, &outLeft) ==
            static_cast<std::size_t>(-1)) {
            return std::nullopt;
        }
        return out.substr(0, out.find('\0'));
    }

    iconv_t converter;
};

// What libxml2 is given for the text; nullopt for null.
std::optional<std::string> GivenFor(Probe& seen, XmlWriter& writer,
                                    const std::string& text) {
    seen.Take();
    seen.answers["WriteString"] = 0;  // Nothing of it reaches the document.
    const int answer = writer.WriteEntity(text);
    const Lines calls = seen.Of("WriteString");
    EXPECT_EQ(1U, calls.size());
    const std::string before = "WriteString(writer1, ";
    const std::string given =
        calls[0].substr(before.size(), calls[0].size() - before.size() - 1);
    EXPECT_EQ(answer == 1, given != "null") << text;
    return answer == 1 ? std::optional(given) : std::nullopt;
}

// What is read of the text, put into a tree; nullopt for the answer 0.
std::optional<std::string> ReadOf(XmlReader& reader, std::string text) {
    Element* const root = reader.GetRootElement();
    xmlNode* const node = reinterpret_cast<xmlNode*>(root)->children;
    xmlChar* const own = node->content;
    node->content = reinterpret_cast<xmlChar*>(text.data());
    std::string read = "junk";
    const int answer = reader.GetEntity(root, read);
    node->content = own;
    EXPECT_TRUE(answer == 1 || read == "junk");
    return answer == 1 ? std::optional(read) : std::nullopt;
}

// A character by the rule of UTF-8, whether it may be one or not.
std::string Utf8Of(unsigned long point) {
    const auto next = [point](int shift) {
        return static_cast<char>(
            static_cast<unsigned char>(0x80 | (point >> shift & 0x3F)));
    };
    const auto lead = [point](unsigned long mark, int shift) {
        return static_cast<char>(
            static_cast<unsigned char>(mark | point >> shift));
    };
    if (point < 0x80) {
        return {lead(0, 0)};
    }
    if (point < 0x800) {
        return {lead(0xC0, 6), next(0)};
    }
    if (point < 0x10000) {
        return {lead(0xE0, 12), next(6), next(0)};
    }
    return {lead(0xF0, 18), next(12), next(6), next(0)};
}

// Texts of up to four bytes on both sides of every border of UTF-8.
std::vector<std::string> BorderTexts() {
    const int edges[] = {0x01, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0,
                         0xBF, 0xC0, 0xC2, 0xE0, 0xED, 0xF0, 0xFF};
    std::vector<std::string> texts;
    for (int lead = 1; lead < 0x100; ++lead) {
        const std::string one(1, static_cast<char>(lead));
        texts.push_back(one);
        for (const int second : edges) {
            const std::string two = one + static_cast<char>(second);
            texts.push_back(two);
            if (lead < 0xDF) {
                continue;
            }
            for (const int third : edges) {
                const std::string three = two + static_cast<char>(third);
                texts.push_back(three);
                if (lead < 0xF0 || lead > 0xF5) {
                    continue;
                }
                for (const int fourth : edges) {
                    texts.push_back(three + static_cast<char>(fourth));
                }
            }
        }
    }
    return texts;
}

// A character in texts of every length up to three words and at every place.
std::vector<std::string> PlacedTexts(const std::string& character) {
    std::vector<std::string> texts;
    for (std::size_t length = 0; length <= 24; ++length) {
        texts.emplace_back(length, 'x');
        for (std::size_t at = 0; at <= length; ++at) {
            texts.push_back(std::string(length, 'x').insert(at, character));
        }
    }
    return texts;
}

// That each text comes out as the reference has it. Counted, since there may be
// a million of them.
void ExpectAreAsConverted(const char* charset, const char* encoding,
                          const std::vector<std::string>& texts) {
    SCOPED_TRACE(testing::Message() << charset << " and " << encoding);
    const Reference toDocument(encoding, charset);
    const Reference fromDocument(charset, encoding);
    ASSERT_TRUE(toDocument.IsKnown() && fromDocument.IsKnown());
    Probe seen;
    seen.codeset = charset;
    XmlWriter writer;
    ASSERT_EQ(1, writer.BeginDocument(encoding));
    XmlReader reader;
    ASSERT_EQ(1, Load(reader, DeclaredAs(encoding, "<a>t</a>")));
    std::size_t writtenOtherwise = 0;
    std::size_t readOtherwise = 0;
    for (const std::string& text : texts) {
        if (GivenFor(seen, writer, text) != toDocument.Written(text)) {
            ++writtenOtherwise;
        }
        if (ReadOf(reader, text) != fromDocument.Read(text)) {
            ++readOtherwise;
        }
        seen.conversions.clear();
    }
    EXPECT_EQ(0U, writtenOtherwise);
    EXPECT_EQ(0U, readOtherwise);
}

TEST_F(XmlReaderTest, EveryCharacterIsWrittenAndReadAsIfConverted) {
    std::vector<std::string> texts(1);
    for (unsigned long point = 1; point < 0x110400; ++point) {
        const bool alone =
            (0xD800 <= point && point < 0xE000) || point >= 0x110000;
        if (alone || point % 0x100 == 0) {
            texts.emplace_back();
        }
        texts.back() += Utf8Of(point);
    }
    ExpectAreAsConverted("UTF-8", "UTF-8", texts);
}

TEST_F(XmlReaderTest, EverySequenceIsWrittenAndReadAsIfConverted) {
    const std::vector<std::string> texts = BorderTexts();
    ExpectAreAsConverted("UTF-8", "UTF-8", texts);
    // Its 0x80 has three bytes in UTF-8, for which there is room once only.
    ExpectAreAsConverted("windows-1252", "UTF-8", texts);
    std::vector<std::string> some;
    for (std::size_t at = 0; at < texts.size(); at += 29) {
        some.push_back(texts[at]);
    }
    for (const char* const charset :
         {"UTF-8", "ANSI_X3.4-1968", "ISO-8859-1", "EUC-KR"}) {
        for (const char* const encoding :
             {"UTF-8", "utf8", "ISO-8859-1", "windows-1252", "US-ASCII"}) {
            ExpectAreAsConverted(charset, encoding, some);
        }
    }
}

TEST_F(XmlReaderTest, EveryPlaceIsWrittenAndReadAsIfConverted) {
    for (const char* const character :
         {"\x7F", "\x80", "\xC3\xA9", "\xE3\x81\x82", "\xF0\x9F\x98\x80",
          "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xC3", "\xE3\x81"}) {
        for (const char* const encoding : {"UTF-8", "ISO-8859-1"}) {
            ExpectAreAsConverted("UTF-8", encoding, PlacedTexts(character));
        }
    }
}

// What an encoding with shifts or escapes makes of ASCII, and ASCII itself.
const char* const kEscapes[] = {"\xe3\x81\x82",
                                "\xe3\x81\x82 \xe3\x81\x82",
                                "text",
                                "+AGE-",
                                "a+b",
                                "&AGE-",
                                "~",
                                "~~",
                                "~{!!~}",
                                "\\",
                                "\\u0061",
                                "\x0Etu\x0F",
                                "\x1b(B",
                                "\x1b(Ja",
                                "\x1b$B$\"\x1b(B",
                                "\x1b$)C",
                                "\x1b$B$\"",
                                "\x1b",
                                "\x0e",
                                "\x0f",
                                "a\\b~c",
                                "\x1b$@0!",
                                "\x1b.A\x1bNi"};

TEST_F(XmlReaderTest, TextsOfEncodingsWithEscapesAreConverted) {
    const std::vector<std::string> texts(std::begin(kEscapes),
                                         std::end(kEscapes));
    for (const char* const charset :
         {"UTF-8", "ISO-2022-JP", "ISO-2022-KR", "SHIFT_JISX0213"}) {
        for (const char* const encoding :
             {"ISO-2022-JP", "ISO-2022-JP-2", "ISO-2022-KR", "ISO-2022-CN",
              "UTF-7", "UTF-8", "Shift_JIS", "SHIFT_JISX0213", "JOHAB",
              "EUC-KR"}) {
            ExpectAreAsConverted(charset, encoding, texts);
        }
    }
}

// Only what is not copied is converted. ASCII is itself in ISO-2022-JP, but in
// what is read, bytes of ASCII may be a shift.
TEST_F(XmlReaderTest, WhatAConverterGivesBackIsNotConverted) {
    const struct {
        int line;
        const char* charset;
        const char* encoding;
        const char* text;
        std::size_t writing;  // Conversions.
        std::size_t reading;
    } cases[] = {
        {__LINE__, "UTF-8", "UTF-8", "ascii", 0, 0},
        {__LINE__, "UTF-8", "UTF-8", kE, 0, 0},
        {__LINE__, "UTF-8", "UTF-8", "\xED\xA0\x80", 1, 1},
        {__LINE__, "UTF-8", "UTF-8", "\xF4\x90\x80\x80", 1, 1},
        {__LINE__, "UTF-8", "UTF-8", "\xF5\x80\x80\x80", 1, 1},
        {__LINE__, "UTF-8", "utf-8", kE, 0, 0},
        {__LINE__, "UTF-8", "UTF8", kE, 0, 0},
        {__LINE__, "utf8", "UTF-8", kE, 0, 0},
        {__LINE__, "UTF-8", "ISO-8859-1", "ascii", 0, 0},
        {__LINE__, "UTF-8", "ISO-8859-1", kE, 1, 1},
        {__LINE__, "ISO-8859-1", "UTF-8", "ascii", 0, 0},
        {__LINE__, "ISO-8859-1", "UTF-8", kE, 1, 1},
        {__LINE__, "ISO-8859-1", "ISO-8859-1", kE, 1, 1},
        {__LINE__, "EUC-KR", "US-ASCII", "ascii", 0, 0},
        {__LINE__, "EUC-KR", "US-ASCII", kE, 1, 1},
        {__LINE__, "UTF-8", "ISO-2022-JP", "ascii", 0, 1},
        {__LINE__, "UTF-8", "ISO-2022-KR", "ascii", 1, 1},
        {__LINE__, "UTF-8", "UTF-7", "ascii", 1, 1},
        {__LINE__, "UTF-8", "UTF-16", "ascii", 1, 1},
        {__LINE__, "UTF-8", "IBM037", "ascii", 1, 1},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Probe seen;
        seen.codeset = row.charset;
        XmlWriter writer;
        ASSERT_EQ(1, writer.BeginDocument(row.encoding));
        seen.conversions.clear();
        writer.WriteEntity(row.text);
        EXPECT_EQ(row.writing, seen.conversions.size());
        seen.conversions.clear();

        seen.document = ::xmlNewDoc(nullptr);
        seen.document->encoding =
            ::xmlStrdup(reinterpret_cast<const xmlChar*>(row.encoding));
        ::xmlDocSetRootElement(
            seen.document,
            ::xmlNewDocRawNode(seen.document, nullptr,
                               reinterpret_cast<const xmlChar*>("a"),
                               reinterpret_cast<const xmlChar*>(row.text)));
        XmlReader reader;
        ASSERT_EQ(1, Load(reader, "scripted"));
        std::string read;
        reader.GetEntity(reader.GetRootElement(), read);
        EXPECT_EQ(row.reading, seen.conversions.size());
    }
}

// What is behind the end is not looked at.
TEST_F(XmlReaderTest, ASequenceThatIsCutOffIsNoUtf8) {
    for (const std::string text :
         {"\xC3\xA9", "\xE3\x81\x82", "\xED\x9F\xBF", "\xF0\x9F\x98\x80"}) {
        EXPECT_TRUE(Novu::IsUtf8(text.data(), text.size()));
        for (std::size_t size = 1; size < text.size(); ++size) {
            EXPECT_FALSE(Novu::IsUtf8(text.data(), size));
        }
    }
    EXPECT_TRUE(Novu::IsUtf8("\x80", 0));
    for (std::size_t size = 0; size <= 24; ++size) {
        const std::string text = std::string(size, 'x') + "\x80";
        EXPECT_TRUE(Novu::IsAscii(text.data(), size)) << size;
        EXPECT_FALSE(Novu::IsAscii(text.data(), size + 1)) << size;
    }
}

// By its name an encoding may be taken for UTF-8, and both sides be the same: a
// text comes back as it was, but not every text.
TEST_F(XmlReaderTest, AConverterThatOnlySeemsToCopyIsUsed) {
    const struct {
        int line;
        const char* other;
        const char* text;
    } cases[] = {
        {__LINE__, "UTF-16LE", "ab"},
        {__LINE__, "UTF-7", "+AGE-"},
        {__LINE__, "ISO-2022-JP", "\x1b(B"},
        {__LINE__, "ISO-2022-KR", "a"},
        {__LINE__, "windows-1252", "\xC2\x90"},
        {__LINE__, "EUC-KR", "\xC2\x90"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Probe seen;
        seen.aka["char"] = seen.aka["UTF-8"] = row.other;
        XmlWriter writer;
        ASSERT_EQ(1, writer.BeginDocument("UTF-8"));
        writer.WriteEntity(row.text);
        EXPECT_EQ(1U, seen.conversions.size()) << "written";
        LoadedReader reader("<a>t</a>");
        ReadOf(reader, row.text);
        EXPECT_EQ(2U, seen.conversions.size()) << "read";
    }
}

// Reader: values

// The attribute's value, read as a number; junk where the answer is 0.
template <typename Number>
Number Read(const std::string& text) {
    LoadedReader reader("<a k=\"" + text + "\"/>");
    std::string name = "junk";
    auto value = static_cast<Number>(99);
    EXPECT_EQ(1, reader.GetAttribute(reader.First(), name, value)) << text;
    EXPECT_EQ("k", name);
    return value;
}

// [xml-7]
TEST_F(XmlReaderTest, TheDecimalPointIsThatOfTheCLocale) {
    const NovuTest::CommaLocale comma;
    EXPECT_EQ(2.5, Read<double>("2,5"));
    EXPECT_EQ(2.0, Read<double>("2.5"));
}

const struct NumberCase {
    int line;
    const char* text;
    unsigned int number;
    unsigned char byte;
    unsigned long wide;
} kNumberCases[] = {
    // line     text           number        byte  wide
    {__LINE__, "0", 0, 0, 0},
    {__LINE__, "42", 42, 42, 42},
    {__LINE__, "+42", 42, 42, 42},
    {__LINE__, "0042", 42, 42, 42},
    {__LINE__, "255", 255, 255, 255},
    {__LINE__, "256", 256, 0, 256},
    {__LINE__, "300", 300, 44, 300},
    {__LINE__, "2147483647", 2147483647, 255, 2147483647},

    // Negative numbers wrap.
    {__LINE__, "-1", 4294967295, 255, 18446744073709551615UL},
    {__LINE__, "-200", 4294967096, 56, 18446744073709551416UL},
    {__LINE__, "-2147483648", 2147483648, 0, 18446744071562067968UL},

    // Above the range of an int, the low 32 bits of a long remain.
    {__LINE__, "2147483648", 2147483648, 0, 18446744071562067968UL},
    {__LINE__, "4294967295", 4294967295, 255, 18446744073709551615UL},
    {__LINE__, "4294967303", 7, 7, 7},
    {__LINE__, "99999999999", 1215752191, 255, 1215752191},
    {__LINE__, "99999999999999999999", 4294967295, 255, 18446744073709551615UL},
    {__LINE__, "-99999999999999999999", 0, 0, 0},

    // Space before the number and anything behind it.
    {__LINE__, " 12x", 12, 12, 12},
    {__LINE__, "&#9;&#10; 12 13", 12, 12, 12},
    {__LINE__, "12.9", 12, 12, 12},
    {__LINE__, "1e3", 1, 1, 1},
    {__LINE__, "0x10", 0, 0, 0},

    // No number.
    {__LINE__, "", 0, 0, 0},
    {__LINE__, " ", 0, 0, 0},
    {__LINE__, "abc", 0, 0, 0},
    {__LINE__, "x12", 0, 0, 0},
    {__LINE__, "-", 0, 0, 0},
    {__LINE__, "- 1", 0, 0, 0},
    {__LINE__, kHan, 0, 0, 0},
};

// [xml-15]
TEST_F(XmlReaderTest, NumbersAreReadAsIntsAndStoredAsTheyFit) {
    for (const NumberCase& row : kNumberCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        EXPECT_EQ(row.number, Read<unsigned int>(row.text));
        EXPECT_EQ(row.byte, Read<unsigned char>(row.text));
        EXPECT_EQ(row.wide, Read<unsigned long>(row.text));
    }
}

const struct DoubleCase {
    int line;
    const char* text;
    double number;
} kDoubleCases[] = {
    {__LINE__, "0", 0},
    {__LINE__, "1.5", 1.5},
    {__LINE__, "-2.5e3", -2500},
    {__LINE__, "1E-2", 0.01},
    {__LINE__, ".5", 0.5},
    {__LINE__, "+7.", 7},
    {__LINE__, "0x1p3", 8},
    {__LINE__, "99999999999", 99999999999.0},
    {__LINE__, "1e400", HUGE_VAL},
    {__LINE__, "-1e400", -HUGE_VAL},
    {__LINE__, "inf", HUGE_VAL},
    {__LINE__, "1e-400", 0},
    {__LINE__, " 12x", 12},
    {__LINE__, "1,5", 1},
    {__LINE__, "", 0},
    {__LINE__, "abc", 0},
    {__LINE__, "e5", 0},
};

// [xml-15]
TEST_F(XmlReaderTest, DoublesAreReadWithTheirExponents) {
    for (const DoubleCase& row : kDoubleCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        EXPECT_EQ(row.number, Read<double>(row.text));
    }
    EXPECT_TRUE(std::isnan(Read<double>("nan")));
    EXPECT_TRUE(std::signbit(Read<double>("-0")));
}

// Unchanged, for a null attribute, and for a name or a value that cannot be
// converted.
template <typename Value>
void ExpectStays(Value junk) {
    ConvertingProbe seen;
    LoadedReader reader("<a k='1'/>");
    Value value = junk;
    std::string name = "junk";
    EXPECT_EQ(0, reader.GetAttribute(nullptr, name, value));
    seen.convert = FailingAt(1);
    EXPECT_EQ(0, reader.GetAttribute(reader.First(), name, value));
    EXPECT_EQ("junk", name);
    seen.convert = FailingAt(2);
    EXPECT_EQ(0, reader.GetAttribute(reader.First(), name, value));
    EXPECT_EQ("k", name);
    EXPECT_TRUE(value == junk);
}

TEST_F(XmlReaderTest, AValueThatCannotBeReadLeavesTheOutput) {
    ExpectStays(4711U);
    ExpectStays(static_cast<unsigned char>(47));
    ExpectStays(4711UL);
    ExpectStays(47.11);
    ExpectStays(GuidOf("00112233-4455-6677-8899-aabbccddeeff"));
    ExpectStays(std::string("junk"));
}

const char* const kGuidText = "00112233-4455-6677-8899-aabbccddeeff";

TEST_F(XmlReaderTest, GuidsAreReadByFromString) {
    for (const char* const text : {"00112233-4455-6677-8899-aabbccddeeff",
                                   "{00112233-4455-6677-8899-AABBCCDDEEFF}",
                                   "00112233445566778899aabbccddeeff"}) {
        LoadedReader reader(std::string("<a k='") + text + "'/>");
        std::string name = "junk";
        Guid guid = GuidOf("ffffffff-ffff-ffff-ffff-ffffffffffff");
        EXPECT_EQ(1, reader.GetAttribute(reader.First(), name, guid)) << text;
        EXPECT_EQ("k", name);
        EXPECT_EQ(kGuidText, guid.ToString(1)) << text;
    }
}

// [xml-16]
TEST_F(XmlReaderTest, AnEmptyOrNilGuidIsReadButNotStored) {
    for (const char* const text : {"", "00000000-0000-0000-0000-000000000000",
                                   "{00000000-0000-0000-0000-000000000000}"}) {
        LoadedReader reader(std::string("<a k='") + text + "'/>");
        std::string name = "junk";
        Guid guid = GuidOf(kGuidText);
        EXPECT_EQ(1, reader.GetAttribute(reader.First(), name, guid)) << text;
        EXPECT_EQ("k", name);
        EXPECT_EQ(kGuidText, guid.ToString(1)) << text;
    }
}

// [xml-16]
TEST_F(XmlReaderTest, ATextThatIsNoGuidLetsTheExceptionPass) {
    for (const char* const text :
         {"abc", " ", "0112233-4455-6677-8899-aabbccddeef",
          "00112233-4455-6677-8899-aabbccddeef"}) {
        LoadedReader reader(std::string("<a k='") + text + "'/>");
        std::string name = "junk";
        Guid guid = GuidOf(kGuidText);
        try {
            reader.GetAttribute(reader.First(), name, guid);
            ADD_FAILURE() << "nothing was thrown for " << text;
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ("invalid uuid string", error.what());
        }
        EXPECT_EQ("k", name);
        EXPECT_EQ(kGuidText, guid.ToString(1)) << text;
        EXPECT_EQ(std::string("a[k=") + text + "]", Tree(reader));
    }
}

// Reader: memory

TEST_F(XmlReaderTest, TheConstructorTakesTwoBlocksOrNone) {
    const NovuTest::AllocationLedger ledger;
    EXPECT_EQ(2U, NovuTest::FailEachAllocation(
                      [] { const XmlReader reader; },
                      [&] { EXPECT_EQ(0U, ledger.Blocks()); }));
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST_F(XmlReaderTest, FailingMemoryInLoadPassesAndLeavesTheReaderEmpty) {
    const TempDir temp;
    std::string document = Declared("<a k='v'>t</a>");
    auto* const bytes = reinterpret_cast<unsigned char*>(document.data());
    const std::string path = temp.Write(std::string(100, 'n'), document);
    const ScopedXmlMemory memory;
    for (const bool fromFile : {false, true}) {
        XmlReader reader;
        int answer = 0;
        const unsigned long allocations = NovuTest::FailEachAllocation(
            [&] {
                answer = fromFile ? reader.Load(path)
                                  : reader.Load(bytes, document.size());
            },
            [&] {
                ExpectIsEmpty(reader);
                EXPECT_EQ(0, ScopedXmlMemory::blocks) << "the document is left";
            });
        EXPECT_EQ(fromFile ? 2U : 1U, allocations) << "path and room";
        EXPECT_EQ(1, answer);
        EXPECT_EQ("a[k=v]'t'", Tree(reader));
    }
    EXPECT_EQ(0, ScopedXmlMemory::blocks);
}

// Texts of more characters than the room and a string have to begin with. Those
// of the UTF-8 document need no conversion, and so no room.
TEST_F(XmlReaderTest, FailingMemoryInAReadPassesAndLeavesTheOutputs) {
    const std::string text(5000, 't');
    const std::string name(6000, 'n');
    for (const std::string encoding : {"UTF-8", "ISO-2022-JP"}) {
        SCOPED_TRACE(encoding);
        const auto walk =
            [&](const std::function<int(LoadedReader&, std::string&,
                                        std::string&)>& read) {
                LoadedReader reader("<" + name + " " + name + "='" + text +
                                        "'>" + text + "<" + name + "/></" +
                                        name + ">",
                                    encoding);
                std::string first = "junk";
                std::string second = "junk";
                int answer = 0;
                EXPECT_LE(encoding == "UTF-8" ? 1U : 2U,
                          NovuTest::FailEachAllocation(
                              [&] { answer = read(reader, first, second); },
                              [&] { EXPECT_EQ("junk", second); }))
                    << "the room and the output";
                EXPECT_EQ(1, answer);
                EXPECT_EQ(name + "[" + name + "=" + text + "]'" + text + "'(" +
                              name + ")",
                          Tree(reader));
                return std::pair(first, second);
            };
        EXPECT_EQ(
            std::pair(std::string("junk"), name),
            walk([](LoadedReader& reader, std::string&, std::string& out) {
                return reader.GetElement(reader.Root(), out);
            }));
        EXPECT_EQ(
            std::pair(std::string("junk"), text),
            walk([](LoadedReader& reader, std::string&, std::string& out) {
                return reader.GetEntity(reader.Root(), out);
            }));
        EXPECT_EQ(std::pair(name, text),
                  walk([](LoadedReader& reader, std::string& first,
                          std::string& out) {
                      return reader.GetAttribute(reader.First(), first, out);
                  }));
        EXPECT_EQ(
            std::pair(std::string("junk"), name),
            walk([](LoadedReader& reader, std::string&, std::string& out) {
                return reader.ChildElement(reader.Root(), &out) != nullptr ? 1
                                                                           : 0;
            }));
        unsigned int number = 4711;
        walk([&](LoadedReader& reader, std::string& first, std::string&) {
            EXPECT_EQ(4711U, number);
            return reader.GetAttribute(reader.First(), first, number);
        });
        EXPECT_EQ(0U, number);
    }
}

// Both

TEST_F(XmlReaderTest, ValuesComeBackAsTheyWereWritten) {
    const Guid guid = GuidOf(kGuidText);
    const TempDir temp;
    const std::string path = temp / "a.xml";
    XmlWriter writer;
    EXPECT_EQ(1, writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.BeginElement("a"));
    EXPECT_EQ(1, writer.WriteAttribute("int", -42));
    EXPECT_EQ(1, writer.WriteAttribute("unsigned", 3000000000U));
    EXPECT_EQ(1, writer.WriteAttribute("byte", 200));
    EXPECT_EQ(1, writer.WriteAttribute("long", 2000000000UL));
    EXPECT_EQ(1, writer.WriteAttribute("double", -0.015625));
    EXPECT_EQ(1, writer.WriteAttribute("guid", guid, 1));
    EXPECT_EQ(1, writer.WriteAttribute("nil", Guid(), 1));
    EXPECT_EQ(1, writer.WriteAttribute("text", "<&>\"'\n"));
    EXPECT_EQ(1, writer.EndDocument());
    EXPECT_EQ(1, writer.Save(path));

    XmlReader reader;
    EXPECT_EQ(1, reader.Load(path));
    std::string name;
    Attribute* each = reader.GetFirstAttribute(reader.GetRootElement());
    unsigned int number = 0;
    EXPECT_EQ(1, reader.GetAttribute(each, name, number));
    EXPECT_EQ("int", name);
    EXPECT_EQ(-42, static_cast<int>(number));
    each = reader.NextAttribute(each);
    EXPECT_EQ(1, reader.GetAttribute(each, name, number));
    EXPECT_EQ("unsigned", name);
    EXPECT_EQ(3000000000U, number);
    each = reader.NextAttribute(each);
    unsigned char byte = 0;
    EXPECT_EQ(1, reader.GetAttribute(each, name, byte));
    EXPECT_EQ(200, byte);
    each = reader.NextAttribute(each);
    unsigned long wide = 0;
    EXPECT_EQ(1, reader.GetAttribute(each, name, wide));
    EXPECT_EQ(2000000000UL, wide);
    each = reader.NextAttribute(each);
    double real = 0;
    EXPECT_EQ(1, reader.GetAttribute(each, name, real));
    EXPECT_EQ(-0.015625, real);
    each = reader.NextAttribute(each);
    Guid read;
    EXPECT_EQ(1, reader.GetAttribute(each, name, read));
    EXPECT_TRUE(guid == read);
    each = reader.NextAttribute(each);
    EXPECT_EQ(1, reader.GetAttribute(each, name, read));
    EXPECT_EQ("nil", name);
    EXPECT_TRUE(guid == read) << "unchanged";
    each = reader.NextAttribute(each);
    std::string text;
    EXPECT_EQ(1, reader.GetAttribute(each, name, text));
    EXPECT_EQ("<&>\"'\n", text);
    EXPECT_EQ(nullptr, reader.NextAttribute(each));
}

// A text of characters that XML allows, in UTF-8.
std::string RandomText(std::mt19937& random, std::size_t length) {
    const struct {
        unsigned long first;
        unsigned long last;
    } ranges[] = {{'\t', '\n'},     {'\r', '\r'},       {' ', '~'},
                  {' ', '~'},       {0xA0, 0x7FF},      {0x800, 0xD7FF},
                  {0xE000, 0xFFFD}, {0x10000, 0x10FFFF}};
    std::string text;
    for (std::size_t each = 0; each < length; ++each) {
        const auto& range = ranges[random() % std::size(ranges)];
        const unsigned long point =
            range.first + random() % (range.last - range.first + 1);
        text += Utf8Of(point);
    }
    return text;
}

TEST_F(XmlReaderTest, RandomTextsComeBackAsTheyWereWritten) {
    const unsigned int seed = std::random_device()();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 300; ++round) {
        const std::string value = RandomText(random, random() % 200);
        const std::string text = RandomText(random, 1 + random() % 3000);
        const std::string inner = RandomText(random, 1 + random() % 20);
        XmlWriter writer;
        ASSERT_EQ(1, writer.BeginDocument("UTF-8"));
        ASSERT_EQ(1, writer.BeginElement("a"));
        ASSERT_EQ(1, writer.WriteAttribute("k", value));
        ASSERT_EQ(1, writer.WriteEntity(text));
        ASSERT_EQ(1, writer.WriteElement("b", inner));
        ASSERT_EQ(1, writer.WriteElementEntity("c", inner));
        ASSERT_EQ(1, writer.EndDocument());
        XmlReader reader;
        ASSERT_EQ(1, Load(reader, DocumentOf(writer)));
        ASSERT_EQ("a[k=" + value + "]'" + text + "'(b'" + inner + "' c'" +
                      inner + "')",
                  Tree(reader));
    }
}

}  // namespace
