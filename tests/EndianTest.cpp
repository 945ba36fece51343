// The contract of Bases/Endian.h. The tables hold every function that converts,
// with the one of the C library that does the same and an expectation that is
// built byte by byte. Values are named by their bytes, most significant first.

#include "Bases/Endian.h"

#include <endian.h>
#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <random>
#include <set>
#include <type_traits>

namespace {

namespace Endian = Novu::Endian;

using std::is_same_v;

static_assert(is_same_v<decltype(Endian::IsLittleEndian), bool()>);
static_assert(is_same_v<decltype(Endian::IsBigEndian), bool()>);

using Convert16 = unsigned short(unsigned short);
static_assert(is_same_v<decltype(Endian::Swap16), Convert16>);
static_assert(is_same_v<decltype(Endian::tobe16), Convert16>);
static_assert(is_same_v<decltype(Endian::betoh16), Convert16>);
static_assert(is_same_v<decltype(Endian::hton16), Convert16>);
static_assert(is_same_v<decltype(Endian::ntoh16), Convert16>);
static_assert(is_same_v<decltype(Endian::tole16), Convert16>);
static_assert(is_same_v<decltype(Endian::letoh16), Convert16>);

using Convert32 = unsigned long(unsigned long);
static_assert(sizeof(unsigned long) == 8);
static_assert(is_same_v<decltype(Endian::Swap32), Convert32>);
static_assert(is_same_v<decltype(Endian::tobe32), Convert32>);
static_assert(is_same_v<decltype(Endian::betoh32), Convert32>);
static_assert(is_same_v<decltype(Endian::hton32), Convert32>);
static_assert(is_same_v<decltype(Endian::ntoh32), Convert32>);
static_assert(is_same_v<decltype(Endian::tole32), Convert32>);
static_assert(is_same_v<decltype(Endian::letoh32), Convert32>);

using Convert64 = unsigned long long(unsigned long long);
static_assert(is_same_v<decltype(Endian::Swap64), Convert64>);
static_assert(is_same_v<decltype(Endian::tobe64), Convert64>);
static_assert(is_same_v<decltype(Endian::betoh64), Convert64>);
static_assert(is_same_v<decltype(Endian::hton64), Convert64>);
static_assert(is_same_v<decltype(Endian::ntoh64), Convert64>);
static_assert(is_same_v<decltype(Endian::tole64), Convert64>);
static_assert(is_same_v<decltype(Endian::letoh64), Convert64>);

// For which hosts a function reverses.
enum class Reverses { kAlways, kOnLittleEndian, kOnBigEndian };

bool ReversesHere(Reverses reverses) {
    switch (reverses) {
        case Reverses::kOnLittleEndian:
            return std::endian::native == std::endian::little;
        case Reverses::kOnBigEndian:
            return std::endian::native == std::endian::big;
        case Reverses::kAlways:
            break;
    }
    return true;
}

// The `count` lowest bytes of `value` in the reverse order, and nothing else.
unsigned long long Reversed(unsigned long long value, std::size_t count) {
    unsigned long long reversed = 0;
    for (std::size_t byte = 0; byte < count; ++byte) {
        reversed = reversed * 256 + value % 256;
        value /= 256;
    }
    return reversed;
}

template <typename Value>
struct Case {
    int line;
    const char* name;
    Value (*convert)(Value);
    Value (*peer)(Value);  // Of the C library; sees `Value` cut to its width.
    Reverses reverses;

    // For every host but the middle-endian ones.
    Value Expected(Value value, std::size_t bytes) const {
        return ReversesHere(reverses)
                   ? static_cast<Value>(Reversed(value, bytes))
                   : value;
    }
};

const Case<unsigned short> k16Cases[] = {
    {__LINE__, "Swap16", Endian::Swap16,
     [](unsigned short value) -> unsigned short {
         return __builtin_bswap16(value);
     },
     Reverses::kAlways},
    {__LINE__, "tobe16", Endian::tobe16,
     [](unsigned short value) -> unsigned short { return htobe16(value); },
     Reverses::kOnLittleEndian},
    {__LINE__, "betoh16", Endian::betoh16,
     [](unsigned short value) -> unsigned short { return be16toh(value); },
     Reverses::kOnLittleEndian},
    {__LINE__, "hton16", Endian::hton16,
     [](unsigned short value) -> unsigned short { return htobe16(value); },
     Reverses::kOnLittleEndian},
    {__LINE__, "ntoh16", Endian::ntoh16,
     [](unsigned short value) -> unsigned short { return be16toh(value); },
     Reverses::kOnLittleEndian},
    {__LINE__, "tole16", Endian::tole16,
     [](unsigned short value) -> unsigned short { return htole16(value); },
     Reverses::kOnBigEndian},
    {__LINE__, "letoh16", Endian::letoh16,
     [](unsigned short value) -> unsigned short { return le16toh(value); },
     Reverses::kOnBigEndian},
};

std::uint32_t Low(unsigned long value) {
    return static_cast<std::uint32_t>(value);
}

const Case<unsigned long> k32Cases[] = {
    {__LINE__, "Swap32", Endian::Swap32,
     [](unsigned long value) -> unsigned long {
         return __builtin_bswap32(Low(value));
     },
     Reverses::kAlways},
    {__LINE__, "tobe32", Endian::tobe32,
     [](unsigned long value) -> unsigned long { return htobe32(Low(value)); },
     Reverses::kOnLittleEndian},
    {__LINE__, "betoh32", Endian::betoh32,
     [](unsigned long value) -> unsigned long { return be32toh(Low(value)); },
     Reverses::kOnLittleEndian},
    {__LINE__, "hton32", Endian::hton32,
     [](unsigned long value) -> unsigned long { return htobe32(Low(value)); },
     Reverses::kOnLittleEndian},
    {__LINE__, "ntoh32", Endian::ntoh32,
     [](unsigned long value) -> unsigned long { return be32toh(Low(value)); },
     Reverses::kOnLittleEndian},
    {__LINE__, "tole32", Endian::tole32,
     [](unsigned long value) -> unsigned long { return htole32(Low(value)); },
     Reverses::kOnBigEndian},
    {__LINE__, "letoh32", Endian::letoh32,
     [](unsigned long value) -> unsigned long { return le32toh(Low(value)); },
     Reverses::kOnBigEndian},
};

using Long = unsigned long long;

const Case<Long> k64Cases[] = {
    {__LINE__, "Swap64", Endian::Swap64,
     [](Long value) -> Long { return __builtin_bswap64(value); },
     Reverses::kAlways},
    {__LINE__, "tobe64", Endian::tobe64,
     [](Long value) -> Long { return htobe64(value); },
     Reverses::kOnLittleEndian},
    {__LINE__, "betoh64", Endian::betoh64,
     [](Long value) -> Long { return be64toh(value); },
     Reverses::kOnLittleEndian},
    {__LINE__, "hton64", Endian::hton64,
     [](Long value) -> Long { return htobe64(value); },
     Reverses::kOnLittleEndian},
    {__LINE__, "ntoh64", Endian::ntoh64,
     [](Long value) -> Long { return be64toh(value); },
     Reverses::kOnLittleEndian},
    {__LINE__, "tole64", Endian::tole64,
     [](Long value) -> Long { return htole64(value); }, Reverses::kOnBigEndian},
    {__LINE__, "letoh64", Endian::letoh64,
     [](Long value) -> Long { return le64toh(value); }, Reverses::kOnBigEndian},
};

// The host

TEST(EndianTest, KnowsTheOrderOfTheHost) {
    EXPECT_EQ(std::endian::native == std::endian::little,
              Endian::IsLittleEndian());
    EXPECT_EQ(std::endian::native == std::endian::big, Endian::IsBigEndian());

    const unsigned long long one = 1;
    unsigned char bytes[sizeof one];
    std::memcpy(bytes, &one, sizeof one);
    EXPECT_EQ(bytes[0] == 1, Endian::IsLittleEndian());
    EXPECT_EQ(bytes[0] != 1, Endian::IsBigEndian());
}

TEST(EndianTest, OneOrderIsTheNegationOfTheOther) {
    EXPECT_NE(Endian::IsLittleEndian(), Endian::IsBigEndian());
}

// Swapping

TEST(EndianTest, Swap16ExchangesTheTwoBytes) {
    EXPECT_EQ(0x3412, Endian::Swap16(0x1234));
    EXPECT_EQ(0x00ff, Endian::Swap16(0xff00));
    EXPECT_EQ(0xff00, Endian::Swap16(0x00ff));
    EXPECT_EQ(0, Endian::Swap16(0));
    EXPECT_EQ(0xffff, Endian::Swap16(0xffff));
    EXPECT_EQ(0x0080, Endian::Swap16(0x8000));
}

// [endian-1]
TEST(EndianTest, Swap32DropsTheUpperHalf) {
    EXPECT_EQ(0x78563412U, Endian::Swap32(0x12345678));
    EXPECT_EQ(0x78563412U, Endian::Swap32(0x9abcdef012345678));
    EXPECT_EQ(0U, Endian::Swap32(0xffffffff00000000));
    EXPECT_EQ(0xffffffffU, Endian::Swap32(ULONG_MAX));
    EXPECT_EQ(0x00000080U, Endian::Swap32(0x80000000));
    EXPECT_EQ(0x80000000U, Endian::Swap32(0x00000080));
}

TEST(EndianTest, Swap64ReversesAllEightBytes) {
    EXPECT_EQ(0x0807060504030201U, Endian::Swap64(0x0102030405060708));
    EXPECT_EQ(0x00000000000000ffU, Endian::Swap64(0xff00000000000000));
    EXPECT_EQ(0xff00000000000000U, Endian::Swap64(0x00000000000000ff));
    EXPECT_EQ(0x0000008000000000U, Endian::Swap64(0x0000000080000000));
    EXPECT_EQ(ULLONG_MAX, Endian::Swap64(ULLONG_MAX));
    EXPECT_EQ(0U, Endian::Swap64(0));
}

// Conversion

// What the bytes of `value` are in memory, read as a big-endian number.
template <typename Value>
unsigned long long InMemory(Value value) {
    unsigned char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    unsigned long long number = 0;
    for (const unsigned char byte : bytes) {
        number = number << 8 | byte;
    }
    return number;
}

TEST(EndianTest, BigEndianValuesHaveTheirHighestByteFirst) {
    EXPECT_EQ(0x1234U, InMemory(Endian::tobe16(0x1234)));
    EXPECT_EQ(0x1234U, InMemory(Endian::hton16(0x1234)));
    EXPECT_EQ(0x12345678U, InMemory(Low(Endian::tobe32(0x12345678))));
    EXPECT_EQ(0x12345678U, InMemory(Low(Endian::hton32(0x12345678))));
    EXPECT_EQ(0x0102030405060708U,
              InMemory(Endian::tobe64(0x0102030405060708)));
    EXPECT_EQ(0x0102030405060708U,
              InMemory(Endian::hton64(0x0102030405060708)));
}

TEST(EndianTest, LittleEndianValuesHaveTheirLowestByteFirst) {
    EXPECT_EQ(0x3412U, InMemory(Endian::tole16(0x1234)));
    EXPECT_EQ(0x78563412U, InMemory(Low(Endian::tole32(0x12345678))));
    EXPECT_EQ(0x0807060504030201U,
              InMemory(Endian::tole64(0x0102030405060708)));
}

TEST(EndianTest, OnALittleEndianHostOnlyBigEndianIsReversed) {
    ASSERT_TRUE(Endian::IsLittleEndian()) << "a host that has no such test yet";
    for (const auto& row : k16Cases) {
        SCOPED_TRACE(row.name);
        const bool reverses = row.reverses != Reverses::kOnBigEndian;
        EXPECT_EQ(reverses ? 0x3412 : 0x1234, row.convert(0x1234));
    }
    for (const auto& row : k32Cases) {
        SCOPED_TRACE(row.name);
        const bool reverses = row.reverses != Reverses::kOnBigEndian;
        EXPECT_EQ(reverses ? 0x78563412U : 0x12345678U,
                  row.convert(0x12345678));
    }
    for (const auto& row : k64Cases) {
        SCOPED_TRACE(row.name);
        const bool reverses = row.reverses != Reverses::kOnBigEndian;
        EXPECT_EQ(reverses ? 0x0807060504030201U : 0x0102030405060708U,
                  row.convert(0x0102030405060708));
    }
}

// [endian-1]
TEST(EndianTest, TheUpperHalfIsDroppedOnlyWhereBytesAreReversed) {
    for (const auto& row : k32Cases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const bool reverses = ReversesHere(row.reverses);
        EXPECT_EQ(reverses ? 0x78563412U : 0x9abcdef012345678U,
                  row.convert(0x9abcdef012345678));
        EXPECT_EQ(reverses ? 0U : 0xffffffff00000000U,
                  row.convert(0xffffffff00000000));
        EXPECT_EQ(reverses ? 0xffffffffU : ULONG_MAX, row.convert(ULONG_MAX));
        EXPECT_EQ(reverses ? 0x01000000U : 0x100000001U,
                  row.convert(0x100000001));
    }
}

TEST(EndianTest, EachNameIsAFunctionOfItsOwn) {
    std::set<Convert16*> of16;
    for (const auto& row : k16Cases) {
        of16.insert(row.convert);
    }
    EXPECT_EQ(std::size(k16Cases), of16.size());
    std::set<Convert32*> of32;
    for (const auto& row : k32Cases) {
        of32.insert(row.convert);
    }
    EXPECT_EQ(std::size(k32Cases), of32.size());
    std::set<Convert64*> of64;
    for (const auto& row : k64Cases) {
        of64.insert(row.convert);
    }
    EXPECT_EQ(std::size(k64Cases), of64.size());
}

// All values, or very many

TEST(EndianTest, EveryValueOf16Bits) {
    for (const auto& row : k16Cases) {
        for (unsigned int number = 0; number <= USHRT_MAX; ++number) {
            const auto value = static_cast<unsigned short>(number);
            const unsigned short result = row.convert(value);
            ASSERT_EQ(row.Expected(value, 2), result)
                << row.name << ' ' << value;
            ASSERT_EQ(row.peer(value), result) << row.name << ' ' << value;
            ASSERT_EQ(value, row.convert(result)) << row.name << ' ' << value;
        }
    }
}

TEST(EndianTest, RandomValuesOf32Bits) {
    const std::mt19937_64::result_type seed = 20250301;
    std::mt19937_64 random(seed);
    for (int round = 0; round < 100000; ++round) {
        // Of every length, and with an upper half every other time.
        const unsigned long value = random() >> (random() % 64);
        for (const auto& row : k32Cases) {
            const unsigned long result = row.convert(value);
            ASSERT_EQ(row.Expected(value, 4), result)
                << row.name << ' ' << value << ", seed " << seed;
            ASSERT_EQ(row.peer(value), Low(result))
                << row.name << ' ' << value << ", seed " << seed;
            ASSERT_EQ(Low(value), Low(row.convert(result)))
                << row.name << ' ' << value << ", seed " << seed;
        }
    }
}

TEST(EndianTest, RandomValuesOf64Bits) {
    const std::mt19937_64::result_type seed = 20250302;
    std::mt19937_64 random(seed);
    for (int round = 0; round < 100000; ++round) {
        const unsigned long long value = random() >> (random() % 64);
        for (const auto& row : k64Cases) {
            const unsigned long long result = row.convert(value);
            ASSERT_EQ(row.Expected(value, 8), result)
                << row.name << ' ' << value << ", seed " << seed;
            ASSERT_EQ(row.peer(value), result)
                << row.name << ' ' << value << ", seed " << seed;
            ASSERT_EQ(value, row.convert(result))
                << row.name << ' ' << value << ", seed " << seed;
        }
    }
}

// One bit at a time: where each of them goes.
TEST(EndianTest, EveryBitKeepsItsPlaceInItsByte) {
    for (unsigned int bit = 0; bit < 64; ++bit) {
        const unsigned long long value = 1ULL << bit;
        const unsigned int place = bit % 8;
        const unsigned int byte = bit / 8;
        EXPECT_EQ(1ULL << (8 * (7 - byte) + place), Endian::Swap64(value));
        EXPECT_EQ(bit < 32 ? 1UL << (8 * (3 - byte) + place) : 0UL,
                  Endian::Swap32(value));
    }
}

}  // namespace
