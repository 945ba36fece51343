// The contract of Bases/Impl/BitsBlocks.h: each path, beside a model that goes
// bit by bit. Texts have the highest bit first.

#include "Bases/Impl/BitsBlocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "tests/support/Paths.h"

namespace {

using Novu::BitsPath;

using NovuTest::RandomBytes;

using std::size_t;
using std::string;
using Bytes = std::vector<unsigned char>;
using Random = std::mt19937;

const Random::result_type kSeed = 20261122;

const size_t kMostBytes = 300;
const size_t kAlignments = 64;
const char kJunk = '\x5A';

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

TEST(BitsBlocksTest, PathsEndWithThePlainOne) {
    const auto all = Novu::BitsPaths();
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(0U, all.back().features);
    EXPECT_EQ(Novu::BitsCountPlain, all.back().count);
    EXPECT_EQ(Novu::BitsWritePlain, all.back().write);
    EXPECT_EQ(Novu::BitsDigitsPlain, all.back().digits);
    EXPECT_EQ(Novu::BitsReadPlain, all.back().read);
}

class BitsBlocksOnPath : public NovuTest::PathTest<BitsPath> {
protected:
    // At each number of bytes up to several vectors, at places that change.
    template <typename Check>
    void OfEverySize(Check check) {
        for (size_t size = 0; size <= kMostBytes; ++size) {
            check(RandomBytes<Bytes>(size, random), size % kAlignments);
            if (HasFatalFailure()) {
                FAIL() << size << " bytes";
            }
        }
        // And at each place.
        const Bytes bytes = RandomBytes<Bytes>(150, random);
        for (size_t at = 0; at != kAlignments; ++at) {
            check(bytes, at);
            if (HasFatalFailure()) {
                FAIL() << "at " << at;
            }
        }
    }

    Random random{kSeed};
};

INSTANTIATE_TEST_SUITE_P(Paths, BitsBlocksOnPath,
                         testing::ValuesIn(Novu::BitsPaths()),
                         NovuTest::PathName<BitsPath>);

TEST_P(BitsBlocksOnPath, OnesAreCounted) {
    OfEverySize([&](const Bytes& bytes, size_t at) {
        const string text = Modelled(bytes);
        const auto ones =
            static_cast<size_t>(std::count(text.begin(), text.end(), '1'));
        const Bytes memory = Placed(bytes, at);
        ASSERT_EQ(ones, path.count(memory.data() + at, bytes.size()));
    });
}

TEST_P(BitsBlocksOnPath, DigitsAreWritten) {
    OfEverySize([&](const Bytes& bytes, size_t at) {
        const string text = Modelled(bytes);
        std::vector<char> memory = Placed(string(text.size(), '?'), at);
        path.write(bytes.data(), bytes.size(),
                   memory.data() + at + text.size());
        ASSERT_EQ(Placed(text, at), memory);
    });
}

TEST_P(BitsBlocksOnPath, DigitsAreRead) {
    OfEverySize([&](const Bytes& bytes, size_t at) {
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
TEST_P(BitsBlocksOnPath, OnesAreCountedWhereAllAre) {
    for (const size_t size : {248U, 256U, 2048U, 2049U, 65536U, 100001U}) {
        const Bytes bytes(size, 0xFF);
        EXPECT_EQ(size * 8, path.count(bytes.data(), size));
    }
}

TEST_P(BitsBlocksOnPath, EachBitIsCountedAndHasItsDigit) {
    for (size_t bit = 0; bit != 640; ++bit) {
        Bytes bytes(80);
        bytes[bit / 8] = static_cast<unsigned char>(1U << bit % 8);
        string expected(640, '0');
        expected[639 - bit] = '1';
        EXPECT_EQ(1U, path.count(bytes.data(), bytes.size()));
        string text(640, kJunk);
        path.write(bytes.data(), bytes.size(), text.data() + 640);
        EXPECT_EQ(expected, text);
        Bytes read(80, 0xFF);
        path.read(read.data(), read.size(), text.data() + 640);
        EXPECT_EQ(bytes, read);
    }
}

TEST_P(BitsBlocksOnPath, DigitsAreCountedFromTheEnd) {
    for (size_t size = 0; size <= kMostBytes; ++size) {
        string text(size, '0');
        for (char& digit : text) {
            digit = random() % 2 == 0 ? '0' : '1';
        }
        ASSERT_EQ(size, path.digits(text.data(), size));
        // What is before the text does not count.
        const string more = "1" + text;
        ASSERT_EQ(size, path.digits(more.data() + 1, size));
        if (size != 0) {
            const size_t at = random() % size;
            text[at] = 'x';
            ASSERT_EQ(size - 1 - at, path.digits(text.data(), size))
                << "a stranger at " << at << " of " << size;
        }
    }
}

TEST_P(BitsBlocksOnPath, OnlyTwoCharactersAreDigits) {
    for (unsigned int character = 0; character != 256; ++character) {
        const auto stranger = static_cast<char>(character);
        const bool isDigit = stranger == '0' || stranger == '1';
        for (const size_t at : {3U, 77U, 150U, 199U}) {
            string text(200, '1');
            text[at] = stranger;
            EXPECT_EQ(isDigit ? 200 : 199 - at,
                      path.digits(text.data(), text.size()))
                << character << " at " << at;
        }
    }
}

}  // namespace
