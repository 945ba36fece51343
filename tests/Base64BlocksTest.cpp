// The contract of Bases/Impl/Base64Blocks.h: each path, beside a model that
// goes bit by bit. A path may stop where it likes, but the one that is last has
// to come to the end.

#include "Bases/Impl/Base64Blocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "tests/support/Paths.h"

namespace {

using Novu::Base64Path;
using Novu::Base64Values;

using NovuTest::RandomBytes;

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

// With '=', which is a mark all the same; with a zero byte, and characters from
// 0x80 on, which are written, but not read: of those with the same seven bits,
// the one below 0x80 has the value; and with 'B' and 'C' more than once, which
// have the value of the last place. 'A' is 0, as in the others.
const char kOdd[] =
    "A\0=BBCCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnop"
    "\x80\xBD\xC1\xE2\xF3\xFF\x7F\x01 -_/0123BC";
static_assert(sizeof kOdd == 65);

const char* const kAlphabets[] = {Novu::kBase64Standard, kOther, kOdd};

// The model: the text for all whole groups of six bits, without padding.

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

// Calls of the paths

// What a path is given, at the end of its memory, and memory that is junk
// around what it writes.
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

// Whether a path takes an alphabet at all. A path for the standard one leaves
// the others to the next path.
bool Takes(const Base64Path& path, const char* alphabet) {
    return alphabet == Novu::kBase64Standard || string(path.name) != "AVX2";
}

TEST(Base64BlocksTest, PathsEndWithThePlainOne) {
    const auto all = Novu::Base64Paths();
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(0U, all.back().features);
    EXPECT_EQ(Novu::Base64EncodePlain, all.back().encode);
    EXPECT_EQ(Novu::Base64DecodePlain, all.back().decode);
}

TEST(Base64BlocksTest, ThePlainPathLeavesNothing) {
    Random random(kSeed);
    const Base64Path plain = Novu::Base64Paths().back();
    const Base64Values others = Novu::Base64ValuesOf(kOther);
    for (size_t length = 0; length <= kLongest; ++length) {
        const string data = RandomBytes<string>(length, random);
        EXPECT_EQ(length / 3 * 3, Encoded(plain, kOther, data));
        EXPECT_EQ(Modelled(kOther, data).size() / 4 * 4,
                  Decoded(plain, kOther, others, data));
    }
    const string data = RandomBytes<string>(150, random);  // 200 characters
    for (size_t at = 0; at != 200; ++at) {
        EXPECT_EQ(at / 4 * 4,
                  Decoded(plain, Novu::kBase64Standard,
                          Novu::kBase64StandardValues, data, 0, at));
    }
}

class Base64BlocksOnPath : public NovuTest::PathTest<Base64Path> {
protected:
    Random random{kSeed};
};

INSTANTIATE_TEST_SUITE_P(Paths, Base64BlocksOnPath,
                         testing::ValuesIn(Novu::Base64Paths()),
                         NovuTest::PathName<Base64Path>);

TEST_P(Base64BlocksOnPath, EveryLengthIsEncoded) {
    for (size_t length = 0; length <= kLongest; ++length) {
        const string data = RandomBytes<string>(length, random);
        for (const char* const alphabet : kAlphabets) {
            ASSERT_NE(string::npos, Encoded(path, alphabet, data))
                << length << " bytes";
        }
    }
}

TEST_P(Base64BlocksOnPath, EveryLengthIsDecoded) {
    const Base64Values others = Novu::Base64ValuesOf(kOther);
    for (size_t length = 0; length <= kLongest; ++length) {
        const string data = RandomBytes<string>(length, random);
        ASSERT_NE(string::npos, Decoded(path, Novu::kBase64Standard,
                                        Novu::kBase64StandardValues, data))
            << length << " bytes";
        ASSERT_NE(string::npos, Decoded(path, kOther, others, data))
            << length << " bytes";
    }
}

// A path that does nothing would be right everywhere.
TEST_P(Base64BlocksOnPath, NearlyAllOfALongTextIsDone) {
    const string data = RandomBytes<string>(3000, random);
    const Base64Values others = Novu::Base64ValuesOf(kOther);
    for (const char* const alphabet : {Novu::kBase64Standard, kOther}) {
        const size_t encoded = Encoded(path, alphabet, data);
        ASSERT_NE(string::npos, encoded);
        const size_t decoded = Decoded(
            path, alphabet,
            alphabet == kOther ? others : Novu::kBase64StandardValues, data);
        ASSERT_NE(string::npos, decoded);
        if (Takes(path, alphabet)) {
            EXPECT_LE(2970U, encoded);
            EXPECT_LE(3960U, decoded);
        }
    }
}

TEST_P(Base64BlocksOnPath, NothingNeedsToBeAligned) {
    const string data = RandomBytes<string>(150, random);
    for (size_t at = 0; at != kAlignments; ++at) {
        ASSERT_NE(string::npos, Encoded(path, Novu::kBase64Standard, data, at))
            << "at " << at;
        ASSERT_NE(string::npos, Decoded(path, Novu::kBase64Standard,
                                        Novu::kBase64StandardValues, data, at))
            << "at " << at;
    }
}

TEST_P(Base64BlocksOnPath, DecodingStopsBeforeTheGroupOfAMark) {
    const string data = RandomBytes<string>(150, random);  // 200 characters
    for (const char mark : {'=', ' ', '\n', '-', '_', '\x7F', '\xBD'}) {
        for (size_t at = 0; at != 200; ++at) {
            ASSERT_NE(string::npos,
                      Decoded(path, Novu::kBase64Standard,
                              Novu::kBase64StandardValues, data, 0, at, mark))
                << static_cast<int>(mark) << " at " << at;
        }
    }
}

// Each of the 256 characters, at a place in a vector that changes.
TEST_P(Base64BlocksOnPath, EveryCharacterHasItsValueOrIsAMark) {
    for (const char* const alphabet : kAlphabets) {
        const string characters(alphabet, 64);
        const Base64Values own = Novu::Base64ValuesOf(alphabet);
        const Base64Values& values = alphabet == Novu::kBase64Standard
                                         ? Novu::kBase64StandardValues
                                         : own;
        for (unsigned int character = 0; character != 256; ++character) {
            // By its seven low bits, and the last of equal ones.
            const auto low = static_cast<char>(character & 0x7FU);
            const size_t value =
                low == '=' ? string::npos : characters.rfind(low);
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
            string out(text.size(), kJunk);
            const size_t done =
                path.decode(values, text.data(), text.size(), out.data());
            const size_t most =
                value == string::npos ? place / 4 * 4 : text.size();
            ASSERT_LE(done, most) << character;
            if (Takes(path, alphabet)) {
                // All vectors before a mark.
                ASSERT_LE(most / 32 * 32, done) << character;
            }
            ASSERT_EQ(0,
                      out.compare(0, done / 4 * 3, expected, 0, done / 4 * 3))
                << character;
        }
    }
}

TEST_P(Base64BlocksOnPath, EveryValueHasItsCharacter) {
    for (const char* const alphabet : kAlphabets) {
        string data;  // The groups of values 0 0 0 0, 1 1 1 1, ...
        string expected;
        for (unsigned int value = 0; value != 64; ++value) {
            const unsigned int group = value * 0x041041;
            data += static_cast<char>(group >> 16);
            data += static_cast<char>(group >> 8);
            data += static_cast<char>(group);
            expected += string(4, alphabet[value]);
        }
        const size_t size = data.size();
        data += string(30, '\0');  // A path may leave so much.
        expected += string(40, alphabet[0]);
        string text(expected.size(), kJunk);
        const size_t done =
            path.encode(alphabet, data.data(), data.size(), text.data());
        if (Takes(path, alphabet)) {
            EXPECT_LE(size, done);
        }
        EXPECT_EQ(expected.substr(0, done / 3 * 4),
                  text.substr(0, done / 3 * 4));
    }
}

}  // namespace
