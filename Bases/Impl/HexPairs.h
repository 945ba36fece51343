// HexPairs (private): both hexadecimal digits of a byte, looked up at once.

#ifndef NOVU_BASES_IMPL_HEXPAIRS_H_
#define NOVU_BASES_IMPL_HEXPAIRS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Novu {

/// "00" to "ff", each with its first character low.
inline constexpr std::array<std::uint16_t, 256> kHexPairs = [] {
    const std::string_view digits = "0123456789abcdef";
    std::array<std::uint16_t, 256> pairs{};
    for (std::size_t byte = 0; byte != pairs.size(); ++byte) {
        pairs[byte] = static_cast<std::uint16_t>(digits[byte / 16] |
                                                 digits[byte % 16] << 8);
    }
    return pairs;
}();

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_HEXPAIRS_H_
