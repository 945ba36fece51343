// SeedBlocks: SEED over many blocks. Any way of doing so gives, block by block,
// what SeedEncrypt and SeedDecrypt give.

#ifndef NOVU_BASES_IMPL_SEEDBLOCKS_H_
#define NOVU_BASES_IMPL_SEEDBLOCKS_H_

#include <cstdint>

namespace Novu {

enum class SeedDirection { kEncrypt, kDecrypt };

/// Transforms `count` blocks of 16 bytes from `in` to `out`, which do not
/// overlap, under the 32 words of `roundKeys`. Nothing needs to be aligned.
void SeedTransformBlocks(SeedDirection direction, const unsigned char* in,
                         unsigned char* out, unsigned long count,
                         const std::uint32_t* roundKeys);

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_SEEDBLOCKS_H_
