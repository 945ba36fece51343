// The contract of Bases/Buffer.h. A buffer is looked at in memory: its state is
// the block, the capacity ("max size") and the number of bytes in use (size).

#include "Bases/Buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/Allocation.h"
#include "tests/support/VirtualSlots.h"

namespace {

using Novu::SerialBuffer;
using NovuTest::AllocationLedger;

using std::is_same_v;
using Ulong = unsigned long;
using Block = unsigned char*;

static_assert(
    is_same_v<decltype(&SerialBuffer::GetBuffer), Block (SerialBuffer::*)()>);
static_assert(
    is_same_v<decltype(&SerialBuffer::GetSize), Ulong (SerialBuffer::*)()>);
static_assert(
    is_same_v<decltype(&SerialBuffer::GetMaxSize), Ulong (SerialBuffer::*)()>);
static_assert(is_same_v<decltype(&SerialBuffer::SetSize),
                        Ulong (SerialBuffer::*)(Ulong)>);
static_assert(is_same_v<decltype(&SerialBuffer::SetMaxSize),
                        int (SerialBuffer::*)(Ulong, int)>);
static_assert(is_same_v<decltype(&SerialBuffer::AddBuffer),
                        int (SerialBuffer::*)(Block, Ulong, int)>);
static_assert(
    is_same_v<decltype(&SerialBuffer::Shift), int (SerialBuffer::*)(Ulong)>);
static_assert(
    is_same_v<decltype(&SerialBuffer::Clear), void (SerialBuffer::*)()>);
static_assert(
    is_same_v<decltype(&SerialBuffer::Delete), void (SerialBuffer::*)()>);
static_assert(
    is_same_v<decltype(&SerialBuffer::Fetch), Block (SerialBuffer::*)()>);
static_assert(is_same_v<decltype(&SerialBuffer::SetBuffer),
                        int (SerialBuffer::*)(Block, Ulong, Ulong)>);

static_assert(std::is_default_constructible_v<SerialBuffer>);
static_assert(std::is_convertible_v<unsigned long, SerialBuffer>);
static_assert(std::has_virtual_destructor_v<SerialBuffer>);
static_assert(std::is_copy_constructible_v<SerialBuffer>);
static_assert(std::is_copy_assignable_v<SerialBuffer>);
static_assert(!std::is_final_v<SerialBuffer>);
static_assert(sizeof(SerialBuffer) == 32);
static_assert(alignof(SerialBuffer) == 8);

struct State {
    const unsigned char* block;
    unsigned long maxSize;
    unsigned long size;

    bool operator==(const State&) const = default;
};

std::ostream& operator<<(std::ostream& out, const State& state) {
    return out << "block " << static_cast<const void*>(state.block)
               << ", max size " << state.maxSize << ", size " << state.size;
}

const State kEmpty = {nullptr, 0, 0};

// The object's words: the pointer to its virtual table, then its fields.
std::array<std::uintptr_t, 4> Words(const SerialBuffer& buffer) {
    std::array<std::uintptr_t, 4> words{};
    std::memcpy(words.data(), static_cast<const void*>(&buffer), sizeof words);
    return words;
}

State StateOf(const SerialBuffer& buffer) {
    const auto words = Words(buffer);
    State state = {nullptr, words[2], words[3]};
    std::memcpy(&state.block, &words[1], sizeof state.block);
    return state;
}

// A block of exactly the bytes of `text`, to be released with delete[].
Block NewBlock(const std::string& text) {
    const Block block = new unsigned char[text.size()];
    text.copy(reinterpret_cast<char*>(block), text.size());
    return block;
}

std::string Text(const unsigned char* bytes, unsigned long count) {
    return bytes != nullptr ? std::string(bytes, bytes + count) : std::string();
}

// The bytes in use.
std::string InUse(SerialBuffer& buffer) {
    return Text(buffer.GetBuffer(), buffer.GetSize());
}

// Everything that the capacity covers.
std::string Whole(SerialBuffer& buffer) {
    return Text(buffer.GetBuffer(), buffer.GetMaxSize());
}

// AddBuffer from a block that ends where the data ends and that is not changed.
int Add(SerialBuffer& buffer, const std::string& text, int grow = 1) {
    std::vector<unsigned char> data(text.begin(), text.end());
    const std::vector<unsigned char> before = data;
    const int result = buffer.AddBuffer(data.data(), data.size(), grow);
    EXPECT_EQ(before, data);
    return result;
}

// A buffer whose block holds `text`, which is in use, and '.' in the rest of
// its `capacity` bytes.
struct Filled : SerialBuffer {
    Filled(const std::string& text, unsigned long capacity) {
        std::string whole = text;
        whole.resize(capacity, '.');
        SetBuffer(NewBlock(whole), text.size(), capacity);
    }
};

// Type

TEST(BufferTest, HoldsItsBlockThenItsCapacityThenItsSize) {
    SerialBuffer buffer(7);
    ASSERT_EQ(1, Add(buffer, "abc"));
    const auto words = Words(buffer);
    EXPECT_NE(0U, words[0]);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.GetBuffer()), words[1]);
    EXPECT_EQ(7U, words[2]);
    EXPECT_EQ(3U, words[3]);
}

TEST(BufferTest, BeginsWithThePointerToItsVirtualTable) {
    struct Derived : SerialBuffer {
        void Unused() {}
    };
    const SerialBuffer one;
    const SerialBuffer other(5);
    const Derived derived;
    EXPECT_EQ(Words(one)[0], Words(other)[0]);
    EXPECT_NE(Words(one)[0], Words(derived)[0]);
}

TEST(BufferTest, OnlyTheDestructorIsVirtual) {
    EXPECT_EQ(0, NovuTest::VirtualOperations<SerialBuffer>());
}

// [buffer-1] The block is handed back by one of the two, or both release it.
TEST(BufferTest, ACopySharesTheBlock) {
    const AllocationLedger ledger;
    SerialBuffer buffer(5);
    Add(buffer, "abc");
    SerialBuffer copy(buffer);
    EXPECT_EQ(StateOf(buffer), StateOf(copy));
    EXPECT_EQ(1U, ledger.Blocks());
    copy.GetBuffer()[0] = 'x';
    EXPECT_EQ("xbc", InUse(buffer));
    EXPECT_EQ(buffer.GetBuffer(), copy.Fetch());
    EXPECT_EQ("xbc", InUse(buffer));
}

// [buffer-1]
TEST(BufferTest, AssignmentSharesTheBlockAndForgetsTheEarlierOne) {
    const AllocationLedger ledger;
    SerialBuffer buffer(5);
    Add(buffer, "abc");
    SerialBuffer assigned(9);
    const Block forgotten = assigned.GetBuffer();
    assigned = buffer;
    EXPECT_EQ(StateOf(buffer), StateOf(assigned));
    EXPECT_EQ(2U, ledger.Blocks());
    delete[] forgotten;
    EXPECT_EQ(buffer.GetBuffer(), assigned.Fetch());
    EXPECT_EQ("abc", InUse(buffer));
}

// Lifetime

TEST(BufferTest, ANewOneHasNoBlock) {
    const AllocationLedger ledger;
    SerialBuffer buffer;
    EXPECT_EQ(kEmpty, StateOf(buffer));
    EXPECT_EQ(nullptr, buffer.GetBuffer());
    EXPECT_EQ(0U, buffer.GetSize());
    EXPECT_EQ(0U, buffer.GetMaxSize());
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(BufferTest, ANewOneHasTheRoomThatItIsGiven) {
    for (const unsigned long room : {1UL, 2UL, 100UL, 65536UL}) {
        const AllocationLedger ledger;
        SerialBuffer buffer(room);
        EXPECT_NE(nullptr, buffer.GetBuffer());
        EXPECT_EQ(0U, buffer.GetSize());
        EXPECT_EQ(room, buffer.GetMaxSize());
        EXPECT_EQ(1U, ledger.Blocks());
        EXPECT_EQ(room, ledger.Bytes());
        std::fill_n(buffer.GetBuffer(), room, static_cast<unsigned char>('x'));
    }
}

TEST(BufferTest, ANewOneWithoutRoomHasNoBlock) {
    const AllocationLedger ledger;
    const SerialBuffer buffer(0);
    EXPECT_EQ(kEmpty, StateOf(buffer));
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(BufferTest, ANewOneIgnoresThatThereWasNoBlock) {
    const NovuTest::NullAllocation null;
    const SerialBuffer buffer(10);
    EXPECT_EQ(kEmpty, StateOf(buffer));
}

TEST(BufferTest, TheDestructorReleasesTheBlock) {
    const AllocationLedger ledger;
    {
        const SerialBuffer sized(10);
        SerialBuffer appended;
        Add(appended, "abc");
        SerialBuffer adopting;
        adopting.SetBuffer(NewBlock("abc"), 3, 3);
        EXPECT_EQ(3U, ledger.Blocks());
        EXPECT_EQ(16U, ledger.Bytes());
    }
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(BufferTest, IsDestroyedThroughAPointerToIt) {
    struct Derived : SerialBuffer {
        explicit Derived(int& counted) : SerialBuffer(10), destroyed(counted) {}
        ~Derived() override { ++destroyed; }

        int& destroyed;
    };
    const AllocationLedger ledger;
    int destroyed = 0;
    const SerialBuffer* const buffer = new Derived(destroyed);
    EXPECT_EQ(2U, ledger.Blocks());
    delete buffer;
    EXPECT_EQ(1, destroyed);
    EXPECT_EQ(0U, ledger.Blocks());
}

// SetSize

TEST(BufferTest, SetSizeTakesWhatTheCapacityAllows) {
    Filled buffer("abc", 8);
    const Block block = buffer.GetBuffer();
    for (const unsigned long size : {0UL, 1UL, 7UL, 8UL}) {
        EXPECT_EQ(size, buffer.SetSize(size));
        EXPECT_EQ((State{block, 8, size}), StateOf(buffer));
    }
    for (const unsigned long size : {9UL, 1000UL, ULONG_MAX}) {
        buffer.Clear();
        EXPECT_EQ(8U, buffer.SetSize(size));
        EXPECT_EQ((State{block, 8, 8}), StateOf(buffer));
    }
    EXPECT_EQ("abc.....", Whole(buffer));
}

TEST(BufferTest, SetSizeWithoutABlockIsZero) {
    SerialBuffer buffer;
    EXPECT_EQ(0U, buffer.SetSize(0));
    EXPECT_EQ(0U, buffer.SetSize(1));
    EXPECT_EQ(0U, buffer.SetSize(ULONG_MAX));
    EXPECT_EQ(kEmpty, StateOf(buffer));
}

TEST(BufferTest, SetSizeUncoversWhatTheBlockHolds) {
    Filled buffer("abcdef", 8);
    EXPECT_EQ(2U, buffer.SetSize(2));
    EXPECT_EQ("ab", InUse(buffer));
    EXPECT_EQ(5U, buffer.SetSize(5));
    EXPECT_EQ("abcde", InUse(buffer));
    EXPECT_EQ(8U, buffer.SetSize(8));
    EXPECT_EQ("abcdef..", InUse(buffer));
}

// SetMaxSize

TEST(BufferTest, SetMaxSizeKeepsABlockThatIsLargeEnough) {
    Filled buffer("abc", 8);
    const State before = StateOf(buffer);
    const AllocationLedger ledger;
    for (const unsigned long size : {0UL, 1UL, 2UL, 3UL, 7UL, 8UL}) {
        for (const int keep : {0, 1}) {
            EXPECT_EQ(1, buffer.SetMaxSize(size, keep));
            EXPECT_EQ(before, StateOf(buffer));
        }
    }
    EXPECT_EQ("abc.....", Whole(buffer));
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(BufferTest, SetMaxSizeOfZeroMakesNoBlock) {
    SerialBuffer buffer;
    EXPECT_EQ(1, buffer.SetMaxSize(0, 0));
    EXPECT_EQ(1, buffer.SetMaxSize(0, 1));
    EXPECT_EQ(kEmpty, StateOf(buffer));
}

TEST(BufferTest, SetMaxSizeMakesABlockOfExactlyThatSize) {
    for (const int keep : {0, 1}) {
        const AllocationLedger ledger;
        SerialBuffer buffer;
        for (const unsigned long size : {1UL, 2UL, 3UL, 10UL, 1000UL}) {
            const Block earlier = buffer.GetBuffer();
            EXPECT_EQ(1, buffer.SetMaxSize(size, keep));
            EXPECT_NE(earlier, buffer.GetBuffer());
            EXPECT_EQ((State{buffer.GetBuffer(), size, 0}), StateOf(buffer));
            EXPECT_EQ(1U, ledger.Blocks()) << "the earlier one was released";
            EXPECT_EQ(size, ledger.Bytes());
        }
    }
}

TEST(BufferTest, SetMaxSizeKeepsTheBytesInUse) {
    // Each time others, since a new block may hold what an old one held.
    std::string text = "abcdefghij";
    for (const int keep : {1, 2, -1, INT_MAX, INT_MIN, 256}) {
        SCOPED_TRACE(keep);
        Filled buffer(text, 12);
        EXPECT_EQ(1, buffer.SetMaxSize(13, keep));
        EXPECT_EQ((State{buffer.GetBuffer(), 13, 10}), StateOf(buffer));
        EXPECT_EQ(text, InUse(buffer));
        for (char& letter : text) {
            ++letter;
        }
    }
}

// [buffer-2]
TEST(BufferTest, SetMaxSizeThatDoesNotKeepLeavesTheSize) {
    const AllocationLedger ledger;
    Filled buffer("abcdefghij", 10);
    EXPECT_EQ(1, buffer.SetMaxSize(20, 0));
    EXPECT_EQ((State{buffer.GetBuffer(), 20, 10}), StateOf(buffer));
    EXPECT_EQ(1U, ledger.Blocks());
    EXPECT_EQ(20U, ledger.Bytes());

    // To be refilled; what comes after it is appended as ever.
    std::fill_n(buffer.GetBuffer(), 10, static_cast<unsigned char>('x'));
    EXPECT_EQ(1, Add(buffer, "yz", 0));
    EXPECT_EQ("xxxxxxxxxxyz", InUse(buffer));
}

TEST(BufferTest, SetMaxSizeNeedsABlock) {
    Filled buffer("abc", 8);
    SerialBuffer empty;
    const State before = StateOf(buffer);
    for (const int keep : {0, 1}) {
        {
            const NovuTest::NullAllocation null;
            EXPECT_EQ(0, buffer.SetMaxSize(9, keep));
            EXPECT_EQ(0, empty.SetMaxSize(1, keep));
            EXPECT_EQ(1, buffer.SetMaxSize(8, keep)) << "without allocating";
            EXPECT_EQ(1, empty.SetMaxSize(0, keep)) << "without allocating";
        }
        EXPECT_EQ(before, StateOf(buffer));
        EXPECT_EQ("abc.....", Whole(buffer));
        EXPECT_EQ(kEmpty, StateOf(empty));
    }
    EXPECT_EQ(1, buffer.SetMaxSize(9, 1));
    EXPECT_EQ("abc", InUse(buffer));
}

// AddBuffer

TEST(BufferTest, AddBufferAppendsWhatFits) {
    Filled buffer("ab", 8);
    const Block block = buffer.GetBuffer();
    const AllocationLedger ledger;
    EXPECT_EQ(1, Add(buffer, "cd", 0));
    EXPECT_EQ((State{block, 8, 4}), StateOf(buffer));
    EXPECT_EQ("abcd....", Whole(buffer)) << "and nothing beyond them";
    EXPECT_EQ(1, Add(buffer, "e", 1));
    EXPECT_EQ((State{block, 8, 5}), StateOf(buffer));
    EXPECT_EQ("abcde...", Whole(buffer));
    EXPECT_EQ(1, Add(buffer, "fgh", 0)) << "to the last byte";
    EXPECT_EQ((State{block, 8, 8}), StateOf(buffer));
    EXPECT_EQ("abcdefgh", Whole(buffer));
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(BufferTest, AddBufferTakesEveryByteValue) {
    std::string bytes;
    for (int value = 0; value < 256; ++value) {
        bytes += static_cast<char>(value);
    }
    SerialBuffer buffer;
    EXPECT_EQ(1, Add(buffer, bytes));
    EXPECT_EQ(1, Add(buffer, bytes));
    std::string both = bytes;
    both += bytes;
    EXPECT_EQ(both, InUse(buffer));
}

TEST(BufferTest, AddBufferGrowsOnlyWhereItMay) {
    Filled buffer("abcd", 8);
    const State before = StateOf(buffer);
    EXPECT_EQ(0, Add(buffer, "12345", 0));
    EXPECT_EQ(before, StateOf(buffer));
    EXPECT_EQ("abcd....", Whole(buffer));

    const AllocationLedger ledger;
    EXPECT_EQ(1, Add(buffer, "12345", 1));
    EXPECT_EQ((State{buffer.GetBuffer(), 9, 9}), StateOf(buffer));
    EXPECT_EQ("abcd12345", InUse(buffer));
    EXPECT_EQ(9U, ledger.Bytes());

    SerialBuffer empty;
    EXPECT_EQ(0, Add(empty, "1", 0));
    EXPECT_EQ(kEmpty, StateOf(empty));
}

TEST(BufferTest, AddBufferMayGrowByAnyFlagButZero) {
    for (const int grow : {1, 2, -1, INT_MAX, INT_MIN, 256}) {
        SerialBuffer buffer;
        EXPECT_EQ(1, Add(buffer, "abc", grow)) << grow;
        EXPECT_EQ("abc", InUse(buffer));
    }
}

// [buffer-3]
TEST(BufferTest, GrowthHasNoSlack) {
    const AllocationLedger ledger;
    SerialBuffer buffer;
    std::array<unsigned char, 3> data = {'a', 'b', 'c'};
    for (unsigned long count = 1; count <= 50; ++count) {
        const Block earlier = buffer.GetBuffer();
        EXPECT_EQ(1, buffer.AddBuffer(data.data(), data.size(), 1));
        EXPECT_NE(earlier, buffer.GetBuffer());
        EXPECT_EQ((State{buffer.GetBuffer(), count * 3, count * 3}),
                  StateOf(buffer));
        EXPECT_EQ(1U, ledger.Blocks());
        EXPECT_EQ(count * 3, ledger.Bytes());
    }
    std::string expected;
    for (int count = 0; count < 50; ++count) {
        expected += "abc";
    }
    EXPECT_EQ(expected, InUse(buffer));
}

// [buffer-3]
TEST(BufferTest, AddingNullReservesRoom) {
    const AllocationLedger ledger;
    SerialBuffer buffer;
    EXPECT_EQ(1, buffer.AddBuffer(nullptr, 100, 1));
    const Block block = buffer.GetBuffer();
    EXPECT_NE(nullptr, block);
    EXPECT_EQ((State{block, 100, 0}), StateOf(buffer));
    EXPECT_EQ(100U, ledger.Bytes());

    EXPECT_EQ(1, buffer.AddBuffer(nullptr, 100, 0)) << "the room is there";
    EXPECT_EQ(1, buffer.AddBuffer(nullptr, 50, 1));
    EXPECT_EQ((State{block, 100, 0}), StateOf(buffer));

    Add(buffer, "abc", 0);
    EXPECT_EQ((State{block, 100, 3}), StateOf(buffer));
    EXPECT_EQ(1, buffer.AddBuffer(nullptr, 97, 1));
    EXPECT_EQ((State{block, 100, 3}), StateOf(buffer));
    EXPECT_EQ(0, buffer.AddBuffer(nullptr, 98, 0)) << "100 are in all";
    EXPECT_EQ((State{block, 100, 3}), StateOf(buffer));
    EXPECT_EQ(1, buffer.AddBuffer(nullptr, 98, 1));
    EXPECT_NE(block, buffer.GetBuffer());
    EXPECT_EQ((State{buffer.GetBuffer(), 101, 3}), StateOf(buffer));
    EXPECT_EQ(101U, ledger.Bytes());
    EXPECT_EQ("abc", InUse(buffer));
}

TEST(BufferTest, AddingNothingChangesNothing) {
    unsigned char byte = 'x';
    SerialBuffer empty;
    for (const int grow : {0, 1}) {
        EXPECT_EQ(1, empty.AddBuffer(&byte, 0, grow));
        EXPECT_EQ(1, empty.AddBuffer(nullptr, 0, grow));
        EXPECT_EQ(kEmpty, StateOf(empty));
    }

    Filled full("abc", 3);
    const State before = StateOf(full);
    for (const int grow : {0, 1}) {
        EXPECT_EQ(1, full.AddBuffer(&byte, 0, grow));
        EXPECT_EQ(1, full.AddBuffer(nullptr, 0, grow));
        EXPECT_EQ(before, StateOf(full));
    }
    EXPECT_EQ("abc", InUse(full));
    EXPECT_EQ('x', byte);
}

TEST(BufferTest, AddBufferNeedsABlock) {
    Filled buffer("abcd", 8);
    SerialBuffer empty;
    const State before = StateOf(buffer);
    std::array<unsigned char, 5> data = {'1', '2', '3', '4', '5'};
    {
        const NovuTest::NullAllocation null;
        EXPECT_EQ(0, buffer.AddBuffer(data.data(), 5, 1));
        EXPECT_EQ(0, buffer.AddBuffer(nullptr, 5, 1));
        EXPECT_EQ(0, empty.AddBuffer(data.data(), 1, 1));
        EXPECT_EQ(0, empty.AddBuffer(nullptr, 1, 1));
        // From its own block, which is still there.
        EXPECT_EQ(0, buffer.AddBuffer(buffer.GetBuffer(), 5, 1));
    }
    EXPECT_EQ(before, StateOf(buffer));
    EXPECT_EQ("abcd....", Whole(buffer));
    EXPECT_EQ(kEmpty, StateOf(empty));

    const NovuTest::NullAllocation null;
    EXPECT_EQ(1, buffer.AddBuffer(data.data(), 4, 1)) << "without allocating";
    EXPECT_EQ((State{before.block, 8, 8}), StateOf(buffer));
    EXPECT_EQ(0, std::memcmp(before.block, "abcd1234", 8));
}

// AddBuffer from the own block

TEST(BufferTest, AddBufferFromItsOwnBlockThatFits) {
    Filled buffer("abcd", 8);
    const Block block = buffer.GetBuffer();
    EXPECT_EQ(1, buffer.AddBuffer(block + 1, 3, 0));
    EXPECT_EQ((State{block, 8, 7}), StateOf(buffer));
    EXPECT_EQ("abcdbcd.", Whole(buffer));
}

TEST(BufferTest, AddBufferFromItsOwnBlockThatGrows) {
    const AllocationLedger ledger;
    Filled buffer("abcdef", 6);
    EXPECT_EQ(1, buffer.AddBuffer(buffer.GetBuffer(), 6, 1));
    EXPECT_EQ((State{buffer.GetBuffer(), 12, 12}), StateOf(buffer));
    EXPECT_EQ("abcdefabcdef", InUse(buffer));
    EXPECT_EQ(1, buffer.AddBuffer(buffer.GetBuffer() + 10, 2, 1));
    EXPECT_EQ("abcdefabcdefef", InUse(buffer));
    EXPECT_EQ(1U, ledger.Blocks());
    EXPECT_EQ(14U, ledger.Bytes());
}

TEST(BufferTest, AddBufferFromBytesOfItsBlockThatAreNotInUse) {
    Filled buffer("abcdefgh", 8);
    buffer.SetSize(2);
    const Block block = buffer.GetBuffer();
    EXPECT_EQ(1, buffer.AddBuffer(block + 6, 2, 0));
    EXPECT_EQ("abghefgh", Whole(buffer));
    EXPECT_EQ(4U, buffer.GetSize());

    buffer.SetSize(3);
    EXPECT_EQ(1, buffer.AddBuffer(block + 2, 6, 1));
    EXPECT_EQ((State{buffer.GetBuffer(), 9, 9}), StateOf(buffer));
    EXPECT_EQ("abgghefgh", InUse(buffer));
}

TEST(BufferTest, AddBufferFromBytesThatItWritesOver) {
    {
        Filled buffer("abcdefgh", 8);
        buffer.SetSize(3);
        // "bcdef" on to the place where "defgh" is.
        EXPECT_EQ(1, buffer.AddBuffer(buffer.GetBuffer() + 1, 5, 0));
        EXPECT_EQ("abcbcdef", InUse(buffer));
    }
    {
        Filled buffer("abcdefgh", 8);
        buffer.SetSize(1);
        // "defgh" on to the place where "bcdef" is.
        EXPECT_EQ(1, buffer.AddBuffer(buffer.GetBuffer() + 3, 5, 0));
        EXPECT_EQ((State{buffer.GetBuffer(), 8, 6}), StateOf(buffer));
        EXPECT_EQ("adefghgh", Whole(buffer));
    }
    {
        Filled buffer("abcdefgh", 8);
        buffer.SetSize(2);
        EXPECT_EQ(1, buffer.AddBuffer(buffer.GetBuffer() + 2, 6, 0));
        EXPECT_EQ("abcdefgh", InUse(buffer)) << "each byte on to itself";
    }
}

// Shift

TEST(BufferTest, ShiftDropsBytesFromTheFront) {
    Filled buffer("abcdefgh", 10);
    const Block block = buffer.GetBuffer();
    const AllocationLedger ledger;
    EXPECT_EQ(1, buffer.Shift(3));
    EXPECT_EQ((State{block, 10, 5}), StateOf(buffer));
    EXPECT_EQ("defgh", InUse(buffer));
    EXPECT_EQ("defghfgh..", Whole(buffer)) << "the rest of the block stays";
    EXPECT_EQ(1, buffer.Shift(4));
    EXPECT_EQ((State{block, 10, 1}), StateOf(buffer));
    EXPECT_EQ("h", InUse(buffer));
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(BufferTest, ShiftByZeroChangesNothing) {
    Filled buffer("abc", 8);
    const State before = StateOf(buffer);
    EXPECT_EQ(1, buffer.Shift(0));
    EXPECT_EQ(before, StateOf(buffer));
    EXPECT_EQ("abc.....", Whole(buffer));
}

TEST(BufferTest, ShiftByTheSizeAndMoreLeavesNothing) {
    for (const unsigned long count :
         {3UL, 4UL, 8UL, 9UL, 1000UL, ULONG_MAX - 2, ULONG_MAX}) {
        Filled buffer("abc", 8);
        const Block block = buffer.GetBuffer();
        EXPECT_EQ(1, buffer.Shift(count)) << count;
        EXPECT_EQ((State{block, 8, 0}), StateOf(buffer)) << count;
        EXPECT_EQ("abc.....", Whole(buffer));
    }
}

TEST(BufferTest, ShiftOfAnEmptyBufferDoesNothing) {
    SerialBuffer empty;
    Filled cleared("", 4);
    const State before = StateOf(cleared);
    for (const unsigned long count : {0UL, 1UL, ULONG_MAX}) {
        EXPECT_EQ(1, empty.Shift(count));
        EXPECT_EQ(kEmpty, StateOf(empty));
        EXPECT_EQ(1, cleared.Shift(count));
        EXPECT_EQ(before, StateOf(cleared));
    }
}

// Clear, Delete, Fetch

TEST(BufferTest, ClearKeepsTheBlock) {
    Filled buffer("abc", 8);
    const Block block = buffer.GetBuffer();
    buffer.Clear();
    EXPECT_EQ((State{block, 8, 0}), StateOf(buffer));
    EXPECT_EQ("abc.....", Whole(buffer));
    EXPECT_EQ(1, Add(buffer, "xy", 0));
    EXPECT_EQ("xyc.....", Whole(buffer));

    SerialBuffer empty;
    empty.Clear();
    EXPECT_EQ(kEmpty, StateOf(empty));
}

TEST(BufferTest, DeleteReleasesTheBlock) {
    const AllocationLedger ledger;
    Filled buffer("abc", 8);
    buffer.Delete();
    EXPECT_EQ(0U, ledger.Blocks());
    EXPECT_EQ(kEmpty, StateOf(buffer));
    buffer.Delete();
    EXPECT_EQ(kEmpty, StateOf(buffer));

    EXPECT_EQ(0, Add(buffer, "1", 0)) << "no room is left";
    EXPECT_EQ(1, Add(buffer, "xyz", 1));
    EXPECT_EQ("xyz", InUse(buffer));
    EXPECT_EQ(3U, buffer.GetMaxSize());
}

TEST(BufferTest, FetchHandsTheBlockOver) {
    const AllocationLedger ledger;
    Block fetched = nullptr;
    {
        SerialBuffer buffer(8);
        Add(buffer, "abc");
        const Block block = buffer.GetBuffer();
        fetched = buffer.Fetch();
        EXPECT_EQ(block, fetched);
        EXPECT_EQ(kEmpty, StateOf(buffer));
        EXPECT_EQ(nullptr, buffer.GetBuffer());
        EXPECT_EQ(0U, buffer.GetSize());
        EXPECT_EQ(0U, buffer.GetMaxSize());
        EXPECT_EQ(nullptr, buffer.Fetch());
        EXPECT_EQ(kEmpty, StateOf(buffer));
    }
    EXPECT_EQ(1U, ledger.Blocks()) << "the destructor released nothing";
    EXPECT_EQ(8U, ledger.Bytes()) << "the same block, not a copy";
    EXPECT_EQ("abc", Text(fetched, 3));
    delete[] fetched;
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(BufferTest, ABufferIsOfUseAgainAfterFetch) {
    SerialBuffer buffer(8);
    delete[] buffer.Fetch();
    EXPECT_EQ(0, Add(buffer, "1", 0));
    EXPECT_EQ(1, buffer.SetMaxSize(4, 1));
    EXPECT_EQ(1, Add(buffer, "abcd", 0));
    EXPECT_EQ("abcd", InUse(buffer));
}

TEST(BufferTest, FetchAllocatesNothing) {
    Filled buffer("abc", 8);
    const NovuTest::FailingAllocation failing(1);
    delete[] buffer.Fetch();
    EXPECT_EQ(kEmpty, StateOf(buffer));
}

// SetBuffer

TEST(BufferTest, SetBufferAdoptsTheBlock) {
    const AllocationLedger ledger;
    {
        SerialBuffer buffer;
        const Block block = NewBlock("abcdefgh");
        EXPECT_EQ(1, buffer.SetBuffer(block, 3, 8));
        EXPECT_EQ((State{block, 8, 3}), StateOf(buffer));
        EXPECT_EQ("abcdefgh", Whole(buffer));
        EXPECT_EQ(1U, ledger.Blocks()) << "the same block, not a copy";
        EXPECT_EQ(1, Add(buffer, "xyz", 0));
        EXPECT_EQ("abcxyzgh", Whole(buffer));
        EXPECT_EQ(block, buffer.GetBuffer());
    }
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(BufferTest, SetBufferReleasesTheEarlierBlock) {
    const AllocationLedger ledger;
    SerialBuffer buffer(100);
    const Block first = NewBlock("abc");
    const Block second = NewBlock("12345");
    EXPECT_EQ(1, buffer.SetBuffer(first, 3, 3));
    EXPECT_EQ(2U, ledger.Blocks());
    EXPECT_EQ(8U, ledger.Bytes());
    EXPECT_EQ(1, buffer.SetBuffer(second, 5, 5));
    EXPECT_EQ(1U, ledger.Blocks());
    EXPECT_EQ(5U, ledger.Bytes());
    EXPECT_EQ("12345", InUse(buffer));
    buffer.Delete();
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(BufferTest, AnAdoptedBlockIsReleasedByWhateverReplacesIt) {
    const AllocationLedger ledger;
    SerialBuffer buffer;
    EXPECT_EQ(1, buffer.SetBuffer(NewBlock("abc"), 3, 3));
    EXPECT_EQ(1, buffer.SetMaxSize(10, 1));
    EXPECT_EQ(10U, ledger.Bytes());
    EXPECT_EQ("abc", InUse(buffer));

    EXPECT_EQ(1, buffer.SetBuffer(NewBlock("12"), 2, 2));
    EXPECT_EQ(1, Add(buffer, "34"));
    EXPECT_EQ(4U, ledger.Bytes());
    EXPECT_EQ("1234", InUse(buffer));

    EXPECT_EQ(1, buffer.SetBuffer(NewBlock("xyz"), 0, 3));
    EXPECT_EQ(3U, ledger.Bytes());
    EXPECT_EQ("", InUse(buffer));
}

TEST(BufferTest, SetBufferOfNullLeavesNoBlock) {
    const AllocationLedger ledger;
    Filled buffer("abc", 8);
    EXPECT_EQ(1, buffer.SetBuffer(nullptr, 0, 0));
    EXPECT_EQ(kEmpty, StateOf(buffer));
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(BufferTest, SetBufferAllocatesNothing) {
    SerialBuffer buffer;
    const Block block = NewBlock("abc");
    const NovuTest::FailingAllocation failing(1);
    EXPECT_EQ(1, buffer.SetBuffer(block, 3, 3));
    EXPECT_EQ((State{block, 3, 3}), StateOf(buffer));
}

TEST(BufferTest, ABlockGoesFromBufferToBuffer) {
    const AllocationLedger ledger;
    SerialBuffer from;
    Add(from, "abc");
    const Block block = from.GetBuffer();
    SerialBuffer to(5);
    EXPECT_EQ(1, to.SetBuffer(from.Fetch(), 3, 3));
    EXPECT_EQ(kEmpty, StateOf(from));
    EXPECT_EQ((State{block, 3, 3}), StateOf(to));
    EXPECT_EQ(1U, ledger.Blocks());
}

TEST(BufferTest, SetBufferOfItsOwnBlockTakesTheSizes) {
    const AllocationLedger ledger;
    {
        Filled buffer("abc", 8);
        const Block block = buffer.GetBuffer();
        EXPECT_EQ(1, buffer.SetBuffer(block, 5, 6));
        EXPECT_EQ((State{block, 6, 5}), StateOf(buffer));
        EXPECT_EQ("abc...", Whole(buffer)) << "nothing was released";
        EXPECT_EQ(1U, ledger.Blocks());
        EXPECT_EQ(1, buffer.SetBuffer(block, 8, 4)) << "by design, as ever";
        EXPECT_EQ((State{block, 4, 8}), StateOf(buffer));
        EXPECT_EQ(0, buffer.SetBuffer(block, 1, 8));
        EXPECT_EQ((State{block, 4, 8}), StateOf(buffer));
    }
    EXPECT_EQ(0U, ledger.Blocks());
}

// More bytes in use than capacity

// A buffer that owns twenty bytes and was told of ten.
struct Overfull : SerialBuffer {
    Overfull() {
        EXPECT_EQ(1, SetBuffer(NewBlock("abcdefghij0123456789"), 20, 10));
    }
};

const char* const kTwenty = "abcdefghij0123456789";

// [buffer-4]
TEST(BufferTest, SetBufferTakesASizeAboveTheCapacity) {
    const AllocationLedger ledger;
    {
        Overfull buffer;
        EXPECT_EQ(20U, buffer.GetSize());
        EXPECT_EQ(10U, buffer.GetMaxSize());
        EXPECT_EQ(kTwenty, InUse(buffer));
    }
    EXPECT_EQ(0U, ledger.Blocks());
}

// [buffer-4]
TEST(BufferTest, SetBufferIsRefusedWhileTheSizeIsAboveTheCapacity) {
    const AllocationLedger ledger;
    Overfull buffer;
    const State before = StateOf(buffer);
    const Block other = NewBlock("xyz");
    EXPECT_EQ(0, buffer.SetBuffer(other, 3, 3));
    EXPECT_EQ(0, buffer.SetBuffer(other, 0, 0));
    EXPECT_EQ(0, buffer.SetBuffer(nullptr, 0, 0));
    EXPECT_EQ(0, buffer.SetBuffer(buffer.GetBuffer(), 20, 20));
    EXPECT_EQ(before, StateOf(buffer));
    EXPECT_EQ(kTwenty, InUse(buffer));
    EXPECT_EQ(2U, ledger.Blocks()) << "the other is still the caller's";
    EXPECT_EQ("xyz", Text(other, 3));
    delete[] other;
}

// [buffer-4]
TEST(BufferTest, SetBufferLooksAtTheStateAndNotAtTheArguments) {
    SerialBuffer full(3);
    full.SetSize(3);
    EXPECT_EQ(1, full.SetBuffer(NewBlock("abc"), 3, 2)) << "3 of 3 in use";
    EXPECT_EQ(0, full.SetBuffer(nullptr, 0, 0)) << "3 of 2 in use";

    SerialBuffer lying;
    EXPECT_EQ(1, lying.SetBuffer(nullptr, ULONG_MAX, ULONG_MAX));
    EXPECT_EQ((State{nullptr, ULONG_MAX, ULONG_MAX}), StateOf(lying));
    EXPECT_EQ(1, lying.SetBuffer(nullptr, ULONG_MAX, ULONG_MAX - 1));
    EXPECT_EQ((State{nullptr, ULONG_MAX - 1, ULONG_MAX}), StateOf(lying));
    EXPECT_EQ(0, lying.SetBuffer(nullptr, 0, 0));
    lying.Delete();
    EXPECT_EQ(kEmpty, StateOf(lying));
}

TEST(BufferTest, SetBufferWorksAgainOnceTheSizeIsMended) {
    const struct {
        int line;
        void (*mend)(SerialBuffer&);
        int result;
    } rows[] = {
        {__LINE__, [](SerialBuffer& buffer) { buffer.Clear(); }, 1},
        {__LINE__, [](SerialBuffer& buffer) { buffer.Delete(); }, 1},
        {__LINE__, [](SerialBuffer& buffer) { delete[] buffer.Fetch(); }, 1},
        {__LINE__, [](SerialBuffer& buffer) { buffer.SetSize(0); }, 1},
        {__LINE__, [](SerialBuffer& buffer) { buffer.SetSize(20); }, 1},
        {__LINE__, [](SerialBuffer& buffer) { buffer.Shift(20); }, 1},
        {__LINE__, [](SerialBuffer& buffer) { buffer.Shift(10); }, 1},
        {__LINE__, [](SerialBuffer& buffer) { buffer.Shift(9); }, 0},
        {__LINE__, [](SerialBuffer& buffer) { buffer.Shift(0); }, 0},
        {__LINE__, [](SerialBuffer& buffer) { buffer.SetMaxSize(20, 1); }, 1},
        {__LINE__, [](SerialBuffer& buffer) { buffer.SetMaxSize(19, 1); }, 0},
        {__LINE__, [](SerialBuffer& buffer) { buffer.SetMaxSize(10, 1); }, 0},
        {__LINE__, [](SerialBuffer& buffer) { Add(buffer, "x", 1); }, 1},
        {__LINE__, [](SerialBuffer& buffer) { Add(buffer, "x", 0); }, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const AllocationLedger ledger;
        Overfull buffer;
        row.mend(buffer);
        const State before = StateOf(buffer);
        const Block other = NewBlock("xyz");
        EXPECT_EQ(row.result, buffer.SetBuffer(other, 2, 3));
        if (row.result == 1) {
            EXPECT_EQ((State{other, 3, 2}), StateOf(buffer));
            EXPECT_EQ(1U, ledger.Blocks());
        } else {
            EXPECT_EQ(before, StateOf(buffer));
            EXPECT_EQ(2U, ledger.Blocks());
            delete[] other;
        }
    }
}

TEST(BufferTest, AnOverfullBufferKeepsAllItsBytesWhenItGrows) {
    std::string text = kTwenty;
    for (const unsigned long size : {11UL, 15UL, 19UL, 20UL, 21UL, 30UL}) {
        SCOPED_TRACE(size);
        const AllocationLedger ledger;
        Overfull buffer;
        const Block earlier = buffer.GetBuffer();
        std::copy(text.begin(), text.end(), earlier);
        EXPECT_EQ(1, buffer.SetMaxSize(size, 1));
        EXPECT_NE(earlier, buffer.GetBuffer());
        EXPECT_EQ((State{buffer.GetBuffer(), size, 20}), StateOf(buffer));
        EXPECT_EQ(text, InUse(buffer));
        EXPECT_EQ(1U, ledger.Blocks());
        EXPECT_LE(std::max(20UL, size), ledger.Bytes());
        for (char& letter : text) {
            ++letter;
        }
    }
}

TEST(BufferTest, AnOverfullBufferCanBeRefilledAfterGrowth) {
    for (const unsigned long size : {15UL, 20UL, 30UL}) {
        SCOPED_TRACE(size);
        const AllocationLedger ledger;
        Overfull buffer;
        EXPECT_EQ(1, buffer.SetMaxSize(size, 0));
        EXPECT_EQ((State{buffer.GetBuffer(), size, 20}), StateOf(buffer));
        EXPECT_LE(std::max(20UL, size), ledger.Bytes())
            << "the bytes in use are there to be moved";
        std::copy_n(kTwenty, 20, buffer.GetBuffer());
        EXPECT_EQ(1, buffer.Shift(1));
        EXPECT_EQ("bcdefghij0123456789", InUse(buffer));
    }
}

TEST(BufferTest, AnOverfullBufferStaysAsItIsWithinItsCapacity) {
    Overfull buffer;
    const State before = StateOf(buffer);
    EXPECT_EQ(1, buffer.SetMaxSize(10, 1));
    EXPECT_EQ(1, buffer.SetMaxSize(10, 0));
    EXPECT_EQ(1, buffer.SetMaxSize(0, 0));
    EXPECT_EQ(1, buffer.Shift(0));
    EXPECT_EQ(before, StateOf(buffer));
    EXPECT_EQ(kTwenty, InUse(buffer));
}

TEST(BufferTest, AnOverfullBufferShifts) {
    Overfull buffer;
    const Block block = buffer.GetBuffer();
    EXPECT_EQ(1, buffer.Shift(4));
    EXPECT_EQ((State{block, 10, 16}), StateOf(buffer));
    EXPECT_EQ("efghij0123456789", InUse(buffer));
    EXPECT_EQ(1, buffer.Shift(10));
    EXPECT_EQ((State{block, 10, 6}), StateOf(buffer));
    EXPECT_EQ("456789", InUse(buffer));

    Overfull all;
    EXPECT_EQ(1, all.Shift(20));
    EXPECT_EQ((State{all.GetBuffer(), 10, 0}), StateOf(all));
}

TEST(BufferTest, AnOverfullBufferIsClampedBySetSize) {
    Overfull buffer;
    const Block block = buffer.GetBuffer();
    EXPECT_EQ(10U, buffer.SetSize(20));
    EXPECT_EQ((State{block, 10, 10}), StateOf(buffer));
    EXPECT_EQ("abcdefghij", InUse(buffer));
}

TEST(BufferTest, AnOverfullBufferAppends) {
    const AllocationLedger ledger;
    Overfull buffer;
    const State before = StateOf(buffer);
    EXPECT_EQ(0, Add(buffer, "xyz", 0));
    unsigned char byte = 'x';
    EXPECT_EQ(0, buffer.AddBuffer(&byte, 0, 0)) << "20 are in use, of 10";
    EXPECT_EQ(0, buffer.AddBuffer(nullptr, 0, 0));
    EXPECT_EQ(before, StateOf(buffer));
    EXPECT_EQ(kTwenty, InUse(buffer));

    EXPECT_EQ(1, Add(buffer, "xyz", 1));
    EXPECT_EQ((State{buffer.GetBuffer(), 23, 23}), StateOf(buffer));
    EXPECT_EQ("abcdefghij0123456789xyz", InUse(buffer));
    EXPECT_EQ(23U, ledger.Bytes());
}

TEST(BufferTest, AnOverfullBufferReserves) {
    Overfull buffer;
    EXPECT_EQ(1, buffer.AddBuffer(nullptr, 0, 1));
    EXPECT_EQ((State{buffer.GetBuffer(), 20, 20}), StateOf(buffer));
    EXPECT_EQ(kTwenty, InUse(buffer));

    Overfull other;
    EXPECT_EQ(1, other.AddBuffer(nullptr, 5, 1));
    EXPECT_EQ((State{other.GetBuffer(), 25, 20}), StateOf(other));
    EXPECT_EQ(kTwenty, InUse(other));
}

TEST(BufferTest, AnOverfullBufferAppendsFromItsOwnBlock) {
    Overfull buffer;
    EXPECT_EQ(0, buffer.AddBuffer(buffer.GetBuffer(), 3, 0));
    EXPECT_EQ(1, buffer.AddBuffer(buffer.GetBuffer() + 17, 3, 1));
    EXPECT_EQ((State{buffer.GetBuffer(), 23, 23}), StateOf(buffer));
    EXPECT_EQ("abcdefghij0123456789789", InUse(buffer));
}

TEST(BufferTest, AnOverfullBufferIsUnchangedWhereThereIsNoMemory) {
    Overfull buffer;
    const State before = StateOf(buffer);
    {
        const NovuTest::NullAllocation null;
        EXPECT_EQ(0, buffer.SetMaxSize(15, 1));
        EXPECT_EQ(0, buffer.SetMaxSize(30, 0));
        EXPECT_EQ(0, buffer.AddBuffer(buffer.GetBuffer(), 1, 1));
    }
    EXPECT_THROW(buffer.SetMaxSize(ULONG_MAX, 1), std::bad_alloc);
    EXPECT_EQ(before, StateOf(buffer));
    EXPECT_EQ(kTwenty, InUse(buffer));
}

TEST(BufferTest, AnOverfullBufferHandsItsBlockOver) {
    Overfull buffer;
    const Block block = buffer.GetBuffer();
    EXPECT_EQ(block, buffer.Fetch());
    EXPECT_EQ(kEmpty, StateOf(buffer));
    EXPECT_EQ(kTwenty, Text(block, 20));
    delete[] block;
}

// Sizes without a block

// A buffer without a block that was told of five bytes in use and room for ten.
struct Blockless : SerialBuffer {
    Blockless() { EXPECT_EQ(1, SetBuffer(nullptr, 5, 10)); }
};

const State kBlockless = {nullptr, 10, 5};

TEST(BufferTest, SetBufferTakesSizesWithoutABlock) {
    Blockless buffer;
    EXPECT_EQ(kBlockless, StateOf(buffer));
    EXPECT_EQ(nullptr, buffer.GetBuffer());
    EXPECT_EQ(5U, buffer.GetSize());
    EXPECT_EQ(10U, buffer.GetMaxSize());
}

TEST(BufferTest, WithoutABlockNothingIsShifted) {
    Blockless buffer;
    for (const unsigned long count : {0UL, 1UL, 5UL, 6UL, ULONG_MAX}) {
        EXPECT_EQ(1, buffer.Shift(count));
        EXPECT_EQ(kBlockless, StateOf(buffer));
    }
}

TEST(BufferTest, WithoutABlockSizesAreSet) {
    Blockless buffer;
    EXPECT_EQ(8U, buffer.SetSize(8));
    EXPECT_EQ((State{nullptr, 10, 8}), StateOf(buffer));
    EXPECT_EQ(10U, buffer.SetSize(11));
    buffer.Clear();
    EXPECT_EQ((State{nullptr, 10, 0}), StateOf(buffer));
}

TEST(BufferTest, WithoutABlockNothingIsAppendedInPlace) {
    Blockless buffer;
    const AllocationLedger ledger;
    for (const int grow : {0, 1}) {
        EXPECT_EQ(0, Add(buffer, "abc", grow));
        EXPECT_EQ(0, Add(buffer, "abcde", grow));
        EXPECT_EQ(kBlockless, StateOf(buffer));
        EXPECT_EQ(1, buffer.AddBuffer(nullptr, 5, grow));
        EXPECT_EQ(1, buffer.AddBuffer(nullptr, 0, grow));
        EXPECT_EQ(kBlockless, StateOf(buffer));
    }
    EXPECT_EQ(0, Add(buffer, "abcdef", 0));
    EXPECT_EQ(0, buffer.AddBuffer(nullptr, 6, 0));
    EXPECT_EQ(kBlockless, StateOf(buffer));
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(BufferTest, WithoutABlockGrowthMakesOne) {
    const AllocationLedger ledger;
    for (const int keep : {0, 1}) {
        Blockless buffer;
        EXPECT_EQ(1, buffer.SetMaxSize(10, keep));
        EXPECT_EQ(kBlockless, StateOf(buffer));
        EXPECT_EQ(1, buffer.SetMaxSize(11, keep));
        EXPECT_NE(nullptr, buffer.GetBuffer());
        EXPECT_EQ((State{buffer.GetBuffer(), 11, 5}), StateOf(buffer));
        EXPECT_EQ(11U, ledger.Bytes());
    }
    {
        Blockless buffer;
        EXPECT_EQ(1, Add(buffer, "abcdef", 1));
        ASSERT_NE(nullptr, buffer.GetBuffer());
        EXPECT_EQ((State{buffer.GetBuffer(), 11, 11}), StateOf(buffer));
        EXPECT_EQ("abcdef", Text(buffer.GetBuffer() + 5, 6));
        EXPECT_EQ(11U, ledger.Bytes());
    }
    {
        Blockless buffer;
        EXPECT_EQ(1, buffer.AddBuffer(nullptr, 6, 1));
        EXPECT_NE(nullptr, buffer.GetBuffer());
        EXPECT_EQ((State{buffer.GetBuffer(), 11, 5}), StateOf(buffer));
        EXPECT_EQ(11U, ledger.Bytes());
    }
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(BufferTest, WithoutABlockThereIsNothingToReleaseOrFetch) {
    Blockless fetched;
    EXPECT_EQ(nullptr, fetched.Fetch());
    EXPECT_EQ(kEmpty, StateOf(fetched));

    Blockless deleted;
    deleted.Delete();
    EXPECT_EQ(kEmpty, StateOf(deleted));

    Blockless replaced;
    const Block block = NewBlock("abc");
    EXPECT_EQ(1, replaced.SetBuffer(block, 1, 3));
    EXPECT_EQ((State{block, 3, 1}), StateOf(replaced));

    SerialBuffer overfull;
    EXPECT_EQ(1, overfull.SetBuffer(nullptr, 10, 5));
    EXPECT_EQ(1, overfull.Shift(10));
    EXPECT_EQ((State{nullptr, 5, 10}), StateOf(overfull));
    EXPECT_EQ(0, overfull.SetBuffer(nullptr, 0, 0));
    EXPECT_EQ(1, overfull.SetMaxSize(7, 1));
    EXPECT_NE(nullptr, overfull.GetBuffer());
    EXPECT_EQ(10U, overfull.GetSize());
    EXPECT_EQ(7U, overfull.GetMaxSize());
}

// Sizes that no memory has

TEST(BufferTest, AConstructorWithAnAbsurdSizeThrows) {
    const AllocationLedger ledger;
    EXPECT_THROW(SerialBuffer{ULONG_MAX}, std::bad_alloc);
    EXPECT_THROW(SerialBuffer{ULONG_MAX / 2 + 1}, std::bad_alloc);
    EXPECT_THROW(SerialBuffer{LONG_MAX}, std::bad_alloc);
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(BufferTest, SetMaxSizeOfAnAbsurdSizeThrowsAndChangesNothing) {
    const AllocationLedger ledger;
    Filled buffer("abc", 8);
    SerialBuffer empty;
    const State before = StateOf(buffer);
    for (const unsigned long size :
         {ULONG_MAX, ULONG_MAX - 1, ULONG_MAX / 2 + 1, ULONG_MAX / 2}) {
        for (const int keep : {0, 1}) {
            EXPECT_THROW(buffer.SetMaxSize(size, keep), std::bad_alloc);
            EXPECT_THROW(empty.SetMaxSize(size, keep), std::bad_alloc);
        }
    }
    EXPECT_EQ(before, StateOf(buffer));
    EXPECT_EQ("abc.....", Whole(buffer));
    EXPECT_EQ(kEmpty, StateOf(empty));
    EXPECT_EQ(1U, ledger.Blocks());
}

TEST(BufferTest, AddBufferOfAnAbsurdLengthThrowsAndChangesNothing) {
    const AllocationLedger ledger;
    Filled buffer("abc", 8);
    SerialBuffer empty;
    const State before = StateOf(buffer);
    unsigned char byte = 'x';
    for (const Block data : {&byte, static_cast<Block>(nullptr)}) {
        // The sum of the sizes is just not too large for its type.
        EXPECT_THROW(buffer.AddBuffer(data, ULONG_MAX - 3, 1), std::bad_alloc);
        EXPECT_EQ(0, buffer.AddBuffer(data, ULONG_MAX - 3, 0));
        EXPECT_THROW(buffer.AddBuffer(data, LONG_MAX, 1), std::bad_alloc);
        EXPECT_EQ(0, buffer.AddBuffer(data, LONG_MAX, 0));
        EXPECT_THROW(empty.AddBuffer(data, ULONG_MAX, 1), std::bad_alloc);
        EXPECT_EQ(0, empty.AddBuffer(data, ULONG_MAX, 0));
    }
    EXPECT_EQ(before, StateOf(buffer));
    EXPECT_EQ("abc.....", Whole(buffer));
    EXPECT_EQ(kEmpty, StateOf(empty));
    EXPECT_EQ(1U, ledger.Blocks());
}

TEST(BufferTest, AddBufferRefusesDataWhoseSumOfSizesWraps) {
    const AllocationLedger ledger;
    Filled buffer("abc", 8);
    const State before = StateOf(buffer);
    unsigned char byte = 'x';
    for (const unsigned long length :
         {ULONG_MAX, ULONG_MAX - 1, ULONG_MAX - 2}) {
        for (const int grow : {0, 1}) {
            EXPECT_EQ(0, buffer.AddBuffer(&byte, length, grow));
            EXPECT_EQ(before, StateOf(buffer));
            EXPECT_EQ(0, buffer.AddBuffer(buffer.GetBuffer(), length, grow));
            EXPECT_EQ(before, StateOf(buffer));
        }
    }
    EXPECT_EQ("abc.....", Whole(buffer));
    EXPECT_EQ(1U, ledger.Blocks());

    Overfull overfull;
    const State overfullBefore = StateOf(overfull);
    for (const int grow : {0, 1}) {
        EXPECT_EQ(0, overfull.AddBuffer(&byte, ULONG_MAX, grow));
        EXPECT_EQ(0, overfull.AddBuffer(&byte, ULONG_MAX - 19, grow));
    }
    EXPECT_EQ(overfullBefore, StateOf(overfull));
    EXPECT_EQ(kTwenty, InUse(overfull));
}

// [buffer-5]
TEST(BufferTest, AddingNullGoesByTheSumThatWraps) {
    const AllocationLedger ledger;
    Filled buffer("abc", 8);
    const State before = StateOf(buffer);
    for (const unsigned long length :
         {ULONG_MAX, ULONG_MAX - 1, ULONG_MAX - 2}) {
        for (const int grow : {0, 1}) {
            EXPECT_EQ(1, buffer.AddBuffer(nullptr, length, grow));
            EXPECT_EQ(before, StateOf(buffer));
        }
    }
    EXPECT_EQ("abc.....", Whole(buffer));
    EXPECT_EQ(1U, ledger.Blocks());

    // 20 in use and 2^64 - 1 more make 19, above the capacity of 10.
    Overfull overfull;
    const State overfullBefore = StateOf(overfull);
    EXPECT_EQ(0, overfull.AddBuffer(nullptr, ULONG_MAX, 0));
    EXPECT_EQ(overfullBefore, StateOf(overfull));
    EXPECT_EQ(1, overfull.AddBuffer(nullptr, ULONG_MAX, 1));
    EXPECT_EQ((State{overfull.GetBuffer(), 19, 20}), StateOf(overfull));
    EXPECT_EQ(kTwenty, InUse(overfull));
}

// Allocations that fail

TEST(BufferTest, AConstructorWithoutMemoryLeavesNothing) {
    const AllocationLedger ledger;
    EXPECT_EQ(1U, NovuTest::FailEachAllocation(
                      [] { const SerialBuffer buffer(10); },
                      [&] { EXPECT_EQ(0U, ledger.Blocks()); }));
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(BufferTest, AnAllocationThatFailsPassesThroughAndChangesNothing) {
    std::array<unsigned char, 6> data = {'1', '2', '3', '4', '5', '6'};
    const struct {
        int line;
        int (*operate)(SerialBuffer& buffer, Block data);
        const char* result;  // The first bytes in use; of ten in all.
        unsigned long size;
    } rows[] = {
        {__LINE__,
         [](SerialBuffer& buffer, Block) { return buffer.SetMaxSize(10, 1); },
         "abcd", 4},
        {__LINE__,
         [](SerialBuffer& buffer, Block) { return buffer.SetMaxSize(10, 0); },
         "", 4},
        {__LINE__,
         [](SerialBuffer& buffer, Block from) {
             return buffer.AddBuffer(from, 6, 1);
         },
         "abcd123456", 10},
        {__LINE__,
         [](SerialBuffer& buffer, Block) {
             return buffer.AddBuffer(nullptr, 6, 1);
         },
         "abcd", 4},
        {__LINE__,
         [](SerialBuffer& buffer, Block) {
             return buffer.AddBuffer(buffer.GetBuffer() + 2, 6, 1);
         },
         "abcdcd....", 10},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const AllocationLedger ledger;
        Filled buffer("abcd", 8);
        const State before = StateOf(buffer);
        int result = -1;
        EXPECT_EQ(1U, NovuTest::FailEachAllocation(
                          [&] { result = row.operate(buffer, data.data()); },
                          [&] {
                              EXPECT_EQ(before, StateOf(buffer));
                              EXPECT_EQ("abcd....", Whole(buffer));
                              EXPECT_EQ(1U, ledger.Blocks());
                              EXPECT_EQ(8U, ledger.Bytes());
                          }));
        EXPECT_EQ(1, result);
        EXPECT_EQ((State{buffer.GetBuffer(), 10, row.size}), StateOf(buffer));
        EXPECT_EQ(row.result,
                  Text(buffer.GetBuffer(), std::strlen(row.result)));
        EXPECT_EQ(1U, ledger.Blocks());
        EXPECT_EQ(10U, ledger.Bytes());
    }
}

TEST(BufferTest, WithoutGrowthNothingIsAllocated) {
    Filled buffer("abcd", 8);
    std::array<unsigned char, 2> data = {'1', '2'};
    const NovuTest::FailingAllocation failing(1);
    EXPECT_EQ(1, buffer.AddBuffer(data.data(), 2, 1));
    EXPECT_EQ(1, buffer.AddBuffer(buffer.GetBuffer() + 3, 2, 1));
    EXPECT_EQ(1, buffer.SetMaxSize(8, 1));
    EXPECT_EQ(1, buffer.Shift(1));
    EXPECT_EQ(7U, buffer.SetSize(7));
    EXPECT_EQ(0, buffer.AddBuffer(data.data(), 2, 0));
    buffer.Clear();
    EXPECT_EQ(0, std::memcmp(buffer.GetBuffer(), "bcd12d1.", 7));
    buffer.Delete();
}

// Random steps, beside a model

const int kThrows = 2;  // Beside the results 0 and 1.

enum class Memory { kPlenty, kNone, kNull };

// More than any block that is made, less than any size that is absurd.
const unsigned long kMost = 8192;

// Never allocates again, so that a ledger sees nothing of it.
std::string Reserved() {
    std::string text;
    text.reserve(kMost);
    return text;
}

// What a buffer is to be, by its rules word for word.
struct Model {
    bool hasBlock = false;
    bool moved = false;              // To a block of its own making.
    std::string bytes = Reserved();  // All that the block has.
    unsigned long unknownFrom = 0;   // Of a new block: what nobody wrote.
    unsigned long unknownTo = 0;
    unsigned long maxSize = 0;
    unsigned long size = 0;
    Memory memory = Memory::kPlenty;

    int SetMaxSize(unsigned long newMaxSize, bool keep) {
        if (maxSize >= newMaxSize) {
            return 1;
        }
        if (newMaxSize > kMost || memory == Memory::kNone) {
            return kThrows;
        }
        if (memory == Memory::kNull) {
            return 0;
        }
        unknownFrom = keep && hasBlock ? size : 0;
        unknownTo = std::max(newMaxSize, size);
        bytes.resize(unknownTo);
        hasBlock = true;
        moved = true;
        maxSize = newMaxSize;
        return 1;
    }

    // `text` is null for a null pointer; it is read only where it is appended.
    int AddBuffer(const std::string* text, unsigned long length, bool grow) {
        const unsigned long needed = size + length;
        const bool appends = text != nullptr && length != 0;
        if (appends && (needed < size || (needed <= maxSize && !hasBlock))) {
            return 0;
        }
        if (needed > maxSize) {
            if (!grow) {
                return 0;
            }
            const int result = SetMaxSize(needed, true);
            if (result != 1) {
                return result;
            }
        }
        if (appends) {
            bytes.replace(size, length, *text);
            unknownTo = std::min(unknownTo, size);
            size = needed;
        }
        return 1;
    }

    void Shift(unsigned long count) {
        if (!hasBlock || count == 0) {
            return;
        }
        if (count >= size) {
            size = 0;
            return;
        }
        size -= count;
        for (unsigned long place = 0; place < size; ++place) {
            bytes[place] = bytes[place + count];
        }
    }

    void Empty() {
        hasBlock = false;
        bytes.clear();
        maxSize = 0;
        size = 0;
    }
};

class Walk {
public:
    explicit Walk(std::mt19937_64::result_type seed) : random(seed) {}

    // One random operation on both sides. Answers its name.
    const char* Step() {
        model.moved = false;
        model.unknownFrom = 0;
        model.unknownTo = 0;
        model.memory = Memory::kPlenty;
        expected = 1;
        answered = 1;
        return Operate();
    }

    // What is different after it; null when nothing is.
    const char* Difference() {
        if (answered != expected) {
            return "the result";
        }
        const State state = StateOf(*buffer);
        if (state != State{buffer->GetBuffer(), buffer->GetMaxSize(),
                           buffer->GetSize()}) {
            return "what the getters answer";
        }
        if (state.maxSize != model.maxSize || state.size != model.size) {
            return "a size";
        }
        if ((state.block != nullptr) != model.hasBlock ||
            (state.block == block) == model.moved) {
            return "the block";
        }
        block = buffer->GetBuffer();
        // With more bytes in use than capacity, no size is stated for a block.
        if (ledger.Blocks() != (model.hasBlock ? 1U : 0U) ||
            ledger.Bytes() < model.bytes.size() ||
            (ledger.Bytes() > model.bytes.size() && model.moved &&
             model.size <= model.maxSize)) {
            return "what is allocated";
        }
        Fill(model.unknownFrom, model.unknownTo);
        if (model.hasBlock &&
            std::memcmp(block, model.bytes.data(), model.bytes.size()) != 0) {
            return "a byte of the block";
        }
        return nullptr;
    }

private:
    unsigned long Upto(unsigned long most) { return random() % (most + 1); }

    bool OneIn(unsigned long count) { return random() % count == 0; }

    // Around the ends of the type's two halves, and so absurd as a size.
    unsigned long Absurd() {
        return (OneIn(2) ? ULONG_MAX : ULONG_MAX / 2 + 350) - Upto(700);
    }

    void ChooseMemory() {
        if (OneIn(8)) {
            model.memory = OneIn(2) ? Memory::kNone : Memory::kNull;
        }
    }

    // Writes the same into both blocks.
    void Fill(unsigned long from, unsigned long to) {
        for (unsigned long place = from; place < to; ++place) {
            model.bytes[place] = static_cast<char>(random());
            block[place] = static_cast<unsigned char>(model.bytes[place]);
        }
    }

    template <typename Operation>
    void Answer(Operation operation) {
        std::optional<NovuTest::FailingAllocation> failing;
        std::optional<NovuTest::NullAllocation> null;
        if (model.memory == Memory::kNone) {
            failing.emplace(1);
        } else if (model.memory == Memory::kNull) {
            null.emplace();
        }
        try {
            answered = operation();
        } catch (const std::bad_alloc&) {
            answered = kThrows;
        }
    }

    const char* Operate() {
        if (model.bytes.size() > 600) {
            return Delete();
        }
        switch (random() % 24) {
            case 0:
            case 1:
            case 2:
            case 3:
            case 4:
                return AddBuffer();
            case 5:
            case 6:
            case 7:
                return AddBufferFromItself();
            case 8:
            case 9:
                return AddBufferOfNull();
            case 10:
                return OneIn(3) ? AddBufferOfAbsurdLength() : AddBuffer();
            case 11:
            case 12:
            case 13:
                return SetMaxSize();
            case 14:
            case 15:
                return SetSize();
            case 16:
            case 17:
            case 18:
                return Shift();
            case 19:
                return Clear();
            case 20:
                return OneIn(2) ? Delete() : Fetch();
            case 21:
                return SetBuffer();
            case 22:
                return SetBufferOfItself();
            default:
                return Renew();
        }
    }

    const char* AddBuffer() {
        data.resize(Upto(OneIn(4) ? 60 : 8));
        for (char& byte : data) {
            byte = static_cast<char>(random());
        }
        const bool grow = !OneIn(3);
        ChooseMemory();
        expected = model.AddBuffer(&data, data.size(), grow);
        Answer([&] {
            return buffer->AddBuffer(reinterpret_cast<Block>(data.data()),
                                     data.size(), grow ? 1 : 0);
        });
        return "AddBuffer";
    }

    const char* AddBufferFromItself() {
        const unsigned long from = Upto(model.bytes.size());
        const unsigned long length =
            std::min(Upto(40), model.bytes.size() - from);
        data.assign(model.bytes, from, length);
        const bool grow = !OneIn(3);
        ChooseMemory();
        expected =
            model.AddBuffer(model.hasBlock ? &data : nullptr, length, grow);
        Answer([&] {
            return buffer->AddBuffer(block != nullptr ? block + from : nullptr,
                                     length, grow ? 1 : 0);
        });
        return "AddBuffer from its own block";
    }

    const char* AddBufferOfNull() {
        const unsigned long length = Upto(40);
        const bool grow = OneIn(2);
        ChooseMemory();
        expected = model.AddBuffer(nullptr, length, grow);
        Answer(
            [&] { return buffer->AddBuffer(nullptr, length, grow ? 1 : 0); });
        return "AddBuffer of null";
    }

    const char* AddBufferOfAbsurdLength() {
        const unsigned long length = Absurd();
        const bool grow = OneIn(2);
        const bool null = OneIn(2);
        expected = model.AddBuffer(null ? nullptr : &data, length, grow);
        unsigned char byte = 'x';
        Answer([&] {
            return buffer->AddBuffer(null ? nullptr : &byte, length,
                                     grow ? 1 : 0);
        });
        return "AddBuffer of an absurd length";
    }

    const char* SetMaxSize() {
        const bool absurd = OneIn(50);
        const unsigned long size = absurd ? Absurd() : Upto(model.maxSize + 20);
        const bool keep = OneIn(2);
        if (!absurd) {
            ChooseMemory();
        }
        expected = model.SetMaxSize(size, keep);
        Answer([&] { return buffer->SetMaxSize(size, keep ? 1 : 0); });
        return "SetMaxSize";
    }

    const char* SetSize() {
        const unsigned long size =
            OneIn(20) ? random() : Upto(model.maxSize + 5);
        model.size = std::min(size, model.maxSize);
        answered = buffer->SetSize(size) == model.size ? 1 : 0;
        return "SetSize";
    }

    const char* Shift() {
        const unsigned long count =
            OneIn(20) ? random() : Upto(OneIn(3) ? model.size + 1 : 10);
        model.Shift(count);
        answered = buffer->Shift(count);
        return "Shift";
    }

    const char* Clear() {
        model.size = 0;
        buffer->Clear();
        return "Clear";
    }

    const char* Delete() {
        model.Empty();
        buffer->Delete();
        block = nullptr;
        return "Delete";
    }

    const char* Fetch() {
        model.Empty();
        const Block fetched = buffer->Fetch();
        answered = fetched == block ? 1 : 0;
        delete[] fetched;
        block = nullptr;
        return "Fetch";
    }

    const char* SetBuffer() {
        const unsigned long size = Upto(40);
        const unsigned long maxSize = OneIn(3) ? Upto(40) : size + Upto(20);
        const bool null = OneIn(6);
        const unsigned long count = null ? 0 : std::max(size, maxSize);
        const Block other = null ? nullptr : new unsigned char[count];
        if (model.size > model.maxSize) {
            expected = 0;
            answered = buffer->SetBuffer(other, size, maxSize);
            delete[] other;
            return "SetBuffer, refused";
        }
        answered = buffer->SetBuffer(other, size, maxSize);
        model.hasBlock = !null;
        model.bytes.resize(count);
        model.unknownTo = count;
        model.maxSize = maxSize;
        model.size = size;
        block = other;
        return "SetBuffer";
    }

    const char* SetBufferOfItself() {
        const unsigned long count = model.bytes.size();
        const unsigned long size = Upto(count);
        const unsigned long maxSize = OneIn(3) ? Upto(count) : count;
        expected = model.size <= model.maxSize ? 1 : 0;
        answered = buffer->SetBuffer(block, size, maxSize);
        if (expected == 1) {
            model.maxSize = maxSize;
            model.size = size;
        }
        return "SetBuffer of its own block";
    }

    const char* Renew() {
        const unsigned long size = Upto(30);
        buffer.reset();
        answered = ledger.Blocks() == 0 ? 1 : 0;
        block = nullptr;
        model.Empty();
        expected = model.SetMaxSize(size, true);
        buffer.emplace(size);
        return "the destructor and a constructor";
    }

    std::mt19937_64 random;
    Model model;
    std::string data = Reserved();
    const AllocationLedger ledger;
    std::optional<SerialBuffer> buffer{std::in_place};
    Block block = nullptr;  // Of the buffer, as last seen.
    int expected = 1;
    int answered = 1;
};

TEST(BufferTest, DoesWhatItsRulesSayInAnyOrder) {
    const std::mt19937_64::result_type seed = 20250307;
    Walk walk(seed);
    for (int step = 0; step < 200000; ++step) {
        const char* const operation = walk.Step();
        const char* const difference = walk.Difference();
        ASSERT_EQ(nullptr, difference)
            << difference << " after " << operation << ", step " << step
            << ", seed " << seed;
    }
}

}  // namespace
