// MD5 over blocks by AVX-512, from Bases/Impl/Md5Blocks.h.

#include <immintrin.h>

#include "Bases/Impl/Md5Blocks.h"
#include "Bases/Impl/Md5Steps.h"

namespace Novu {

namespace {

struct Arithmetic {
    using Word = __m128i;

    static Word Of(std::uint32_t word) {
        return _mm_set1_epi32(static_cast<int>(word));
    }

    static std::uint32_t LowestOf(Word word) {
        return static_cast<std::uint32_t>(_mm_cvtsi128_si32(word));
    }

    // Masked, although no word is left out: compilers put plain sums in an
    // order of their own, and what waits for the newest word has to come last.
    static Word Add(Word a, Word b) { return _mm_maskz_add_epi32(0xF, a, b); }

    template <int bits>
    static Word Rotated(Word word) {
        return _mm_rol_epi32(word, bits);
    }

    // A ternary operation is given by its results: the bit that x, y and z make
    // as a number, from high to low.
    template <std::size_t round>
    static Word Mixed(Word sum, Word x, Word y, Word z) {
        constexpr int kOperations[4] = {
            0xCA,  // x ? y : z
            0xE4,  // z ? x : y
            0x96,  // x ^ y ^ z
            0x39   // y ^ (x | ~z)
        };
        constexpr int kOperation = kOperations[round];
        return Add(sum, _mm_ternarylogic_epi32(x, y, z, kOperation));
    }
};

}  // namespace

void Md5TransformBlocksAvx512(std::uint32_t (&state)[4], const char* data,
                              unsigned long count) {
    Md5Steps<Arithmetic>::Transform(state, data, count);
}

}  // namespace Novu
