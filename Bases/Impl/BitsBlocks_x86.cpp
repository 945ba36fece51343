// The paths of sets of bits on x86-64, from Bases/Impl/BitsBlocks.h.

#include "Bases/Impl/BitsBlocks.h"
#include "Bases/Impl/CpuFeatures.h"

namespace Novu {

std::span<const BitsPath> BitsPaths() {
    static constexpr BitsPath kPaths[] = {
        {"AVX-512+VPOPCNTDQ", kCpuAvx512 | kCpuAvx512Popcnt, BitsCountAvx512,
         BitsWriteAvx512, BitsDigitsAvx512, BitsReadAvx512},
        {"popcnt", kCpuPopcnt, BitsCountPopcnt, BitsWritePlain, BitsDigitsPlain,
         BitsReadPlain},
        {"plain", 0, BitsCountPlain, BitsWritePlain, BitsDigitsPlain,
         BitsReadPlain}};
    return kPaths;
}

}  // namespace Novu
