// The path of Base64 on any processor, from Bases/Impl/Base64Blocks.h.

#include "Bases/Impl/Base64Blocks.h"

namespace Novu {

std::span<const Base64Path> Base64Paths() {
    static constexpr Base64Path kPaths[] = {
        {"plain", 0, Base64EncodePlain, Base64DecodePlain}};
    return kPaths;
}

}  // namespace Novu
