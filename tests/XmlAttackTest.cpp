// XML documents that were made to do harm, before the reader of Bases/XmlDoc.h:
// each is refused, or read as it stands with its entities unexpanded, in
// bounded memory and time, and nothing is opened or connected to but the
// document.
//
// Each document is loaded in a child process, which is ended after kSeconds of
// work. Stand-ins of the C library note what is touched meanwhile, "network" or
// the path of a file; no call gets through to the network. Memory is counted in
// the blocks of libxml2, the only ones that a document can multiply. Trees are
// those of tests/support/XmlTree.h: "a[k=v]'text'(b c(d))".

#include <fcntl.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlmemory.h>
#include <malloc.h>
#include <netdb.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "Bases/XmlDoc.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/TempDir.h"
#include "tests/support/XmlTree.h"

namespace {

using Novu::XmlReader;
using NovuTest::TempDir;
using Names = std::set<std::string>;

const unsigned int kSeconds = 30;   // Of the processor.
const unsigned int kDeadline = 50;  // Of the clock: others may be at work, too.

// What libxml2 may take for a document of that size.
std::size_t RoomFor(std::size_t size) { return 64 * size + (1 << 20); }

// What is touched

Names* touched = nullptr;  // Null while nobody looks.

void Touch(const char* name) {
    const int error = errno;
    if (touched != nullptr && name != nullptr) {
        touched->insert(name);
    }
    errno = error;
}

// Whether a call to the network is kept from the system.
bool IsCut() {
    Touch("network");
    return touched != nullptr;
}

mode_t ModeOf(int flags, va_list arguments) {
    return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    static auto* const next =
        NovuTest::NextSymbol<int(const char*, int, ...)>("open");
    va_list list;
    va_start(list, flags);
    const mode_t mode = ModeOf(flags, list);
    va_end(list);
    Touch(path);
    return next(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    static auto* const next =
        NovuTest::NextSymbol<int(const char*, int, ...)>("open64");
    va_list list;
    va_start(list, flags);
    const mode_t mode = ModeOf(flags, list);
    va_end(list);
    Touch(path);
    return next(path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...) {
    static auto* const next =
        NovuTest::NextSymbol<int(int, const char*, int, ...)>("openat");
    va_list list;
    va_start(list, flags);
    const mode_t mode = ModeOf(flags, list);
    va_end(list);
    Touch(path);
    return next(folder, path, flags, mode);
}

std::FILE* fopen(const char* path, const char* mode) {
    static auto* const next =
        NovuTest::NextSymbol<std::FILE*(const char*, const char*)>("fopen");
    Touch(path);
    return next(path, mode);
}

std::FILE* fopen64(const char* path, const char* mode) {
    static auto* const next =
        NovuTest::NextSymbol<std::FILE*(const char*, const char*)>("fopen64");
    Touch(path);
    return next(path, mode);
}

int stat(const char* path, struct stat* status) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(const char*, struct stat*)>("stat");
    Touch(path);
    return next(path, status);
}

int stat64(const char* path, struct stat64* status) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(const char*, struct stat64*)>("stat64");
    Touch(path);
    return next(path, status);
}

int socket(int domain, int type, int protocol) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(int, int, int)>("socket");
    if (IsCut()) {
        errno = EACCES;
        return -1;
    }
    return next(domain, type, protocol);
}

int connect(int fd, const sockaddr* address, socklen_t size) {
    static auto* const next =
        NovuTest::NextSymbol<int(int, const sockaddr*, socklen_t)>("connect");
    if (IsCut()) {
        errno = EACCES;
        return -1;
    }
    return next(fd, address, size);
}

int getaddrinfo(const char* name, const char* service, const addrinfo* hints,
                addrinfo** result) {
    static auto* const next = NovuTest::NextSymbol<int(
        const char*, const char*, const addrinfo*, addrinfo**)>("getaddrinfo");
    return IsCut() ? EAI_FAIL : next(name, service, hints, result);
}

hostent* gethostbyname(const char* name) {
    static auto* const next =
        NovuTest::NextSymbol<hostent*(const char*)>("gethostbyname");
    return IsCut() ? nullptr : next(name);
}

}  // extern "C"

namespace {

// What libxml2 takes

std::size_t taken = 0;
std::size_t mostTaken = 0;

void* Counted(void* block) {
    taken += ::malloc_usable_size(block);
    mostTaken = std::max(mostTaken, taken);
    return block;
}

void* Take(std::size_t size) { return Counted(std::malloc(size)); }

void GiveBack(void* block) {
    taken -= std::min(taken, ::malloc_usable_size(block));
    std::free(block);
}

void* TakeMore(void* block, std::size_t size) {
    taken -= std::min(taken, ::malloc_usable_size(block));
    return Counted(std::realloc(block, size));
}

char* TakeCopy(const char* text) {
    return static_cast<char*>(Counted(::strdup(text)));
}

// A child that loads

struct Outcome {
    int answer = -1;  // Of Load; -1 where the child did not get so far.
    std::string tree = "none";
    Names touched;
    std::size_t room = 0;  // That libxml2 took.
};

using Loading = std::function<int(XmlReader&)>;

Outcome LoadHere(const Loading& load, bool wantsTree) {
    ::xmlSetStructuredErrorFunc(nullptr,
                                [](void* /*context*/, auto* /*error*/) {});
    ::xmlMemSetup(GiveBack, Take, TakeMore, TakeCopy);
    Outcome outcome;
    XmlReader reader;
    taken = mostTaken = 0;
    touched = &outcome.touched;
    outcome.answer = load(reader);
    if (wantsTree) {
        outcome.tree = NovuTest::Tree(reader);
    }
    touched = nullptr;
    outcome.room = mostTaken;
    return outcome;
}

const char kSeparator = '\x1f';

std::string Packed(const Outcome& outcome) {
    std::string text = std::to_string(outcome.answer) + kSeparator +
                       std::to_string(outcome.room) + kSeparator + outcome.tree;
    for (const std::string& name : outcome.touched) {
        text += kSeparator + name;
    }
    return text;
}

Outcome Unpacked(const std::string& text) {
    std::vector<std::string> parts(1);
    for (const char character : text) {
        if (character == kSeparator) {
            parts.emplace_back();
        } else {
            parts.back() += character;
        }
    }
    Outcome outcome;
    if (parts.size() >= 3) {
        outcome.answer = std::stoi(parts[0]);
        outcome.room = std::stoul(parts[1]);
        outcome.tree = parts[2];
        outcome.touched.insert(parts.begin() + 3, parts.end());
    }
    return outcome;
}

// Runs `load` in a child. One that takes too long is ended by a signal.
Outcome LoadInChild(const Loading& load, bool wantsTree) {
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0) {
        ADD_FAILURE() << "no pipe";
        return {};
    }
    const bool failed = testing::Test::HasFailure();
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit limit = {kSeconds, kSeconds + 1};
        ::setrlimit(RLIMIT_CPU, &limit);
        ::alarm(kDeadline);
        const std::string text = Packed(LoadHere(load, wantsTree));
        std::size_t written = 0;
        while (written < text.size()) {
            const ssize_t count =
                ::write(ends[1], text.data() + written, text.size() - written);
            if (count <= 0) {
                break;
            }
            written += static_cast<std::size_t>(count);
        }
        ::_exit(testing::Test::HasFailure() && !failed ? 1 : 0);
    }
    ::close(ends[1]);
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = ::read(ends[0], buffer, sizeof buffer)) > 0) {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    ::close(ends[0]);
    int status = -1;
    EXPECT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(0, status) << "signal " << WTERMSIG(status);
    return Unpacked(text);
}

int LoadBytes(XmlReader& reader, const std::string& document) {
    std::vector<unsigned char> bytes(document.begin(), document.end());
    return reader.Load(bytes.data(), bytes.size());
}

const std::string kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

std::string Times(std::size_t count, const std::string& text) {
    std::string all;
    all.reserve(count * text.size());
    for (; count != 0; --count) {
        all += text;
    }
    return all;
}

// Both ways of loading: from memory nothing is touched, from a file that file
// alone. A null `tree` is not asked for.
void ExpectLoads(const std::string& document, int fromMemory, int fromFile,
                 const char* tree) {
    const Outcome memory = LoadInChild(
        [&](XmlReader& reader) { return LoadBytes(reader, document); },
        tree != nullptr);
    EXPECT_EQ(fromMemory, memory.answer);
    EXPECT_EQ(Names{}, memory.touched);
    EXPECT_GE(RoomFor(document.size()), memory.room);
    EXPECT_LT(0U, memory.room) << "nothing was counted";

    const TempDir temp;
    const std::string path = temp.Write("a.xml", document);
    const Outcome file = LoadInChild(
        [&](XmlReader& reader) { return reader.Load(path); }, tree != nullptr);
    EXPECT_EQ(fromFile, file.answer);
    EXPECT_EQ(Names{path}, file.touched);
    EXPECT_GE(RoomFor(document.size()), file.room);
    if (tree != nullptr) {
        EXPECT_EQ(tree, memory.tree);
        EXPECT_EQ(tree, file.tree);
    }
}

void ExpectRefused(const std::string& document) {
    ExpectLoads(document, 0, 0, "none");
}

// External things. FILE stands for the path of a file with the text "secret".

const struct ExternalCase {
    int line;
    const char* body;
    int answer;
    const char* tree;
} kExternalCases[] = {
    // Entities in texts
    {__LINE__, "<!DOCTYPE a [<!ENTITY e SYSTEM 'FILE'>]><a>x&e;y</a>", 1,
     "a'x'"},
    {__LINE__, "<!DOCTYPE a [<!ENTITY e SYSTEM 'file://FILE'>]><a>&e;</a>", 1,
     "a"},
    {__LINE__,
     "<!DOCTYPE a [<!ENTITY e SYSTEM 'http://127.0.0.1:9/e'>]><a>x&e;</a>", 1,
     "a'x'"},
    {__LINE__,
     "<!DOCTYPE a [<!ENTITY e SYSTEM 'ftp://127.0.0.1:9/e'>]><a>x&e;</a>", 1,
     "a'x'"},
    {__LINE__,
     "<!DOCTYPE a [<!ENTITY e PUBLIC '-//E//EN' 'http://127.0.0.1:9/e'>]>"
     "<a>x&e;</a>",
     1, "a'x'"},
    {__LINE__,
     "<!DOCTYPE a [<!ENTITY e SYSTEM '//127.0.0.1/share/e'>]><a>x&e;</a>", 1,
     "a'x'"},
    {__LINE__,
     "<!DOCTYPE a [<!ENTITY f '&e;'><!ENTITY e SYSTEM 'FILE'>]><a>x&f;y</a>", 1,
     "a'x'"},

    // In values they are not well-formed.
    {__LINE__, "<!DOCTYPE a [<!ENTITY e SYSTEM 'FILE'>]><a k='&e;'/>", 0,
     "none"},
    {__LINE__,
     "<!DOCTYPE a [<!ENTITY e SYSTEM 'FILE'><!ENTITY f '&e;'>]><a k='&f;'/>", 0,
     "none"},

    // Parameter entities
    {__LINE__, "<!DOCTYPE a [<!ENTITY % p SYSTEM 'FILE'>%p;]><a/>", 1, "a"},
    {__LINE__,
     "<!DOCTYPE a [<!ENTITY % p SYSTEM 'http://127.0.0.1:9/p'>%p;]><a>x</a>", 1,
     "a'x'"},
    {__LINE__,
     "<!DOCTYPE a [<!ENTITY % f SYSTEM 'file://FILE'>"
     "<!ENTITY % p SYSTEM 'http://127.0.0.1:9/send?'>%p;%f;]><a>x</a>",
     1, "a'x'"},
    {__LINE__,
     "<!DOCTYPE a [<!ENTITY % p '&#60;!ENTITY e SYSTEM \"FILE\">'>%p;]>"
     "<a>x&e;y</a>",
     1, "a'x'"},

    // DTDs
    {__LINE__, "<!DOCTYPE a SYSTEM 'FILE'><a>x</a>", 1, "a'x'"},
    {__LINE__, "<!DOCTYPE a SYSTEM 'http://127.0.0.1:9/a.dtd'><a>x</a>", 1,
     "a'x'"},
    {__LINE__, "<!DOCTYPE a PUBLIC '-//A//EN' 'ftp://127.0.0.1:9/d'><a>x</a>",
     1, "a'x'"},
    {__LINE__, "<!DOCTYPE a SYSTEM 'file://FILE' []><a>x</a>", 1, "a'x'"},

    // Notations, and entities that are not parsed
    {__LINE__,
     "<!DOCTYPE a [<!NOTATION n SYSTEM 'FILE'><!ENTITY u SYSTEM 'FILE' NDATA n>"
     "<!ATTLIST a k ENTITY #IMPLIED>]><a k='u'/>",
     1, "a[k=u]"},

    // What other programs act upon
    {__LINE__,
     "<a xmlns:xi='http://www.w3.org/2001/XInclude'>"
     "<xi:include href='FILE' parse='text'/></a>",
     1, "a(include[href=FILE][parse=text])"},
    {__LINE__,
     "<?oasis-xml-catalog catalog='file://FILE'?>"
     "<!DOCTYPE a PUBLIC '-//A//EN' 'a.dtd'><a>x</a>",
     1, "a'x'"},
    {__LINE__, "<?xml-stylesheet type='text/xsl' href='FILE'?><a>x</a>", 1,
     "a'x'"},
    {__LINE__, "<?xml-model href='FILE'?><a xml:base='file://FILE'>x</a>", 1,
     "a[base=file://FILE]'x'"},
    {__LINE__,
     "<a xmlns:s='http://www.w3.org/2001/XMLSchema-instance' "
     "s:noNamespaceSchemaLocation='http://127.0.0.1:9/s'>x</a>",
     1, "a[noNamespaceSchemaLocation=http://127.0.0.1:9/s]'x'"},
};

std::string WithFile(std::string text, const std::string& file) {
    for (std::size_t at = 0; (at = text.find("FILE", at)) != std::string::npos;
         at += file.size()) {
        text.replace(at, 4, file);
    }
    return text;
}

TEST(XmlAttackTest, NothingExternalIsTouched) {
    const TempDir temp;
    const std::string secret = temp.Write("secret", "secret");
    for (const ExternalCase& row : kExternalCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const std::string tree = WithFile(row.tree, secret);
        ExpectLoads(kDeclaration + WithFile(row.body, secret), row.answer,
                    row.answer, tree.c_str());
    }
}

// Also where the host lets libxml2 substitute, validate and load for its own
// documents: an attack then reads no more than it does else.
TEST(XmlAttackTest, TheHostsDefaultsForLibxml2DoNotMatter) {
    const TempDir temp;
    const std::string secret = temp.Write("secret", "secret");
    for (const ExternalCase& row : kExternalCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const std::string document = kDeclaration + WithFile(row.body, secret);
        const Outcome outcome = LoadInChild(
            [&](XmlReader& reader) {
                ::xmlSubstituteEntitiesDefault(1);
                xmlLoadExtDtdDefaultValue = 1;
                xmlDoValidityCheckingDefaultValue = 1;
                return LoadBytes(reader, document);
            },
            true);
        EXPECT_EQ(row.answer, outcome.answer);
        EXPECT_EQ(WithFile(row.tree, secret), outcome.tree);
        EXPECT_EQ(Names{}, outcome.touched);
    }
}

// What the caller names

Outcome LoadPath(const std::string& path, const std::string& catalogs) {
    return LoadInChild(
        [&](XmlReader& reader) {
            ::setenv("XML_CATALOG_FILES", catalogs.c_str(), 1);
            return reader.Load(path);
        },
        true);
}

// [xml-18]
TEST(XmlAttackTest, AUrlThatTheCallerNamesIsFollowed) {
    const std::string url = "http://127.0.0.1:9/a.xml";
    const Outcome outcome = LoadPath(url, "");
    EXPECT_EQ(0, outcome.answer);
    EXPECT_EQ(::xmlHasFeature(XML_WITH_HTTP) != 0 ? (Names{url, "network"})
                                                  : Names{url},
              outcome.touched);
}

// [xml-18]
TEST(XmlAttackTest, APathThatIsNoFileIsLookedUpInTheCatalogs) {
    const TempDir temp;
    const std::string other =
        temp.Write("other.xml", kDeclaration + "<other/>");
    const std::string catalog = temp.Write(
        "catalog",
        "<?xml version='1.0'?><catalog "
        "xmlns='urn:oasis:names:tc:entity:xmlns:xml:catalog'><uri name='" +
            temp.Path() + "missing.xml' uri='file://" + other +
            "'/></catalog>");
    const Outcome missing = LoadPath(temp / "missing.xml", catalog);
    EXPECT_EQ(1, missing.answer);
    EXPECT_EQ("other", missing.tree);
    EXPECT_TRUE(missing.touched.contains(catalog));

    const Outcome there = LoadPath(other, catalog);
    EXPECT_EQ("other", there.tree);
    EXPECT_EQ(Names{other}, there.touched);
}

// [xml-18] Of gzip, with the document in a block that is not compressed.
TEST(XmlAttackTest, ACompressedFileIsUnpacked) {
    const std::string document = kDeclaration + "<a/>";
    const std::string packed =
        std::string(
            "\x1f\x8b\x08\0\0\0\0\0\0\x03"  // gzip
            "\x01\x2b\0\xd4\xff",           // 43 bytes
            15) +
        document + std::string("\xf8\x06\x5f\x2d\x2b\0\0\0", 8);  // checksum
    const TempDir temp;
    const Outcome outcome = LoadPath(temp.Write("a.xml", packed), "");
    const bool unpacks = ::xmlHasFeature(XML_WITH_ZLIB) != 0;
    EXPECT_EQ(unpacks ? 1 : 0, outcome.answer);
    EXPECT_EQ(unpacks ? "a" : "none", outcome.tree);
}

// Expansion

// "&e0;" to "&e9;", or as parameter entities, of which each is ten of the one
// before it.
std::string Laughs(const std::string& reference, const std::string& kind,
                   const std::string& leaf) {
    std::string entities =
        "<!DOCTYPE a [<!ENTITY " + kind + "e0 '" + leaf + "'>";
    for (int level = 1; level <= 9; ++level) {
        entities +=
            "<!ENTITY " + kind + "e" + std::to_string(level) + " '" +
            Times(10, reference + "e" + std::to_string(level - 1) + ";") + "'>";
    }
    return kDeclaration + entities;
}

const struct LaughsCase {
    int line;
    std::string document;
} kLaughsCases[] = {
    {__LINE__, Laughs("&", "", "ha") + "]><a>&e9;</a>"},
    {__LINE__, Laughs("&", "", "") + "]><a>&e9;</a>"},
    {__LINE__, Laughs("&", "", "<b/>") + "]><a>&e9;</a>"},
    {__LINE__, Laughs("&", "", "ha") + "]><a k='&e9;'/>"},
    {__LINE__, Laughs("&", "", "ha") + "<!ATTLIST a k CDATA '&e9;'>]><a/>"},
    {__LINE__, Laughs("&#37;", "% ", "ha") + "%e9;]><a/>"},
    {__LINE__, Laughs("&#37;", "% ", "") + "%e9;]><a/>"},
    {__LINE__, Laughs("&#37;", "% ", " ") + "%e9;]><a/>"},
    {__LINE__, Laughs("&#37;", "% ", "<!---->") + "%e9;]><a/>"},
    {__LINE__, Laughs("&#37;", "% ", "<?p?>") + "%e9;]><a/>"},
    {__LINE__,
     Laughs("&#37;", "% ", "&#60;!ENTITY e \"ha\">") + "%e9;]><a>&e;</a>"},
    {__LINE__, Laughs("&#37;", "% ", "&#60;!ELEMENT a ANY>") + "%e9;]><a/>"},
    // Entities that contain themselves
    {__LINE__, kDeclaration + "<!DOCTYPE a [<!ENTITY e '&e;'>]><a>&e;</a>"},
    {__LINE__, kDeclaration + "<!DOCTYPE a [<!ENTITY e '&e;'>]><a k='&e;'/>"},
    {__LINE__,
     kDeclaration +
         "<!DOCTYPE a [<!ENTITY e '&f;'><!ENTITY f '&e;'>]><a>&e;</a>"},
    {__LINE__, kDeclaration + "<!DOCTYPE a [<!ENTITY % p '&#37;p;'>%p;]><a/>"},
    {__LINE__, kDeclaration + "<!DOCTYPE a [<!ENTITY % p '&#37;q;'>"
                              "<!ENTITY % q '&#37;p;'>%p;]><a/>"},
};

// [xml-20]
TEST(XmlAttackTest, EntitiesThatMultiplyAreRefused) {
    for (const LaughsCase& row : kLaughsCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        ExpectRefused(row.document);
    }
}

// A few kilobytes of references to one long text: nothing is expanded.
TEST(XmlAttackTest, ReferencesToALongEntityDoNotGrow) {
    const std::string entity =
        "<!DOCTYPE a [<!ENTITY e '" + std::string(100'000, 'v') + "'>";
    ExpectLoads(
        kDeclaration + entity + "]><a>x" + Times(20'000, "&e;") + "</a>", 1, 1,
        "a'x'");
    ExpectLoads(
        kDeclaration + entity + "]><a k='x" + Times(20'000, "&e;") + "'/>", 1,
        1, "a[k=x]");
    ExpectLoads(kDeclaration + entity + "]><a>" +
                    Times(20'000, "<b k='&e;'/>") + "</a>",
                1, 1, nullptr);
}

// Defaults of the DTD are not filled in, so they do not grow either.
TEST(XmlAttackTest, DefaultsOfTheDtdAreNotFilledIn) {
    const std::string dtd = "<!DOCTYPE a [<!ATTLIST b k CDATA '" +
                            std::string(100'000, 'v') + "'>]>";
    ExpectLoads(kDeclaration + dtd + "<a><b/><b l='m'/></a>", 1, 1,
                "a(b b[l=m])");
    ExpectLoads(kDeclaration + dtd + "<a>" + Times(20'000, "<b/>") + "</a>", 1,
                1, nullptr);
}

// [xml-20]
TEST(XmlAttackTest, ParameterEntitiesExpandToTenMegabytes) {
    const auto document = [](std::size_t references) {
        return kDeclaration + "<!DOCTYPE a [<!ENTITY % p '" +
               std::string(100'000, ' ') + "'>" + Times(references, "%p;") +
               "]><a/>";
    };
    ExpectLoads(document(90), 1, 1, "a");
    ExpectRefused(document(110));
    ExpectRefused(document(20'000));
}

// [xml-20]
TEST(XmlAttackTest, ParameterEntitiesAreReferredToTenThousandTimes) {
    const auto document = [](std::size_t references) {
        return kDeclaration + "<!DOCTYPE a [<!ENTITY % p ''>" +
               Times(references, "%p;") + "]><a/>";
    };
    ExpectLoads(document(9'000), 1, 1, "a");
    ExpectLoads(document(11'000), 0, 0, "none");
}

// Sizes

const std::size_t kHuge = 11'000'000;

const struct HugeCase {
    int line;
    std::function<std::string(const std::string& much)> body;
    int fromMemory;
    int fromFile;
} kHugeCases[] = {
    {__LINE__, [](const std::string& m) { return "<" + m + "/>"; }, 0, 0},
    {__LINE__, [](const std::string& m) { return "<a " + m + "='v'/>"; }, 0, 0},
    {__LINE__, [](const std::string& m) { return "<" + m + ":a/>"; }, 0, 0},
    {__LINE__, [](const std::string& m) { return "<a k='" + m + "'/>"; }, 0, 0},
    {__LINE__, [](const std::string& m) { return "<a xmlns='" + m + "'/>"; }, 0,
     0},
    {__LINE__, [](const std::string& m) { return "<a>" + m + "</a>"; }, 1, 0},
    {__LINE__, [](const std::string& m) { return "<a><!--" + m + "--></a>"; },
     0, 0},
    {__LINE__, [](const std::string& m) { return "<a><?p " + m + "?></a>"; }, 0,
     0},
    {__LINE__, [](const std::string& m) { return "<a><?" + m + "?></a>"; }, 0,
     0},
    {__LINE__,
     [](const std::string& m) { return "<a><![CDATA[" + m + "]]></a>"; }, 0, 0},
    {__LINE__, [](const std::string& m) { return "<a>&" + m + ";</a>"; }, 0, 0},
    {__LINE__, [](const std::string& m) { return "<a>&#" + m + ";</a>"; }, 0,
     0},
    {__LINE__, [](const std::string& m) { return "<!DOCTYPE " + m + "><a/>"; },
     0, 0},
    {__LINE__,
     [](const std::string& m) { return "<!DOCTYPE a SYSTEM '" + m + "'><a/>"; },
     0, 0},
    {__LINE__,
     [](const std::string& m) {
         return "<!DOCTYPE a [<!ENTITY e '" + m + "'>]><a/>";
     },
     0, 0},
};

std::ostream& operator<<(std::ostream& out, const HugeCase& row) {
    return out << "row at line " << row.line;
}

// A test for each row: some take seconds on a busy machine.
class HugeTextTest : public testing::TestWithParam<HugeCase> {};

// [xml-20]
TEST_P(HugeTextTest, IsRefused) {
    const HugeCase& row = GetParam();
    ExpectLoads(kDeclaration + row.body(std::string(kHuge, 'n')),
                row.fromMemory, row.fromFile, nullptr);
}

INSTANTIATE_TEST_SUITE_P(XmlAttackTest, HugeTextTest,
                         testing::ValuesIn(kHugeCases));

// [xml-20]
TEST(XmlAttackTest, HugeNamesInTheDeclarationAreRefused) {
    const std::string much(kHuge, 'n');
    ExpectLoads("<?xml version='1.0' encoding='" + much + "'?><a/>", 0, 0,
                nullptr);
    ExpectLoads("<?xml version='" + much + "' encoding='UTF-8'?><a/>", 0, 0,
                nullptr);
}

// [xml-20]
TEST(XmlAttackTest, DeepNestingIsRefused) {
    const std::size_t depth = 100'000;
    const std::string opened = Times(depth, "<a>");
    ExpectRefused(kDeclaration + opened + Times(depth, "</a>"));
    ExpectRefused(kDeclaration + opened);
    ExpectRefused(kDeclaration + "<!DOCTYPE a [<!ELEMENT a " +
                  Times(depth, "(") + "b" + Times(depth, ")") + ">]><a/>");
    ExpectRefused(kDeclaration + "<!DOCTYPE a [<!ENTITY e '" + opened +
                  Times(depth, "</a>") + "'>]><a>&e;</a>");

    // A chain of entities.
    std::string chain = "<!DOCTYPE a [<!ENTITY e0 'x'>";
    for (int level = 1; level <= 1000; ++level) {
        chain += "<!ENTITY e" + std::to_string(level) + " '&e" +
                 std::to_string(level - 1) + ";'>";
    }
    ExpectRefused(kDeclaration + chain + "]><a>&e1000;</a>");
}

TEST(XmlAttackTest, ManyElementsAreRead) {
    ExpectLoads(kDeclaration + "<a>" + Times(200'000, "<b/>") + "</a>", 1, 1,
                nullptr);
    ExpectLoads(kDeclaration + "<a>" + Times(100'000, "x<!---->") + "</a>", 1,
                1, nullptr);
}

// [xml-21] With ten times as many it would take minutes.
TEST(XmlAttackTest, ThousandsOfAttributesOfOneElementAreRead) {
    std::string written;
    std::string read;
    for (int each = 0; each < 5000; ++each) {
        const std::string name = "k" + std::to_string(each);
        written += " " + name + "=''";
        read += "[" + name + "=]";
    }
    ExpectLoads(kDeclaration + "<a" + written + "/>", 1, 1,
                ("a" + read).c_str());
    ExpectRefused(kDeclaration + "<a" + written + " k2500=''/>");
}

// Bytes

std::string DeclaredAs(const std::string& encoding, const std::string& body) {
    return "<?xml version='1.0' encoding='" + encoding + "'?>" + body;
}

std::string Utf16(const std::string& ascii) {
    std::string wide = "\xff\xfe";
    for (const char character : ascii) {
        wide += character;
        wide += '\0';
    }
    return wide;
}

const struct BytesCase {
    int line;
    std::string document;
} kBytesCases[] = {
    // No UTF-8: a byte that never begins a character or is alone; forms that
    // are too long; surrogates; what lies beyond U+10FFFF; an end in between.
    {__LINE__, kDeclaration + "<a>\xff</a>"},
    {__LINE__, kDeclaration + "<a>\x80</a>"},
    {__LINE__, kDeclaration + "<a>\xc3</a>"},
    {__LINE__, kDeclaration + "<a>\xe2\x82</a>"},
    {__LINE__, kDeclaration + "<a>\xf0\x9f\x98</a>"},
    {__LINE__, kDeclaration + "<a>\xc0\xbc</a>"},
    {__LINE__, kDeclaration + "<a>\xe0\x80\xbc</a>"},
    {__LINE__, kDeclaration + "<a>\xed\xa0\x80</a>"},
    {__LINE__, kDeclaration + "<a>\xed\xa0\xbd\xed\xb8\x80</a>"},
    {__LINE__, kDeclaration + "<a>\xf4\x90\x80\x80</a>"},
    {__LINE__, kDeclaration + "<a>\xf8\x88\x80\x80\x80</a>"},
    {__LINE__, kDeclaration + "<a k='\xff'/>"},
    {__LINE__, kDeclaration + "<a\xff/>"},
    {__LINE__, kDeclaration + "<!--\xff--><a/>"},
    {__LINE__, kDeclaration + "<a><![CDATA[\xff]]></a>"},
    {__LINE__, kDeclaration + "<?p \xff?><a/>"},
    {__LINE__, kDeclaration + "<!DOCTYPE a [<!ENTITY e '\xff'>]><a/>"},

    // Characters that XML does not have
    {__LINE__, kDeclaration + "<a>\x01</a>"},
    {__LINE__, kDeclaration + "<a>\xef\xbf\xbf</a>"},
    {__LINE__, kDeclaration + "<a>&#0;</a>"},
    {__LINE__, kDeclaration + "<a>&#xFFFF;</a>"},
    {__LINE__, kDeclaration + "<a>&#xD800;</a>"},
    {__LINE__, kDeclaration + "<a>&#x110000;</a>"},
    {__LINE__, kDeclaration + "<a>&#99999999999999999999;</a>"},

    // Zeros
    {__LINE__, kDeclaration + std::string("<a>x\0y</a>", 10)},
    {__LINE__, kDeclaration + std::string("<a\0/>", 5)},
    {__LINE__, kDeclaration + std::string("<a k='\0'/>", 10)},
    {__LINE__, kDeclaration + std::string("<!--\0--><a/>", 12)},
    {__LINE__, std::string(1, '\0') + kDeclaration + "<a/>"},
    {__LINE__, std::string(1000, '\0')},

    // Encodings that are declared and are not those of the bytes, or are none
    {__LINE__, DeclaredAs("US-ASCII", "<a>\xc3\xa9</a>")},
    {__LINE__, DeclaredAs("UTF-32", "<a/>")},
    {__LINE__, DeclaredAs("EUC-KR", "<a>\xff\xff</a>")},
    {__LINE__, DeclaredAs("SHIFT_JIS", "<a>\x81</a>")},
    {__LINE__, DeclaredAs("ISO-2022-JP", "<a>\x1b$B\xff</a>")},
    {__LINE__, DeclaredAs("../../x", "<a/>")},
    {__LINE__, DeclaredAs("UTF-8//TRANSLIT", "<a/>")},
    {__LINE__, DeclaredAs("", "<a/>")},
    {__LINE__, Utf16(DeclaredAs("UTF-16", "<a>x</b>"))},
    {__LINE__, Utf16(DeclaredAs("UTF-16", "<a>")) + "\xd8</a>"},
    {__LINE__, Utf16(DeclaredAs("UTF-16", "<a>x</a")) + ">"},
    {__LINE__, "\xfe\xff" + DeclaredAs("UTF-16", "<a/>")},
};

TEST(XmlAttackTest, WrongBytesAreRefused) {
    for (const BytesCase& row : kBytesCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        ExpectRefused(row.document);
    }
}

// Every construct, ending where the document ends.
const std::string kSample =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n"
    "<!DOCTYPE a [\n"
    "<!ELEMENT a (#PCDATA|b)*>\n"
    "<!ATTLIST a k CDATA #IMPLIED l (m|n) \"m\">\n"
    "<!ENTITY e \"entity\"><!ENTITY % p \"<!ENTITY f 'g'>\">\n"
    "<!NOTATION n SYSTEM \"n\"><?pi data?><!-- comment -->\n"
    "]>\n"
    "<a k=\"v &lt; &#233;\" l='n'>t\xc3\xa9xt &e;<b xmlns=\"urn:b\"/>"
    "<p:c xmlns:p=\"urn:p\" p:k=\"\">&#x20AC;</p:c>"
    "<![CDATA[ <d> ]]><?pi?><!-- c --></a>";

// Loads what `change` makes of the sample at each place, from memory and from a
// file; answers how many were loaded.
int LoadChanged(XmlReader& reader, const std::string& path,
                const std::function<std::string(std::size_t)>& change) {
    int loaded = 0;
    for (std::size_t at = 0; at != kSample.size(); ++at) {
        const std::string document = change(at);
        loaded += LoadBytes(reader, document);
        reader.Close();
        std::ofstream(path, std::ios::binary) << document;
        loaded += reader.Load(path);
        reader.Close();
    }
    return loaded;
}

void ExpectChangedAreRefused(
    const std::function<std::string(std::size_t)>& change) {
    const TempDir temp;
    const std::string path = temp / "a.xml";
    const Outcome outcome = LoadInChild(
        [&](XmlReader& reader) { return LoadChanged(reader, path, change); },
        false);
    EXPECT_EQ(0, outcome.answer);
    EXPECT_EQ(Names{path}, outcome.touched);
}

TEST(XmlAttackTest, ADocumentThatIsCutAnywhereIsRefused) {
    ExpectLoads(kSample, 1, 1, nullptr);
    ExpectChangedAreRefused(
        [](std::size_t at) { return kSample.substr(0, at); });
}

TEST(XmlAttackTest, AZeroAnywhereIsRefused) {
    ExpectChangedAreRefused([](std::size_t at) {
        std::string document = kSample;
        document.insert(at, 1, '\0');
        return document;
    });
}

TEST(XmlAttackTest, AByteThatIsNeverUtf8IsRefusedAnywhere) {
    ExpectChangedAreRefused([](std::size_t at) {
        std::string document = kSample;
        document.insert(at, 1, '\xff');
        return document;
    });
}

}  // namespace
