// The contract of Bases/Module.h.
//
// kill answers what a test scripts; so does readlink for /proc/self/exe, which
// is how the program's path is known on Linux.

#include "Bases/Module.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/Allocation.h"
#include "tests/support/AsUser.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/TempDir.h"

namespace {

// One function of the system while it is scripted. An `error` of 0 leaves errno
// alone.
struct KillScript {
    int answer = 0;
    int error = 0;
    std::vector<std::pair<pid_t, int>> calls;  // Process and signal.
};

struct LinkScript {
    std::string text;  // The link's.
    int error = 0;     // Not 0: the answer is -1.
    int calls = 0;
};

KillScript* killScript = nullptr;
LinkScript* linkScript = nullptr;

}  // namespace

extern "C" {

int kill(pid_t process, int signal) noexcept {
    static auto* const next = NovuTest::NextSymbol<int(pid_t, int)>("kill");
    if (killScript == nullptr) {
        return next(process, signal);
    }
    killScript->calls.emplace_back(process, signal);
    if (killScript->error != 0) {
        errno = killScript->error;
    }
    return killScript->answer;
}

ssize_t readlink(const char* path, char* out, size_t size) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<ssize_t(const char*, char*, size_t)>("readlink");
    if (linkScript == nullptr || std::strcmp(path, "/proc/self/exe") != 0) {
        return next(path, out, size);
    }
    ++linkScript->calls;
    if (linkScript->error != 0) {
        errno = linkScript->error;
        return -1;
    }
    // Cut without a word, and without a terminator, as the system does.
    return static_cast<ssize_t>(linkScript->text.copy(out, size));
}

}  // extern "C"

namespace {

using Novu::GetModuleDir;
using Novu::GetModulePath;
using Novu::GetProcessDir;
using Novu::GetProcessId;
using Novu::IsExistProcess;
using NovuTest::AsUser;
using NovuTest::Outcome;
using NovuTest::TempDir;

using ToBuffer = bool (*)(char*, unsigned long);
using ToString = void (*)(std::string&);

static_assert(std::is_same_v<decltype(IsExistProcess), bool(unsigned int)>);
static_assert(std::is_same_v<decltype(GetProcessId), unsigned int()>);

const ToBuffer kToBuffer[] = {GetProcessDir, GetModuleDir, GetModulePath};
const ToString kToString[] = {GetModuleDir, GetModulePath};

// Scripts the system for the length of a scope.
template <typename Kind, Kind*& current>
class Scripted {
public:
    explicit Scripted(Kind given = Kind()) : kind(std::move(given)) {
        current = &kind;
    }
    Scripted(const Scripted&) = delete;
    Scripted& operator=(const Scripted&) = delete;
    ~Scripted() { current = nullptr; }

    Kind* operator->() { return &kind; }

private:
    Kind kind;
};
using ScriptedKill = Scripted<KillScript, killScript>;
using ScriptedLink = Scripted<LinkScript, linkScript>;

// The directory of a program that is neither "/" nor ends with one.
std::string OwnDirectory() {
    return std::filesystem::read_symlink("/proc/self/exe")
        .parent_path()
        .string();
}

// What `function` answers in a buffer of `size` bytes of its exact size; no
// text where it fails. What it may not touch must still be junk.
std::optional<std::string> InRoomOf(std::size_t size,
                                    ToBuffer function = GetProcessDir) {
    const auto buffer = std::make_unique<char[]>(size);
    std::fill_n(buffer.get(), size, '\xA5');
    const bool result = function(buffer.get(), size);
    std::optional<std::string> text;
    std::size_t written = 0;
    if (result) {
        text.emplace(buffer.get(), ::strnlen(buffer.get(), size));
        written = text->size() + 1;
        EXPECT_LE(written, size) << "no terminator";
    }
    const auto junk = std::count(buffer.get() + std::min(written, size),
                                 buffer.get() + size, '\xA5');
    EXPECT_EQ(size, static_cast<std::size_t>(junk) + written);
    return text;
}

// A directory of `length` characters.
std::string Directory(std::size_t length) {
    std::string path;
    while (path.size() < length) {
        path += path.size() % 100 == 0 ? '/' : 'd';
    }
    return path;
}

// Processes

TEST(ModuleTest, AProcessExistsUnlessTheSystemKnowsNone) {
    const int before = 4321;
    const struct {
        int line;
        int answer;
        int error;
        bool exists;
    } rows[] = {
        {__LINE__, 0, 0, true},       {__LINE__, -1, ESRCH, false},
        {__LINE__, -1, EPERM, true},  {__LINE__, -1, EINVAL, true},
        {__LINE__, -1, ENOSYS, true}, {__LINE__, -1, 0, true},
        {__LINE__, 0, ESRCH, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        ScriptedKill system({row.answer, row.error, {}});
        errno = before;
        EXPECT_EQ(row.exists, IsExistProcess(1234));
        EXPECT_EQ(row.error != 0 ? row.error : before, errno);
    }
    // An errno from before does not count.
    const ScriptedKill system;
    errno = ESRCH;
    EXPECT_TRUE(IsExistProcess(1234));
    EXPECT_EQ(ESRCH, errno);
}

TEST(ModuleTest, TheIdentifierIsPassedOnWithSignalZero) {
    const std::pair<unsigned int, pid_t> rows[] = {
        {0, 0},
        {1, 1},
        {65536, 65536},
        {0x7FFFFFFF, INT_MAX},
        {0x80000000, INT_MIN},
        {0xFFFFFFFF, -1},
    };
    for (const auto& [process, passed] : rows) {
        ScriptedKill system;
        EXPECT_TRUE(IsExistProcess(process));
        EXPECT_EQ((std::vector{std::pair(passed, 0)}), system->calls);
    }
}

TEST(ModuleTest, AChildExistsUntilItIsWaitedFor) {
    const pid_t child = ::fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        ::_exit(0);
    }
    const auto process = static_cast<unsigned int>(child);
    EXPECT_TRUE(IsExistProcess(process));
    EXPECT_EQ(child, ::waitpid(child, nullptr, 0));
    errno = 0;
    EXPECT_FALSE(IsExistProcess(process));
    EXPECT_EQ(ESRCH, errno);
}

// [module-1]
TEST(ModuleTest, TheseProcessesExist) {
    const auto body = [] {
        EXPECT_TRUE(IsExistProcess(0));  // The group of the caller.
        EXPECT_TRUE(IsExistProcess(1));  // Somebody else's, at times.
        EXPECT_TRUE(IsExistProcess(GetProcessId()));
        EXPECT_TRUE(IsExistProcess(static_cast<unsigned int>(::getppid())));
    };
    body();
    EXPECT_EQ(Outcome::Held, AsUser(body));
}

TEST(ModuleTest, TheIdentifierIsThatOfTheCallingProcess) {
    const auto own = static_cast<unsigned int>(::getpid());
    EXPECT_EQ(own, GetProcessId());
    const auto body = [&] {
        EXPECT_NE(own, GetProcessId());
        EXPECT_EQ(static_cast<unsigned int>(::getpid()), GetProcessId());
    };
    EXPECT_EQ(Outcome::Held, AsUser(body));
}

// The directory of a scripted program

TEST(ModuleTest, TheDirectoryIsThePathUpToItsLastSlash) {
    const struct {
        int line;
        std::string program;
        std::optional<std::string> directory;
    } rows[] = {
        {__LINE__, "/some/where/program", "/some/where"},
        {__LINE__, "/w/p", "/w"},
        {__LINE__, "/some where/pro gram", "/some where"},
        {__LINE__, "/some/where/program (deleted)", "/some/where"},
        {__LINE__, "/\xc3\xa9/\xff", "/\xc3\xa9"},
        // The root is a directory with a slash at its end.
        {__LINE__, "/program", "/"},
        {__LINE__, "/p", "/"},
        // As long as a path can be, or one more.
        {__LINE__, Directory(PATH_MAX - 3) + "/p", Directory(PATH_MAX - 3)},
        {__LINE__, Directory(PATH_MAX - 2) + "/p", Directory(PATH_MAX - 2)},
        {__LINE__, "/" + std::string(PATH_MAX - 2, 'p'), "/"},
        // No path.
        {__LINE__, "program", std::nullopt},
        {__LINE__, std::string(PATH_MAX, 'p'), std::nullopt},
        {__LINE__, "", std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        ScriptedLink system({row.program});
        for (const ToBuffer function : kToBuffer) {
            errno = 4321;
            EXPECT_EQ(row.directory, InRoomOf(PATH_MAX, function));
            EXPECT_EQ(4321, errno);
        }
        EXPECT_EQ(3, system->calls);
    }
}

TEST(ModuleTest, TheRoomMustSufficeForTheTerminator) {
    for (const std::size_t length :
         {std::size_t{1}, std::size_t{11}, std::size_t{PATH_MAX - 2}}) {
        const std::string directory = length == 1 ? "/" : Directory(length);
        const ScriptedLink system(
            {length == 1 ? "/program" : directory + "/p"});
        for (const ToBuffer function : kToBuffer) {
            EXPECT_EQ(directory, InRoomOf(length + 1, function));
            EXPECT_EQ(directory, InRoomOf(length + 2, function));
            EXPECT_EQ(std::nullopt, InRoomOf(length, function));
            EXPECT_EQ(std::nullopt, InRoomOf(1, function));
            EXPECT_EQ(std::nullopt, InRoomOf((length + 1) / 2, function));
        }
    }
}

TEST(ModuleTest, NothingIsWrittenPastTheTerminator) {
    const ScriptedLink system({"/some/where/program"});
    for (const unsigned long size : {0x80000000UL, 0x100000000UL, ULONG_MAX}) {
        char buffer[16];
        std::memset(buffer, 'j', sizeof buffer);
        EXPECT_TRUE(GetProcessDir(buffer, size));
        EXPECT_EQ(std::string("/some/where\0jjjj", 16),
                  std::string(buffer, sizeof buffer));
    }
}

TEST(ModuleTest, NoBufferAndNoRoomAreRefusedWithoutAsking) {
    ScriptedLink system({"/some/where/program"});
    for (const ToBuffer function : kToBuffer) {
        char junk = 'j';
        errno = 4321;
        EXPECT_FALSE(function(nullptr, 64));
        EXPECT_FALSE(function(nullptr, 0));
        EXPECT_FALSE(function(nullptr, ULONG_MAX));
        EXPECT_FALSE(function(&junk, 0));
        EXPECT_EQ('j', junk);
        EXPECT_EQ(4321, errno);
    }
    EXPECT_EQ(0, system->calls);
}

TEST(ModuleTest, AFailureOfTheSystemLeavesTheBufferAlone) {
    const ScriptedLink system({"/some/where/program", EACCES});
    for (const ToBuffer function : kToBuffer) {
        errno = 0;
        EXPECT_EQ(std::nullopt, InRoomOf(64, function));
        EXPECT_EQ(EACCES, errno);
    }
}

TEST(ModuleTest, StringsAreOfUpTo1023Characters) {
    const struct {
        int line;
        std::string program;
        int error;  // The system's.
        std::string text;
    } rows[] = {
        {__LINE__, "/some/where/program", 0, "/some/where"},
        {__LINE__, "/program", 0, "/"},
        {__LINE__, Directory(1022) + "/p", 0, Directory(1022)},
        {__LINE__, Directory(1023) + "/p", 0, Directory(1023)},
        {__LINE__, Directory(1024) + "/p", 0, ""},
        {__LINE__, Directory(PATH_MAX - 2) + "/p", 0, ""},
        {__LINE__, "program", 0, ""},
        {__LINE__, "/some/where/program", ENOENT, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        const ScriptedLink system({row.program, row.error});
        for (const ToString function : kToString) {
            for (const std::size_t junk : {0U, 5U, 5000U}) {
                std::string text(junk, 'j');
                errno = 4321;
                function(text);
                EXPECT_EQ(row.text, text);
                EXPECT_EQ(row.error != 0 ? row.error : 4321, errno);
            }
        }
    }
}

TEST(ModuleTest, AStringWithoutMemoryIsLeftAsItWas) {
    const ScriptedLink system({Directory(1000) + "/p"});
    for (const ToString function : kToString) {
        std::string text = "junk";
        EXPECT_EQ(
            1U, NovuTest::FailEachAllocation([&] { function(text); },
                                             [&] { EXPECT_EQ("junk", text); }));
        EXPECT_EQ(Directory(1000), text);
    }
}

// The directory of this program

// [module-2]
TEST(ModuleTest, EveryNameGivesTheDirectoryOfTheProgram) {
    const std::string directory = OwnDirectory();
    ASSERT_LT(directory.size(), 1024U);
    EXPECT_EQ('/', directory.front());
    for (const ToBuffer function : kToBuffer) {
        EXPECT_EQ(directory, InRoomOf(1024, function));
        EXPECT_EQ(directory, InRoomOf(directory.size() + 1, function));
        EXPECT_EQ(std::nullopt, InRoomOf(directory.size(), function));
    }
    for (const ToString function : kToString) {
        std::string text = "junk";
        function(text);
        EXPECT_EQ(directory, text);
    }
}

// Neither the working directory nor the user of the process matters.
TEST(ModuleTest, TheDirectoryStaysThroughoutTheProcess) {
    const std::string directory = OwnDirectory();
    const auto body = [&] {
        std::filesystem::current_path("/");
        EXPECT_EQ(directory, InRoomOf(PATH_MAX));
    };
    EXPECT_EQ(Outcome::Held, AsUser(body));
}

// The test runs a copy of this program that moves and removes itself.
TEST(ModuleTest, AProgramThatWasMovedOrRemovedKnowsItsDirectory) {
    const char* const variable = "NOVU_MODULE_TEST_COPY";
    if (const char* const copy = std::getenv(variable)) {
        const std::filesystem::path first(copy);
        const std::filesystem::path moved =
            first.parent_path() / "moved" / "program";
        EXPECT_EQ(first.parent_path(), InRoomOf(PATH_MAX));
        std::filesystem::rename(first, moved);
        EXPECT_EQ(moved.parent_path(), InRoomOf(PATH_MAX));
        EXPECT_TRUE(std::filesystem::remove(moved));
        EXPECT_EQ(moved.parent_path(), InRoomOf(PATH_MAX));
        return;
    }
    const TempDir temp;
    temp.MakeDir("moved");
    const std::filesystem::path copy =
        std::filesystem::canonical(temp.Path()) / "program";
    std::filesystem::copy_file("/proc/self/exe", copy);
    std::string command = variable;
    command += "='";
    command += copy.string();
    command += "' '";
    command += copy.string();
    command += "' --gtest_filter=ModuleTest.AProgramThatWasMovedOr* >&2";
    // NOLINTNEXTLINE(cert-env33-c): the command holds nothing from outside.
    EXPECT_EQ(0, std::system(command.c_str()));
    EXPECT_FALSE(std::filesystem::exists(copy));
    EXPECT_TRUE(std::filesystem::is_empty(temp / "moved"));
}

}  // namespace
