// SeedTables (private): the constants of SEED, computed when the library is
// built.

#ifndef NOVU_BASES_IMPL_SEEDTABLES_H_
#define NOVU_BASES_IMPL_SEEDTABLES_H_

#include <array>
#include <cstddef>
#include <cstdint>

namespace Novu {

// The S-boxes of RFC 4269.
using SeedBox = std::array<std::uint8_t, 256>;
// clang-format off
inline constexpr SeedBox kSeedS1 = {
    169, 133, 214, 211,  84,  29, 172,  37,  93,  67,  24,  30,  81, 252, 202,  99,
     40,  68,  32, 157, 224, 226, 200,  23, 165, 143,   3, 123, 187,  19, 210, 238,
    112, 140,  63, 168,  50, 221, 246, 116, 236, 149,  11,  87,  92,  91, 189,   1,
     36,  28, 115, 152,  16, 204, 242, 217,  44, 231, 114, 131, 155, 209, 134, 201,
     96,  80, 163, 235,  13, 182, 158,  79, 183,  90, 198, 120, 166,  18, 175, 213,
     97, 195, 180,  65,  82, 125, 141,   8,  31, 153,   0,  25,   4,  83, 247, 225,
    253, 118,  47,  39, 176, 139,  14, 171, 162, 110, 147,  77, 105, 124,   9,  10,
    191, 239, 243, 197, 135,  20, 254, 100, 222,  46,  75,  26,   6,  33, 107, 102,
      2, 245, 146, 138,  12, 179, 126, 208, 122,  71, 150, 229,  38, 128, 173, 223,
    161,  48,  55, 174,  54,  21,  34,  56, 244, 167,  69,  76, 129, 233, 132, 151,
     53, 203, 206,  60, 113,  17, 199, 137, 117, 251, 218, 248, 148,  89, 130, 196,
    255,  73,  57, 103, 192, 207, 215, 184,  15, 142,  66,  35, 145, 108, 219, 164,
     52, 241,  72, 194, 111,  61,  45,  64, 190,  62, 188, 193, 170, 186,  78,  85,
     59, 220, 104, 127, 156, 216,  74,  86, 119, 160, 237,  70, 181,  43, 101, 250,
    227, 185, 177, 159,  94, 249, 230, 178,  49, 234, 109,  95, 228, 240, 205, 136,
     22,  58,  88, 212,  98,  41,   7,  51, 232,  27,   5, 121, 144, 106,  42, 154
};
inline constexpr SeedBox kSeedS2 = {
     56, 232,  45, 166, 207, 222, 179, 184, 175,  96,  85, 199,  68, 111, 107,  91,
    195,  98,  51, 181,  41, 160, 226, 167, 211, 145,  17,   6,  28, 188,  54,  75,
    239, 136, 108, 168,  23, 196,  22, 244, 194,  69, 225, 214,  63,  61, 142, 152,
     40,  78, 246,  62, 165, 249,  13, 223, 216,  43, 102, 122,  39,  47, 241, 114,
     66, 212,  65, 192, 115, 103, 172, 139, 247, 173, 128,  31, 202,  44, 170,  52,
    210,  11, 238, 233,  93, 148,  24, 248,  87, 174,   8, 197,  19, 205, 134, 185,
    255, 125, 193,  49, 245, 138, 106, 177, 209,  32, 215,   2,  34,   4, 104, 113,
      7, 219, 157, 153,  97, 190, 230,  89, 221,  81, 144, 220, 154, 163, 171, 208,
    129,  15,  71,  26, 227, 236, 141, 191, 150, 123,  92, 162, 161,  99,  35,  77,
    200, 158, 156,  58,  12,  46, 186, 110, 159,  90, 242, 146, 243,  73, 120, 204,
     21, 251, 112, 117, 127,  53,  16,   3, 100, 109, 198, 116, 213, 180, 234,   9,
    118,  25, 254,  64,  18, 224, 189,   5, 250,   1, 240,  42,  94, 169,  86,  67,
    133,  20, 137, 155, 176, 229,  72, 121, 151, 252,  30, 130,  33, 140,  27,  95,
    119,  84, 178,  29,  37,  79,   0,  70, 237,  88,  82, 235, 126, 218, 201, 253,
     48, 149, 101,  60, 182, 228, 187, 124,  14,  80,  57,  38,  50, 132, 105, 147,
     55, 231,  36, 164, 203,  83,  10, 135, 217,  76, 131, 143, 206,  59,  74, 183
};
// clang-format on

/// The bytes of `box`, each as the word that function G adds for it: four
/// copies of it, the lowest under the mask m`first` of RFC 4269, the next ones
/// under the masks that follow, m0 after m3.
constexpr std::array<std::uint32_t, 256> SeedTable(const SeedBox& box,
                                                   unsigned int first) {
    const std::uint32_t masks[4] = {0xFC, 0xF3, 0xCF, 0x3F};
    std::array<std::uint32_t, 256> table{};
    for (std::size_t value = 0; value != table.size(); ++value) {
        for (unsigned int byte = 0; byte != 4; ++byte) {
            const std::uint32_t masked = box[value] & masks[(first + byte) % 4];
            table[value] |= masked << (8 * byte);
        }
    }
    return table;
}

inline constexpr auto kSeedSs0 = SeedTable(kSeedS1, 0);
inline constexpr auto kSeedSs1 = SeedTable(kSeedS2, 1);
inline constexpr auto kSeedSs2 = SeedTable(kSeedS1, 2);
inline constexpr auto kSeedSs3 = SeedTable(kSeedS2, 3);

/// The constants KC of the key schedule: the golden ratio's first 32 bits,
/// turned left by one bit from each to the next.
inline constexpr auto kSeedKeyConstants = [] {
    std::array<std::uint32_t, 16> constants{};
    std::uint32_t constant = 0x9E3779B9;
    for (std::uint32_t& next : constants) {
        next = constant;
        constant = constant << 1 | constant >> 31;
    }
    return constants;
}();

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_SEEDTABLES_H_
