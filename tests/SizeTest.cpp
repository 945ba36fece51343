// The contract of Bases/Size.h. Numbers come from the C library, called here
// with the format that is to be used; the comma is put in by a model that
// follows the rule word for word.

#include "Bases/Size.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "tests/support/Allocation.h"
#include "tests/support/CommaLocale.h"

namespace {

using Novu::GetSizeFormat;
using Novu::GetSizeUnit;
using Novu::InsertSeperator;

static_assert(std::is_same_v<decltype(Novu::GetSizeUnit),
                             unsigned long(long long, double&)>);
static_assert(std::is_same_v<decltype(Novu::InsertSeperator),
                             void(char*, char*, unsigned long)>);

// Each overload is picked by its exact type, with no conversion to reach it.
int (*const formatInteger)(char*, unsigned long, long long) = GetSizeFormat;
int (*const formatIntegerText)(std::string&, long long) = GetSizeFormat;
int (*const formatDouble)(char*, unsigned long, double, int) = GetSizeFormat;
int (*const formatDoubleText)(std::string&, double, int) = GetSizeFormat;

const char kJunk = 'J';
// More than any result has.
const unsigned long kRoom = 300;
// What fits the buffers that numbers, and strings, go through.
const std::size_t kLongest = 254;

// The rule for the comma.
std::string Separated(const std::string& text) {
    auto place = static_cast<long>(text.size()) - 1;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] == '.') {
            place = static_cast<long>(index);
            break;
        }
    }
    if (place < 2) {
        return text;
    }
    const auto cut = static_cast<std::size_t>(place - 2);
    std::string result = text.substr(0, cut);
    result += ',';
    result += text.substr(cut);
    return result;
}

std::string Cut(const std::string& text, std::size_t length) {
    return text.substr(0, length);
}

// Every byte of an output of `outSize` bytes that was full of junk.
std::string Image(const std::string& result, unsigned long outSize) {
    std::string image(outSize, kJunk);
    std::string bytes = result;
    bytes += '\0';
    std::copy_n(bytes.data(), std::min(bytes.size(), outSize - 1),
                image.data());
    image[outSize - 1] = '\0';
    return image;
}

// What `format` leaves of an output of exactly `outSize` bytes of junk.
template <typename Format>
std::string Filled(unsigned long outSize, Format format) {
    std::vector<char> out(outSize, kJunk);
    format(out.data());
    return {out.begin(), out.end()};
}

std::string Inserted(const std::string& text, unsigned long outSize) {
    std::vector<char> source(text.begin(), text.end());
    source.push_back('\0');
    const std::vector<char> before = source;
    const std::string image = Filled(outSize, [&](char* out) {
        InsertSeperator(source.data(), out, outSize);
    });
    EXPECT_EQ(before, source) << "the text itself was changed";
    return image;
}

// The number as it is printed: all of it, and cut to the work buffer.
std::string Number(double value, int precision) {
    char format[32] = "%f";
    if (precision < 0) {
        std::snprintf(format, sizeof format, "%%.%df", precision);
    }
    char number[1024];
    std::snprintf(number, sizeof number, format, value);
    return number;
}

std::string Formatted(double value, int precision) {
    return Separated(Cut(Number(value, precision), kLongest));
}

// EB

static_assert(std::is_same_v<decltype(Novu::EB), const long long>);

template <const long long* Object>
struct Naming {};

// [size-2]
TEST(SizeTest, EbIsZero) {
    EXPECT_EQ(0, Novu::EB);
    const volatile long long* const stored = &Novu::EB;
    EXPECT_EQ(0, *stored) << "in memory, not only to the compiler";
}

// [size-2] The name of a type that is made with the address of an object holds
// the object's; by the C++ ABI an L in it says that the object is the file's
// own, so that another file has another.
TEST(SizeTest, EachFileHasAnEbOfItsOwn) {
    const std::string name = typeid(Naming<&Novu::EB>).name();
    EXPECT_NE(std::string::npos, name.find("_ZN4NovuL2EBE")) << name;
}

// Scaling

const struct UnitCase {
    int line;
    long long size;
    unsigned long unit;
    double value;
} kUnitCases[] = {
    // line    size  unit  value
    {__LINE__, 0, 0, 0.0},
    {__LINE__, 1, 0, 1.0},
    {__LINE__, 1023, 0, 1023.0},
    {__LINE__, 1024, 1, 1.0},
    {__LINE__, 1025, 1, 1.0009765625},
    {__LINE__, 1536, 1, 1.5},
    {__LINE__, (1LL << 20) - 1, 1, 1023.9990234375},
    {__LINE__, 1LL << 20, 2, 1.0},
    {__LINE__, (1LL << 20) + 1, 2, 1.00000095367431640625},
    {__LINE__, (1LL << 30) - 1, 2, 1023.99999904632568359375},
    {__LINE__, 1LL << 30, 3, 1.0},
    {__LINE__, 1610612736, 3, 1.5},
    {__LINE__, (1LL << 30) + 1, 3, 0x1.00000004p0},
    {__LINE__, (1LL << 40) - 1, 3, 0x1.fffffffffep9},
    {__LINE__, 1LL << 40, 4, 1.0},
    {__LINE__, (1LL << 40) + 1, 4, 0x1.0000000001p0},
    {__LINE__, (1LL << 50) - 1, 4, 0x1.ffffffffffff8p9},
    {__LINE__, 1LL << 50, 5, 1.0},
    {__LINE__, (1LL << 50) + 1, 5, 0x1.0000000000004p0},

    // 60 bits and more do not all fit a double: the nearest one is scaled.
    {__LINE__, (1LL << 60) - 128, 5, 0x1.fffffffffffffp9},
    {__LINE__, (1LL << 60) - 64, 6, 1.0},
    {__LINE__, (1LL << 60) - 1, 6, 1.0},
    {__LINE__, 1LL << 60, 6, 1.0},
    {__LINE__, (1LL << 60) + 1, 6, 1.0},
    {__LINE__, (1LL << 60) + 256, 6, 0x1.0000000000001p0},
    {__LINE__, 3LL << 59, 6, 1.5},
    {__LINE__, LLONG_MAX, 6, 8.0},

    // Nothing negative is scaled.
    {__LINE__, -1, 0, -1.0},
    {__LINE__, -1024, 0, -1024.0},
    {__LINE__, -5000, 0, -5000.0},
    {__LINE__, -(1LL << 60), 0, -0x1p60},
    {__LINE__, LLONG_MIN, 0, -0x1p63},
};

TEST(SizeTest, GetSizeUnitScalesBy1024) {
    for (const UnitCase& row : kUnitCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        double value = -777.0;
        EXPECT_EQ(row.unit, GetSizeUnit(row.size, value));
        EXPECT_EQ(row.value, value);  // To the last bit.
    }
}

TEST(SizeTest, GetSizeUnitAgreesWithTheExponent) {
    const std::mt19937_64::result_type seed = 20250303;
    std::mt19937_64 random(seed);
    for (int round = 0; round < 100000; ++round) {
        const auto size = static_cast<long long>(random() >> (random() % 64));
        const auto whole = static_cast<double>(size);
        const int unit =
            whole < 1024.0 ? 0 : std::min(std::ilogb(whole) / 10, 6);
        double value = -777.0;
        ASSERT_EQ(static_cast<unsigned long>(unit), GetSizeUnit(size, value))
            << size << ", seed " << seed;
        ASSERT_EQ(std::ldexp(whole, -10 * unit), value)
            << size << ", seed " << seed;
    }
}

// The comma

const struct SeparatorCase {
    int line;
    const char* text;
    const char* result;
} kSeparatorCases[] = {
    // line    text  result
    {__LINE__, "", ""},
    {__LINE__, "1", "1"},
    {__LINE__, "12", "12"},
    {__LINE__, "1234", "1,234"},
    {__LINE__, "12345", "12,345"},
    {__LINE__, "abcdef", "abc,def"},
    {__LINE__, "1,234", "1,,234"},
    {__LINE__, "-12", ",-12"},
    {__LINE__, "-1234", "-1,234"},

    // [size-1] One, whatever the length; in front of three characters.
    {__LINE__, "123", ",123"},
    {__LINE__, "-123", "-,123"},
    {__LINE__, "1234567890", "1234567,890"},
    {__LINE__, "12345678901234567890", "12345678901234567,890"},

    // [size-1] Two digits before the first '.', not three.
    {__LINE__, ".", "."},
    {__LINE__, ".5", ".5"},
    {__LINE__, "1.5", "1.5"},
    {__LINE__, "12.5", ",12.5"},
    {__LINE__, "123.5", "1,23.5"},
    {__LINE__, "1234.5", "12,34.5"},
    {__LINE__, "1234567.", "12345,67."},
    {__LINE__, "1.234.567", "1.234.567"},
    {__LINE__, "1234.567.890", "12,34.567.890"},
    {__LINE__, ".123456", ".123456"},
    {__LINE__, "12.", ",12."},

    // Bytes, not characters.
    {__LINE__, "\x80\xff\xc3\xa9", "\x80,\xff\xc3\xa9"},
};

TEST(SizeTest, InsertSeperatorPutsInOneComma) {
    for (const SeparatorCase& row : kSeparatorCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const std::string result = row.result;
        // From room for the terminator alone to more than enough.
        for (unsigned long outSize = 1; outSize <= result.size() + 5;
             ++outSize) {
            EXPECT_EQ(Image(result, outSize), Inserted(row.text, outSize))
                << "into " << outSize << " bytes";
        }
    }
}

TEST(SizeTest, InsertSeperatorCutsToItsRoom) {
    EXPECT_EQ(std::string("\0", 1), Inserted("1234567", 1));
    EXPECT_EQ(std::string("1\0", 2), Inserted("1234567", 2));
    EXPECT_EQ(std::string("123\0", 4), Inserted("1234567", 4));
    EXPECT_EQ(std::string("1234,\0", 6), Inserted("1234567", 6));
    EXPECT_EQ(std::string("1234,56\0", 8), Inserted("1234567", 8));
    EXPECT_EQ(std::string("1234,567\0", 9), Inserted("1234567", 9));
}

TEST(SizeTest, InsertSeperatorEndsItsRoomWithAZero) {
    EXPECT_EQ(std::string("1234,567\0\0", 10), Inserted("1234567", 10));
    EXPECT_EQ(std::string("1234,567\0J\0", 11), Inserted("1234567", 11));
    EXPECT_EQ(std::string("1\0JJ\0", 5), Inserted("1", 5));
    EXPECT_EQ(std::string("\0JJJ\0", 5), Inserted("", 5));
}

TEST(SizeTest, InsertSeperatorTakesTextsOfAnyLength) {
    const std::string digits(100000, '7');
    std::string result(99997, '7');
    result += ",777";
    EXPECT_EQ(Image(result, 100010), Inserted(digits, 100010));
    EXPECT_EQ(Image(result, 100001), Inserted(digits, 100001));
    EXPECT_EQ(Image(result, 100), Inserted(digits, 100));
}

TEST(SizeTest, InsertSeperatorWritesNothingWithoutAnOutput) {
    char text[] = "1234567";
    char out[] = {kJunk, kJunk};
    InsertSeperator(text, out, 0);
    InsertSeperator(text, out + 2, 0);
    EXPECT_EQ(kJunk, out[0]);
    EXPECT_EQ(kJunk, out[1]);
    InsertSeperator(text, nullptr, 0);
    InsertSeperator(text, nullptr, 10);
    EXPECT_STREQ("1234567", text);
}

TEST(SizeTest, InsertSeperatorWritesNothingWithoutAText) {
    EXPECT_EQ("JJJJJ",
              Filled(5, [](char* out) { InsertSeperator(nullptr, out, 5); }));
    InsertSeperator(nullptr, nullptr, 5);
    InsertSeperator(nullptr, nullptr, 0);
}

TEST(SizeTest, InsertSeperatorWorksInPlace) {
    std::array<char, 12> text = {"1234567"};
    InsertSeperator(text.data(), text.data(), 10);
    EXPECT_STREQ("1234,567", text.data());
    InsertSeperator(text.data(), text.data() + 2, 10);
    EXPECT_STREQ("121234,,567", text.data());
    InsertSeperator(text.data() + 4, text.data(), 7);
    EXPECT_STREQ("34,,,5", text.data());
}

TEST(SizeTest, InsertSeperatorFollowsTheRuleForRandomTexts) {
    // Guard bytes on both sides; text and output anywhere in between.
    const std::size_t guard = 8;
    const std::size_t middle = 64;
    using Memory = std::array<char, guard + middle + guard>;
    const std::string alphabet = "0123456789.,- x\x80\xff";
    const std::mt19937_64::result_type seed = 20250304;
    std::mt19937_64 random(seed);
    for (int round = 0; round < 100000; ++round) {
        // A text of its own, or one that the output may overlap.
        const bool overlaps = random() % 2 == 0;
        const std::size_t length = random() % 25;
        const std::size_t characters = random() % 2 == 0 ? 10 : alphabet.size();
        std::string text;
        for (std::size_t count = 0; count < length; ++count) {
            text += alphabet[random() % characters];
        }
        std::array<char, 32> source = {};
        std::copy_n(text.c_str(), length + 1, source.data());

        Memory memory;
        memory.fill(kJunk);
        const std::size_t textAt = guard + random() % (middle - length - 1);
        std::copy_n(text.c_str(), length + 1, memory.data() + textAt);
        const std::size_t outAt = guard + random() % 32;
        const std::size_t outSize =
            random() % std::min<std::size_t>(33, guard + middle - outAt + 1);

        Memory expected = memory;
        if (outSize != 0) {
            const std::string result = Separated(text);
            std::copy_n(result.c_str(),
                        std::min(outSize - 1, result.size() + 1),
                        expected.data() + outAt);
            expected[outAt + outSize - 1] = '\0';
        }
        InsertSeperator(overlaps ? memory.data() + textAt : source.data(),
                        memory.data() + outAt, outSize);
        ASSERT_EQ(0, std::memcmp(expected.data(), memory.data(), memory.size()))
            << '"' << text << "\", outSize " << outSize << ", overlaps "
            << overlaps << ", round " << round << ", seed " << seed;
        ASSERT_EQ(0, std::memcmp(text.c_str(), source.data(), length + 1))
            << "the text itself, round " << round << ", seed " << seed;
    }
}

// Integers

const struct IntegerCase {
    int line;
    long long value;
    const char* result;
} kIntegerCases[] = {
    // line    value  result
    {__LINE__, 0, "0"},
    {__LINE__, 7, "7"},
    {__LINE__, 12, "12"},
    {__LINE__, 99, "99"},
    {__LINE__, 100, ",100"},
    {__LINE__, 123, ",123"},
    {__LINE__, 999, ",999"},
    {__LINE__, 1000, "1,000"},
    {__LINE__, 1234567, "1234,567"},
    {__LINE__, 1234567890, "1234567,890"},
    {__LINE__, -1, "-1"},
    {__LINE__, -12, ",-12"},
    {__LINE__, -123, "-,123"},
    {__LINE__, -1234, "-1,234"},
    {__LINE__, LLONG_MAX, "9223372036854775,807"},
    {__LINE__, LLONG_MIN, "-9223372036854775,808"},
};

// [size-1]
TEST(SizeTest, IntegersAreFormattedWithAComma) {
    for (const IntegerCase& row : kIntegerCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        for (unsigned long outSize = 1; outSize <= 64; ++outSize) {
            EXPECT_EQ(Image(row.result, outSize),
                      Filled(outSize,
                             [&](char* out) {
                                 EXPECT_EQ(
                                     1, formatInteger(out, outSize, row.value));
                             }))
                << "into " << outSize << " bytes";
        }
        std::string text = "junk, and more of it than any result has";
        EXPECT_EQ(1, formatIntegerText(text, row.value));
        EXPECT_EQ(row.result, text);
        std::string empty;
        EXPECT_EQ(1, formatIntegerText(empty, row.value));
        EXPECT_EQ(row.result, empty);
    }
}

TEST(SizeTest, RandomIntegersAreFormattedByTheRule) {
    const std::mt19937_64::result_type seed = 20250305;
    std::mt19937_64 random(seed);
    std::string text;
    for (int round = 0; round < 100000; ++round) {
        const unsigned long long bits = random() >> (random() % 64);
        const auto value =
            static_cast<long long>(random() % 2 == 0 ? bits : 0 - bits);
        const std::string expected = Separated(std::to_string(value));
        char out[64];
        std::fill_n(out, sizeof out, kJunk);
        ASSERT_EQ(1, formatInteger(out, sizeof out, value));
        ASSERT_EQ(expected, out) << "seed " << seed;
        ASSERT_EQ(1, formatIntegerText(text, value));
        ASSERT_EQ(expected, text) << "seed " << seed;
    }
}

// Fractions

const struct DoubleCase {
    int line;
    double value;
    const char* result;
} kDoubleCases[] = {
    // line    value  result
    {__LINE__, 1234.5, "12,34.500000"},
    {__LINE__, 0.0, "0.000000"},
    {__LINE__, 1.0, "1.000000"},
    {__LINE__, 12.25, ",12.250000"},
    {__LINE__, 123.0, "1,23.000000"},
    {__LINE__, 1234567.0, "12345,67.000000"},
    {__LINE__, 0.0000004, "0.000000"},
    {__LINE__, 0.9999999, "1.000000"},
    {__LINE__, -1.0, ",-1.000000"},
    {__LINE__, -12.5, "-,12.500000"},
    {__LINE__, -0.0, ",-0.000000"},
    {__LINE__, DBL_TRUE_MIN, "0.000000"},
    {__LINE__, std::numeric_limits<double>::infinity(), ",inf"},
    {__LINE__, -std::numeric_limits<double>::infinity(), "-,inf"},
    {__LINE__, std::numeric_limits<double>::quiet_NaN(), ",nan"},
};

// [size-3]
TEST(SizeTest, DoublesHaveSixDecimalsWhateverThePrecision) {
    for (const DoubleCase& row : kDoubleCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        for (const int precision : {0, 1, 2, 6, 40, INT_MAX}) {
            for (unsigned long outSize = 1; outSize <= 40; ++outSize) {
                EXPECT_EQ(Image(row.result, outSize),
                          Filled(outSize,
                                 [&](char* out) {
                                     EXPECT_EQ(
                                         1, formatDouble(out, outSize,
                                                         row.value, precision));
                                 }))
                    << "precision " << precision << " into " << outSize;
            }
            std::string text = "junk, and more of it than any result has";
            EXPECT_EQ(1, formatDoubleText(text, row.value, precision));
            EXPECT_EQ(row.result, text) << "precision " << precision;
        }
    }
}

const double kDoubles[] = {
    0.0,
    -0.0,
    0.5,
    1.0,
    12.0,
    123.456,
    1234.5,
    -1234.5,
    1e15,
    -1e22,
    1e100,
    DBL_MIN,
    DBL_TRUE_MIN,
    -DBL_TRUE_MIN,
    // 254 characters, the last that fit; the next number has 255.
    9e246,
    -9e245,
    1e247,
    -1e246,
    2e247,
    // The '.' itself is the last character that fits, and the first that does
    // not.
    1e252,
    1e253,
    1e254,
    1e300,
    -1e300,
    DBL_MAX,
    -DBL_MAX,
    std::numeric_limits<double>::infinity(),
    -std::numeric_limits<double>::infinity(),
    std::numeric_limits<double>::quiet_NaN(),
    -std::numeric_limits<double>::quiet_NaN(),
};

const int kPrecisions[] = {INT_MIN, -1000000, -100, -10, -2, -1, 0, 1, INT_MAX};

TEST(SizeTest, DoublesArePrintedByTheSystemAndCutBeforeTheComma) {
    for (const double value : kDoubles) {
        for (const int precision : kPrecisions) {
            SCOPED_TRACE(testing::Message()
                         << value << ", precision " << precision);
            const std::string expected = Formatted(value, precision);
            for (const unsigned long outSize :
                 {1UL, 2UL, 4UL, 20UL, 253UL, 254UL, 255UL, 256UL, kRoom}) {
                EXPECT_EQ(Image(expected, outSize),
                          Filled(outSize,
                                 [&](char* out) {
                                     EXPECT_EQ(1,
                                               formatDouble(out, outSize, value,
                                                            precision));
                                 }))
                    << "into " << outSize << " bytes";
            }
            std::string text(400, kJunk);
            EXPECT_EQ(1, formatDoubleText(text, value, precision));
            EXPECT_EQ(Cut(expected, kLongest), text);
        }
    }
}

// The same in numbers that can be counted.
TEST(SizeTest, ANumberIsCutTo254CharactersBeforeTheComma) {
    const std::string digits = Number(DBL_MAX, 0);
    ASSERT_EQ(316U, digits.size());
    std::string expected = digits.substr(0, 251);
    expected += ',';
    expected += digits.substr(251, 3);
    ASSERT_EQ(255U, expected.size());

    char out[kRoom];
    EXPECT_EQ(1, formatDouble(out, kRoom, DBL_MAX, 2));
    EXPECT_EQ(expected, out);

    std::string text;
    EXPECT_EQ(1, formatDoubleText(text, DBL_MAX, 2));
    EXPECT_EQ(expected.substr(0, 254), text);
}

// [size-3]
TEST(SizeTest, ANegativePrecisionGoesIntoTheFormatAsItIs) {
    char number[64];
    // Not a literal: compilers read those, and call this one mistaken.
    const std::string format = "%.-2f";
    std::snprintf(number, sizeof number, format.c_str(), 1234.5);
    char out[64];
    EXPECT_EQ(1, formatDouble(out, sizeof out, 1234.5, -2));
    EXPECT_EQ(Separated(number), out);
    std::string text;
    EXPECT_EQ(1, formatDoubleText(text, 1234.5, -2));
    EXPECT_EQ(Separated(number), text);
#ifdef __GLIBC__
    EXPECT_EQ("%.0-2f", text);
    EXPECT_EQ(1, formatDoubleText(text, 1234.5, INT_MIN));
    EXPECT_EQ("%.0-2147483648f", text);
#endif
}

TEST(SizeTest, RandomDoublesAreFormattedByTheRule) {
    const std::mt19937_64::result_type seed = 20250306;
    std::mt19937_64 random(seed);
    std::string text;
    for (int round = 0; round < 100000; ++round) {
        // Of every size that is printed in full, and now and then any bits.
        double value =
            std::ldexp(static_cast<double>(static_cast<std::int64_t>(random())),
                       static_cast<int>(random() % 60) - 70);
        if (round % 20 == 0) {
            const std::uint64_t bits = random();
            std::memcpy(&value, &bits, sizeof value);
        }
        const int precision = round % 16 == 0 ? -static_cast<int>(random() % 99)
                                              : static_cast<int>(random() % 99);
        const std::string expected = Formatted(value, precision);
        char out[kRoom];
        std::fill_n(out, sizeof out, kJunk);
        ASSERT_EQ(1, formatDouble(out, sizeof out, value, precision));
        ASSERT_EQ(expected, out) << value << ", seed " << seed;
        ASSERT_EQ(1, formatDoubleText(text, value, precision));
        ASSERT_EQ(Cut(expected, kLongest), text) << value << ", seed " << seed;
    }
}

// With no '.' in the number, the comma is counted from its end.
// [size-1]
TEST(SizeTest, ADecimalCommaIsNoPoint) {
    const NovuTest::CommaLocale comma;
    ASSERT_EQ("1234,500000", Number(1234.5, 2));
    std::string text;
    EXPECT_EQ(1, formatDoubleText(text, 1234.5, 2));
    EXPECT_EQ("1234,500,000", text);
    EXPECT_EQ(1, formatDoubleText(text, 0.25, 2));
    EXPECT_EQ("0,250,000", text);
    EXPECT_EQ(1, formatDoubleText(text, -7.0, 0));
    EXPECT_EQ("-7,000,000", text);
    char out[20];
    EXPECT_EQ(1, formatDouble(out, sizeof out, 1234.5, 2));
    EXPECT_STREQ("1234,500,000", out);
    EXPECT_EQ(1, formatInteger(out, sizeof out, 1234567));
    EXPECT_STREQ("1234,567", out);
}

// Failures

TEST(SizeTest, FormattingNeedsAnOutput) {
    EXPECT_EQ(0, formatInteger(nullptr, 10, 1234567));
    EXPECT_EQ(0, formatInteger(nullptr, 0, 1234567));
    EXPECT_EQ(0, formatDouble(nullptr, 10, 1234.5, 2));
    EXPECT_EQ(0, formatDouble(nullptr, 10, 1234.5, -2));
    EXPECT_EQ(0, formatDouble(nullptr, 0, 1234.5, 2));

    char out[] = {kJunk, kJunk};
    EXPECT_EQ(0, formatInteger(out, 0, 1234567));
    EXPECT_EQ(0, formatDouble(out, 0, 1234.5, 2));
    EXPECT_EQ(0, formatDouble(out, 0, 1234.5, -2));
    EXPECT_EQ(kJunk, out[0]);
    EXPECT_EQ(kJunk, out[1]);
}

TEST(SizeTest, AnAllocationThatFailsPassesThroughAndWritesNothing) {
    char digits[] = "1234567890123456789012345678901234567890";
    const std::string earlier = "what was there";
    char out[kRoom];
    std::fill_n(out, kRoom, kJunk);
    std::string text = earlier;
    const auto untouched = [&] {
        EXPECT_TRUE(
            std::all_of(out, out + kRoom, [](char c) { return c == kJunk; }));
        EXPECT_EQ(earlier, text);
    };

    {
        const NovuTest::AllocationLedger ledger;
        EXPECT_LT(0U,
                  NovuTest::FailEachAllocation(
                      [&] { InsertSeperator(digits, out, kRoom); }, untouched));
        EXPECT_EQ(0U, ledger.Blocks());
    }
    EXPECT_STREQ("1234567890123456789012345678901234567,890", out);

    std::fill_n(out, kRoom, kJunk);
    {
        const NovuTest::AllocationLedger ledger;
        EXPECT_LT(
            0U, NovuTest::FailEachAllocation(
                    [&] { formatInteger(out, kRoom, LLONG_MIN); }, untouched));
        EXPECT_EQ(0U, ledger.Blocks());
    }
    EXPECT_STREQ("-9223372036854775,808", out);

    std::fill_n(out, kRoom, kJunk);
    EXPECT_LT(0U,
              NovuTest::FailEachAllocation(
                  [&] { formatDouble(out, kRoom, DBL_MAX, 2); }, untouched));
    EXPECT_EQ(Formatted(DBL_MAX, 2), out);

    std::fill_n(out, kRoom, kJunk);
    EXPECT_LT(1U, NovuTest::FailEachAllocation(
                      [&] { formatIntegerText(text, LLONG_MIN); }, untouched));
    EXPECT_EQ("-9223372036854775,808", text);

    text = earlier;
    text.shrink_to_fit();
    EXPECT_LT(1U, NovuTest::FailEachAllocation(
                      [&] { formatDoubleText(text, DBL_MAX, 2); }, untouched));
    EXPECT_EQ(Cut(Formatted(DBL_MAX, 2), kLongest), text);
}

}  // namespace
