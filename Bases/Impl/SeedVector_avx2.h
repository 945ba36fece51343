// SeedVector_avx2 (private): what the paths of SEED by AVX2 share.

#ifndef NOVU_BASES_IMPL_SEEDVECTOR_AVX2_H_
#define NOVU_BASES_IMPL_SEEDVECTOR_AVX2_H_

#include <immintrin.h>

#include "Bases/Impl/SeedField.h"
#include "Bases/Impl/SeedVectors.h"

namespace Novu {

/// The Vector of SeedVectors.h but for G. `Boxes`, the source's own type, has
/// the S-boxes: Substitute(words) makes each word of an array of vectors the
/// one that they make of it.
template <typename Boxes>
struct SeedVectorAvx2 {
    using Words = __m256i;
    static const std::size_t kBlocks = 8;

    static Words All(std::uint32_t word) {
        return _mm256_set1_epi32(static_cast<int>(word));
    }

    static Words Xor(Words a, Words b) { return _mm256_xor_si256(a, b); }

    static Words And(Words a, Words b) { return _mm256_and_si256(a, b); }

    static Words Add(Words a, Words b) { return _mm256_add_epi32(a, b); }

    static Words Subtract(Words a, Words b) { return _mm256_sub_epi32(a, b); }

    template <std::size_t count>
    [[gnu::always_inline]] static void G(Words (&words)[count]) {
        const Words right8 = _mm256_broadcastsi128_si256(_mm_setr_epi8(
            1, 2, 3, 0, 5, 6, 7, 4, 9, 10, 11, 8, 13, 14, 15, 12));
        const Words turn16 = _mm256_broadcastsi128_si256(_mm_setr_epi8(
            2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13));
        Boxes::Substitute(words);
        for (Words& word : words) {
            const Words y = word;
            const Words r = _mm256_shuffle_epi8(y, right8);
            const Words v =
                Xor(And(y, All(kSeedMask2)), And(r, All(kSeedMask3)));
            word = Xor(Xor(And(y, All(kSeedMask0)), And(r, All(kSeedMask1))),
                       _mm256_shuffle_epi8(v, turn16));
        }
    }

    static void Load(const unsigned char* in, Words& a, Words& b, Words& c,
                     Words& d) {
        a = LoadWords(in);
        b = LoadWords(in + 32);
        c = LoadWords(in + 64);
        d = LoadWords(in + 96);
        Transpose(a, b, c, d);
    }

    static void Store(unsigned char* out, Words a, Words b, Words c, Words d) {
        Transpose(a, b, c, d);
        StoreWords(out, a);
        StoreWords(out + 32, b);
        StoreWords(out + 64, c);
        StoreWords(out + 96, d);
    }

    static Words LoadWords(const void* in) {
        return _mm256_loadu_si256(static_cast<const __m256i*>(in));
    }

    static Words Key(const unsigned char* bytes) {
        return _mm256_broadcastsi128_si256(
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)));
    }

    static Words Taken(Words key, const std::uint8_t* places) {
        return _mm256_shuffle_epi8(key, LoadWords(places));
    }

    static void StorePairs(std::uint32_t* out, Words a, Words b) {
        const Words low = _mm256_unpacklo_epi32(a, b);
        const Words high = _mm256_unpackhi_epi32(a, b);
        StoreWords(out, _mm256_permute2x128_si256(low, high, 0x20));
        StoreWords(out + 8, _mm256_permute2x128_si256(low, high, 0x31));
    }

private:
    static void StoreWords(void* out, Words words) {
        _mm256_storeu_si256(static_cast<__m256i*>(out), words);
    }

    // Each half of the four vectors for itself, four by four words.
    static void Transpose(Words& a, Words& b, Words& c, Words& d) {
        const Words abLow = _mm256_unpacklo_epi32(a, b);
        const Words abHigh = _mm256_unpackhi_epi32(a, b);
        const Words cdLow = _mm256_unpacklo_epi32(c, d);
        const Words cdHigh = _mm256_unpackhi_epi32(c, d);
        a = _mm256_unpacklo_epi64(abLow, cdLow);
        b = _mm256_unpackhi_epi64(abLow, cdLow);
        c = _mm256_unpacklo_epi64(abHigh, cdHigh);
        d = _mm256_unpackhi_epi64(abHigh, cdHigh);
    }
};

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_SEEDVECTOR_AVX2_H_
