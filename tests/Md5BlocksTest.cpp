// The contract of Bases/Impl/Md5Blocks.h: each path, on whole messages beside
// OpenSSL, and on any states beside a model that follows RFC 1321 with a loop.

#include "Bases/Impl/Md5Blocks.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>

#include "tests/support/Paths.h"

namespace {

using Novu::Md5Path;

using NovuTest::RandomBytes;

using State = std::array<std::uint32_t, 4>;
using Random = std::mt19937;

const Random::result_type kSeed = 20261122;

const std::size_t kBlock = 64;
const std::size_t kMostBlocks = 40;

// What `path` makes of `state`.
State Transformed(const Md5Path& path, const State& state, const char* data,
                  std::size_t count) {
    std::uint32_t words[4];
    std::copy(state.begin(), state.end(), words);
    path.transform(words, data, count);
    return {words[0], words[1], words[2], words[3]};
}

// The model

std::uint32_t Rotated(std::uint32_t word, unsigned int bits) {
    return word << bits | word >> (32 - bits);
}

State Modelled(State state, const char* data, std::size_t count) {
    const unsigned int shifts[4][4] = {
        {7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
    for (; count != 0; --count, data += kBlock) {
        auto [a, b, c, d] = state;
        for (unsigned int step = 0; step != 64; ++step) {
            std::uint32_t mixed = 0;
            unsigned int word = 0;
            switch (step / 16) {
                case 0:
                    mixed = (b & c) | (~b & d);
                    word = step;
                    break;
                case 1:
                    mixed = (b & d) | (c & ~d);
                    word = (5 * step + 1) % 16;
                    break;
                case 2:
                    mixed = b ^ c ^ d;
                    word = (3 * step + 5) % 16;
                    break;
                default:
                    mixed = c ^ (b | ~d);
                    word = 7 * step % 16;
            }
            std::uint32_t added = 0;
            for (unsigned int byte = 4; byte-- != 0;) {
                added = added << 8 |
                        static_cast<unsigned char>(data[4 * word + byte]);
            }
            const double sine = std::fabs(std::sin(step + 1.0));
            added += static_cast<std::uint32_t>(sine * 4294967296.0);
            a = b + Rotated(a + mixed + added, shifts[step / 16][step % 4]);
            const std::uint32_t last = d;
            d = c;
            c = b;
            b = a;
            a = last;
        }
        state = {state[0] + a, state[1] + b, state[2] + c, state[3] + d};
    }
    return state;
}

// Tests

TEST(Md5BlocksTest, PathsEndWithThePlainOne) {
    const auto all = Novu::Md5Paths();
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(0U, all.back().features);
    EXPECT_EQ(Novu::Md5TransformBlocksPlain, all.back().transform);
}

class Md5BlocksOnPath : public NovuTest::PathTest<Md5Path> {
protected:
    Random random{kSeed};
};

INSTANTIATE_TEST_SUITE_P(Paths, Md5BlocksOnPath,
                         testing::ValuesIn(Novu::Md5Paths()),
                         NovuTest::PathName<Md5Path>);

TEST_P(Md5BlocksOnPath, AnyStateIsWorkedOnByAnyBlocks) {
    for (std::size_t count = 0; count <= kMostBlocks; ++count) {
        for (int repetition = 0; repetition != 8; ++repetition) {
            State state{};
            std::generate(state.begin(), state.end(), random);
            const std::string data =
                RandomBytes<std::string>(count * kBlock, random);
            const State expected = Modelled(state, data.data(), count);
            ASSERT_EQ(expected, Transformed(path, state, data.data(), count))
                << count << " blocks";
        }
    }
}

TEST_P(Md5BlocksOnPath, NothingNeedsToBeAligned) {
    const std::size_t count = 3;
    const std::string data =
        RandomBytes<std::string>(kBlock + count * kBlock, random);
    const State state = {1, 2, 3, 4};
    for (std::size_t at = 0; at != kBlock; ++at) {
        const char* const blocks = data.data() + at;
        const State expected = Modelled(state, blocks, count);
        ASSERT_EQ(expected, Transformed(path, state, blocks, count))
            << "at " << at;
    }
}

// A message of 55 bytes is one block: the message, 0x80, its bits in 8 bytes.
TEST_P(Md5BlocksOnPath, AMessageEndsAsItsDigest) {
    for (int repetition = 0; repetition != 100; ++repetition) {
        const std::string message = RandomBytes<std::string>(55, random);
        State expected{};
        unsigned int size = 0;
        ASSERT_EQ(1, EVP_Digest(message.data(), message.size(),
                                reinterpret_cast<unsigned char*>(&expected),
                                &size, EVP_md5(), nullptr));
        ASSERT_EQ(sizeof expected, size);
        const std::string block =
            message + '\x80' + '\xB8' + '\x01' + std::string(6, '\0');
        ASSERT_EQ(kBlock, block.size());
        const State initial = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
        EXPECT_EQ(expected, Transformed(path, initial, block.data(), 1));
        const Md5Path chosen{"chosen", 0, Novu::Md5TransformBlocks};
        EXPECT_EQ(expected, Transformed(chosen, initial, block.data(), 1));
    }
}

}  // namespace
