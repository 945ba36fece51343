// Sizes as text, against a literal insertion of the comma.
//
// Input: an integer, a double, a precision, a size, a distance, and the text.

#include <algorithm>
#include <cmath>
#include <vector>

#include "Bases/Size.h"
#include "tests/fuzz/Fuzz.h"

using NovuFuzz::Require;
using Room = std::vector<char>;

namespace {

std::string Separated(std::string text) {
    const std::size_t point = text.find('.');
    const std::size_t place = point != std::string::npos ? point
                              : text.empty()             ? 0
                                                         : text.size() - 1;
    if (place >= 2) {
        text.insert(place - 2, ",");
    }
    return text;
}

// What `room` holds once `text` was copied to its start: the text with its end,
// cut to size - 1 characters, and the last byte 0.
void Put(Room& room, std::size_t at, std::size_t size,
         const std::string& text) {
    if (size != 0) {
        std::copy_n(text.c_str(), std::min(text.size() + 1, size - 1),
                    room.begin() + static_cast<std::ptrdiff_t>(at));
        room[at + size - 1] = '\0';
    }
}

void CheckBuffer(std::size_t size, const std::string& text, int answer,
                 const Room& room) {
    Room expected(size, '\xA5');
    Put(expected, 0, size, text);
    Require(answer == (size != 0 ? 1 : 0), "a buffer's answer");
    Require(room == expected, "a buffer");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    NovuFuzz::Input input(data, size);
    const auto integer = input.Take<long long>();
    const auto real = input.Take<double>();
    const auto precision = input.Take<int>();
    const std::size_t room = input.Byte();
    const std::size_t distance = input.Byte();
    const std::string text = NovuFuzz::UpToZero(input.Rest());

    // InsertSeperator, whose output may overlap the text.
    Room block(text.size() + 1 + room, '\xA5');
    const std::size_t outAt = distance % (text.size() + 2);
    std::copy(text.begin(), text.end(), block.begin());
    block[text.size()] = '\0';
    Room expected = block;
    Put(expected, outAt, room, Separated(text));
    Novu::InsertSeperator(block.data(), block.data() + outAt, room);
    Require(block == expected, "InsertSeperator");

    double value = NAN;
    double left = static_cast<double>(integer);
    unsigned long unit = 0;
    for (; unit < 6 && left >= 1024; ++unit) {
        left /= 1024;
    }
    Require(Novu::GetSizeUnit(integer, value) == unit && value == left,
            "GetSizeUnit");

    const std::string decimal = Separated(std::to_string(integer));
    Room out(room, '\xA5');
    CheckBuffer(room, decimal, Novu::GetSizeFormat(out.data(), room, integer),
                out);
    std::string string = "junk";
    Require(Novu::GetSizeFormat(string, integer) == 1 && string == decimal,
            "an integer");

    std::string format = "%f";
    if (precision < 0) {
        format = "%." + std::to_string(precision) + "f";
    }
    char printed[400];
    std::snprintf(printed, 255, format.c_str(), real);
    const std::string fraction = Separated(printed);
    out.assign(room, '\xA5');
    CheckBuffer(room, fraction,
                Novu::GetSizeFormat(out.data(), room, real, precision), out);
    Require(Novu::GetSizeFormat(string, real, precision) == 1 &&
                string == fraction.substr(0, 254),
            "a double");
    return 0;
}
