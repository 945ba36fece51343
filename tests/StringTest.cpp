// The contract of Bases/String.h.
//
// What a facet answers is scripted by locales with a facet of the test's own;
// what the C library answers, by the stand-ins for mbstowcs and wcstombs below.
// Real conversions run under the locale C.utf8, which the tests install and
// take back.

#include "Bases/String.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

#include "tests/support/Allocation.h"
#include "tests/support/GlobalLocale.h"
#include "tests/support/NextSymbol.h"

namespace {

struct Call {
    bool measures;  // No destination was given.
    std::size_t limit;
};

// What mbstowcs and wcstombs are to answer, one call after the other; without
// a script they are the C library's.
struct Script {
    std::vector<std::size_t> answers;
    std::vector<Call> calls;
};

thread_local Script* script = nullptr;

template <typename Function, typename Out, typename In>
std::size_t Scripted(Function* next, Out* out, const In* text,
                     std::size_t limit) {
    if (script == nullptr) {
        return next(out, text, limit);
    }
    script->calls.push_back({out == nullptr, limit});
    const std::size_t index = script->calls.size() - 1;
    if (index < script->answers.size()) {
        return script->answers[index];
    }
    return next(out, text, limit);
}

}  // namespace

size_t mbstowcs(wchar_t* out, const char* text, size_t limit) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<std::size_t(wchar_t*, const char*, std::size_t)>(
            "mbstowcs");
    return Scripted(next, out, text, limit);
}

size_t wcstombs(char* out, const wchar_t* text, size_t limit) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<std::size_t(char*, const wchar_t*, std::size_t)>(
            "wcstombs");
    return Scripted(next, out, text, limit);
}

namespace {

using namespace Novu;
using NovuTest::GlobalLocale;
using std::string;
using std::wstring;

const auto kCountError = static_cast<std::size_t>(-1);

class ScriptedCounts {
public:
    explicit ScriptedCounts(std::vector<std::size_t> answers = {}) {
        counts.answers = std::move(answers);
        script = &counts;
    }
    ScriptedCounts(const ScriptedCounts&) = delete;
    ScriptedCounts& operator=(const ScriptedCounts&) = delete;
    ~ScriptedCounts() { script = nullptr; }

    const std::vector<Call>& Calls() const { return counts.calls; }

private:
    Script counts;
};

std::locale Utf8() { return std::locale("C.utf8"); }

// Characters written as numbers, so that no source encoding comes between.
const string kAccented = "\xc3\xa9";                // U+00E9
const string kHangul = "\xed\x95\x9c\xea\xb8\x80";  // U+D55C U+AE00
const string kAstral = "\xf0\x9f\x98\x80";          // U+1F600
const wstring kWideAccented = {wchar_t{0xe9}};
const wstring kWideHangul = {wchar_t{0xd55c}, wchar_t{0xae00}};
const wstring kWideAstral = {wchar_t{0x1f600}};

// A facet that notes what it is asked and answers as it is told.
class ScriptedFacet : public std::codecvt<wchar_t, char, std::mbstate_t> {
public:
    struct Plan {
        result answer = ok;
        std::size_t writes = 0;  // 'w' so many times; at most to the bound.
        int width = 1;           // Answered as max_length.

        // As asked, at the last call.
        std::size_t textSize = 0;
        std::size_t room = 0;
        bool zeroed = false;  // The buffer and the state, on entry.
    };

    explicit ScriptedFacet(Plan& filled) : plan(filled) {}

protected:
    result do_in(std::mbstate_t& state, const char* from, const char* fromEnd,
                 const char*& fromNext, wchar_t* to, wchar_t* toEnd,
                 wchar_t*& toNext) const override {
        fromNext = from;
        return Convert(state, fromEnd - from, to, toEnd, toNext);
    }

    result do_out(std::mbstate_t& state, const wchar_t* from,
                  const wchar_t* fromEnd, const wchar_t*& fromNext, char* to,
                  char* toEnd, char*& toNext) const override {
        fromNext = from;
        return Convert(state, fromEnd - from, to, toEnd, toNext);
    }

    int do_max_length() const noexcept override { return plan.width; }

private:
    template <typename Char>
    result Convert(const std::mbstate_t& state, std::ptrdiff_t textSize,
                   Char* to, Char* toEnd, Char*& toNext) const {
        plan.textSize = static_cast<std::size_t>(textSize);
        plan.room = static_cast<std::size_t>(toEnd - to);
        plan.zeroed = std::mbsinit(&state) != 0 &&
                      std::all_of(to, toEnd, [](Char c) { return c == 0; });
        toNext = std::fill_n(to, std::min(plan.writes, plan.room), Char{'w'});
        return plan.answer;
    }

    Plan& plan;
};

std::locale Scripting(ScriptedFacet::Plan& plan) {
    // The locale owns the facet.
    return {std::locale::classic(), new ScriptedFacet(plan)};
}

// The type and the message of what `call` throws.
string Thrown(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::exception& error) {
        const string what = error.what();
        if (typeid(error) == typeid(std::runtime_error)) {
            return "runtime_error: " + what;
        }
        if (typeid(error) == typeid(std::logic_error)) {
            return "logic_error: " + what;
        }
        return "another exception: " + what;
    }
    return "nothing";
}

const char* const kCannotWiden =
    "runtime_error: can't convert string to wstring";
const char* const kCannotNarrow =
    "runtime_error: can't convert wstring to string";
const char* const kInvalidUtf8 = "runtime_error: Invalid UTF-8 sequence.";
const char* const kInvalidWide = "runtime_error: Invalid wide string sequence.";
const char* const kEmpty = "runtime_error: Error in conversion.";
const char* const kUnknown = "runtime_error: Unknown Error";
const char* const kFromNull =
    "logic_error: basic_string: construction from null is not valid";

// mbs_to_wcs and wcs_to_mbs

const struct WidenCase {
    int line;
    string narrow;
    wstring wide;
} kWidenCases[] = {
    {__LINE__, "", L""},
    {__LINE__, "a", L"a"},
    {__LINE__, "plain text", L"plain text"},
    {__LINE__, kAccented, kWideAccented},
    {__LINE__, kHangul, kWideHangul},
    {__LINE__, kAstral, kWideAstral},
    {__LINE__, "a" + kAstral + "b", L"a" + kWideAstral + L"b"},
};

TEST(StringTest, ConvertsBetweenNarrowAndWideByALocale) {
    for (const WidenCase& row : kWidenCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        EXPECT_EQ(row.wide, mbs_to_wcs(row.narrow, Utf8()));
        EXPECT_EQ(row.wide, tcs_to_wcs(row.narrow, Utf8()));
        EXPECT_EQ(row.narrow, wcs_to_mbs(row.wide, Utf8()));
        EXPECT_EQ(row.narrow, wcs_to_tcs(row.wide, Utf8()));
    }
}

// [string-1]
TEST(StringTest, AnEmbeddedZeroShortensTheResult) {
    const string narrow("ab\0cd", 5);
    const wstring wide(L"ab\0cd", 5);
    for (const std::locale& loc : {Utf8(), std::locale::classic()}) {
        EXPECT_EQ(L"ab", mbs_to_wcs(narrow, loc));
        EXPECT_EQ("ab", wcs_to_mbs(wide, loc));
        EXPECT_EQ(L"", mbs_to_wcs(string(1, '\0'), loc));
        EXPECT_EQ("", wcs_to_mbs(wstring(1, L'\0'), loc));
    }
    const GlobalLocale utf8("C.utf8");
    EXPECT_EQ(L"ab", utf8_to_wcs(narrow));
    EXPECT_EQ("ab", utf8_to_mbs(narrow, Utf8()));
}

// With libstdc++'s facets, which report an error here; libc++'s stop.
TEST(StringTest, AFacetsErrorIsThrown) {
    for (const char* const bad : {"\xff", "a\xff", "a\x80z", "\xc3("}) {
        EXPECT_EQ(kCannotWiden, Thrown([&] { mbs_to_wcs(bad, Utf8()); }));
        EXPECT_EQ(kCannotWiden, Thrown([&] { tcs_to_wcs(bad, Utf8()); }));
        EXPECT_EQ(kCannotWiden, Thrown([&] { mbs_to_utf8(bad, Utf8()); }));
        EXPECT_EQ(kCannotWiden, Thrown([&] { tcs_to_utf8(bad, Utf8()); }));
    }
    const wstring surrogate = {wchar_t{0xd800}};
    const wstring negative = {static_cast<wchar_t>(-2)};
    for (const wstring& bad : {surrogate, L"a" + negative}) {
        EXPECT_EQ(kCannotNarrow, Thrown([&] { wcs_to_mbs(bad, Utf8()); }));
        EXPECT_EQ(kCannotNarrow, Thrown([&] { wcs_to_tcs(bad, Utf8()); }));
    }
    const std::locale classic = std::locale::classic();
    EXPECT_EQ(kCannotWiden, Thrown([&] { mbs_to_wcs(kAccented, classic); }));
    EXPECT_EQ(kCannotNarrow,
              Thrown([&] { wcs_to_mbs(kWideAccented, classic); }));
    // By the locale that is given, not by the global one.
    const GlobalLocale utf8("C.utf8");
    EXPECT_EQ(kCannotWiden, Thrown([&] { mbs_to_utf8(kAccented, classic); }));
    EXPECT_EQ(kCannotWiden, Thrown([&] { tcs_to_utf8(kAccented, classic); }));
    EXPECT_EQ(kCannotNarrow, Thrown([&] { utf8_to_mbs(kAccented, classic); }));
    EXPECT_EQ(kCannotNarrow, Thrown([&] { utf8_to_tcs(kAccented, classic); }));
}

TEST(StringTest, TheFacetGetsTheWholeTextAndAZeroedBuffer) {
    for (const std::size_t size : {0UL, 1UL, 7UL, 83UL, 84UL, 85UL, 5000UL}) {
        ScriptedFacet::Plan plan;
        plan.width = 3;
        mbs_to_wcs(string(size, 'a'), Scripting(plan));
        EXPECT_EQ(size, plan.textSize);
        EXPECT_EQ(size + 1, plan.room);
        EXPECT_TRUE(plan.zeroed);

        wcs_to_mbs(wstring(size, L'a'), Scripting(plan));
        EXPECT_EQ(size, plan.textSize);
        EXPECT_EQ(3 * (size + 1), plan.room);
        EXPECT_TRUE(plan.zeroed);
    }
}

const struct FacetCase {
    int line;
    std::codecvt_base::result answer;
    std::size_t writes;
    const char* narrow;
    const wchar_t* wide;
} kFacetCases[] = {
    // A text of three characters, so four of room.
    {__LINE__, std::codecvt_base::ok, 3, "www", L"www"},
    {__LINE__, std::codecvt_base::ok, 0, "", L""},
    // [string-1] What was not converted is missing, without an error.
    {__LINE__, std::codecvt_base::partial, 2, "ww", L"ww"},
    {__LINE__, std::codecvt_base::partial, 0, "", L""},
    {__LINE__, std::codecvt_base::noconv, 0, "", L""},
    // The whole buffer filled, and still an end to the text.
    {__LINE__, std::codecvt_base::ok, 4, "wwww", L"wwww"},
    {__LINE__, std::codecvt_base::partial, 4, "wwww", L"wwww"},
};

TEST(StringTest, EveryAnswerButErrorIsAccepted) {
    for (const FacetCase& row : kFacetCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        ScriptedFacet::Plan plan;
        plan.answer = row.answer;
        plan.writes = row.writes;
        EXPECT_EQ(row.wide, mbs_to_wcs("abc", Scripting(plan)));
        EXPECT_EQ(row.narrow, wcs_to_mbs(L"abc", Scripting(plan)));
    }
}

TEST(StringTest, TheFacetMayFillItsWholeBuffer) {
    for (std::size_t size = 0; size <= 300; ++size) {
        ScriptedFacet::Plan plan;
        plan.writes = 10000;
        for (const int width : {1, 2, 6}) {
            plan.width = width;
            const std::size_t room =
                static_cast<std::size_t>(width) * (size + 1);
            EXPECT_EQ(string(room, 'w'),
                      wcs_to_mbs(wstring(size, L'a'), Scripting(plan)));
        }
        EXPECT_EQ(wstring(size + 1, L'w'),
                  mbs_to_wcs(string(size, 'a'), Scripting(plan)));
    }
}

TEST(StringTest, TextsOfEveryLengthAreConvertedThereAndBack) {
    const GlobalLocale utf8("C.utf8");
    string narrow;
    wstring wide;
    for (std::size_t size = 0; size <= 300; ++size) {
        EXPECT_EQ(wide, mbs_to_wcs(narrow));
        EXPECT_EQ(narrow, wcs_to_mbs(wide));
        if (size != 0) {
            EXPECT_EQ(wide, utf8_to_wcs(narrow));
        }
        switch (size % 4) {
            case 0:
                narrow += kAstral;
                wide += kWideAstral;
                break;
            case 1:
                narrow += kAccented;
                wide += kWideAccented;
                break;
            default:
                narrow += 'a';
                wide += L'a';
        }
    }
}

TEST(StringTest, AnErrorLeavesNoPartialResult) {
    ScriptedFacet::Plan plan;
    plan.answer = std::codecvt_base::error;
    plan.writes = 2;
    const std::locale loc = Scripting(plan);
    EXPECT_EQ(kCannotWiden, Thrown([&] { mbs_to_wcs("abc", loc); }));
    EXPECT_EQ(kCannotNarrow, Thrown([&] { wcs_to_mbs(L"abc", loc); }));
}

TEST(StringTest, TheDefaultLocaleIsTheGlobalOne) {
    {
        const GlobalLocale utf8("C.utf8");
        EXPECT_EQ(kWideHangul, mbs_to_wcs(kHangul));
        EXPECT_EQ(kWideHangul, tcs_to_wcs(kHangul));
        EXPECT_EQ(kHangul, wcs_to_mbs(kWideHangul));
        EXPECT_EQ(kHangul, wcs_to_tcs(kWideHangul));
        EXPECT_EQ(kHangul, utf8_to_mbs(kHangul));
        EXPECT_EQ(kHangul, utf8_to_tcs(kHangul));
        EXPECT_EQ(kFromNull, Thrown([] { mbs_to_utf8(kHangul); }));
        EXPECT_EQ(kFromNull, Thrown([] { tcs_to_utf8(kHangul); }));
    }
    const GlobalLocale classic("C");
    EXPECT_EQ(kCannotWiden, Thrown([] { mbs_to_wcs(kHangul); }));
    EXPECT_EQ(kCannotNarrow, Thrown([] { wcs_to_mbs(kWideHangul); }));
    EXPECT_EQ("text", mbs_to_tcs("text"));
    EXPECT_EQ("text", tcs_to_mbs("text"));
}

// utf8_to_wcs

TEST(StringTest, ReadsUtf8UnderAUtf8Locale) {
    const GlobalLocale utf8("C.utf8");
    for (const WidenCase& row : kWidenCases) {
        if (!row.narrow.empty()) {
            SCOPED_TRACE(testing::Message() << "row at line " << row.line);
            EXPECT_EQ(row.wide, utf8_to_wcs(row.narrow));
            EXPECT_EQ(row.narrow, utf8_to_mbs(row.narrow, Utf8()));
            EXPECT_EQ(row.narrow, utf8_to_tcs(row.narrow, Utf8()));
        }
    }
    const string longText(100000, 'x');
    EXPECT_EQ(wstring(100000, L'x'), utf8_to_wcs(longText));
}

// [string-2]
TEST(StringTest, Utf8IsWhatTheCLocaleSaysItIs) {
    const GlobalLocale classic("C");
    EXPECT_EQ(L"ascii", utf8_to_wcs("ascii"));
    EXPECT_EQ(kInvalidUtf8, Thrown([] { utf8_to_wcs(kAccented); }));
    EXPECT_EQ(kInvalidWide, Thrown([] { wcs_to_utf8(kWideAccented); }));

    // The global C++ locale alone does not decide.
    const std::locale earlier = std::locale::global(Utf8());
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(kInvalidUtf8, Thrown([] { utf8_to_wcs(kAccented); }));
    EXPECT_EQ(kWideAccented, mbs_to_wcs(kAccented));
    std::locale::global(earlier);
}

// What mbstowcs and wcstombs answer themselves decides.
TEST(StringTest, OddSequencesAreTheCLibrarysBusiness) {
    const GlobalLocale utf8("C.utf8");
    for (const char* const text :
         {"\xff", "\xc0\x80", "\xe0\x80\x80", "\xed\xa0\x80",
          "\xf4\x90\x80\x80", "\xc3", "a\xc3", "\xf8\x88\x80\x80\x80"}) {
        wchar_t room[16];
        const bool readable = std::mbstowcs(room, text, 16) != kCountError;
        const string thrown = Thrown([&] { utf8_to_wcs(text); });
        EXPECT_EQ(readable ? "nothing" : kInvalidUtf8, thrown);
    }
    EXPECT_EQ(kInvalidUtf8, Thrown([] { utf8_to_wcs("\xff"); }));
    EXPECT_EQ(kInvalidUtf8, Thrown([] { utf8_to_mbs("\xff", Utf8()); }));
    EXPECT_EQ(kInvalidUtf8, Thrown([] { utf8_to_tcs("\xff", Utf8()); }));
    const wstring surrogate = {wchar_t{0xd800}};
    EXPECT_EQ(kInvalidWide, Thrown([&] { wcs_to_utf8(surrogate); }));
}

// [string-3]
TEST(StringTest, AnEmptyTextIsAnErrorToTheUtf8Functions) {
    const GlobalLocale utf8("C.utf8");
    const string zero("\0abc", 4);
    const wstring wideZero(L"\0abc", 4);
    EXPECT_EQ(kEmpty, Thrown([] { utf8_to_wcs(""); }));
    EXPECT_EQ(kEmpty, Thrown([&] { utf8_to_wcs(zero); }));
    EXPECT_EQ(kEmpty, Thrown([] { utf8_to_mbs("", Utf8()); }));
    EXPECT_EQ(kEmpty, Thrown([] { utf8_to_tcs("", Utf8()); }));
    EXPECT_EQ(kEmpty, Thrown([] { wcs_to_utf8(L""); }));
    EXPECT_EQ(kEmpty, Thrown([&] { wcs_to_utf8(wideZero); }));
    EXPECT_EQ(kEmpty, Thrown([] { mbs_to_utf8("", Utf8()); }));
    EXPECT_EQ(kEmpty, Thrown([] { tcs_to_utf8("", Utf8()); }));
}

TEST(StringTest, ReadingUtf8MeasuresAndThenConverts) {
    const ScriptedCounts counts;
    EXPECT_EQ(L"abc", utf8_to_wcs("abc"));
    ASSERT_EQ(2U, counts.Calls().size());
    EXPECT_TRUE(counts.Calls()[0].measures);
    EXPECT_FALSE(counts.Calls()[1].measures);
    EXPECT_EQ(12U, counts.Calls()[1].limit) << "four times the characters";
}

const struct CountCase {
    int line;
    std::vector<std::size_t> answers;
    string thrown;
    std::size_t calls;
} kReadCounts[] = {
    {__LINE__, {kCountError}, kInvalidUtf8, 1},
    {__LINE__, {0}, kEmpty, 1},
    {__LINE__, {3, 2}, kUnknown, 2},
    {__LINE__, {3, 4}, kUnknown, 2},
    {__LINE__, {3, 0}, kUnknown, 2},
    {__LINE__, {3, kCountError}, kUnknown, 2},
};

TEST(StringTest, ReadingUtf8FailsByTheCounts) {
    for (const CountCase& row : kReadCounts) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const ScriptedCounts counts(row.answers);
        EXPECT_EQ(row.thrown, Thrown([] { utf8_to_wcs("abc"); }));
        EXPECT_EQ(row.calls, counts.Calls().size());
    }
}

// wcs_to_utf8

// [string-4]
TEST(StringTest, WritingUtf8NeverReturns) {
    const GlobalLocale utf8("C.utf8");
    for (const WidenCase& row : kWidenCases) {
        if (!row.wide.empty()) {
            SCOPED_TRACE(testing::Message() << "row at line " << row.line);
            EXPECT_EQ(kFromNull, Thrown([&] { wcs_to_utf8(row.wide); }));
            EXPECT_EQ(kFromNull,
                      Thrown([&] { mbs_to_utf8(row.narrow, Utf8()); }));
            EXPECT_EQ(kFromNull,
                      Thrown([&] { tcs_to_utf8(row.narrow, Utf8()); }));
        }
    }
}

TEST(StringTest, WritingUtf8MeasuresTwice) {
    const ScriptedCounts counts;
    EXPECT_EQ(kFromNull, Thrown([] { wcs_to_utf8(L"abc"); }));
    ASSERT_EQ(2U, counts.Calls().size());
    EXPECT_TRUE(counts.Calls()[0].measures);
    EXPECT_TRUE(counts.Calls()[1].measures);
    EXPECT_EQ(3U, counts.Calls()[1].limit) << "the bytes";
}

const CountCase kWriteCounts[] = {
    {__LINE__, {kCountError}, kInvalidWide, 1},
    {__LINE__, {0}, kEmpty, 1},
    {__LINE__, {3, 3}, kFromNull, 2},
    {__LINE__, {3, 2}, kUnknown, 2},
    {__LINE__, {3, 0}, kUnknown, 2},
    {__LINE__, {3, kCountError}, kUnknown, 2},
};

TEST(StringTest, WritingUtf8FailsByTheCounts) {
    for (const CountCase& row : kWriteCounts) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const ScriptedCounts counts(row.answers);
        EXPECT_EQ(row.thrown, Thrown([] { wcs_to_utf8(L"abc"); }));
        EXPECT_EQ(row.calls, counts.Calls().size());
    }
}

// [string-4]
TEST(StringTest, WritingUtf8AbandonsOneByteAtEachCall) {
    for (const std::size_t size : {1UL, 10UL, 100000UL}) {
        const wstring text(size, L'x');
        const NovuTest::AllocationLedger ledger;
        for (std::size_t calls = 1; calls <= 3; ++calls) {
            try {
                wcs_to_utf8(text);
            } catch (const std::logic_error&) {
            }
            EXPECT_EQ(calls, ledger.Blocks());
            EXPECT_EQ(calls, ledger.Bytes());
        }
    }
    {
        const ScriptedCounts disagreeing({3, 2});
        const wstring text = L"abc";
        const NovuTest::AllocationLedger ledger;
        try {
            wcs_to_utf8(text);
        } catch (const std::runtime_error&) {
        }
        EXPECT_LE(1U, ledger.Bytes()) << "the second count came after it";
    }
    const NovuTest::AllocationLedger ledger;
    try {
        wcs_to_utf8(L"");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(0U, ledger.Blocks()) << "a text that is refused costs nothing";
}

// The library's own text

// [string-5]
TEST(StringTest, TheLibrarysOwnTextIsACopy) {
    ScriptedFacet::Plan plan;
    plan.answer = std::codecvt_base::error;
    for (const string& text : {string(), string("text"), kHangul,
                               string("\xff\xfe"), string("a\0b", 3)}) {
        for (const std::locale& loc :
             {std::locale::classic(), Utf8(), Scripting(plan)}) {
            EXPECT_EQ(text, mbs_to_tcs(text, loc));
            EXPECT_EQ(text, tcs_to_mbs(text, loc));
        }
    }
}

// Memory and threads

TEST(StringTest, FailingMemoryPassesAndLeavesNothingBehind) {
    const GlobalLocale utf8("C.utf8");
    const string narrow(50, 'x');
    const wstring wide(50, L'x');
    const std::locale loc = Utf8();
    const std::function<void()> calls[] = {
        [&] { mbs_to_wcs(narrow, loc); }, [&] { wcs_to_mbs(wide, loc); },
        [&] { utf8_to_wcs(narrow); },     [&] { utf8_to_mbs(narrow, loc); },
        [&] { mbs_to_tcs(narrow, loc); },
    };
    for (const auto& call : calls) {
        const NovuTest::AllocationLedger ledger;
        EXPECT_LT(0U, NovuTest::FailEachAllocation(
                          call, [&] { EXPECT_EQ(0U, ledger.Blocks()); }));
        EXPECT_EQ(0U, ledger.Blocks());
    }
    const NovuTest::FailingAllocation failing(1);
    EXPECT_THROW(wcs_to_utf8(wide), std::bad_alloc);
}

TEST(StringTest, AnErrorLeavesNothingBehind) {
    const GlobalLocale utf8("C.utf8");
    const std::locale loc = Utf8();
    const std::locale classic = std::locale::classic();
    // Longer than what is converted without memory of its own.
    const string narrow(300, 'x');
    const string invalid = narrow + '\xff';
    const string accented = narrow + kAccented;
    const wstring surrogate = wstring(300, L'x') + wchar_t{0xd800};
    const std::function<void()> calls[] = {
        [&] { mbs_to_wcs(invalid, loc); },
        [&] { wcs_to_mbs(surrogate, loc); },
        // The first of two conversions succeeds.
        [&] { utf8_to_mbs(accented, classic); },
        [&] {
            const ScriptedCounts disagreeing({300, 299});
            utf8_to_wcs(narrow);
        },
    };
    for (const auto& call : calls) {
        SCOPED_TRACE(testing::Message() << "call " << &call - calls);
        const NovuTest::AllocationLedger ledger;
        EXPECT_THROW(call(), std::runtime_error);
        EXPECT_EQ(0U, ledger.Blocks());
    }
}

TEST(StringTest, SeveralThreadsConvertAtOnce) {
    const GlobalLocale utf8("C.utf8");
    std::vector<std::thread> threads;
    std::vector<int> right(4, 0);
    for (std::size_t index = 0; index < right.size(); ++index) {
        threads.emplace_back([&right, index] {
            for (int round = 0; round < 200; ++round) {
                right[index] += mbs_to_wcs(kHangul) == kWideHangul &&
                                        utf8_to_wcs(kAstral) == kWideAstral &&
                                        wcs_to_mbs(kWideHangul) == kHangul
                                    ? 1
                                    : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ((std::vector<int>{200, 200, 200, 200}), right);
}

}  // namespace
