// Sets of bits on any processor, from Bases/Impl/BitsBlocks.h.

#include "Bases/Impl/BitsBlocks.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace Novu {

namespace {

const std::size_t kWord = sizeof(std::uint64_t);  // Bytes.
const std::size_t kDigits = 8;                    // Of a byte.

// Bytes as a word, the first one lowest.
std::uint64_t LoadEight(const void* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return std::endian::native == std::endian::little ? word
                                                      : __builtin_bswap64(word);
}

// How many bits of each byte are 1: of pairs of bits, of fours, of eights.
std::uint64_t OnesOfBytes(std::uint64_t word) {
    word -= word >> 1 & 0x5555555555555555;
    word = (word & 0x3333333333333333) + (word >> 2 & 0x3333333333333333);
    return (word + (word >> 4)) & 0x0F0F0F0F0F0F0F0F;
}

// The sum of the bytes of a word, none of which is above 248.
std::size_t SumOfBytes(std::uint64_t word) {
    const std::uint64_t even = word & 0x00FF00FF00FF00FF;
    const std::uint64_t odd = word >> 8 & 0x00FF00FF00FF00FF;
    return (even + odd) * 0x0001000100010001 >> 48;
}

// The text of each byte, its highest bit first.
using ByteText = std::array<char, kDigits>;
constexpr std::array<ByteText, 256> kByteTexts = [] {
    std::array<ByteText, 256> texts{};
    for (std::size_t byte = 0; byte != texts.size(); ++byte) {
        for (std::size_t at = 0; at != kDigits; ++at) {
            texts[byte][at] = ((byte << at) & 0x80) != 0 ? '1' : '0';
        }
    }
    return texts;
}();

// '0' and '1' are 0x30 and 0x31: any other bit is a stranger's.
std::uint64_t Strangers(std::uint64_t characters) {
    return (characters ^ 0x3030303030303030) & 0xFEFEFEFEFEFEFEFE;
}

bool IsBinaryDigit(char character) {
    return character == '0' || character == '1';
}

// The byte of eight digits. The product brings the lowest bit of digit i, at
// 8 i, to 63 - i; no two of its terms meet, so none carries.
unsigned char ByteOf(std::uint64_t digits) {
    return static_cast<unsigned char>(
        ((digits & 0x0101010101010101) * 0x8040201008040201) >> 56);
}

}  // namespace

std::size_t BitsCountPlain(const unsigned char* data, std::size_t bytes) {
    std::size_t ones = 0;
    // The bytes of a word add up to no more than 8 each time. Compilers make
    // vectors of the inner loop.
    const std::size_t together = 31;
    std::size_t words = bytes / kWord;
    while (words != 0) {
        const std::size_t some = std::min(words, together);
        std::uint64_t sums = 0;
        for (std::size_t word = 0; word != some; ++word) {
            sums += OnesOfBytes(LoadEight(data + word * kWord));
        }
        ones += SumOfBytes(sums);
        data += some * kWord;
        words -= some;
    }
    for (std::size_t at = 0; at != bytes % kWord; ++at) {
        ones += static_cast<std::size_t>(std::popcount(data[at]));
    }
    return ones;
}

void BitsWritePlain(const unsigned char* data, std::size_t bytes, char* end) {
    for (std::size_t at = 0; at != bytes; ++at) {
        end -= kDigits;
        std::memcpy(end, kByteTexts[data[at]].data(), kDigits);
    }
}

std::size_t BitsDigitsPlain(const char* text, std::size_t size) {
    std::size_t left = size;
    const std::size_t together = 4 * kDigits;
    for (; left >= together; left -= together) {
        const char* const digits = text + left - together;
        std::uint64_t strangers = 0;
        for (std::size_t at = 0; at != together; at += kDigits) {
            strangers |= Strangers(LoadEight(digits + at));
        }
        if (strangers != 0) {
            break;
        }
    }
    while (left != 0 && IsBinaryDigit(text[left - 1])) {
        --left;
    }
    return size - left;
}

void BitsReadPlain(unsigned char* data, std::size_t bytes, const char* end) {
    for (std::size_t at = 0; at != bytes; ++at) {
        end -= kDigits;
        data[at] = ByteOf(LoadEight(end));
    }
}

}  // namespace Novu
