// The path of sets of bits on any processor, from Bases/Impl/BitsBlocks.h.

#include "Bases/Impl/BitsBlocks.h"

namespace Novu {

std::span<const BitsPath> BitsPaths() {
    static constexpr BitsPath kPaths[] = {{"plain", 0, BitsCountPlain,
                                           BitsWritePlain, BitsDigitsPlain,
                                           BitsReadPlain}};
    return kPaths;
}

}  // namespace Novu
