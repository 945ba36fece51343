// Dates and times as text, from Bases/DateTimeFormat.h.

#include "Bases/DateTimeFormat.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace Novu {

namespace {

// Which bytes are letters of patterns.
constexpr std::array<bool, 256> kIsLetter = [] {
    std::array<bool, 256> isLetter{};
    for (const char letter : std::string_view("FHMSTYdfhmsty")) {
        isLetter[static_cast<unsigned char>(letter)] = true;
    }
    return isLetter;
}();

bool IsLetter(char byte) { return kIsLetter[static_cast<unsigned char>(byte)]; }

// What the text of a field takes at most: a sign and five digits.
const std::size_t kLongestField = 6;

// Writes a number from 0 on with at least `width` characters; answers where it
// ends. Out of line, since few numbers come here.
[[gnu::noinline]] char* WriteDigits(char* to, int number, std::size_t width) {
    char digits[5];  // Of 16 bits.
    char* const end = digits + sizeof digits;
    char* first = end;
    do {
        *--first = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number != 0);
    const auto count = static_cast<std::size_t>(end - first);
    to = std::fill_n(to, count < width ? width - count : 0, '0');
    return std::copy(first, end, to);
}

// "00" to "99".
constexpr std::array<char, 200> kDecimalPairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t number = 0; number < 100; ++number) {
        pairs[2 * number] = static_cast<char>('0' + number / 10);
        pairs[2 * number + 1] = static_cast<char>('0' + number % 10);
    }
    return pairs;
}();

char* WritePair(char* to, unsigned int below100) {
    std::memcpy(to, &kDecimalPairs[std::size_t{2} * below100], 2);
    return to + 2;
}

// Writes `number` with at least `width` characters, 1 to 4, as sprintf does for
// "%0*d" with that width; answers where it ends.
char* WriteNumber(char* to, int number, std::size_t width) {
    // Most numbers have the width that they are asked for. No negative one is
    // below these limits.
    const auto value = static_cast<unsigned int>(number);
    if (width == 2 && value < 100) {
        return WritePair(to, value);
    }
    if (width == 3 && value < 1000) {
        *to = static_cast<char>('0' + value / 100);
        return WritePair(to + 1, value % 100);
    }
    if (width == 4 && value < 10000) {
        return WritePair(WritePair(to, value / 100), value % 100);
    }
    if (number < 0) {
        *to = '-';
        return WriteDigits(to + 1, -number, width - 1);
    }
    return WriteDigits(to, number, width);
}

int HourOf12(const SysTime& st) {
    return st.hour >= 13 ? st.hour - 12 : st.hour;
}

// Milliseconds in the unit of so many digits of a second.
int FractionOf(const SysTime& st, std::size_t digits) {
    return st.milliseconds / (digits == 1 ? 100 : digits == 2 ? 10 : 1);
}

// Writes what a run of `length` letters of one kind stands for, maybe nothing,
// and answers where it ends; null for a run that is no token. Inline, since it
// is most of what its callers do.
[[gnu::always_inline]] inline char* WriteField(char* to, char letter,
                                               std::size_t length,
                                               const SysTime& st) {
    std::size_t longest = 2;
    int number = 0;
    switch (letter) {
        case 'y':
            longest = 4;
            number = length <= 2 ? st.year / 100 : st.year;
            break;
        case 'M':
            number = st.month;
            break;
        case 'd':
            number = st.day;
            break;
        case 'h':
            number = HourOf12(st);
            break;
        case 'H':
            number = st.hour;
            break;
        case 'm':
            number = st.minute;
            break;
        case 's':
            number = st.second;
            break;
        case 'f':
            longest = 3;
            number = FractionOf(st, length);
            break;
        case 'F':
            longest = 3;
            number = FractionOf(st, length);
            if (number == 0 && length <= longest) {
                return to;
            }
            break;
        case 't':
            if (length <= longest) {
                return std::copy_n(st.hour > 11 ? "PM" : "AM", length, to);
            }
            break;
        default:
            return nullptr;
    }
    return length <= longest ? WriteNumber(to, number, length) : nullptr;
}

void AppendToken(std::string& out, std::string_view token, const SysTime& st) {
    const bool oneKind =
        !token.empty() &&
        token.find_first_not_of(token.front()) == std::string_view::npos;
    char text[kLongestField];
    char* const end =
        oneKind ? WriteField(text, token.front(), token.size(), st) : nullptr;
    if (end != nullptr) {
        out.append(text, end);
    } else {
        out.append(token);
    }
}

// Appends what the pattern stands for, run by run, by way of a buffer: one
// append for many short pieces.
void AppendPattern(std::string& out, const std::string& pattern,
                   const SysTime& st) {
    char text[128];
    char* const full = text + sizeof text - kLongestField;
    char* to = text;
    const char* at = pattern.data();
    const char* const end = at + pattern.size();
    while (at != end) {
        if (to > full) {
            out.append(text, to);
            to = text;
        }
        const char* const first = at++;
        if (!IsLetter(*first)) {
            *to++ = *first;
            continue;
        }
        while (at != end && *at == *first) {
            ++at;
        }
        if (at == end || !IsLetter(*at)) {
            const auto length = static_cast<std::size_t>(at - first);
            if (char* const next = WriteField(to, *first, length, st)) {
                to = next;
                continue;
            }
        }
        at = std::find_if_not(at, end, IsLetter);
        out.append(text, to);
        out.append(first, at);
        to = text;
    }
    out.append(text, to);
}

}  // namespace

// Records

void DateTimeFormatToString(const std::string& token, const SysTime& st,
                            std::string& out) {
    const std::size_t earlier = out.size();
    try {
        AppendToken(out, token, st);
    } catch (...) {  // Memory: not half a number.
        out.resize(earlier);
        throw;
    }
}

bool GetDateTimeFormat(std::string& out, const std::string& pattern,
                       const SysTime& st) {
    out.clear();
    try {
        AppendPattern(out, pattern, st);
    } catch (...) {  // Memory: not half a date.
        out.clear();
        throw;
    }
    return !out.empty();
}

std::string GetDateTimeFormat(const std::string& pattern, const SysTime& st) {
    std::string text;
    GetDateTimeFormat(text, pattern, st);
    return text;
}

// Time values
//
// The results of the conversions are not tested: after a failed one every field
// is 0.

bool GetDateTimeFormat(std::string& out, const std::string& pattern,
                       const long long& t) {
    SysTime st = {};
    TimeToLocalSysTime(t, st);
    return GetDateTimeFormat(out, pattern, st);
}

std::string GetDateTimeFormat(const std::string& pattern, const long long& t) {
    std::string text;
    GetDateTimeFormat(text, pattern, t);
    return text;
}

bool GetLocalDateTimeFormat(std::string& out, const std::string& pattern,
                            const long long& t) {
    return GetDateTimeFormat(out, pattern, t);
}

std::string GetLocalDateTimeFormat(const std::string& pattern,
                                   const long long& t) {
    return GetDateTimeFormat(pattern, t);
}

// Buffers

bool GetDateTimeFormat(char* buf, unsigned long size,
                       const std::string& pattern, const SysTime& st) {
    if (buf == nullptr || size == 0) {
        return false;
    }
    std::string text;
    if (!GetDateTimeFormat(text, pattern, st) || text.size() >= size) {
        return false;
    }
    std::memcpy(buf, text.c_str(), text.size() + 1);
    return true;
}

bool GetLocalDateTimeFormat(char* buf, unsigned long size,
                            const std::string& pattern, const long long& t) {
    SysTime st = {};
    TimeToLocalSysTime(t, st);
    return GetDateTimeFormat(buf, size, pattern, st);
}

bool GetDateTimeFormat(char* buf, unsigned long size,
                       const std::string& pattern, const long long& t) {
    SysTime st = {};
    TimeToSysTime(t, st);
    return GetDateTimeFormat(buf, size, pattern, st);
}

}  // namespace Novu
