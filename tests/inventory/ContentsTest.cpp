// The inventory program: what an inventory holds, of names and entries of every
// kind.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <thread>

#include "Bases/FileFind.h"
#include "tests/inventory/Support.h"

namespace InventoryTests {

namespace {

TEST_F(InventoryTest, DescribesEachKindOfEntry) {
    Write("file.txt", "0123456789");
    MakeDir("folder/inner");
    Write("folder/inner/deep", "x");
    MakeDir("empty");
    Link("link", "folder/inner");
    Link("dangling", "nowhere at all");
    ASSERT_EQ(0, ::mkfifo((tree + "pipe").c_str(), 0600));

    const auto entries = EntriesOf(Create());
    const std::map<std::string, std::string> types = {
        {"file.txt", "file"},       {"folder", "folder"},
        {"folder/inner", "folder"}, {"folder/inner/deep", "file"},
        {"empty", "folder"},        {"link", "link"},
        {"dangling", "link"},       {"pipe", "other"},
    };
    EXPECT_EQ(KeysOf(types), KeysOf(entries));
    for (const auto& [path, type] : types) {
        SCOPED_TRACE(path);
        const Attributes& attributes = entries.at(path);
        struct stat info;
        ASSERT_EQ(0, ::lstat((tree + path).c_str(), &info));
        EXPECT_EQ(type, attributes.at("type"));
        EXPECT_EQ(std::to_string(info.st_size), attributes.at("size"));
        EXPECT_EQ(Milliseconds(info.st_mtim), attributes.at("modified"));
        EXPECT_EQ(Milliseconds(info.st_ctim), attributes.at("changed"));
        EXPECT_EQ(std::to_string(info.st_ctim.tv_sec) + "000",
                  attributes.at("created"));
        EXPECT_EQ(type == "link" ? 1U : 0U, attributes.count("target"));
        EXPECT_EQ(0U, attributes.count("contents"));
    }
    EXPECT_EQ("folder/inner", entries.at("link").at("target"));
    EXPECT_EQ("nowhere at all", entries.at("dangling").at("target"));

    // The summary.
    EXPECT_EQ("", created.err);
    for (const char* const line :
         {"8  entries\n", "2  of type file\n", "3  of type folder\n",
          "2  of type link\n", "1  of type other\n", "0  of type unreadable\n",
          "0  folders with unreadable contents\n", "0  entries escaped\n",
          "11  bytes in files\n", "  seconds\n"}) {
        EXPECT_TRUE(Contains(created.out, line)) << line << created.out;
    }
    EXPECT_TRUE(Contains(created.out, std::to_string(Content(out).size()) +
                                          "  bytes of document\n"))
        << created.out;
}

TEST_F(InventoryTest, AnEmptyFolderHasAnEmptyInventory) {
    EXPECT_EQ(0U, EntriesOf(Create()).size());
    const Result result = Verify();
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("0 added, 0 removed, 0 changed, 0 the same\n", result.out);
    EXPECT_EQ(0, RunInventory({"show", out}).status);
}

TEST_F(InventoryTest, TheFolderMayBeALinkAndNeedsNoSlash) {
    Write("a", "1");
    MakeDir("d");
    Write("d/b", "2");
    const std::string document = WithoutIdentifiers(Create());
    std::filesystem::create_directory_symlink(tree, dir / "alias");
    for (const char* const folder : {"tree", "tree///", "alias", "alias/"}) {
        const Result result = RunInventory({"create", dir / folder, out});
        EXPECT_EQ(0, result.status) << folder << result;
        EXPECT_EQ(document, WithoutIdentifiers(Content(out))) << folder;
    }
}

TEST_F(InventoryTest, ListsAFolderThenItsContentsThenTheNextByBytes) {
    for (const char* const folder : {"b", "a b", "a", "a/c", "a.d"}) {
        MakeDir(folder);
    }
    for (const char* const file : {"a/z", "a/c/y", "a/B", "\xC3\xA9", "Z"}) {
        Write(file, "");
    }
    EXPECT_EQ((Strings{"Z", "a", "a/B", "a/c", "a/c/y", "a/z", "a b", "a.d",
                       "b", "\xC3\xA9"}),
              PathsInOrder(Create()));
    EXPECT_EQ(0, Verify().status);
}

TEST_F(InventoryTest, TwoRunsDifferInTheirIdentifiersAlone) {
    for (int i = 0; i < 20; ++i) {
        const std::string folder = std::to_string(i);
        MakeDir(folder);
        Write(folder + "/x", std::string(static_cast<std::size_t>(i), 'x'));
        Link(folder + "/l", "x");
    }
    const std::string first = Create();
    const std::string second = Create();
    EXPECT_NE(first, second);
    EXPECT_EQ(WithoutIdentifiers(first), WithoutIdentifiers(second));

    Strings identifiers = IdentifiersOf(first);
    const Strings more = IdentifiersOf(second);
    EXPECT_EQ(1U + 60U, identifiers.size());
    identifiers.insert(identifiers.end(), more.begin(), more.end());
    EXPECT_EQ(
        2 * (1U + 60U),
        std::set<std::string>(identifiers.begin(), identifiers.end()).size());
    for (const std::string& identifier : identifiers) {
        EXPECT_EQ(36U, identifier.size());
        EXPECT_EQ('4', identifier[14]) << identifier;  // The version.
    }
}

TEST_F(InventoryTest, KeepsSizesAndTimesBeyond32Bits) {
    Write("sparse", "");
    std::filesystem::resize_file(tree + "sparse", 5368709120);
    Write("ancient", "");
    const timespec times[] = {{-5000000000, 0}, {-5000000000, 250000000}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "ancient").c_str(), times, 0));
    struct stat kept;  // A file system may clamp the time.
    ASSERT_EQ(0, ::stat((tree + "ancient").c_str(), &kept));

    const auto entries = EntriesOf(Create());
    EXPECT_EQ("5368709120", entries.at("sparse").at("size"));
    EXPECT_EQ(Milliseconds(kept.st_mtim), entries.at("ancient").at("modified"));
    const Result result = Verify();
    EXPECT_EQ(0, result.status) << result;
    EXPECT_TRUE(Contains(RunInventory({"show", out}).out,
                         "5368709120  5.0 GiB  sparse\n"));
}

// Names

TEST_F(OddNamesTest, AreKeptAndReportedInUtf8) {
    const std::string document = Create();
    ExpectAllThere(document);
    std::size_t escaped = 0;
    for (const auto& [path, attributes] : EntriesOf(document)) {
        if (path.rfind("files/", 0) == 0) {
            const std::string name = path.substr(6);
            EXPECT_EQ(IsOddNamePlain(name) ? 1U : 0U, attributes.count("path"))
                << name;
            escaped += IsOddNamePlain(name) ? 0U : 1U;
        }
    }
    // As files, as folders, as what is in them, and as targets.
    EXPECT_TRUE(Contains(created.out,
                         std::to_string(4 * escaped) + "  entries escaped\n"))
        << created.out;
    EXPECT_EQ(4 * escaped, Lines(created.err).size());
    EXPECT_TRUE(
        Contains(created.err, "inventory: escaped: files/line%0Afeed\n"));
    EXPECT_TRUE(IsHarmless(created.err));

    const Result result = Verify();
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("", result.err);
}

// The document's encoding and the locale at writing and at reading.
const struct EncodingCase {
    int line;
    const char* encoding;
    const char* writing;
    const char* reading;
} kEncodingCases[] = {
    // line     encoding      writing    reading
    {__LINE__, "utf-8", "C.UTF-8", "C.UTF-8"},
    {__LINE__, "UTF-8", "C", "C"},
    {__LINE__, "UTF-8", "C", "C.UTF-8"},
    {__LINE__, "ISO-8859-1", "C.UTF-8", "C.UTF-8"},
    {__LINE__, "ISO-8859-1", "C.UTF-8", "C"},
    {__LINE__, "ISO-8859-1", "C", "C.UTF-8"},
    {__LINE__, "EUC-KR", "C.UTF-8", "C"},
    {__LINE__, "US-ASCII", "C", "C.UTF-8"},
};

TEST_F(OddNamesTest, AreKeptInOtherEncodingsAndLocales) {
    for (const EncodingCase& row : kEncodingCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        ExpectAllThere(Create(In(row.writing), {"--encoding", row.encoding}));
        EXPECT_TRUE(IsHarmless(created.err));
        const Result result = Verify(In(row.reading));
        EXPECT_EQ(0, result.status) << result;
        EXPECT_EQ("", result.err);
    }
}

TEST_F(OddNamesTest, NeverReachTheTerminalRaw) {
    const std::string document = Create();
    dir.Write("empty.xml", DocumentOf(""));
    Result result = RunInventory({"verify", tree, dir / "empty.xml"});
    EXPECT_EQ(1, result.status);
    EXPECT_TRUE(IsHarmless(result.out));
    EXPECT_TRUE(Contains(result.out, "added    files/caf\xC3\xA9\n"));
    EXPECT_TRUE(Contains(result.out, "added    files/%1B[31mred\n"));
    EXPECT_TRUE(Contains(result.out, "added    files/nel%C2%85\n"));
    EXPECT_TRUE(Contains(result.out, "added    files/latin%E9\n"));
    // No name passes for another one's escaped form.
    EXPECT_TRUE(Contains(result.out, "added    files/100%25\n"));
    EXPECT_TRUE(Contains(result.out, "added    files/%2541\n"));

    result = RunInventory({"show", out});
    EXPECT_EQ(0, result.status);
    EXPECT_TRUE(IsHarmless(result.out));

    result = RunInventory({"create", tree + "\x1B[1m", out});
    EXPECT_EQ(2, result.status);
    EXPECT_TRUE(Contains(result.err, "%1B[1m")) << result;
    EXPECT_TRUE(IsHarmless(result.err));
}

TEST_F(InventoryTest, RefusesADocumentOfAnotherCharacterSet) {
    Write("caf\xC3\xA9", "");
    Create();
    // "C" cannot have the name, which is no reason to call it removed.
    Result result = Verify(In("C"));
    EXPECT_EQ(2, result.status) << result;
    EXPECT_EQ("", result.out);
    EXPECT_TRUE(Contains(result.err, out + ": element 1: the attribute path "
                                           "has no form in this locale"))
        << result;

    // Converted by another program, the name would be read as another one.
    const Result converted = RunCommand({"xmllint", "--encode", "ISO-8859-1",
                                         "--output", dir / "latin.xml", out});
    ASSERT_EQ(0, converted.status) << converted;
    result = RunInventory({"verify", tree, dir / "latin.xml"});
    EXPECT_EQ(2, result.status) << result;
    EXPECT_EQ("", result.out);
    EXPECT_TRUE(Contains(result.err, "needs a document in UTF-8")) << result;
}

const char* const kRefusedEncodings[] = {
    "UTF-16",          "UTF-16LE",     "UCS-4", "EBCDIC-US",
    "IBM037",          "UTF-7",        "HTML",  "no-such",
    "UTF-8//TRANSLIT", "UTF-8\" x=\"", "",      "\x1B[1m",
};

TEST_F(InventoryTest, RefusesEncodingsThatDoNotExtendAscii) {
    Write("a", "");
    dir.Write("out.xml", "as it was");
    for (const char* const encoding : kRefusedEncodings) {
        SCOPED_TRACE(encoding);
        const Result result =
            RunInventory({"create", tree, out, "--encoding", encoding});
        EXPECT_EQ(2, result.status) << result;
        EXPECT_EQ("", result.out);
        EXPECT_TRUE(Contains(result.err, "inventory: encoding '")) << result;
        EXPECT_EQ("as it was", Content(out));
    }
    ExpectBeside({"out.xml"});
}

// Entries that are hard to read

TEST_F(InventoryTest, ListsLinkLoopsWithoutFollowingThem) {
    MakeDir("d");
    Link("d/up", "..");
    Link("d/self", "self");
    Link("d/a", "b");
    Link("d/b", "a");
    Link("d/root", "/");
    EXPECT_EQ(PathsIn(tree), KeysOf(EntriesOf(Create())));
    EXPECT_EQ("", created.err);
    EXPECT_EQ(0, Verify().status);
}

// FileFind does not open a folder whose first entry is a dangling link, and
// stops at the others.
TEST_F(InventoryTest, LosesNothingToEntriesWithoutAStatus) {
    Write("file", "1234");
    MakeDir("folder");
    Write("folder/inner", "");
    // Which entry is the first is the file system's choice.
    Novu::FileFind find;
    int links = 0;
    while (find.FindFirst(tree, "")) {
        find.FindClose();
        ASSERT_LT(links, 1000);
        Link("dangling" + std::to_string(links++), "nowhere");
    }
    auto entries = EntriesOf(Create());
    EXPECT_EQ(PathsIn(tree), KeysOf(entries));
    EXPECT_EQ("file", entries.at("file").at("type"));
    EXPECT_EQ("4", entries.at("file").at("size"));
    struct stat info;
    ASSERT_EQ(0, ::stat((tree + "file").c_str(), &info));
    EXPECT_EQ(Milliseconds(info.st_mtim), entries.at("file").at("modified"));
    EXPECT_EQ(Milliseconds(info.st_ctim), entries.at("file").at("changed"));
    EXPECT_EQ("folder", entries.at("folder").at("type"));
    EXPECT_EQ(1U, entries.count("folder/inner"));
    EXPECT_EQ(0, Verify().status);

    // The same folder once FileFind opens it: only the links come and go.
    for (int i = 0; !find.FindFirst(tree, ""); ++i) {
        ASSERT_LT(i, links);
        std::filesystem::remove(tree + "dangling" + std::to_string(i));
    }
    find.FindClose();
    const Result result = Verify();
    EXPECT_EQ(1, result.status);
    for (const std::string& line : Lines(result.out)) {
        EXPECT_TRUE(line.rfind("removed  dangling", 0) == 0 ||
                    Contains(line, " the same"))
            << line;
    }
}

TEST_F(NoPermissionTest, IsReportedAndKept) {
    Lock();
    const auto entries = EntriesOf(Create(AsOrdinaryUser()));
    EXPECT_EQ((std::set<std::string>{"closed", "listed", "listed/file",
                                     "listed/link", "open"}),
              KeysOf(entries));
    EXPECT_EQ("folder", entries.at("closed").at("type"));
    EXPECT_EQ("unreadable", entries.at("closed").at("contents"));
    EXPECT_EQ(0U, entries.at("listed").count("contents"));
    for (const char* const path : {"listed/file", "listed/link"}) {
        EXPECT_EQ("unreadable", entries.at(path).at("type"));
        EXPECT_EQ((std::set<std::string>{"id", "path", "type"}),
                  KeysOf(entries.at(path)));
    }
    EXPECT_EQ(
        "inventory: unreadable: closed: Permission denied\n"
        "inventory: unreadable: listed/file: Permission denied\n"
        "inventory: unreadable: listed/link: Permission denied\n",
        created.err);
    EXPECT_TRUE(Contains(created.out, "2  of type unreadable\n"));
    EXPECT_TRUE(Contains(created.out, "1  folders with unreadable contents\n"));

    const Result result = Verify(AsOrdinaryUser());
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("0 added, 0 removed, 0 changed, 5 the same\n", result.out);
    EXPECT_EQ(created.err, result.err);
    EXPECT_EQ(0, RunInventory({"show", out}).status);
}

TEST_F(NoPermissionTest, IsADifferenceOnceItIsGiven) {
    Lock();
    Create(AsOrdinaryUser());
    Unlock();
    const Result result = Verify(AsOrdinaryUser());
    EXPECT_EQ(1, result.status);
    EXPECT_EQ(
        "changed  closed (contents readable)\n"
        "added    closed/deep\n"
        "added    closed/file\n"
        "changed  listed/file (type unreadable -> file)\n"
        "changed  listed/link (type unreadable -> link)\n"
        "2 added, 0 removed, 3 changed, 2 the same\n",
        result.out);
}

TEST_F(NoPermissionTest, DoesNotCallRemovedWhatCannotBeSeen) {
    Write("closed2", "");  // Not in the closed folder.
    Create();
    std::filesystem::remove(tree + "closed2");
    Lock();
    const Result result = Verify(AsOrdinaryUser());
    EXPECT_EQ(1, result.status);
    EXPECT_EQ(
        "changed  closed (contents unreadable)\n"
        "removed  closed2\n"
        "changed  listed/file (type file -> unreadable)\n"
        "changed  listed/link (type link -> unreadable)\n"
        "0 added, 1 removed, 3 changed, 2 the same, 2 not compared\n",
        result.out);
}

// Makes folders in folders, each named `name`, without ever using their path.
void MakeChain(const std::string& folder, const std::string& name, int depth) {
    int here = ::open(folder.c_str(), O_DIRECTORY | O_RDONLY);
    ASSERT_NE(-1, here);
    for (int i = 0; i < depth; ++i) {
        ASSERT_EQ(0, ::mkdirat(here, name.c_str(), 0700));
        const int next = ::openat(here, name.c_str(), O_DIRECTORY | O_RDONLY);
        ASSERT_NE(-1, next);
        ::close(here);
        here = next;
    }
    ::close(here);
}

TEST_F(InventoryTest, WalksDeepTreesWithFewOpenFiles) {
    MakeChain(tree, "d", 500);
    Setting setting;
    setting.openFiles = 16;
    EXPECT_EQ(500U, EntriesOf(Create(setting)).size());
    EXPECT_EQ("", created.err);
    EXPECT_EQ(0, Verify(setting).status);
}

TEST_F(InventoryTest, NamesWhatLiesBeyondTheLongestPath) {
    const std::string name(200, 'n');
    MakeChain(tree, name, 30);
    Write("zebra", "after it");
    const auto entries = EntriesOf(Create());
    // Each level is there until a path is too long to be looked at.
    std::size_t unreadable = 0;
    for (const auto& [path, attributes] : entries) {
        if (attributes.at("type") == "unreadable" ||
            attributes.contains("contents")) {
            ++unreadable;
        }
    }
    EXPECT_EQ(1U, unreadable);
    EXPECT_EQ(1U, entries.count("zebra"));
    EXPECT_EQ(1U, Lines(created.err).size());
    EXPECT_TRUE(Contains(created.err, "File name too long")) << created.err;
    const Result result = Verify();
    EXPECT_EQ(0, result.status) << result;
    // The whole chain, for the folder to be removable by path.
    EXPECT_EQ(0, RunCommand({"rm", "-rf", tree + name}).status);
}

TEST_F(InventoryTest, SurvivesAFolderThatChangesUnderIt) {
    Write("steady", "1");
    MakeDir("restless");
    std::atomic<bool> stop{false};
    std::thread changer([this, &stop] {
        for (int i = 0; !stop; ++i) {
            const std::string base =
                tree + "restless/" + std::to_string(i % 50);
            ::mkdir(base.c_str(), 0700);
            std::ofstream(base + "/file") << "x";
            ::unlink((base + "/file").c_str());
            ::rmdir(base.c_str());
        }
    });
    for (int i = 0; i < 10; ++i) {
        const auto entries = EntriesOf(Create());
        EXPECT_EQ(1U, entries.count("steady"));
        const Result shown = RunInventory({"show", out});
        EXPECT_EQ(0, shown.status) << shown;
        const Result verified = Verify();
        EXPECT_TRUE(verified.status == 0 || verified.status == 1) << verified;
        EXPECT_FALSE(Contains(verified.out, "steady")) << verified;
    }
    stop = true;
    changer.join();
}

}  // namespace

}  // namespace InventoryTests
