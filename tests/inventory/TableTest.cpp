// The inventory program: tables with characters of every width.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/inventory/Support.h"

namespace InventoryTests {

namespace {

const struct WidthCase {
    int line;
    std::string extension;
    std::string shown;
    std::size_t columns;  // That it takes.
} kWidthCases[] = {
    // line     extension                  shown                      columns
    {__LINE__, "txt", "txt", 3},
    {__LINE__, "\xC3\xA9t\xC3\xA9", "\xC3\xA9t\xC3\xA9", 3},
    // Two Hangul syllables, three ideographs, and a wide Latin letter.
    {__LINE__, "\xED\x95\x9C\xEA\xB8\x80", "\xED\x95\x9C\xEA\xB8\x80", 4},
    {__LINE__, "\xE6\xBC\xA2\xE5\xAD\x97\xE8\xAA\x9E",
     "\xE6\xBC\xA2\xE5\xAD\x97\xE8\xAA\x9E", 6},
    {__LINE__, "\xEF\xBC\xA1", "\xEF\xBC\xA1", 2},
    // e with an acute accent of its own, then with two marks.
    {__LINE__, "e\xCC\x81", "e\xCC\x81", 1},
    {__LINE__, "e\xCC\x81\xCC\xA7x", "e\xCC\x81\xCC\xA7x", 2},
    // Control characters, "%" and what is no text, escaped.
    {__LINE__, "\x1B[1m", "%1B[1m", 6},
    {__LINE__, "a\tb", "a%09b", 5},
    {__LINE__, "%", "%25", 3},
    {__LINE__, "\xFF", "%FF", 3},
    {__LINE__, "\xC2\x85", "%C2%85", 6},
};

TEST_F(InventoryTest, AlignsCharactersOfEveryWidth) {
    for (const WidthCase& row : kWidthCases) {
        Write("file." + row.extension, "12345");
    }
    Write("file.rather-long", "12345");
    Create();
    const Result result = RunInventory({"show", out});
    EXPECT_EQ(0, result.status) << result;
    const std::string longest = "rather-long";
    for (const WidthCase& row : kWidthCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        EXPECT_TRUE(Contains(
            result.out, "  5 B  " + row.shown +
                            std::string(longest.size() - row.columns, ' ') +
                            "  7.7 %\n"))
            << result;
    }
    EXPECT_TRUE(Contains(result.out, "  5 B  rather-long  7.7 %\n"));
    EXPECT_TRUE(Contains(result.out, "  extension    share\n"));
    EXPECT_TRUE(IsHarmless(result.out));
}

// The widest decides, also where it has fewer bytes than another.
TEST_F(InventoryTest, AlignsWithTheWidestAndNotTheLongest) {
    std::string ideographs;
    for (int i = 0; i < 8; ++i) {
        ideographs += "\xE6\xBC\xA2";
    }
    std::string marks = "e";
    for (int i = 0; i < 20; ++i) {
        marks += "\xCC\x81";
    }
    Write("a." + ideographs, "1");
    Write("a." + marks, "1");
    Create();
    const Strings lines = Lines(RunInventory({"show", out}).out);
    ASSERT_LT(12U, lines.size());
    EXPECT_EQ("files  bytes  size  extension          share", lines[10]);
    EXPECT_EQ(
        "    1      1   1 B  " + marks + std::string(15, ' ') + "  50.0 %",
        lines[11]);
    EXPECT_EQ("    1      1   1 B  " + ideographs + "  50.0 %", lines[12]);
}

TEST_F(InventoryTest, AlignsBytesInALocaleWithoutCharacters) {
    Write("a.\xE6\xBC\xA2", "1");
    Write("a.b", "1");
    Create(In("C"));
    const Strings lines = Lines(RunInventory({"show", out}, In("C")).out);
    ASSERT_LT(12U, lines.size());
    EXPECT_EQ("    1      1   1 B  b          50.0 %", lines[11]);
    EXPECT_EQ("    1      1   1 B  %E6%BC%A2  50.0 %", lines[12]);
}

}  // namespace

}  // namespace InventoryTests
