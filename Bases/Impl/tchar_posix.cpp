// Integers to text, from Bases/tchar.h.

#include "Bases/tchar.h"

#include <cassert>
#include <cstddef>
#include <cstring>
#include <type_traits>

namespace {

// Digits that the private buffer of each family holds. The smaller one is that
// of a 32-bit long, whatever size a long has.
const std::size_t kDigitsOfLong = 32;
const std::size_t kDigitsOfLongLong = 64;

enum class NullBuffer { kNotAllowed, kAnswered };

// Writes a sign, if asked to, and the digits of `value`; at most `maxDigits`,
// the lowest ones, so that the caller's buffer holds them in every case.
template <std::size_t maxDigits, typename Char>
void Write(unsigned long long value, bool negative, Char* buffer, int radix) {
    assert(radix >= 2 && radix <= 36);

    Char text[1 + maxDigits + 1];
    Char* const firstDigit = text + 1;
    Char* const end = text + 1 + maxDigits;
    Char* start = end;
    *end = 0;

    const auto base = static_cast<unsigned int>(radix);
    do {
        const auto digit = static_cast<unsigned int>(value % base);
        value /= base;
        *--start =
            static_cast<Char>(digit < 10 ? '0' + digit : 'a' + (digit - 10));
    } while (value != 0 && start != firstDigit);
    if (negative) {
        *--start = '-';
    }

    std::memcpy(buffer, start,
                static_cast<std::size_t>(end - start + 1) * sizeof(Char));
}

template <std::size_t maxDigits, NullBuffer null, typename Value, typename Char>
Char* ToText(Value value, Char* buffer, int radix) {
    // Each type that is wider than an int has 64 bits.
    static_assert(sizeof(Value) == sizeof(unsigned long long));
    if (null == NullBuffer::kAnswered && buffer == nullptr) {
        return nullptr;
    }

    const auto pattern = static_cast<unsigned long long>(value);
    bool negative = false;
    if constexpr (std::is_signed_v<Value>) {
        negative = value < 0 && radix == 10;
    }
    // Negated as unsigned, so that the most negative value has a magnitude.
    Write<maxDigits>(negative ? 0 - pattern : pattern, negative, buffer, radix);
    return buffer;
}

}  // namespace

// Narrow

char* _itoa(int value, char* buffer, int radix) {
    return _ltoa(value, buffer, radix);
}

char* _ltoa(long value, char* buffer, int radix) {
    return ToText<kDigitsOfLong, NullBuffer::kNotAllowed>(value, buffer, radix);
}

char* _ultoa(unsigned long value, char* buffer, int radix) {
    return ToText<kDigitsOfLong, NullBuffer::kAnswered>(value, buffer, radix);
}

char* _i64toa(long long value, char* buffer, int radix) {
    return ToText<kDigitsOfLongLong, NullBuffer::kNotAllowed>(value, buffer,
                                                              radix);
}

char* _ui64toa(unsigned long long value, char* buffer, int radix) {
    return ToText<kDigitsOfLongLong, NullBuffer::kNotAllowed>(value, buffer,
                                                              radix);
}

// Wide

wchar_t* _itow(int value, wchar_t* buffer, int radix) {
    return _ltow(value, buffer, radix);
}

wchar_t* _ltow(long value, wchar_t* buffer, int radix) {
    return ToText<kDigitsOfLong, NullBuffer::kAnswered>(value, buffer, radix);
}

wchar_t* _ultow(unsigned long value, wchar_t* buffer, int radix) {
    return ToText<kDigitsOfLong, NullBuffer::kAnswered>(value, buffer, radix);
}

wchar_t* _i64tow(long long value, wchar_t* buffer, int radix) {
    return ToText<kDigitsOfLongLong, NullBuffer::kAnswered>(value, buffer,
                                                            radix);
}

wchar_t* _ui64tow(unsigned long long value, wchar_t* buffer, int radix) {
    return ToText<kDigitsOfLongLong, NullBuffer::kAnswered>(value, buffer,
                                                            radix);
}
