// Guid::FromString against the grammar, the text forms and the order.
//
// Input: 16 bytes of an identifier, then the text.

#include <cctype>
#include <stdexcept>

#include "Bases/Guid.h"
#include "tests/fuzz/Fuzz.h"

using Novu::Guid;
using NovuFuzz::Require;

namespace {

enum class Outcome { Throws, Nil, Read };

struct Model {
    unsigned char bytes[16] = {};

    // One digit, or -1.
    static int DigitOf(char character) {
        const char* const digits = "0123456789abcdef";
        const char* const found = std::strchr(
            digits, std::tolower(static_cast<unsigned char>(character)));
        return character != '\0' && found != nullptr
                   ? static_cast<int>(found - digits)
                   : -1;
    }

    Outcome Read(const char* text) {
        const bool brace = *text == '{';
        text += brace ? 1 : 0;
        bool hyphens = false;
        bool nil = true;
        for (int byte = 0; byte != 16; ++byte) {
            if (byte == 4) {
                hyphens = *text == '-';
            }
            if (hyphens &&
                (byte == 4 || byte == 6 || byte == 8 || byte == 10)) {
                if (*text != '-') {
                    return Outcome::Throws;
                }
                ++text;
            }
            const int high = DigitOf(*text);
            const int low = high < 0 ? -1 : DigitOf(text[1]);
            if (low < 0) {
                return Outcome::Throws;
            }
            text += 2;
            bytes[byte] = static_cast<unsigned char>(16 * high + low);
            nil = nil && bytes[byte] == 0;
        }
        if (brace && *text != '}') {
            return Outcome::Throws;
        }
        return nil ? Outcome::Nil : Outcome::Read;
    }

    std::string Text() const {
        std::string text;
        for (int byte = 0; byte != 16; ++byte) {
            char digits[3];
            std::snprintf(digits, sizeof digits, "%02x", bytes[byte]);
            text +=
                byte == 4 || byte == 6 || byte == 8 || byte == 10 ? "-" : "";
            text += digits;
        }
        return text;
    }

    Guid Value() const {
        Guid guid;
        std::memcpy(static_cast<void*>(&guid), bytes, sizeof bytes);
        return guid;
    }
};

template <typename Text>
Outcome Read(Guid& guid, const Text& text) {
    try {
        return guid.FromString(text) ? Outcome::Read : Outcome::Nil;
    } catch (const std::runtime_error& error) {
        Require(std::string("invalid uuid string") == error.what(), "message");
        return Outcome::Throws;
    }
}

template <typename Number>
int Order(const unsigned char* left, const unsigned char* right) {
    Number a = 0;
    Number b = 0;
    std::memcpy(&a, left, sizeof a);
    std::memcpy(&b, right, sizeof b);
    return (a > b ? 1 : 0) - (a < b ? 1 : 0);
}

int Sign(int number) { return (number > 0 ? 1 : 0) - (number < 0 ? 1 : 0); }

int Order(const Model& left, const Model& right) {
    int order = Order<std::uint32_t>(left.bytes, right.bytes);
    order = order != 0 ? order
                       : Order<std::uint16_t>(left.bytes + 4, right.bytes + 4);
    order = order != 0 ? order
                       : Order<std::uint16_t>(left.bytes + 6, right.bytes + 6);
    return order != 0 ? order
                      : Sign(std::memcmp(left.bytes + 8, right.bytes + 8, 8));
}

void CheckOrder(const Model& left, const Model& right) {
    const int order = Order(left, right);
    const Guid a = left.Value();
    const Guid b = right.Value();
    Require(Sign(a.Compare(b)) == order, "Compare");
    Require((a < b) == (order < 0), "less");
    Require((a > b) == (order > 0), "greater");
    Require((a == b) == (order == 0), "equal");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    NovuFuzz::Input input(data, size);
    Model before;
    for (unsigned char& byte : before.bytes) {
        byte = input.Byte();
    }
    const std::string text = input.Rest();

    Model read;
    const Outcome outcome = read.Read(text.c_str());
    const Guid expected =
        outcome == Outcome::Read ? read.Value() : before.Value();
    Guid guid = before.Value();
    Require(Read(guid, text.c_str()) == outcome, "FromString's outcome");
    Require(guid == expected, "FromString's value");
    guid = before.Value();
    Require(Read(guid, text) == (text.empty() ? Outcome::Nil : outcome),
            "FromString's outcome for a string");
    Require(guid == expected, "FromString's value for a string");

    if (outcome == Outcome::Read) {
        Require(guid.ToString(1) == read.Text(), "ToString");
        Require(guid.ToString(0) == read.Text().substr(1, 34), "ToString 0");
        Require(guid.Test(read.Value()) && !guid.None(), "Test");
        CheckOrder(read, before);
        Model near = read;  // In all bytes but one.
        near.bytes[before.bytes[0] % 16] = before.bytes[1];
        CheckOrder(read, near);
    }
    return 0;
}
