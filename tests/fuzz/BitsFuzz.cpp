// Bits::FromString and the text form. What else a set does is ModelFuzz's.
//
// Input: the text.

#include <algorithm>

#include "Bases/Bits.h"
#include "tests/fuzz/Fuzz.h"

using Novu::Bits;
using NovuFuzz::Require;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = NovuFuzz::Input(data, size).Rest();

    // From the last character to the left, up to the first that is no digit.
    const std::string digits = text.substr(text.find_last_not_of("01") + 1);

    Bits bits(3);
    bits.SetAll();  // To be replaced.
    bits.FromString(text);
    Require(bits.GetSize() == digits.size(), "the size");
    Require(bits.GetBytes() == (digits.size() + 7) / 8, "the bytes");
    Require((bits.GetData() == nullptr) == digits.empty(), "the block");
    for (std::size_t pos = 0; pos != digits.size(); ++pos) {
        const bool one = digits[digits.size() - 1 - pos] == '1';
        Require(bits.Test(pos) == one, "Test");
        Require((bits.GetData()[pos / 8] >> pos % 8 & 1) == (one ? 1 : 0),
                "the bit's place");
    }
    Require(!bits.Test(digits.size()), "Test past the end");
    Require(bits.ToString() == digits, "ToString");
    const auto ones = static_cast<unsigned long>(
        std::count(digits.begin(), digits.end(), '1'));
    Require(bits.GetSetCount() == ones, "GetSetCount");
    Require(bits.GetUnsetCount() == digits.size() - ones, "GetUnsetCount");
    Require(bits.Any() == (ones != 0) && bits.None() == (ones == 0), "Any");

    Bits again;
    again.FromString(digits);
    Require(bits == again && !(bits != again), "two of the same text");
    return 0;
}
