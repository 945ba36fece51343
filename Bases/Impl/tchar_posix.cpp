// Integers to text, from Bases/tchar.h.

#include "Bases/tchar.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "Bases/Impl/HexPairs.h"

namespace {

// Digits that each family has room for. The smaller one is that of a 32-bit
// long, whatever size a long has.
const std::size_t kDigitsOfLong = 32;
const std::size_t kDigitsOfLongLong = 64;

// Radices 10, 16 and 2 make eight digits at a time, as the bytes of one word,
// the first digit in the lowest, and store them at once. What a word writes
// beyond its digits, the next one covers; only a number of up to eight digits
// in all is stored with care.

using Word = std::uint64_t;

const Word kEachByte = 0x0101010101010101;

template <typename Part>
void Store(char* out, Part characters) {
    if constexpr (std::endian::native == std::endian::big) {
        std::array<char, sizeof characters> bytes;
        std::memcpy(bytes.data(), &characters, sizeof characters);
        std::reverse_copy(bytes.begin(), bytes.end(), out);
    } else {
        std::memcpy(out, &characters, sizeof characters);
    }
}

// Stores the last `count` of eight characters and a zero, and nothing beyond
// that: their ends, which meet in the middle.
void StoreLast(char* out, Word characters, unsigned int count) {
    const Word text = characters >> (8 * (8 - count));
    if (count >= 4) {
        Store(out, static_cast<std::uint32_t>(text));
        Store(out + count - 4, static_cast<std::uint32_t>(characters >> 32));
    } else {
        Store(out, static_cast<std::uint16_t>(text));
        out[count - 1] = static_cast<char>(characters >> 56);
    }
    out[count] = '\0';
}

// Stores the last of eight characters, and junk, eight bytes in all.
void StoreFirst(char* out, Word characters, unsigned int count) {
    Store(out, characters >> (8 * (8 - count)));
}

unsigned int CountBits(Word value) {
    return static_cast<unsigned int>(std::bit_width(value | 1));
}

// Radix 10

const Word kTo8 = 100000000;

constexpr std::array<Word, 20> kPowersOf10 = [] {
    std::array<Word, 20> powers{};
    Word power = 1;
    for (Word& each : powers) {
        each = power;
        power *= 10;
    }
    return powers;
}();

// From 2 digits on. 1233 / 4096 is the decimal logarithm of 2, near enough for
// 64 bits.
unsigned int CountDecimals(Word value) {
    const unsigned int least = CountBits(value) * 1233 / 4096;
    return least + (value >= kPowersOf10[least] ? 1 : 0);
}

// The text of eight digits. In each step every lane of the word is divided, by
// multiplying and shifting, into two: the quotient stays, and the remainder
// goes to the upper half of the lane. The quotients are exact below 10,000 and
// 100.
Word Decimals(Word value) {
    const auto below = static_cast<std::uint32_t>(value);
    const Word tenThousands = below / 10000;
    const Word fours =
        (Word{below} << 32) - tenThousands * ((10000ULL << 32) - 1);
    const Word hundreds = (fours * 10486 >> 20) & 0x0000007F0000007F;
    const Word twos = (fours << 16) - hundreds * ((100 << 16) - 1);
    const Word tens = (twos * 103 >> 10) & 0x000F000F000F000F;
    const Word ones = (twos << 8) - tens * ((10 << 8) - 1);
    return ones | kEachByte * '0';
}

void WriteMagnitude(Word value, char* out) {
    if (value < 100) {
        *out = static_cast<char>('0' + value / 10);
        out += value >= 10 ? 1 : 0;
        out[0] = static_cast<char>('0' + value % 10);
        out[1] = '\0';
        return;
    }
    const unsigned int count = CountDecimals(value);
    if (count <= 8) {
        StoreLast(out, Decimals(value), count);
        return;
    }
    out[count] = '\0';
    const Word low = value % kTo8;
    value /= kTo8;
    if (count <= 16) {
        StoreFirst(out, Decimals(value), count - 8);
    } else {
        StoreFirst(out, Decimals(value / kTo8), count - 16);
        Store(out + count - 16, Decimals(value % kTo8));
    }
    Store(out + count - 8, Decimals(low));
}

// What writes in a radix is not inlined: each call ends in a jump to it, and
// saves no registers for the others.

[[gnu::noinline]] char* WriteDecimal(Word value, char* out) {
    WriteMagnitude(value, out);
    return out;
}

[[gnu::noinline]] char* WriteNegative(Word value, char* out) {
    *out = '-';
    // Negated as unsigned, so that the most negative value has a magnitude.
    WriteMagnitude(0 - value, out + 1);
    return out;
}

// Radix 16

// The text of 32 bits.
Word Hexadecimals(Word value) {
    const Word first = Novu::kHexPairs[value >> 24 & 0xFF];
    const Word second = Novu::kHexPairs[value >> 16 & 0xFF];
    const Word third = Novu::kHexPairs[value >> 8 & 0xFF];
    const Word fourth = Novu::kHexPairs[value & 0xFF];
    return first | second << 16 | third << 32 | fourth << 48;
}

[[gnu::noinline]] char* WriteHexadecimal(Word value, char* out) {
    const unsigned int count = (CountBits(value) + 3) / 4;
    const Word last = Hexadecimals(value);
    if (count < 4) {
        StoreLast(out, last, count);
        return out;
    }
    // Four digits at either end, and four more inside of them where there are
    // as many; where there are not, the same once more. Whether there are more
    // than eight is a branch that no processor foresees.
    const Word first = Hexadecimals(value << (4 * (16 - count)) >> 32);
    const unsigned int inside = count >= 8 ? 4 : 0;
    char* const end = out + count;
    Store(out, static_cast<std::uint32_t>(first));
    Store(out + inside, static_cast<std::uint32_t>(first >> (8 * inside)));
    Store(end - 4 - inside,
          static_cast<std::uint32_t>(last >> (32 - 8 * inside)));
    Store(end - 4, static_cast<std::uint32_t>(last >> 32));
    *end = '\0';
    return out;
}

// Radix 2

// The text of 8 bits: the byte is laid down eight times, each nine bits on,
// which puts its highest bit at the top of the first byte, the next one at the
// top of the second, and so on.
Word Binaries(Word value) {
    return (value * 0x8040201008040201 >> 7 & kEachByte) | kEachByte * '0';
}

// Stores the ends of a number of at least 8 * words digits, and of twice as
// many at most, which meet in the middle.
template <unsigned int words>
void StoreBinaryEnds(char* out, Word value, unsigned int count) {
    Word front = value << (64 - count);
    char* last = out + count;
    for (unsigned int word = 0; word != words; ++word) {
        Store(out, Binaries(front >> 56));
        front <<= 8;
        out += 8;
        last -= 8;
        Store(last, Binaries(value & 0xFF));
        value >>= 8;
    }
}

[[gnu::noinline]] char* WriteBinary(Word value, char* out) {
    const unsigned int count = CountBits(value);
    if (count < 8) {
        StoreLast(out, Binaries(value), count);
        return out;
    }
    out[count] = '\0';
    if (count < 16) {
        StoreBinaryEnds<1>(out, value, count);
    } else if (count < 32) {
        StoreBinaryEnds<2>(out, value, count);
    } else {
        StoreBinaryEnds<4>(out, value, count);
    }
    return out;
}

// Any radix, digit by digit; at most `maxDigits`, the lowest ones, so that the
// caller's buffer holds them in every case.
template <std::size_t maxDigits>
[[gnu::noinline]] char* WriteDigits(Word value, char* out, int radix) {
    char text[maxDigits];
    char* const end = text + maxDigits;
    char* start = end;

    const auto base = static_cast<unsigned int>(radix);
    do {
        const auto digit = static_cast<unsigned int>(value % base);
        value /= base;
        *--start =
            static_cast<char>(digit < 10 ? '0' + digit : 'a' + (digit - 10));
    } while (value != 0 && start != text);

    const auto count = static_cast<std::size_t>(end - start);
    std::memcpy(out, start, count);
    out[count] = '\0';
    return out;
}

template <std::size_t maxDigits, typename Value>
char* Write(Value value, char* out, int radix) {
    // Each type that is wider than an int has 64 bits.
    static_assert(sizeof(Value) == sizeof(Word));
    assert(radix >= 2 && radix <= 36);

    const auto pattern = static_cast<Word>(value);
    if (radix == 10) {  // By design [tchar-1]: signs in this one alone.
        return value < 0 ? WriteNegative(pattern, out)
                         : WriteDecimal(pattern, out);
    }
    if (radix == 16) {
        return WriteHexadecimal(pattern, out);
    }
    if (radix == 2 && CountBits(pattern) <= maxDigits) {
        return WriteBinary(pattern, out);
    }
    return WriteDigits<maxDigits>(pattern, out, radix);
}

template <std::size_t maxDigits, typename Value>
wchar_t* Write(Value value, wchar_t* out, int radix) {
    if (out == nullptr) {
        return nullptr;
    }
    char text[1 + maxDigits + 1];
    Write<maxDigits>(value, text, radix);
    std::size_t index = 0;
    do {
        out[index] = static_cast<wchar_t>(text[index]);
    } while (text[index++] != '\0');
    return out;
}

}  // namespace

// Narrow

char* _itoa(int value, char* buffer, int radix) {
    return _ltoa(value, buffer, radix);
}

char* _ltoa(long value, char* buffer, int radix) {
    return Write<kDigitsOfLong>(value, buffer, radix);
}

char* _ultoa(unsigned long value, char* buffer, int radix) {
    return buffer == nullptr ? nullptr
                             : Write<kDigitsOfLong>(value, buffer, radix);
}

char* _i64toa(long long value, char* buffer, int radix) {
    return Write<kDigitsOfLongLong>(value, buffer, radix);
}

char* _ui64toa(unsigned long long value, char* buffer, int radix) {
    return Write<kDigitsOfLongLong>(value, buffer, radix);
}

// Wide

wchar_t* _itow(int value, wchar_t* buffer, int radix) {
    return _ltow(value, buffer, radix);
}

wchar_t* _ltow(long value, wchar_t* buffer, int radix) {
    return Write<kDigitsOfLong>(value, buffer, radix);
}

wchar_t* _ultow(unsigned long value, wchar_t* buffer, int radix) {
    return Write<kDigitsOfLong>(value, buffer, radix);
}

wchar_t* _i64tow(long long value, wchar_t* buffer, int radix) {
    return Write<kDigitsOfLongLong>(value, buffer, radix);
}

wchar_t* _ui64tow(unsigned long long value, wchar_t* buffer, int radix) {
    return Write<kDigitsOfLongLong>(value, buffer, radix);
}
