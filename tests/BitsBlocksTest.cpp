// The contract of Bases/Impl/BitsBlocks.h: each path that this processor can
// take, beside a model that goes bit by bit. Texts have the highest bit first.

#include "Bases/Impl/BitsBlocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "Bases/Impl/CpuFeatures.h"

namespace {

using Novu::BitsPath;

using std::size_t;
using std::string;
using Bytes = std::vector<unsigned char>;
using Random = std::mt19937;

const Random::result_type kSeed = 20261122;

const size_t kMostBytes = 300;
const size_t kAlignments = 64;
const char kJunk = '\x5A';

std::vector<BitsPath> PathsHere() {
    std::vector<BitsPath> paths;
    for (const BitsPath& path : Novu::BitsPaths()) {
        if (Novu::CpuHas(path.features)) {
            paths.push_back(path);
        }
    }
    return paths;
}

Bytes RandomBytes(size_t size, Random& random) {
    Bytes bytes(size);
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(random());
    }
    return bytes;
}

// The text of some bytes.
string Modelled(const Bytes& bytes) {
    string text;
    for (size_t bit = bytes.size() * 8; bit-- != 0;) {
        text += (bytes[bit / 8] >> bit % 8 & 1) != 0 ? '1' : '0';
    }
    return text;
}

// `content`, so many bytes from the beginning of other memory, which is junk
// before and behind.
template <typename Content>
std::vector<typename Content::value_type> Placed(const Content& content,
                                                 size_t at) {
    using Value = typename Content::value_type;
    std::vector<Value> memory(at, static_cast<Value>(kJunk));
    memory.insert(memory.end(), content.begin(), content.end());
    memory.resize(memory.size() + kAlignments, static_cast<Value>(kJunk));
    return memory;
}

TEST(BitsBlocks, PathsEndWithThePlainOne) {
    const auto all = Novu::BitsPaths();
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(0U, all.back().features);
    EXPECT_EQ(Novu::BitsCountPlain, all.back().count);
    EXPECT_EQ(Novu::BitsWritePlain, all.back().write);
    EXPECT_EQ(Novu::BitsDigitsPlain, all.back().digits);
    EXPECT_EQ(Novu::BitsReadPlain, all.back().read);
    string here;
    for (const BitsPath& path : PathsHere()) {
        here += string(here.empty() ? "" : ", ") + path.name;
    }
    RecordProperty("paths", here);
}

// At each number of bytes up to several vectors, at places that change.
class BitsBlocksOfEverySize : public testing::Test {
protected:
    template <typename Check>
    void ForEach(Check check) {
        for (size_t size = 0; size <= kMostBytes; ++size) {
            const Bytes bytes = RandomBytes(size, random);
            const size_t at = size % kAlignments;
            for (const BitsPath& path : PathsHere()) {
                check(path, bytes, at);
                if (HasFatalFailure()) {
                    FAIL() << path.name << ", " << size << " bytes";
                }
            }
        }
        // And at each place.
        const Bytes bytes = RandomBytes(150, random);
        for (size_t at = 0; at != kAlignments; ++at) {
            for (const BitsPath& path : PathsHere()) {
                check(path, bytes, at);
                if (HasFatalFailure()) {
                    FAIL() << path.name << " at " << at;
                }
            }
        }
    }

    Random random{kSeed};
};

TEST_F(BitsBlocksOfEverySize, OnesAreCounted) {
    ForEach([](const BitsPath& path, const Bytes& bytes, size_t at) {
        const string text = Modelled(bytes);
        const auto ones =
            static_cast<size_t>(std::count(text.begin(), text.end(), '1'));
        const Bytes memory = Placed(bytes, at);
        ASSERT_EQ(ones, path.count(memory.data() + at, bytes.size()));
    });
}

TEST_F(BitsBlocksOfEverySize, DigitsAreWritten) {
    ForEach([](const BitsPath& path, const Bytes& bytes, size_t at) {
        const string text = Modelled(bytes);
        std::vector<char> memory = Placed(string(text.size(), '?'), at);
        path.write(bytes.data(), bytes.size(),
                   memory.data() + at + text.size());
        ASSERT_EQ(Placed(text, at), memory);
    });
}

TEST_F(BitsBlocksOfEverySize, DigitsAreRead) {
    ForEach([](const BitsPath& path, const Bytes& bytes, size_t at) {
        const string text = Modelled(bytes);
        const std::vector<char> memory = Placed(text, at);
        Bytes read = Placed(Bytes(bytes.size()), at);
        path.read(read.data() + at, bytes.size(),
                  memory.data() + at + text.size());
        ASSERT_EQ(Placed(bytes, at), read);
    });
}

// All ones, and so many that sums in a byte would overflow if they were not
// gathered in time.
TEST(BitsBlocks, OnesAreCountedWhereAllAre) {
    for (const size_t size : {248U, 256U, 2048U, 2049U, 65536U, 100001U}) {
        const Bytes bytes(size, 0xFF);
        for (const BitsPath& path : PathsHere()) {
            EXPECT_EQ(size * 8, path.count(bytes.data(), size)) << path.name;
        }
    }
}

TEST(BitsBlocks, EachBitIsCountedAndHasItsDigit) {
    for (size_t bit = 0; bit != 640; ++bit) {
        Bytes bytes(80);
        bytes[bit / 8] = static_cast<unsigned char>(1U << bit % 8);
        string expected(640, '0');
        expected[639 - bit] = '1';
        for (const BitsPath& path : PathsHere()) {
            EXPECT_EQ(1U, path.count(bytes.data(), bytes.size())) << path.name;
            string text(640, kJunk);
            path.write(bytes.data(), bytes.size(), text.data() + 640);
            EXPECT_EQ(expected, text) << path.name;
            Bytes read(80, 0xFF);
            path.read(read.data(), read.size(), text.data() + 640);
            EXPECT_EQ(bytes, read) << path.name;
        }
    }
}

TEST(BitsBlocks, DigitsAreCountedFromTheEnd) {
    Random random(kSeed);
    for (size_t size = 0; size <= kMostBytes; ++size) {
        string text(size, '0');
        for (char& digit : text) {
            digit = random() % 2 == 0 ? '0' : '1';
        }
        for (const BitsPath& path : PathsHere()) {
            ASSERT_EQ(size, path.digits(text.data(), size)) << path.name;
            // What is before the text does not count.
            const string more = "1" + text;
            ASSERT_EQ(size, path.digits(more.data() + 1, size)) << path.name;
        }
        if (size != 0) {
            const size_t at = random() % size;
            text[at] = 'x';
            for (const BitsPath& path : PathsHere()) {
                ASSERT_EQ(size - 1 - at, path.digits(text.data(), size))
                    << path.name << ": a stranger at " << at << " of " << size;
            }
        }
    }
}

TEST(BitsBlocks, OnlyTwoCharactersAreDigits) {
    for (unsigned int character = 0; character != 256; ++character) {
        const auto stranger = static_cast<char>(character);
        const bool isDigit = stranger == '0' || stranger == '1';
        for (const size_t at : {3U, 77U, 150U, 199U}) {
            string text(200, '1');
            text[at] = stranger;
            for (const BitsPath& path : PathsHere()) {
                EXPECT_EQ(isDigit ? 200 : 199 - at,
                          path.digits(text.data(), text.size()))
                    << path.name << ": " << character << " at " << at;
            }
        }
    }
}

}  // namespace
