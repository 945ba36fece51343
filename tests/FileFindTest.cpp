// The contract of Bases/FileFind.h.
//
// A file system delivers entries in an order of its own, so most tests script
// the directory: a scripted name such as "scripted/" holds the entries that the
// test lists, with the status that it gives them, in its order. Every other
// directory is the system's.

#include "Bases/FileFind.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/Allocation.h"
#include "tests/support/Descriptors.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/TempDir.h"
#include "tests/support/VirtualSlots.h"

namespace {

// One entry of a scripted directory.
struct ScriptedEntry {
    std::string name;
    bool hasStatus = true;
    struct stat info {};
};

struct Directory {
    std::string path;  // As opendir gets it.
    std::vector<ScriptedEntry> entries;

    std::size_t next = 0;
    dirent current{};
    int opened = 0;
    int closed = 0;
    int beyondEnd = 0;                // Reads after the last entry.
    std::vector<std::string> stated;  // As stat gets them.
};

Directory* scripted = nullptr;

bool IsScripted(const DIR* stream) {
    return scripted != nullptr &&
           stream == reinterpret_cast<const DIR*>(scripted);
}

}  // namespace

extern "C" {

DIR* opendir(const char* path) {
    static auto* const next =
        NovuTest::NextSymbol<DIR*(const char*)>("opendir");
    if (scripted == nullptr || scripted->path != path) {
        return next(path);
    }
    ++scripted->opened;
    scripted->next = 0;
    return reinterpret_cast<DIR*>(scripted);
}

dirent* readdir(DIR* stream) {
    static auto* const next = NovuTest::NextSymbol<dirent*(DIR*)>("readdir");
    if (!IsScripted(stream)) {
        return next(stream);
    }
    if (scripted->next == scripted->entries.size()) {
        ++scripted->beyondEnd;
        return nullptr;
    }
    const std::string& name = scripted->entries[scripted->next++].name;
    std::memcpy(scripted->current.d_name, name.c_str(), name.size() + 1);
    return &scripted->current;
}

int closedir(DIR* stream) {
    static auto* const next = NovuTest::NextSymbol<int(DIR*)>("closedir");
    if (!IsScripted(stream)) {
        return next(stream);
    }
    ++scripted->closed;
    return 0;
}

int stat(const char* path, struct stat* out) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(const char*, struct stat*)>("stat");
    if (scripted == nullptr) {
        return next(path, out);
    }
    scripted->stated.emplace_back(path);
    for (const ScriptedEntry& entry : scripted->entries) {
        if (entry.hasStatus && scripted->path + entry.name == path) {
            *out = entry.info;
            return 0;
        }
    }
    errno = ENOENT;
    return -1;
}

}  // extern "C"

namespace {

using Novu::FileFind;
using Novu::GetFileInfo;
using NovuTest::OpenDescriptors;
using NovuTest::TempDir;
using Names = std::vector<std::string>;

// The table pointer, the stream, the record.
static_assert(sizeof(FileFind) == 3 * sizeof(void*));
static_assert(std::has_virtual_destructor_v<FileFind>);

// A scripted directory for the length of a scope.
class Script {
public:
    explicit Script(std::vector<ScriptedEntry> entries,
                    const char* path = "scripted/") {
        directory.path = path;
        directory.entries = std::move(entries);
        scripted = &directory;
    }
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;
    ~Script() { scripted = nullptr; }

    const Directory* operator->() const { return &directory; }
    const std::string& Path() const { return directory.path; }
    const void* Stream() const { return &directory; }

private:
    Directory directory;
};

ScriptedEntry File(const char* name) {
    ScriptedEntry entry{name};
    entry.info.st_mode = S_IFREG | 0644;
    return entry;
}

ScriptedEntry WithoutStatus(const char* name) { return {name, false, {}}; }

// Nothing is open: every query answers its zero.
void ExpectIdle(FileFind& find) {
    EXPECT_EQ(nullptr, find.GetFileName());
    EXPECT_EQ(0, find.GetFileType());
    EXPECT_EQ(0U, find.GetFileSize());
    EXPECT_EQ(0, find.GetFileLastWriteTime());
    EXPECT_EQ(0, find.GetFileLastAccessTime());
    EXPECT_EQ(0, find.GetFileCreationTime());
    EXPECT_EQ(0U, find.GetMaxFileNameSize());
    EXPECT_FALSE(find.FindNext());
}

// The entries from the current one on, as "name" or, where FindNext answered
// false though it had moved on, as "name?".
Names Rest(FileFind& find) {
    Names names;
    if (find.GetFileName() == nullptr) {
        return names;
    }
    names.emplace_back(find.GetFileName());
    for (;;) {
        const std::string before = find.GetFileName();
        if (find.FindNext()) {
            names.emplace_back(find.GetFileName());
        } else if (find.GetFileName() != before) {
            names.push_back(find.GetFileName() + std::string("?"));
        } else {
            return names;
        }
    }
}

// Lifetime

TEST(FileFindTest, ANewOneIsIdle) {
    FileFind find;
    ExpectIdle(find);
    find.FindClose();
    ExpectIdle(find);
}

// The table pointer, then the stream, null when idle, then the record, made by
// the first search and kept.
TEST(FileFindTest, TheFieldsStandInTheirOrder) {
    const Script script({File("a")});
    const auto fields = [](const FileFind& find) {
        std::array<const void*, 3> words{};
        // NOLINTNEXTLINE(bugprone-undefined-memory-manipulation): read only.
        std::memcpy(words.data(), static_cast<const void*>(&find),
                    sizeof words);
        return words;
    };
    FileFind find;
    EXPECT_EQ(nullptr, fields(find)[1]);
    EXPECT_EQ(nullptr, fields(find)[2]);
    EXPECT_TRUE(find.FindFirst(script.Path(), ""));
    EXPECT_EQ(script.Stream(), fields(find)[1]);
    const void* const record = fields(find)[2];
    EXPECT_NE(nullptr, record);
    find.FindClose();
    EXPECT_EQ(nullptr, fields(find)[1]);
    EXPECT_EQ(record, fields(find)[2]);
    EXPECT_TRUE(find.FindFirst(script.Path(), ""));
    EXPECT_EQ(record, fields(find)[2]);

    FileFind dropped(script.Path(), "");
    EXPECT_EQ(script.Stream(), fields(dropped)[1]);
    EXPECT_EQ(nullptr, fields(dropped)[2]);
}

TEST(FileFindTest, TheDestructorIsTheOnlyVirtualOperation) {
    EXPECT_EQ(0, NovuTest::VirtualOperations<FileFind>());
}

TEST(FileFindTest, TheDestructorClosesTheStream) {
    const Script script({File("a")});
    {
        FileFind find;
        EXPECT_TRUE(find.FindFirst(script.Path(), ""));
        EXPECT_EQ(0, script->closed);
    }
    EXPECT_EQ(1, script->opened);
    EXPECT_EQ(1, script->closed);
    {
        FileFind find;
        EXPECT_TRUE(find.FindFirst(script.Path(), ""));
        find.FindClose();
        EXPECT_EQ(2, script->closed);
    }
    EXPECT_EQ(2, script->closed);
}

TEST(FileFindTest, DeletingThroughAPointerReleasesEverything) {
    const TempDir temp;
    temp.Write("a", "");
    const std::vector<int> descriptors = OpenDescriptors();
    const NovuTest::AllocationLedger ledger;
    auto* const find = new FileFind();
    EXPECT_TRUE(find->FindFirst(temp.Path(), ""));
    delete find;
    EXPECT_EQ(0U, ledger.Blocks());
    EXPECT_EQ(descriptors, OpenDescriptors());
}

// [filefind-5]
TEST(FileFindTest, TheConstructorThatSearchesDropsItsRecord) {
    const Script script({File("a"), File("b")});
    FileFind find(script.Path(), "*");
    EXPECT_EQ(1, script->opened);
    EXPECT_EQ(0, script->closed);
    ExpectIdle(find);

    // The stream is open all the same.
    EXPECT_FALSE(find.FindFirst(script.Path(), ""));
    ExpectIdle(find);
    EXPECT_EQ(1, script->opened);

    find.FindClose();
    EXPECT_EQ(1, script->closed);
    EXPECT_TRUE(find.FindFirst(script.Path(), ""));
    EXPECT_STREQ("a", find.GetFileName());
}

TEST(FileFindTest, TheConstructorThatFindsNothingIsIdle) {
    const Script script({});
    FileFind find(script.Path(), "");
    ExpectIdle(find);
    EXPECT_EQ(1, script->closed);
    FileFind missing("no such directory/", "");
    ExpectIdle(missing);
}

// Movement

TEST(FileFindTest, FindFirstPassesOverSelfAndParent) {
    for (const Names& names :
         {Names{".", "..", "a", "b"}, Names{"..", ".", "a", "b"},
          Names{".", "a", "b"}, Names{"a", "b"}}) {
        std::vector<ScriptedEntry> entries;
        for (const std::string& name : names) {
            entries.push_back(File(name.c_str()));
        }
        const Script script(entries);
        FileFind find;
        EXPECT_TRUE(find.FindFirst(script.Path(), ""));
        EXPECT_EQ((Names{"a", "b"}), Rest(find));
        EXPECT_EQ("scripted/a", script->stated.front());
    }
}

// [filefind-2]
TEST(FileFindTest, FindNextDoesNotPassOverThem) {
    const Script script({File("a"), File("."), File("b"), File("..")});
    FileFind find;
    EXPECT_TRUE(find.FindFirst(script.Path(), ""));
    EXPECT_EQ((Names{"a", ".", "b", ".."}), Rest(find));
}

TEST(FileFindTest, OnlyTheExactNamesArePassedOver) {
    const Script script({File("..."), File(".a"), File("..a")});
    FileFind find;
    EXPECT_TRUE(find.FindFirst(script.Path(), ""));
    EXPECT_EQ((Names{"...", ".a", "..a"}), Rest(find));
}

TEST(FileFindTest, NothingButSelfAndParentIsNothing) {
    const Script script({File("."), File("..")});
    FileFind find;
    EXPECT_FALSE(find.FindFirst(script.Path(), ""));
    ExpectIdle(find);
    EXPECT_EQ(1, script->opened);
    EXPECT_EQ(1, script->closed);
    EXPECT_TRUE(script->stated.empty()) << "there was no entry to ask about";
}

TEST(FileFindTest, AnEmptyDirectoryOfTheSystemIsNothing) {
    const TempDir temp;
    FileFind find;
    EXPECT_FALSE(find.FindFirst(temp.Path(), ""));
    ExpectIdle(find);
}

TEST(FileFindTest, AMissingDirectoryIsNothing) {
    const TempDir temp;
    FileFind find;
    errno = 0;
    EXPECT_FALSE(find.FindFirst(temp / "missing/", ""));
    EXPECT_EQ(ENOENT, errno) << "as the system set it";
    ExpectIdle(find);
    EXPECT_FALSE(find.FindFirst("", ""));
    EXPECT_FALSE(find.FindFirst(temp.Write("file", "content"), ""));
    ExpectIdle(find);
}

// [filefind-3]
TEST(FileFindTest, FindFirstFailsAtAFirstEntryWithoutStatus) {
    const Script script({File("."), WithoutStatus("dangling"), File("b")});
    FileFind find;
    errno = 0;
    EXPECT_FALSE(find.FindFirst(script.Path(), ""));
    EXPECT_EQ(ENOENT, errno) << "as the system set it";
    ExpectIdle(find);
    EXPECT_EQ(1, script->closed);
    EXPECT_EQ((Names{"scripted/dangling"}), script->stated);
}

// [filefind-3]
TEST(FileFindTest, FindNextAnswersFalseAtAnEntryWithoutStatusAndGoesOn) {
    const Script script({File("a"), WithoutStatus("dangling"), File("c")});
    FileFind find;
    EXPECT_TRUE(find.FindFirst(script.Path(), ""));
    errno = 0;
    EXPECT_FALSE(find.FindNext());
    EXPECT_EQ(ENOENT, errno) << "as the system set it";
    EXPECT_STREQ("dangling", find.GetFileName());
    EXPECT_EQ(2, find.GetFileType()) << "that of the entry before";
    EXPECT_EQ(0, script->closed);
    EXPECT_TRUE(find.FindNext());
    EXPECT_STREQ("c", find.GetFileName());
    errno = 0;
    EXPECT_FALSE(find.FindNext());
    EXPECT_EQ(0, errno) << "as the system left it";
}

TEST(FileFindTest, TheEndLeavesTheStreamOpenAndTheNameInPlace) {
    const Script script({File("a"), File("b")});
    FileFind find;
    EXPECT_TRUE(find.FindFirst(script.Path(), ""));
    EXPECT_TRUE(find.FindNext());
    EXPECT_FALSE(find.FindNext());
    EXPECT_STREQ("b", find.GetFileName());
    EXPECT_EQ(2, find.GetFileType());
    EXPECT_EQ(0, script->closed);
    EXPECT_FALSE(find.FindNext());
    EXPECT_EQ(2, script->beyondEnd);
    find.FindClose();
    ExpectIdle(find);
    EXPECT_EQ(1, script->closed);
    find.FindClose();
    EXPECT_EQ(1, script->closed);
}

TEST(FileFindTest, ASecondSearchIsRefusedWhileOneIsOpen) {
    const TempDir temp;
    temp.Write("other", "");
    const Script script({File("a"), File("b")});
    FileFind find;
    EXPECT_TRUE(find.FindFirst(script.Path(), ""));
    EXPECT_FALSE(find.FindFirst(temp.Path(), ""));
    EXPECT_FALSE(find.FindFirst("missing/", ""));
    EXPECT_FALSE(find.FindFirst(script.Path(), ""));
    EXPECT_EQ(1, script->opened);
    EXPECT_EQ((Names{"a", "b"}), Rest(find));
}

TEST(FileFindTest, AnObjectServesOneSearchAfterAnother) {
    const Script script({File("a"), File("b")});
    FileFind find;
    for (int round = 1; round <= 3; ++round) {
        EXPECT_TRUE(find.FindFirst(script.Path(), ""));
        EXPECT_EQ((Names{"a", "b"}), Rest(find));
        find.FindClose();
        ExpectIdle(find);
        EXPECT_FALSE(find.FindFirst("missing/", ""));
        ExpectIdle(find);
        EXPECT_EQ(round, script->closed);
    }
}

// [filefind-6]
TEST(FileFindTest, ThePatternIsNotUsed) {
    for (const char* const pattern : {"", "*", "*.txt", "a", "none"}) {
        const Script script({File("a"), File("b.txt")});
        FileFind find;
        EXPECT_TRUE(find.FindFirst(script.Path(), pattern));
        EXPECT_EQ((Names{"a", "b.txt"}), Rest(find)) << pattern;
    }
}

// [filefind-1]
TEST(FileFindTest, DirectoryAndNameAreJoinedWithNothingBetween) {
    const TempDir temp;
    const std::string folder = temp.MakeDir("folder");
    temp.Write("folder/name", "12345");
    FileFind find;
    EXPECT_FALSE(find.FindFirst(folder, ""));
    ExpectIdle(find);
    EXPECT_TRUE(find.FindFirst(folder + "/", ""));
    EXPECT_STREQ("name", find.GetFileName());
    EXPECT_EQ(5U, find.GetFileSize());
    find.FindClose();

    // Without the slash, the file beside the folder answers for the one in it.
    temp.Write("foldername", "123");
    EXPECT_TRUE(find.FindFirst(folder, ""));
    EXPECT_STREQ("name", find.GetFileName());
    EXPECT_EQ(3U, find.GetFileSize());
}

// [filefind-1]
TEST(FileFindTest, FindNextJoinsThemTheSameWay) {
    const Script script({File("a"), File("b")}, "scripted");
    FileFind find;
    EXPECT_TRUE(find.FindFirst(script.Path(), ""));
    EXPECT_TRUE(find.FindNext());
    EXPECT_EQ((Names{"scripteda", "scriptedb"}), script->stated);
}

// The directory's text is kept, not the caller's string.
TEST(FileFindTest, TheDirectoryIsCopied) {
    const Script script({File("a"), File("b")});
    FileFind find;
    {
        std::string path = script.Path();
        EXPECT_TRUE(find.FindFirst(path, ""));
        path.assign(path.size(), '?');
    }
    EXPECT_TRUE(find.FindNext());
    EXPECT_EQ("scripted/b", script->stated.back());
}

// The current entry

const struct TypeCase {
    int line;
    mode_t mode;
    int type;
} kTypeCases[] = {
    {__LINE__, S_IFREG, 2},
    {__LINE__, S_IFDIR, 3},
    {__LINE__, S_IFLNK, 1},
    {__LINE__, S_IFCHR, 1},
    {__LINE__, S_IFBLK, 1},
    {__LINE__, S_IFIFO, 1},
    {__LINE__, S_IFSOCK, 1},
    {__LINE__, S_IFMT, 1},
    {__LINE__, 0, 1},
    // Mode bits do not count.
    {__LINE__, S_IFREG | 07777, 2},
    {__LINE__, S_IFDIR | 07777, 3},
};

TEST(FileFindTest, AnswersTheType) {
    for (const TypeCase& row : kTypeCases) {
        ScriptedEntry entry{"a"};
        entry.info.st_mode = row.mode;
        const Script script({entry});
        FileFind find;
        EXPECT_TRUE(find.FindFirst(script.Path(), ""));
        EXPECT_EQ(row.type, find.GetFileType()) << "row at line " << row.line;
    }
}

TEST(FileFindTest, AnswersTheSize) {
    for (const off_t size :
         {off_t{0}, off_t{100}, off_t{1} << 40, off_t{LLONG_MAX}}) {
        ScriptedEntry entry = File("a");
        entry.info.st_size = size;
        const Script script({entry});
        FileFind find;
        EXPECT_TRUE(find.FindFirst(script.Path(), ""));
        EXPECT_EQ(static_cast<unsigned long long>(size), find.GetFileSize());
    }
}

const struct TimeCase {
    int line;
    timespec write, access, change;
    long long lastWrite, lastAccess, creation;
} kTimeCases[] = {
    // [filefind-7] Last access answers the change, creation the change's
    // seconds with the access's milliseconds.
    {__LINE__, {1, 1000000}, {2, 2000000}, {3, 3000000}, 1001, 3003, 3002},
    {__LINE__, {0, 0}, {0, 0}, {0, 0}, 0, 0, 0},
    // Nanoseconds are cut to whole milliseconds.
    {__LINE__,
     {10, 999999},
     {20, 1999999},
     {30, 999999999},
     10000,
     30999,
     30001},
    // Before 1970.
    {__LINE__, {-1, 500000000}, {-2, 250000000}, {-3, 0}, -500, -3000, -2750},
    // The product wraps as an unsigned one does.
    {__LINE__, {LLONG_MAX, 1000000}, {0, 0}, {LLONG_MIN, 0}, -999, 0, 0},
};

TEST(FileFindTest, AnswersTheTimes) {
    for (const TimeCase& row : kTimeCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        ScriptedEntry entry = File("a");
        entry.info.st_mtim = row.write;
        entry.info.st_atim = row.access;
        entry.info.st_ctim = row.change;
        const Script script({entry});
        FileFind find;
        EXPECT_TRUE(find.FindFirst(script.Path(), ""));
        EXPECT_EQ(row.lastWrite, find.GetFileLastWriteTime());
        EXPECT_EQ(row.lastAccess, find.GetFileLastAccessTime());
        EXPECT_EQ(row.creation, find.GetFileCreationTime());
    }
}

// [filefind-8]
TEST(FileFindTest, NamesAreSaidToHaveUpTo1024Characters) {
    const Script script({File("a")});
    FileFind find;
    EXPECT_EQ(0U, find.GetMaxFileNameSize());
    EXPECT_TRUE(find.FindFirst(script.Path(), ""));
    EXPECT_EQ(1024U, find.GetMaxFileNameSize());
    EXPECT_FALSE(find.FindNext());
    EXPECT_EQ(1024U, find.GetMaxFileNameSize());
    find.FindClose();
    EXPECT_EQ(0U, find.GetMaxFileNameSize());
}

TEST(FileFindTest, FindsFilesAndDirectoriesOfTheSystem) {
    const TempDir temp;
    temp.Write("a.txt", std::string(100, 'x'));
    temp.MakeDir("s");
    FileFind find;
    ASSERT_TRUE(find.FindFirst(temp.Path(), "*"));
    std::map<std::string, std::pair<int, unsigned long long>> found;
    do {
        found[find.GetFileName()] = {find.GetFileType(), find.GetFileSize()};
    } while (find.FindNext());
    // They come where the file system has them.
    found.erase(".");
    found.erase("..");
    ASSERT_EQ(2U, found.size());
    EXPECT_EQ(2, found["a.txt"].first);
    EXPECT_EQ(100U, found["a.txt"].second);
    EXPECT_EQ(3, found["s"].first);
}

TEST(FileFindTest, TimesAreThoseOfTheFile) {
    const TempDir temp;
    const std::string path = temp.Write("a", "");
    const timespec times[2] = {{1000, 111222333}, {2000, 444555666}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, path.c_str(), times, 0));
    struct stat info {};
    ASSERT_EQ(0, ::stat(path.c_str(), &info));
    FileFind find;
    ASSERT_TRUE(find.FindFirst(temp.Path(), ""));
    EXPECT_EQ(2000444, find.GetFileLastWriteTime());
    EXPECT_EQ(info.st_ctim.tv_sec * 1000 + info.st_ctim.tv_nsec / 1000000,
              find.GetFileLastAccessTime());
    EXPECT_EQ(info.st_ctim.tv_sec * 1000 + 111, find.GetFileCreationTime());
}

// [filefind-4]
TEST(FileFindTest, LinksAreFollowed) {
    const TempDir temp;
    const std::string target = temp.MakeDir("target");
    const std::string file = temp.Write("file", "1234567");
    for (const auto& [to, type, size] :
         {std::tuple{target, 3, 0ULL}, std::tuple{file, 2, 7ULL}}) {
        const TempDir links;
        ASSERT_EQ(0, ::symlink(to.c_str(), (links / "link").c_str()));
        FileFind find;
        ASSERT_TRUE(find.FindFirst(links.Path(), ""));
        EXPECT_STREQ("link", find.GetFileName());
        EXPECT_EQ(type, find.GetFileType());
        if (type == 2) {
            EXPECT_EQ(size, find.GetFileSize());
        }
    }
    const TempDir dangling;
    ASSERT_EQ(0, ::symlink("nowhere", (dangling / "link").c_str()));
    FileFind find;
    EXPECT_FALSE(find.FindFirst(dangling.Path(), ""));
    ExpectIdle(find);
}

TEST(FileFindTest, OtherKindsAreOther) {
    const TempDir temp;
    ASSERT_EQ(0, ::mkfifo((temp / "pipe").c_str(), 0600));
    FileFind find;
    ASSERT_TRUE(find.FindFirst(temp.Path(), ""));
    EXPECT_EQ(1, find.GetFileType());
}

TEST(FileFindTest, EveryEntryOfALargeDirectoryIsFoundOnce) {
    const TempDir temp;
    std::set<std::string> made;
    for (int number = 0; number < 1000; ++number) {
        const std::string name =
            "entry " + std::to_string(number) + std::string(200, 'x');
        temp.Write(name, "");
        made.insert(name);
    }
    FileFind find;
    ASSERT_TRUE(find.FindFirst(temp.Path(), ""));
    std::multiset<std::string> found;
    do {
        found.insert(find.GetFileName());
    } while (find.FindNext());
    found.erase(".");
    found.erase("..");
    EXPECT_EQ(made, std::set<std::string>(found.begin(), found.end()));
    EXPECT_EQ(made.size(), found.size());
}

// Status

TEST(FileFindTest, GetFileInfoReadsOneStatus) {
    const TempDir temp;
    temp.Write("a.txt", std::string(100, 'x'));
    struct stat info {};
    EXPECT_TRUE(GetFileInfo(temp.Path(), "a.txt", info));
    EXPECT_EQ(100, info.st_size);
    EXPECT_TRUE(S_ISREG(info.st_mode));
    // Nothing between the two texts; either may be empty.
    EXPECT_TRUE(GetFileInfo(temp / "a.t", "xt", info));
    EXPECT_TRUE(GetFileInfo(temp / "a.txt", "", info));
    EXPECT_TRUE(GetFileInfo("", (temp / "a.txt").c_str(), info));
    errno = 0;
    EXPECT_FALSE(GetFileInfo(temp.Path(), "missing", info));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(100, info.st_size) << "as the call before left it";
    EXPECT_FALSE(GetFileInfo("", "", info));
    EXPECT_FALSE(GetFileInfo(temp.Path(), nullptr, info));
}

// Paths of more characters than a string holds without memory of its own.

TEST(FileFindTest, FailingMemoryPassesAndLeavesItIdle) {
    const TempDir temp;
    temp.Write(std::string(100, 'n'), "");
    const std::string path = temp.Path() + std::string(100, '/');
    const std::vector<int> descriptors = OpenDescriptors();
    FileFind find;
    const unsigned long allocations = NovuTest::FailEachAllocation(
        [&] { EXPECT_TRUE(find.FindFirst(path, "")); },
        [&] {
            ExpectIdle(find);
            EXPECT_EQ(descriptors, OpenDescriptors());
        });
    EXPECT_LT(2U, allocations) << "the record, its path, the joined path";
    EXPECT_EQ(std::string(100, 'n'), find.GetFileName());
}

TEST(FileFindTest, FailingMemoryInTheConstructorLeaksNothing) {
    const TempDir temp;
    temp.Write(std::string(100, 'n'), "");
    const std::string path = temp.Path() + std::string(100, '/');
    const std::vector<int> descriptors = OpenDescriptors();
    const NovuTest::AllocationLedger ledger;
    const unsigned long allocations =
        NovuTest::FailEachAllocation([&] { const FileFind find(path, ""); },
                                     [&] { EXPECT_EQ(0U, ledger.Blocks()); });
    EXPECT_LT(2U, allocations);
    EXPECT_EQ(0U, ledger.Blocks());
    EXPECT_EQ(descriptors, OpenDescriptors());
}

}  // namespace
