// The inventory program: the bar on a terminal, and its colours.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>

#include "tests/inventory/Support.h"

namespace InventoryTests {

namespace {

const char* const kGreen = "\x1B[32m";
const char* const kRed = "\x1B[31m";

std::string WithoutColors(std::string text) {
    for (std::size_t at = text.find("\x1B["); at != std::string::npos;
         at = text.find("\x1B[", at)) {
        text.erase(at, text.find('m', at) - at + 1);
    }
    return text;
}

// The lines that were drawn, one over the other.
Strings Drawn(const std::string& bytes) {
    Strings lines;
    std::string text = WithoutColors(bytes);
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t end = std::min(text.find('\r', i), text.size());
        std::string line = text.substr(i, end - i);
        line.erase(line.find_last_not_of(' ') + 1);
        if (!line.empty() && line != "\n") {
            lines.push_back(line);
        }
        i = end + 1;
    }
    return lines;
}

// The number in front of `word`.
double NumberBefore(const std::string& line, const std::string& word) {
    const std::size_t end = line.find(word);
    if (end == std::string::npos) {
        return -1;
    }
    std::string digits = line.substr(0, end);
    digits.erase(0, digits.find_last_of(' ', digits.size() - 1) + 1);
    digits.erase(std::remove(digits.begin(), digits.end(), ','), digits.end());
    return std::stod(digits);
}

class BarTest : public DigestTest {
protected:
    BarTest() { terminal.onTerminal = true; }

    // The lines that are drawn at a file without end until there are enough;
    // a signal ends the program then.
    Strings DrawnAtAnEndlessFile(
        const Strings& arguments,
        const std::function<bool(const Strings&)>& areEnough) {
        std::string bytes;
        Strings lines;
        Setting setting = terminal;
        setting.meanwhile = [&](pid_t program, int error) {
            return WaitUntil([&] {
                       ReadSome(error, bytes);
                       // Not one that is only begun.
                       lines = Drawn(bytes.substr(0, bytes.rfind('\r') + 1));
                       return PositionIn(tree + "z", program) > 0 &&
                              areEnough(lines);
                   }) &&
                   ::kill(program, SIGINT) == 0;
        };
        last = RunInventory(arguments, setting);
        EXPECT_EQ("(signal 2)", last.end) << last;
        last.err.insert(0, bytes);
        return lines;
    }

    Setting terminal;
    Result last;
};

TEST_F(BarTest, ShowsBytesAndTimeOnceTheWholeIsKnown) {
    Write("a", "12345");
    // Not read in the time of the test, and in less than a hundred hours.
    Write("z", "");
    std::filesystem::resize_file(tree + "z", 1ULL << 37);
    // The first file came when the walk had not ended, perhaps; and nobody can
    // tell the time from the first bytes.
    const Strings lines = DrawnAtAnEndlessFile(
        {"create", tree, out, "--digest"}, [](const Strings& drawn) {
            return !drawn.empty() && Contains(drawn.back(), "%") &&
                   Contains(drawn.back(), "iB/s  ") &&
                   !Contains(drawn.back(), "?");
        });
    ASSERT_FALSE(lines.empty()) << last;
    const std::string& line = lines.back();
    EXPECT_EQ(0U, line.find("[----------")) << line;
    EXPECT_TRUE(Contains(line, "]   0 %  1 entries  ")) << line;
    EXPECT_TRUE(Contains(line, " files/s  ")) << line;
    EXPECT_LT(0, NumberBefore(line, " MiB/s") + NumberBefore(line, " KiB/s"));
    EXPECT_TRUE(Contains(line, ":")) << line;  // Minutes, and seconds.
    EXPECT_TRUE(Contains(line, " left")) << line;
}

TEST_F(BarTest, DoesNotGuessHowLongAWalkWillTake) {
    // More than may wait, so that the walk cannot end.
    WriteEndless("0");
    std::filesystem::rename(tree + "0", tree + "z");
    MakeDir("zz");
    for (int i = 0; i < 3000; ++i) {
        Write("zz/" + std::to_string(i), "");
    }
    Write("a", "12345");
    const Strings lines = DrawnAtAnEndlessFile(
        {"create", tree, out, "--digest"},
        [](const Strings& drawn) { return drawn.size() > 2; });
    ASSERT_LT(2U, lines.size()) << last;
    for (const std::string& line : lines) {
        EXPECT_EQ(0U, line.find("1 entries  ")) << line;
        EXPECT_TRUE(Contains(line, "  ? left")) << line;
        EXPECT_FALSE(Contains(line, "%")) << line;
    }
}

TEST_F(BarTest, FillsUpByTheWorkThatIsDone) {
    // Three files of 3 MB: the bar stands at thirds in between.
    for (const char* const name : {"a", "b", "c"}) {
        Write(name, "");
        std::filesystem::resize_file(tree + name, 3000000);
    }
    Create(terminal, {"--digest"});
    const Result verified = Verify(terminal, {"--digest"});
    EXPECT_EQ(0, verified.status) << verified;
    const Result copied =
        RunInventory({"copy", out, tree, dir / "copies"}, terminal);
    for (const std::string& bytes : {verified.err, copied.err}) {
        int checked = 0;
        for (const std::string& line : Drawn(bytes)) {
            const std::size_t end = line.find("] ");
            ASSERT_NE(std::string::npos, end) << line;
            const auto full = std::count(
                line.begin(), line.begin() + static_cast<long>(end), '#');
            const auto cells = static_cast<double>(end - 1);
            const double percent = NumberBefore(line.substr(end + 2), " %");
            EXPECT_NEAR(percent / 100, static_cast<double>(full) / cells,
                        1 / cells)
                << line;
            const double entries = NumberBefore(line, " entries");
            EXPECT_LE(entries * 33, percent) << line;
            EXPECT_GE((entries + 1) * 34, percent) << line;
            ++checked;
        }
        EXPECT_LT(0, checked);
        EXPECT_EQ((Strings{""}), Screen(bytes));
    }
}

TEST_F(BarTest, CountsEntriesWhereNothingIsRead) {
    for (int i = 0; i < 20; ++i) {
        Write(std::to_string(i), "12345");
    }
    Create();
    const Strings lines = Drawn(Verify(terminal).err);
    ASSERT_LE(1U, lines.size());
    // The first of 20, of which a twentieth of 30 cells is one. The rate is
    // over a tenth of a second at least.
    EXPECT_EQ(0U, lines[0].find("[#-----------------------------]   5 %  "
                                "1 entries  "))
        << lines[0];
    const double rate = NumberBefore(lines[0], " files/s  ");
    EXPECT_LE(0, rate) << lines[0];
    EXPECT_GE(10, rate) << lines[0];
    EXPECT_TRUE(Contains(lines[0], " left"));
}

const struct WidthCase {
    int line;
    unsigned short columns;
    const char* variable;
    std::size_t most;   // Columns that it may have.
    std::size_t width;  // That it has, give or take the digits of a rate.
} kWidthCases[] = {
    // line     terminal  COLUMNS         most  width
    {__LINE__, 0, "", 77, 72},
    {__LINE__, 0, "COLUMNS=50", 47, 39},
    {__LINE__, 0, "COLUMNS=x", 77, 72},
    {__LINE__, 0, "COLUMNS=-5", 77, 72},
    {__LINE__, 60, "", 57, 57},
    {__LINE__, 60, "COLUMNS=40", 57, 57},
    {__LINE__, 200, "", 197, 72},
    {__LINE__, 30, "", 27, 16},
    {__LINE__, 10, "", 7, 5},
    {__LINE__, 3, "", 0, 0},
    {__LINE__, 1, "", 0, 0},
};

TEST_F(BarTest, FitsIntoTheTerminal) {
    for (int i = 0; i < 20; ++i) {
        Write(std::to_string(i), "12345");
    }
    Create();
    for (const WidthCase& row : kWidthCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Setting setting = terminal;
        setting.columns = row.columns;
        setting.variables = {"TERM=xterm"};
        if (row.variable[0] != '\0') {
            setting.variables.emplace_back(row.variable);
        }
        const Result result = Verify(setting);
        EXPECT_EQ(0, result.status);
        std::size_t widest = 0;
        for (const std::string& line : Drawn(result.err)) {
            widest = std::max(widest, line.size());
        }
        EXPECT_LE(widest, row.most) << result;
        EXPECT_NEAR(static_cast<double>(row.width), static_cast<double>(widest),
                    1)
            << result;
    }
}

const struct ColorCase {
    int line;
    bool onTerminal;
    Strings variables;
    Strings options;
    bool colored;
} kColorCases[] = {
    // line     terminal  environment   options   colours
    {__LINE__, true, {"TERM=xterm"}, {}, true},
    {__LINE__, true, {"TERM=xterm"}, {"--color=auto"}, true},
    {__LINE__, true, {"TERM=xterm", "NO_COLOR="}, {}, true},
    {__LINE__, true, {"TERM=xterm", "NO_COLOR=1"}, {}, false},
    {__LINE__, true, {"TERM=xterm", "NO_COLOR=0"}, {}, false},
    {__LINE__, true, {"TERM=dumb"}, {}, false},
    {__LINE__, true, {"TERM="}, {}, false},
    {__LINE__, true, {}, {}, false},
    {__LINE__, true, {"TERM=xterm"}, {"--color=never"}, false},
    {__LINE__, true, {"TERM=dumb", "NO_COLOR=1"}, {"--color", "always"}, true},
    {__LINE__, false, {"TERM=xterm"}, {}, false},
    {__LINE__, false, {"TERM=xterm"}, {"--color=auto"}, false},
    {__LINE__, false, {}, {"--color=always"}, true},
};

TEST_F(BarTest, HasColoursWhereTheyAreWanted) {
    Write("a", "1");
    Write("\x01", "2");
    for (const ColorCase& row : kColorCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Setting setting;
        setting.onTerminal = row.onTerminal;
        setting.variables = row.variables;
        Create(setting, row.options);
        EXPECT_EQ(row.colored,
                  Contains(created.err, std::string(kRed) + "inventory:"))
            << created;
        EXPECT_EQ(row.colored, Contains(created.err, "\x1B")) << created;
        EXPECT_EQ((Strings{"inventory: escaped: %01", ""}),
                  Screen(created.err));

        const Result verified = Verify(setting, row.options);
        EXPECT_EQ(row.colored && row.onTerminal,
                  Contains(verified.err, std::string(kGreen) + "#"))
            << verified;
        EXPECT_EQ((Strings{""}), Screen(verified.err));
        EXPECT_FALSE(Contains(verified.out, "\x1B"));
    }
}

// Before the options are known, and for those that make no sense.
TEST_F(BarTest, HasColoursInComplaintsAboutOptions) {
    Setting setting;
    setting.onTerminal = true;
    setting.variables = {"TERM=xterm"};
    const Result result = RunInventory({"show", "--color=maybe", "x"}, setting);
    EXPECT_EQ(2, result.status);
    EXPECT_EQ(
        0U, result.err.find(std::string(kRed) + "inventory:\x1B[0m --color is"))
        << result;
}

}  // namespace

}  // namespace InventoryTests
