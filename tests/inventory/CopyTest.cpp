// The inventory program: the copies that it makes.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <set>
#include <string>
#include <thread>

#include "tests/inventory/Support.h"

namespace InventoryTests {

namespace {

class CopyTest : public InventoryTest {
public:
    CopyTest() : target(dir / "copies") {}

    // Whatever it does, it does nothing to the tree.
    Result Copy(const Setting& setting = Setting()) {
        const auto before = StateOf(tree, true);
        Result result = RunInventory({"copy", out, tree, target}, setting);
        EXPECT_TRUE(before == StateOf(tree, true)) << result;
        return result;
    }

    std::string target;
};

TEST_F(CopyTest, AreWholeWithModesAndOwnersAndNeverMadeTwice) {
    const mode_t mask = ::umask(022);
    const std::string deep = "d/ee/fff/d/ee/fff/d/ee/fff/d/ee/fff/";
    MakeDir(deep);
    MakeDir("no file");
    Write("empty", "");
    Write("block", Noise(65536));
    Write("large", Noise(200001));
    Write(deep + "deep", "deep");
    Write("d/a", "1");
    for (const mode_t mode : {0400U, 0600U, 0644U, 0755U}) {
        const std::string name = "d/" + std::to_string(mode);
        Write(name, name);
        ASSERT_EQ(0, ::chmod((tree + name).c_str(), mode));
    }
    if (::geteuid() == 0) {  // Only root gives files away.
        ASSERT_EQ(0, ::chown((tree + "d/a").c_str(), 1234, 1234));
    }
    Create();

    target = dir / "x/y/copies";
    Setting setting;
    setting.openFiles = 16;
    Result result = Copy(setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "9 copied, 0 changed, 0 missing, 0 special, 0 existing, 0 failed\n",
        result.out);
    auto expected = StateOf(tree, false);
    expected.erase("no file");
    EXPECT_TRUE(expected == StateOf(target + "/", false));

    const auto before = StateOf(target + "/", true);
    result = Copy();
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "existing block\n"
        "existing d/256\n"
        "existing d/384\n"
        "existing d/420\n"
        "existing d/493\n"
        "existing d/a\n"
        "existing " +
            deep +
            "deep\n"
            "existing empty\n"
            "existing large\n"
            "0 copied, 0 changed, 0 missing, 0 special, 9 existing, "
            "0 failed\n",
        result.out);
    EXPECT_TRUE(before == StateOf(target + "/", true));

    // What only went missing is made again.
    std::filesystem::remove(target + "/d/a");
    EXPECT_TRUE(Contains(Copy().out, "\n1 copied, "));
    EXPECT_TRUE(expected == StateOf(target + "/", false));
    ::umask(mask);
}

TEST_F(CopyTest, NamesWhatIsNotCopiedAndWhatHasChanged) {
    const timespec past[] = {{1000000000, 0}, {1000000000, 0}};
    MakeDir("closed");
    MakeDir("inner");
    MakeDir("outer");
    for (const char* const file :
         {"closed/a", "fine", "folder in it", "gone", "inner/a", "later",
          "locked", "longer", "outer/a", "taken", "taken by link",
          "taken by folder", "to folder", "to link", "to\npipe"}) {
        Write(file, "12345");
        ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + file).c_str(), past, 0));
    }
    Link("link", "fine");
    ASSERT_EQ(0, ::mkfifo((tree + "pipe").c_str(), 0600));
    Create();

    Write("added", "not listed");
    std::filesystem::remove(tree + "gone");
    Write("longer", "1234567");
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "longer").c_str(), past, 0));
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "later").c_str(), nullptr, 0));
    for (const char* const file : {"to folder", "to link", "to\npipe"}) {
        std::filesystem::remove(tree + file);
    }
    MakeDir("to folder");
    Link("to link", "fine");
    ASSERT_EQ(0, ::mkfifo((tree + "to\npipe").c_str(), 0600));
    ASSERT_EQ(0, ::chmod((tree + "locked").c_str(), 0));
    ASSERT_EQ(0, ::chmod((tree + "closed").c_str(), 0));

    dir.MakeDir("copies/taken by folder");
    dir.MakeDir("elsewhere");
    dir.Write("copies/taken", "mine");
    dir.Write("copies/inner", "mine");  // Where a folder is to be.
    std::filesystem::create_symlink("../elsewhere/a", dir /
                                                          "copies/taken by "
                                                          "link");
    std::filesystem::create_symlink("../elsewhere", dir / "copies/outer");

    // Not the fixture's Copy, which could not read the closed folder either.
    const Result result =
        RunInventory({"copy", out, tree, target}, AsOrdinaryUser());
    ::chmod((tree + "closed").c_str(), 0700);  // To be removable.
    EXPECT_EQ(1, result.status) << result;
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "failed   closed/a (unreadable: Permission denied)\n"
        "missing  gone\n"
        "failed   inner/a (no folder: inner)\n"
        "changed  later (modified)\n"
        "special  link (link)\n"
        "failed   locked (unreadable: Permission denied)\n"
        "changed  longer (size 5 -> 7)\n"
        "failed   outer/a (no folder: outer)\n"
        "special  pipe (other)\n"
        "existing taken\n"
        "existing taken by folder\n"
        "existing taken by link\n"
        "special  to%0Apipe (type file -> other)\n"
        "special  to folder (type file -> folder)\n"
        "special  to link (type file -> link)\n"
        "4 copied, 2 changed, 1 missing, 5 special, 3 existing, 4 failed\n",
        result.out);
    EXPECT_EQ((std::set<std::string>{"fine", "folder in it", "inner", "later",
                                     "longer", "outer", "taken",
                                     "taken by folder", "taken by link"}),
              PathsIn(target + "/"));
    EXPECT_EQ("1234567", Content(target + "/longer"));  // As it is now.
    EXPECT_EQ("12345", Content(target + "/later"));
    EXPECT_EQ("mine", Content(target + "/taken"));
    EXPECT_EQ("mine", Content(target + "/inner"));
    EXPECT_EQ((std::set<std::string>{}), PathsIn(dir / "elsewhere/"));
}

// Each alone is a reason for status 1.
TEST_F(CopyTest, AreNotAllThereForAnyOneReason) {
    Write("b", "12");
    const std::string good = Create();
    const std::string listed = "path=\"b\"";
    const struct {
        int line;
        std::string document;
        const char* start;
    } cases[] = {
        {__LINE__, Replaced(good, "size=\"2\"", "size=\"3\""), "changed  b ("},
        {__LINE__, Replaced(good, listed, "path=\"c\""), "missing  c\n"},
        {__LINE__, Replaced(good, listed, "path=\"a\""), "missing  a\n"},
        {__LINE__, Replaced(good, "type=\"file\"", "type=\"other\""),
         "special  b (other)\n"},
        {__LINE__,
         DocumentOf("<entry id=\"" + Identifier(1) +
                    "\" path=\"b\" type=\"unreadable\"/>\n"),
         "special  b (unreadable)\n"},
    };
    for (const auto& [line, document, start] : cases) {
        SCOPED_TRACE(testing::Message() << "row at line " << line);
        dir.Write("out.xml", document);
        std::filesystem::remove_all(target);
        const Result result = Copy();
        EXPECT_EQ(1, result.status) << result;
        EXPECT_EQ(0U, result.out.find(start)) << result;
        EXPECT_EQ(2U, Lines(result.out).size()) << result;
    }
}

TEST_F(NoPermissionTest, IsNamedForEachFileThatCannotBeCopied) {
    Create();
    Lock();
    const Result result =
        RunInventory({"copy", out, tree, dir / "copies"}, AsOrdinaryUser());
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "failed   closed/file (unreadable: Permission denied)\n"
        "failed   listed/file (unreadable: Permission denied)\n"
        "special  listed/link (link)\n"
        "1 copied, 0 changed, 0 missing, 1 special, 0 existing, 2 failed\n",
        result.out);
    EXPECT_EQ((std::set<std::string>{"open"}), PathsIn(dir / "copies/"));
}

TEST_F(OddNamesTest, AreCopied) {
    Create();
    const Result result = RunInventory({"copy", out, tree, dir / "copies"});
    EXPECT_EQ(1, result.status);  // For the links.
    EXPECT_EQ("", result.err);
    EXPECT_TRUE(IsHarmless(result.out));
    std::set<std::string> expected;
    std::size_t files = 0;
    for (const std::string& path : PathsIn(tree)) {
        if (path.rfind("links", 0) == 0) {
            continue;
        }
        expected.insert(path);
        if (std::filesystem::is_regular_file(tree + path)) {
            ++files;
            EXPECT_EQ(Content(tree + path), Content(dir / ("copies/" + path)));
        }
    }
    EXPECT_EQ(expected, PathsIn(dir / "copies/"));
    EXPECT_EQ(std::to_string(files) + " copied, 0 changed, 0 missing, " +
                  std::to_string(OddNames().size()) +
                  " special, 0 existing, 0 failed",
              Lines(result.out).back());
}

// An inventory may come from elsewhere.
TEST_F(CopyTest, ComeFromTheFolderAndStayInTheTarget) {
    dir.MakeDir("outside");
    dir.Write("outside/secret", "secret");
    Link("way out", "../outside");
    Write("secret", "x");
    for (const char* const path :
         {"", ".", "..", "/secret", "../outside/secret", "secret/../secret",
          "secret/", "way out/../secret", "a//b"}) {
        for (const char* const attribute : {"path=\"", "pathEscaped=\""}) {
            dir.Write("out.xml", DocumentOf(FileElement(1, "secret", "1") +
                                            Replaced(FileElement(2, path, "1"),
                                                     "path=\"", attribute)));
            const Result result = Copy();
            EXPECT_EQ(2, result.status) << result;
            EXPECT_EQ("", result.out);
            EXPECT_TRUE(
                Contains(result.err, std::string("element 2: the path '") +
                                         path + "' is not one below a folder"))
                << result;
        }
    }
    ExpectBeside({"out.xml", "outside"});

    // Through a link of the folder's.
    dir.Write("out.xml", DocumentOf(FileElement(1, "way out/secret", "6")));
    const Result result = Copy();
    EXPECT_EQ(1, result.status);
    EXPECT_EQ(
        "missing  way out/secret\n"
        "0 copied, 0 changed, 1 missing, 0 special, 0 existing, 0 failed\n",
        result.out);
    EXPECT_EQ((std::set<std::string>{}), PathsIn(target + "/"));
    EXPECT_EQ((std::set<std::string>{"secret"}), PathsIn(dir / "outside/"));
}

TEST_F(CopyTest, NeedATargetThatCanBeMade) {
    Write("a", "1");
    Create();
    dir.Write("file", "as it was");
    dir.MakeDir("sealed");
    ASSERT_EQ(0, ::chmod((dir / "sealed").c_str(), 0500));
    std::filesystem::create_symlink("nowhere/at all", dir / "dangling");
    const std::string none = ": no folder can be made there\n";
    const struct {
        std::string path;
        std::string message;
    } cases[] = {
        {"", "the name of the target is empty\n"},
        {dir / "file", dir / "file" + none},
        {dir / "file/x", dir / "file/x" + none},
        {dir / "sealed/x", dir / "sealed/x" + none},
        {dir / "sealed/x/y", dir / "sealed/x/y" + none},
        {dir / "dangling", dir / "dangling" + none},
        {dir / "dangling/x", dir / "dangling/x" + none},
        {dir / "file/\x1B", dir / "file/%1B" + none},
        {std::string(300, 'n'), std::string(300, 'n') + none},
    };
    for (const auto& [path, message] : cases) {
        target = path;
        const Result result = Copy(AsOrdinaryUser());
        EXPECT_EQ(2, result.status) << result;
        EXPECT_EQ("", result.out);
        EXPECT_EQ("inventory: " + message, result.err);
    }
    EXPECT_EQ("as it was", Content(dir / "file"));
    EXPECT_EQ((std::set<std::string>{}), PathsIn(dir / "sealed/"));
    ExpectBeside({"out.xml", "file", "sealed", "dangling"});

    // Below a target that can be entered alone.
    target = dir / "sealed";
    const Result result = Copy(AsOrdinaryUser());
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("failed   a (Permission denied)", Lines(result.out).front());
    ::chmod((dir / "sealed").c_str(), 0700);  // To be removable.
}

TEST_F(CopyTest, TakeAnyNameOfATarget) {
    Write("f", "1");
    MakeDir("d");
    Write("d/e", "2");
    Create();
    dir.MakeDir("there");
    std::filesystem::create_directory_symlink("there", dir / "alias");
    Setting setting;
    setting.folder = dir.Path();
    for (const char* const path :
         {"t", "a/b", "a/c/", "bb//c", "./u", "there/../w", "--", "alias",
          "tree/in it", "tree/d/d"}) {
        SCOPED_TRACE(path);
        const Result result =
            RunInventory({"copy", "out.xml", "tree", "--", path}, setting);
        EXPECT_EQ(0, result.status) << result;
        EXPECT_EQ("1", Content(dir / path + "/f"));
        EXPECT_EQ("2", Content(dir / path + "/d/e"));
    }
    EXPECT_EQ("1", Content(dir / "there/f"));

    // CreateDirLevel may take the first two folders of a path for made.
    const std::string beside =
        dir.Path().substr(0, dir.Path().size() - 1) + "-copies";
    target = beside + "/x";
    EXPECT_EQ(0, Copy().status);
    EXPECT_EQ("2", Content(target + "/d/e"));
    std::filesystem::remove_all(beside);

    // The folder itself: all is there.
    target = tree;
    EXPECT_TRUE(Contains(Copy().out,
                         "\n0 copied, 0 changed, 0 missing, 0 "
                         "special, 2 existing, 0 failed\n"));
}

TEST_F(CopyTest, FailWhereTheDiskIsFull) {
    MakeDir("d");
    Write("d/fits", Noise(65536));
    Write("d/over", Noise(65537));  // One byte is lost.
    Write("huge", Noise(300000));
    Write("last", "1");
    Create();
    Setting setting;
    setting.fileSize = 65536;
    const Result result = Copy(setting);
    EXPECT_EQ(1, result.status) << result;
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "failed   d/over (the copy differs)\n"
        "failed   huge (the copy differs)\n"
        "2 copied, 0 changed, 0 missing, 0 special, 0 existing, 2 failed\n",
        result.out);
    EXPECT_EQ((std::set<std::string>{"d", "d/fits", "last"}),
              PathsIn(target + "/"));

    // With room again, what failed is made, and the rest is left alone.
    EXPECT_EQ(
        "existing d/fits\n"
        "existing last\n"
        "2 copied, 0 changed, 0 missing, 0 special, 2 existing, 0 failed\n",
        Copy().out);
    EXPECT_TRUE(Content(tree + "huge") == Content(target + "/huge"));
}

// A file that is written to: its size stays and its bytes do not.
TEST_F(CopyTest, FailWhereBytesAloneDiffer) {
    Write("restless", std::string(4000000, 'x'));
    Create();
    const Descriptor file(
        ::open((tree + "restless").c_str(), O_WRONLY | O_CLOEXEC));
    ASSERT_NE(-1, file.Number());
    std::atomic<bool> stop{false};
    std::thread writer([&file, &stop] {
        for (unsigned int count = 0; !stop; ++count) {
            if (::pwrite(file.Number(), &count, sizeof count, 3999990) < 0) {
                return;
            }
        }
    });
    // The writer may have to wait while a copy is made and compared.
    bool seen = false;
    for (int i = 0; i < 20 && !seen; ++i) {
        std::filesystem::remove_all(target);
        const Result result = RunInventory({"copy", out, tree, target});
        seen = result.out ==
               "failed   restless (the copy differs)\n"
               "0 copied, 0 changed, 0 missing, 0 special, 0 existing, "
               "1 failed\n";
        EXPECT_EQ(seen, PathsIn(target + "/").empty());
    }
    stop = true;
    writer.join();
    EXPECT_TRUE(seen);
}

}  // namespace

}  // namespace InventoryTests
