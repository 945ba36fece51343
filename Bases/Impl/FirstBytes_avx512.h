// FirstBytes_avx512 (private): masks of AVX-512, for the sources that are
// compiled for it. Each has a copy of its own.

#ifndef NOVU_BASES_IMPL_FIRSTBYTES_AVX512_H_
#define NOVU_BASES_IMPL_FIRSTBYTES_AVX512_H_

#include <immintrin.h>

#include <cstddef>

namespace Novu {

/// For so many bytes of a vector; all 64 for more.
static inline __mmask64 FirstBytes(std::size_t count) {
    return _cvtu64_mask64(count < 64 ? (1ULL << count) - 1 : ~0ULL);
}

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_FIRSTBYTES_AVX512_H_
