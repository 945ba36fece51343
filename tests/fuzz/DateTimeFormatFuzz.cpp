// The scanner of date patterns, against the table of the contract and printf.
//
// Input: the fields of a record; a time value; a size; the pattern.

#include <algorithm>
#include <vector>

#include "Bases/DateTimeFormat.h"
#include "tests/fuzz/Fuzz.h"

using Novu::SysTime;
using NovuFuzz::Require;

namespace {

std::string Number(const char* format, int number) {
    char text[32];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

std::string Token(const std::string& token, const SysTime& st) {
    const int hour = st.hour >= 13 ? st.hour - 12 : st.hour;
    const struct {
        const char* token;
        const char* format;
        int number;
    } rows[] = {
        {"y", "%d", st.year / 100},
        {"yy", "%02d", st.year / 100},
        {"yyy", "%03d", st.year},
        {"yyyy", "%04d", st.year},
        {"M", "%d", st.month},
        {"MM", "%02d", st.month},
        {"d", "%d", st.day},
        {"dd", "%02d", st.day},
        {"h", "%d", hour},
        {"hh", "%02d", hour},
        {"H", "%d", st.hour},
        {"HH", "%02d", st.hour},
        {"m", "%d", st.minute},
        {"mm", "%02d", st.minute},
        {"s", "%d", st.second},
        {"ss", "%02d", st.second},
        {"f", "%d", st.milliseconds / 100},
        {"ff", "%02d", st.milliseconds / 10},
        {"fff", "%03d", st.milliseconds},
        {"F", "%d", st.milliseconds / 100},
        {"FF", "%02d", st.milliseconds / 10},
        {"FFF", "%03d", st.milliseconds},
    };
    for (const auto& row : rows) {
        if (token == row.token) {
            return token.front() == 'F' && row.number == 0
                       ? ""
                       : Number(row.format, row.number);
        }
    }
    if (token == "t" || token == "tt") {
        return std::string(st.hour > 11 ? "PM" : "AM").substr(0, token.size());
    }
    return token;
}

std::string Text(const std::string& pattern, const SysTime& st) {
    std::string text;
    std::string token;
    for (const char byte : pattern) {
        if (std::string("FHMSTYdfhmsty").find(byte) != std::string::npos) {
            token += byte;
        } else {
            text += Token(token, st) + byte;
            token.clear();
        }
    }
    return text + Token(token, st);
}

template <typename Time>
void CheckBuffer(bool (*format)(char*, unsigned long, const std::string&,
                                const Time&),
                 unsigned long size, const std::string& pattern,
                 const Time& time, const std::string& text) {
    std::vector<char> expected(size, '\xA5');
    const bool fits = !text.empty() && text.size() < size;
    if (fits) {
        std::copy_n(text.c_str(), text.size() + 1, expected.begin());
    }
    std::vector<char> buffer(size, '\xA5');
    Require(format(buffer.data(), size, pattern, time) == fits,
            "a buffer's answer");
    Require(buffer == expected, "a buffer");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    NovuFuzz::Input input(data, size);
    SysTime st{};
    for (short* const field : {&st.year, &st.month, &st.day, &st.hour,
                               &st.minute, &st.second, &st.milliseconds}) {
        *field = input.Take<short>();
    }
    const auto t = input.Take<long long>();
    const unsigned long room = input.Byte();
    const std::string pattern = input.Rest();

    const std::string text = Text(pattern, st);
    Require(Novu::GetDateTimeFormat(pattern, st) == text, "the text");
    std::string out = "junk";
    Require(Novu::GetDateTimeFormat(out, pattern, st) == !text.empty(),
            "the answer");
    Require(out == text, "the output");
    out = "junk";
    Novu::DateTimeFormatToString(pattern, st, out);
    Require(out == "junk" + Token(pattern, st), "DateTimeFormatToString");
    for (const unsigned long each :
         {room, static_cast<unsigned long>(text.size()), text.size() + 1}) {
        CheckBuffer<SysTime>(Novu::GetDateTimeFormat, each, pattern, st, text);
    }

    SysTime utc{};
    Novu::TimeToSysTime(t, utc);
    CheckBuffer<long long>(Novu::GetDateTimeFormat, room, pattern, t,
                           Text(pattern, utc));
    SysTime local{};
    Novu::TimeToLocalSysTime(t, local);
    const std::string localText = Text(pattern, local);
    CheckBuffer<long long>(Novu::GetLocalDateTimeFormat, room, pattern, t,
                           localText);
    Require(Novu::GetDateTimeFormat(pattern, t) == localText, "a time value");
    Require(Novu::GetLocalDateTimeFormat(pattern, t) == localText,
            "local time");
    return 0;
}
