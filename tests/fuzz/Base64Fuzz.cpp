// Base64 against a model that goes bit by bit.
//
// Input: a byte of choices; 64 bytes of alphabet, if chosen; two bytes that say
// where the output lies; the text, up to its first zero.

#include <algorithm>
#include <memory>
#include <vector>

#include "Bases/Base64.h"
#include "tests/fuzz/Fuzz.h"

using Novu::Base64;
using NovuFuzz::Input;
using NovuFuzz::Require;

namespace {

char (&alphabet)[65] = Base64::s_szBase64Alphabet;

// A queue of bits, the highest one of each number first.
class Bits {
public:
    Bits() = default;
    explicit Bits(const std::string& bytes) {
        for (const char byte : bytes) {
            Push(static_cast<unsigned char>(byte), 8);
        }
    }

    std::size_t Size() const { return bits.size() - first; }
    bool IsEmpty() const { return Size() == 0; }

    void Push(unsigned int value, int count) {
        for (int bit = count - 1; bit >= 0; --bit) {
            bits.push_back((value >> bit & 1) != 0);
        }
    }

    // Takes the first `count`, with zeros where there are fewer.
    unsigned int Pop(std::size_t count) {
        unsigned int value = 0;
        for (; count != 0; --count) {
            value <<= 1;
            if (!IsEmpty()) {
                value |= bits[first] ? 1U : 0U;
                ++first;
            }
        }
        return value;
    }

private:
    std::vector<bool> bits;
    std::size_t first = 0;  // That was not taken yet.
};

std::string ModelEncode(const std::string& data) {
    Bits bits(data);
    std::string text;
    while (!bits.IsEmpty()) {
        text += alphabet[bits.Pop(6)];
    }
    while (text.size() % 4 != 0) {
        text += '=';
    }
    return text;
}

// Text and output are parts of one block, and may overlap.
unsigned long ModelDecode(std::string& block, std::size_t textAt,
                          std::size_t length, std::size_t outAt) {
    if (length == 0) {
        return 0;
    }
    std::fill_n(block.begin() + static_cast<std::ptrdiff_t>(outAt), length + 1,
                '\0');
    Bits bits;
    unsigned long count = 0;
    for (std::size_t at = 0; at != length; ++at) {
        const auto low = static_cast<char>(block[textAt + at] & 0x7F);
        if (low == '=') {
            continue;
        }
        const char* const last =
            std::find(std::make_reverse_iterator(alphabet + 64),
                      std::make_reverse_iterator(alphabet + 0), low)
                .base();
        if (last == alphabet) {
            return 0;
        }
        bits.Push(static_cast<unsigned int>(last - 1 - alphabet), 6);
        if (bits.Size() >= 8) {
            block[outAt + count] = static_cast<char>(bits.Pop(8));
            ++count;
        }
    }
    return count;
}

void CheckDecode(Base64& base64, const std::string& text, std::size_t outAt) {
    const std::size_t room = text.size() + 1;
    const std::size_t textAt = room;
    std::string expected(3 * room, '\xA5');
    expected.replace(textAt, room, text.c_str(), room);
    const auto block = std::make_unique<char[]>(expected.size());
    std::copy(expected.begin(), expected.end(), block.get());

    const unsigned long count =
        ModelDecode(expected, textAt, text.size(), outAt);
    Require(base64.Decode(block.get() + textAt, block.get() + outAt) == count,
            "Decode's answer");
    Require(std::equal(expected.begin(), expected.end(), block.get()),
            "what Decode writes");
}

void CheckEncode(Base64& base64, const std::string& data, std::size_t from) {
    std::string out = data;  // In which the data lies.
    const std::string part = data.substr(from);
    Require(base64.Encode(out.data() + from, part.size(), out) == 1, "Encode");
    Require(out == ModelEncode(part), "Encode's text");
}

// A number for each turn: the bytes in a circle, each 1 more every time.
std::size_t NumberOf(const std::string& data, std::size_t turn) {
    return static_cast<unsigned char>(data[turn % data.size()]) +
           turn / data.size();
}

// Reads groups of 0 to 9 bits, of which 0 and 9 are no groups, and writes them.
void CheckBits(Base64& base64, const std::string& data) {
    Bits left(data);
    std::string written(data.size() + 1, '\xA5');
    unsigned long pos = 0;
    unsigned long acc = 0;
    int held = 0;
    unsigned long writePos = 0;
    unsigned long writeAcc = 0;
    int writeHeld = 0;
    for (std::size_t turn = 0; !left.IsEmpty(); ++turn) {
        const auto count = static_cast<int>(NumberOf(data, turn) % 10);
        const bool valid = count >= 1 && count <= 8;
        const int expectedGot =
            valid ? static_cast<int>(
                        std::min(left.Size(), static_cast<std::size_t>(count)))
                  : 0;
        const unsigned int expected =
            valid ? left.Pop(static_cast<std::size_t>(count)) : 0;
        int got = -1;
        const unsigned long value = base64.ReadBits(
            count, &got, data.data(), data.size(), pos, held, acc);
        Require(got == expectedGot && value == expected, "ReadBits");
        base64.WriteBits(
            static_cast<unsigned int>(value >> (valid ? count - got : 0)), got,
            written.data(), writePos, writeHeld, writeAcc);
    }
    Require(writePos == data.size() && writeHeld == 0, "WriteBits' count");
    Require(written == data + '\xA5', "what WriteBits writes");
}

// Writes groups of 0 to 33 bits, of which 33 are too many.
void CheckWideBits(Base64& base64, const std::string& data) {
    Bits left(data);
    std::string written(data.size() + 1, '\xA5');
    unsigned long pos = 0;
    unsigned long acc = 0;
    int held = 0;
    for (std::size_t turn = 0; !left.IsEmpty(); ++turn) {
        const std::size_t count =
            std::min(NumberOf(data, turn) % 34, left.Size());
        const unsigned int value = count <= 32 ? left.Pop(count) : ~0U;
        base64.WriteBits(value, static_cast<int>(count), written.data(), pos,
                         held, acc);
    }
    Require(pos == data.size() && held == 0, "WriteBits' count, wide");
    Require(written == data + '\xA5', "what WriteBits writes, wide");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string standard = alphabet;
    Input input(data, size);
    const unsigned int choices = input.Byte();
    if ((choices & 1) != 0) {
        for (char& character : alphabet) {
            character = static_cast<char>(input.Byte());
        }
        alphabet[64] = '\0';
    }
    const auto place = input.Take<std::uint16_t>();
    const std::string bytes = input.Rest();
    const std::string text = NovuFuzz::UpToZero(bytes);

    Base64 base64;
    CheckDecode(base64, text, 0);
    CheckDecode(base64, text, place % (2 * text.size() + 3));
    CheckEncode(base64, bytes, place % (bytes.size() + 1));
    CheckBits(base64, bytes);
    CheckWideBits(base64, bytes);
    standard.copy(alphabet, 64);
    return 0;
}
