// The path of MD5 on any processor, from Bases/Impl/Md5Blocks.h.

#include "Bases/Impl/Md5Blocks.h"

namespace Novu {

std::span<const Md5Path> Md5Paths() {
    static constexpr Md5Path kPaths[] = {{"plain", 0, Md5TransformBlocksPlain}};
    return kPaths;
}

}  // namespace Novu
