// The inventory program: SIGINT, SIGTERM and SIGHUP.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <set>
#include <string>
#include <thread>

#include "tests/inventory/Support.h"

namespace InventoryTests {

namespace {

TEST_F(InterruptionTest, LeavesAFileInTheMiddle) {
    Write("0", "first");
    WriteEndless("1");
    const std::string in = dir.Write(
        "in.xml", DocumentOf(WithDigest(FileElement(1, "1", "1099511627776"),
                                        std::string(32, '0'))));
    // With many that wait, and with none.
    for (const int more : {0, 2000}) {
        for (int i = 0; i < more; ++i) {
            Write("2 " + std::to_string(i), "");
        }
        for (const Strings& arguments :
             {Strings{"create", tree, out, "--digest"},
              Strings{"verify", tree, in, "--digest"}}) {
            for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
                SCOPED_TRACE(arguments.front() + " " + std::to_string(signal));
                Setting setting;
                setting.onTerminal = true;
                setting.meanwhile = [&](pid_t program, int /*error*/) {
                    if (!WaitUntil([&] {
                            return PositionIn(tree + "1", program) > 0;
                        })) {
                        return false;
                    }
                    // For those that wait to come.
                    std::this_thread::sleep_for(
                        std::chrono::milliseconds(more != 0 ? 200 : 0));
                    return ::kill(program, signal) == 0;
                };
                const Result result = RunInventory(arguments, setting);
                ExpectInterrupted(result, signal);
                EXPECT_TRUE(Contains(result.err, "1 entries  ")) << result;
                EXPECT_EQ((Strings{"inventory: interrupted", ""}),
                          Screen(result.err));
            }
        }
    }
    ExpectBeside({"out.xml", "in.xml"});
}

// Complaints that nobody reads hold the walk where it is.
class HeldWalkTest : public InterruptionTest {
protected:
    HeldWalkTest() {
        MakeDir("listed");
        for (int i = 0; i < 1000; ++i) {
            Write("listed/" + std::to_string(i) + std::string(100, 'n'), "");
        }
        ::chmod((tree + "listed").c_str(), 0400);
        dir.Write("in.xml", DocumentOf(""));
        setting.dropPrivileges = true;
        setting.meanwhile = [](pid_t program, int error) {
            return WaitUntil([&] { return IsFull(error); }) &&
                   ::kill(program, SIGINT) == 0;
        };
    }
    ~HeldWalkTest() override { ::chmod((tree + "listed").c_str(), 0700); }

    Setting setting;
};

TEST_F(HeldWalkTest, StopsWhenItIsInterrupted) {
    for (const Strings& arguments :
         {Strings{"create", tree, out},
          Strings{"create", tree, out, "--digest"},
          Strings{"verify", tree, dir / "in.xml"},
          Strings{"verify", tree, dir / "in.xml", "--digest"}}) {
        SCOPED_TRACE(arguments.front());
        const Result result = RunInventory(arguments, setting);
        ExpectInterrupted(result, SIGINT);
        EXPECT_LT(Lines(result.err).size(), 1000U);
    }
    ExpectBeside({"out.xml", "in.xml"});
}

TEST_F(HeldWalkTest, DoesNotWaitForAReaderOfItsOutput) {
    ::chmod((tree + "listed").c_str(), 0700);
    const Channel unread = MakePipe();
    setting.output = unread.writing.Number();
    setting.meanwhile = [&](pid_t program, int /*error*/) {
        return WaitUntil([&] { return IsFull(unread.reading.Number()); }) &&
               ::kill(program, SIGINT) == 0;
    };
    const Result result =
        RunInventory({"verify", tree, dir / "in.xml"}, setting);
    EXPECT_EQ("(signal 2)", result.end) << result;
}

TEST_F(HeldWalkTest, GoesOnWhereInterruptsAreIgnored) {
    setting.ignoresInterrupts = true;
    setting.meanwhile = [](pid_t program, int error) {
        return WaitUntil([&] { return IsFull(error); }) &&
               ::kill(program, SIGINT) == 0 && ::kill(program, SIGHUP) == 0;
    };
    const Result result =
        RunInventory({"create", tree, out, "--digest"}, setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ(1000U, Lines(result.err).size());
    EXPECT_EQ(1001U, EntriesOf(Content(out)).size());
}

// The document is there, and its summary waits for a reader.
TEST_F(InterruptionTest, EndsAWaitForAReader) {
    const Channel unread = MakeFullPipe();
    Setting setting;
    setting.output = unread.writing.Number();
    setting.meanwhile = [&](pid_t program, int /*error*/) {
        // More than once: the first can come before the wait.
        siginfo_t state{};
        return WaitUntil([&] { return Content(out) != "as it was"; }) &&
               WaitUntil([&] {
                   return ::kill(program, SIGINT) == 0 &&
                          ::waitid(P_PID, static_cast<id_t>(program), &state,
                                   WEXITED | WNOHANG | WNOWAIT) == 0 &&
                          state.si_pid != 0;
               });
    };
    const Result result = RunInventory({"create", tree, out}, setting);
    EXPECT_EQ("(signal 2)", result.end) << result;
    EXPECT_EQ("inventory: interrupted\n", result.err);
    EXPECT_EQ(0U, EntriesOf(Content(out)).size());
    ExpectBeside({"out.xml"});
}

TEST_F(InterruptionTest, LeavesNoDocumentBehindThatIsHalfWritten) {
    // For the writing to take its time.
    for (int i = 0; i < 3000; ++i) {
        Write(std::to_string(i) + std::string(200, 'n'), "");
    }
    bool isThere = false;
    for (int i = 0; i < 50 && !isThere; ++i) {
        dir.Write("out.xml", "as it was");
        const auto look = [&] {
            const std::filesystem::directory_iterator entries(dir.Path());
            return std::any_of(
                begin(entries), end(entries), [](const auto& entry) {
                    return Contains(entry.path().native(), "/.inventory-");
                });
        };
        Setting setting;
        setting.meanwhile = [&](pid_t program, int /*error*/) {
            siginfo_t state{};
            while (!look() && state.si_pid == 0) {
                ::waitid(P_PID, static_cast<id_t>(program), &state,
                         WEXITED | WNOHANG | WNOWAIT);
            }
            isThere = state.si_pid == 0 && Halt(program) && look();
            return InterruptAndGoOn(program) || !isThere;
        };
        const Result result = RunInventory({"create", tree, out}, setting);
        if (isThere) {
            ExpectInterrupted(result, SIGINT);
        }
        ExpectBeside({"out.xml"});
    }
    EXPECT_TRUE(isThere);
}

// At any moment: all is as it was, or all is done.
TEST_F(InterruptionTest, HappensAtAnyMoment) {
    for (int i = 0; i < 300; ++i) {
        Write(std::to_string(i), Noise(static_cast<std::size_t>(i) * 100));
    }
    int interrupted = 0;
    for (int i = 0; i < 60; ++i) {
        dir.Write("out.xml", "as it was");
        Setting setting;
        setting.meanwhile = [i](pid_t program, int /*error*/) {
            std::this_thread::sleep_for(std::chrono::milliseconds(i));
            return ::kill(program, SIGINT) == 0;
        };
        Strings arguments = {"create", tree, out};
        if (i % 3 != 0) {
            arguments.emplace_back("--digest");
        }
        const Result result = RunInventory(arguments, setting);
        if (result.status == 0) {
            EXPECT_EQ(300U, EntriesOf(Content(out)).size());
        } else {
            EXPECT_EQ("(signal 2)", result.end) << result;
            // A signal before the first look ends the program at once.
            EXPECT_TRUE(result.err.empty() ||
                        result.err == "inventory: interrupted\n")
                << result;
            EXPECT_EQ("as it was", Content(out));
            ++interrupted;
        }
        ExpectBeside({"out.xml"});
    }
    EXPECT_GT(interrupted, 0);
}

TEST_F(InterruptionTest, RemovesTheCopyThatIsBeingMade) {
    Write("0", "first");
    Write("1", "");
    const off_t size = 50000000;
    std::filesystem::resize_file(tree + "1", size);
    Write("2", "last");
    Create();
    const std::string copies = dir / "copies/";
    bool isHalf = false;
    for (int i = 0; i < 50 && !isHalf; ++i) {
        std::filesystem::remove_all(copies);
        const auto copied = [&] {
            struct stat info;
            return ::stat((copies + "1").c_str(), &info) == 0 ? info.st_size
                                                              : 0;
        };
        Setting setting;
        setting.meanwhile = [&](pid_t program, int /*error*/) {
            if (!WaitUntil([&] { return copied() > 0; })) {
                return false;
            }
            isHalf = Halt(program) && copied() > 0 && copied() < size;
            return InterruptAndGoOn(program) || !isHalf;
        };
        const Result result =
            RunInventory({"copy", out, tree, copies}, setting);
        if (isHalf) {
            EXPECT_EQ("(signal 2)", result.end) << result;
            EXPECT_EQ("", result.out);
            EXPECT_EQ("inventory: interrupted\n", result.err);
            EXPECT_EQ((std::set<std::string>{"0"}), PathsIn(copies));
            EXPECT_EQ("first", Content(copies + "0"));
        }
    }
    EXPECT_TRUE(isHalf);
}

}  // namespace

}  // namespace InventoryTests
