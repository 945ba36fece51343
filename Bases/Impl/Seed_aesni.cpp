// SEED over blocks by AVX2 and AES-NI, from Bases/Impl/SeedBlocks.h.
//
// The last round of AES is an exchange of places (ShiftRows), the S-box, which
// is the field's inverse and then a linear map, and the sum with a key. So the
// bytes are changed by To, put where the exchange takes them back, sent through
// a round with a key of zeros, and changed by the inverse of that map and by
// From. Linear maps are looked up in vectors, half a byte at a time.

#include "Bases/Impl/SeedVector_avx2.h"

namespace Novu {

namespace {

// A map of bytes as the sum of one of their low halves and one of their high.
struct Halves {
    std::uint8_t low[16];
    std::uint8_t high[16];
};

constexpr Halves kTo = [] {
    Halves halves{};
    for (unsigned int half = 0; half != 16; ++half) {
        halves.low[half] = SeedMapped(kSeedTo, half);
        halves.high[half] = SeedMapped(kSeedTo, half << 4);
    }
    return halves;
}();

// What the S-box of AES makes of a byte is Aes(inverse) + 0x63.
const SeedMap kAes = 0xF1E3C78F1F3E7CF8;
const unsigned int kAesConstant = 0x63;

// The byte of which that map makes `byte`. With it, From can be applied to what
// the S-box gives.
constexpr unsigned int AesUndone(unsigned int byte) {
    unsigned int undone = 0;
    while (SeedMapped(kAes, undone) != byte) {
        ++undone;
    }
    return undone;
}

constexpr Halves FromAes(SeedMap from, unsigned int constant) {
    constant ^= SeedMapped(from, AesUndone(kAesConstant));
    Halves halves{};
    for (unsigned int half = 0; half != 16; ++half) {
        halves.low[half] = static_cast<std::uint8_t>(
            SeedMapped(from, AesUndone(half)) ^ constant);
        halves.high[half] = SeedMapped(from, AesUndone(half << 4));
    }
    return halves;
}

constexpr Halves kFrom1 = FromAes(kSeedFrom1, kSeedConstant1);
constexpr Halves kFrom2 = FromAes(kSeedFrom2, kSeedConstant2);

__m256i Table(const std::uint8_t (&bytes)[16]) {
    return _mm256_broadcastsi128_si256(
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)));
}

__m256i Mapped(const Halves& map, __m256i bytes) {
    const __m256i halves = _mm256_set1_epi8(0x0F);
    return _mm256_xor_si256(
        _mm256_shuffle_epi8(Table(map.low), _mm256_and_si256(bytes, halves)),
        _mm256_shuffle_epi8(
            Table(map.high),
            _mm256_and_si256(_mm256_srli_epi16(bytes, 4), halves)));
}

__m256i ThroughAes(__m256i bytes) {
    const __m256i places = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(0, 13, 10, 7, 4, 1, 14, 11, 8, 5, 2, 15, 12, 9, 6, 3));
    const __m128i noKey = _mm_setzero_si128();
    bytes = _mm256_shuffle_epi8(bytes, places);
    const __m128i low =
        _mm_aesenclast_si128(_mm256_castsi256_si128(bytes), noKey);
    const __m128i high =
        _mm_aesenclast_si128(_mm256_extracti128_si256(bytes, 1), noKey);
    return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}

struct Boxes {
    // Two vectors at a time: all their even bytes, for S1, and all their odd
    // ones, for S2.
    template <std::size_t count>
    [[gnu::always_inline]] static void Substitute(__m256i (&words)[count]) {
        static_assert(count % 2 == 0);
        const __m256i odd = _mm256_set1_epi16(static_cast<short>(0xFF00));
        for (std::size_t i = 0; i != count; i += 2) {
            const __m256i a = Mapped(kTo, words[i]);
            const __m256i b = Mapped(kTo, words[i + 1]);
            const __m256i even1 =
                _mm256_blendv_epi8(a, _mm256_slli_epi16(b, 8), odd);
            const __m256i odd2 =
                _mm256_blendv_epi8(_mm256_srli_epi16(a, 8), b, odd);
            const __m256i box1 = Mapped(kFrom1, ThroughAes(even1));
            const __m256i box2 = Mapped(kFrom2, ThroughAes(odd2));
            words[i] =
                _mm256_blendv_epi8(box1, _mm256_slli_epi16(box2, 8), odd);
            words[i + 1] =
                _mm256_blendv_epi8(_mm256_srli_epi16(box1, 8), box2, odd);
        }
    }
};

}  // namespace

void SeedTransformBlocksAesNi(SeedDirection direction, const unsigned char* in,
                              unsigned char* out, unsigned long count,
                              const std::uint32_t* roundKeys) {
    SeedTransformVectors<SeedVectorAvx2<Boxes>, 2, 4>(direction, in, out, count,
                                                      roundKeys);
}

}  // namespace Novu
