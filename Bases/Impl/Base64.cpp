// Base64, from Bases/Base64.h.

#include "Bases/Base64.h"

#include <atomic>
#include <bit>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include "Bases/Impl/Base64Blocks.h"
#include "Bases/Impl/CpuFeatures.h"

namespace Novu {

namespace {

// Three bytes are four groups of six bits.
static_assert(CHAR_BIT == 8);

// 32 bits go in behind up to seven that wait.
static_assert(sizeof(unsigned long) == 8);

// By seven bits: the top one is ignored by design [base64-3].
unsigned char ValueOf(const Base64Values& values, char character) {
    return values.of[static_cast<unsigned char>(character) & 0x7F];
}

// Stores four bytes, the highest first.
void StoreHighFirst(char* out, std::uint32_t bytes) {
    if constexpr (std::endian::native == std::endian::little) {
        bytes = __builtin_bswap32(bytes);
    }
    std::memcpy(out, &bytes, sizeof bytes);
}

// Whether the two have a byte in common. By the distance of their addresses,
// since a size may be one that no block has, and then there is no end.
bool Overlap(const char* a, std::size_t aSize, const char* b,
             std::size_t bSize) {
    const auto aAt = reinterpret_cast<std::uintptr_t>(a);
    const auto bAt = reinterpret_cast<std::uintptr_t>(b);
    return aAt < bAt ? bAt - aAt < aSize : aAt - bAt < bSize;
}

// Writes the text for the last one or two bytes, unpadded, and answers its end.
char* EncodeRest(const char* alphabet, const char* data, std::size_t len,
                 char* text) {
    const unsigned int first = static_cast<unsigned char>(data[0]);
    const unsigned int second =
        len == 2 ? static_cast<unsigned char>(data[1]) : 0;
    *text++ = alphabet[first >> 2];
    *text++ = alphabet[(first << 4 | second >> 4) & 63];
    if (len == 2) {
        *text++ = alphabet[second << 2 & 63];
    }
    return text;
}

// Whether the alphabet is still the standard one.
bool IsStandard(const char* alphabet) {
    return std::memcmp(alphabet, kBase64Standard, 64) == 0;
}

const Base64Path& BestBase64() {
    static constinit std::atomic<const Base64Path*> best = nullptr;
    return BestPath(Base64Paths(), best);
}

}  // namespace

// Whole groups

std::size_t Base64EncodePlain(const char* alphabet, const char* data,
                              std::size_t len, char* text) {
    const std::size_t whole = len / 3 * 3;
    for (std::size_t at = 0; at != whole; at += 3, text += 4) {
        const unsigned int a = static_cast<unsigned char>(data[at]);
        const unsigned int b = static_cast<unsigned char>(data[at + 1]);
        const unsigned int c = static_cast<unsigned char>(data[at + 2]);
        text[0] = alphabet[a >> 2];
        text[1] = alphabet[(a << 4 | b >> 4) & 63];
        text[2] = alphabet[(b << 2 | c >> 6) & 63];
        text[3] = alphabet[c & 63];
    }
    return whole;
}

std::size_t Base64DecodePlain(const Base64Values& values, const char* text,
                              std::size_t length, char* out) {
    const std::size_t whole = length / 4 * 4;
    std::size_t at = 0;
    for (; at != whole; at += 4, out += 3) {
        const unsigned int a = ValueOf(values, text[at]);
        const unsigned int b = ValueOf(values, text[at + 1]);
        const unsigned int c = ValueOf(values, text[at + 2]);
        const unsigned int d = ValueOf(values, text[at + 3]);
        if (((a | b | c | d) & kBase64Mark) != 0) {
            break;
        }
        // Three bytes, and one too many, for which there is room: the decoded
        // bytes are behind the characters.
        StoreHighFirst(out, a << 26 | b << 20 | c << 14 | d << 8);
    }
    return at;
}

// The class

char Base64::s_szBase64Alphabet[65] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

const unsigned long Base64::s_nMask[9] = {0, 1, 3, 7, 15, 31, 63, 127, 255};

Base64::Base64() = default;

Base64::~Base64() = default;

// Text

int Base64::Encode(const char* data, unsigned long len, std::string& out) {
    if (data == nullptr) {
        return 0;
    }
    const unsigned long fours = len / 3 + (len % 3 != 0 ? 1 : 0);
    if (fours > out.max_size() / 4) {
        // Not the std::length_error of resize: a size that no memory has is
        // std::bad_alloc throughout the library.
        throw std::bad_alloc();
    }
    if (Overlap(data, len, out.data(), out.capacity() + 1)) {
        const std::string copy(data, len);
        return Base64::Encode(copy.data(), len, out);
    }
    out.resize(fours * 4);
    const char* const alphabet =
        IsStandard(s_szBase64Alphabet) ? kBase64Standard : s_szBase64Alphabet;
    std::size_t at = BestBase64().encode(alphabet, data, len, out.data());
    at += Base64EncodePlain(alphabet, data + at, len - at,
                            out.data() + at / 3 * 4);
    if (at != len) {
        char* const end =
            EncodeRest(alphabet, data + at, len - at, out.data() + at / 3 * 4);
        std::memset(end, '=',
                    static_cast<std::size_t>(out.data() + out.size() - end));
    }
    return 1;
}

unsigned long Base64::Decode(const char* text, char* out) {
    if (text == nullptr || out == nullptr || *text == '\0') {
        return 0;
    }
    const std::size_t length = std::strlen(text);
    Base64Values changed;
    const Base64Values* values = &kBase64StandardValues;
    if (!IsStandard(s_szBase64Alphabet)) {
        ReadBase64Values(s_szBase64Alphabet, changed);
        values = &changed;
    }

    // Where `out` overlaps the text, its zeros and then the decoded bytes are
    // part of the text, and have to be there before they are read.
    const bool overlap = Overlap(text, length + 1, out, length + 1);
    if (overlap) {
        std::memset(out, 0, length + 1);
    }

    std::size_t at = 0;
    std::size_t written = 0;
    unsigned int bits = 0;
    unsigned int held = 0;  // Lowest ones of `bits`.
    bool valid = true;
    while (valid && at != length) {
        if (held == 0 && !overlap) {
            for (Base64Decode* const decode :
                 {BestBase64().decode, &Base64DecodePlain}) {
                const std::size_t decoded =
                    decode(*values, text + at, length - at, out + written);
                at += decoded;
                written += decoded / 4 * 3;
            }
            if (at == length) {
                break;
            }
        }
        const unsigned char value = ValueOf(*values, text[at]);
        ++at;
        if (value == kBase64Invalid) {
            valid = false;
        } else if (value != kBase64Skipped) {
            bits = bits << 6 | value;
            held += 6;
            if (held >= 8) {
                held -= 8;
                out[written] = static_cast<char>(bits >> held);
                ++written;
            }
        }
    }
    if (!overlap) {
        std::memset(out + written, 0, length + 1 - written);
    }
    return valid ? written : 0;  // By design [base64-2].
}

// Bits

unsigned long Base64::ReadBits(int count, int* got, const char* src,
                               unsigned long srcLen, unsigned long& pos,
                               int& held, unsigned long& acc) {
    if (count < 1 || count > 8) {
        *got = 0;
        return 0;
    }
    while (held < count) {
        if (pos >= srcLen) {
            *got = held;
            const int missing = count - held;
            held = 0;
            return acc << missing & s_nMask[count];
        }
        acc = acc << 8 | static_cast<unsigned char>(src[pos]);
        ++pos;
        held += 8;
    }
    *got = count;
    held -= count;
    return acc >> held & s_nMask[count];
}

void Base64::WriteBits(unsigned int value, int count, char* dst,
                       unsigned long& pos, int& held, unsigned long& acc) {
    if (count < 0 || count > 32) {
        return;
    }
    acc = acc << count | value;  // By design [base64-4]: not masked.
    held += count;
    while (held >= 8) {
        held -= 8;
        dst[pos] = static_cast<char>(acc >> held);
        ++pos;
    }
}

}  // namespace Novu
