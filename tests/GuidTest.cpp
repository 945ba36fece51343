// The contract of Bases/Guid.h. Identifiers are built from their bytes and
// compared by them: the value is those 16 bytes and nothing else.

#include "Bases/Guid.h"

#include <gtest/gtest.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <boost/random/mersenne_twister.hpp>
#include <boost/uuid/entropy_error.hpp>
#include <boost/uuid/random_generator.hpp>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "tests/support/Allocation.h"
#include "tests/support/NextSymbol.h"

namespace {

// What the system's random source is told to do; the library reaches it through
// the stand-in below.
struct RandomSource {
    bool fails = false;
    bool fills = false;  // With `byte`, instead of random bytes.
    unsigned char byte = 0;
    std::vector<std::size_t> requests;
};

thread_local RandomSource* source = nullptr;

}  // namespace

ssize_t getrandom(void* buffer, size_t size, unsigned int flags) {
    static auto* const next =
        NovuTest::NextSymbol<decltype(::getrandom)>("getrandom");
    if (source == nullptr) {
        return next(buffer, size, flags);
    }
    source->requests.push_back(size);
    if (source->fails) {
        errno = ENOSYS;
        return -1;
    }
    if (source->fills) {
        std::memset(buffer, source->byte, size);
        return static_cast<ssize_t>(size);
    }
    return next(buffer, size, flags);
}

namespace {

using Novu::Guid;
using Bytes = std::array<unsigned char, 16>;

static_assert(sizeof(Guid) == 16);
static_assert(std::is_trivially_copyable_v<Guid>);
static_assert(std::is_standard_layout_v<Guid>);
static_assert(!std::is_polymorphic_v<Guid>);

// There is no <= and no >=.
template <typename Value>
concept HasOrEqual = requires(Value a, Value b) {
    a <= b;
}
|| requires(Value a, Value b) { a >= b; };
static_assert(!HasOrEqual<Guid>);

const Bytes kNil{};
const Bytes kCounting{0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                      0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff};
const char* const kCountingText = "00112233-4455-6677-8899-aabbccddeeff";

Guid Of(const Bytes& bytes) {
    Guid guid;
    std::memcpy(&guid, bytes.data(), bytes.size());
    return guid;
}

Bytes BytesOf(const Guid& guid) {
    Bytes bytes{};
    std::memcpy(bytes.data(), &guid, bytes.size());
    return bytes;
}

// All zero but for `value` at `index`.
Bytes Single(std::size_t index, unsigned char value) {
    Bytes bytes{};
    bytes[index] = value;
    return bytes;
}

int Sign(int number) {
    return static_cast<int>(number > 0) - static_cast<int>(number < 0);
}

class ScriptedSource {
public:
    ScriptedSource() { source = &script; }
    ScriptedSource(const ScriptedSource&) = delete;
    ScriptedSource& operator=(const ScriptedSource&) = delete;
    ~ScriptedSource() { source = nullptr; }

    RandomSource* operator->() { return &script; }

private:
    RandomSource script;
};

// Value

TEST(GuidTest, ANewOneIsNil) {
    const Guid guid;
    EXPECT_TRUE(guid.None());
    EXPECT_EQ(kNil, BytesOf(guid));
}

TEST(GuidTest, ClearMakesItNil) {
    Guid guid = Of(kCounting);
    EXPECT_FALSE(guid.None());
    guid.Clear();
    EXPECT_TRUE(guid.None());
    EXPECT_EQ(kNil, BytesOf(guid));
}

TEST(GuidTest, NilMeansAll16Bytes) {
    for (std::size_t index = 0; index < 16; ++index) {
        EXPECT_FALSE(Of(Single(index, 1)).None()) << "byte " << index;
        EXPECT_FALSE(Of(Single(index, 0x80)).None()) << "byte " << index;
    }
}

TEST(GuidTest, CopiesByValue) {
    Guid guid = Of(kCounting);
    const Guid copy = guid;
    guid.Clear();
    EXPECT_EQ(kCounting, BytesOf(copy));
}

// Generation

TEST(GuidTest, GeneratedOnesAreOfVersion4AndDiffer) {
    std::set<std::string> texts;
    for (int count = 0; count < 500; ++count) {
        Guid guid;
        ASSERT_TRUE(guid.Generate());
        const Bytes bytes = BytesOf(guid);
        EXPECT_EQ(0x40, bytes[6] & 0xf0) << "version of RFC 4122";
        EXPECT_EQ(0x80, bytes[8] & 0xc0) << "variant of RFC 4122";
        texts.insert(guid.ToString(1));
    }
    EXPECT_EQ(500U, texts.size());
}

TEST(GuidTest, GenerateReplacesTheValue) {
    Guid guid = Of(kCounting);
    ASSERT_TRUE(guid.Generate());
    EXPECT_NE(kCounting, BytesOf(guid));
}

// [guid-1]
TEST(GuidTest, EveryCallSeedsAWholeEngineOfItsOwn) {
    const std::size_t engineBytes = 624 * sizeof(std::uint32_t);
    ScriptedSource script;
    Guid guid;
    EXPECT_TRUE(guid.Generate());
    EXPECT_TRUE(guid.Generate());
    EXPECT_EQ((std::vector<std::size_t>{engineBytes, engineBytes}),
              script->requests);
}

// The engine is a boost::mt19937 over the bytes of the random source, and the
// identifier the first that Boost draws from it.
TEST(GuidTest, TheEngineIsTheMersenneTwister) {
    for (const unsigned char byte :
         std::array<unsigned char, 4>{0x00, 0x01, 0x5a, 0xff}) {
        std::vector<std::uint32_t> words(624, byte * 0x01010101U);
        auto first = words.begin();
        boost::mt19937 engine(first, words.end());
        boost::uuids::basic_random_generator<boost::mt19937> generator(engine);
        const boost::uuids::uuid expected = generator();

        ScriptedSource script;
        script->fills = true;
        script->byte = byte;
        Guid guid;
        ASSERT_TRUE(guid.Generate());
        EXPECT_TRUE(
            std::equal(expected.begin(), expected.end(), BytesOf(guid).begin()))
            << "seeded with " << static_cast<int>(byte);
    }
}

TEST(GuidTest, AFailingRandomSourcePassesAndChangesNothing) {
    ScriptedSource script;
    script->fails = true;
    Guid guid = Of(kCounting);
    EXPECT_THROW(guid.Generate(), boost::uuids::entropy_error);
    EXPECT_THROW(guid.Generate(), std::runtime_error);
    EXPECT_EQ(kCounting, BytesOf(guid));
}

TEST(GuidTest, SeveralThreadsGenerateAtOnce) {
    std::vector<std::vector<std::string>> texts(4);
    std::vector<std::thread> threads;
    for (auto& list : texts) {
        threads.emplace_back([&list] {
            for (int count = 0; count < 100; ++count) {
                Guid guid;
                guid.Generate();
                list.push_back(guid.ToString(1));
            }
        });
    }
    std::set<std::string> all;
    for (std::size_t index = 0; index < threads.size(); ++index) {
        threads[index].join();
        all.insert(texts[index].begin(), texts[index].end());
    }
    EXPECT_EQ(400U, all.size());
}

// Order

TEST(GuidTest, EqualityLooksAtEveryByte) {
    const Guid guid = Of(kCounting);
    EXPECT_TRUE(guid.Test(Of(kCounting)));
    EXPECT_TRUE(guid == Of(kCounting));
    EXPECT_FALSE(guid != Of(kCounting));
    for (std::size_t index = 0; index < 16; ++index) {
        Bytes bytes = kCounting;
        bytes[index] ^= 0x10;
        const Guid other = Of(bytes);
        EXPECT_FALSE(guid.Test(other)) << "byte " << index;
        EXPECT_FALSE(guid == other) << "byte " << index;
        EXPECT_TRUE(guid != other) << "byte " << index;
    }
}

// [guid-2] On a little-endian host the last byte of a number decides first.
const struct CompareCase {
    int line;
    Bytes left;
    Bytes right;
    int sign;
} kCompareCases[] = {
    {__LINE__, kNil, kNil, 0},
    {__LINE__, kCounting, kCounting, 0},

    // One byte of a number against nil, and against the byte below it.
    {__LINE__, Single(0, 1), kNil, 1},
    {__LINE__, kNil, Single(3, 1), -1},
    {__LINE__, Single(0, 0xff), Single(3, 0x01), -1},
    {__LINE__, Single(2, 0xff), Single(3, 0x01), -1},
    {__LINE__, Single(1, 0x01), Single(0, 0xff), 1},
    {__LINE__, Single(4, 0xff), Single(5, 0x01), -1},
    {__LINE__, Single(6, 0xff), Single(7, 0x01), -1},

    // Unsigned.
    {__LINE__, Single(3, 0x80), Single(3, 0x7f), 1},
    {__LINE__, Single(5, 0x80), Single(5, 0x7f), 1},
    {__LINE__, Single(7, 0x80), Single(7, 0x7f), 1},
    {__LINE__, Single(8, 0x80), Single(8, 0x7f), 1},

    // An earlier number outweighs every later byte.
    {__LINE__, Single(0, 1), Single(5, 0xff), 1},
    {__LINE__, Single(4, 1), Single(7, 0xff), 1},
    {__LINE__, Single(6, 1), Single(8, 0xff), 1},

    // Bytes 8 to 15 in the order of the text.
    {__LINE__, Single(8, 1), Single(15, 0xff), 1},
    {__LINE__, Single(15, 1), Single(15, 2), -1},
    {__LINE__, Single(15, 2), kNil, 1},
};

TEST(GuidTest, ComparesThreeNumbersAndThenBytes) {
    for (const CompareCase& row : kCompareCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const Guid left = Of(row.left);
        const Guid right = Of(row.right);
        EXPECT_EQ(row.sign, Sign(left.Compare(right)));
        EXPECT_EQ(-row.sign, Sign(right.Compare(left)));
        EXPECT_EQ(row.sign < 0, left < right);
        EXPECT_EQ(row.sign > 0, left > right);
        EXPECT_EQ(row.sign == 0, left == right);
    }
}

TEST(GuidTest, TheNumbersCompareAsOneOrMinusOne) {
    for (const std::size_t index : {0UL, 3UL, 4UL, 5UL, 6UL, 7UL}) {
        EXPECT_EQ(1, Of(Single(index, 200)).Compare(Guid())) << index;
        EXPECT_EQ(-1, Guid().Compare(Of(Single(index, 200)))) << index;
    }
}

// [guid-2]
TEST(GuidTest, TheLastEightBytesHaveTheSignOfMemcmp) {
    const Bytes left = Single(15, 7);
    const Bytes right = Single(15, 2);
    // Through a volatile pointer, so that the call is not computed beforehand.
    auto* volatile compare = &std::memcmp;
    EXPECT_EQ(Sign(compare(left.data() + 8, right.data() + 8, 8)),
              Sign(Of(left).Compare(Of(right))));
}

// To text

TEST(GuidTest, PrintsInLowerCaseWithHyphens) {
    for (const int format : {1, 2, -1, 36, INT32_MIN}) {
        std::string text = "junk";
        char buffer[40];
        std::memset(buffer, 'J', sizeof buffer);
        EXPECT_TRUE(Of(kCounting).ToString(text, format));
        EXPECT_EQ(kCountingText, text);
        EXPECT_TRUE(Of(kCounting).ToString(buffer, format));
        EXPECT_STREQ(kCountingText, buffer);
        EXPECT_EQ('J', buffer[37]) << "37 bytes, the terminator counted";
        EXPECT_EQ(kCountingText, Of(kCounting).ToString(format));
    }
}

TEST(GuidTest, PrintsEveryByteInItsPlace) {
    const std::size_t places[] = {0,  2,  4,  6,  9,  11, 14, 16,
                                  19, 21, 24, 26, 28, 30, 32, 34};
    for (int value = 1; value <= 255; ++value) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", value);
        for (std::size_t index = 0; index < 16; ++index) {
            std::string expected = "00000000-0000-0000-0000-000000000000";
            expected.replace(places[index], 2, digits);
            const Guid guid =
                Of(Single(index, static_cast<unsigned char>(value)));
            char text[37];
            EXPECT_TRUE(guid.ToString(text, 1));
            EXPECT_EQ(expected, text);
            EXPECT_EQ(expected, guid.ToString(1));
            EXPECT_TRUE(guid.ToString(text, 0));
            EXPECT_EQ(expected.substr(1, 34), text);
            EXPECT_EQ(expected.substr(1, 34), guid.ToString(0));
        }
    }
}

TEST(GuidTest, ALongerTextIsReplaced) {
    for (const std::size_t length : {0UL, 15UL, 33UL, 34UL, 36UL, 37UL, 99UL}) {
        std::string text(length, 'J');
        EXPECT_TRUE(Of(kCounting).ToString(text, 1));
        EXPECT_EQ(kCountingText, text);
        text.assign(length, 'J');
        EXPECT_TRUE(Of(kCounting).ToString(text, 0));
        EXPECT_EQ(std::string(kCountingText).substr(1, 34), text);
    }
}

// [guid-3]
TEST(GuidTest, Format0CutsTheFirstAndTheLastDigit) {
    const char* const cut = "0112233-4455-6677-8899-aabbccddeef";
    std::string text = "junk";
    char buffer[40];
    std::memset(buffer, 'J', sizeof buffer);
    EXPECT_TRUE(Of(kCounting).ToString(text, 0));
    EXPECT_EQ(cut, text);
    EXPECT_TRUE(Of(kCounting).ToString(buffer, 0));
    EXPECT_STREQ(cut, buffer);
    EXPECT_EQ('J', buffer[35]) << "35 bytes, the terminator counted";
    EXPECT_EQ(cut, Of(kCounting).ToString(0));

    Guid guid = Of(kCounting);
    EXPECT_THROW(guid.FromString(text), std::runtime_error);
    EXPECT_EQ(kCounting, BytesOf(guid));
}

// [guid-4]
TEST(GuidTest, NilHasNoText) {
    for (const int format : {0, 1}) {
        std::string text = "junk";
        char buffer[40];
        std::memset(buffer, 'J', sizeof buffer);
        EXPECT_FALSE(Guid().ToString(text, format));
        EXPECT_EQ("junk", text);
        EXPECT_FALSE(Guid().ToString(buffer, format));
        EXPECT_TRUE(std::all_of(std::begin(buffer), std::end(buffer),
                                [](char c) { return c == 'J'; }));
        EXPECT_EQ("", Guid().ToString(format));
    }
}

TEST(GuidTest, TheIdentifierMayLieWhereItsTextIsWritten) {
    for (const int format : {0, 1}) {
        alignas(Guid) unsigned char memory[40];
        Guid* const guid = new (memory) Guid;
        guid->Generate();
        const std::string expected = guid->ToString(format);
        auto* const out = reinterpret_cast<char*>(memory);
        EXPECT_TRUE(guid->ToString(out, format));
        EXPECT_EQ(expected, out);
    }
}

// [guid-4]
TEST(GuidTest, ANullOutIsRefused) {
    EXPECT_FALSE(Of(kCounting).ToString(static_cast<char*>(nullptr), 1));
    EXPECT_FALSE(Guid().ToString(static_cast<char*>(nullptr), 0));
}

TEST(GuidTest, PrintingFailsWithoutATraceWhenMemoryDoes) {
    for (const int format : {0, 1}) {
        std::string text;
        const unsigned long allocations = NovuTest::FailEachAllocation(
            [&] {
                text = "j";
                EXPECT_TRUE(Of(kCounting).ToString(text, format));
            },
            [&] { EXPECT_EQ("j", text); });
        EXPECT_LT(0U, allocations);
        EXPECT_EQ(Of(kCounting).ToString(format), text);
    }
}

// From text

const struct ParseCase {
    int line;
    std::string text;
} kParsedAsCounting[] = {
    {__LINE__, "00112233-4455-6677-8899-aabbccddeeff"},
    {__LINE__, "00112233-4455-6677-8899-AABBCCDDEEFF"},
    {__LINE__, "00112233-4455-6677-8899-aAbBcCdDeEfF"},
    {__LINE__, "{00112233-4455-6677-8899-aabbccddeeff}"},
    {__LINE__, "00112233445566778899aabbccddeeff"},
    {__LINE__, "{00112233445566778899aabbccddeeff}"},

    // [guid-5] What follows is ignored.
    {__LINE__, "00112233-4455-6677-8899-aabbccddeeff!"},
    {__LINE__, "00112233-4455-6677-8899-aabbccddeeff}"},
    {__LINE__, "00112233-4455-6677-8899-aabbccddeeff00112233"},
    {__LINE__, "00112233445566778899aabbccddeeff-"},
    {__LINE__, "00112233445566778899aabbccddeeff 0"},
    {__LINE__, "{00112233-4455-6677-8899-aabbccddeeff}}"},
    {__LINE__, "{00112233445566778899aabbccddeeff} and more"},
    {__LINE__, std::string("00112233445566778899aabbccddeeff\0z", 34)},
};

TEST(GuidTest, ReadsEveryFormThatItKnows) {
    for (const ParseCase& row : kParsedAsCounting) {
        SCOPED_TRACE(testing::Message()
                     << "row at line " << row.line << ": " << row.text);
        Guid fromString;
        EXPECT_TRUE(fromString.FromString(row.text));
        EXPECT_EQ(kCounting, BytesOf(fromString));
        Guid fromPointer;
        EXPECT_TRUE(fromPointer.FromString(row.text.c_str()));
        EXPECT_EQ(kCounting, BytesOf(fromPointer));
    }
}

// [guid-6]
const struct RefusedCase {
    int line;
    std::string text;
} kRefusedCases[] = {
    // Too short.
    {__LINE__, "0"},
    {__LINE__, "{"},
    {__LINE__, "00112233445566778899aabbccddeef"},
    {__LINE__, "00112233-4455-6677-8899-aabbccddeef"},
    {__LINE__, "{00112233445566778899aabbccddeeff"},
    {__LINE__, "{00112233-4455-6677-8899-aabbccddeeff"},
    {__LINE__, std::string("0011\0"
                           "2233445566778899aabbccddeeff",
                           33)},

    // A wrong closing brace.
    {__LINE__, "{00112233445566778899aabbccddeeff)"},
    {__LINE__, "{00112233445566778899aabbccddeeff0}"},
    {__LINE__, "{00112233-4455-6677-8899-aabbccddeeff-}"},

    // Hyphens not in all of their places, or elsewhere.
    {__LINE__, "00112233-445566778899aabbccddeeff"},
    {__LINE__, "00112233-4455-66778899aabbccddeeff"},
    {__LINE__, "00112233-4455-6677-8899aabbccddeeff"},
    {__LINE__, "001122334455-6677-8899-aabbccddeeff"},
    {__LINE__, "0011-2233-4455-6677-8899aabbccddeeff"},
    {__LINE__, "-0011223344556677-8899-aabbccddeeff"},
    {__LINE__, "00112233--4455-6677-8899-aabbccddeeff"},

    // Other characters where a digit is due.
    {__LINE__, "g0112233445566778899aabbccddeeff"},
    {__LINE__, "0011223344556677889 aabbccddeeff"},
    {__LINE__, "0x112233445566778899aabbccddeeff"},
    {__LINE__, " 00112233445566778899aabbccddeeff"},
    {__LINE__, "+0112233445566778899aabbccddeeff"},
    {__LINE__, "{{00112233445566778899aabbccddeeff}}"},
    {__LINE__, "}00112233445566778899aabbccddeeff{"},
    {__LINE__, "00112233445566778899aabbccddeef\xef"},
    {__LINE__, "(00112233445566778899aabbccddeeff)"},
};

TEST(GuidTest, ThrowsAtEveryOtherText) {
    for (const RefusedCase& row : kRefusedCases) {
        SCOPED_TRACE(testing::Message()
                     << "row at line " << row.line << ": " << row.text);
        Guid guid = Of(kCounting);
        const char* message = "nothing thrown";
        try {
            guid.FromString(row.text);
        } catch (const std::runtime_error& error) {
            message = "another message";
            if (std::strcmp(error.what(), "invalid uuid string") == 0) {
                message = "invalid uuid string";
            }
        }
        EXPECT_STREQ("invalid uuid string", message);
        EXPECT_EQ(kCounting, BytesOf(guid));
        EXPECT_THROW(guid.FromString(row.text.c_str()), std::runtime_error);
        EXPECT_EQ(kCounting, BytesOf(guid));
    }
}

// [guid-6]
TEST(GuidTest, OnlyThePointerOverloadThrowsAtAnEmptyText) {
    Guid guid = Of(kCounting);
    EXPECT_FALSE(guid.FromString(std::string()));
    EXPECT_FALSE(guid.FromString(static_cast<const char*>(nullptr)));
    EXPECT_EQ(kCounting, BytesOf(guid));
    EXPECT_THROW(guid.FromString(""), std::runtime_error);
    // Not empty, though its first character ends it.
    EXPECT_THROW(guid.FromString(std::string(1, '\0')), std::runtime_error);
    EXPECT_EQ(kCounting, BytesOf(guid));
}

TEST(GuidTest, TheTextOfNilIsRefused) {
    for (const char* const text : {"00000000000000000000000000000000",
                                   "00000000-0000-0000-0000-000000000000",
                                   "{00000000-0000-0000-0000-000000000000}"}) {
        Guid guid = Of(kCounting);
        EXPECT_FALSE(guid.FromString(text));
        EXPECT_FALSE(guid.FromString(std::string(text)));
        EXPECT_EQ(kCounting, BytesOf(guid));
    }
}

TEST(GuidTest, EveryTextReadsBack) {
    for (int count = 0; count < 200; ++count) {
        Guid guid;
        ASSERT_TRUE(guid.Generate());
        const std::string text = guid.ToString(1);
        std::string digits = text;
        digits.erase(std::remove(digits.begin(), digits.end(), '-'),
                     digits.end());
        for (const std::string& form :
             {text, digits, "{" + text + "}", "{" + digits + "}"}) {
            Guid read;
            EXPECT_TRUE(read.FromString(form)) << form;
            EXPECT_EQ(BytesOf(guid), BytesOf(read)) << form;
        }
    }
}

TEST(GuidTest, NothingIsReadBeyondTheTerminator) {
    // Blocks of exactly the text, for the address sanitizer to guard.
    for (const std::size_t length : {0UL, 1UL, 8UL, 9UL, 31UL, 32UL, 36UL}) {
        std::vector<char> text(length + 1, '1');
        text[length] = '\0';
        Guid guid;
        if (length == 32 || length == 36) {
            EXPECT_TRUE(guid.FromString(text.data()));
        } else {
            EXPECT_THROW(guid.FromString(text.data()), std::runtime_error);
        }
    }
}

}  // namespace
