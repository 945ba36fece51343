// The contract of Bases/Impl/SeedBlocks.h: each path that this processor can
// take, beside OpenSSL, which is given and gives the bytes of each word in
// reverse, and, for round keys that no key has, beside one block at a time.

#include "Bases/Impl/SeedBlocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "Bases/Impl/CpuFeatures.h"
#include "Bases/Seed.h"
#include "tests/support/OpenSslSeed.h"

namespace {

using Novu::SeedDirection;
using Novu::SeedPath;

using Bytes = std::vector<unsigned char>;
using Random = std::mt19937;
using RoundKeys = std::array<std::uint32_t, 32>;

const Random::result_type kSeed = 20261122;

const std::size_t kBlock = 16;
const std::size_t kMostBlocks = 300;
const std::size_t kAlignments = 64;
const unsigned char kJunk = 0xA5;

Bytes RandomBytes(std::size_t size, Random& random) {
    Bytes bytes(size);
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(random());
    }
    return bytes;
}

std::vector<SeedPath> PathsHere() {
    std::vector<SeedPath> paths;
    for (const SeedPath& path : Novu::SeedPaths()) {
        if (Novu::CpuHas(path.features)) {
            paths.push_back(path);
        }
    }
    return paths;
}

// A message, and what it is enciphered, under one key.
class SeedBlocks : public testing::Test {
protected:
    SeedBlocks() {
        Novu::SeedScheduleKeysPlain(keys.data(), key.data());
        Bytes reversed = plain;
        ReverseWords(reversed);
        Bytes reversedKey = key;
        ReverseWords(reversedKey);
        enciphered = NovuTest::OpenSslSeed().Encrypt(reversed, reversedKey);
        ReverseWords(enciphered);
    }

    static void ReverseWords(Bytes& bytes) {
        for (auto word = bytes.begin(); word != bytes.end(); word += 4) {
            std::reverse(word, word + 4);
        }
    }

    // Whether `path` makes `count` blocks at `inAt` bytes from an aligned
    // address what they should be at `outAt`, and touches nothing beside.
    bool IsRight(const SeedPath& path, SeedDirection direction,
                 std::size_t count, std::size_t inAt, std::size_t outAt) const {
        const bool encrypt = direction == SeedDirection::kEncrypt;
        const Bytes& from = encrypt ? plain : enciphered;
        const Bytes& to = encrypt ? enciphered : plain;
        const std::size_t size = count * kBlock;

        alignas(kAlignments) static unsigned char
            in[kAlignments + kMostBlocks * kBlock];
        alignas(kAlignments) static unsigned char
            out[2 * kAlignments + kMostBlocks * kBlock];
        std::copy_n(from.data(), size, in + inAt);
        std::fill(std::begin(out), std::end(out), kJunk);
        path.transform(direction, in + inAt, out + outAt, count, keys.data());

        const auto isJunk = [](unsigned char byte) { return byte == kJunk; };
        return std::equal(to.data(), to.data() + size, out + outAt) &&
               std::equal(from.data(), from.data() + size, in + inAt) &&
               std::all_of(out, out + outAt, isJunk) &&
               std::all_of(out + outAt + size, std::end(out), isJunk);
    }

    Random random{kSeed};
    Bytes key = RandomBytes(kBlock, random);
    Bytes plain = RandomBytes(kMostBlocks * kBlock, random);
    Bytes enciphered;
    RoundKeys keys{};
};

const SeedDirection kDirections[] = {SeedDirection::kEncrypt,
                                     SeedDirection::kDecrypt};

TEST_F(SeedBlocks, PathsEndWithThePlainOne) {
    const auto all = Novu::SeedPaths();
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(0U, all.back().features);
    EXPECT_EQ(0UL, all.back().fewest);
    EXPECT_EQ(Novu::SeedTransformBlocksPlain, all.back().transform);
    EXPECT_EQ(Novu::SeedScheduleKeysPlain, all.back().schedule);
    std::string here;
    for (const SeedPath& path : PathsHere()) {
        here += std::string(here.empty() ? "" : ", ") + path.name;
    }
    RecordProperty("paths", here);
}

TEST_F(SeedBlocks, EveryNumberOfBlocksIsTransformed) {
    for (const SeedPath& path : PathsHere()) {
        for (const SeedDirection direction : kDirections) {
            for (std::size_t count = 0; count <= kMostBlocks; ++count) {
                ASSERT_TRUE(IsRight(path, direction, count, 1, 3))
                    << path.name << ", " << count << " blocks";
            }
        }
    }
}

TEST_F(SeedBlocks, NothingNeedsToBeAligned) {
    for (const SeedPath& path : PathsHere()) {
        for (const SeedDirection direction : kDirections) {
            for (const std::size_t count : {1U, 7U, 16U, 65U, 70U}) {
                for (std::size_t at = 0; at != kAlignments; ++at) {
                    ASSERT_TRUE(IsRight(path, direction, count, at, 5) &&
                                IsRight(path, direction, count, 5, at))
                        << path.name << ", " << count << " blocks at " << at;
                }
            }
        }
    }
}

// The rounds of a vector add and exchange words that no key would lead to, too.
TEST_F(SeedBlocks, AnyRoundKeysAreTaken) {
    for (int repetition = 0; repetition != 20; ++repetition) {
        RoundKeys any{};
        std::generate(any.begin(), any.end(), random);
        const std::size_t count = 37;
        Bytes expected(plain.begin(), plain.begin() + count * kBlock);
        for (std::size_t block = 0; block != count; ++block) {
            SeedEncrypt(expected.data() + block * kBlock, any.data());
        }
        for (const SeedPath& path : PathsHere()) {
            Bytes made(expected.size());
            path.transform(SeedDirection::kEncrypt, plain.data(), made.data(),
                           count, any.data());
            EXPECT_EQ(expected, made) << path.name;
            path.transform(SeedDirection::kDecrypt, expected.data(),
                           made.data(), count, any.data());
            EXPECT_EQ(Bytes(plain.begin(), plain.begin() + count * kBlock),
                      made)
                << path.name;
        }
    }
}

// Every byte of a key reaches many round keys, turned by every number of bytes.
TEST_F(SeedBlocks, EveryPathMakesTheSameRoundKeys) {
    const std::uint32_t junk = 0xA5A5A5A5;
    for (int repetition = 0; repetition != 1000; ++repetition) {
        const std::size_t at = static_cast<std::size_t>(repetition) % kBlock;
        const Bytes userKey = RandomBytes(at + kBlock, random);
        RoundKeys expected{};
        Novu::SeedScheduleKeysPlain(expected.data(), userKey.data() + at);
        for (const SeedPath& path : PathsHere()) {
            std::array<std::uint32_t, 34> made{};
            made.front() = junk;
            made.back() = junk;
            path.schedule(made.data() + 1, userKey.data() + at);
            ASSERT_TRUE(
                std::equal(expected.begin(), expected.end(), made.begin() + 1))
                << path.name;
            EXPECT_EQ(junk, made.front()) << path.name;
            EXPECT_EQ(junk, made.back()) << path.name;
        }
    }
}

// The first path here, and the plain one where it would not pay.
TEST_F(SeedBlocks, TheFastestPathIsChosen) {
    const SeedPath first = PathsHere().front();
    for (unsigned long blocks = 0; blocks <= kMostBlocks; ++blocks) {
        EXPECT_EQ(blocks < first.fewest ? Novu::SeedTransformBlocksPlain
                                        : first.transform,
                  Novu::SeedTransformFor(blocks));
    }
    RoundKeys made{};
    Novu::SeedScheduleKeys(made.data(), key.data());
    EXPECT_EQ(keys, made);
}

}  // namespace
