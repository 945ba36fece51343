// The inventory program: documents that cannot be written, or replace one.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>
#include <string>

#include "tests/inventory/Support.h"

namespace InventoryTests {

namespace {

TEST_F(InventoryTest, LeavesNothingBehindWhereItCannotWrite) {
    Write("a", "");
    dir.MakeDir("sealed");
    dir.Write("sealed/old.xml", "as it was");
    ASSERT_EQ(0, ::chmod((dir / "sealed").c_str(), 0500));
    dir.Write("target", "as it was");
    std::filesystem::create_symlink("target", dir / "link.xml");
    ASSERT_EQ(0, ::mkfifo((dir / "pipe").c_str(), 0600));
    const struct {
        std::string out;
        std::string message;
    } cases[] = {
        {dir / "missing/out.xml",
         "missing/.out.xml.lock: the lock cannot be opened"},
        {dir / "sealed/new.xml",
         "sealed/.new.xml.lock: the lock cannot be opened"},
        {dir / "sealed/old.xml",
         "sealed/.old.xml.lock: the lock cannot be opened"},
        {dir / "sealed", "sealed: something other than a file is there"},
        {dir / "target/out.xml",
         "target/.out.xml.lock: the lock cannot be opened"},
        {dir / "link.xml", "link.xml: something other than a file is there"},
        {dir / "pipe", "pipe: something other than a file is there"},
        {dir / std::string(300, 'n'), ": File name too long"},
        {dir / "new/", "new/..lock: the lock cannot be opened"},
        {"", ": No such file or directory"},
    };
    for (const auto& [path, message] : cases) {
        Setting setting = AsOrdinaryUser();
        setting.folder = dir.Path();
        const Result result = RunInventory({"create", tree, path}, setting);
        EXPECT_EQ(2, result.status) << path << result;
        EXPECT_EQ("", result.out);
        EXPECT_TRUE(Contains(result.err, message)) << result;
    }
    EXPECT_EQ("as it was", Content(dir / "target"));
    EXPECT_EQ("as it was", Content(dir / "sealed/old.xml"));
    EXPECT_EQ((std::set<std::string>{"old.xml"}), PathsIn(dir / "sealed/"));
    EXPECT_TRUE(std::filesystem::is_symlink(dir / "link.xml"));
    EXPECT_TRUE(std::filesystem::is_fifo(dir / "pipe"));
    ExpectBeside({"sealed", "target", "link.xml", "pipe"});
    ::chmod((dir / "sealed").c_str(), 0700);  // To be removable.
}

TEST_F(InventoryTest, LeavesTheOldDocumentWhenTheNewOneDoesNotFit) {
    for (int i = 0; i < 1000; ++i) {
        Write(std::to_string(i), "");
    }
    dir.Write("out.xml", "as it was");
    Setting setting;
    setting.fileSize = 65536;  // The document has more than 100,000 bytes.
    const Result result = RunInventory({"create", tree, out}, setting);
    EXPECT_EQ(2, result.status) << result;
    EXPECT_EQ("", result.out);
    EXPECT_TRUE(Contains(result.err, out + ": only 65536 of ")) << result;
    EXPECT_EQ("as it was", Content(out));
    ExpectBeside({"out.xml"});
}

TEST_F(InventoryTest, ANewDocumentHasUsualPermissions) {
    Write("a", "");
    const mode_t mask = ::umask(027);
    Create();
    ::umask(mask);
    struct stat info;
    ASSERT_EQ(0, ::stat(out.c_str(), &info));
    EXPECT_EQ(0640U, info.st_mode & 07777);
    ExpectBeside({"out.xml"});
}

TEST_F(InventoryTest, AReplacedDocumentKeepsItsPermissions) {
    Write("a", "");
    Create();
    for (const mode_t mode : {mode_t{0600}, mode_t{0664}}) {
        ASSERT_EQ(0, ::chmod(out.c_str(), mode));
        Create();
        struct stat info;
        ASSERT_EQ(0, ::stat(out.c_str(), &info));
        EXPECT_EQ(mode, info.st_mode & 07777);
    }
}

TEST_F(InventoryTest, ADocumentInItsFolderListsTheOneBeforeIt) {
    Write("a", "");
    out = tree + "out.xml";
    EXPECT_EQ((Strings{"a"}), PathsInOrder(Create()));
    EXPECT_EQ((Strings{"a", "out.xml"}), PathsInOrder(Create()));
    EXPECT_EQ((std::set<std::string>{"a", "out.xml"}), PathsIn(tree));
    const Result result = Verify();
    EXPECT_EQ(1, result.status);
    EXPECT_TRUE(Contains(result.out, "changed  out.xml (")) << result;
}

TEST_F(InventoryTest, AnOutputThatCannotBeWrittenIsAnError) {
    Write("a", "");
    Create();
    for (const Strings& arguments :
         {Strings{"--help"}, Strings{"create", tree, out},
          Strings{"verify", tree, out}, Strings{"show", out},
          Strings{"copy", out, tree, dir / "copies"}}) {
        SCOPED_TRACE(arguments.front());
        Setting setting;
        const Descriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
        ASSERT_NE(-1, full.Number());
        setting.output = full.Number();
        Result result = RunInventory(arguments, setting);
        EXPECT_EQ(2, result.status) << result;
        EXPECT_EQ("inventory: standard output: No space left on device\n",
                  result.err);

        Channel unread = MakePipe();
        unread.reading.Close();
        setting.output = unread.writing.Number();
        result = RunInventory(arguments, setting);
        EXPECT_EQ(2, result.status) << result;
        EXPECT_EQ("inventory: standard output: Broken pipe\n", result.err);
    }
    EXPECT_EQ(0, Verify().status);
}

}  // namespace

}  // namespace InventoryTests
