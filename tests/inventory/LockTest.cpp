// The inventory program: two that write one document do not meet.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/ptrace.h>
#include <sys/syscall.h>
#endif

#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/inventory/Support.h"

namespace InventoryTests {

namespace {

class LockTest : public DigestTest {
protected:
    LockTest() : file(dir / ".out.xml.lock") {
        dir.Write("out.xml", "as it was");
    }

    Result Again() { return RunInventory({"create", tree, out}); }

    // What a second program says while the process holds the lock.
    std::string HeldBy(pid_t process) {
        return "inventory: " + out +
               ": is being written by another inventory, process " +
               std::to_string(process) + "\n";
    }

    // Runs a first program, which reads an endless file, does `meanwhile`, and
    // then ends the program by the signal.
    Result RunFirst(const std::function<void(pid_t)>& meanwhile, int signal) {
        WriteEndless("1");
        Setting setting;
        setting.meanwhile = [&](pid_t program, int /*error*/) {
            const bool reads =
                WaitUntil([&] { return PositionIn(tree + "1", program) > 0; });
            if (reads) {
                meanwhile(program);
            }
            return reads && ::kill(program, signal) == 0;
        };
        Result result =
            RunInventory({"create", tree, out, "--digest"}, setting);
        std::filesystem::remove(tree + "1");
        return result;
    }

    std::string file;  // Of the lock.
};

TEST_F(LockTest, KeepsASecondProgramAway) {
    Result second;
    Result elsewhere;
    std::string content;
    std::string held;
    const Result first = RunFirst(
        [&](pid_t program) {
            content = Content(file);
            held = HeldBy(program);
            second = Again();
            elsewhere =
                RunInventory({"create", tree + "..", dir / "other.xml"});
        },
        SIGINT);
    EXPECT_EQ("(signal 2)", first.end) << first;
    EXPECT_EQ(0U, content.find("inventory "));
    EXPECT_EQ(2, second.status) << second;
    EXPECT_EQ("", second.out);
    EXPECT_EQ(held, second.err);
    EXPECT_EQ(0, elsewhere.status) << elsewhere;  // Another document.
    EXPECT_EQ("as it was", Content(out));
    ExpectBeside({"out.xml", "other.xml"});
    EXPECT_EQ(0, Again().status);
    ExpectBeside({"out.xml", "other.xml"});
}

TEST_F(LockTest, IsNotHeldWhileTheSummaryWaitsForAReader) {
    const Channel unread = MakeFullPipe();
    Setting setting;
    setting.output = unread.writing.Number();
    setting.meanwhile = [&](pid_t program, int /*error*/) {
        return WaitUntil([&] { return Content(out) != "as it was"; }) &&
               WaitUntil([&] { return Again().status == 0; }) &&
               ::kill(program, SIGKILL) == 0;
    };
    const Result result = RunInventory({"create", tree, out}, setting);
    EXPECT_EQ("(signal 9)", result.end) << result;
    ExpectBeside({"out.xml"});
}

TEST_F(LockTest, DoesNotOutliveAHolderThatIsKilled) {
    const Result first = RunFirst([](pid_t /*program*/) {}, SIGKILL);
    EXPECT_EQ("(signal 9)", first.end) << first;
    ExpectBeside({"out.xml", ".out.xml.lock"});
    EXPECT_EQ("as it was", Content(out));
    const Result second = Again();
    EXPECT_EQ(0, second.status) << second;
    EXPECT_EQ("", second.err);
    EXPECT_EQ(0U, EntriesOf(Content(out)).size());
    ExpectBeside({"out.xml"});
}

// Any of those that start at once can be the one that writes. It waits for a
// reader of its complaints until all have ended, or have come to that too.
TEST_F(LockTest, LetsOneOfManyAtATimeWrite) {
    const int count = 8;
    for (int i = 0; i < 1000; ++i) {
        Write("\n" + std::to_string(i) + std::string(100, 'n'), "");
    }
    for (int round = 0; round < 3; ++round) {
        std::atomic<int> arrived{0};
        std::vector<Result> results(count);
        std::vector<std::thread> threads;
        for (Result& result : results) {
            threads.emplace_back([&] {
                Setting setting;
                setting.meanwhile = [&](pid_t program, int error) {
                    siginfo_t state{};
                    const bool came = WaitUntil([&] {
                        return IsFull(error) ||
                               (::waitid(P_PID, static_cast<id_t>(program),
                                         &state,
                                         WEXITED | WNOHANG | WNOWAIT) == 0 &&
                                state.si_pid != 0);
                    });
                    ++arrived;
                    return came && WaitUntil([&] { return arrived == count; });
                };
                result = RunInventory({"create", tree, out}, setting);
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        int done = 0;
        for (const Result& result : results) {
            if (result.status == 0) {
                ++done;
            } else {
                EXPECT_EQ(2, result.status);
                EXPECT_EQ(0U, result.err.find(
                                  "inventory: " + out +
                                  ": is being written by another inventory"))
                    << result;
            }
        }
        EXPECT_EQ(1, done);
        EXPECT_EQ(1000U, EntriesOf(Content(out)).size());
        ExpectBeside({"out.xml"});
    }
}

TEST_F(LockTest, IsThatOfTheSystemAndNotTheFile) {
    // Left behind, by whomever.
    for (const char* const content :
         {"", "inv", "inventory ", "inventory 1", "inventory 1\n"}) {
        dir.Write(".out.xml.lock", content);
        const Result result = Again();
        EXPECT_EQ(0, result.status) << result;
        ExpectBeside({"out.xml"});
    }
    // Held by a program that is none of this kind.
    const Descriptor held(
        ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(0, ::flock(held.Number(), LOCK_EX | LOCK_NB));
    const Result result = Again();
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("inventory: " + out + ": is being written by another inventory\n",
              result.err);
    ExpectBeside({"out.xml", ".out.xml.lock"});
}

TEST_F(LockTest, IsNamedWhereItCannotBeOpened) {
    dir.Write(".out.xml.lock", "inventory 1\n");
    ASSERT_EQ(0, ::chmod(file.c_str(), 0400));
    const Result result = RunInventory({"create", tree, out}, AsOrdinaryUser());
    EXPECT_EQ(2, result.status) << result;
    EXPECT_EQ("inventory: " + file +
                  ": the lock cannot be opened: Permission denied\n",
              result.err);
    EXPECT_EQ("as it was", Content(out));
}

TEST_F(LockTest, LeavesAloneWhatIsNoLock) {
    const std::string message = "something other than a lock is there";
    for (const char* const content :
         {"precious", "inventory x", "inventory 1\n\n", "inventory 1\nx"}) {
        dir.Write(".out.xml.lock", content);
        const Result result = Again();
        EXPECT_EQ(2, result.status);
        EXPECT_EQ("inventory: " + file + ": " + message + "\n", result.err);
        EXPECT_EQ(content, Content(file));
    }
    std::filesystem::remove(file);
    dir.Write("target", "");
    std::filesystem::create_symlink("target", file);
    EXPECT_EQ(2, Again().status);
    std::filesystem::remove(file);
    ASSERT_EQ(0, ::mkfifo(file.c_str(), 0600));
    EXPECT_TRUE(Contains(Again().err, message));
    EXPECT_EQ("as it was", Content(out));
    EXPECT_EQ("", Content(dir / "target"));
    ExpectBeside({"out.xml", ".out.xml.lock", "target"});
}

TEST_F(LockTest, IsNoEntryOfTheFolderThatItIsIn) {
    Write("a", "");
    out = tree + "b/out.xml";
    MakeDir("b");
    for (const char* const way : {"/b/out.xml", "/./b/../b/out.xml"}) {
        std::filesystem::remove(out);
        const Result result = RunInventory({"create", tree, tree + way});
        EXPECT_EQ(0, result.status) << result;
        EXPECT_EQ((Strings{"a", "b"}), PathsInOrder(Content(out)));
    }
}

TEST_F(LockTest, ServesNamesOfAnyLength) {
    Write("a", "");
    out = dir / std::string(255, 'n');
    EXPECT_EQ(0, Again().status);
    EXPECT_EQ(1U, EntriesOf(Content(out)).size());
    ExpectBeside({"out.xml", std::string(255, 'n')});
}

#ifdef __linux__
// Whether the process went on to the beginning of that call of the system.
bool StepTo(unsigned long long call, pid_t process) {
    while (true) {
        int status = 0;
        if (::ptrace(PTRACE_SYSCALL, process, nullptr, nullptr) != 0 ||
            ::waitpid(process, &status, 0) != process || !WIFSTOPPED(status)) {
            return false;
        }
        __ptrace_syscall_info info{};
        if (::ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof info, &info) >
                0 &&
            info.op == PTRACE_SYSCALL_INFO_ENTRY && info.entry.nr == call) {
            return true;
        }
    }
}

// The program has opened the file of the lock, and before it can lock it, the
// holder before takes the name away, and another one comes.
TEST_F(LockTest, IsNotThatOfAFileWhoseNameIsGone) {
    const std::string key = dir / "key";
    ASSERT_EQ(0, ::mkfifo(key.c_str(), 0600));
    for (const bool another : {false, true}) {
        SCOPED_TRACE(another);
        int held = -1;
        bool traced = false;
        bool refused = false;
        Setting setting;
        setting.meanwhile = [&](pid_t program, int /*error*/) {
            // It waits for its key, before it looks for the lock.
            int writing = -1;
            if (!WaitUntil([&] {
                    writing =
                        ::open(key.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
                    return writing != -1;
                })) {
                return false;
            }
            Descriptor pipe(writing);
            int status = 0;
            if (::ptrace(PTRACE_SEIZE, program, nullptr,
                         PTRACE_O_TRACESYSGOOD) != 0) {
                refused = true;
                return false;
            }
            if (::ptrace(PTRACE_INTERRUPT, program, nullptr, nullptr) != 0 ||
                ::waitpid(program, &status, 0) != program) {
                return false;
            }
            const std::string digits(32, '0');
            if (::write(writing, digits.data(), digits.size()) != 32) {
                return false;
            }
            pipe.Close();
            traced = StepTo(SYS_flock, program);
            if (traced) {
                traced = ::unlink(file.c_str()) == 0;
                if (another) {
                    held = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC,
                                  0600);
                    traced = traced && ::flock(held, LOCK_EX | LOCK_NB) == 0;
                }
            }
            return ::ptrace(PTRACE_DETACH, program, nullptr, nullptr) == 0;
        };
        const Result result =
            RunInventory({"create", tree, out, "--seal", key}, setting);
        const Descriptor owner(held);
        // Containers and hardened systems refuse ptrace, without which the
        // program cannot be halted between its open and its lock.
        if (refused) {
            GTEST_SKIP() << "the system lets nobody trace a program here";
        }
        EXPECT_TRUE(traced);
        if (another) {
            EXPECT_EQ(2, result.status) << result;
            EXPECT_TRUE(Contains(result.err, "is being written by another"));
            ExpectBeside({"key", "out.xml", ".out.xml.lock"});
        } else {
            EXPECT_EQ(0, result.status) << result;
            ExpectBeside({"key", "out.xml"});
        }
    }
}
#endif

}  // namespace

}  // namespace InventoryTests
