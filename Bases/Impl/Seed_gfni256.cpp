// SEED over blocks by AVX2 and GFNI, from Bases/Impl/SeedBlocks.h.

#include "Bases/Impl/SeedVector_avx2.h"

namespace Novu {

namespace {

struct Boxes {
    template <std::size_t count>
    [[gnu::always_inline]] static void Substitute(__m256i (&words)[count]) {
        const __m256i to = OfBytes(kSeedTo);
        const __m256i from1 = OfBytes(kSeedFrom1);
        const __m256i from2 = OfBytes(kSeedFrom2);
        const __m256i odd = OfBytes(0xFF00FF00FF00FF00);
        for (__m256i& word : words) {
            const __m256i x = _mm256_gf2p8affine_epi64_epi8(word, to, 0);
            word = _mm256_blendv_epi8(
                _mm256_gf2p8affineinv_epi64_epi8(x, from1, kSeedConstant1),
                _mm256_gf2p8affineinv_epi64_epi8(x, from2, kSeedConstant2),
                odd);
        }
    }

private:
    static __m256i OfBytes(std::uint64_t eight) {
        return _mm256_set1_epi64x(static_cast<long long>(eight));
    }
};

using Vector = SeedVectorAvx2<Boxes>;

}  // namespace

void SeedTransformBlocksGfni256(SeedDirection direction,
                                const unsigned char* in, unsigned char* out,
                                unsigned long count,
                                const std::uint32_t* roundKeys) {
    SeedTransformVectors<Vector, 2, 5>(direction, in, out, count, roundKeys);
}

void SeedScheduleKeysGfni256(std::uint32_t* roundKeys,
                             const unsigned char* userKey) {
    SeedScheduleVectors<Vector>(roundKeys, userKey);
}

}  // namespace Novu
