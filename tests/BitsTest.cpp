// The contract of Bases/Bits.h. Tables hold sets in their text form, highest
// position first, exactly as ToString prints them; blocks are lists of bytes,
// byte 0 first.
//
// A set's state is its three fields and the bytes of its block, those beyond
// the size included: "unchanged" means all of it.

#include "Bases/Bits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <new>
#include <numeric>
#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/Allocation.h"
#include "tests/support/VirtualSlots.h"

namespace {

using Novu::Bits;
using Block = std::vector<unsigned char>;

// Shape of the interface

using UnitFunction = unsigned long (*)(unsigned long);
static_assert(std::is_same_v<decltype(&Bits::SizeToBytes), UnitFunction>);
static_assert(std::is_same_v<decltype(&Bits::PosToBytePos), UnitFunction>);
static_assert(std::is_same_v<decltype(&Bits::PosToSize), UnitFunction>);

static_assert(std::is_default_constructible_v<Bits>);
static_assert(std::is_convertible_v<unsigned long, Bits>);
static_assert(std::is_copy_constructible_v<Bits>);
static_assert(std::is_same_v<
              decltype(std::declval<Bits&>() = std::declval<Bits&>()), Bits&>);
static_assert(
    std::is_same_v<decltype(&Bits::Clone), void (Bits::*)(const Bits&)>);

static_assert(
    std::is_same_v<decltype(&Bits::GetSize), unsigned long (Bits::*)() const>);
static_assert(
    std::is_same_v<decltype(&Bits::GetBytes), unsigned long (Bits::*)() const>);
static_assert(
    std::is_same_v<decltype(&Bits::GetData), unsigned char* (Bits::*)() const>);

static_assert(std::is_same_v<decltype(&Bits::SetSize),
                             int (Bits::*)(unsigned long, int)>);
static_assert(
    std::is_same_v<decltype(std::declval<Bits&>().SetSize(1UL)), int>);
static_assert(std::is_same_v<decltype(&Bits::SetData),
                             int (Bits::*)(unsigned char*, unsigned long)>);
static_assert(std::is_same_v<decltype(&Bits::Clear), void (Bits::*)()>);

static_assert(
    std::is_same_v<decltype(&Bits::Test), bool (Bits::*)(unsigned long) const>);
static_assert(
    std::is_same_v<decltype(&Bits::Set), int (Bits::*)(unsigned long)>);
static_assert(
    std::is_same_v<decltype(&Bits::Reset), int (Bits::*)(unsigned long)>);
static_assert(std::is_same_v<decltype(&Bits::SetAll), void (Bits::*)()>);
static_assert(std::is_same_v<decltype(&Bits::ResetAll), void (Bits::*)()>);
static_assert(std::is_same_v<decltype(&Bits::Any), bool (Bits::*)() const>);
static_assert(std::is_same_v<decltype(&Bits::None), bool (Bits::*)() const>);
static_assert(
    std::is_same_v<decltype(&Bits::GetSetCount), unsigned long (Bits::*)()>);
static_assert(
    std::is_same_v<decltype(&Bits::GetUnsetCount), unsigned long (Bits::*)()>);

using InPlace = Bits& (Bits::*)(const Bits&);
using AsNewSet = Bits (Bits::*)(const Bits&);
using Shift = Bits& (Bits::*)(unsigned long);
using Compare = bool (Bits::*)(const Bits&) const;
static_assert(std::is_same_v<decltype(&Bits::operator~), Bits& (Bits::*)()>);
static_assert(std::is_same_v<decltype(&Bits::operator&=), InPlace>);
static_assert(std::is_same_v<decltype(&Bits::operator|=), InPlace>);
static_assert(std::is_same_v<decltype(&Bits::operator^=), InPlace>);
static_assert(std::is_same_v<decltype(&Bits::operator&), AsNewSet>);
static_assert(std::is_same_v<decltype(&Bits::operator|), AsNewSet>);
static_assert(std::is_same_v<decltype(&Bits::operator^), AsNewSet>);
static_assert(std::is_same_v<decltype(&Bits::operator<<), Shift>);
static_assert(std::is_same_v<decltype(&Bits::operator>>), Shift>);
static_assert(std::is_same_v<decltype(&Bits::operator==), Compare>);
static_assert(std::is_same_v<decltype(&Bits::operator!=), Compare>);

static_assert(std::is_same_v<decltype(static_cast<void (Bits::*)(std::string&)
                                                      const>(&Bits::ToString)),
                             void (Bits::*)(std::string&) const>);
static_assert(
    std::is_same_v<
        decltype(static_cast<std::string (Bits::*)() const>(&Bits::ToString)),
        std::string (Bits::*)() const>);
static_assert(std::is_same_v<decltype(&Bits::FromString),
                             void (Bits::*)(const std::string&)>);

static_assert(sizeof(Bits) == 32);
static_assert(std::has_virtual_destructor_v<Bits>);
static_assert(sizeof(unsigned long) == 8);

// Looking into a set

struct State {
    std::uintptr_t data;  // Address of the block; 0 when there is none.
    unsigned long capacity;
    unsigned long size;
    Block block;  // As many bytes as capacity and size speak of.

    bool operator==(const State&) const = default;
};

// For the messages of the test framework, which finds it by this name.
void PrintTo(const State& state, std::ostream* out) {
    *out << "block at " << state.data << ", capacity " << state.capacity
         << ", size " << state.size
         << ", bytes: " << testing::PrintToString(state.block);
}

// Rounded up.
unsigned long BytesFor(unsigned long bits) {
    return (bits - bits % 8) / 8 + (bits % 8 == 0 ? 0 : 1);
}

// The fields, from the words of the object; the block's bytes are not read.
State FieldsOf(const Bits& bits) {
    static_assert(sizeof(std::uintptr_t) == 8);
    std::array<std::uintptr_t, 4> words{};
    std::memcpy(words.data(), static_cast<const void*>(&bits), sizeof words);
    return {words[1], words[2], words[3], {}};
}

unsigned long CapacityOf(const Bits& bits) { return FieldsOf(bits).capacity; }

// The first `count` bytes of the block.
Block BlockOf(const Bits& bits, unsigned long count) {
    Block block(count);
    if (count != 0) {
        std::memcpy(block.data(), bits.GetData(), count);
    }
    return block;
}

Block BytesOf(const Bits& bits) { return BlockOf(bits, bits.GetBytes()); }

State StateOf(const Bits& bits) {
    State state = FieldsOf(bits);
    state.block = BlockOf(bits, BytesFor(std::max(state.capacity, state.size)));
    return state;
}

const State kEmpty{0, 0, 0, {}};

// Making a set

// Bit by bit, from the text form.
Bits OfText(const std::string& text) {
    Bits bits(text.size());
    for (unsigned long pos = 0; pos != text.size(); ++pos) {
        if (text[text.size() - 1 - pos] == '1') {
            bits.Set(pos);
        }
    }
    return bits;
}

// With a capacity of whole bytes, and then these bytes in it.
Bits OfBytes(const Block& bytes) {
    Bits bits(8 * bytes.size());
    std::copy(bytes.begin(), bytes.end(), bits.GetData());
    return bits;
}

// A set of `size` bits whose block has these bytes, and so more than it uses. A
// class, since a copy would not have them.
class Cut : public Bits {
public:
    Cut(unsigned long newSize, const Block& bytes) : Bits(8 * bytes.size()) {
        std::copy(bytes.begin(), bytes.end(), GetData());
        SetSize(newSize);
    }

    using Bits::operator=;
};

using Sets = std::initializer_list<Bits*>;

// Through SetData, which masks nothing and leaves the capacity at 0.
void Give(Bits& bits, Block bytes, unsigned long size) {
    ASSERT_EQ(BytesFor(size), bytes.size());
    ASSERT_EQ(1, bits.SetData(bytes.data(), size));
}

// Leaves 0xFF in memory that the next block of this size is likely to get.
void Soil(unsigned long bytes) {
    Bits junk(8 * bytes);
    junk.SetAll();
}

std::string RandomText(std::mt19937& random, unsigned long size) {
    std::string text(size, '0');
    for (char& digit : text) {
        digit = (random() & 1) != 0 ? '1' : '0';
    }
    return text;
}

// The bytes that hold a text of binary digits.
Block BytesOfText(const std::string& text) {
    Block bytes(BytesFor(text.size()));
    for (unsigned long pos = 0; pos != text.size(); ++pos) {
        if (text[text.size() - 1 - pos] == '1') {
            unsigned char& byte = bytes[pos / 8];
            byte = static_cast<unsigned char>(byte | (1 << (pos % 8)));
        }
    }
    return bytes;
}

Block RandomBytes(std::mt19937& random, unsigned long count) {
    Block bytes(count);
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(random());
    }
    return bytes;
}

// Whether the bit is 1 in a list of bytes.
bool BitOf(const Block& bytes, unsigned long pos) {
    const int halvings = static_cast<int>(pos % 8);
    return (bytes[pos / 8] >> halvings) % 2 == 1;
}

// What `operation` has allocated and not given back.
struct Held {
    std::size_t blocks;
    std::size_t bytes;

    bool operator==(const Held&) const = default;
};

void PrintTo(const Held& held, std::ostream* out) {
    *out << held.bytes << " bytes in " << held.blocks << " blocks";
}

template <typename Operation>
Held HeldAfter(Operation operation) {
    const NovuTest::AllocationLedger ledger;
    operation();
    return {ledger.Blocks(), ledger.Bytes()};
}

// Layout

TEST(BitsTest, AnObjectIsAPointerToItsVirtualTableAndThreeFields) {
    const Bits one;
    const Bits other = OfText("1111100000");
    std::array<std::uintptr_t, 4> words{};
    std::array<std::uintptr_t, 4> otherWords{};
    std::memcpy(words.data(), static_cast<const void*>(&one), sizeof words);
    std::memcpy(otherWords.data(), static_cast<const void*>(&other),
                sizeof otherWords);

    EXPECT_NE(0U, words[0]);
    EXPECT_EQ(words[0], otherWords[0]) << "two objects of one class";
    EXPECT_EQ(0U, words[1]);
    EXPECT_EQ(0U, words[2]);
    EXPECT_EQ(0U, words[3]);
    const unsigned char* block = nullptr;
    std::memcpy(&block, &otherWords[1], sizeof block);
    EXPECT_NE(nullptr, block);
    EXPECT_EQ(other.GetData(), block);
    EXPECT_EQ(16U, otherWords[2]);
    EXPECT_EQ(10U, otherWords[3]);
}

TEST(BitsTest, OnlyTheDestructorIsVirtual) {
    EXPECT_EQ(0, NovuTest::VirtualOperations<Bits>());
}

TEST(BitsTest, ADerivedSetIsDestroyedThroughABits) {
    struct Derived : Bits {
        explicit Derived(bool& flag) : Bits(100), destroyed(&flag) {}
        Derived(const Derived&) = delete;
        Derived& operator=(const Derived&) = delete;
        ~Derived() override { *destroyed = true; }
        bool* destroyed;
    };
    bool destroyed = false;
    const Held held = HeldAfter([&destroyed] {
        const std::unique_ptr<Bits> bits = std::make_unique<Derived>(destroyed);
    });
    EXPECT_TRUE(destroyed);
    EXPECT_EQ((Held{0, 0}), held);
}

TEST(BitsTest, BitZeroIsTheLowestOfByteZero) {
    const unsigned long size = 40;
    for (unsigned long pos = 0; pos != size; ++pos) {
        Bits bits(size);
        ASSERT_EQ(1, bits.Set(pos));
        Block expected(5, 0);
        expected[pos / 8] = static_cast<unsigned char>(1 << (pos % 8));
        EXPECT_EQ(expected, BytesOf(bits)) << "position " << pos;
    }
}

TEST(BitsTest, TheBlockIsTheContents) {
    Bits bits(10);
    bits.GetData()[0] = 0x81;
    bits.GetData()[1] = 0x02;
    EXPECT_EQ("1010000001", bits.ToString());
    EXPECT_TRUE(bits.Test(7));
    EXPECT_FALSE(bits.Test(8));
    EXPECT_EQ(3U, bits.GetSetCount());
}

// Units

const struct UnitCase {
    int line;
    unsigned long number;
    unsigned long sizeToBytes;
    unsigned long posToBytePos;
    unsigned long posToSize;
} kUnitCases[] = {
    // line     number, its bytes, its byte position, its size
    {__LINE__, 0, 0, 0, 1},
    {__LINE__, 1, 1, 0, 2},
    {__LINE__, 7, 1, 0, 8},
    {__LINE__, 8, 1, 1, 9},
    {__LINE__, 9, 2, 1, 10},
    {__LINE__, 15, 2, 1, 16},
    {__LINE__, 16, 2, 2, 17},
    {__LINE__, 17, 3, 2, 18},
    {__LINE__, 0xFFFFFFFF, 0x20000000, 0x1FFFFFFF, 0x100000000},
    {__LINE__, 0x100000001, 0x20000001, 0x20000000, 0x100000002},

    // Where adding 7 before the division would wrap, and + 1 does.
    {__LINE__, ULONG_MAX - 7, 0x1FFFFFFFFFFFFFFF, 0x1FFFFFFFFFFFFFFF,
     ULONG_MAX - 6},
    {__LINE__, ULONG_MAX - 6, 0x2000000000000000, 0x1FFFFFFFFFFFFFFF,
     ULONG_MAX - 5},
    {__LINE__, ULONG_MAX - 1, 0x2000000000000000, 0x1FFFFFFFFFFFFFFF,
     ULONG_MAX},
    {__LINE__, ULONG_MAX, 0x2000000000000000, 0x1FFFFFFFFFFFFFFF, 0},
};

TEST(BitsTest, ConvertsSizesAndPositions) {
    for (const UnitCase& row : kUnitCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        EXPECT_EQ(row.sizeToBytes, Bits::SizeToBytes(row.number));
        EXPECT_EQ(row.posToBytePos, Bits::PosToBytePos(row.number));
        EXPECT_EQ(row.posToSize, Bits::PosToSize(row.number));
    }
}

TEST(BitsTest, ConvertsEverySmallSizeAndPosition) {
    unsigned long bytes = 0;
    unsigned long bytePos = 0;
    for (unsigned long number = 0; number != 5000; ++number) {
        if (number % 8 == 1) {
            ++bytes;
        }
        if (number != 0 && number % 8 == 0) {
            ++bytePos;
        }
        ASSERT_EQ(bytes, Bits::SizeToBytes(number)) << number;
        ASSERT_EQ(bytePos, Bits::PosToBytePos(number)) << number;
        ASSERT_EQ(number + 1, Bits::PosToSize(number)) << number;
    }
}

// Lifetime

TEST(BitsTest, ANewOneIsEmpty) {
    const Held held = HeldAfter([] {
        const Bits bits;
        EXPECT_EQ(nullptr, bits.GetData());
        EXPECT_EQ(0U, bits.GetSize());
        EXPECT_EQ(0U, bits.GetBytes());
    });
    EXPECT_EQ((Held{0, 0}), held);
    EXPECT_EQ(kEmpty, StateOf(Bits()));
}

TEST(BitsTest, ANewOneOfSizeZeroIsEmpty) {
    EXPECT_EQ(kEmpty, StateOf(Bits(0)));
}

TEST(BitsTest, ANewOneHoldsThatManyZeros) {
    for (unsigned long size = 1; size <= 300; ++size) {
        SCOPED_TRACE(size);
        const unsigned long bytes = BytesFor(size);
        Soil(bytes);
        Bits bits(size);
        EXPECT_EQ(size, bits.GetSize());
        EXPECT_EQ(bytes, bits.GetBytes());
        EXPECT_EQ(8 * bytes, CapacityOf(bits));
        EXPECT_EQ(Block(bytes, 0), BytesOf(bits));
        EXPECT_TRUE(bits.None());
        EXPECT_EQ(size, bits.GetUnsetCount());
    }
}

TEST(BitsTest, TenBitsTakeTwoBytes) {
    Bits bits(10);
    EXPECT_EQ(10U, bits.GetSize());
    EXPECT_EQ(16U, CapacityOf(bits));
    EXPECT_EQ(2U, bits.GetBytes());
    EXPECT_TRUE(bits.None());
    EXPECT_EQ(10U, bits.GetUnsetCount());
}

TEST(BitsTest, ANumberConvertsToASetOfThatSize) {
    const Bits bits = 10UL;
    EXPECT_EQ("0000000000", bits.ToString());
}

TEST(BitsTest, TheDestructorReleasesTheBlock) {
    EXPECT_EQ((Held{0, 0}), HeldAfter([] { const Bits bits(1000); }));
    EXPECT_EQ((Held{0, 0}), HeldAfter([] {
                  unsigned char byte = 0xFF;
                  Bits bits;
                  bits.SetData(&byte, 8);
              }));
}

TEST(BitsTest, ACopyHasABlockOfItsOwn) {
    Bits bits = OfText("101");
    Bits copy(bits);
    EXPECT_NE(bits.GetData(), copy.GetData());
    copy.Set(1);
    EXPECT_EQ("111", copy.ToString());
    EXPECT_EQ("101", bits.ToString());
    bits.Reset(0);
    EXPECT_EQ("111", copy.ToString());
}

TEST(BitsTest, ACopyOfAnEmptySetIsEmpty) {
    const Bits bits;
    const Bits copy(bits);
    EXPECT_EQ(kEmpty, StateOf(copy));
}

// Only the bytes in use are copied, and no room beyond them.
TEST(BitsTest, ACopyHasTheBytesOfTheSizeAndNoRoomBeyond) {
    const Cut bits(12, {0xFF, 0xFF, 0xFF, 0xFF});
    const State before = StateOf(bits);
    const Bits copy(bits);
    EXPECT_EQ(12U, copy.GetSize());
    EXPECT_EQ(16U, CapacityOf(copy));
    EXPECT_EQ((Block{0xFF, 0xFF}), BytesOf(copy)) << "bits above the end, too";
    EXPECT_EQ(before, StateOf(bits));
}

TEST(BitsTest, NothingIsMovedOutOfASet) {
    Bits bits = OfText("10110");
    const State before = StateOf(bits);
    const Bits copy(std::move(bits));
    // What a move leaves is the question.
    // NOLINTNEXTLINE(bugprone-use-after-move)
    EXPECT_EQ(before, StateOf(bits));
    EXPECT_EQ("10110", copy.ToString());

    Bits assigned(3);
    assigned = std::move(bits);
    // NOLINTNEXTLINE(bugprone-use-after-move): As above.
    EXPECT_EQ(before, StateOf(bits));
    EXPECT_EQ("10110", assigned.ToString());
}

// Clone and operator=

enum class Way { kClone, kAssignment };

void PrintTo(Way way, std::ostream* out) {
    *out << (way == Way::kClone ? "Clone" : "Assignment");
}

class BitsCloneTest : public testing::TestWithParam<Way> {
protected:
    static void Run(Bits& to, const Bits& from) {
        if (GetParam() == Way::kClone) {
            to.Clone(from);
        } else {
            EXPECT_EQ(&to, &(to = from));
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Both, BitsCloneTest,
                         testing::Values(Way::kClone, Way::kAssignment));

TEST_P(BitsCloneTest, TakesTheSizeAndTheBytes) {
    for (unsigned long from = 1; from <= 40; ++from) {
        for (unsigned long to = 0; to <= 40; ++to) {
            SCOPED_TRACE(testing::Message() << from << " into " << to);
            Bits source(from);
            source.SetAll();
            const State before = StateOf(source);
            Bits target(to);
            Run(target, source);
            ASSERT_EQ(from, target.GetSize());
            ASSERT_EQ(BytesOf(source), BytesOf(target));
            ASSERT_NE(source.GetData(), target.GetData());
            ASSERT_EQ(8 * BytesFor(std::max(from, to)), CapacityOf(target));
            ASSERT_EQ(before, StateOf(source));
        }
    }
}

TEST_P(BitsCloneTest, CopiesTheBitsAboveTheEndToo) {
    Bits source;
    Give(source, {0x12, 0xF3}, 10);
    Bits target;
    Run(target, source);
    EXPECT_EQ(10U, target.GetSize());
    EXPECT_EQ(16U, CapacityOf(target));
    EXPECT_EQ((Block{0x12, 0xF3}), BytesOf(target));
}

TEST_P(BitsCloneTest, KeepsALargerBlockAndItsBytesBeyond) {
    Bits target = OfBytes({0xA1, 0xA2, 0xA3, 0xA4});
    const unsigned char* const block = target.GetData();
    Run(target, OfText("0000000011"));
    EXPECT_EQ(block, target.GetData());
    EXPECT_EQ(32U, CapacityOf(target));
    EXPECT_EQ(10U, target.GetSize());
    EXPECT_EQ((Block{0x03, 0x00, 0xA3, 0xA4}), BlockOf(target, 4));
}

TEST_P(BitsCloneTest, ReplacesASmallerBlockByOneOfExactlyTheBytes) {
    Bits target(8);
    const Bits source(1000);
    EXPECT_EQ((Held{1, 125}), HeldAfter([&] { Run(target, source); }));
}

// [bits-1]
TEST_P(BitsCloneTest, OfAnEmptySetChangesNothing) {
    const Bits empty;
    Cut bits(12, {0xFF, 0xFF, 0xFF});
    const State before = StateOf(bits);
    Run(bits, empty);
    EXPECT_EQ(before, StateOf(bits));

    Bits given;
    Give(given, {0xFF, 0xFF}, 11);
    const State beforeGiven = StateOf(given);
    Run(given, empty);
    EXPECT_EQ(beforeGiven, StateOf(given));

    Bits other;
    Run(other, empty);
    EXPECT_EQ(kEmpty, StateOf(other));
}

TEST_P(BitsCloneTest, OfASetFromItselfChangesNothing) {
    Cut bits(12, {0xA1, 0xA2, 0xA3});
    const State before = StateOf(bits);
    Run(bits, bits);
    EXPECT_EQ(before, StateOf(bits));

    Bits empty;
    Run(empty, empty);
    EXPECT_EQ(kEmpty, StateOf(empty));
}

// The capacity is below the size then, so that the set's own size is one to
// allocate for.
TEST_P(BitsCloneTest, OfASetFromItselfAfterSetDataMakesTheCapacityTrue) {
    Bits bits;
    Give(bits, {0xFF, 0xF7}, 12);
    EXPECT_EQ(0U, CapacityOf(bits));
    Run(bits, bits);
    EXPECT_EQ(16U, CapacityOf(bits));
    EXPECT_EQ(12U, bits.GetSize());
    EXPECT_EQ((Block{0xFF, 0xF7}), BytesOf(bits));
    bits.SetSize(4);
    bits.SetSize(16);
    EXPECT_EQ("1111011111111111", bits.ToString());
}

// The capacity that SetData left behind is what decides, not the block.
TEST_P(BitsCloneTest, AfterSetDataGoesByTheCapacity) {
    Bits target(16);
    Give(target, {1, 2, 3, 4, 5}, 40);
    EXPECT_EQ(16U, CapacityOf(target));
    const unsigned char* const block = target.GetData();
    Run(target, OfText("1000000001"));
    EXPECT_EQ(block, target.GetData());
    EXPECT_EQ(16U, CapacityOf(target));
    EXPECT_EQ((Block{0x01, 0x02}), BytesOf(target));

    Run(target, OfText("100000000000000001"));
    EXPECT_EQ(24U, CapacityOf(target));
    EXPECT_EQ((Block{0x01, 0x00, 0x02}), BytesOf(target));
}

// SetSize

const struct SetSizeCase {
    int line;
    unsigned long first;
    unsigned long second;
    unsigned long capacity;  // After both.
    bool sameBlock;          // As after the first.
} kSetSizeCases[] = {
    // line     first  second  capacity  same block
    {__LINE__, 1, 1, 8, true},           {__LINE__, 1, 8, 8, true},
    {__LINE__, 1, 9, 16, false},         {__LINE__, 8, 9, 16, false},
    {__LINE__, 8, 16, 16, false},        {__LINE__, 9, 16, 16, true},
    {__LINE__, 16, 17, 24, false},       {__LINE__, 16, 1, 16, true},
    {__LINE__, 17, 16, 24, true},        {__LINE__, 800, 8, 800, true},
    {__LINE__, 800, 801, 808, false},    {__LINE__, 801, 802, 808, true},
    {__LINE__, 4096, 4097, 4104, false},
};

TEST(BitsTest, SetSizeAllocatesOnlyForMoreBytesThanTheCapacityHas) {
    for (const SetSizeCase& row : kSetSizeCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Bits bits;
        EXPECT_EQ(1, bits.SetSize(row.first, 1));
        EXPECT_EQ(row.first, bits.GetSize());
        EXPECT_EQ(BytesFor(row.first), bits.GetBytes());
        EXPECT_EQ(8 * BytesFor(row.first), CapacityOf(bits));
        const unsigned char* const block = bits.GetData();

        EXPECT_EQ(1, bits.SetSize(row.second, 1));
        EXPECT_EQ(row.second, bits.GetSize());
        EXPECT_EQ(BytesFor(row.second), bits.GetBytes());
        EXPECT_EQ(row.capacity, CapacityOf(bits));
        EXPECT_EQ(row.sameBlock, block == bits.GetData());
    }
}

TEST(BitsTest, SetSizeRefusesZeroBits) {
    Cut bits(12, {0xFF, 0xFF, 0xFF});
    const State before = StateOf(bits);
    EXPECT_EQ(0, bits.SetSize(0, 1));
    EXPECT_EQ(before, StateOf(bits));
    EXPECT_EQ(0, bits.SetSize(0));
    EXPECT_EQ(before, StateOf(bits));

    Bits empty;
    EXPECT_EQ(0, empty.SetSize(0, 1));
    EXPECT_EQ(kEmpty, StateOf(empty));
}

TEST(BitsTest, SetSizeIgnoresItsSecondArgument) {
    for (const int ignored : {0, 1, -1, 2, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(ignored);
        Cut bits(4, {0xA1, 0xA2});
        EXPECT_EQ(1, bits.SetSize(12, ignored));
        EXPECT_EQ((Block{0xA1, 0xA2}), BytesOf(bits));
        EXPECT_EQ(1, bits.SetSize(20, ignored));
        EXPECT_EQ((Block{0xA1, 0xA2, 0x00}), BytesOf(bits));
        EXPECT_EQ(24U, CapacityOf(bits));
        EXPECT_EQ(0, bits.SetSize(0, ignored));
        EXPECT_EQ(20U, bits.GetSize());
    }
}

TEST(BitsTest, GrowthAllocatesExactlyTheBytesNeeded) {
    Bits bits;
    for (unsigned long size = 1; size <= 2000; size += 7) {
        SCOPED_TRACE(size);
        const unsigned long before = bits.GetBytes();
        const Held held = HeldAfter([&] { bits.SetSize(size); });
        if (BytesFor(size) == before) {
            EXPECT_EQ((Held{0, 0}), held);
        } else {
            EXPECT_EQ((Held{1, BytesFor(size)}), held);
        }
        EXPECT_EQ(8 * BytesFor(size), CapacityOf(bits));
    }
}

TEST(BitsTest, GrowthReleasesTheOldBlock) {
    Bits bits;
    EXPECT_EQ((Held{1, 1000}), HeldAfter([&bits] {
                  bits.SetSize(80);
                  bits.SetSize(8000);
              }));
}

TEST(BitsTest, GrowthKeepsTheBytesAndAddsZeros) {
    std::mt19937 random(1);
    for (unsigned long from = 1; from <= 64; ++from) {
        for (unsigned long to = from; to <= from + 40; ++to) {
            SCOPED_TRACE(testing::Message() << from << " to " << to);
            const std::string text = RandomText(random, from);
            Bits bits = OfText(text);
            Soil(BytesFor(to));
            ASSERT_EQ(1, bits.SetSize(to));
            ASSERT_EQ(std::string(to - from, '0') + text, bits.ToString());
        }
    }
}

// Whole bytes are copied: those of the old size, the bits above its end with
// them, and none beyond.
TEST(BitsTest, GrowthCopiesTheBytesOfTheOldSizeOnly) {
    Cut bits(4, {0xFF, 0xFF});
    Soil(3);
    EXPECT_EQ(1, bits.SetSize(24));
    EXPECT_EQ((Block{0xFF, 0x00, 0x00}), BytesOf(bits));
    EXPECT_EQ(24U, CapacityOf(bits));
}

// [bits-2]
TEST(BitsTest, ShrunkBitsComeBackWithinTheBlock) {
    Bits bits(16);
    bits.SetAll();
    const State before = StateOf(bits);
    EXPECT_EQ(1, bits.SetSize(4));
    EXPECT_EQ("1111", bits.ToString());
    EXPECT_EQ(1U, bits.GetBytes());
    EXPECT_EQ(before.block, BlockOf(bits, 2));
    EXPECT_EQ(1, bits.SetSize(16));
    EXPECT_EQ("1111111111111111", bits.ToString());
    EXPECT_EQ(before, StateOf(bits));
}

TEST(BitsTest, ShrinkingKeepsTheWholeBlock) {
    std::mt19937 random(2);
    const Block bytes = RandomBytes(random, 25);
    for (unsigned long size = 1; size <= 200; ++size) {
        SCOPED_TRACE(size);
        Bits bits = OfBytes(bytes);
        const unsigned char* const block = bits.GetData();
        EXPECT_EQ(1, bits.SetSize(size));
        EXPECT_EQ(block, bits.GetData());
        EXPECT_EQ(200U, CapacityOf(bits));
        EXPECT_EQ(size, bits.GetSize());
        EXPECT_EQ(bytes, BlockOf(bits, 25));
    }
}

// SetData

TEST(BitsTest, SetDataCopiesTheBytes) {
    std::mt19937 random(3);
    for (unsigned long size = 1; size <= 300; ++size) {
        SCOPED_TRACE(size);
        const Block bytes = RandomBytes(random, BytesFor(size));
        Block source = bytes;
        Bits bits;
        EXPECT_EQ(1, bits.SetData(source.data(), size));
        EXPECT_EQ(size, bits.GetSize());
        EXPECT_NE(source.data(), bits.GetData());
        EXPECT_EQ(bytes, BytesOf(bits));
        EXPECT_EQ(bytes, source);
        source.assign(source.size(), 0);
        EXPECT_EQ(bytes, BytesOf(bits));
    }
}

TEST(BitsTest, SetDataRefusesNoBytes) {
    unsigned char byte = 0x55;
    Bits empty;
    Cut cut(12, {0xFF, 0xFF, 0xFF});
    for (Bits* bits : Sets{&empty, &cut}) {
        const State before = StateOf(*bits);
        EXPECT_EQ(0, bits->SetData(nullptr, 8));
        EXPECT_EQ(before, StateOf(*bits));
        EXPECT_EQ(0, bits->SetData(&byte, 0));
        EXPECT_EQ(before, StateOf(*bits));
        EXPECT_EQ(0, bits->SetData(nullptr, 0));
        EXPECT_EQ(before, StateOf(*bits));
        EXPECT_EQ(0, bits->SetData(nullptr, ULONG_MAX));
        EXPECT_EQ(before, StateOf(*bits));
        EXPECT_EQ(0, bits->SetData(bits->GetData(), 0));
        EXPECT_EQ(before, StateOf(*bits));
    }
    EXPECT_EQ(0x55, byte);
}

// [bits-3]
TEST(BitsTest, SetDataKeepsTheCapacityAndMasksNothing) {
    Bits fresh;
    Give(fresh, {0x01, 0xF2}, 10);
    EXPECT_EQ(0U, CapacityOf(fresh));
    EXPECT_EQ(10U, fresh.GetSize());
    EXPECT_EQ(2U, fresh.GetBytes());
    EXPECT_EQ((Block{0x01, 0xF2}), BytesOf(fresh));
    EXPECT_EQ("1000000001", fresh.ToString());

    Bits larger(100);
    Give(larger, {0xFF}, 3);
    EXPECT_EQ(104U, CapacityOf(larger));
    EXPECT_EQ(3U, larger.GetSize());
    EXPECT_EQ((Block{0xFF}), BytesOf(larger));

    Bits smaller(3);
    Give(smaller, Block(13, 0xFF), 100);
    EXPECT_EQ(8U, CapacityOf(smaller));
    EXPECT_EQ(100U, smaller.GetSize());
    EXPECT_EQ(Block(13, 0xFF), BytesOf(smaller));
}

// [bits-3]
TEST(BitsTest, BitsAboveTheEndCountForComparisonAndAnyOnly) {
    Bits bits;
    Give(bits, {0x00, 0xFC}, 10);
    EXPECT_TRUE(bits.Any());
    EXPECT_FALSE(bits.None());
    EXPECT_EQ(0U, bits.GetSetCount());
    EXPECT_EQ(10U, bits.GetUnsetCount());
    EXPECT_EQ("0000000000", bits.ToString());
    for (unsigned long pos = 10; pos != 16; ++pos) {
        EXPECT_FALSE(bits.Test(pos)) << pos;
    }
    EXPECT_FALSE(bits == Bits(10));
    EXPECT_TRUE(bits != Bits(10));
}

// [bits-3]
TEST(BitsTest, BitsAboveTheEndComeIntoViewWhenTheSetGrows) {
    Bits fresh;
    Give(fresh, {0x00, 0xFC}, 10);
    EXPECT_EQ(1, fresh.SetSize(20));
    EXPECT_EQ("00001111110000000000", fresh.ToString());
    EXPECT_EQ(24U, CapacityOf(fresh));

    Bits roomy(40);
    roomy.SetAll();
    Give(roomy, {0x00, 0xFC}, 10);
    EXPECT_EQ(1, roomy.SetSize(40));
    EXPECT_EQ((Block{0x00, 0xFC, 0x00, 0x00, 0x00}), BytesOf(roomy));
}

TEST(BitsTest, SetDataAllocatesForItsBytesAndForTheCapacity) {
    Block bytes(20, 0xFF);
    Bits fresh;
    EXPECT_EQ((Held{1, 20}),
              HeldAfter([&] { fresh.SetData(bytes.data(), 153); }));
    Bits smaller(64);
    EXPECT_EQ((Held{1, 20}),
              HeldAfter([&] { smaller.SetData(bytes.data(), 160); }));
    Bits larger(800);
    EXPECT_EQ((Held{1, 100}),
              HeldAfter([&] { larger.SetData(bytes.data(), 160); }));
}

TEST(BitsTest, SetDataReleasesTheOldBlock) {
    Block bytes(100, 0xFF);
    Bits bits;
    EXPECT_EQ((Held{1, 100}), HeldAfter([&] {
                  bits.SetData(bytes.data(), 800);
                  bits.SetData(bytes.data(), 72);
                  bits.SetData(bytes.data(), 793);
              }));
}

TEST(BitsTest, SetDataTakesANewBlockAlsoWhereTheOldOneWouldDo) {
    Bits bits(16);
    const unsigned char* const block = bits.GetData();
    Give(bits, {0x01, 0x02}, 16);
    EXPECT_NE(block, bits.GetData());
}

TEST(BitsTest, SetDataTakesPartsOfItsOwnBlock) {
    Bits whole = OfBytes({0xA1, 0xA2, 0xA3, 0xA4});
    EXPECT_EQ(1, whole.SetData(whole.GetData(), 32));
    EXPECT_EQ((Block{0xA1, 0xA2, 0xA3, 0xA4}), BytesOf(whole));

    Bits part = OfBytes({0xA1, 0xA2, 0xA3, 0xA4});
    EXPECT_EQ(1, part.SetData(part.GetData() + 1, 20));
    EXPECT_EQ((Block{0xA2, 0xA3, 0xA4}), BytesOf(part));
    EXPECT_EQ(20U, part.GetSize());

    // From beyond the size.
    Cut beyond(8, {0xA1, 0xA2, 0xA3, 0xA4});
    EXPECT_EQ(1, beyond.SetData(beyond.GetData() + 2, 16));
    EXPECT_EQ((Block{0xA3, 0xA4}), BytesOf(beyond));
}

// The capacity is older than the block then. No size leads outside of it.
TEST(BitsTest, SetSizeAfterSetDataStaysWithinTheBlock) {
    for (unsigned long capacity = 0; capacity <= 48; capacity += 8) {
        for (unsigned long given = 1; given <= 48; ++given) {
            for (unsigned long size = 1; size <= 56; ++size) {
                SCOPED_TRACE(testing::Message()
                             << "capacity " << capacity << ", " << given
                             << " given, then " << size);
                const unsigned long kept =
                    std::min(BytesFor(given), BytesFor(size));
                Bits bits(capacity);
                bits.SetAll();
                Give(bits, Block(BytesFor(given), 0xA5), given);
                ASSERT_EQ(1, bits.SetSize(size));
                ASSERT_EQ(size, bits.GetSize());
                ASSERT_EQ(std::max(capacity, 8 * BytesFor(size)),
                          CapacityOf(bits));
                Block expected(BytesFor(size), 0);
                std::fill_n(expected.begin(), kept, 0xA5);
                ASSERT_EQ(expected, BytesOf(bits));
                bits.SetAll();
                ASSERT_EQ(size, bits.GetSetCount());
            }
        }
    }
}

TEST(BitsTest, SetSizeAfterSetDataAllocatesForTheCapacityThatIsMissing) {
    Block bytes(100, 0xFF);
    Bits bits;
    bits.SetData(bytes.data(), 800);
    // The block has a hundred bytes; the capacity of 0 says it has none.
    EXPECT_EQ((Held{1, 2}), HeldAfter([&] { bits.SetSize(9); }));
    EXPECT_EQ(16U, CapacityOf(bits));
    EXPECT_EQ((Block{0xFF, 0xFF}), BytesOf(bits));
    bits.SetSize(32);
    EXPECT_EQ((Block{0xFF, 0xFF, 0x00, 0x00}), BytesOf(bits));
}

// Clear

TEST(BitsTest, ClearReleasesTheBlockAndZeroesTheFields) {
    Bits bits;
    const Held held = HeldAfter([&bits] {
        bits.SetSize(100);
        bits.Clear();
    });
    EXPECT_EQ((Held{0, 0}), held);
    EXPECT_EQ(kEmpty, StateOf(bits));
    EXPECT_EQ(nullptr, bits.GetData());

    bits.Clear();
    EXPECT_EQ(kEmpty, StateOf(bits));

    Give(bits, {0xFF}, 3);
    bits.Clear();
    EXPECT_EQ(kEmpty, StateOf(bits));
}

TEST(BitsTest, NoBitComesBackAfterClear) {
    Bits bits(64);
    bits.SetAll();
    bits.Clear();
    EXPECT_EQ(1, bits.SetSize(64));
    EXPECT_EQ(Block(8, 0), BytesOf(bits));
}

// Single bits

TEST(BitsTest, SetsTestsAndResetsEachPosition) {
    for (unsigned long size = 1; size <= 70; ++size) {
        for (unsigned long pos = 0; pos != size; ++pos) {
            SCOPED_TRACE(testing::Message() << pos << " of " << size);
            std::string text(size, '0');
            text[size - 1 - pos] = '1';
            Bits bits(size);
            ASSERT_FALSE(bits.Test(pos));
            ASSERT_EQ(1, bits.Set(pos));
            ASSERT_TRUE(bits.Test(pos));
            ASSERT_EQ(BytesOfText(text), BytesOf(bits));
            ASSERT_EQ(1, bits.Set(pos)) << "again";
            ASSERT_EQ(BytesOfText(text), BytesOf(bits));

            ASSERT_EQ(1, bits.Reset(pos));
            ASSERT_FALSE(bits.Test(pos));
            ASSERT_TRUE(bits.None());
            ASSERT_EQ(1, bits.Reset(pos)) << "again";
            ASSERT_TRUE(bits.None());

            bits.SetAll();
            ASSERT_TRUE(bits.Test(pos));
            ASSERT_EQ(1, bits.Reset(pos));
            ASSERT_FALSE(bits.Test(pos));
            for (char& digit : text) {
                digit = digit == '0' ? '1' : '0';
            }
            ASSERT_EQ(BytesOfText(text), BytesOf(bits));
        }
    }
}

TEST(BitsTest, RefusesPositionsPastTheEnd) {
    // All zeros and all ones; in an empty set, in the last byte, in the block
    // beyond it, and in a set that fills its bytes.
    for (const Block& bytes : {Block(4, 0x00), Block(4, 0xFF)}) {
        for (const unsigned long size : {0UL, 1UL, 7UL, 8UL, 10UL, 32UL}) {
            Cut bits(size, size != 0 ? bytes : Block());
            const State before = StateOf(bits);
            for (const unsigned long pos :
                 {size, size + 1, size + 6, size + 8, size + 64, 31UL, 32UL,
                  1UL << 32, 1UL << 35, 1UL << 63, ULONG_MAX - 1, ULONG_MAX}) {
                if (pos < size) {
                    continue;
                }
                SCOPED_TRACE(testing::Message() << pos << " of " << size);
                EXPECT_FALSE(bits.Test(pos));
                EXPECT_EQ(0, bits.Set(pos));
                EXPECT_EQ(0, bits.Reset(pos));
                EXPECT_EQ(before, StateOf(bits));
            }
        }
    }
}

TEST(BitsTest, SetZeroAndNineOfTen) {
    Bits bits(10);
    EXPECT_EQ(1, bits.Set(0));
    EXPECT_EQ(1, bits.Set(9));
    EXPECT_EQ("1000000001", bits.ToString());
    EXPECT_EQ((Block{0x01, 0x02}), BytesOf(bits));
    EXPECT_EQ(2U, bits.GetSetCount());
    EXPECT_EQ(8U, bits.GetUnsetCount());
}

// The whole set

// [bits-9]
TEST(BitsTest, SetAllAndInversionMaskTheLastByte) {
    Bits bits(10);
    bits.SetAll();
    EXPECT_EQ((Block{0xFF, 0x03}), BytesOf(bits));
    EXPECT_EQ(&bits, &~bits);
    EXPECT_EQ((Block{0x00, 0x00}), BytesOf(bits));
    EXPECT_EQ(&bits, &~bits);
    EXPECT_EQ((Block{0xFF, 0x03}), BytesOf(bits));
}

// The block has two bytes more than the largest size: they stay.
TEST(BitsTest, WholeSetOperationsKeepToTheBytesOfTheSize) {
    std::mt19937 random(4);
    const unsigned long most = 300;
    const Block bytes = RandomBytes(random, BytesFor(most) + 2);
    for (unsigned long size = 1; size <= most; ++size) {
        SCOPED_TRACE(size);
        const unsigned long used = BytesFor(size);
        Block ones = bytes;
        Block zeros = bytes;
        Block inverted = bytes;
        for (unsigned long pos = 0; pos != 8 * used; ++pos) {
            const auto mask = static_cast<unsigned char>(1 << (pos % 8));
            const auto others = static_cast<unsigned char>(~mask);
            zeros[pos / 8] &= others;
            ones[pos / 8] &= others;
            inverted[pos / 8] &= others;
            if (pos < size) {
                ones[pos / 8] |= mask;
                if (!BitOf(bytes, pos)) {
                    inverted[pos / 8] |= mask;
                }
            }
        }

        Cut bits(size, bytes);
        bits.SetAll();
        EXPECT_EQ(ones, BlockOf(bits, bytes.size()));
        EXPECT_EQ(size, bits.GetSize());
        Cut reset(size, bytes);
        reset.ResetAll();
        EXPECT_EQ(zeros, BlockOf(reset, bytes.size()));
        EXPECT_EQ(size, reset.GetSize());
        Cut flipped(size, bytes);
        EXPECT_EQ(&flipped, &~flipped);
        EXPECT_EQ(inverted, BlockOf(flipped, bytes.size()));
        EXPECT_EQ(size, flipped.GetSize());
    }
}

TEST(BitsTest, WholeSetOperationsDoNothingToAnEmptySet) {
    Bits bits;
    bits.SetAll();
    bits.ResetAll();
    EXPECT_EQ(&bits, &~bits);
    EXPECT_FALSE(bits.Any());
    EXPECT_TRUE(bits.None());
    EXPECT_EQ(0U, bits.GetSetCount());
    EXPECT_EQ(0U, bits.GetUnsetCount());
    EXPECT_EQ(kEmpty, StateOf(bits));
}

TEST(BitsTest, AnySeesASingleBitInAnyByte) {
    for (unsigned long size = 1; size <= 300; ++size) {
        Bits bits(size);
        ASSERT_FALSE(bits.Any()) << "of " << size;
        ASSERT_TRUE(bits.None()) << "of " << size;
        // The bits above the end count, too.
        for (unsigned long pos = 0; pos != 8 * BytesFor(size); ++pos) {
            unsigned char& byte = bits.GetData()[pos / 8];
            byte = static_cast<unsigned char>(1 << (pos % 8));
            ASSERT_TRUE(bits.Any()) << pos << " of " << size;
            ASSERT_FALSE(bits.None()) << pos << " of " << size;
            byte = 0;
        }
    }
}

TEST(BitsTest, AnySeesASetFullOfOnes) {
    for (unsigned long size = 1; size <= 300; ++size) {
        Bits bits(size);
        bits.SetAll();
        ASSERT_TRUE(bits.Any()) << size;
        ASSERT_FALSE(bits.None()) << size;
    }
}

TEST(BitsTest, AnyDoesNotSeeTheBytesBeyondTheSize) {
    for (unsigned long size = 1; size <= 64; ++size) {
        Block bytes(9, 0xFF);
        std::fill_n(bytes.begin(), BytesFor(size), 0);
        const Cut bits(size, bytes);
        ASSERT_FALSE(bits.Any()) << size;
        ASSERT_TRUE(bits.None()) << size;
    }
}

TEST(BitsTest, CountsTheOnesBelowTheSize) {
    std::mt19937 random(5);
    for (unsigned long size = 0; size <= 300; ++size) {
        for (const int fill : {0x00, 0xFF, -1}) {
            // All ones above the end and in the byte beyond.
            Block bytes = fill < 0 ? RandomBytes(random, BytesFor(size) + 1)
                                   : Block(BytesFor(size) + 1,
                                           static_cast<unsigned char>(fill));
            bytes.back() = 0xFF;
            for (unsigned long pos = size; pos != 8 * BytesFor(size); ++pos) {
                bytes[pos / 8] |= static_cast<unsigned char>(1 << (pos % 8));
            }
            unsigned long ones = 0;
            for (unsigned long pos = 0; pos != size; ++pos) {
                ones += BitOf(bytes, pos) ? 1UL : 0UL;
            }
            Bits bits;
            if (size != 0) {
                bits = OfBytes(bytes);
                bits.SetSize(size);
            }
            ASSERT_EQ(ones, bits.GetSetCount()) << size << " bits";
            ASSERT_EQ(size - ones, bits.GetUnsetCount()) << size << " bits";
        }
    }
}

TEST(BitsTest, CountsEachSinglePosition) {
    Bits bits(300);
    for (unsigned long pos = 0; pos != 300; ++pos) {
        bits.Set(pos);
        ASSERT_EQ(pos + 1, bits.GetSetCount());
        ASSERT_EQ(299 - pos, bits.GetUnsetCount());
    }
}

// Combination

const struct CombineCase {
    int line;
    const char* a;
    const char* b;
    const char* orInto;  // a |= b
    const char* xorInto;
    const char* andInto;
    const char* orNew;  // a | b
    const char* xorNew;
    const char* andNew;
} kCombineCases[] = {
    // a, b; |=, ^=, &=; |, ^, &
    {__LINE__, "1100", "1010", "1110", "0110", "1000", "1110", "0110", "1000"},
    {__LINE__, "11001100", "10101010", "11101110", "01100110", "10001000",
     "11101110", "01100110", "10001000"},
    {__LINE__, "100000001", "110000000", "110000001", "010000001", "100000000",
     "110000001", "010000001", "100000000"},

    // Empty sides: |= and ^= cannot take a size of 0.
    {__LINE__, "", "", "", "", "", "", "", ""},
    {__LINE__, "1010", "", "1010", "1010", "1010", "", "", "0000"},
    {__LINE__, "", "1010", "0000", "0000", "", "0000", "0000", ""},

    // [bits-4] [bits-5] Sizes differ within a byte. |= and ^= take that of b,
    // as | and ^ do, but the new sets are masked for the size of a.
    {__LINE__, "1111", "110000", "111111", "111111", "0000", "001111", "001111",
     "0000"},
    {__LINE__, "1111", "100101", "101111", "101010", "0101", "001111", "001010",
     "0101"},
    {__LINE__, "101101", "11", "11", "10", "000001", "11", "10", "000001"},

    // By whole bytes: of the longer set's bytes that the other lacks, those
    // of b are not taken over, those of a stay for &= and are 0 for &.
    {__LINE__, "1111", "11111111000011000011", "00000000000011001111",
     "00000000000011001100", "0011", "00000000000011001111",
     "00000000000011001100", "0011"},
    {__LINE__, "11111111000011000011", "1111", "1111", "1100",
     "11111111000000000011", "1111", "1100", "00000000000000000011"},
    {__LINE__, "111111111", "000000001", "111111111", "111111110", "000000001",
     "111111111", "111111110", "000000001"},
    {__LINE__, "1111111100000000", "11110000", "11110000", "11110000",
     "1111111100000000", "11110000", "11110000", "0000000000000000"},
};

// [bits-4] [bits-5]
TEST(BitsTest, CombinesTheBytesThatBothSetsHave) {
    for (const CombineCase& row : kCombineCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const Bits b = OfText(row.b);
        const State before = StateOf(b);

        Bits either = OfText(row.a);
        EXPECT_EQ(&either, &(either |= b));
        EXPECT_EQ(row.orInto, either.ToString());
        Bits one = OfText(row.a);
        EXPECT_EQ(&one, &(one ^= b));
        EXPECT_EQ(row.xorInto, one.ToString());
        Bits both = OfText(row.a);
        EXPECT_EQ(&both, &(both &= b));
        EXPECT_EQ(row.andInto, both.ToString());

        Bits a = OfText(row.a);
        const State beforeA = StateOf(a);
        EXPECT_EQ(row.orNew, (a | b).ToString());
        EXPECT_EQ(row.xorNew, (a ^ b).ToString());
        EXPECT_EQ(row.andNew, (a & b).ToString());
        EXPECT_EQ(beforeA, StateOf(a));
        EXPECT_EQ(before, StateOf(b));
    }
}

// [bits-4]
TEST(BitsTest, OrIntoAShorterSetTakesOneByteOfTwenty) {
    Bits a = OfText("0101");
    Bits b(20);
    b.SetAll();
    a |= b;
    EXPECT_EQ(20U, a.GetSize());
    EXPECT_EQ(24U, CapacityOf(a));
    EXPECT_EQ((Block{0xFF, 0x00, 0x00}), BytesOf(a));
}

// [bits-4]
TEST(BitsTest, AndIntoALongerSetKeepsTheBytesThatTheOtherLacks) {
    Bits a = OfBytes({0xFF, 0xA5, 0x0F});
    a.SetSize(20);
    a &= OfText("0110");
    EXPECT_EQ(20U, a.GetSize());
    EXPECT_EQ((Block{0x06, 0xA5, 0x0F}), BytesOf(a));
}

// [bits-5]
TEST(BitsTest, NewSetsHaveTheSizeOfOneSide) {
    for (unsigned long sizeA = 0; sizeA <= 40; ++sizeA) {
        for (unsigned long sizeB = 0; sizeB <= 40; ++sizeB) {
            SCOPED_TRACE(testing::Message() << sizeA << " with " << sizeB);
            Bits a(sizeA);
            const Bits b(sizeB);
            ASSERT_EQ(sizeA, (a & b).GetSize());
            ASSERT_EQ(sizeB, (a | b).GetSize());
            ASSERT_EQ(sizeB, (a ^ b).GetSize());
            ASSERT_EQ(8 * BytesFor(sizeA), CapacityOf(a & b));
            ASSERT_EQ(8 * BytesFor(sizeB), CapacityOf(a | b));
            ASSERT_EQ(8 * BytesFor(sizeB), CapacityOf(a ^ b));
        }
    }
}

const struct MaskCase {
    int line;
    Block a;
    unsigned long sizeA;
    Block b;
    unsigned long sizeB;
    Block orInto;
    Block andInto;
    Block orNew;
    Block andNew;
} kMaskCases[] = {
    // With ones above the ends of both; XOR is masked as OR is.
    // a, its size, b, its size; |=, &=; |, &

    // Equally many bytes: in place the new size masks, that of b for |=; a new
    // set is masked for the size of a.
    {__LINE__, {0xFF}, 4, {0xFF}, 6, {0x3F}, {0x0F}, {0x0F}, {0x0F}},
    {__LINE__, {0xFF}, 6, {0xFF}, 4, {0x0F}, {0x3F}, {0x3F}, {0x3F}},
    {__LINE__, {0xFF}, 8, {0xFF}, 4, {0x0F}, {0xFF}, {0xFF}, {0xFF}},
    {__LINE__, {0xFF}, 4, {0xFF}, 8, {0xFF}, {0x0F}, {0x0F}, {0x0F}},
    {__LINE__,
     {0xFF, 0xFF},
     9,
     {0xFF, 0xFF},
     15,
     {0xFF, 0x7F},
     {0xFF, 0x01},
     {0xFF, 0x01},
     {0xFF, 0x01}},

    // Not equally many: nothing is masked.
    {__LINE__,
     {0xFF},
     4,
     {0xFF, 0xFF},
     12,
     {0xFF, 0x00},
     {0xFF},
     {0xFF, 0x00},
     {0xFF}},
    {__LINE__,
     {0xFF, 0xFF},
     12,
     {0xFF},
     4,
     {0xFF},
     {0xFF, 0xFF},
     {0xFF},
     {0xFF, 0x00}},
    {__LINE__, {0xFF}, 4, {}, 0, {0xFF}, {0xFF}, {}, {0x00}},
    {__LINE__, {}, 0, {0xFF}, 4, {0x00}, {}, {0x00}, {}},
};

// [bits-4] [bits-5]
TEST(BitsTest, CombinationMasksOnlyWhereBothSetsHaveEquallyManyBytes) {
    for (const MaskCase& row : kMaskCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const Cut b(row.sizeB, row.b);
        // With zeros, XOR gives the ones of a that OR gives with b.
        const Cut zeros(row.sizeB, Block(row.b.size(), 0x00));
        Cut either(row.sizeA, row.a);
        either |= b;
        EXPECT_EQ(row.orInto, BytesOf(either));
        Cut one(row.sizeA, row.a);
        one ^= zeros;
        EXPECT_EQ(row.orInto, BytesOf(one));
        Cut both(row.sizeA, row.a);
        both &= b;
        EXPECT_EQ(row.andInto, BytesOf(both));

        Cut left(row.sizeA, row.a);
        EXPECT_EQ(row.orNew, BytesOf(left | b));
        EXPECT_EQ(row.orNew, BytesOf(left ^ zeros));
        EXPECT_EQ(row.andNew, BytesOf(left & b));
    }
}

// [bits-4]
TEST(BitsTest, InPlaceKeepsTheBytesOfTheBlockBeyondTheSharedOnes) {
    // The size of b is within the block of a: nothing is zeroed there.
    Cut a(8, {0x0F, 0xA1, 0xA2, 0xA3});
    const unsigned char* const block = a.GetData();
    a |= OfText("111100000000000011110000");
    EXPECT_EQ(24U, a.GetSize());
    EXPECT_EQ(block, a.GetData());
    EXPECT_EQ((Block{0xFF, 0xA1, 0xA2, 0xA3}), BlockOf(a, 4));

    Cut x(8, {0x0F, 0xA1, 0xA2, 0xA3});
    x ^= OfText("111100000000000011111111");
    EXPECT_EQ(24U, x.GetSize());
    EXPECT_EQ((Block{0xF0, 0xA1, 0xA2, 0xA3}), BlockOf(x, 4));

    // A shorter b: the bytes beyond are out of sight, and stay.
    Bits longer = OfBytes({0x0F, 0xA1, 0xA2});
    longer |= OfText("11110000");
    EXPECT_EQ(8U, longer.GetSize());
    EXPECT_EQ((Block{0xFF, 0xA1, 0xA2}), BlockOf(longer, 3));
}

// Sets of one size, digit by digit of their texts.
TEST(BitsTest, CombinesEveryBit) {
    std::mt19937 random(9);
    std::vector<unsigned long> sizes(300);
    std::iota(sizes.begin(), sizes.end(), 1UL);
    sizes.insert(sizes.end(), {4096, 100000, 100003});
    for (const unsigned long size : sizes) {
        SCOPED_TRACE(size);
        const std::string textA = RandomText(random, size);
        const std::string textB = RandomText(random, size);
        std::string either(size, '0');
        std::string one(size, '0');
        std::string both(size, '0');
        for (unsigned long at = 0; at != size; ++at) {
            const int ones = textA[at] - '0' + textB[at] - '0';
            either[at] = ones != 0 ? '1' : '0';
            one[at] = ones == 1 ? '1' : '0';
            both[at] = ones == 2 ? '1' : '0';
        }
        Bits a = OfText(textA);
        const Bits b = OfText(textB);
        ASSERT_EQ(either, (a | b).ToString());
        ASSERT_EQ(one, (a ^ b).ToString());
        ASSERT_EQ(both, (a & b).ToString());

        Bits target(a);
        ASSERT_EQ(either, (target |= b).ToString());
        target = a;
        ASSERT_EQ(one, (target ^= b).ToString());
        target = a;
        ASSERT_EQ(both, (target &= b).ToString());
        ASSERT_EQ(textA, a.ToString());
        ASSERT_EQ(textB, b.ToString());
    }
}

TEST(BitsTest, CombinesASetWithItself) {
    Bits a;
    Give(a, {0xA5, 0xFF}, 12);
    EXPECT_EQ((Block{0xA5, 0x0F}), BytesOf(a | a));
    EXPECT_EQ((Block{0xA5, 0x0F}), BytesOf(a & a));
    EXPECT_EQ((Block{0x00, 0x00}), BytesOf(a ^ a));
    EXPECT_EQ((Block{0xA5, 0xFF}), BytesOf(a));

    Bits& same = a;
    a &= same;
    EXPECT_EQ((Block{0xA5, 0x0F}), BytesOf(a));
    EXPECT_EQ(0U, CapacityOf(a));
    Give(a, {0xA5, 0xFF}, 12);
    a |= same;
    EXPECT_EQ((Block{0xA5, 0x0F}), BytesOf(a));
    EXPECT_EQ(16U, CapacityOf(a));
    a.Clear();
    Give(a, {0xA5, 0xFF}, 12);
    a ^= same;
    EXPECT_EQ((Block{0x00, 0x00}), BytesOf(a));
    EXPECT_EQ(12U, a.GetSize());

    Bits empty;
    Bits& none = empty;
    empty |= none;
    empty &= none;
    empty ^= none;
    EXPECT_EQ(kEmpty, StateOf(empty));
    EXPECT_EQ(kEmpty, StateOf(empty | none));
}

TEST(BitsTest, NewSetsStartWithZeros) {
    Bits a = OfText("1");
    const Bits b(2000);
    Soil(250);
    Block expected(250, 0);
    expected[0] = 1;
    EXPECT_EQ(expected, BytesOf(a | b));
    Soil(250);
    EXPECT_EQ(expected, BytesOf(a ^ b));
    Bits longer(2000);
    longer.SetAll();
    Soil(250);
    EXPECT_EQ(expected, BytesOf(longer & a));
}

// Comparison

const struct CompareCase {
    int line;
    Block a;
    unsigned long sizeA;
    Block b;
    unsigned long sizeB;
    bool equal;
    bool unequal;
} kCompareCases[] = {
    // a, its size, b, its size; ==, !=
    {__LINE__, {}, 0, {}, 0, true, false},
    {__LINE__, {0x00}, 1, {0x00}, 1, true, false},
    {__LINE__, {0xA5, 0x03}, 10, {0xA5, 0x03}, 10, true, false},
    {__LINE__, {0xA5, 0x03}, 10, {0xA4, 0x03}, 10, false, true},
    {__LINE__, {0xA5, 0x03}, 10, {0xA5, 0x01}, 10, false, true},
    {__LINE__, {0xA5, 0x80}, 16, {0xA5, 0x00}, 16, false, true},

    // [bits-6] Different sizes: neither.
    {__LINE__, {0x00, 0x00}, 10, {0x00, 0x00}, 11, false, false},
    {__LINE__, {0x00, 0x00}, 10, {0xFF, 0x07}, 11, false, false},
    {__LINE__, {0x00}, 8, {0x00, 0x00}, 9, false, false},
    {__LINE__, {}, 0, {0x00}, 1, false, false},
    {__LINE__, {}, 0, {0xFF}, 8, false, false},

    // Bits above the end count.
    {__LINE__, {0xA5, 0x03}, 10, {0xA5, 0x83}, 10, false, true},
    {__LINE__, {0xA5, 0x83}, 10, {0xA5, 0x83}, 10, true, false},

    // Zero bytes do not end the comparison.
    {__LINE__, {0x00, 0x00, 0x01}, 24, {0x00, 0x00, 0x02}, 24, false, true},
};

// [bits-6]
TEST(BitsTest, SetsOfDifferentSizeAreNeitherEqualNorUnequal) {
    for (const CompareCase& row : kCompareCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Bits a;
        Bits b;
        if (row.sizeA != 0) {
            Give(a, row.a, row.sizeA);
        }
        if (row.sizeB != 0) {
            Give(b, row.b, row.sizeB);
        }
        const State before = StateOf(a);
        EXPECT_EQ(row.equal, a == b);
        EXPECT_EQ(row.equal, b == a);
        EXPECT_EQ(row.unequal, a != b);
        EXPECT_EQ(row.unequal, b != a);
        EXPECT_TRUE(a == a);
        EXPECT_FALSE(a != a);
        EXPECT_EQ(before, StateOf(a));
    }
}

TEST(BitsTest, ComparisonSeesEachByteAndNoneBeyondTheSize) {
    for (unsigned long size = 1; size <= 200; ++size) {
        Bits a(size);
        a.SetAll();
        Bits b(a);
        ASSERT_TRUE(a == b) << size;
        ASSERT_FALSE(a != b) << size;
        for (unsigned long pos = 0; pos != size; ++pos) {
            b.Reset(pos);
            ASSERT_FALSE(a == b) << pos << " of " << size;
            ASSERT_TRUE(a != b) << pos << " of " << size;
            b.Set(pos);
        }
        const unsigned long used = BytesFor(size);
        a.SetSize(8 * used + 8);
        a.GetData()[used] = 0x55;
        a.SetSize(size);
        ASSERT_TRUE(a == b) << size;
        ASSERT_FALSE(a != b) << size;
    }
}

// Shifts

// [bits-7]
TEST(BitsTest, ShiftsNothing) {
    for (const unsigned long count :
         {0UL, 1UL, 3UL, 8UL, 10UL, 64UL, ULONG_MAX}) {
        Bits empty;
        Bits some = OfText("1011001110");
        Cut cut(12, {0xA5, 0xFF, 0xFF});
        for (Bits* bits : Sets{&empty, &some, &cut}) {
            SCOPED_TRACE(count);
            const State before = StateOf(*bits);
            EXPECT_EQ(bits, &(*bits << count));
            EXPECT_EQ(before, StateOf(*bits));
            EXPECT_EQ(bits, &(*bits >> count));
            EXPECT_EQ(before, StateOf(*bits));
        }
    }
}

// Text form

// What ToString says, by both of its forms; the output holds junk first.
std::string TextOf(const Bits& bits) {
    std::string longer(1000 + bits.GetSize(), '#');
    bits.ToString(longer);
    std::string shorter = "1#";
    bits.ToString(shorter);
    EXPECT_EQ(longer, shorter);
    const std::string text = bits.ToString();
    EXPECT_EQ(text, longer);
    return text;
}

TEST(BitsTest, PrintsTheHighestPositionFirst) {
    Bits bits(10);
    bits.Set(1);
    EXPECT_EQ("0000000010", TextOf(bits));
    bits.Set(9);
    EXPECT_EQ("1000000010", TextOf(bits));
}

TEST(BitsTest, PrintsAnEmptySetAsAnEmptyText) {
    EXPECT_EQ("", TextOf(Bits()));
    std::string text = "junk";
    Bits().ToString(text);
    EXPECT_EQ("", text);
}

TEST(BitsTest, PrintsEveryByte) {
    for (unsigned int byte = 0; byte != 256; ++byte) {
        const Bits bits = OfBytes({static_cast<unsigned char>(byte)});
        std::string expected;
        for (unsigned int weight = 128; weight != 0; weight /= 2) {
            expected.push_back(byte / weight % 2 == 1 ? '1' : '0');
        }
        EXPECT_EQ(expected, TextOf(bits));
        Bits read;
        read.FromString(expected);
        EXPECT_EQ(byte, read.GetData()[0]);
    }
}

// Every length: all zeros, all ones, and random digits.
TEST(BitsTest, PrintsAndReadsEveryLength) {
    std::mt19937 random(6);
    for (unsigned long size = 0; size <= 200; ++size) {
        std::vector<std::string> texts{std::string(size, '0'),
                                       std::string(size, '1')};
        for (int n = 0; n != 8; ++n) {
            texts.push_back(RandomText(random, size));
        }
        for (const std::string& text : texts) {
            SCOPED_TRACE(text);
            const Bits printed = OfText(text);
            const State before = StateOf(printed);
            ASSERT_EQ(text, TextOf(printed));
            ASSERT_EQ(before, StateOf(printed));

            Soil(BytesFor(size));
            Bits read(50);
            read.SetAll();
            read.FromString(text);
            ASSERT_EQ(size, read.GetSize());
            ASSERT_EQ(8 * BytesFor(size), CapacityOf(read));
            ASSERT_EQ(BytesOfText(text), BytesOf(read));
        }
    }
}

TEST(BitsTest, DoesNotPrintTheBitsAboveTheEnd) {
    for (unsigned long size = 1; size <= 40; ++size) {
        Block bytes(BytesFor(size), 0x00);
        for (unsigned long pos = size; pos != 8 * bytes.size(); ++pos) {
            bytes[pos / 8] |= static_cast<unsigned char>(1 << (pos % 8));
        }
        Bits bits;
        Give(bits, bytes, size);
        ASSERT_EQ(std::string(size, '0'), TextOf(bits));
    }
}

const struct ReadCase {
    int line;
    std::string text;
    std::string result;
} kReadCases[] = {
    // line     text      reads as
    {__LINE__, "", ""},
    {__LINE__, "0", "0"},
    {__LINE__, "1", "1"},
    {__LINE__, "1101", "1101"},
    {__LINE__, "0001", "0001"},

    // [bits-8] From the right, to the first that is no binary digit.
    {__LINE__, "10a011", "011"},
    {__LINE__, "2", ""},
    {__LINE__, "1112", ""},
    {__LINE__, "2111", "111"},
    {__LINE__, "1 1", "1"},
    {__LINE__, " 11", "11"},
    {__LINE__, "11 ", ""},
    {__LINE__, "11\n", ""},
    {__LINE__, "-1", "1"},
    {__LINE__, "0b1101", "1101"},
    {__LINE__, "a1b1c1", "1"},
    {__LINE__,
     std::string("11\0"
                 "01",
                 5),
     "01"},
    {__LINE__, std::string("1101\0", 5), ""},
    {__LINE__, "111111111111111x11111111111111111", "11111111111111111"},
};

// [bits-8]
TEST(BitsTest, ReadsFromTheRightAndEndsWithoutAReport) {
    for (const ReadCase& row : kReadCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Bits empty;
        Cut cut(12, {0xFF, 0xFF, 0xFF});
        for (Bits* bits : Sets{&empty, &cut}) {
            bits->FromString(row.text);
            EXPECT_EQ(row.result, TextOf(*bits));
            EXPECT_EQ(BytesOfText(row.result), BytesOf(*bits));
            EXPECT_EQ(8 * BytesFor(row.result.size()), CapacityOf(*bits));
            if (row.result.empty()) {
                EXPECT_EQ(kEmpty, StateOf(*bits));
            }
        }
    }
}

TEST(BitsTest, ReadsBits0And2And3Of1101) {
    Bits bits;
    bits.FromString("1101");
    EXPECT_EQ(4U, bits.GetSize());
    EXPECT_TRUE(bits.Test(0));
    EXPECT_FALSE(bits.Test(1));
    EXPECT_TRUE(bits.Test(2));
    EXPECT_TRUE(bits.Test(3));
}

// [bits-8]
TEST(BitsTest, AnyOtherCharacterAtAnyPositionEndsTheReading) {
    std::mt19937 random(7);
    for (unsigned int value = 0; value != 256; ++value) {
        const auto character = static_cast<char>(value);
        if (character == '0' || character == '1') {
            continue;
        }
        for (unsigned long at = 0; at != 20; ++at) {
            std::string text = RandomText(random, 20);
            text[at] = character;
            Bits bits(30);
            bits.SetAll();
            bits.FromString(text);
            const std::string rest = text.substr(at + 1);
            ASSERT_EQ(rest, bits.ToString())
                << "character " << value << " at " << at;
            ASSERT_EQ(BytesOfText(rest), BytesOf(bits))
                << "character " << value << " at " << at;
        }
    }
}

// Several such characters: the last one counts.
TEST(BitsTest, TheLastOtherCharacterEndsTheReading) {
    for (unsigned long at = 0; at != 20; ++at) {
        for (unsigned long second = 0; second <= at; ++second) {
            std::string text(20, '1');
            text[at] = '2';
            text[second] = '/';
            Bits bits;
            bits.FromString(text);
            ASSERT_EQ(std::string(19 - at, '1'), bits.ToString())
                << at << " and " << second;
        }
    }
}

TEST(BitsTest, FromStringReleasesTheOldBlock) {
    const std::string text(30, '1');
    Bits bits;
    EXPECT_EQ((Held{1, 4}), HeldAfter([&] {
                  bits.SetSize(8000);
                  bits.SetAll();
                  bits.FromString(text);
              }));
    EXPECT_EQ(32U, CapacityOf(bits));
    bits.SetSize(100);
    EXPECT_EQ(std::string(70, '0') + text, bits.ToString());

    const std::string unreadable = "2";
    EXPECT_EQ((Held{0, 0}), HeldAfter([&] {
                  bits.SetSize(8000);
                  bits.FromString(unreadable);
              }));
    EXPECT_EQ(kEmpty, StateOf(bits));
}

TEST(BitsTest, PrintsAndReadsAMillionBits) {
    std::mt19937 random(8);
    for (const unsigned long size : {65536UL, 999999UL, 1000000UL}) {
        SCOPED_TRACE(size);
        const std::string text = RandomText(random, size);
        Bits bits;
        bits.FromString(text);
        ASSERT_EQ(size, bits.GetSize());
        // Not by EXPECT_EQ, which would print both.
        EXPECT_TRUE(BytesOfText(text) == BytesOf(bits));
        EXPECT_TRUE(text == bits.ToString());
        EXPECT_TRUE(text == TextOf(bits));
        EXPECT_EQ(static_cast<unsigned long>(
                      std::count(text.begin(), text.end(), '1')),
                  bits.GetSetCount());

        std::string broken = text;
        broken[size / 2] = 'x';
        bits.FromString(broken);
        EXPECT_TRUE(text.substr(size / 2 + 1) == bits.ToString());
    }
}

// Sizes that no memory has

const unsigned long kHugeSizes[] = {
    ULONG_MAX,     ULONG_MAX - 1, ULONG_MAX - 6,   ULONG_MAX - 7,
    ULONG_MAX - 8, 1UL << 63,     (1UL << 63) - 1, 1UL << 62,
};

TEST(BitsTest, HugeSizesAreBadAllocAndChangeNothing) {
    unsigned char byte = 0x55;
    for (const unsigned long huge : kHugeSizes) {
        SCOPED_TRACE(huge);
        EXPECT_THROW(Bits{huge}, std::bad_alloc);
        Bits given;
        Give(given, {0xFF, 0xFF}, 11);
        Bits empty;
        Cut cut(12, {0xFF, 0xFF, 0xFF});
        for (Bits* bits : Sets{&empty, &cut, &given}) {
            const State before = StateOf(*bits);
            EXPECT_THROW(bits->SetSize(huge), std::bad_alloc);
            EXPECT_EQ(before, StateOf(*bits));
            EXPECT_THROW(bits->SetSize(huge, 0), std::bad_alloc);
            EXPECT_EQ(before, StateOf(*bits));
            EXPECT_THROW(bits->SetData(&byte, huge), std::bad_alloc);
            EXPECT_EQ(before, StateOf(*bits));
        }
    }
}

// Allocations that fail

const std::string kFortyDigits = "1010101010101010101010101010101010101010";
unsigned char fiveBytes[] = {1, 2, 3, 4, 5};

// Of a set of 12 bits (bytes A5 FF, capacity 16) with one of 40 bits.
const struct FailingCase {
    const char* operation;
    void (*run)(Bits& a, const Bits& b);
    Held held;  // More, after all went well.
} kFailingCases[] = {
    {"SetSize", [](Bits& a, const Bits&) { a.SetSize(40); }, {1, 5}},
    {"SetData", [](Bits& a, const Bits&) { a.SetData(fiveBytes, 40); }, {1, 5}},
    {"SetData within the capacity",
     [](Bits& a, const Bits&) { a.SetData(fiveBytes, 3); },
     {1, 2}},
    {"SetData from its own block",
     [](Bits& a, const Bits&) { a.SetData(a.GetData() + 1, 8); },
     {1, 2}},
    {"Clone", [](Bits& a, const Bits& b) { a.Clone(b); }, {1, 5}},
    {"=", [](Bits& a, const Bits& b) { a = b; }, {1, 5}},
    {"|=", [](Bits& a, const Bits& b) { a |= b; }, {1, 5}},
    {"^=", [](Bits& a, const Bits& b) { a ^= b; }, {1, 5}},
    {"FromString",
     [](Bits& a, const Bits&) { a.FromString(kFortyDigits); },
     {1, 5}},
    {"|", [](Bits& a, const Bits& b) { const Bits r = a | b; }, {}},
    {"^", [](Bits& a, const Bits& b) { const Bits r = a ^ b; }, {}},
    {"&", [](Bits& a, const Bits& b) { const Bits r = a & b; }, {}},
    {"Bits(size)", [](Bits&, const Bits&) { const Bits r(40); }, {}},
    {"Bits(other)", [](Bits&, const Bits& b) { const Bits r(b); }, {}},
    {"ToString into a text",
     [](Bits&, const Bits& b) {
         std::string out = "junk";
         b.ToString(out);
     },
     {}},
    {"ToString",
     [](Bits&, const Bits& b) { const std::string text = b.ToString(); },
     {}},
};

TEST(BitsTest, AFailingAllocationChangesNothingAndLeaksNothing) {
    for (const FailingCase& row : kFailingCases) {
        SCOPED_TRACE(row.operation);
        Cut a(12, {0xA5, 0xFF});
        const Bits b = OfText(kFortyDigits);
        const State beforeA = StateOf(a);
        const State beforeB = StateOf(b);

        const NovuTest::AllocationLedger ledger;
        const unsigned long allocations = NovuTest::FailEachAllocation(
            [&] { row.run(a, b); },
            [&] {
                const Held held{ledger.Blocks(), ledger.Bytes()};
                EXPECT_EQ((Held{0, 0}), held);
                EXPECT_EQ(beforeA, StateOf(a));
                EXPECT_EQ(beforeB, StateOf(b));
            });
        const Held held{ledger.Blocks(), ledger.Bytes()};
        EXPECT_LE(1U, allocations);
        EXPECT_EQ(row.held, held);
        EXPECT_EQ(beforeB, StateOf(b));
    }
}

// The set's own size is above its capacity then.
TEST(BitsTest, AFailingAllocationAfterSetDataChangesNothing) {
    Bits bits;
    Give(bits, {0xA5, 0xFF}, 12);
    const Bits& same = bits;
    const Bits other(12);
    const State before = StateOf(bits);
    const auto check = [&] { EXPECT_EQ(before, StateOf(bits)); };
    const auto fails = [](auto operation) {
        const NovuTest::FailingAllocation failing(1);
        try {
            operation();
        } catch (const std::bad_alloc&) {
            return true;
        }
        return false;
    };
    EXPECT_TRUE(fails([&] { bits.SetSize(12); }));
    check();
    EXPECT_TRUE(fails([&] { bits.SetSize(1); }));
    check();
    EXPECT_TRUE(fails([&] { bits.Clone(other); }));
    check();
    EXPECT_TRUE(fails([&] { bits |= other; }));
    check();
    EXPECT_TRUE(fails([&] { bits |= same; }));
    check();
    EXPECT_TRUE(fails([&] { bits ^= other; }));
    check();
}

TEST(BitsTest, AndInPlaceAllocatesNothing) {
    Bits a = OfText("1100");
    const Bits b(1000);
    const unsigned long allocations =
        NovuTest::FailEachAllocation([&] { a &= b; }, [] { FAIL(); });
    EXPECT_EQ(0U, allocations);
    EXPECT_EQ("0000", a.ToString());
}

// What operator new[] answers when a host's own answers null

TEST(BitsTest, WithoutABlockSetSizeAndSetDataRefuse) {
    Bits given;
    Give(given, {0xA5, 0xFF}, 12);
    Bits empty;
    Cut cut(12, {0xA5, 0xFF, 0xFF});
    for (Bits* bits : Sets{&empty, &cut, &given}) {
        const State before = StateOf(*bits);
        int sized = -1;
        int defaulted = -1;
        int filled = -1;
        {
            const NovuTest::NullAllocation none;
            sized = bits->SetSize(100, 1);
            defaulted = bits->SetSize(100);
            filled = bits->SetData(fiveBytes, 40);
        }
        EXPECT_EQ(0, sized);
        EXPECT_EQ(0, defaulted);
        EXPECT_EQ(0, filled);
        EXPECT_EQ(before, StateOf(*bits));
    }
}

TEST(BitsTest, WithoutABlockANewSetIsEmpty) {
    const Bits other(12);
    const NovuTest::NullAllocation none;
    EXPECT_EQ(kEmpty, FieldsOf(Bits(12)));
    EXPECT_EQ(kEmpty, FieldsOf(Bits(other)));
}

TEST(BitsTest, WithoutABlockACloneChangesNothing) {
    const Bits other(100);
    Cut bits(12, {0xA5, 0xFF, 0xFF});
    const State before = StateOf(bits);
    {
        const NovuTest::NullAllocation none;
        bits.Clone(other);
        bits = other;
    }
    EXPECT_EQ(before, StateOf(bits));
}

// As with an empty set on the right: the size stays, the bytes are combined.
TEST(BitsTest, WithoutABlockInPlaceKeepsTheSize) {
    const Bits other = OfText("100000000000000001111");
    Bits either = OfText("0101");
    Bits one = OfText("0101");
    {
        const NovuTest::NullAllocation none;
        either |= other;
        one ^= other;
    }
    EXPECT_EQ("1111", either.ToString());
    EXPECT_EQ(8U, CapacityOf(either));
    EXPECT_EQ("1010", one.ToString());
    EXPECT_EQ(8U, CapacityOf(one));
}

TEST(BitsTest, WithoutABlockANewCombinationIsEmpty) {
    const Bits other = OfText("100000000000000001111");
    Bits bits = OfText("0101");
    const State before = StateOf(bits);
    for (const AsNewSet combine :
         {&Bits::operator|, &Bits::operator^, &Bits::operator&}) {
        State result = before;
        {
            const NovuTest::NullAllocation none;
            result = FieldsOf((bits.*combine)(other));
        }
        EXPECT_EQ(kEmpty, result);
        EXPECT_EQ(before, StateOf(bits));
    }
}

TEST(BitsTest, WithoutABlockFromStringLeavesAnEmptySet) {
    Bits bits = OfText("0101");
    {
        const NovuTest::NullAllocation none;
        bits.FromString(kFortyDigits);
    }
    EXPECT_EQ(kEmpty, StateOf(bits));
}

// Random sequences, against a plain model

// The rules, bit by bit. Slow, and without a thought for it.
struct Model {
    std::vector<bool> block;  // Empty when there is none.
    unsigned long capacity = 0;
    unsigned long size = 0;

    int SetSize(unsigned long newSize) {
        if (newSize == 0) {
            return 0;
        }
        const unsigned long need = BytesFor(newSize);
        if (BytesFor(capacity) < need) {
            std::vector<bool> fresh(8 * need, false);
            const unsigned long kept = std::min(BytesFor(size), need);
            for (unsigned long pos = 0; pos != 8 * kept; ++pos) {
                fresh[pos] = block[pos];
            }
            block = fresh;
            capacity = 8 * need;
        }
        size = newSize;
        return 1;
    }

    // The new block has room for the old capacity, and zeros there.
    void SetData(const Block& bytes, unsigned long bits) {
        const unsigned long count = BytesFor(bits);
        std::vector<bool> fresh(8 * std::max(count, BytesFor(capacity)), false);
        for (unsigned long pos = 0; pos != 8 * count; ++pos) {
            fresh[pos] = BitOf(bytes, pos);
        }
        block = fresh;
        size = bits;
    }

    void Clear() {
        block.clear();
        capacity = 0;
        size = 0;
    }

    void Clone(const Model& other) {
        if (SetSize(other.size) == 1) {
            for (unsigned long pos = 0; pos != 8 * BytesFor(size); ++pos) {
                block[pos] = other.block[pos];
            }
        }
    }

    bool Test(unsigned long pos) const { return pos < size && block[pos]; }

    int Put(unsigned long pos, bool bit) {
        if (pos >= size) {
            return 0;
        }
        block[pos] = bit;
        return 1;
    }

    // For the last of `bytes` bytes.
    void Mask(unsigned long bytes, unsigned long bits) {
        if (bits % 8 != 0) {
            for (unsigned long above = bits % 8; above != 8; ++above) {
                block[8 * (bytes - 1) + above] = false;
            }
        }
    }

    void Fill(bool bit) {
        for (unsigned long pos = 0; pos != 8 * BytesFor(size); ++pos) {
            block[pos] = bit;
        }
        Mask(BytesFor(size), size);
    }

    void Invert() {
        for (unsigned long pos = 0; pos != 8 * BytesFor(size); ++pos) {
            block[pos] = !block[pos];
        }
        Mask(BytesFor(size), size);
    }

    bool Any() const {
        bool any = false;
        for (unsigned long pos = 0; pos != 8 * BytesFor(size); ++pos) {
            any = any || block[pos];
        }
        return any;
    }

    unsigned long Ones() const {
        unsigned long ones = 0;
        for (unsigned long pos = 0; pos != size; ++pos) {
            ones += block[pos] ? 1UL : 0UL;
        }
        return ones;
    }

    bool SameBytes(const Model& other) const {
        for (unsigned long pos = 0; pos != 8 * BytesFor(size); ++pos) {
            if (block[pos] != other.block[pos]) {
                return false;
            }
        }
        return true;
    }

    std::string ToString() const {
        std::string text;
        for (unsigned long pos = size; pos != 0; --pos) {
            text.push_back(block[pos - 1] ? '1' : '0');
        }
        return text;
    }

    void FromString(const std::string& text) {
        Clear();
        for (unsigned long k = 0; k != text.size(); ++k) {
            const char digit = text[text.size() - 1 - k];
            if (digit != '0' && digit != '1') {
                return;
            }
            SetSize(k + 1);
            block[k] = digit == '1';
        }
    }
};

bool Or(bool a, bool b) { return a || b; }
bool Xor(bool a, bool b) { return a != b; }
bool And(bool a, bool b) { return a && b; }

const struct Combination {
    const char* name;
    InPlace inPlace;
    AsNewSet asNewSet;
    bool (*bit)(bool, bool);
    bool sizeOfOther;
} kCombinations[] = {
    {"or", &Bits::operator|=, &Bits::operator|, &Or, true},
    {"xor", &Bits::operator^=, &Bits::operator^, &Xor, true},
    {"and", &Bits::operator&=, &Bits::operator&, &And, false},
};

void CombineInto(Model& a, const Model& b, const Combination& how) {
    const unsigned long bytesA = BytesFor(a.size);
    const unsigned long bytesB = BytesFor(b.size);
    const unsigned long n = std::min(bytesA, bytesB);
    if (how.sizeOfOther) {
        a.SetSize(b.size);
    }
    for (unsigned long pos = 0; pos != 8 * n; ++pos) {
        a.block[pos] = how.bit(a.block[pos], b.block[pos]);
    }
    if (n != 0 && bytesA == bytesB) {
        a.Mask(BytesFor(a.size), a.size);
    }
}

Model Combined(const Model& a, const Model& b, const Combination& how) {
    const unsigned long bytesA = BytesFor(a.size);
    const unsigned long bytesB = BytesFor(b.size);
    const unsigned long n = std::min(bytesA, bytesB);
    Model r;
    r.SetSize(how.sizeOfOther ? b.size : a.size);
    for (unsigned long pos = 0; pos != 8 * n; ++pos) {
        r.block[pos] = how.bit(a.block[pos], b.block[pos]);
    }
    if (n != 0 && bytesA == bytesB) {
        r.Mask(bytesA, a.size);
    }
    return r;
}

// A set and its model, and what the model says of it.
struct Pair {
    std::unique_ptr<Bits> bits = std::make_unique<Bits>();
    Model model;
    Block bytes;  // Of the model's whole block.
    std::string text;

    // To be called after each change of the model.
    void Note() {
        bytes.assign(model.block.size() / 8, 0);
        for (unsigned long pos = 0; pos != model.block.size(); ++pos) {
            if (model.block[pos]) {
                bytes[pos / 8] |= static_cast<unsigned char>(1 << (pos % 8));
            }
        }
        text = model.ToString();
    }

    bool Agree() const {
        const State fields = FieldsOf(*bits);
        if (fields.capacity != model.capacity || fields.size != model.size ||
            (fields.data == 0) != bytes.empty() ||
            bits->GetSize() != model.size ||
            bits->GetBytes() != BytesFor(model.size)) {
            return false;
        }
        return (bytes.empty() || std::memcmp(bits->GetData(), bytes.data(),
                                             bytes.size()) == 0) &&
               bits->ToString() == text;
    }
};

// Three sets that random operations change and combine.
class Walk {
public:
    explicit Walk(unsigned int seed) : random(seed) {}

    // Does one operation on both sides; false when they differ after it.
    bool Step() {
        Pair& a = pairs[Below(3)];
        const Pair& b = pairs[Below(3)];  // One time in three the same.
        right = true;
        Operate(a, b);
        a.Note();
        return right && pairs[0].Agree() && pairs[1].Agree() &&
               pairs[2].Agree();
    }

    // Of the last step, and what is left of it.
    std::string Report() const {
        std::ostringstream report;
        report << operation << (right ? "" : " answered wrongly");
        for (const Pair& pair : pairs) {
            report << "\nmodel: capacity " << pair.model.capacity << ", bytes "
                   << testing::PrintToString(pair.bytes) << ", " << pair.text
                   << "\n  set: capacity " << CapacityOf(*pair.bits)
                   << ", bytes " << testing::PrintToString(BytesOf(*pair.bits))
                   << ", " << pair.bits->ToString();
        }
        return report.str();
    }

private:
    unsigned long Below(unsigned long limit) { return random() % limit; }

    void Check(bool holds) { right = right && holds; }

    unsigned long Size() {
        if (Below(2000) == 0) {
            return Below(5000);
        }
        switch (Below(4)) {
            case 0: {
                // Around that of one of the sets.
                const unsigned long size = pairs[Below(3)].model.size;
                return std::min(size, 300UL) + Below(9);
            }
            case 1:
                return Below(201);
            default:
                return Below(34);
        }
    }

    // In the set, and now and then beyond its end.
    unsigned long Position(const Model& model) {
        if (Below(50) == 0) {
            return ULONG_MAX - Below(3);
        }
        return Below(model.size + 1 + model.size / 8);
    }

    std::string RandomDigits() {
        std::string text = RandomText(random, Below(4) == 0 ? Size() : 30);
        text.resize(std::min<std::size_t>(text.size(), 600));
        if (Below(3) == 0 && !text.empty()) {
            text[Below(text.size())] = static_cast<char>(random());
        }
        return text;
    }

    void Operate(Pair& a, const Pair& b) {
        switch (Below(20)) {
            case 0:
                return Resize(a);
            case 1:
                return Shrink(a);
            case 2:
                return SetData(a);
            case 3:
                return SetDataFrom(a, b);
            case 4:
                return Clone(a, b);
            case 5:
                return Renew(a, b);
            case 6:
                return Clear(a);
            case 7:
            case 8:
            case 9:
                return SingleBit(a);
            case 10:
                return WholeSet(a);
            case 11:
            case 12:
            case 13:
                return Combine(a, b);
            case 14:
            case 15:
            case 16:
                return CombineAnew(a, b);
            case 17:
                return Compare(a, b);
            case 18:
                return Ask(a);
            default:
                return Text(a);
        }
    }

    void Resize(Pair& a) {
        operation = "SetSize";
        const unsigned long size = Size();
        const int result = Below(2) == 0
                               ? a.bits->SetSize(size)
                               : a.bits->SetSize(size, static_cast<int>(size));
        Check(result == a.model.SetSize(size));
    }

    void Shrink(Pair& a) {
        operation = "SetSize to less";
        const unsigned long size = Below(a.model.size + 1);
        Check(a.bits->SetSize(size, 1) == a.model.SetSize(size));
    }

    void SetData(Pair& a) {
        operation = "SetData";
        const unsigned long size = Size();
        Block bytes = RandomBytes(random, BytesFor(size));
        if (Below(20) == 0 || size == 0) {
            Check(a.bits->SetData(nullptr, size) == 0);
            Check(a.bits->SetData(bytes.data(), 0) == 0);
            return;
        }
        Check(a.bits->SetData(bytes.data(), size) == 1);
        a.model.SetData(bytes, size);
    }

    // Of some bytes in the block of either set.
    void SetDataFrom(Pair& a, const Pair& b) {
        operation = "SetData from a block";
        if (b.bytes.empty()) {
            return Clear(a);
        }
        const unsigned long from = Below(b.bytes.size());
        const unsigned long size = 1 + Below(8 * (b.bytes.size() - from));
        const Block bytes(b.bytes.begin() + static_cast<long>(from),
                          b.bytes.end());
        Check(a.bits->SetData(b.bits->GetData() + from, size) == 1);
        a.model.SetData(bytes, size);
    }

    void Clone(Pair& a, const Pair& b) {
        if (Below(2) == 0) {
            operation = "Clone";
            a.bits->Clone(*b.bits);
        } else {
            operation = "=";
            Check(&(*a.bits = *b.bits) == a.bits.get());
        }
        const Model other = b.model;  // Which may be the same.
        a.model.Clone(other);
    }

    void Renew(Pair& a, const Pair& b) {
        Model fresh;
        if (Below(2) == 0) {
            operation = "Bits(size)";
            const unsigned long size = Size();
            fresh.SetSize(size);
            a.bits = std::make_unique<Bits>(size);
        } else {
            operation = "Bits(other)";
            fresh.Clone(b.model);
            a.bits = std::make_unique<Bits>(*b.bits);
        }
        a.model = fresh;
    }

    void Clear(Pair& a) {
        operation = "Clear";
        a.bits->Clear();
        a.model.Clear();
    }

    void SingleBit(Pair& a) {
        const unsigned long pos = Position(a.model);
        switch (Below(3)) {
            case 0:
                operation = "Test";
                return Check(a.bits->Test(pos) == a.model.Test(pos));
            case 1:
                operation = "Set";
                return Check(a.bits->Set(pos) == a.model.Put(pos, true));
            default:
                operation = "Reset";
                return Check(a.bits->Reset(pos) == a.model.Put(pos, false));
        }
    }

    void WholeSet(Pair& a) {
        switch (Below(5)) {
            case 0:
                operation = "SetAll";
                a.bits->SetAll();
                return a.model.Fill(true);
            case 1:
                operation = "ResetAll";
                a.bits->ResetAll();
                return a.model.Fill(false);
            case 2:
                operation = "<<";
                return Check(&(*a.bits << Size()) == a.bits.get());
            case 3:
                operation = ">>";
                return Check(&(*a.bits >> Size()) == a.bits.get());
            default:
                operation = "~";
                Check(&~*a.bits == a.bits.get());
                return a.model.Invert();
        }
    }

    void Combine(Pair& a, const Pair& b) {
        const Combination& how = kCombinations[Below(3)];
        operation = std::string(how.name) + " in place";
        Check(&(a.bits.get()->*how.inPlace)(*b.bits) == a.bits.get());
        CombineInto(a.model, b.model, how);
    }

    // The result becomes one of the sets.
    void CombineAnew(Pair& a, const Pair& b) {
        const Combination& how = kCombinations[Below(3)];
        operation = std::string(how.name) + " as a new set";
        Pair& other = pairs[Below(3)];
        auto result =
            std::make_unique<Bits>((other.bits.get()->*how.asNewSet)(*b.bits));
        Model combined = Combined(other.model, b.model, how);
        a.bits = std::move(result);
        a.model = combined;
    }

    void Compare(Pair& a, const Pair& b) {
        operation = "comparison";
        const bool comparable = a.model.size == b.model.size;
        const bool same = comparable && a.model.SameBytes(b.model);
        Check((*a.bits == *b.bits) == same);
        Check((*a.bits != *b.bits) == (comparable && !same));
    }

    void Ask(Pair& a) {
        operation = "question";
        const unsigned long ones = a.model.Ones();
        Check(a.bits->Any() == a.model.Any());
        Check(a.bits->None() == !a.model.Any());
        Check(a.bits->GetSetCount() == ones);
        Check(a.bits->GetUnsetCount() == a.model.size - ones);
    }

    void Text(Pair& a) {
        operation = "text";
        std::string out = "junk";
        a.bits->ToString(out);
        Check(out == a.text);
        const std::string text = RandomDigits();
        a.bits->FromString(text);
        a.model.FromString(text);
    }

    std::mt19937 random;
    std::array<Pair, 3> pairs;
    std::string operation;
    bool right = true;
};

class BitsWalkTest : public testing::TestWithParam<unsigned int> {};

INSTANTIATE_TEST_SUITE_P(Seeds, BitsWalkTest, testing::Values(1U, 2U, 3U, 4U));

TEST_P(BitsWalkTest, FollowsTheModelThroughRandomOperations) {
    Walk walk(GetParam());
    for (unsigned long step = 0; step != 40000; ++step) {
        if (!walk.Step()) {
            FAIL() << "seed " << GetParam() << ", step " << step << ": "
                   << walk.Report();
        }
    }
}

}  // namespace
