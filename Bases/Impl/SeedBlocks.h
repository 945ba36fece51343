// SeedBlocks (private): SEED over many blocks, and the round keys. Every path
// gives, block by block, what SeedEncrypt and SeedDecrypt give, and the round
// keys of SeedRoundKey.

#ifndef NOVU_BASES_IMPL_SEEDBLOCKS_H_
#define NOVU_BASES_IMPL_SEEDBLOCKS_H_

#include <cstddef>
#include <cstdint>
#include <span>

namespace Novu {

inline constexpr std::size_t kSeedBlockSize = 16;

enum class SeedDirection { kEncrypt, kDecrypt };

/// Transforms `count` blocks of 16 bytes from `in` to `out`, which do not
/// overlap, under the 32 words of `roundKeys`. Neither needs to be aligned.
using SeedTransform = void(SeedDirection direction, const unsigned char* in,
                           unsigned char* out, unsigned long count,
                           const std::uint32_t* roundKeys);

/// Writes the 32 words of `roundKeys` for the 16 bytes of `userKey`, which need
/// not be aligned.
using SeedSchedule = void(std::uint32_t* roundKeys,
                          const unsigned char* userKey);

/// The fastest path on this processor, for messages of so many blocks.
SeedTransform* SeedTransformFor(unsigned long blocks);

/// Likewise.
SeedSchedule SeedScheduleKeys;

struct SeedPath {
    const char* name;
    unsigned int features;  // Of CpuFeatures.h.
    unsigned long fewest;   // Blocks for which its transform is the fastest.
    SeedTransform* transform;
    SeedSchedule* schedule;
};

/// The paths of this build, the fastest first.
std::span<const SeedPath> SeedPaths();

/// By tables, four blocks at a time; on any processor.
SeedTransform SeedTransformBlocksPlain;
SeedSchedule SeedScheduleKeysPlain;

// The paths of x86-64, for processors that have what their names say. They look
// nothing up by data, so that neither data nor keys show in what they touch;
// for the rest that does not fill a vector they work on a whole one.

/// AVX2 and AES-NI, 32 or 16 blocks at a time.
SeedTransform SeedTransformBlocksAesNi;

/// AVX2 and GFNI, 40 or 16 blocks at a time.
SeedTransform SeedTransformBlocksGfni256;
SeedSchedule SeedScheduleKeysGfni256;

/// AVX-512 and GFNI, 64, 32 or 16 blocks at a time.
SeedTransform SeedTransformBlocksGfni512;
SeedSchedule SeedScheduleKeysGfni512;

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_SEEDBLOCKS_H_
