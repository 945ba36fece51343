// SeedField (private): the S-boxes of SEED as the inverse in the field of AES
// between linear maps, for instructions that compute in that field.
//
// RFC 4269 makes S1 of x^247 and S2 of x^251 in the field modulo x^8 + x^6 +
// x^5 + x + 1. Exponents count modulo 255, so these are x^-8 and x^-4; raising
// to the 8th and the 4th power is linear, and so is the change to the field of
// AES, modulo x^8 + x^4 + x^3 + x + 1:
//     S(x) = From(inverse(To(x))) + constant
// with one To for both boxes.

#ifndef NOVU_BASES_IMPL_SEEDFIELD_H_
#define NOVU_BASES_IMPL_SEEDFIELD_H_

#include <array>
#include <cstddef>
#include <cstdint>

#include "Bases/Impl/SeedTables.h"

namespace Novu {

/// A linear map of bytes, as GFNI takes it: the highest byte is the row that
/// gives the lowest bit.
using SeedMap = std::uint64_t;

inline constexpr SeedMap kSeedTo = 0x0BCCB02E16183C70;
inline constexpr SeedMap kSeedFrom1 = 0x9A5C7193DADFACE8;
inline constexpr SeedMap kSeedFrom2 = 0x6C46DAC00BD2D78F;
inline constexpr std::uint8_t kSeedConstant1 = 169;
inline constexpr std::uint8_t kSeedConstant2 = 56;

constexpr std::uint8_t SeedMapped(SeedMap map, unsigned int byte) {
    unsigned int result = 0;
    for (unsigned int bit = 0; bit != 8; ++bit) {
        unsigned int row = map >> (8 * (7 - bit)) & byte & 0xFF;
        row ^= row >> 4;
        row ^= row >> 2;
        row ^= row >> 1;
        result |= (row & 1) << bit;
    }
    return static_cast<std::uint8_t>(result);
}

/// The inverses of the field of AES; 0 for 0.
inline constexpr auto kSeedInverses = [] {
    std::array<std::uint8_t, 256> inverses{};
    // 3 generates the field: its powers upwards and downwards.
    unsigned int up = 1;
    unsigned int down = 1;
    for (int power = 0; power != 255; ++power) {
        inverses[up] = static_cast<std::uint8_t>(down);
        up ^= up << 1 ^ (up >> 7) * 0x11B;
        // A division by 3 is a multiplication by 0xF6.
        unsigned int next = 0;
        for (unsigned int bit = 8; bit-- != 0;) {
            next = next << 1 ^ (next >> 7) * 0x11B;
            next ^= (0xF6U >> bit & 1) * down;
        }
        down = next;
    }
    return inverses;
}();

constexpr bool SeedBoxIs(const SeedBox& box, SeedMap from,
                         unsigned int constant) {
    for (unsigned int byte = 0; byte != box.size(); ++byte) {
        const std::uint8_t inverse = kSeedInverses[SeedMapped(kSeedTo, byte)];
        if (box[byte] != (SeedMapped(from, inverse) ^ constant)) {
            return false;
        }
    }
    return true;
}

static_assert(SeedBoxIs(kSeedS1, kSeedFrom1, kSeedConstant1));
static_assert(SeedBoxIs(kSeedS2, kSeedFrom2, kSeedConstant2));

// Function G: with y the word that the S-boxes make of a word, and r that word
// turned right by 8,
//     v = (y & mask2) ^ (r & mask3)
//     G = (y & mask0) ^ (r & mask1) ^ (v turned by 16)
// The masks are those of RFC 4269, m0 to m3, where they meet each byte.
inline constexpr std::uint32_t kSeedMask0 = 0xCFFCCFFC;
inline constexpr std::uint32_t kSeedMask1 = 0x3FF33FF3;
inline constexpr std::uint32_t kSeedMask2 = 0xFCCFFCCF;
inline constexpr std::uint32_t kSeedMask3 = 0xF33FF33F;

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_SEEDFIELD_H_
