// SEED over blocks by AVX-512 and GFNI, from Bases/Impl/SeedBlocks.h.

#include <immintrin.h>

#include "Bases/Impl/SeedField.h"
#include "Bases/Impl/SeedVectors.h"

namespace Novu {

namespace {

__m512i OfBytes(std::uint64_t eight) {
    return _mm512_set1_epi64(static_cast<long long>(eight));
}

struct Vector {
    using Words = __m512i;
    static const std::size_t kBlocks = 16;

    static Words All(std::uint32_t word) {
        return _mm512_set1_epi32(static_cast<int>(word));
    }

    static Words Xor(Words a, Words b) { return _mm512_xor_si512(a, b); }

    static Words Add(Words a, Words b) { return _mm512_add_epi32(a, b); }

    static Words Subtract(Words a, Words b) { return _mm512_sub_epi32(a, b); }

    template <std::size_t count>
    [[gnu::always_inline]] static void G(Words (&words)[count]) {
        const __mmask64 odd = 0xAAAAAAAAAAAAAAAA;
        const int xorAnd = 0x78;  // a ^ (b & c)
        for (Words& word : words) {
            const Words x =
                _mm512_gf2p8affine_epi64_epi8(word, OfBytes(kSeedTo), 0);
            Words y = _mm512_gf2p8affineinv_epi64_epi8(x, OfBytes(kSeedFrom1),
                                                       kSeedConstant1);
            y = _mm512_mask_gf2p8affineinv_epi64_epi8(
                y, odd, x, OfBytes(kSeedFrom2), kSeedConstant2);
            const Words r = _mm512_ror_epi32(y, 8);
            Words v = _mm512_and_si512(y, All(kSeedMask2));
            v = _mm512_ternarylogic_epi32(v, r, All(kSeedMask3), xorAnd);
            v = _mm512_ror_epi32(v, 16);
            v = _mm512_ternarylogic_epi32(v, y, All(kSeedMask0), xorAnd);
            word = _mm512_ternarylogic_epi32(v, r, All(kSeedMask1), xorAnd);
        }
    }

    static void Load(const unsigned char* in, Words& a, Words& b, Words& c,
                     Words& d) {
        a = _mm512_loadu_si512(in);
        b = _mm512_loadu_si512(in + 64);
        c = _mm512_loadu_si512(in + 128);
        d = _mm512_loadu_si512(in + 192);
        Transpose(a, b, c, d);
    }

    static void Store(unsigned char* out, Words a, Words b, Words c, Words d) {
        Transpose(a, b, c, d);
        _mm512_storeu_si512(out, a);
        _mm512_storeu_si512(out + 64, b);
        _mm512_storeu_si512(out + 128, c);
        _mm512_storeu_si512(out + 192, d);
    }

    static Words LoadWords(const void* in) { return _mm512_loadu_si512(in); }

    static Words Key(const unsigned char* bytes) {
        return _mm512_broadcast_i32x4(
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)));
    }

    static Words Taken(Words key, const std::uint8_t* places) {
        return _mm512_shuffle_epi8(key, LoadWords(places));
    }

    static void StorePairs(std::uint32_t* out, Words a, Words b) {
        // Places of the words of a, and from 16 on of b.
        const Words first = _mm512_setr_epi32(0, 16, 1, 17, 2, 18, 3, 19, 4, 20,
                                              5, 21, 6, 22, 7, 23);
        const Words eight = _mm512_set1_epi32(8);
        const Words second = _mm512_add_epi32(first, eight);
        _mm512_storeu_si512(out, _mm512_permutex2var_epi32(a, first, b));
        _mm512_storeu_si512(out + 16, _mm512_permutex2var_epi32(a, second, b));
    }

private:
    // Each quarter of the four vectors for itself, four by four words.
    static void Transpose(Words& a, Words& b, Words& c, Words& d) {
        const Words abLow = _mm512_unpacklo_epi32(a, b);
        const Words abHigh = _mm512_unpackhi_epi32(a, b);
        const Words cdLow = _mm512_unpacklo_epi32(c, d);
        const Words cdHigh = _mm512_unpackhi_epi32(c, d);
        a = _mm512_unpacklo_epi64(abLow, cdLow);
        b = _mm512_unpackhi_epi64(abLow, cdLow);
        c = _mm512_unpacklo_epi64(abHigh, cdHigh);
        d = _mm512_unpackhi_epi64(abHigh, cdHigh);
    }
};

}  // namespace

void SeedTransformBlocksGfni512(SeedDirection direction,
                                const unsigned char* in, unsigned char* out,
                                unsigned long count,
                                const std::uint32_t* roundKeys) {
    SeedTransformVectors<Vector, 1, 4, 2>(direction, in, out, count, roundKeys);
}

void SeedScheduleKeysGfni512(std::uint32_t* roundKeys,
                             const unsigned char* userKey) {
    SeedScheduleVectors<Vector>(roundKeys, userKey);
}

}  // namespace Novu
