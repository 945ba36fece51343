// The inventory program: what show prints.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/inventory/Support.h"
#include "tests/support/CommaLocale.h"

namespace InventoryTests {

namespace {

TEST_F(InventoryTest, ReadsTheSameWhereThePointIsAComma) {
    Write("a.txt", std::string(1536, 'a'));
    Write("b.png", "12345678");
    Create();
    const std::string chart = dir / "chart.svg";
    const Strings show = {"show", out, "--chart", chart};
    const std::string plain = RunInventory(show, In("C")).out;
    const std::string picture = Content(chart);
    EXPECT_TRUE(Contains(plain, "1.5 KiB")) << plain;
    std::filesystem::remove(chart);

    const NovuTest::CommaLocale comma;
    Setting setting = In("");
    // glibc never gives back what it makes of LOCPATH.
    setting.variables = {std::string("LOCPATH=") + std::getenv("LOCPATH"),
                         "LC_NUMERIC=comma", "LSAN_OPTIONS=detect_leaks=0"};
    const Result result = RunInventory(show, setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ(plain, result.out);
    EXPECT_EQ(picture, Content(chart));
    const Result again = RunInventory({"create", tree, out}, setting);
    EXPECT_EQ(0, again.status) << again;
    EXPECT_FALSE(Contains(again.out, ",")) << again;  // In its seconds.
}

TEST_F(InventoryTest, ShowPrintsTotalsAndTheLargestFiles) {
    const std::string in = dir.Write(
        "in.xml",
        DocumentOf(
            FileElement(1, "b.txt", "1535") + FileElement(2, "a.txt", "1") +
            FileElement(3, "a.dir/none", "5368709120") +
            FileElement(4, ".profile", "1536") + FileElement(5, "ends.", "0") +
            FileElement(6, "caf\xC3\xA9.\xC3\xA9%", "1023") +
            FileElement(7, "many.tar.gz", "1048576") +
            Replaced(FileElement(8, "a.dir", "4096"), "file", "folder") +
            Replaced(FileElement(9, "l.txt", "7"), "file\"",
                     "link\" target=\"x\"") +
            "<entry id=\"" + Identifier(10) +
            "\" path=\"u.txt\" type=\"unreadable\"/>\n"));
    const Result result = RunInventory({"show", in});
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("", result.err);
    EXPECT_EQ(
        "entries       bytes     size  type\n"
        "      7  5369761791  5.0 GiB  file\n"
        "      1        4096  4.0 KiB  folder\n"
        "      1           7      7 B  link\n"
        "      0           0      0 B  other\n"
        "      1           0      0 B  unreadable\n"
        "     10  5369765894  5.0 GiB  (total)\n"
        "      0           0      0 B  (files with a digest)\n"
        "      0           0      0 B  (duplicates among them)\n"
        "\n"
        "files       bytes     size  extension    share\n"
        "    2  5368709120  5.0 GiB  (none)     100.0 %\n"
        "    1     1048576  1.0 MiB  gz           0.0 %\n"
        "    1        1536  1.5 KiB  profile      0.0 %\n"
        "    2        1536  1.5 KiB  txt          0.0 %\n"
        "    1        1023   1023 B  %C3%A9%25    0.0 %\n"
        "\n"
        "     bytes     size  file\n"
        "5368709120  5.0 GiB  a.dir/none\n"
        "   1048576  1.0 MiB  many.tar.gz\n"
        "      1536  1.5 KiB  .profile\n"
        "      1535  1.5 KiB  b.txt\n"
        "      1023   1023 B  caf%C3%A9.%C3%A9%25\n"
        "         1      1 B  a.txt\n"
        "         0      0 B  ends.\n",
        result.out);
}

TEST_F(InventoryTest, ShowEndsItsTablesAfterTwenty) {
    std::string elements;
    for (int i = 0; i < 25; ++i) {
        elements += FileElement(i + 1, "f.e" + std::to_string(i + 100),
                                std::to_string(1000 + i));
    }
    const Result result =
        RunInventory({"show", dir.Write("in.xml", DocumentOf(elements))});
    EXPECT_EQ(0, result.status);
    const Strings lines = Lines(result.out);
    ASSERT_EQ(9U + 1 + 22 + 1 + 21, lines.size()) << result;
    EXPECT_EQ("    1   1024  1.0 KiB  e124        4.0 %", lines[11]);
    EXPECT_EQ("    1   1005   1005 B  e105        4.0 %", lines[30]);
    // 1000 to 1004.
    EXPECT_EQ("    5   5010  4.9 KiB  (others)   19.8 %", lines[31]);
    EXPECT_EQ(" 1005   1005 B  f.e105", lines[53]);
}

TEST_F(InventoryTest, ShowCountsDigestsAndDuplicates) {
    const std::string one(32, '1');
    const std::string two(32, '2');
    const std::string in = dir.Write(
        "in.xml", DocumentOf(WithDigest(FileElement(1, "a", "1000"), one) +
                             WithDigest(FileElement(2, "b", "1000"), one) +
                             WithDigest(FileElement(3, "c", "1000"), one) +
                             // Digests alone are not enough.
                             WithDigest(FileElement(4, "d", "2000"), one) +
                             WithDigest(FileElement(5, "e", "1000"), two) +
                             FileElement(6, "f", "1000")));
    const Result result = RunInventory({"show", in});
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ((Strings{"6   7000  6.8 KiB  (total)",
                       "5   6000  5.9 KiB  (files with a digest)",
                       "2   2000  2.0 KiB  (duplicates among them)"}),
              (Strings{Trimmed(Lines(result.out).at(6)),
                       Trimmed(Lines(result.out).at(7)),
                       Trimmed(Lines(result.out).at(8))}));
}

const struct SizeCase {
    int line;
    const char* bytes;
    const char* size;
} kSizeCases[] = {
    // line     bytes   size
    {__LINE__, "100", "100 B"},
    {__LINE__, "1023", "1023 B"},
    {__LINE__, "1024", "1.0 KiB"},
    {__LINE__, "1587", "1.5 KiB"},
    {__LINE__, "1588", "1.6 KiB"},
    {__LINE__, "1048524", "1023.9 KiB"},
    {__LINE__, "1048525", "1.0 MiB"},  // And not 1024.0 KiB.
    {__LINE__, "5497558138880", "5.0 TiB"},
    {__LINE__, "9223372036854775807", "8.0 EiB"},
    {__LINE__, "18446744073709551615", "16.0 EiB"},
};

TEST_F(InventoryTest, ShowPrintsSizesForPeople) {
    for (const SizeCase& row : kSizeCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const Result result = RunInventory(
            {"show",
             dir.Write("in.xml", DocumentOf(FileElement(1, "a", row.bytes)))});
        EXPECT_EQ(0, result.status) << result;
        EXPECT_EQ(std::string(row.bytes) + "  " + row.size + "  a",
                  Trimmed(Lines(result.out).back()));
    }
}

TEST_F(InventoryTest, ShowDoesNotWrapAroundWithSizesThatNoDiskHolds) {
    const std::string in = dir.Write(
        "in.xml", DocumentOf(FileElement(1, "a", "18446744073709551615") +
                             FileElement(2, "b", "18446744073709551615")));
    const Result result = RunInventory({"show", in});
    EXPECT_EQ(0, result.status) << result;
    EXPECT_TRUE(Contains(result.out,
                         "      2  18446744073709551615  16.0 EiB  (total)\n"))
        << result;
}

}  // namespace

}  // namespace InventoryTests
