// The contract of Bases/tchar.h. Wide results are narrowed for comparison, so
// that one table serves both widths.

#include "Bases/tchar.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdint>
#include <cwchar>
#include <random>
#include <string>
#include <type_traits>

namespace {

// Larger than any result, and full of junk.
const std::size_t kRoom = 80;

std::string Narrowed(const wchar_t* text) {
    std::string narrow;
    for (; *text != 0; ++text) {
        narrow.push_back(static_cast<char>(*text));
    }
    return narrow;
}

std::string Narrowed(const char* text) { return text; }

// What `convert` writes, after a check that it answers its buffer and writes
// nothing beyond the terminator.
template <typename Char, typename Value>
std::string Text(Char* (*convert)(Value, Char*, int), Value value, int radix) {
    constexpr Char junk = 'J';
    Char buffer[kRoom];
    std::fill_n(buffer, kRoom, junk);
    EXPECT_EQ(buffer, convert(value, buffer, radix));
    const std::string text = Narrowed(buffer);
    EXPECT_TRUE(std::all_of(buffer + text.size() + 1, buffer + kRoom,
                            [](Char c) { return c == junk; }))
        << "beyond the end of " << text;
    return text;
}

// The digits as the standard library makes them.
std::string Digits(unsigned long long value, int radix) {
    char text[kRoom];
    return {text, std::to_chars(text, text + kRoom, value, radix).ptr};
}

static_assert(std::is_same_v<decltype(_itoa), char*(int, char*, int)>);
static_assert(std::is_same_v<decltype(_ltoa), char*(long, char*, int)>);
static_assert(
    std::is_same_v<decltype(_ultoa), char*(unsigned long, char*, int)>);
static_assert(std::is_same_v<decltype(_i64toa), char*(long long, char*, int)>);
static_assert(
    std::is_same_v<decltype(_ui64toa), char*(unsigned long long, char*, int)>);
static_assert(std::is_same_v<decltype(_itow), wchar_t*(int, wchar_t*, int)>);
static_assert(std::is_same_v<decltype(_ltow), wchar_t*(long, wchar_t*, int)>);
static_assert(
    std::is_same_v<decltype(_ultow), wchar_t*(unsigned long, wchar_t*, int)>);
static_assert(
    std::is_same_v<decltype(_i64tow), wchar_t*(long long, wchar_t*, int)>);
static_assert(std::is_same_v<decltype(_ui64tow),
                             wchar_t*(unsigned long long, wchar_t*, int)>);
static_assert(sizeof(long) == 8 && sizeof(wchar_t) == 4);

const struct SignedCase {
    int line;
    long long value;
    int radix;
    const char* text;
} kSignedCases[] = {
    // line    value   radix  text
    {__LINE__, 0, 10, "0"},
    {__LINE__, 0, 2, "0"},
    {__LINE__, 0, 36, "0"},
    {__LINE__, 9, 10, "9"},
    {__LINE__, 10, 10, "10"},
    {__LINE__, -1, 10, "-1"},
    {__LINE__, -255, 10, "-255"},
    {__LINE__, 255, 16, "ff"},
    {__LINE__, 35, 36, "z"},
    {__LINE__, 36, 36, "10"},
    {__LINE__, 10, 11, "a"},
    {__LINE__, INT_MAX, 10, "2147483647"},
    {__LINE__, INT_MIN, 10, "-2147483648"},

    // [tchar-1] No sign outside radix 10: the 64-bit pattern.
    {__LINE__, -1, 16, "ffffffffffffffff"},
    {__LINE__, -255, 16, "ffffffffffffff01"},
    {__LINE__, -1, 8, "1777777777777777777777"},
    {__LINE__, -1, 11, "335500516a429071284"},
    {__LINE__, -1, 9, "145808576354216723756"},
    {__LINE__, -1, 36, "3w5e11264sgsf"},
    {__LINE__, INT_MIN, 16, "ffffffff80000000"},
};

TEST(tcharTest, SignedValuesInEveryForm) {
    for (const SignedCase& row : kSignedCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const auto asInt = static_cast<int>(row.value);
        const auto asLong = static_cast<long>(row.value);
        EXPECT_EQ(row.text, Text(_itoa, asInt, row.radix));
        EXPECT_EQ(row.text, Text(_itow, asInt, row.radix));
        EXPECT_EQ(row.text, Text(_ltoa, asLong, row.radix));
        EXPECT_EQ(row.text, Text(_ltow, asLong, row.radix));
        EXPECT_EQ(row.text, Text(_i64toa, row.value, row.radix));
        EXPECT_EQ(row.text, Text(_i64tow, row.value, row.radix));
    }
}

TEST(tcharTest, TheMostNegativeValueHasAMagnitude) {
    const char* const text = "-9223372036854775808";
    EXPECT_EQ(text, Text(_i64toa, LLONG_MIN, 10));
    EXPECT_EQ(text, Text(_i64tow, LLONG_MIN, 10));
    EXPECT_EQ(text, Text(_ltoa, LONG_MIN, 10));
    EXPECT_EQ(text, Text(_ltow, LONG_MIN, 10));
    EXPECT_EQ("8000000000000000", Text(_i64toa, LLONG_MIN, 16));
    EXPECT_EQ("1" + std::string(63, '0'), Text(_i64toa, LLONG_MIN, 2));
}

const struct UnsignedCase {
    int line;
    unsigned long long value;
    int radix;
    const char* text;
} kUnsignedCases[] = {
    // line    value   radix  text
    {__LINE__, 0, 2, "0"},
    {__LINE__, 0, 10, "0"},
    {__LINE__, 255, 16, "ff"},
    {__LINE__, 255, 2, "11111111"},
    {__LINE__, 4294967295, 2, "11111111111111111111111111111111"},
    {__LINE__, 4294967296, 10, "4294967296"},
    // No sign in radix 10 either: these types have none.
    {__LINE__, ULLONG_MAX, 10, "18446744073709551615"},
    {__LINE__, ULLONG_MAX, 16, "ffffffffffffffff"},
    {__LINE__, ULLONG_MAX, 36, "3w5e11264sgsf"},
    // 3 to the power 32, less 1: the largest value of 32 digits.
    {__LINE__, 1853020188851840, 3, "22222222222222222222222222222222"},
};

TEST(tcharTest, UnsignedValuesInEveryForm) {
    for (const UnsignedCase& row : kUnsignedCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const auto asLong = static_cast<unsigned long>(row.value);
        EXPECT_EQ(row.text, Text(_ultoa, asLong, row.radix));
        EXPECT_EQ(row.text, Text(_ultow, asLong, row.radix));
        EXPECT_EQ(row.text, Text(_ui64toa, row.value, row.radix));
        EXPECT_EQ(row.text, Text(_ui64tow, row.value, row.radix));
    }
}

TEST(tcharTest, The64BitFormsHaveRoomFor64Digits) {
    EXPECT_EQ(std::string(64, '1'), Text(_ui64toa, ULLONG_MAX, 2));
    EXPECT_EQ(std::string(64, '1'), Text(_ui64tow, ULLONG_MAX, 2));
    EXPECT_EQ(std::string(64, '1'), Text(_i64toa, -1LL, 2));
    EXPECT_EQ(std::string(64, '1'), Text(_i64tow, -1LL, 2));
    EXPECT_EQ("11112220022122120101211020120210210211220",
              Text(_ui64toa, ULLONG_MAX, 3));
}

// [tchar-2]
TEST(tcharTest, TheLongFormsWriteAtMostTheir32LowestDigits) {
    const std::string ones(32, '1');
    EXPECT_EQ(ones, Text(_itoa, -1, 2));
    EXPECT_EQ(ones, Text(_itow, -1, 2));
    EXPECT_EQ(ones, Text(_ltoa, -1L, 2));
    EXPECT_EQ(ones, Text(_ltow, -1L, 2));
    EXPECT_EQ(ones, Text(_ultoa, ULONG_MAX, 2));
    EXPECT_EQ(ones, Text(_ultow, ULONG_MAX, 2));
    EXPECT_EQ(std::string(32, '0'), Text(_ultoa, 1UL << 32, 2));
    EXPECT_EQ("22122120101211020120210210211220", Text(_ultoa, ULONG_MAX, 3));
    EXPECT_EQ(std::string(29, '0') + "101", Text(_ultow, 5UL << 32 | 5, 2));
    EXPECT_EQ("1" + std::string(31, '0'), Text(_ultoa, 1UL << 31, 2));
}

// [tchar-3]
TEST(tcharTest, NullBuffersAreAnsweredWithNull) {
    EXPECT_EQ(nullptr, _ultoa(1, nullptr, 10));
    EXPECT_EQ(nullptr, _itow(-1, nullptr, 10));
    EXPECT_EQ(nullptr, _ltow(-1, nullptr, 10));
    EXPECT_EQ(nullptr, _ultow(1, nullptr, 10));
    EXPECT_EQ(nullptr, _i64tow(-1, nullptr, 10));
    EXPECT_EQ(nullptr, _ui64tow(1, nullptr, 10));
}

TEST(tcharTest, AgreesWithTheStandardLibraryInEveryRadix) {
    const std::mt19937_64::result_type seed = 20241121;
    std::mt19937_64 random(seed);
    for (int radix = 2; radix <= 36; ++radix) {
        for (int round = 0; round < 300; ++round) {
            // Of every length, not only of nearly 64 bits.
            const unsigned long long value = random() >> (random() % 64);
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << value
                                            << " in radix " << radix);
            const auto negative = static_cast<long long>(0 - value);
            const std::string digits = Digits(value, radix);
            EXPECT_EQ(digits, Text(_ui64toa, value, radix));
            EXPECT_EQ(digits, Text(_ui64tow, value, radix));
            if (negative < 0) {
                const std::string pattern = Digits(0 - value, radix);
                const std::string expected =
                    radix == 10 ? "-" + digits : pattern;
                EXPECT_EQ(expected, Text(_i64toa, negative, radix));
                EXPECT_EQ(expected, Text(_i64tow, negative, radix));
            }
            if (digits.size() <= 32) {
                const auto asLong = static_cast<unsigned long>(value);
                EXPECT_EQ(digits, Text(_ultoa, asLong, radix));
                EXPECT_EQ(digits, Text(_ultow, asLong, radix));
            }
        }
    }
}

// In every form that has room for it; `value` and what it is below 0.
void ExpectDigits(unsigned long long value, int radix) {
    SCOPED_TRACE(testing::Message() << value << " in radix " << radix);
    const std::string digits = Digits(value, radix);
    EXPECT_EQ(digits, Text(_ui64toa, value, radix));
    EXPECT_EQ(digits, Text(_ui64tow, value, radix));
    const auto asSigned = static_cast<long long>(value);
    if (asSigned >= 0 || radix != 10) {
        EXPECT_EQ(digits, Text(_i64toa, asSigned, radix));
        EXPECT_EQ(digits, Text(_i64tow, asSigned, radix));
    }
    if (digits.size() <= 32) {
        const auto asLong = static_cast<unsigned long>(value);
        EXPECT_EQ(digits, Text(_ultoa, asLong, radix));
        EXPECT_EQ(digits, Text(_ultow, asLong, radix));
    }
    const auto negative = static_cast<long long>(0 - value);
    if (negative < 0) {
        const std::string below0 =
            radix == 10 ? "-" + digits : Digits(0 - value, radix);
        EXPECT_EQ(below0, Text(_i64toa, negative, radix));
        EXPECT_EQ(below0, Text(_i64tow, negative, radix));
    }
}

TEST(tcharTest, EveryNumberOfDigitsInEveryRadix) {
    for (int radix = 2; radix <= 36; ++radix) {
        const auto base = static_cast<unsigned long long>(radix);
        for (unsigned long long power = 1;; power *= base) {
            for (const unsigned long long near :
                 {power - 1, power, power + 1, power * (base - 1)}) {
                ExpectDigits(near, radix);
            }
            if (power > ULLONG_MAX / base) {
                break;
            }
        }
        ExpectDigits(ULLONG_MAX, radix);
    }
}

// Behind one digit or four, in numbers of up to 20 digits.
TEST(tcharTest, EveryFourDigitsInEveryPlaceOfRadix10) {
    for (int four = 0; four < 10000; ++four) {
        const std::string digits = std::to_string(10000 + four).substr(1);
        for (const std::string head : {"1", "1234"}) {
            for (std::size_t groups = 1; groups <= 4; ++groups) {
                for (std::size_t place = 0; place < groups; ++place) {
                    std::string number = head;
                    for (std::size_t group = 0; group < groups; ++group) {
                        number += group == place ? digits : "9081";
                    }
                    char text[kRoom];
                    _ui64toa(std::stoull(number), text, 10);
                    ASSERT_EQ(number, text);
                }
            }
        }
    }
}

TEST(tcharTest, SmallNumbersInRadix10) {
    for (unsigned int value = 0; value < 100000; ++value) {
        char text[kRoom];
        _ui64toa(value, text, 10);
        ASSERT_EQ(std::to_string(value), text);
    }
}

TEST(tcharTest, EveryByteInEveryPlaceOfRadices2And16) {
    for (unsigned long long byte = 0; byte < 256; ++byte) {
        for (unsigned int place = 0; place < 64; place += 8) {
            for (const unsigned long long around : {0ULL, 0xA5ULL << 56}) {
                const unsigned long long value = byte << place | around;
                EXPECT_EQ(Digits(value, 16), Text(_ui64toa, value, 16));
                EXPECT_EQ(Digits(value, 2), Text(_ui64toa, value, 2));
            }
        }
    }
}

// Declared once more under the plain symbols, which links only if those exist.
extern "C" {
char* PlainItoa(int, char*, int) __asm__("_itoa");
char* PlainLtoa(long, char*, int) __asm__("_ltoa");
char* PlainUltoa(unsigned long, char*, int) __asm__("_ultoa");
char* PlainI64toa(long long, char*, int) __asm__("_i64toa");
char* PlainUi64toa(unsigned long long, char*, int) __asm__("_ui64toa");
}

TEST(tcharTest, TheNarrowNamesAreNotMangled) {
    EXPECT_EQ("-12", Text(PlainItoa, -12, 10));
    EXPECT_EQ("-12", Text(PlainLtoa, -12L, 10));
    EXPECT_EQ("12", Text(PlainUltoa, 12UL, 10));
    EXPECT_EQ("-12", Text(PlainI64toa, -12LL, 10));
    EXPECT_EQ("12", Text(PlainUi64toa, 12ULL, 10));
}

TEST(tcharTest, TheBufferNeedNotBeAligned) {
    alignas(16) char room[kRoom + 16];
    alignas(16) wchar_t wide[kRoom + 16];
    for (std::size_t place = 0; place < 16; ++place) {
        for (const int radix : {2, 3, 10, 16}) {
            char* const text = room + place;
            EXPECT_EQ(text, _i64toa(LLONG_MAX, text, radix));
            EXPECT_EQ(Digits(LLONG_MAX, radix), text);
            EXPECT_EQ(wide + place, _i64tow(LLONG_MAX, wide + place, radix));
            EXPECT_EQ(Digits(LLONG_MAX, radix), Narrowed(wide + place));
        }
    }
}

}  // namespace
