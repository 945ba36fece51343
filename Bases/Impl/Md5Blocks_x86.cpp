// The paths of MD5 on x86-64, from Bases/Impl/Md5Blocks.h.

#include "Bases/Impl/CpuFeatures.h"
#include "Bases/Impl/Md5Blocks.h"

namespace Novu {

std::span<const Md5Path> Md5Paths() {
    static constexpr Md5Path kPaths[] = {
        {"AVX-512", kCpuAvx512, Md5TransformBlocksAvx512},
        {"plain", 0, Md5TransformBlocksPlain}};
    return kPaths;
}

}  // namespace Novu
