// The paths of Base64 on x86-64, from Bases/Impl/Base64Blocks.h.

#include "Bases/Impl/Base64Blocks.h"
#include "Bases/Impl/CpuFeatures.h"

namespace Novu {

std::span<const Base64Path> Base64Paths() {
    static constexpr Base64Path kPaths[] = {
        {"AVX-512+VBMI", kCpuAvx512 | kCpuAvx512Vbmi, Base64EncodeVbmi,
         Base64DecodeVbmi},
        {"AVX2", kCpuAvx2, Base64EncodeAvx2, Base64DecodeAvx2},
        {"plain", 0, Base64EncodePlain, Base64DecodePlain}};
    return kPaths;
}

}  // namespace Novu
