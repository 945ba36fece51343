// Sets of bits by popcnt, from Bases/Impl/BitsBlocks.h.

#include <cstdint>
#include <cstring>

#include "Bases/Impl/BitsBlocks.h"

namespace Novu {

std::size_t BitsCountPopcnt(const unsigned char* data, std::size_t bytes) {
    const auto ones = [data](std::size_t at, std::size_t size) {
        std::uint64_t word = 0;
        std::memcpy(&word, data + at, size);
        return static_cast<std::size_t>(__builtin_popcountll(word));
    };
    const std::size_t wordSize = sizeof(std::uint64_t);
    // Two sums, so that neither waits for the other.
    std::size_t even = 0;
    std::size_t odd = 0;
    std::size_t at = 0;
    for (; bytes - at >= 2 * wordSize; at += 2 * wordSize) {
        even += ones(at, wordSize);
        odd += ones(at + wordSize, wordSize);
    }
    for (; bytes - at >= wordSize; at += wordSize) {
        even += ones(at, wordSize);
    }
    return even + odd + (at != bytes ? ones(at, bytes - at) : 0);
}

}  // namespace Novu
