// Base64, from Bases/Base64.h.

#include "Bases/Base64.h"

#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

namespace Novu {

namespace {

// Three bytes are four groups of six bits.
static_assert(CHAR_BIT == 8);

// 32 bits go in behind up to seven that wait.
static_assert(sizeof(unsigned long) == 8);

// What a character stands for, by its seven low bits: 0 to 63, or a mark. The
// marks have the top bit set, so that four characters are tested at once.
using ReverseTable = std::array<unsigned char, 128>;
constexpr unsigned char kInvalid = 0x80;
constexpr unsigned char kSkipped = 0x81;
constexpr unsigned int kMarkBit = 0x80;

ReverseTable ReverseOf(const char* alphabet) {
    ReverseTable table;
    table.fill(kInvalid);
    for (unsigned char value = 0; value != 64; ++value) {
        const auto character = static_cast<unsigned char>(alphabet[value]);
        if (character < table.size()) {
            table[character] = value;
        }
    }
    table['='] = kSkipped;
    return table;
}

unsigned char ValueOf(const ReverseTable& table, char character) {
    return table[static_cast<unsigned char>(character) & 0x7F];
}

// Decodes fours of characters into threes of bytes while all of them stand for
// values. Answers how many fours.
std::size_t DecodeFours(const ReverseTable& table, const char* text,
                        std::size_t length, char* out) {
    const std::size_t fours = length / 4;
    for (std::size_t four = 0; four != fours; ++four, text += 4, out += 3) {
        const unsigned int a = ValueOf(table, text[0]);
        const unsigned int b = ValueOf(table, text[1]);
        const unsigned int c = ValueOf(table, text[2]);
        const unsigned int d = ValueOf(table, text[3]);
        if (((a | b | c | d) & kMarkBit) != 0) {
            return four;
        }
        out[0] = static_cast<char>(a << 2 | b >> 4);
        out[1] = static_cast<char>(b << 4 | c >> 2);
        out[2] = static_cast<char>(c << 6 | d);
    }
    return fours;
}

// By their addresses, since a size may be one that no block has.
bool Overlap(const char* a, std::size_t aSize, const char* b,
             std::size_t bSize) {
    const auto aAt = reinterpret_cast<std::uintptr_t>(a);
    const auto bAt = reinterpret_cast<std::uintptr_t>(b);
    return aAt < bAt ? bAt - aAt < aSize : aAt - bAt < bSize;
}

// Writes the text for `data[0, len)`, unpadded, and answers its end.
char* EncodeBytes(const char* alphabet, const char* data, std::size_t len,
                  char* text) {
    const auto byte = [data](std::size_t at) -> unsigned int {
        return static_cast<unsigned char>(data[at]);
    };
    std::size_t at = 0;
    for (; len - at >= 3; at += 3, text += 4) {
        text[0] = alphabet[byte(at) >> 2];
        text[1] = alphabet[(byte(at) << 4 | byte(at + 1) >> 4) & 63];
        text[2] = alphabet[(byte(at + 1) << 2 | byte(at + 2) >> 6) & 63];
        text[3] = alphabet[byte(at + 2) & 63];
    }
    if (len - at == 1) {
        *text++ = alphabet[byte(at) >> 2];
        *text++ = alphabet[byte(at) << 4 & 63];
    } else if (len - at == 2) {
        *text++ = alphabet[byte(at) >> 2];
        *text++ = alphabet[(byte(at) << 4 | byte(at + 1) >> 4) & 63];
        *text++ = alphabet[byte(at + 1) << 2 & 63];
    }
    return text;
}

}  // namespace

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
    char* const end = EncodeBytes(s_szBase64Alphabet, data, len, out.data());
    std::memset(end, '=',
                static_cast<std::size_t>(out.data() + out.size() - end));
    return 1;
}

unsigned long Base64::Decode(const char* text, char* out) {
    if (text == nullptr || out == nullptr || *text == '\0') {
        return 0;
    }
    const std::size_t length = std::strlen(text);
    const ReverseTable table = ReverseOf(s_szBase64Alphabet);

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
            const std::size_t fours =
                DecodeFours(table, text + at, length - at, out + written);
            at += fours * 4;
            written += fours * 3;
            if (at == length) {
                break;
            }
        }
        const unsigned char value = ValueOf(table, text[at]);
        ++at;
        if (value == kInvalid) {
            valid = false;
        } else if (value != kSkipped) {
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
    return valid ? written : 0;
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
    acc = acc << count | value;
    held += count;
    while (held >= 8) {
        held -= 8;
        dst[pos] = static_cast<char>(acc >> held);
        ++pos;
    }
}

}  // namespace Novu
