// The inventory program: what verify finds.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "tests/inventory/Support.h"

namespace InventoryTests {

namespace {

TEST_F(InventoryTest, VerifyNamesEachDifference) {
    for (const char* const file :
         {"gone", "longer", "later", "same", "turns"}) {
        Write(file, "12345");
    }
    MakeDir("folder");
    MakeDir("folder/sub");
    Write("folder/sub/file", "");
    MakeDir("left");
    Write("left/file", "");
    Link("link", "one");
    Link("link2", "one");
    // Set back, so that a change of this very millisecond shows.
    const timespec past[] = {{1000000000, 0}, {1000000000, 0}};
    for (const char* const file : {"longer", "later", "link", "link2"}) {
        ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + file).c_str(), past,
                                 AT_SYMLINK_NOFOLLOW));
    }
    Create();
    Result result = Verify();
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("0 added, 0 removed, 0 changed, 12 the same\n", result.out);

    Write("new\nfile", "");
    std::filesystem::remove(tree + "gone");
    Write("longer", "1234567");
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "longer").c_str(), past, 0));
    const timespec later[] = {{1000000000, 0}, {1000000000, 1000000}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "later").c_str(), later, 0));
    std::filesystem::remove(tree + "turns");
    MakeDir("turns/inside");
    std::filesystem::remove(tree + "link");
    Link("link", "two%");
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "link").c_str(), past,
                             AT_SYMLINK_NOFOLLOW));
    std::filesystem::remove(tree + "link2");
    Write("link2", "one");
    std::filesystem::remove_all(tree + "left");
    Write("left", "");
    // Of a folder, only what is in it counts.
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + "folder").c_str(), past, 0));
    ASSERT_EQ(0, ::chmod((tree + "same").c_str(), 0400));

    result = Verify();
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "removed  gone\n"
        "changed  later (modified)\n"
        "changed  left (type folder -> file)\n"
        "removed  left/file\n"
        "changed  link (size 3 -> 4, target one -> two%25)\n"
        "changed  link2 (type link -> file)\n"
        "changed  longer (size 5 -> 7)\n"
        "added    new%0Afile\n"
        "changed  turns (type file -> folder)\n"
        "added    turns/inside\n"
        "2 added, 2 removed, 6 changed, 4 the same\n",
        result.out);
}

TEST_F(InventoryTest, VerifyTakesEntriesInAnyOrder) {
    for (const char* const name : {"a", "a b", "b", "c"}) {
        MakeDir(name);
        Write(std::string(name) + "/x", "");
    }
    Strings lines = Lines(Create());
    std::reverse(lines.begin() + 2, lines.end() - 1);
    std::string reversed;
    for (const std::string& line : lines) {
        reversed += line + "\n";
    }
    dir.Write("out.xml", reversed);
    const Result result = Verify();
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("0 added, 0 removed, 0 changed, 8 the same\n", result.out);
}

}  // namespace

}  // namespace InventoryTests
