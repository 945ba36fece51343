// The paths of SEED on x86-64, from Bases/Impl/SeedBlocks.h.
//
// A vector costs the same however little it holds; below so many blocks, four
// at a time by tables are faster.

#include "Bases/Impl/CpuFeatures.h"
#include "Bases/Impl/SeedBlocks.h"

namespace Novu {

std::span<const SeedPath> SeedPaths() {
    static constexpr SeedPath kPaths[] = {
        {"AVX-512+GFNI", kCpuAvx512 | kCpuGfni, 5, SeedTransformBlocksGfni512,
         SeedScheduleKeysGfni512},
        {"AVX2+GFNI", kCpuAvx2 | kCpuGfni, 5, SeedTransformBlocksGfni256,
         SeedScheduleKeysGfni256},
        {"AVX2+AES-NI", kCpuAvx2 | kCpuAesNi, 13, SeedTransformBlocksAesNi,
         SeedScheduleKeysPlain},
        {"plain", 0, 0, SeedTransformBlocksPlain, SeedScheduleKeysPlain}};
    return kPaths;
}

}  // namespace Novu
