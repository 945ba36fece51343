// The contract of Bases/FileSys.h.
//
// The library's calls of the system pass through the stand-ins below. While a
// SystemCalls lives, they are recorded as text and answered as its script says.
// Descriptors that a script invents are 41 and above; "p", "from" and "to" are
// paths that are never looked at.

#include "Bases/FileSys.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/AsUser.h"
#include "tests/support/Descriptors.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/Signature.h"
#include "tests/support/SystemCalls.h"
#include "tests/support/TempDir.h"
#include "tests/support/Umask.h"

using NovuTest::Called;
using NovuTest::NextSymbol;
using NovuTest::Reply;

namespace {

// What stat, fstat and statvfs fill in when a script lets them succeed.
struct stat scriptedStatus {};
struct statvfs scriptedVolume {};

std::string Words(std::initializer_list<std::string> words) {
    std::string text;
    for (const std::string& word : words) {
        text.append(text.empty() ? "" : " ").append(word);
    }
    return text;
}

std::string Numbers(std::initializer_list<long long> numbers) {
    std::string text;
    for (const long long number : numbers) {
        text.append(text.empty() ? "" : " ").append(std::to_string(number));
    }
    return text;
}

}  // namespace

extern "C" {

int access(const char* path, int mode) noexcept {
    static auto* const next = NextSymbol<int(const char*, int)>("access");
    return Called(
        "access",
        [&] {
            return Words({path, mode == F_OK ? "F_OK" : std::to_string(mode)});
        },
        [&] { return next(path, mode); });
}

int stat(const char* path, struct stat* out) noexcept {
    static auto* const next =
        NextSymbol<int(const char*, struct stat*)>("stat");
    return Called(
        "stat", [&] { return std::string(path); },
        [&] { return next(path, out); },
        // Filled in all the same when it fails.
        [&](const Reply&) { *out = scriptedStatus; });
}

int fstat(int fd, struct stat* out) noexcept {
    static auto* const next = NextSymbol<int(int, struct stat*)>("fstat");
    return Called(
        "fstat", [&] { return std::to_string(fd); },
        [&] { return next(fd, out); },
        [&](const Reply& reply) {
            if (reply.result == 0) {
                *out = scriptedStatus;
            }
        });
}

int statvfs(const char* path, struct statvfs* out) noexcept {
    static auto* const next =
        NextSymbol<int(const char*, struct statvfs*)>("statvfs");
    return Called(
        "statvfs", [&] { return std::string(path); },
        [&] { return next(path, out); },
        [&](const Reply&) { *out = scriptedVolume; });
}

int mkdir(const char* path, mode_t mode) noexcept {
    static auto* const next = NextSymbol<int(const char*, mode_t)>("mkdir");
    return Called(
        "mkdir",
        [&] {
            return Words({path, NovuTest::OctalText(mode)});
        },
        [&] { return next(path, mode); });
}

int rmdir(const char* path) noexcept {
    static auto* const next = NextSymbol<int(const char*)>("rmdir");
    return Called(
        "rmdir", [&] { return std::string(path); }, [&] { return next(path); });
}

int remove(const char* path) noexcept {
    static auto* const next = NextSymbol<int(const char*)>("remove");
    return Called(
        "remove", [&] { return std::string(path); },
        [&] { return next(path); });
}

int rename(const char* from, const char* to) noexcept {
    static auto* const next =
        NextSymbol<int(const char*, const char*)>("rename");
    return Called(
        "rename",
        [&] {
            return Words({from, to});
        },
        [&] { return next(from, to); });
}

int fchown(int fd, uid_t user, gid_t group) noexcept {
    static auto* const next = NextSymbol<int(int, uid_t, gid_t)>("fchown");
    return Called(
        "fchown",
        [&] {
            return Numbers({fd, user, group});
        },
        [&] { return next(fd, user, group); });
}

}  // extern "C"

namespace {

using NovuTest::AsUser;
using NovuTest::ContentOf;
using NovuTest::Fails;
using NovuTest::Has;
using NovuTest::Log;
using NovuTest::OpenDescriptors;
using NovuTest::Outcome;
using NovuTest::SystemCalls;
using NovuTest::TempDir;
using NovuTest::Umask;

namespace FileSys = Novu::FileSys;
namespace fs = std::filesystem;
using Size = unsigned long long;

static_assert(Has<bool(const char*)>(FileSys::IsExistFile));
static_assert(Has<bool(const std::string&)>(FileSys::IsExistFile));
static_assert(
    std::is_same_v<decltype(FileSys::IsDirectory), bool(const std::string&)>);
static_assert(
    std::is_same_v<decltype(FileSys::CreateDir), bool(const std::string&)>);
static_assert(std::is_same_v<decltype(FileSys::CreateDirLevel),
                             bool(const std::string&, unsigned long, int)>);
static_assert(
    std::is_same_v<decltype(FileSys::DeleteFile), bool(const std::string&)>);
static_assert(
    std::is_same_v<decltype(FileSys::DeleteDir), bool(const std::string&)>);
static_assert(std::is_same_v<decltype(FileSys::MoveFile),
                             bool(const std::string&, const std::string&)>);
static_assert(std::is_same_v<decltype(FileSys::CopyFile),
                             bool(const std::string&, const std::string&)>);
static_assert(std::is_same_v<decltype(FileSys::GetFileSize),
                             bool(const std::string&, Size&)>);
static_assert(std::is_same_v<decltype(FileSys::GetDiskSize),
                             bool(const std::string&, Size&, Size&, Size&)>);
static_assert(std::is_same_v<decltype(FileSys::GetDiskTotalSize),
                             bool(const std::string&, Size&)>);
static_assert(std::is_same_v<decltype(FileSys::GetDiskUsedSize),
                             bool(const std::string&, Size&)>);
static_assert(std::is_same_v<decltype(FileSys::GetDiskFreeSize),
                             bool(const std::string&, Size&)>);
static_assert(Has<const char*(const std::string&)>(FileSys::GetFileExt));
static_assert(Has<const char*(const char*)>(FileSys::GetFileExt));
static_assert(Has<bool(const std::string&, std::string&)>(FileSys::GetFileExt));
static_assert(std::is_same_v<decltype(FileSys::GetRootPath),
                             bool(const std::string&, std::string&)>);

// Bytes that do not repeat with the size of a buffer.
std::string Content(std::size_t size) {
    std::string content(size, '\0');
    unsigned int value = 1;
    for (char& byte : content) {
        value = value * 1664525 + 1013904223;
        byte = static_cast<char>(value >> 24);
    }
    return content;
}

struct stat StatusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(0, ::stat(path.c_str(), &status)) << path;
    return status;
}

mode_t ModeOf(const std::string& path) {
    return StatusOf(path).st_mode & 07777U;
}

// Relative paths start in `path` for the length of a scope.
class WorkIn {
public:
    explicit WorkIn(const std::string& path) : before(fs::current_path()) {
        fs::current_path(path);
    }
    WorkIn(const WorkIn&) = delete;
    WorkIn& operator=(const WorkIn&) = delete;
    ~WorkIn() {
        std::error_code ignored;
        fs::current_path(before, ignored);
    }

private:
    fs::path before;
};

const mode_t kTypes[] = {S_IFREG, S_IFLNK, S_IFIFO, S_IFSOCK,
                         S_IFBLK, S_IFCHR, S_IFDIR};

// A function of one path that is one call of the system, true for its 0.
const struct OneCallCase {
    int line;
    bool (*function)(const std::string&);
    const char* name;
    const char* call;  // Where "p" is the path.
} kOneCallCases[] = {
    {__LINE__, FileSys::IsExistFile, "access", "access p F_OK"},
    {__LINE__,
     [](const std::string& p) { return FileSys::IsExistFile(p.c_str()); },
     "access", "access p F_OK"},
    {__LINE__, FileSys::IsDirectory, "stat", "stat p"},
    {__LINE__, FileSys::CreateDir, "mkdir", "mkdir p 0755"},
    {__LINE__, FileSys::DeleteDir, "rmdir", "rmdir p"},
    {__LINE__, FileSys::DeleteFile, "remove", "remove p"},
    {__LINE__, [](const std::string& p) { return FileSys::MoveFile(p, "q"); },
     "rename", "rename p q"},
};

TEST(FileSysTest, MostFunctionsAreOneCallEach) {
    scriptedStatus = {};
    scriptedStatus.st_mode = S_IFDIR | 0755;
    for (const OneCallCase& row : kOneCallCases) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        for (const Reply reply : {Reply{0}, Fails(EACCES), Fails(ENOENT),
                                  Fails(EINTR), Fails(EXDEV)}) {
            SystemCalls calls;
            calls.Script(row.name, {reply});
            errno = 0;
            EXPECT_EQ(reply.result == 0, row.function("p"));
            EXPECT_EQ(reply.error, errno);
            EXPECT_EQ(Log{row.call}, calls.Take());
        }
    }
}

// Tests

TEST(FileSysTest, NullIsNoFileAndNoCall) {
    SystemCalls calls;
    const char* const null = nullptr;
    errno = 0;
    EXPECT_FALSE(FileSys::IsExistFile(null));
    EXPECT_EQ(0, errno);
    EXPECT_EQ(Log{}, calls.Take());
}

TEST(FileSysTest, FilesOfEveryKindExist) {
    const TempDir temp;
    const std::string file = temp.Write("file", "");
    const std::string directory = temp.MakeDir("directory");
    const std::string pipe = temp / "pipe";
    const std::string link = temp / "link";
    const std::string dangling = temp / "dangling";
    ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600));
    fs::create_symlink(directory, link);
    fs::create_symlink("nowhere", dangling);
    const struct {
        int line;
        std::string path;
        bool exists;
        bool isDirectory;
    } cases[] = {
        {__LINE__, file, true, false},
        {__LINE__, directory, true, true},
        {__LINE__, directory + "/", true, true},
        {__LINE__, pipe, true, false},
        {__LINE__, link, true, true},
        {__LINE__, dangling, false, false},
        {__LINE__, temp / "missing", false, false},
        {__LINE__, file + "/", false, false},
        {__LINE__, "", false, false},
        {__LINE__, "/", true, true},
        {__LINE__, "/dev/null", true, false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        EXPECT_EQ(row.exists, FileSys::IsExistFile(row.path));
        EXPECT_EQ(row.exists, FileSys::IsExistFile(row.path.c_str()));
        EXPECT_EQ(row.isDirectory, FileSys::IsDirectory(row.path));
    }
}

TEST(FileSysTest, OnlyADirectorysTypeIsOne) {
    for (const mode_t type : kTypes) {
        for (const mode_t mode : {0U, 07777U}) {
            SystemCalls calls;
            calls.Script("stat", {{0}});
            scriptedStatus = {};
            scriptedStatus.st_mode = type | mode;
            EXPECT_EQ(type == S_IFDIR, FileSys::IsDirectory("p")) << type;
        }
    }
}

TEST(FileSysTest, WhatCannotBeReachedDoesNotExist) {
    const TempDir temp;
    ASSERT_TRUE(NovuTest::OpenToAll(temp));
    const std::string closed = temp.MakeDir("closed");
    temp.Write("closed/file", "");
    const std::string own = temp.Write("own", "");
    ASSERT_EQ(0, ::chmod(own.c_str(), 0));
    ASSERT_EQ(0, ::chmod(closed.c_str(), 0));
    EXPECT_EQ(Outcome::Held, AsUser([&] {
                  EXPECT_TRUE(FileSys::IsExistFile(own));
                  EXPECT_TRUE(FileSys::IsDirectory(closed));
                  errno = 0;
                  EXPECT_FALSE(FileSys::IsExistFile(closed + "/file"));
                  EXPECT_EQ(EACCES, errno);
                  EXPECT_FALSE(FileSys::IsDirectory(closed + "/."));
                  EXPECT_FALSE(FileSys::CreateDir(closed + "/new"));
              }));
    ASSERT_EQ(0, ::chmod(closed.c_str(), 0700));
}

// Directories

TEST(FileSysTest, CreateDirMakesOne) {
    const TempDir temp;
    for (const auto& [mask, mode] :
         {std::pair<mode_t, mode_t>{0, 0755}, {0077, 0700}}) {
        const Umask umask(mask);
        const std::string path = temp / "new";
        EXPECT_TRUE(FileSys::CreateDir(path));
        EXPECT_EQ(mode, ModeOf(path));
        errno = 0;
        EXPECT_FALSE(FileSys::CreateDir(path));
        EXPECT_EQ(EEXIST, errno);
        EXPECT_TRUE(FileSys::DeleteDir(path));
        EXPECT_FALSE(fs::exists(path));
    }
    EXPECT_FALSE(FileSys::CreateDir(temp / "missing/new"));
    EXPECT_FALSE(fs::exists(temp / "missing"));
    EXPECT_FALSE(FileSys::CreateDir(""));
}

TEST(FileSysTest, DeleteDirTakesOnlyAnEmptyDirectory) {
    const TempDir temp;
    const std::string directory = temp.MakeDir("directory");
    const std::string file = temp.Write("directory/file", "");
    errno = 0;
    EXPECT_FALSE(FileSys::DeleteDir(directory));
    EXPECT_EQ(ENOTEMPTY, errno);
    EXPECT_FALSE(FileSys::DeleteDir(file));
    EXPECT_EQ(ENOTDIR, errno);
    EXPECT_TRUE(fs::exists(file));
    EXPECT_TRUE(FileSys::DeleteFile(file));
    EXPECT_TRUE(FileSys::DeleteDir(directory));
    EXPECT_FALSE(fs::exists(directory));
    EXPECT_FALSE(FileSys::DeleteDir(directory));
    EXPECT_FALSE(FileSys::DeleteDir(""));
}

// CreateDirLevel, one rule after the other. Answers for the steps come from
// `answer`; the calls it would make are added to `log`.
bool LevelModel(const std::string& path, unsigned long level, int createLast,
                const std::function<Reply(const std::string&)>& answer,
                Log& log) {
    const auto ask = [&](const std::string& call) {
        log.push_back(call);
        return answer(call).result == 0;
    };
    const unsigned long length = path.length();
    if (length == 0) {
        return false;
    }
    unsigned long start = level;
    if (level == 0 || level >= length) {
        start = 0;
        if (path[0] == '/') {
            unsigned long first = 2;
            while (first < length && path[first] != '/') {
                ++first;
            }
            unsigned long second = first + 1;
            while (second < length && path[second] != '/') {
                ++second;
            }
            if (second >= length) {
                return true;
            }
            start = second + 1;
        }
    }
    for (unsigned long at = start; at < length; ++at) {
        if (path[at] != '/' || at == 1) {
            continue;
        }
        const std::string prefix(path, 0, at + 1);
        if (!ask(Words({"access", prefix, "F_OK"})) &&
            !ask(Words({"mkdir", prefix, "0755"}))) {
            return false;
        }
    }
    if (createLast != 0 && !ask(Words({"access", path, "F_OK"})) &&
        !ask(Words({"mkdir", path, "0755"}))) {
        return false;
    }
    return ask(Words({"stat", path})) && S_ISDIR(scriptedStatus.st_mode);
}

// The system as far as CreateDirLevel sees it: a text of the paths that there
// are and, with a "!", of those that may not be made.
class Tree {
public:
    explicit Tree(const std::string& text) : paths(" " + text + " ") {}

    Reply operator()(const std::string& call) {
        const std::size_t from = call.find(' ') + 1;
        const std::string path = call.substr(from, call.find(' ', from) - from);
        const auto holds = [&](const char* mark) {
            std::string word = " ";
            word.append(mark).append(path).append(" ");
            return paths.find(word) != std::string::npos;
        };
        if (call.front() != 'm') {
            return holds("") ? Reply{0} : Fails(ENOENT);
        }
        if (holds("!")) {
            return Fails(EROFS);
        }
        paths += path + " ";
        return {0};
    }

private:
    std::string paths;
};

// The calls of CreateDirLevel: "?ab/" for an access, "+ab/" for a mkdir with
// mode 0755, "=ab/" for a stat.
std::string LevelText(const Log& log) {
    std::string text;
    for (const std::string& call : log) {
        const std::size_t from = call.find(' ') + 1;
        const std::size_t to = std::min(call.find(' ', from), call.size());
        const std::string path = call.substr(from, to - from);
        text += text.empty() ? "" : " ";
        if (call == Words({"access", path, "F_OK"})) {
            text += '?';
        } else if (call == Words({"mkdir", path, "0755"})) {
            text += '+';
        } else {
            text += call == Words({"stat", path}) ? "=" : call;
        }
        text += path;
    }
    return text;
}

const struct LevelCase {
    int line;
    const char* path;
    unsigned long level;
    int createLast;
    const char* tree;
    bool result;
    const char* calls;  // As LevelText gives them.
} kLevelCases[] = {
    {__LINE__, "", 0, 1, "", false, ""},
    {__LINE__, "", 5, 1, "", false, ""},
    // Absolute: the first two components are taken to exist.
    {__LINE__, "/tmp/a/b/c/", 0, 0, "", true,
     "?/tmp/a/b/ +/tmp/a/b/ ?/tmp/a/b/c/ +/tmp/a/b/c/ =/tmp/a/b/c/"},
    {__LINE__, "/tmp/a/b/c/", 0, 1, "/tmp/a/b/", true,
     "?/tmp/a/b/ ?/tmp/a/b/c/ +/tmp/a/b/c/ ?/tmp/a/b/c/ =/tmp/a/b/c/"},
    {__LINE__, "/tmp/a/", 0, 1, "", true, "?/tmp/a/ +/tmp/a/ =/tmp/a/"},
    {__LINE__, "/tmp/a/", 0, 0, "", false, "=/tmp/a/"},
    {__LINE__, "/tmp/a/x", 0, 1, "", true, "?/tmp/a/x +/tmp/a/x =/tmp/a/x"},
    {__LINE__, "/tmp/a/x", 0, -1, "!/tmp/a/x", false, "?/tmp/a/x +/tmp/a/x"},
    // The search for the first of them begins at position 2.
    {__LINE__, "//a/b/c/", 0, 0, "//a/b/c/", true, "?//a/b/c/ =//a/b/c/"},
    {__LINE__, "/a//b", 0, 1, "", true, "?/a//b +/a//b =/a//b"},
    {__LINE__, "/q/x/", 0, 0, "", false, "=/q/x/"},
    {__LINE__, "/q/x/", 0, 1, "", true, "?/q/x/ +/q/x/ =/q/x/"},
    // Fewer components, and nothing is done.
    {__LINE__, "/tmp/x", 0, 1, "", true, ""},
    {__LINE__, "/q/x", 0, 1, "", true, ""},
    {__LINE__, "/tmp/", 0, 1, "", true, ""},
    {__LINE__, "/", 0, 1, "", true, ""},
    {__LINE__, "//", 0, 0, "", true, ""},
    {__LINE__, "///", 0, 0, "", true, ""},
    {__LINE__, "/tmp", 1000, 1, "", true, ""},
    // Relative: from the beginning.
    {__LINE__, "ab/cd", 0, 0, "", false, "?ab/ +ab/ =ab/cd"},
    {__LINE__, "ab/cd", 0, 0, "ab/cd", true, "?ab/ +ab/ =ab/cd"},
    {__LINE__, "ab/cd", 0, 1, "", true, "?ab/ +ab/ ?ab/cd +ab/cd =ab/cd"},
    {__LINE__, "ab/cd", 0, 2, "ab/ !ab/cd", false, "?ab/ ?ab/cd +ab/cd"},
    {__LINE__, "abc", 0, 0, "", false, "=abc"},
    {__LINE__, "abc", 0, 1, "", true, "?abc +abc =abc"},
    // Two characters are passed over, not one and not three.
    {__LINE__, "a/b", 0, 1, "!a/b", false, "?a/b +a/b"},
    {__LINE__, "a/b/c", 0, 0, "", false, "?a/b/ +a/b/ =a/b/c"},
    {__LINE__, "a//", 0, 0, "", true, "?a// +a// =a//"},
    {__LINE__, "//ab/c", 1, 0, "", false, "?//ab/ +//ab/ =//ab/c"},
    // The level: a separator at it is found, one before it is not.
    {__LINE__, "/ab/cd/ef", 1, 0, "/ab/cd/ef", true,
     "?/ab/ +/ab/ ?/ab/cd/ +/ab/cd/ =/ab/cd/ef"},
    {__LINE__, "/ab/cd/ef", 3, 0, "/ab/cd/ef", true,
     "?/ab/ +/ab/ ?/ab/cd/ +/ab/cd/ =/ab/cd/ef"},
    {__LINE__, "/ab/cd/ef", 4, 0, "/ab/cd/ef", true,
     "?/ab/cd/ +/ab/cd/ =/ab/cd/ef"},
    {__LINE__, "/ab/cd/ef", 7, 0, "/ab/cd/ef", true, "=/ab/cd/ef"},
    {__LINE__, "/ab/cd/ef", 8, 0, "/ab/cd/ef", true, "=/ab/cd/ef"},
    {__LINE__, "ab/cd/", 5, 0, "", true, "?ab/cd/ +ab/cd/ =ab/cd/"},
    // At the length and beyond it, the level is as 0.
    {__LINE__, "/ab/cd/ef/", 10, 0, "", true,
     "?/ab/cd/ef/ +/ab/cd/ef/ =/ab/cd/ef/"},
    {__LINE__, "/ab/cd/ef/", ULONG_MAX, 0, "", true,
     "?/ab/cd/ef/ +/ab/cd/ef/ =/ab/cd/ef/"},
    {__LINE__, "ab/", 3, 0, "", true, "?ab/ +ab/ =ab/"},
    {__LINE__, "ab/", 2, 0, "", true, "?ab/ +ab/ =ab/"},
    // A refusal ends it, and what was made before stays.
    {__LINE__, "aa/bb/cc/dd", 0, 1, "!aa/bb/", false,
     "?aa/ +aa/ ?aa/bb/ +aa/bb/"},
    // Names are not looked at.
    {__LINE__, "./../x/", 0, 0, "./../", true,
     "?./../ ?./../x/ +./../x/ =./../x/"},
};

// [filesys-1] [filesys-2]
TEST(FileSysTest, CreateDirLevelAsksForEachLeadingPart) {
    scriptedStatus = {};
    scriptedStatus.st_mode = S_IFDIR;
    for (const LevelCase& row : kLevelCases) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        Log modelled;
        EXPECT_EQ(row.result, LevelModel(row.path, row.level, row.createLast,
                                         Tree(row.tree), modelled));
        EXPECT_EQ(row.calls, LevelText(modelled))
            << "by the model of the next test";

        SystemCalls calls;
        calls.Decide(Tree(row.tree));
        errno = 0;
        EXPECT_EQ(row.result,
                  FileSys::CreateDirLevel(row.path, row.level, row.createLast));
        EXPECT_EQ(row.calls, LevelText(calls.Take()));
        if (std::string(row.tree).find('!') != std::string::npos) {
            EXPECT_EQ(EROFS, errno) << "as the system set it";
        }
    }
}

TEST(FileSysTest, CreateDirLevelAgreesWithItsRulesOnRandomPaths) {
    const std::mt19937::result_type seed = 20240612;
    std::mt19937 random(seed);
    const auto below = [&](std::size_t limit) { return random() % limit; };
    scriptedStatus = {};
    for (int step = 0; step < 100000; ++step) {
        std::string path(below(14), '/');
        for (char& character : path) {
            character = "//ab."[below(5)];
        }
        const unsigned long level =
            below(20) == 0 ? ULONG_MAX - below(3) : below(path.size() + 3);
        const int createLast = static_cast<int>(below(4)) - 1;
        scriptedStatus.st_mode = below(4) == 0 ? S_IFREG : S_IFDIR;
        // Each call by its text and a draw.
        const std::size_t draw = random();
        const unsigned int refusals = below(2) == 0 ? 1 : 8;
        const auto answer = [=](const std::string& call) {
            const std::size_t value =
                (std::hash<std::string>()(call) ^ draw) * 2654435761U >> 7U;
            const std::size_t limit = call.front() == 'a' ? 8 : refusals;
            return value % 16 < limit ? Fails(EACCES) : Reply{0};
        };

        Log expected;
        const bool result =
            LevelModel(path, level, createLast, answer, expected);
        SystemCalls calls;
        calls.Decide(answer);
        const bool got = FileSys::CreateDirLevel(path, level, createLast);
        const Log log = calls.Take();
        if (got != result || log != expected) {
            EXPECT_EQ(result, got);
            EXPECT_EQ(expected, log);
            FAIL() << "step " << step << ": \"" << path << "\", " << level
                   << ", " << createLast;
        }
    }
}

TEST(FileSysTest, CreateDirLevelIsTrueOnlyForADirectory) {
    for (const mode_t type : kTypes) {
        SystemCalls calls;
        calls.Always("access", {0});
        calls.Always("stat", {0});
        scriptedStatus = {};
        scriptedStatus.st_mode = type;
        for (const int createLast : {0, 1}) {
            EXPECT_EQ(type == S_IFDIR,
                      FileSys::CreateDirLevel("ab/cd", 0, createLast));
        }
    }
}

// [filesys-2]
TEST(FileSysTest, CreateDirLevelMakesRealRelativeDirectories) {
    const TempDir temp;
    const WorkIn there(temp.Path());
    const Umask umask(0);
    EXPECT_FALSE(FileSys::CreateDirLevel("ab/cd", 0, 0));
    EXPECT_TRUE(fs::is_directory(temp / "ab"));
    EXPECT_FALSE(fs::exists(temp / "ab/cd"));
    EXPECT_TRUE(FileSys::CreateDirLevel("ab/cd", 0, 1));
    EXPECT_TRUE(FileSys::CreateDirLevel("ab/cd", 0, 0)) << "it exists now";
    EXPECT_TRUE(FileSys::CreateDirLevel("ef/gh/ij/", 0, 0));
    for (const char* const made : {"ab", "ab/cd", "ef", "ef/gh", "ef/gh/ij"}) {
        EXPECT_EQ(0755U, ModeOf(temp / made)) << made;
    }

    EXPECT_FALSE(FileSys::CreateDirLevel("a/b", 0, 1));
    EXPECT_FALSE(fs::exists(temp / "a"));
    temp.MakeDir("a");
    EXPECT_TRUE(FileSys::CreateDirLevel("a/b", 0, 1));

    // A file in the way.
    temp.Write("file", "content");
    EXPECT_FALSE(FileSys::CreateDirLevel("ab/x/../../file/y/z/", 0, 0));
    EXPECT_TRUE(fs::is_directory(temp / "ab/x")) << "made before, and left";
    EXPECT_FALSE(FileSys::CreateDirLevel("file", 0, 1));
    EXPECT_EQ("content", ContentOf(temp / "file"));
}

// [filesys-1]
TEST(FileSysTest, CreateDirLevelMakesRealAbsoluteDirectories) {
    const TempDir temp;
    EXPECT_TRUE(
        FileSys::CreateDirLevel(temp / "ab/cd/", temp.Path().size(), 0));
    EXPECT_TRUE(fs::is_directory(temp / "ab/cd"));
    // The directories above exist, wherever the search begins.
    EXPECT_TRUE(FileSys::CreateDirLevel(temp / "ef/gh", 1, 1));
    EXPECT_TRUE(fs::is_directory(temp / "ef/gh"));
    // Below two components at least, wherever temporary directories are.
    const std::string deep = temp.MakeDir("deep");
    EXPECT_TRUE(FileSys::CreateDirLevel(deep + "/ij/kl/", 0, 0));
    EXPECT_TRUE(fs::is_directory(deep + "/ij/kl"));
}

// Files

TEST(FileSysTest, DeleteFileOfAnEmptyPathIsNoCall) {
    SystemCalls calls;
    errno = 0;
    EXPECT_FALSE(FileSys::DeleteFile(""));
    EXPECT_EQ(0, errno);
    EXPECT_EQ(Log{}, calls.Take());
}

// [filesys-10]
TEST(FileSysTest, DeleteFileTakesAFileALinkOrAnEmptyDirectory) {
    const TempDir temp;
    const std::string file = temp.Write("file", "");
    const std::string link = temp / "link";
    fs::create_symlink("file", link);
    EXPECT_TRUE(FileSys::DeleteFile(link));
    EXPECT_FALSE(fs::is_symlink(link));
    EXPECT_TRUE(FileSys::DeleteFile(file));
    EXPECT_FALSE(fs::exists(file));
    errno = 0;
    EXPECT_FALSE(FileSys::DeleteFile(file));
    EXPECT_EQ(ENOENT, errno);
    const std::string full = temp.MakeDir("full");
    temp.MakeDir("full/empty");
    EXPECT_FALSE(FileSys::DeleteFile(full));
    EXPECT_TRUE(FileSys::DeleteFile(full + "/empty"));
    EXPECT_TRUE(FileSys::DeleteFile(full));
    EXPECT_FALSE(fs::exists(full));
}

// [filesys-9]
TEST(FileSysTest, MoveFileRenamesAndReplaces) {
    const TempDir temp;
    const std::string from = temp.Write("from", "new");
    const std::string to = temp.Write("to", "old");
    EXPECT_TRUE(FileSys::MoveFile(from, to));
    EXPECT_FALSE(fs::exists(from));
    EXPECT_EQ("new", ContentOf(to));
    errno = 0;
    EXPECT_FALSE(FileSys::MoveFile(from, to));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ("new", ContentOf(to));
    EXPECT_FALSE(FileSys::MoveFile(to, temp / "missing/to"));
    EXPECT_EQ("new", ContentOf(to));
    const std::string directory = temp.MakeDir("directory");
    EXPECT_TRUE(FileSys::MoveFile(directory, temp / "moved"));
    EXPECT_TRUE(fs::is_directory(temp / "moved"));
    EXPECT_FALSE(FileSys::MoveFile(to, temp / "moved"));
    EXPECT_FALSE(FileSys::MoveFile("", to));
}

// Replies with the results of a transcript, "call = result; call = result;",
// as long as the calls are those; any other call fails.
class Transcript {
public:
    explicit Transcript(std::string text) : rest(std::move(text)) {}

    Reply operator()(const std::string& call) {
        const std::string expected = call + " = ";
        if (rest.rfind(expected, 0) != 0) {
            return Fails(EIO);
        }
        const std::size_t end = rest.find("; ");
        const long long result =
            std::stoll(rest.substr(expected.size(), end - expected.size()));
        rest.erase(0, end + 2);
        return {result, result < 0 ? EINTR : 0};
    }

    // The calls of a transcript.
    Log Calls() const {
        Log calls;
        for (std::size_t at = 0; at < rest.size();
             at = rest.find("; ", at) + 2) {
            calls.push_back(rest.substr(at, rest.find(" = ", at) - at));
        }
        return calls;
    }

private:
    std::string rest;
};

// Both files are closed in the end, in any order.
// [filesys-3]
TEST(FileSysTest, CopyFileMakesTheseCalls) {
    const std::string source = "access to F_OK = -1; open from O_RDONLY = 41; ";
    const std::string both = source +
                             "fstat 41 = 0; "
                             "open to O_WRONLY|O_CREAT 4751 = 42; ";
    const std::string owner = "fchown 42 1234 5678 = 0; ";
    const std::string close = "close 41 = 0; close 42 = 0; ";
    const struct {
        int line;
        bool result;
        std::string transcript;
    } cases[] = {
        {__LINE__, false, "access to F_OK = 0; "},
        {__LINE__, false, "access to F_OK = -1; open from O_RDONLY = -1; "},
        {__LINE__, false,
         source + "fstat 41 = 0; open to O_WRONLY|O_CREAT 4751 = -1; "
                  "close 41 = 0; "},
        // 2500 bytes.
        {__LINE__, true,
         both +
             "read 41 1024 = 1024; write 42 1024 = 1024; "
             "read 41 1024 = 1024; write 42 1024 = 1024; "
             "read 41 1024 = 452; write 42 452 = 452; "
             "read 41 1024 = 0; " +
             owner + close},
        // Nothing; what fails in the end is not noticed.
        {__LINE__, true,
         both + "read 41 1024 = 0; fchown 42 1234 5678 = -1; " +
             "close 41 = -1; close 42 = -1; "},
        // 0 is a descriptor.
        {__LINE__, true,
         "access to F_OK = -1; open from O_RDONLY = 0; fstat 0 = 0; "
         "open to O_WRONLY|O_CREAT 4751 = 1; read 0 1024 = 0; "
         "fchown 1 1234 5678 = 0; close 0 = 0; close 1 = 0; "},
        {__LINE__, true,
         "access to F_OK = -1; open from O_RDONLY = 1; fstat 1 = 0; "
         "open to O_WRONLY|O_CREAT 4751 = 0; read 1 1024 = 0; "
         "fchown 0 1234 5678 = 0; close 0 = 0; close 1 = 0; "},
        {__LINE__, false,
         "access to F_OK = -1; open from O_RDONLY = 0; fstat 0 = 0; "
         "open to O_WRONLY|O_CREAT 4751 = -1; close 0 = 0; "},
        // Without a status there is no mode, and the owner is root.
        {__LINE__, true,
         source +
             "fstat 41 = -1; open to O_WRONLY|O_CREAT 0000 = 42; "
             "read 41 1024 = 3; write 42 3 = 3; read 41 1024 = 0; "
             "fchown 42 0 0 = 0; " +
             close},
        // Short reads are written; short and failed writes are not noticed.
        {__LINE__, true,
         both +
             "read 41 1024 = 1024; write 42 1024 = 10; "
             "read 41 1024 = 1; write 42 1 = -1; "
             "read 41 1024 = 1023; write 42 1023 = 0; "
             "read 41 1024 = 0; " +
             owner + close},
        // A failed read is the end.
        {__LINE__, true, both + "read 41 1024 = -1; " + owner + close},
        {__LINE__, true,
         both +
             "read 41 1024 = 1024; write 42 1024 = 1024; "
             "read 41 1024 = -1; " +
             owner + close},
    };
    scriptedStatus = {};
    scriptedStatus.st_mode = S_IFREG | 04751;
    scriptedStatus.st_uid = 1234;
    scriptedStatus.st_gid = 5678;
    for (const auto& row : cases) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        SystemCalls calls;
        calls.Decide(Transcript(row.transcript));
        EXPECT_EQ(row.result, FileSys::CopyFile("from", "to"));
        Log log = calls.Take();
        std::sort(std::find_if(log.begin(), log.end(),
                               [](const std::string& call) {
                                   return call.rfind("close", 0) == 0;
                               }),
                  log.end());
        EXPECT_EQ(Transcript(row.transcript).Calls(), log);
    }
}

TEST(FileSysTest, CopiesAreIdentical) {
    const TempDir temp;
    const std::vector<int> before = OpenDescriptors();
    for (const std::size_t size :
         {0U, 1U, 1023U, 1024U, 1025U, 2048U, 2500U, 100000U}) {
        const std::string content = Content(size);
        const std::string from = temp.Write("from", content);
        const std::string to = temp / "to";
        EXPECT_TRUE(FileSys::CopyFile(from, to));
        EXPECT_EQ(content, ContentOf(to)) << size;
        EXPECT_EQ(content, ContentOf(from)) << size;
        fs::remove(to);
    }
    EXPECT_EQ(before, OpenDescriptors());
}

TEST(FileSysTest, ACopyHasTheModeLessTheUmask) {
    const TempDir temp;
    const std::string from = temp.Write("from", "content");
    const std::string to = temp / "to";
    for (const mode_t mode : {0777U, 0640U, 0400U, 0444U, 0604U}) {
        for (const mode_t mask : {0U, 022U, 077U}) {
            ASSERT_EQ(0, ::chmod(from.c_str(), mode));
            const Umask umask(mask);
            EXPECT_TRUE(FileSys::CopyFile(from, to));
            EXPECT_EQ(mode & ~mask, ModeOf(to));
            ASSERT_EQ(0, ::chmod(to.c_str(), 0600));
            EXPECT_EQ("content", ContentOf(to));
            fs::remove(to);
        }
    }
}

// The change of owner takes them, be it to the same one.
TEST(FileSysTest, ACopyHasNoSetUserAndSetGroupBits) {
    const TempDir temp;
    const std::string from = temp.Write("from", "content");
    ASSERT_EQ(0, ::chmod(from.c_str(), 06755));
    const Umask umask(0);
    EXPECT_TRUE(FileSys::CopyFile(from, temp / "to"));
    EXPECT_EQ(0755U, ModeOf(temp / "to"));
}

TEST(FileSysTest, ACopyHasTheOwnerWhereThatIsAllowed) {
    const TempDir temp;
    ASSERT_TRUE(NovuTest::OpenToAll(temp));
    const std::string from = temp.Write("from", "content");
    ASSERT_EQ(0, ::chmod(from.c_str(), 0644));
    const bool root = ::geteuid() == 0;
    if (root) {
        ASSERT_EQ(0, ::chown(from.c_str(), 1234, 5678));
    }
    EXPECT_TRUE(FileSys::CopyFile(from, temp / "to"));
    const struct stat source = StatusOf(from);
    const struct stat target = StatusOf(temp / "to");
    EXPECT_EQ(root ? 1234U : ::geteuid(), target.st_uid);
    EXPECT_EQ(source.st_uid, target.st_uid);
    EXPECT_EQ(source.st_gid, target.st_gid);

    EXPECT_EQ(Outcome::Held, AsUser([&] {
                  EXPECT_TRUE(FileSys::CopyFile(from, temp / "own"));
              }));
    EXPECT_EQ(NovuTest::UserOfAsUser(), StatusOf(temp / "own").st_uid);
    EXPECT_EQ("content", ContentOf(temp / "own"));
}

TEST(FileSysTest, CopyFileNeverOverwrites) {
    const TempDir temp;
    const std::string from = temp.Write("from", "new");
    const std::string to = temp.Write("to", "old content");
    EXPECT_FALSE(FileSys::CopyFile(from, to));
    EXPECT_EQ("new", ContentOf(from));
    EXPECT_EQ("old content", ContentOf(to));
    EXPECT_FALSE(FileSys::CopyFile(from, from));
    EXPECT_EQ("new", ContentOf(from));
    EXPECT_FALSE(FileSys::CopyFile(from, temp.MakeDir("directory")));
}

// [filesys-8]
TEST(FileSysTest, CopyFileDoesNotSeeALinkToNothing) {
    const TempDir temp;
    const std::string from = temp.Write("from", "content");
    fs::create_symlink("elsewhere", temp / "to");
    EXPECT_TRUE(FileSys::CopyFile(from, temp / "to"));
    EXPECT_EQ("content", ContentOf(temp / "elsewhere"));
}

// [filesys-8]
TEST(FileSysTest, CopyFileWritesOverWhatAppearsAfterTheTest) {
    const TempDir temp;
    const std::string from = temp.Write("from", "new");
    const std::string to = temp.Write("to", "old content");
    SystemCalls calls;
    calls.Script("access", {Fails(ENOENT)});
    EXPECT_TRUE(FileSys::CopyFile(from, to));
    EXPECT_EQ("new content", ContentOf(to));
}

TEST(FileSysTest, NoFailureOfACopyLosesADescriptor) {
    const TempDir temp;
    const std::string from = temp.Write("from", Content(2500));
    const std::vector<int> before = OpenDescriptors();
    for (const char* const function :
         {"open", "fstat", "read", "write", "fchown"}) {
        for (int n = 1; n <= 5; ++n) {
            SystemCalls calls;
            calls.FailAt(function, n, EIO);
            const bool opened = std::string(function) != "open" || n > 2;
            EXPECT_EQ(opened, FileSys::CopyFile(from, temp / "to"))
                << function << ' ' << n;
            EXPECT_EQ(before, OpenDescriptors()) << function << ' ' << n;
            fs::remove(temp / "to");
        }
    }
}

TEST(FileSysTest, ErrnoIsThatOfTheFailedOpenNotOfTheCloseThatFollows) {
    SystemCalls calls;
    calls.Script("access", {Fails(ENOENT)});
    calls.Script("open", {{41}, Fails(EROFS)});
    calls.Script("fstat", {{0}});
    calls.Script("close", {Fails(EIO)});
    scriptedStatus = {};
    EXPECT_FALSE(FileSys::CopyFile("from", "to"));
    EXPECT_EQ(EROFS, errno);
}

TEST(FileSysTest, CopyFileThatCannotOpenMakesNothing) {
    const TempDir temp;
    ASSERT_TRUE(NovuTest::OpenToAll(temp));
    const std::vector<int> before = OpenDescriptors();
    const std::string from = temp.Write("from", "content");
    const std::string to = temp / "to";
    errno = 0;
    EXPECT_FALSE(FileSys::CopyFile(temp / "missing", to));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_FALSE(FileSys::CopyFile(from, temp / "missing/to"));
    EXPECT_FALSE(FileSys::CopyFile(from, ""));
    EXPECT_FALSE(FileSys::CopyFile("", to));
    EXPECT_FALSE(fs::exists(to));
    EXPECT_EQ(before, OpenDescriptors());

    ASSERT_EQ(0, ::chmod(from.c_str(), 0));
    const std::string closed = temp.MakeDir("closed");
    const std::string readable = temp.Write("readable", "content");
    ASSERT_EQ(0, ::chmod(readable.c_str(), 0444));
    ASSERT_EQ(0, ::chmod(closed.c_str(), 0555));
    EXPECT_EQ(Outcome::Held, AsUser([&] {
                  errno = 0;
                  EXPECT_FALSE(FileSys::CopyFile(from, to));
                  EXPECT_EQ(EACCES, errno);
                  EXPECT_FALSE(fs::exists(to));
                  EXPECT_FALSE(FileSys::CopyFile(readable, closed + "/to"));
                  EXPECT_TRUE(FileSys::CopyFile(readable, to));
                  EXPECT_EQ("content", ContentOf(to)) << "though read-only";
              }));
    EXPECT_FALSE(fs::exists(closed + "/to"));
}

// [filesys-3]
TEST(FileSysTest, ADirectoryIsCopiedAsAnEmptyFile) {
    const TempDir temp;
    const std::string directory = temp.MakeDir("directory");
    temp.Write("directory/file", "content");
    ASSERT_EQ(0, ::chmod(directory.c_str(), 0750));
    const Umask umask(0);
    const std::vector<int> before = OpenDescriptors();
    EXPECT_TRUE(FileSys::CopyFile(directory, temp / "to"));
    EXPECT_TRUE(fs::is_regular_file(temp / "to"));
    EXPECT_EQ("", ContentOf(temp / "to"));
    EXPECT_EQ(0750U, ModeOf(temp / "to"));
    EXPECT_EQ(before, OpenDescriptors());
}

// [filesys-3]
TEST(FileSysTest, APartialCopyStays) {
    const TempDir temp;
    const std::string content = Content(2500);
    const std::string from = temp.Write("from", content);
    // The disk takes nothing from the first write on.
    {
        SystemCalls calls;
        calls.Always("write", Fails(ENOSPC));
        EXPECT_TRUE(FileSys::CopyFile(from, temp / "none"));
    }
    EXPECT_TRUE(fs::is_regular_file(temp / "none"));
    EXPECT_EQ("", ContentOf(temp / "none"));
    // The source ends early: its second read fails.
    {
        SystemCalls calls;
        calls.FailAt("read", 2, EIO);
        EXPECT_TRUE(FileSys::CopyFile(from, temp / "short"));
    }
    EXPECT_EQ(content.substr(0, 1024), ContentOf(temp / "short"));
    // The second block is lost.
    {
        SystemCalls calls;
        calls.FailAt("write", 2, ENOSPC);
        EXPECT_TRUE(FileSys::CopyFile(from, temp / "holed"));
    }
    EXPECT_EQ(content.substr(0, 1024) + content.substr(2048),
              ContentOf(temp / "holed"));
}

// Sizes

// [filesys-4]
TEST(FileSysTest, GetFileSizeEmptiesTheFile) {
    const TempDir temp;
    const std::vector<int> before = OpenDescriptors();
    const std::string path = temp.Write("a", std::string(100, 'x'));
    Size size = 77;
    EXPECT_TRUE(FileSys::GetFileSize(path, size));
    EXPECT_EQ(0U, size);
    EXPECT_TRUE(fs::exists(path));
    EXPECT_EQ("", ContentOf(path));

    const Umask umask(0);
    size = 77;
    EXPECT_TRUE(FileSys::GetFileSize(temp / "missing", size));
    EXPECT_EQ(0U, size);
    EXPECT_EQ("", ContentOf(temp / "missing"));
    EXPECT_EQ(0600U, ModeOf(temp / "missing"));

    size = 77;
    errno = 0;
    EXPECT_FALSE(FileSys::GetFileSize(temp / "no/file", size));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_FALSE(FileSys::GetFileSize(temp.Path(), size));
    EXPECT_FALSE(FileSys::GetFileSize("", size));
    EXPECT_EQ(77U, size);
    EXPECT_EQ(before, OpenDescriptors());
}

TEST(FileSysTest, ASizeThatCannotBeMeasuredIs0) {
    const TempDir temp;
    const std::vector<int> before = OpenDescriptors();
    for (const auto& [function, n] :
         {std::pair("dup", 1), std::pair("lseek", 1), std::pair("lseek", 2)}) {
        SystemCalls calls;
        calls.FailAt(function, n, EIO);
        Size size = 4711;
        EXPECT_TRUE(FileSys::GetFileSize(temp / "file", size));
        EXPECT_EQ(0U, size);
        EXPECT_EQ(before, OpenDescriptors()) << function << ' ' << n;
    }
}

// [filesys-4]
TEST(FileSysTest, GetFileSizeSparesOnlyWhatMayNotBeWrittenTo) {
    const TempDir temp;
    ASSERT_TRUE(NovuTest::OpenToAll(temp));
    const std::string path = temp.Write("a", "content");
    ASSERT_EQ(0, ::chmod(path.c_str(), 0444));
    EXPECT_EQ(Outcome::Held, AsUser([&] {
                  Size size = 77;
                  errno = 0;
                  EXPECT_FALSE(FileSys::GetFileSize(path, size));
                  EXPECT_EQ(EACCES, errno);
                  EXPECT_EQ(77U, size);
              }));
    EXPECT_EQ("content", ContentOf(path));

    const bool allowed = ::access(path.c_str(), W_OK) == 0;  // Of root.
    Size size = 77;
    EXPECT_EQ(allowed, FileSys::GetFileSize(path, size));
    EXPECT_EQ(allowed ? 0U : 77U, size);
    EXPECT_EQ(allowed ? "" : "content", ContentOf(path));
}

TEST(FileSysTest, GetFileSizeOpensForReadingAndAnswersTheEnd) {
    const std::string opened = "open p O_RDONLY|O_CREAT|O_TRUNC 0600";
    const Log measured{"dup 41", "lseek 42 0 SEEK_SET", "lseek 42 0 SEEK_END",
                       "close 42", "close 41"};
    const struct {
        int line;
        std::deque<Reply> opens;
        Reply end;
        bool result;
        Size size;
    } cases[] = {
        {__LINE__, {{41}}, {5000000000}, true, 5000000000},
        {__LINE__, {{41}}, {LLONG_MAX}, true, LLONG_MAX},
        {__LINE__, {{41}}, Fails(EIO), true, 0},
        {__LINE__, {Fails(EACCES), {41}}, {9}, true, 9},
        {__LINE__, {Fails(EACCES), Fails(ENOENT)}, {9}, false, 77},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        SystemCalls calls;
        calls.Script("open", row.opens);
        calls.Script("dup", {{42}});
        calls.Script("lseek", {{0}, row.end});
        calls.Always("close", {0});
        Size size = 77;
        EXPECT_EQ(row.result, FileSys::GetFileSize("p", size));
        EXPECT_EQ(row.size, size);
        Log expected(row.opens.size(), opened);
        if (row.result) {
            expected.insert(expected.end(), measured.begin(), measured.end());
        }
        EXPECT_EQ(expected, calls.Take());
    }
}

const struct DiskCase {
    int line;
    unsigned long block;
    fsblkcnt_t blocks;
    fsblkcnt_t available;
    Size total;
    Size used;
    Size free;
} kDiskCases[] = {
    {__LINE__, 4096, 1000, 300, 4096000, 2867200, 1228800},
    {__LINE__, 512, 0, 0, 0, 0, 0},
    {__LINE__, 1, 7, 7, 7, 0, 7},
    // 32-bit counts whose products are longer.
    {__LINE__, 4096, 0xFFFFFFFF, 0, 17592186040320, 17592186040320, 0},
    {__LINE__, 0x100000, 0x80000000, 1, 0x8000000000000, 0x7FFFFFFF00000,
     0x100000},
    // Longer counts: used keeps 32 bits of the difference.
    {__LINE__, 4096, 0x100000000, 0, 0x100000000000, 0, 0},
    {__LINE__, 4096, 0x300000005, 0x100000002, 0x300000005000, 0x3000,
     0x100000002000},
    {__LINE__, 512, 0x200000000, 1, 0x40000000000, 0x1FFFFFFFE00, 0x200},
    // More available than there is.
    {__LINE__, 16, 1, 2, 16, 0xFFFFFFFF0, 32},
};

// [filesys-5]
TEST(FileSysTest, DiskSizesComeFromTheVolumesCounts) {
    for (const DiskCase& row : kDiskCases) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        scriptedVolume = {};
        scriptedVolume.f_bsize = row.block;
        scriptedVolume.f_frsize = 3;  // Neither of these is used.
        scriptedVolume.f_bfree = 5;
        scriptedVolume.f_blocks = row.blocks;
        scriptedVolume.f_bavail = row.available;
        SystemCalls calls;
        calls.Always("statvfs", {0});
        Size total = 1;
        Size used = 2;
        Size free = 3;
        EXPECT_TRUE(FileSys::GetDiskSize("p", total, used, free));
        EXPECT_EQ(row.total, total);
        EXPECT_EQ(row.used, used);
        EXPECT_EQ(row.free, free);
        EXPECT_EQ(Log{"statvfs p"}, calls.Take());

        total = used = free = 1;
        EXPECT_TRUE(FileSys::GetDiskTotalSize("p", total));
        EXPECT_EQ(Log{"statvfs p"}, calls.Take());
        EXPECT_TRUE(FileSys::GetDiskUsedSize("p", used));
        EXPECT_EQ(Log{"statvfs p"}, calls.Take());
        EXPECT_TRUE(FileSys::GetDiskFreeSize("p", free));
        EXPECT_EQ(Log{"statvfs p"}, calls.Take());
        EXPECT_EQ(row.total, total);
        EXPECT_EQ(row.used, used);
        EXPECT_EQ(row.free, free);
    }
}

TEST(FileSysTest, AFailureLeavesDiskSizesAlone) {
    scriptedVolume = {};
    scriptedVolume.f_bsize = 10;
    scriptedVolume.f_blocks = 10;
    for (const int error : {ENOENT, EINTR}) {
        SystemCalls calls;
        calls.Always("statvfs", Fails(error));
        Size total = 1;
        Size used = 2;
        Size free = 3;
        errno = 0;
        EXPECT_FALSE(FileSys::GetDiskSize("p", total, used, free));
        EXPECT_EQ(error, errno);
        EXPECT_FALSE(FileSys::GetDiskTotalSize("p", total));
        EXPECT_FALSE(FileSys::GetDiskUsedSize("p", used));
        EXPECT_FALSE(FileSys::GetDiskFreeSize("p", free));
        EXPECT_EQ(1U, total);
        EXPECT_EQ(2U, used);
        EXPECT_EQ(3U, free);
        EXPECT_EQ(4U, calls.Take().size());
    }
}

TEST(FileSysTest, ARealVolumeHasASize) {
    const TempDir temp;
    struct statvfs volume {};
    ASSERT_EQ(0, ::statvfs(temp.Path().c_str(), &volume));
    Size total = 0;
    Size used = 0;
    Size free = 0;
    EXPECT_TRUE(FileSys::GetDiskSize(temp.Path(), total, used, free));
    EXPECT_EQ(Size{volume.f_blocks} * volume.f_bsize, total);
    EXPECT_FALSE(FileSys::GetDiskSize(temp / "missing", total, used, free));
    EXPECT_FALSE(FileSys::GetDiskTotalSize("", total));
}

// Names

const struct ExtCase {
    int line;
    const char* path;
    int dot;  // Where the extension begins; -1 for none.
} kExtCases[] = {
    {__LINE__, "archive.tar.gz", 11},
    {__LINE__, "README", -1},
    {__LINE__, "/a.b/c", 2},
    {__LINE__, ".profile", 0},
    {__LINE__, "", -1},
    {__LINE__, ".", 0},
    {__LINE__, "..", 1},
    {__LINE__, "a.", 1},
    {__LINE__, "/", -1},
    {__LINE__, "a.b.", 3},
    {__LINE__, "\xff.\x80", 1},
};

// [filesys-6]
TEST(FileSysTest, TheExtensionBeginsAtTheLastDotAnywhere) {
    for (const ExtCase& row : kExtCases) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        const std::string path = row.path;
        std::string ext = "junk";
        if (row.dot < 0) {
            EXPECT_EQ(nullptr, FileSys::GetFileExt(path));
            EXPECT_EQ(nullptr, FileSys::GetFileExt(row.path));
            EXPECT_FALSE(FileSys::GetFileExt(path, ext));
            EXPECT_EQ("junk", ext);
            continue;
        }
        // In the caller's own text.
        EXPECT_EQ(static_cast<const void*>(path.c_str() + row.dot),
                  FileSys::GetFileExt(path));
        EXPECT_EQ(static_cast<const void*>(row.path + row.dot),
                  FileSys::GetFileExt(row.path));
        EXPECT_TRUE(FileSys::GetFileExt(path, ext));
        EXPECT_EQ(row.path + row.dot, ext);
    }
}

TEST(FileSysTest, TheExtensionMayReplaceItsPath) {
    std::string path = std::string(100, 'x') + ".ext";
    EXPECT_TRUE(FileSys::GetFileExt(path, path));
    EXPECT_EQ(".ext", path);
}

// [filesys-7]
TEST(FileSysTest, GetRootPathDoesNothing) {
    SystemCalls calls;
    for (const char* const path : {"", "/", "/a/b", "a", "C:/"}) {
        std::string root = "junk";
        EXPECT_FALSE(FileSys::GetRootPath(path, root));
        EXPECT_EQ("junk", root);
    }
    EXPECT_EQ(Log{}, calls.Take());
}

}  // namespace
