// Base64Blocks (private): Base64 of whole groups, three bytes and four
// characters. Every path gives the same; what it leaves is for the next one,
// and in the end for the plain one.

#ifndef NOVU_BASES_IMPL_BASE64BLOCKS_H_
#define NOVU_BASES_IMPL_BASE64BLOCKS_H_

#include <cstddef>
#include <span>

namespace Novu {

/// What a character stands for, by its seven low bits: 0 to 63, or a mark. The
/// marks have the top bit set, so that many characters are tested at once. The
/// upper half is never looked up; it takes what an alphabet has from 0x80 on.
struct Base64Values {
    unsigned char of[256];
};

inline constexpr unsigned char kBase64Invalid = 0x80;
inline constexpr unsigned char kBase64Skipped = 0x81;
inline constexpr unsigned char kBase64Mark = 0x80;

/// Makes `values` those of the 64 characters of `alphabet`, of equal ones the
/// last. In place, since a result would be copied.
constexpr void ReadBase64Values(const char* alphabet, Base64Values& values) {
    for (unsigned char& value : values.of) {
        value = kBase64Invalid;
    }
    for (unsigned char value = 0; value != 64; ++value) {
        values.of[static_cast<unsigned char>(alphabet[value])] = value;
    }
    values.of[static_cast<unsigned char>('=')] = kBase64Skipped;
}

constexpr Base64Values Base64ValuesOf(const char* alphabet) {
    Base64Values values{};
    ReadBase64Values(alphabet, values);
    return values;
}

/// The standard alphabet. Paths that are for no other know it by the address of
/// these two.
inline constexpr char kBase64Standard[65] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
inline constexpr Base64Values kBase64StandardValues =
    Base64ValuesOf(kBase64Standard);

/// Encodes groups of `data[0, len)`, as many as it likes, and answers of how
/// many bytes. The 64 characters of `alphabet` are any.
using Base64Encode = std::size_t(const char* alphabet, const char* data,
                                 std::size_t len, char* text);

/// Decodes groups of `text[0, length)`, as many as it likes but none with a
/// mark, and answers of how many characters. `out` has room for `length` bytes
/// and does not overlap the text; behind what is decoded, anything is left.
using Base64Decode = std::size_t(const Base64Values& values, const char* text,
                                 std::size_t length, char* out);

/// All groups; all up to the first with a mark.
Base64Encode Base64EncodePlain;
Base64Decode Base64DecodePlain;

// The paths of x86-64, for processors that have what their names say.

/// 24 bytes and 32 characters at a time, of the standard alphabet.
Base64Encode Base64EncodeAvx2;
Base64Decode Base64DecodeAvx2;

/// 48 bytes and 64 characters at a time, and what is short of that.
Base64Encode Base64EncodeVbmi;
Base64Decode Base64DecodeVbmi;

struct Base64Path {
    const char* name;
    unsigned int features;  // Of CpuFeatures.h.
    Base64Encode* encode;
    Base64Decode* decode;
};

/// The paths of this build, the fastest first.
std::span<const Base64Path> Base64Paths();

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_BASE64BLOCKS_H_
