// The path of SEED on any processor, from Bases/Impl/SeedBlocks.h.

#include "Bases/Impl/SeedBlocks.h"

namespace Novu {

std::span<const SeedPath> SeedPaths() {
    static constexpr SeedPath kPaths[] = {
        {"plain", 0, 0, SeedTransformBlocksPlain, SeedScheduleKeysPlain}};
    return kPaths;
}

}  // namespace Novu
