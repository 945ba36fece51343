// The contract of Bases/DateTimeFormat.h.
//
// A record in a table is At(...) of its year, month, day, hour, minute, second
// and milliseconds. Properties are checked against Formatted(), which reads a
// pattern byte by byte and looks a token up in the table of all tokens. The
// conversions of time values can be made to fail through the stand-ins below.

#include "Bases/DateTimeFormat.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <locale>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Allocation.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/Signature.h"
#include "tests/support/TimeZoneGuard.h"

namespace {

// The conversions that fail, and leave junk behind.
struct Failures {
    bool utc = false;
    bool local = false;
};

thread_local Failures failures;

std::tm* Fail(std::tm* fields) {
    std::memset(fields, 0x4a, sizeof *fields);
    return nullptr;
}

}  // namespace

extern "C" {

std::tm* gmtime_r(const std::time_t* seconds, std::tm* fields) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<std::tm*(const std::time_t*, std::tm*)>(
            "gmtime_r");
    return failures.utc ? Fail(fields) : next(seconds, fields);
}

std::tm* localtime_r(const std::time_t* seconds, std::tm* fields) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<std::tm*(const std::time_t*, std::tm*)>(
            "localtime_r");
    return failures.local ? Fail(fields) : next(seconds, fields);
}

}  // extern "C"

namespace {

using Novu::DateTimeFormatToString;
using Novu::GetDateTimeFormat;
using Novu::GetLocalDateTimeFormat;
using Novu::SysTime;
using NovuTest::Has;
using NovuTest::TimeZoneGuard;
using String = std::string;

static_assert(Has<void(const String&, const SysTime&, String&)>(
    Novu::DateTimeFormatToString));
static_assert(
    Has<bool(String&, const String&, const SysTime&)>(Novu::GetDateTimeFormat));
static_assert(
    Has<String(const String&, const SysTime&)>(Novu::GetDateTimeFormat));
static_assert(Has<bool(String&, const String&, const long long&)>(
    Novu::GetDateTimeFormat));
static_assert(
    Has<String(const String&, const long long&)>(Novu::GetDateTimeFormat));
static_assert(Has<bool(String&, const String&, const long long&)>(
    Novu::GetLocalDateTimeFormat));
static_assert(
    Has<String(const String&, const long long&)>(Novu::GetLocalDateTimeFormat));
static_assert(Has<bool(char*, unsigned long, const String&, const SysTime&)>(
    Novu::GetDateTimeFormat));
static_assert(Has<bool(char*, unsigned long, const String&, const long long&)>(
    Novu::GetLocalDateTimeFormat));
static_assert(Has<bool(char*, unsigned long, const String&, const long long&)>(
    Novu::GetDateTimeFormat));

// The day of the week and the marker are not formatted.
SysTime At(int year, int month, int day, int hour = 0, int minute = 0,
           int second = 0, int milliseconds = 0) {
    SysTime st{};
    st.year = static_cast<short>(year);
    st.month = static_cast<short>(month);
    st.dayOfWeek = 0x4a4a;
    st.day = static_cast<short>(day);
    st.hour = static_cast<short>(hour);
    st.minute = static_cast<short>(minute);
    st.second = static_cast<short>(second);
    st.milliseconds = static_cast<short>(milliseconds);
    st.marker = 0x4a4a;
    return st;
}

const String kLetters = "FHMSTYdfhmsty";

// 5 March 2024, 07:08:09.045.
const SysTime kMorning = At(2024, 3, 5, 7, 8, 9, 45);

int Year(const SysTime& st) { return st.year; }
int Century(const SysTime& st) { return st.year / 100; }
int Month(const SysTime& st) { return st.month; }
int Day(const SysTime& st) { return st.day; }
int Hour(const SysTime& st) { return st.hour; }
int HourOf12(const SysTime& st) {
    return st.hour >= 13 ? st.hour - 12 : st.hour;
}
int Minute(const SysTime& st) { return st.minute; }
int Second(const SysTime& st) { return st.second; }
int Tenths(const SysTime& st) { return st.milliseconds / 100; }
int Hundredths(const SysTime& st) { return st.milliseconds / 10; }
int Milliseconds(const SysTime& st) { return st.milliseconds; }
int IsAfternoon(const SysTime& st) { return st.hour > 11 ? 1 : 0; }

const struct Token {
    const char* text;
    int (*value)(const SysTime& st);
    const char* format;  // Of printf.
    bool isEmptyForZero;
    short SysTime::*field;  // That the value is made of.
} kTokens[] = {
    {"y", Century, "%d", false, &SysTime::year},
    {"yy", Century, "%02d", false, &SysTime::year},
    {"yyy", Year, "%03d", false, &SysTime::year},
    {"yyyy", Year, "%04d", false, &SysTime::year},
    {"M", Month, "%d", false, &SysTime::month},
    {"MM", Month, "%02d", false, &SysTime::month},
    {"d", Day, "%d", false, &SysTime::day},
    {"dd", Day, "%02d", false, &SysTime::day},
    {"h", HourOf12, "%d", false, &SysTime::hour},
    {"hh", HourOf12, "%02d", false, &SysTime::hour},
    {"H", Hour, "%d", false, &SysTime::hour},
    {"HH", Hour, "%02d", false, &SysTime::hour},
    {"m", Minute, "%d", false, &SysTime::minute},
    {"mm", Minute, "%02d", false, &SysTime::minute},
    {"s", Second, "%d", false, &SysTime::second},
    {"ss", Second, "%02d", false, &SysTime::second},
    {"f", Tenths, "%d", false, &SysTime::milliseconds},
    {"ff", Hundredths, "%02d", false, &SysTime::milliseconds},
    {"fff", Milliseconds, "%03d", false, &SysTime::milliseconds},
    {"F", Tenths, "%d", true, &SysTime::milliseconds},
    {"FF", Hundredths, "%02d", true, &SysTime::milliseconds},
    {"FFF", Milliseconds, "%03d", true, &SysTime::milliseconds},
    {"t", IsAfternoon, nullptr, false, &SysTime::hour},
    {"tt", IsAfternoon, nullptr, false, &SysTime::hour},
};

String Expanded(const Token& token, const SysTime& st) {
    const int value = token.value(st);
    if (token.format == nullptr) {
        return String(value != 0 ? "PM" : "AM")
            .substr(0, std::strlen(token.text));
    }
    if (token.isEmptyForZero && value == 0) {
        return "";
    }
    char text[255] = {};
    std::snprintf(text, sizeof text, token.format, value);
    return text;
}

String Expanded(const String& token, const SysTime& st) {
    for (const Token& row : kTokens) {
        if (std::strcmp(token.c_str(), row.text) == 0 &&
            token.find('\0') == String::npos) {
            return Expanded(row, st);
        }
    }
    return token;
}

String Formatted(const String& pattern, const SysTime& st) {
    String out;
    String token;
    for (const char c : pattern) {
        if (kLetters.find(c) != String::npos) {
            token.push_back(c);
        } else {
            out += Expanded(token, st);
            token.clear();
            out.push_back(c);
        }
    }
    out += Expanded(token, st);
    return out;
}

SysTime RandomRecord(std::mt19937_64& random) {
    const auto field = [&random] {
        return static_cast<short>(random() >> (48 + random() % 16));
    };
    return At(field(), field(), field(), field(), field(), field(), field());
}

// Tokens

const struct PatternCase {
    int line;
    SysTime st;
    const char* pattern;
    const char* text;
} kPatternCases[] = {
    // line    st        pattern  text
    {__LINE__, kMorning, "yyyy-MM-dd HH:mm:ss.fff", "2024-03-05 07:08:09.045"},
    {__LINE__, kMorning, "d/M/yy", "5/3/20"},
    {__LINE__, kMorning, "yyy", "2024"},
    {__LINE__, kMorning, "h:mm tt", "7:08 AM"},
    {__LINE__, kMorning, "t", "A"},
    {__LINE__, kMorning, "f", "0"},
    {__LINE__, kMorning, "ff", "04"},
    {__LINE__, kMorning, "F", ""},
    {__LINE__, kMorning, "FF", "04"},
    {__LINE__, kMorning, "FFF", "045"},
    {__LINE__, At(2024, 3, 5, 0, 30), "hh tt", "00 AM"},
    {__LINE__, At(2024, 3, 5, 12), "hh tt", "12 PM"},
    {__LINE__, At(2024, 3, 5, 13), "h", "1"},
    {__LINE__, kMorning, "yyyyMMdd", "yyyyMMdd"},
    {__LINE__, kMorning, "yyyy.MM.dd", "2024.03.05"},
    {__LINE__, kMorning, "Week W", "Week W"},
    {__LINE__, At(2024, 3, 5, 7), "Sat", "SaA"},
    {__LINE__, kMorning, "", ""},

    // Each token by itself.
    {__LINE__, kMorning, "y", "20"},
    {__LINE__, kMorning, "yy", "20"},
    {__LINE__, kMorning, "yyyy", "2024"},
    {__LINE__, kMorning, "M", "3"},
    {__LINE__, kMorning, "MM", "03"},
    {__LINE__, kMorning, "d", "5"},
    {__LINE__, kMorning, "dd", "05"},
    {__LINE__, kMorning, "h", "7"},
    {__LINE__, kMorning, "hh", "07"},
    {__LINE__, kMorning, "H", "7"},
    {__LINE__, kMorning, "HH", "07"},
    {__LINE__, kMorning, "m", "8"},
    {__LINE__, kMorning, "mm", "08"},
    {__LINE__, kMorning, "s", "9"},
    {__LINE__, kMorning, "ss", "09"},
    {__LINE__, kMorning, "fff", "045"},
    {__LINE__, kMorning, "tt", "AM"},
    {__LINE__, At(2024, 12, 31, 23, 59, 58, 987), "M d H h m s f F t",
     "12 31 23 11 59 58 9 9 P"},
    {__LINE__, At(2024, 12, 31, 23, 59, 58, 987), "MM dd HH hh mm ss ff FF tt",
     "12 31 23 11 59 58 98 98 PM"},

    // [datetimeformat-1] The century.
    {__LINE__, At(1999, 1, 1), "y yy", "19 19"},
    {__LINE__, At(987, 1, 1), "y yy yyy yyyy", "9 09 987 0987"},
    {__LINE__, At(87, 1, 1), "y yy yyy yyyy", "0 00 087 0087"},
    {__LINE__, At(32767, 1, 1), "y yy yyy yyyy", "327 327 32767 32767"},

    // [datetimeformat-2] Midnight is 0 and noon is 12.
    {__LINE__, At(2024, 1, 1, 0), "h hh H HH t tt", "0 00 0 00 A AM"},
    {__LINE__, At(2024, 1, 1, 1), "h hh H HH t tt", "1 01 1 01 A AM"},
    {__LINE__, At(2024, 1, 1, 11), "h hh H HH t tt", "11 11 11 11 A AM"},
    {__LINE__, At(2024, 1, 1, 12), "h hh H HH t tt", "12 12 12 12 P PM"},
    {__LINE__, At(2024, 1, 1, 13), "h hh H HH t tt", "1 01 13 13 P PM"},
    {__LINE__, At(2024, 1, 1, 23), "h hh H HH t tt", "11 11 23 23 P PM"},
    {__LINE__, At(2024, 1, 1, 24), "h hh H HH t tt", "12 12 24 24 P PM"},

    // Nothing for 0 parts of a second.
    {__LINE__, At(0, 0, 0), "F.FF.FFF.f.ff.fff", "...0.00.000"},
    {__LINE__, At(0, 0, 0, 0, 0, 0, 9), "F.FF.FFF", "..009"},
    {__LINE__, At(0, 0, 0, 0, 0, 0, 99), "F.FF.FFF", ".09.099"},
    {__LINE__, At(0, 0, 0, 0, 0, 0, 100), "F.FF.FFF", "1.10.100"},

    // Negative numbers: division towards zero, the sign among the digits.
    {__LINE__, At(-1, 1, 1), "y yy yyy yyyy", "0 00 -01 -001"},
    {__LINE__, At(-199, 1, 1), "y yy yyy yyyy", "-1 -1 -199 -199"},
    {__LINE__, At(-32768, 1, 1), "y yyyy", "-327 -32768"},
    {__LINE__, At(1, -1, -10, -1, 0, -5), "MM dd hh ss", "-1 -10 -1 -5"},
    {__LINE__, At(0, 0, 0, 0, 0, 0, -1), "f ff fff", "0 00 -01"},
    {__LINE__, At(0, 0, 0, 0, 0, 0, -99), "F FF FFF", " -9 -99"},

    // [datetimeformat-3] No letter stands for itself.
    {__LINE__, kMorning, "'d' \\d \"d\" %d [d] dd", "'5' \\5 \"5\" %5 [5] 05"},
    {__LINE__, kMorning, "To day", "To 5a20"},

    // Runs that are no token.
    {__LINE__, kMorning, "S T Y SS TT YY YYYY", "S T Y SS TT YY YYYY"},
    {__LINE__, kMorning, "ddd HHH hhh MMM mmm sss", "ddd HHH hhh MMM mmm sss"},
    {__LINE__, kMorning, "ttt ffff FFFF yyyyy", "ttt ffff FFFF yyyyy"},
    {__LINE__, kMorning, "HHmm hH mM Ff fF yM", "HHmm hH mM Ff fF yM"},
    {__LINE__, kMorning, "yyyyd", "yyyyd"},
    {__LINE__, kMorning, "HHmmss.fff", "HHmmss.045"},

    // A format of printf in the pattern is text.
    {__LINE__, kMorning, "%%n%x%i %08lx%", "%%n%x%i %08lx%"},
    {__LINE__, kMorning, "%s%d", "%9%5"},
};

// [datetimeformat-1] [datetimeformat-2] [datetimeformat-3]
TEST(DateTimeFormatTest, Patterns) {
    for (const PatternCase& row : kPatternCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const bool isSome = *row.text != '\0';
        String out = "junk";
        EXPECT_EQ(isSome, GetDateTimeFormat(out, row.pattern, row.st));
        EXPECT_EQ(row.text, out);
        EXPECT_EQ(row.text, GetDateTimeFormat(row.pattern, row.st));
        char buffer[80] = "junk";
        EXPECT_EQ(isSome, GetDateTimeFormat(buffer, sizeof buffer, row.pattern,
                                            row.st));
        EXPECT_STREQ(isSome ? row.text : "junk", buffer);
        EXPECT_EQ(row.text, Formatted(row.pattern, row.st));
    }
}

TEST(DateTimeFormatTest, AnExpansionIsAppended) {
    String out = "so far ";
    DateTimeFormatToString("yyyy", kMorning, out);
    EXPECT_EQ("so far 2024", out);
    DateTimeFormatToString("", kMorning, out);
    EXPECT_EQ("so far 2024", out);
    DateTimeFormatToString("F", kMorning, out);
    EXPECT_EQ("so far 2024", out);
    DateTimeFormatToString("tt", kMorning, out);
    EXPECT_EQ("so far 2024AM", out);
    DateTimeFormatToString("yyyyMM", kMorning, out);
    EXPECT_EQ("so far 2024AMyyyyMM", out);
    // What is given is one token, letters or not.
    DateTimeFormatToString("yyyy-MM", kMorning, out);
    EXPECT_EQ("so far 2024AMyyyyMMyyyy-MM", out);
    DateTimeFormatToString(String("y\0", 2), kMorning, out);
    EXPECT_EQ(String("so far 2024AMyyyyMMyyyy-MMy\0", 28), out);
}

// Every value of 16 bits of the field that a token shows, beside others that it
// does not.
TEST(DateTimeFormatTest, EveryValueOfEveryFieldIsPrintedAsByPrintf) {
    for (const Token& token : kTokens) {
        const String pattern = token.text;
        String out;
        for (int value = SHRT_MIN; value <= SHRT_MAX; ++value) {
            SysTime st = At(1111, 2222, 3333, 4444, 5555, 6666, 7777);
            st.*token.field = static_cast<short>(value);
            out.clear();
            DateTimeFormatToString(pattern, st, out);
            ASSERT_EQ(Expanded(token, st), out) << pattern << " of " << value;
        }
    }
}

TEST(DateTimeFormatTest, EveryRunOfUpToFourLettersIsATokenOrCopied) {
    const SysTime st = At(1987, 10, 11, 22, 13, 14, 567);
    std::vector<String> runs = {""};
    for (std::size_t at = 0; at < runs.size(); ++at) {
        const String run = runs[at];
        String out = "<";
        DateTimeFormatToString(run, st, out);
        ASSERT_EQ("<" + Expanded(run, st), out);
        ASSERT_EQ(Expanded(run, st), GetDateTimeFormat(run, st));
        for (const char letter : run.size() < 4 ? kLetters : String()) {
            runs.push_back(run + letter);
        }
    }
    EXPECT_EQ(1U + 13 + 13 * 13 + 13 * 13 * 13 + 13 * 13 * 13 * 13,
              runs.size());
}

TEST(DateTimeFormatTest, EveryByteIsALetterOrCopied) {
    for (int value = 0; value <= UCHAR_MAX; ++value) {
        const String byte(1, static_cast<char>(value));
        const bool isLetter = kLetters.find(byte) != String::npos;
        String out = "junk";
        EXPECT_EQ(byte != "F", GetDateTimeFormat(out, byte, kMorning)) << value;
        EXPECT_EQ(isLetter ? Expanded(byte, kMorning) : byte, out) << value;

        const String pattern = "yyyy" + byte + "MM";
        EXPECT_TRUE(GetDateTimeFormat(out, pattern, kMorning)) << value;
        EXPECT_EQ(isLetter ? pattern : "2024" + byte + "03", out) << value;

        out = "junk";
        DateTimeFormatToString(byte, kMorning, out);
        EXPECT_EQ("junk" + Expanded(byte, kMorning), out) << value;
    }
}

TEST(DateTimeFormatTest, ZeroBytesAreLiterals) {
    using namespace std::string_literals;
    String out = "junk";
    EXPECT_TRUE(GetDateTimeFormat(out, "yyyy\0MM\0\0"s, kMorning));
    EXPECT_EQ("2024\00003\0\0"s, out);
    EXPECT_TRUE(GetDateTimeFormat(out, "\0"s, kMorning));
    EXPECT_EQ("\0"s, out);
    char buffer[] = "JJJJJ";
    EXPECT_FALSE(GetDateTimeFormat(buffer, 4, "\0d\0d"s, kMorning));
    EXPECT_STREQ("JJJJJ", buffer);
    EXPECT_TRUE(GetDateTimeFormat(buffer, 5, "\0d\0d"s, kMorning));
    EXPECT_EQ("\0005\0005\0"s, String(buffer, 5));
}

TEST(DateTimeFormatTest, RunsOfAnyLengthAreCopied) {
    for (const std::size_t length :
         std::array<std::size_t, 6>{254, 255, 256, 300, 4096, 100000}) {
        for (const char letter : kLetters) {
            const String run(length, letter);
            String out;
            DateTimeFormatToString(run, kMorning, out);
            ASSERT_EQ(run, out) << letter;
            ASSERT_TRUE(GetDateTimeFormat(out, "d " + run + ":d", kMorning));
            ASSERT_EQ("5 " + run + ":5", out) << letter;
        }
    }
    String pattern;
    String text;
    for (int count = 0; count < 5000; ++count) {
        pattern += "yyyy+";
        text += "2024+";
    }
    EXPECT_EQ(text, GetDateTimeFormat(pattern, kMorning));
}

TEST(DateTimeFormatTest, AnyPatternIsReadByteByByte) {
    const std::mt19937_64::result_type seed = 20250317;
    std::mt19937_64 random(seed);
    const String literals(" -:./%,'\\aZ0\n\x80\xff\0", 16);
    String out;
    for (int round = 0; round < 100000; ++round) {
        String pattern;
        for (auto pieces = random() % 10; pieces != 0; --pieces) {
            switch (random() % 4) {
                case 0:
                    pattern.push_back(kLetters[random() % kLetters.size()]);
                    break;
                case 1:
                    pattern += kTokens[random() % std::size(kTokens)].text;
                    break;
                default:
                    pattern += kTokens[random() % std::size(kTokens)].text;
                    pattern.push_back(literals[random() % literals.size()]);
            }
        }
        const SysTime st = RandomRecord(random);
        const String expected = Formatted(pattern, st);
        ASSERT_EQ(!expected.empty(), GetDateTimeFormat(out, pattern, st))
            << "seed " << seed << ": " << pattern;
        ASSERT_EQ(expected, out) << "seed " << seed << ": " << pattern;
    }
}

// However much text stands before a token, or between two.
TEST(DateTimeFormatTest, TokensStandAtEveryPlace) {
    // Every number at its longest.
    const SysTime st =
        At(-32768, -32767, -32766, -32765, -32764, -32763, -32762);
    for (std::size_t length = 0; length <= 300; ++length) {
        for (const char filler : {' ', 'S'}) {
            // With a run of letters that stands for nothing, too.
            const String pattern = String(length, filler) + "|yyyy-MM-dd HH|" +
                                   String(length, filler) + "|fff";
            ASSERT_EQ(Formatted(pattern, st), GetDateTimeFormat(pattern, st))
                << length << " of " << filler;
        }
    }
    String tokens;
    for (std::size_t count = 0; count <= 100; ++count) {
        ASSERT_EQ(Formatted(tokens, st), GetDateTimeFormat(tokens, st))
            << count;
        tokens += count % 3 == 0 ? "yyyy " : "FFF\\";
    }
}

// Digits are not those of a locale.
TEST(DateTimeFormatTest, NumbersAreNotGrouped) {
    struct Grouped : std::numpunct<char> {
        char do_thousands_sep() const override { return ','; }
        String do_grouping() const override { return "\1"; }
    };
    const std::locale earlier =
        std::locale::global(std::locale(std::locale(), new Grouped));
    const String text = GetDateTimeFormat("yyyy fff", kMorning);
    std::locale::global(earlier);
    EXPECT_EQ("2024 045", text);
}

// Results

TEST(DateTimeFormatTest, APatternThatFitsIsFormattedWithoutAllocating) {
    std::string pattern(300, 'y');
    pattern += "|yyyy-MM-dd hh:HH:mm:ss.fff FFF tt t|";
    std::string out;
    out.reserve(1000);
    const SysTime st = {2024, 3, 2, 5, 7, 8, 9, 45, -1};
    const NovuTest::FailingAllocation failing(1);
    EXPECT_NO_THROW(Novu::GetDateTimeFormat(out, pattern, st));
}

TEST(DateTimeFormatTest, AnEmptyResultIsFalseAndClearsTheText) {
    const SysTime st = At(2024, 3, 5, 7, 8, 9, 0);
    for (const char* const pattern : {"", "F", "FF", "FFF"}) {
        String out = "junk";
        EXPECT_FALSE(GetDateTimeFormat(out, pattern, st)) << pattern;
        EXPECT_EQ("", out) << pattern;
        EXPECT_EQ("", GetDateTimeFormat(pattern, st)) << pattern;
        out = "junk";
        EXPECT_FALSE(GetDateTimeFormat(out, pattern, 1000LL)) << pattern;
        EXPECT_EQ("", out) << pattern;
        EXPECT_EQ("", GetDateTimeFormat(pattern, 1000LL)) << pattern;
        out = "junk";
        EXPECT_FALSE(GetLocalDateTimeFormat(out, pattern, 1000LL)) << pattern;
        EXPECT_EQ("", out) << pattern;
        EXPECT_EQ("", GetLocalDateTimeFormat(pattern, 1000LL)) << pattern;

        char buffer[] = "junk";
        EXPECT_FALSE(GetDateTimeFormat(buffer, 5, pattern, st)) << pattern;
        EXPECT_FALSE(GetDateTimeFormat(buffer, 5, pattern, 1000LL)) << pattern;
        EXPECT_FALSE(GetLocalDateTimeFormat(buffer, 5, pattern, 1000LL))
            << pattern;
        EXPECT_STREQ("junk", buffer) << pattern;
    }
}

// The text is cleared before the pattern is read.
TEST(DateTimeFormatTest, APatternThatIsTheTextIsLost) {
    String text = "yyyy-MM-dd";
    EXPECT_FALSE(GetDateTimeFormat(text, text, kMorning));
    EXPECT_EQ("", text);
    text = "yyyy-MM-dd";
    EXPECT_FALSE(GetDateTimeFormat(text, text, 0LL));
    EXPECT_EQ("", text);
    text = "yyyy-MM-dd";
    EXPECT_FALSE(GetLocalDateTimeFormat(text, text, 0LL));
    EXPECT_EQ("", text);
}

TEST(DateTimeFormatTest, ATokenCanBeTheText) {
    String text = "yyyy";
    DateTimeFormatToString(text, kMorning, text);
    EXPECT_EQ("yyyy2024", text);
    for (const std::size_t length :
         std::array<std::size_t, 4>{3, 15, 16, 300}) {
        text.assign(length, 'd');
        text.shrink_to_fit();
        DateTimeFormatToString(text, kMorning, text);
        EXPECT_EQ(String(2 * length, 'd'), text);
    }
}

// The forms with a buffer, of one result in UTC.
const long long kTime = 1709622489045;
using BufferForm = bool (*)(char* buf, unsigned long size,
                            const String& pattern);
const BufferForm kBufferForms[] = {
    [](char* buf, unsigned long size, const String& pattern) {
        return GetDateTimeFormat(buf, size, pattern, kMorning);
    },
    [](char* buf, unsigned long size, const String& pattern) {
        return GetDateTimeFormat(buf, size, pattern, kTime);
    },
    [](char* buf, unsigned long size, const String& pattern) {
        return GetLocalDateTimeFormat(buf, size, pattern, kTime);
    },
};

TEST(DateTimeFormatTest, ABufferIsFilledWhereTheTextAndItsEndFit) {
    const TimeZoneGuard guard("UTC0");
    const String text = "2024-03-05";
    for (const BufferForm format : kBufferForms) {
        for (unsigned long size = 0; size <= 20; ++size) {
            // Of exactly that size.
            const std::unique_ptr<char[]> buffer(new char[size]);
            std::memset(buffer.get(), 'J', size);
            const bool fits = size >= 11;
            EXPECT_EQ(fits, format(buffer.get(), size, "yyyy-MM-dd")) << size;
            String expected(size, 'J');
            if (fits) {
                expected.replace(0, 11, text.c_str(), 11);
            }
            EXPECT_EQ(expected, String(buffer.get(), size));
        }
        char buffer[] = "JJJJJJJJJJJJJJJ";
        EXPECT_TRUE(format(buffer, ULONG_MAX, "yyyy-MM-dd"));
        EXPECT_EQ(String("2024-03-05\0JJJJ", 15), String(buffer, 15));
    }
}

TEST(DateTimeFormatTest, WithoutABufferNothingIsFormatted) {
    const String pattern(300, 'd');
    for (const BufferForm format : kBufferForms) {
        char buffer = 'J';
        bool isDone = true;
        // No text is built, since that would throw.
        const NovuTest::FailingAllocation failing(1);
        EXPECT_NO_THROW(isDone = format(nullptr, 0, pattern));
        EXPECT_FALSE(isDone);
        EXPECT_NO_THROW(isDone = format(nullptr, 1000, pattern));
        EXPECT_FALSE(isDone);
        EXPECT_NO_THROW(isDone = format(&buffer, 0, pattern));
        EXPECT_FALSE(isDone);
        EXPECT_EQ('J', buffer);
        EXPECT_THROW(format(&buffer, 1, pattern), std::bad_alloc);
    }
}

TEST(DateTimeFormatTest, WithoutMemoryABufferIsLeftAlone) {
    const String pattern(300, 'd');
    for (const BufferForm format : kBufferForms) {
        char buffer[301] = "junk";
        const unsigned long allocations = NovuTest::FailEachAllocation(
            [&] { EXPECT_TRUE(format(buffer, sizeof buffer, pattern)); },
            [&] { EXPECT_STREQ("junk", buffer); });
        EXPECT_LE(1UL, allocations);
        EXPECT_EQ(pattern, buffer);
    }
}

// Time values

const char* const kPattern = "yyyy-MM-dd HH:mm:ss.fff";

const struct TimeCase {
    int line;
    const char* zone;
    long long t;
    const char* local;
    const char* utc;
} kTimeCases[] = {
    {__LINE__, "UTC0", kTime, "2024-03-05 07:08:09.045",
     "2024-03-05 07:08:09.045"},
    {__LINE__, "IST-5:30", kTime, "2024-03-05 12:38:09.045",
     "2024-03-05 07:08:09.045"},
    {__LINE__, "NZST-12NZDT,M9.5.0,M4.1.0/3", 1704023999999,
     "2024-01-01 00:59:59.999", "2023-12-31 11:59:59.999"},
    {__LINE__, "EST5EDT,M3.2.0,M11.1.0", 1709251199999,
     "2024-02-29 18:59:59.999", "2024-02-29 23:59:59.999"},
    {__LINE__, "EST5EDT,M3.2.0,M11.1.0", 0, "1969-12-31 19:00:00.000",
     "1970-01-01 00:00:00.000"},
    {__LINE__, "CET-1CEST,M3.5.0,M10.5.0/3", 1711846799999,
     "2024-03-31 01:59:59.999", "2024-03-31 00:59:59.999"},
    {__LINE__, "CET-1CEST,M3.5.0,M10.5.0/3", 1711846800000,
     "2024-03-31 03:00:00.000", "2024-03-31 01:00:00.000"},
    {__LINE__, "NPT-5:45", -1, "1970-01-01 05:45:00.-01",
     "1970-01-01 00:00:00.-01"},
};

// What each form with a time value makes of `t`, and the one into a buffer that
// is of UTC.
void ExpectTexts(const char* local, const char* utc, long long t) {
    String out = "junk";
    EXPECT_TRUE(GetDateTimeFormat(out, kPattern, t));
    EXPECT_EQ(local, out);
    EXPECT_EQ(local, GetDateTimeFormat(kPattern, t));
    out = "junk";
    EXPECT_TRUE(GetLocalDateTimeFormat(out, kPattern, t));
    EXPECT_EQ(local, out);
    EXPECT_EQ(local, GetLocalDateTimeFormat(kPattern, t));
    char buffer[80] = "junk";
    EXPECT_TRUE(GetLocalDateTimeFormat(buffer, sizeof buffer, kPattern, t));
    EXPECT_STREQ(local, buffer);
    EXPECT_TRUE(GetDateTimeFormat(buffer, sizeof buffer, kPattern, t));
    EXPECT_STREQ(utc, buffer);
}

// [datetimeformat-4]
TEST(DateTimeFormatTest, TimeValuesAreInLocalTimeButForOneForm) {
    for (const TimeCase& row : kTimeCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const TimeZoneGuard guard(row.zone);
        ExpectTexts(row.local, row.utc, row.t);
    }
}

TEST(DateTimeFormatTest, ATimeValueWithoutFieldsIsAllZero) {
    const char* const zero = "0000-00-00 00:00:00.000";
    for (const TimeCase& row : kTimeCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const TimeZoneGuard guard(row.zone);
        failures.local = true;
        ExpectTexts(zero, row.utc, row.t);
        failures = {false, false};
        failures.utc = true;
        ExpectTexts(row.local, zero, row.t);
        failures = {false, false};
    }
    failures.local = true;
    EXPECT_EQ("0 00 0 00 AM ", GetDateTimeFormat("y yy h hh tt FFF", kTime));
    EXPECT_EQ("", GetLocalDateTimeFormat("FFF", kTime));
    failures = {};
}

}  // namespace
