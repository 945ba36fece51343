// The inventory program: digests.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <thread>

#include "tests/inventory/Support.h"

namespace InventoryTests {

namespace {

TEST_F(DigestTest, AreThoseOfTheContentsOfFiles) {
    std::map<std::string, std::string> contents = {{"abc", "abc"}};
    for (const unsigned int size :
         {0U, 1U, 55U, 56U, 63U, 64U, 65U, 65535U, 65536U, 65537U, 131071U,
          131072U, 131073U, 1000001U}) {
        contents[std::to_string(size)] = Noise(size);
    }
    MakeDir("d/e");
    contents["d/e/f"] = std::string(70000, '\0');
    contents["line\nfeed"] = "odd";
    for (const auto& [path, content] : contents) {
        Write(path, content);
    }
    Link("link", "abc");
    ASSERT_EQ(0, ::mkfifo((tree + "pipe").c_str(), 0600));

    Setting setting;
    setting.openFiles = 16;
    const auto entries = CreateEntries(setting);
    EXPECT_EQ(PathsIn(tree), KeysOf(entries));
    for (const auto& [path, attributes] : entries) {
        SCOPED_TRACE(path);
        const auto content = contents.find(path);
        const bool isFile = content != contents.end();
        ASSERT_EQ(isFile ? 1U : 0U, attributes.count("md5"));
        if (isFile) {
            EXPECT_EQ(Md5(content->second), attributes.at("md5"));
        }
    }
    // RFC 1321's own.
    EXPECT_EQ("d41d8cd98f00b204e9800998ecf8427e", entries.at("0").at("md5"));
    EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72", entries.at("abc").at("md5"));
    EXPECT_EQ("inventory: escaped: line%0Afeed\n", created.err);
    EXPECT_TRUE(Contains(created.out, " 0  files without a digest\n"))
        << created.out;

    const Result result = VerifyDigests(setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "0 added, 0 removed, 0 changed, 21 the same, 17 digests compared\n",
        result.out);
}

TEST_F(DigestTest, AreAllThatDiffersHoweverManyEntriesWait) {
    WriteEndless("0");
    for (int folder = 0; folder < 6; ++folder) {
        const std::string name = "d" + std::to_string(folder);
        MakeDir(name + "/inner");
        Link(name + "/link", "nowhere");
        for (int file = 0; file < 500; ++file) {
            const std::string path = name + "/" + std::to_string(file);
            Write(path, path);
        }
    }
    const std::string plain = WithoutIdentifiers(Create());
    EXPECT_FALSE(Contains(plain, "md5"));
    EXPECT_FALSE(Contains(created.out, "digest"));

    Setting setting;  // Of the first file, when as many wait as may.
    setting.meanwhile = [this](pid_t program, int /*error*/) {
        if (!WaitUntil([&] { return PositionIn(tree + "0", program) > 0; })) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        std::filesystem::resize_file(tree + "0", 0);
        return true;
    };
    const std::string attribute = " md5=\"";
    std::string rest;
    std::size_t count = 0;
    for (std::string line :
         Lines(WithoutIdentifiers(Create(setting, {"--digest"})))) {
        const std::size_t start = line.find(attribute);
        if (start != std::string::npos) {
            EXPECT_EQ(Md5(AttributesOf(line)["path"]),
                      line.substr(start + attribute.size(), 32));
            line.erase(start, attribute.size() + 32 + 1);
            ++count;
        }
        rest += line + "\n";
    }
    EXPECT_EQ("inventory: no digest: 0: changed since it was listed\n",
              created.err);
    EXPECT_EQ(3000U, count);
    EXPECT_TRUE(plain == rest);

    // Verified in the same order.
    std::filesystem::remove(tree + "0");
    std::filesystem::remove(tree + "d0/7");
    Rewrite("d1/499", "d1/49!");
    Write("d2/new", "");
    std::filesystem::remove_all(tree + "d5");
    const Result result = VerifyDigests();
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.err);
    const Strings lines = Lines(result.out);
    ASSERT_EQ(4U + 503U + 1U, lines.size()) << result;
    EXPECT_EQ("removed  0", lines[0]);
    EXPECT_EQ("removed  d0/7", lines[1]);
    EXPECT_EQ("changed  d1/499 (content)", lines[2]);
    EXPECT_EQ("added    d2/new", lines[3]);
    EXPECT_EQ("removed  d5", lines[4]);
    EXPECT_EQ(
        "1 added, 505 removed, 1 changed, 2513 the same, "
        "2499 digests compared",
        lines.back());
}

// Memory is bounded because the walk is: while a file is read, it goes on until
// so many entries wait, and no further.
TEST_F(DigestTest, WaitForAWalkThatIsNotFarAhead) {
    WriteEndless("0");
    for (const char* const folder : {"near", "next", "zfar"}) {
        MakeDir(folder);
    }
    for (int i = 0; i < 1000; ++i) {
        Write("near/" + std::to_string(i), "");
        Write("next/" + std::to_string(i), "");
    }
    const Descriptor opened(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    const int next =
        ::inotify_add_watch(opened.Number(), (tree + "next").c_str(), IN_OPEN);
    const int far =
        ::inotify_add_watch(opened.Number(), (tree + "zfar").c_str(), IN_OPEN);
    ASSERT_NE(-1, next);
    ASSERT_NE(-1, far);

    std::set<int> seen;
    const auto look = [&] {
        alignas(inotify_event) char events[4096];
        const ssize_t size = ::read(opened.Number(), events, sizeof events);
        for (ssize_t at = 0; at < size;) {
            inotify_event event;
            std::memcpy(&event, events + at, sizeof event);
            if ((event.mask & IN_ISDIR) != 0) {
                seen.insert(event.wd);
            }
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
        return seen.contains(next);
    };
    Setting setting;
    setting.meanwhile = [&](pid_t program, int /*error*/) {
        if (!WaitUntil(look)) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        look();
        return ::kill(program, SIGTERM) == 0;
    };
    const Result result =
        RunInventory({"create", tree, out, "--digest"}, setting);
    EXPECT_EQ("(signal 15)", result.end) << result;
    EXPECT_EQ((std::set<int>{next}), seen);
}

TEST_F(DigestTest, AreMissingWhereAFileCannotBeRead) {
    Write("closed", "1");
    Write("open", "2");
    Write("unlisted", "3");
    const std::string plain = WithoutIdentifiers(Create());
    ASSERT_EQ(0, ::chmod((tree + "closed").c_str(), 0));
    const auto entries = CreateEntries(AsOrdinaryUser());
    EXPECT_EQ(0U, entries.at("closed").count("md5"));
    EXPECT_EQ("file", entries.at("closed").at("type"));
    EXPECT_EQ(Md5("2"), entries.at("open").at("md5"));
    EXPECT_EQ("inventory: no digest: closed: Permission denied\n", created.err);
    EXPECT_TRUE(Contains(created.out, "1  files without a digest\n"));
    EXPECT_TRUE(Contains(created.out, "0  of type unreadable\n"));

    // What has no digest is compared as ever.
    Result result = VerifyDigests(AsOrdinaryUser());
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("", result.err);
    EXPECT_EQ("0 added, 0 removed, 0 changed, 3 the same, 2 digests compared\n",
              result.out);

    // What has one, and cannot be read any more, is no longer the same.
    ASSERT_EQ(0, ::chmod((tree + "open").c_str(), 0));
    result = VerifyDigests(AsOrdinaryUser());
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("inventory: no digest: open: Permission denied\n", result.err);
    EXPECT_EQ(
        "changed  open (content not read)\n"
        "0 added, 0 removed, 1 changed, 2 the same, 1 digests compared\n",
        result.out);

    // Without the option, no file is read.
    result = Verify(AsOrdinaryUser());
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("", result.err);
    EXPECT_EQ("0 added, 0 removed, 0 changed, 3 the same\n", result.out);
}

// While the first file is read, the others have been listed and not yet read.
TEST_F(DigestTest, AreMissingWhereAFileChangesMeanwhile) {
    for (const char* const file :
         {"gone", "longer", "rewritten", "steady", "to file", "to folder",
          "to link", "to pipe"}) {
        Write(file, "12345");
    }
    WriteEndless("0");
    Setting setting;
    setting.meanwhile = [this](pid_t program, int /*error*/) {
        if (!WaitUntil([&] { return PositionIn(tree + "0", program) > 0; })) {
            return false;
        }
        for (const char* const file :
             {"gone", "to file", "to folder", "to link", "to pipe"}) {
            std::filesystem::remove(tree + file);
        }
        Write("longer", "1234567");
        Rewrite("rewritten", "54321");
        Write("to file", "another one");
        MakeDir("to folder");
        Link("to link", "steady");
        EXPECT_EQ(0, ::mkfifo((tree + "to pipe").c_str(), 0600));
        std::filesystem::resize_file(tree + "0", 10);  // Which ends the wait.
        return true;
    };
    const auto entries = CreateEntries(setting);
    EXPECT_EQ(
        "inventory: no digest: 0: changed since it was listed\n"
        "inventory: no digest: gone: No such file or directory\n"
        "inventory: no digest: longer: changed since it was listed\n"
        "inventory: no digest: rewritten: changed since it was listed\n"
        "inventory: no digest: to file: changed since it was listed\n"
        "inventory: no digest: to folder: no longer a file\n"
        "inventory: no digest: to link: no longer a file\n"
        "inventory: no digest: to pipe: no longer a file\n",
        created.err);
    EXPECT_TRUE(Contains(created.out, " 8  files without a digest\n"));
    for (const auto& [path, attributes] : entries) {
        EXPECT_EQ("file", attributes.at("type")) << path;
        EXPECT_EQ(path == "steady" ? 1U : 0U, attributes.count("md5")) << path;
    }
    EXPECT_EQ("5", entries.at("longer").at("size"));  // As it was listed.
    EXPECT_EQ(Md5("12345"), entries.at("steady").at("md5"));
}

// Where its size does not tell, either.
TEST_F(DigestTest, AreMissingWhereAFileIsWrittenToWhileItIsRead) {
    const off_t size = 10000000;
    Write("a", "");
    std::filesystem::resize_file(tree + "a", size);
    const Descriptor file(::open((tree + "a").c_str(), O_WRONLY | O_CLOEXEC));
    bool isInTheMiddle = false;
    for (int i = 0; i < 50 && !isInTheMiddle; ++i) {
        Setting setting;
        setting.meanwhile = [&](pid_t program, int /*error*/) {
            const auto position = [&] {
                return PositionIn(tree + "a", program);
            };
            siginfo_t state{};
            while (position() <= 0 && state.si_pid == 0) {
                ::waitid(P_PID, static_cast<id_t>(program), &state,
                         WEXITED | WNOHANG | WNOWAIT);
            }
            isInTheMiddle =
                Halt(program) && position() > 0 && position() < size;
            return (!isInTheMiddle ||
                    ::pwrite(file.Number(), "x", 1, 0) == 1) &&
                   ::kill(program, SIGCONT) == 0;
        };
        const auto entries = CreateEntries(setting);
        EXPECT_EQ(isInTheMiddle ? 0U : 1U, entries.at("a").count("md5"));
        EXPECT_EQ(isInTheMiddle
                      ? "inventory: no digest: a: changed since it was listed\n"
                      : "",
                  created.err);
    }
    EXPECT_TRUE(isInTheMiddle);
}

// A pipe blocks whoever opens it by its name until somebody writes.
TEST_F(DigestTest, NeverWaitAtAPipe) {
    MakeDir("d");
    const std::string pipes = dir.MakeDir("pipes");
    for (int i = 0; i < 100; ++i) {
        const std::string name = "/" + std::to_string(i);
        Write("d" + name, "12345");
        ASSERT_EQ(0, ::mkfifo((pipes + name).c_str(), 0600));
    }
    Create();
    std::atomic<bool> stop{false};
    std::thread changer([&] {
        while (!stop) {
            ::renameat2(AT_FDCWD, (tree + "d").c_str(), AT_FDCWD, pipes.c_str(),
                        RENAME_EXCHANGE);
        }
    });
    for (int i = 0; i < 20 && !HasFailure(); ++i) {
        for (const Strings& arguments :
             {Strings{"create", tree, dir / "new.xml", "--digest"},
              Strings{"copy", out, tree, dir / "copies"}}) {
            const Result result = RunInventory(arguments);
            EXPECT_TRUE(result.status == 0 || result.status == 1) << result;
        }
        std::filesystem::remove_all(dir / "copies");
    }
    stop = true;
    changer.join();
}

TEST_F(DigestTest, TellChangesThatTimesDoNotTell) {
    const timespec past[] = {{1000000000, 0}, {1000000000, 0}};
    for (const char* const file :
         {"content", "longer", "same", "to link", "touched", "written"}) {
        Write(file, "12345");
        ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + file).c_str(), past, 0));
    }
    Create(Setting(), {"--digest"});
    Rewrite("content", "12354");
    Write("longer", "123456");
    ASSERT_EQ(0, ::chmod((tree + "longer").c_str(), 0));  // Not to be read.
    std::filesystem::remove(tree + "to link");
    Link("to link", "same");
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "touched").c_str(), nullptr, 0));
    Write("written", "123??");

    Result result = VerifyDigests(AsOrdinaryUser());
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "changed  content (content)\n"
        "changed  longer (size 5 -> 6, modified)\n"
        "changed  to link (type file -> link)\n"
        "changed  touched (modified)\n"
        "changed  written (modified, content)\n"
        "0 added, 0 removed, 5 changed, 1 the same, 4 digests compared\n",
        result.out);

    result = Verify();
    EXPECT_EQ(1, result.status);
    EXPECT_EQ(
        "changed  longer (size 5 -> 6, modified)\n"
        "changed  to link (type file -> link)\n"
        "changed  touched (modified)\n"
        "changed  written (modified)\n"
        "0 added, 0 removed, 4 changed, 2 the same\n",
        result.out);
}

TEST_F(DigestTest, AreNotComparedWhereTheDocumentHasNone) {
    Write("a", "12345");
    Create();
    Rewrite("a", "54321");
    const Result result = VerifyDigests();
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("0 added, 0 removed, 0 changed, 1 the same, 0 digests compared\n",
              result.out);
}

}  // namespace

}  // namespace InventoryTests
