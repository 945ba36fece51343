// BitsBlocks (private): what goes through all bytes of a set of bits, and
// through its text, which has the highest bit first. Every path gives the same.

#ifndef NOVU_BASES_IMPL_BITSBLOCKS_H_
#define NOVU_BASES_IMPL_BITSBLOCKS_H_

#include <cstddef>
#include <span>

namespace Novu {

/// How many bits of `data[0, bytes)` are 1.
using BitsCount = std::size_t(const unsigned char* data, std::size_t bytes);

/// Writes the eight digits of each of `data[0, bytes)`, so that the last one
/// before `end` is the lowest bit of data[0].
using BitsWrite = void(const unsigned char* data, std::size_t bytes, char* end);

/// How many of the last characters of `text[0, size)` are '0' and '1' without a
/// gap.
using BitsDigits = std::size_t(const char* text, std::size_t size);

/// The opposite of BitsWrite, of such digits.
using BitsRead = void(unsigned char* data, std::size_t bytes, const char* end);

/// On any processor.
BitsCount BitsCountPlain;
BitsWrite BitsWritePlain;
BitsDigits BitsDigitsPlain;
BitsRead BitsReadPlain;

// The paths of x86-64, for processors that have what their names say.

BitsCount BitsCountPopcnt;

/// With VPOPCNTDQ.
BitsCount BitsCountAvx512;
BitsWrite BitsWriteAvx512;
BitsDigits BitsDigitsAvx512;
BitsRead BitsReadAvx512;

struct BitsPath {
    const char* name;
    unsigned int features;  // Of CpuFeatures.h.
    BitsCount* count;
    BitsWrite* write;
    BitsDigits* digits;
    BitsRead* read;
};

/// The paths of this build, the fastest first.
std::span<const BitsPath> BitsPaths();

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_BITSBLOCKS_H_
