// Bits, from Bases/Bits.h. Portable: the bit order is ours, not the host's.

#include "Bases/Bits.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <climits>
#include <cstring>
#include <functional>
#include <utility>

#include "Bases/Impl/BitsBlocks.h"
#include "Bases/Impl/CpuFeatures.h"
#include "Bases/Impl/NewBytes.h"

namespace Novu {

namespace {

const unsigned long kBitsPerByte = 8;
static_assert(kBitsPerByte == CHAR_BIT);

unsigned int BitMask(unsigned long pos) { return 1U << (pos % kBitsPerByte); }

// Clears the bits from `size` on in the last of `bytes` bytes.
void MaskTail(unsigned char* data, unsigned long bytes, unsigned long size) {
    if (size % kBitsPerByte != 0) {
        data[bytes - 1] =
            static_cast<unsigned char>(data[bytes - 1] & (BitMask(size) - 1));
    }
}

// Combines the bytes that both sides have into `to`, which may be either of
// them. Where they have equally many, the last one is masked for `size` bits.
// Not inline, since both forms of an operator call it.
template <typename Combine>
[[gnu::noinline]] void CombineBytes(const unsigned char* left,
                                    unsigned long leftBytes,
                                    const unsigned char* right,
                                    unsigned long rightBytes, unsigned char* to,
                                    unsigned long size, Combine combine) {
    const unsigned long shared = std::min(leftBytes, rightBytes);
    std::transform(left, left + shared, right, to, combine);
    if (shared != 0 && leftBytes == rightBytes) {
        MaskTail(to, shared, size);
    }
}

// Whether a byte is not 0: the first one, or one that its neighbour differs
// from. Comparing a block with itself, one byte on, is what memcmp does at the
// speed of memory.
bool AnyByte(const unsigned char* data, unsigned long count) {
    return count != 0 &&
           (data[0] != 0 || std::memcmp(data, data + 1, count - 1) != 0);
}

const BitsPath& BestBits() {
    static constinit std::atomic<const BitsPath*> best = nullptr;
    return BestPath(BitsPaths(), best);
}

unsigned long CountOnes(const unsigned char* data, unsigned long size) {
    const unsigned long bytes = size / kBitsPerByte;
    unsigned long ones = BestBits().count(data, bytes);
    if (size % kBitsPerByte != 0) {
        const unsigned int last = data[bytes] & (BitMask(size) - 1);
        ones += static_cast<unsigned long>(std::popcount(last));
    }
    return ones;
}

}  // namespace

// Units

unsigned long Bits::SizeToBytes(unsigned long bits) {
    // Not (bits + 7) / 8, which is 0 for the largest sizes.
    return bits / kBitsPerByte + (bits % kBitsPerByte != 0 ? 1 : 0);
}

unsigned long Bits::PosToBytePos(unsigned long pos) {
    return pos / kBitsPerByte;
}

unsigned long Bits::PosToSize(unsigned long pos) { return pos + 1; }

// Lifetime

Bits::Bits() : data(nullptr), capacity(0), size(0) {}

Bits::Bits(unsigned long newSize) : Bits() { SetSize(newSize); }

Bits::Bits(const Bits& other) : Bits() { Clone(other); }

Bits::~Bits() { Clear(); }

// A set assigned to itself is cloned, too: that makes its capacity right.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment,cert-oop54-cpp)
Bits& Bits::operator=(const Bits& other) {
    Clone(other);
    return *this;
}

void Bits::Clone(const Bits& other) {
    if (SetSize(other.size) == 1) {
        std::memmove(data, other.data, GetBytes());  // `other` may be this.
    }
}

// Size and contents

unsigned long Bits::GetSize() const { return size; }

unsigned long Bits::GetBytes() const { return SizeToBytes(size); }

unsigned char* Bits::GetData() const { return data; }

int Bits::SetSize(unsigned long newSize, int /*ignored*/) {
    if (newSize == 0) {
        return 0;
    }
    const unsigned long need = SizeToBytes(newSize);
    if (SizeToBytes(capacity) < need) {
        unsigned char* const block = NewBytes(need);
        if (block == nullptr) {
            return 0;
        }
        // After SetData there can be more bytes in use than the capacity says,
        // and more than are needed.
        const unsigned long kept = std::min(GetBytes(), need);
        if (kept != 0) {
            std::memcpy(block, data, kept);
        }
        std::memset(block + kept, 0, need - kept);
        delete[] data;
        data = block;
        capacity = need * kBitsPerByte;
    }
    size = newSize;
    return 1;
}

int Bits::SetData(unsigned char* bytes, unsigned long bits) {
    if (bytes == nullptr || bits == 0) {
        return 0;
    }
    // The capacity stays by design [bits-3], so the new block has what it
    // promises to SetSize.
    const unsigned long given = SizeToBytes(bits);
    const unsigned long room = std::max(given, SizeToBytes(capacity));
    unsigned char* const block = NewBytes(room);
    if (block == nullptr) {
        return 0;
    }
    std::memcpy(block, bytes, given);
    std::memset(block + given, 0, room - given);
    delete[] data;  // Only now, since `bytes` may lie in it.
    data = block;
    size = bits;
    return 1;
}

void Bits::Clear() {
    delete[] data;
    data = nullptr;
    capacity = 0;
    size = 0;
}

// Single bits

bool Bits::Test(unsigned long pos) const {
    return pos < size &&
           (data[PosToBytePos(pos)] >> pos % kBitsPerByte & 1) != 0;
}

int Bits::Set(unsigned long pos) {
    if (pos >= size) {
        return 0;
    }
    unsigned char& byte = data[PosToBytePos(pos)];
    byte = static_cast<unsigned char>(byte | BitMask(pos));
    return 1;
}

int Bits::Reset(unsigned long pos) {
    if (pos >= size) {
        return 0;
    }
    unsigned char& byte = data[PosToBytePos(pos)];
    byte = static_cast<unsigned char>(byte & ~BitMask(pos));
    return 1;
}

// The whole set

void Bits::SetAll() {
    if (size != 0) {
        std::memset(data, 0xFF, GetBytes());
        MaskTail(data, GetBytes(), size);
    }
}

void Bits::ResetAll() {
    if (size != 0) {
        std::memset(data, 0, GetBytes());
    }
}

bool Bits::Any() const { return AnyByte(data, GetBytes()); }

bool Bits::None() const { return !Any(); }

unsigned long Bits::GetSetCount() { return CountOnes(data, size); }

unsigned long Bits::GetUnsetCount() { return size - GetSetCount(); }

Bits& Bits::operator~() {
    std::transform(data, data + GetBytes(), data,
                   std::bit_not<unsigned char>());
    MaskTail(data, GetBytes(), size);
    return *this;
}

// Combination, in place
//
// By design [bits-4]: | and ^ resize, & does not. The bytes of this set are
// counted before it is resized: those that only `other` has are never taken
// over, even where the set grows to hold them.

Bits& Bits::operator&=(const Bits& other) {
    CombineBytes(data, GetBytes(), other.data, other.GetBytes(), data, size,
                 std::bit_and<unsigned char>());
    return *this;
}

Bits& Bits::operator|=(const Bits& other) {
    const unsigned long oldBytes = GetBytes();
    SetSize(other.size);  // Refused when `other` is empty: the size stays.
    CombineBytes(data, oldBytes, other.data, other.GetBytes(), data, size,
                 std::bit_or<unsigned char>());
    return *this;
}

Bits& Bits::operator^=(const Bits& other) {
    const unsigned long oldBytes = GetBytes();
    SetSize(other.size);  // Refused when `other` is empty: the size stays.
    CombineBytes(data, oldBytes, other.data, other.GetBytes(), data, size,
                 std::bit_xor<unsigned char>());
    return *this;
}

// Combination, as a new set
//
// By design [bits-5]: of the size of this set for &, of `other` for | and ^,
// and masked for that of this set.

Bits Bits::operator&(const Bits& other) {
    Bits result;
    if (result.SetSize(size) == 1) {
        CombineBytes(data, GetBytes(), other.data, other.GetBytes(),
                     result.data, size, std::bit_and<unsigned char>());
    }
    return result;
}

Bits Bits::operator|(const Bits& other) {
    Bits result;
    if (result.SetSize(other.size) == 1) {
        CombineBytes(data, GetBytes(), other.data, other.GetBytes(),
                     result.data, size, std::bit_or<unsigned char>());
    }
    return result;
}

Bits Bits::operator^(const Bits& other) {
    Bits result;
    if (result.SetSize(other.size) == 1) {
        CombineBytes(data, GetBytes(), other.data, other.GetBytes(),
                     result.data, size, std::bit_xor<unsigned char>());
    }
    return result;
}

// Comparison

bool Bits::operator==(const Bits& other) const {
    return size == other.size &&
           (size == 0 || std::memcmp(data, other.data, GetBytes()) == 0);
}

// By design [bits-6]: not the negation.
bool Bits::operator!=(const Bits& other) const {
    return size == other.size && !(*this == other);
}

// Shifts, which are none by design [bits-7]

Bits& Bits::operator<<(unsigned long /*count*/) { return *this; }

Bits& Bits::operator>>(unsigned long /*count*/) { return *this; }

// Text

void Bits::ToString(std::string& out) const {
    out.resize(size);
    const unsigned long bytes = size / kBitsPerByte;
    const unsigned long rest = size % kBitsPerByte;
    BestBits().write(data, bytes, out.data() + size);
    for (unsigned long at = 0; at != rest; ++at) {
        const bool isSet = (data[bytes] >> (rest - 1 - at) & 1) != 0;
        out[at] = isSet ? '1' : '0';
    }
}

std::string Bits::ToString() const {
    std::string text;
    ToString(text);
    return text;
}

void Bits::FromString(const std::string& text) {
    Bits read(BestBits().digits(text.data(), text.size()));
    if (read.data != nullptr) {
        const char* const end = text.data() + text.size();
        const char* const begin = end - read.size;
        const unsigned long bytes = read.size / kBitsPerByte;
        BestBits().read(read.data, bytes, end);
        for (unsigned long at = 0; at != read.size % kBitsPerByte; ++at) {
            unsigned char& last = read.data[bytes];
            last = static_cast<unsigned char>(last << 1 | (begin[at] - '0'));
        }
    }
    std::swap(data, read.data);
    std::swap(capacity, read.capacity);
    std::swap(size, read.size);
}

}  // namespace Novu
