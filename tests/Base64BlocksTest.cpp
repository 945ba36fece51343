// The contract of Bases/Impl/Base64Blocks.h: each path that this processor can
// take, beside a model that goes bit by bit. A path may stop where it likes,
// but the one that is last has to come to the end.

#include "Bases/Impl/Base64Blocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "Bases/Impl/CpuFeatures.h"

namespace {

using Novu::Base64Path;
using Novu::Base64Values;

using std::size_t;
using std::string;
using Random = std::mt19937;

const Random::result_type kSeed = 20261122;

const size_t kLongest = 300;
const size_t kAlignments = 64;
const char kJunk = '\x5A';

// Of web addresses (RFC 4648, section 5).
const char kOther[65] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

std::vector<Base64Path> PathsHere() {
    std::vector<Base64Path> paths;
    for (const Base64Path& path : Novu::Base64Paths()) {
        if (Novu::CpuHas(path.features)) {
            paths.push_back(path);
        }
    }
    return paths;
}

string RandomBytes(size_t size, Random& random) {
    string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

// The model

string Modelled(const char* alphabet, const string& data) {
    string text;
    for (size_t bit = 0; bit + 6 <= data.size() * 8; bit += 6) {
        unsigned int value = 0;
        for (size_t at = bit; at != bit + 6; ++at) {
            const auto byte = static_cast<unsigned char>(data[at / 8]);
            value = value << 1 | (byte >> (7 - at % 8) & 1U);
        }
        text += alphabet[value];
    }
    return text;
}

// Calls of the paths, with memory that ends or begins with what is given, and
// is junk around what is written. Of `data`, whose size is a multiple of 3,
// gives the text so far as it was encoded.

class Memory {
public:
    Memory(size_t at, const string& content, size_t room)
        : in(at + content.size()), out(at + room + kAlignments, kJunk) {
        std::copy(content.begin(), content.end(), in.begin() + Offset(at));
    }

    const char* In(size_t at) const { return in.data() + at; }
    char* Out(size_t at) { return out.data() + at; }

    // Whether all but out[at, at + size) is junk still.
    bool IsJunkAround(size_t at, size_t size) const {
        const auto isJunk = [](char byte) { return byte == kJunk; };
        return std::all_of(out.begin(), out.begin() + Offset(at), isJunk) &&
               std::all_of(out.begin() + Offset(at + size), out.end(), isJunk);
    }

private:
    static std::ptrdiff_t Offset(size_t at) {
        return static_cast<std::ptrdiff_t>(at);
    }

    std::vector<char> in;
    std::vector<char> out;
};

// How many bytes of `data` are encoded, and rightly; npos where they are not.
size_t Encoded(const Base64Path& path, const char* alphabet, const string& data,
               size_t at = 0) {
    const string text = Modelled(alphabet, data);
    Memory memory(at, data, text.size());
    const size_t done =
        path.encode(alphabet, memory.In(at), data.size(), memory.Out(at));
    const size_t written = done / 3 * 4;
    const bool right = done % 3 == 0 && done <= data.size() &&
                       text.compare(0, written, memory.Out(at), written) == 0 &&
                       memory.IsJunkAround(at, written);
    return right ? done : string::npos;
}

// Likewise, of the text for `data`. `mark` replaces the character `markAt`.
size_t Decoded(const Base64Path& path, const char* alphabet,
               const Base64Values& values, const string& data, size_t at = 0,
               size_t markAt = string::npos, char mark = '=') {
    string text = Modelled(alphabet, data);
    size_t good = text.size();
    if (markAt < text.size()) {
        text[markAt] = mark;
        good = markAt / 4 * 4;
    }
    Memory memory(at, text, text.size());
    const size_t done =
        path.decode(values, memory.In(at), text.size(), memory.Out(at));
    const size_t written = done / 4 * 3;
    const bool right = done % 4 == 0 && done <= good &&
                       data.compare(0, written, memory.Out(at), written) == 0 &&
                       memory.IsJunkAround(at, text.size());
    return right ? done : string::npos;
}

TEST(Base64Blocks, PathsEndWithThePlainOne) {
    const auto all = Novu::Base64Paths();
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(0U, all.back().features);
    EXPECT_EQ(Novu::Base64EncodePlain, all.back().encode);
    EXPECT_EQ(Novu::Base64DecodePlain, all.back().decode);
    string here;
    for (const Base64Path& path : PathsHere()) {
        here += string(here.empty() ? "" : ", ") + path.name;
    }
    RecordProperty("paths", here);
}

TEST(Base64Blocks, EveryLengthIsEncoded) {
    Random random(kSeed);
    for (size_t length = 0; length <= kLongest; ++length) {
        const string data = RandomBytes(length, random);
        for (const Base64Path& path : PathsHere()) {
            for (const char* const alphabet : {Novu::kBase64Standard, kOther}) {
                ASSERT_NE(string::npos, Encoded(path, alphabet, data))
                    << path.name << ", " << length << " bytes";
            }
        }
        EXPECT_EQ(length / 3 * 3,
                  Encoded(Novu::Base64Paths().back(), kOther, data));
    }
}

TEST(Base64Blocks, EveryLengthIsDecoded) {
    Random random(kSeed);
    const Base64Values others = Novu::Base64ValuesOf(kOther);
    for (size_t length = 0; length <= kLongest; ++length) {
        const string data = RandomBytes(length, random);
        for (const Base64Path& path : PathsHere()) {
            ASSERT_NE(string::npos, Decoded(path, Novu::kBase64Standard,
                                            Novu::kBase64StandardValues, data))
                << path.name << ", " << length << " bytes";
            ASSERT_NE(string::npos, Decoded(path, kOther, others, data))
                << path.name << ", " << length << " bytes";
        }
        EXPECT_EQ(Modelled(kOther, data).size() / 4 * 4,
                  Decoded(Novu::Base64Paths().back(), kOther, others, data));
    }
}

// A path that does nothing would be right everywhere.
TEST(Base64Blocks, VectorsDoNearlyAllOfALongText) {
    Random random(kSeed);
    const string data = RandomBytes(3000, random);
    for (const Base64Path& path : PathsHere()) {
        const size_t encoded = Encoded(path, Novu::kBase64Standard, data);
        ASSERT_NE(string::npos, encoded) << path.name;
        EXPECT_LE(2970U, encoded) << path.name;
        const size_t decoded = Decoded(path, Novu::kBase64Standard,
                                       Novu::kBase64StandardValues, data);
        ASSERT_NE(string::npos, decoded) << path.name;
        EXPECT_LE(3960U, decoded) << path.name;
    }
}

TEST(Base64Blocks, NothingNeedsToBeAligned) {
    Random random(kSeed);
    const string data = RandomBytes(150, random);
    for (const Base64Path& path : PathsHere()) {
        for (size_t at = 0; at != kAlignments; ++at) {
            ASSERT_NE(string::npos,
                      Encoded(path, Novu::kBase64Standard, data, at))
                << path.name << " at " << at;
            ASSERT_NE(string::npos,
                      Decoded(path, Novu::kBase64Standard,
                              Novu::kBase64StandardValues, data, at))
                << path.name << " at " << at;
        }
    }
}

TEST(Base64Blocks, DecodingStopsBeforeTheGroupOfAMark) {
    Random random(kSeed);
    const string data = RandomBytes(150, random);  // 200 characters
    for (const Base64Path& path : PathsHere()) {
        for (const char mark : {'=', ' ', '\n', '-', '_', '\x7F', '\xBD'}) {
            for (size_t at = 0; at != 200; ++at) {
                ASSERT_NE(string::npos, Decoded(path, Novu::kBase64Standard,
                                                Novu::kBase64StandardValues,
                                                data, 0, at, mark))
                    << path.name << ": " << static_cast<int>(mark) << " at "
                    << at;
            }
        }
    }
    for (size_t at = 0; at != 200; ++at) {
        EXPECT_EQ(at / 4 * 4,
                  Decoded(Novu::Base64Paths().back(), Novu::kBase64Standard,
                          Novu::kBase64StandardValues, data, 0, at));
    }
}

// Each of the 256 characters, at a place in a vector that changes.
TEST(Base64Blocks, EveryCharacterHasItsValueOrIsAMark) {
    for (const char* const alphabet : {Novu::kBase64Standard, kOther}) {
        const string characters(alphabet, 64);
        const Base64Values own = Novu::Base64ValuesOf(alphabet);
        const Base64Values& values = alphabet == Novu::kBase64Standard
                                         ? Novu::kBase64StandardValues
                                         : own;
        for (unsigned int character = 0; character != 256; ++character) {
            // By its seven low bits.
            const size_t value =
                characters.find(static_cast<char>(character & 0x7FU));
            string text(128, 'A');
            const size_t place = character % 64;
            text[place] = static_cast<char>(character);
            string expected(96, '\0');
            if (value != string::npos) {
                const size_t group = value << (18 - 6 * (place % 4));
                const size_t byte = place / 4 * 3;
                expected[byte] = static_cast<char>(group >> 16);
                expected[byte + 1] = static_cast<char>(group >> 8);
                expected[byte + 2] = static_cast<char>(group);
            }
            for (const Base64Path& path : PathsHere()) {
                string out(text.size(), kJunk);
                const size_t done =
                    path.decode(values, text.data(), text.size(), out.data());
                const size_t most =
                    value == string::npos ? place / 4 * 4 : text.size();
                ASSERT_LE(done, most) << path.name << ": " << character;
                ASSERT_EQ(
                    0, out.compare(0, done / 4 * 3, expected, 0, done / 4 * 3))
                    << path.name << ": " << character;
            }
        }
    }
}

TEST(Base64Blocks, EveryValueHasItsCharacter) {
    for (const char* const alphabet : {Novu::kBase64Standard, kOther}) {
        string data;  // The groups of values 0 0 0 0, 1 1 1 1, ...
        string expected;
        for (unsigned int value = 0; value != 64; ++value) {
            const unsigned int group = value * 0x041041;
            data += static_cast<char>(group >> 16);
            data += static_cast<char>(group >> 8);
            data += static_cast<char>(group);
            expected += string(4, alphabet[value]);
        }
        for (const Base64Path& path : PathsHere()) {
            string text(expected.size(), kJunk);
            const size_t done =
                path.encode(alphabet, data.data(), data.size(), text.data());
            EXPECT_EQ(expected.substr(0, done / 3 * 4),
                      text.substr(0, done / 3 * 4))
                << path.name;
        }
    }
}

}  // namespace
