// Dates and times as text, from Bases/DateTimeFormat.h.

#include "Bases/DateTimeFormat.h"

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

// Appends `number` with at least `width` characters, at least 1, as sprintf
// does for "%0*d" with that width.
void AppendNumber(std::string& out, int number, std::size_t width) {
    if (number < 0) {
        out.push_back('-');
        number = -number;
        --width;
    }
    char digits[5];  // Of 16 bits.
    char* const end = digits + sizeof digits;
    char* first = end;
    do {
        *--first = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number != 0);
    const auto count = static_cast<std::size_t>(end - first);
    out.append(count < width ? width - count : 0, '0');
    out.append(first, count);
}

// The same, but nothing for 0.
void AppendUnlessZero(std::string& out, int number, std::size_t width) {
    if (number != 0) {
        AppendNumber(out, number, width);
    }
}

int HourOf12(const SysTime& st) {
    return st.hour >= 13 ? st.hour - 12 : st.hour;
}

// Milliseconds in the unit of so many digits of a second.
int FractionOf(const SysTime& st, std::size_t digits) {
    return st.milliseconds / (digits == 1 ? 100 : digits == 2 ? 10 : 1);
}

// Appends what `length` letters of one kind stand for; false where they stand
// for nothing.
bool AppendField(std::string& out, char letter, std::size_t length,
                 const SysTime& st) {
    const std::size_t longest = letter == 'y'                    ? 4
                                : letter == 'f' || letter == 'F' ? 3
                                                                 : 2;
    if (length > longest) {
        return false;
    }
    switch (letter) {
        case 'y':
            AppendNumber(out, length <= 2 ? st.year / 100 : st.year, length);
            return true;
        case 'M':
            AppendNumber(out, st.month, length);
            return true;
        case 'd':
            AppendNumber(out, st.day, length);
            return true;
        case 'h':
            AppendNumber(out, HourOf12(st), length);
            return true;
        case 'H':
            AppendNumber(out, st.hour, length);
            return true;
        case 'm':
            AppendNumber(out, st.minute, length);
            return true;
        case 's':
            AppendNumber(out, st.second, length);
            return true;
        case 'f':
            AppendNumber(out, FractionOf(st, length), length);
            return true;
        case 'F':
            AppendUnlessZero(out, FractionOf(st, length), length);
            return true;
        case 't':
            out.append(st.hour > 11 ? "PM" : "AM", length);
            return true;
        default:
            return false;
    }
}

void AppendToken(std::string& out, std::string_view token, const SysTime& st) {
    const bool oneKind =
        !token.empty() &&
        token.find_first_not_of(token.front()) == std::string_view::npos;
    if (!oneKind || !AppendField(out, token.front(), token.size(), st)) {
        out.append(token);
    }
}

// Appends what the pattern stands for, run by run.
void AppendPattern(std::string& out, const std::string& pattern,
                   const SysTime& st) {
    std::string_view rest = pattern;
    while (!rest.empty()) {
        if (!IsLetter(rest.front())) {
            out.push_back(rest.front());
            rest.remove_prefix(1);
            continue;
        }
        std::size_t letters = 1;
        while (letters != rest.size() && IsLetter(rest[letters])) {
            ++letters;
        }
        AppendToken(out, rest.substr(0, letters), st);
        rest.remove_prefix(letters);
    }
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
