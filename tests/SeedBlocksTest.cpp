// The contract of Bases/Impl/SeedBlocks.h: each path, beside OpenSSL, which is
// given and gives the bytes of each word in reverse, and, for round keys that
// no key has, beside one block at a time.

#define OPENSSL_SUPPRESS_DEPRECATED  // SEED_set_key

#include "Bases/Impl/SeedBlocks.h"

#include <gtest/gtest.h>
#include <openssl/seed.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <vector>

#include "Bases/Impl/CpuFeatures.h"
#include "Bases/Seed.h"
#include "tests/support/OpenSslSeed.h"
#include "tests/support/Paths.h"

namespace {

using Novu::SeedDirection;
using Novu::SeedPath;

using NovuTest::RandomBytes;
using NovuTest::WordsReversed;

using Bytes = std::vector<unsigned char>;
using Random = std::mt19937;
using RoundKeys = std::array<std::uint32_t, 32>;

const Random::result_type kSeed = 20261122;

const std::size_t kBlock = 16;
const std::size_t kMostBlocks = 300;
const std::size_t kAlignments = 64;
const unsigned char kJunk = 0xA5;

// A message, and what it is enciphered, under one key.
struct Message {
    Message() {
        Novu::SeedScheduleKeysPlain(keys.data(), key.data());
        enciphered = WordsReversed(NovuTest::OpenSslSeed().Encrypt(
            WordsReversed(plain), WordsReversed(key)));
    }

    Random random{kSeed};
    Bytes key = RandomBytes<Bytes>(kBlock, random);
    Bytes plain = RandomBytes<Bytes>(kMostBlocks * kBlock, random);
    Bytes enciphered;
    RoundKeys keys{};
};

class SeedBlocksOnPath : public NovuTest::PathTest<SeedPath>,
                         protected Message {
protected:
    // Whether the path makes `count` blocks at `inAt` bytes from an aligned
    // address what they should be at `outAt`, and touches nothing beside.
    bool IsRight(SeedDirection direction, std::size_t count, std::size_t inAt,
                 std::size_t outAt) const {
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
};

INSTANTIATE_TEST_SUITE_P(Paths, SeedBlocksOnPath,
                         testing::ValuesIn(Novu::SeedPaths()),
                         NovuTest::PathName<SeedPath>);

const SeedDirection kDirections[] = {SeedDirection::kEncrypt,
                                     SeedDirection::kDecrypt};

TEST(SeedBlocksTest, PathsEndWithThePlainOne) {
    const auto all = Novu::SeedPaths();
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(0U, all.back().features);
    EXPECT_EQ(0UL, all.back().fewest);
    EXPECT_EQ(Novu::SeedTransformBlocksPlain, all.back().transform);
    EXPECT_EQ(Novu::SeedScheduleKeysPlain, all.back().schedule);
}

TEST_P(SeedBlocksOnPath, EveryNumberOfBlocksIsTransformed) {
    for (const SeedDirection direction : kDirections) {
        for (std::size_t count = 0; count <= kMostBlocks; ++count) {
            ASSERT_TRUE(IsRight(direction, count, 1, 3)) << count << " blocks";
        }
    }
}

TEST_P(SeedBlocksOnPath, NothingNeedsToBeAligned) {
    for (const SeedDirection direction : kDirections) {
        for (const std::size_t count : {1U, 7U, 16U, 65U, 70U}) {
            for (std::size_t at = 0; at != kAlignments; ++at) {
                ASSERT_TRUE(IsRight(direction, count, at, 5) &&
                            IsRight(direction, count, 5, at))
                    << count << " blocks at " << at;
            }
        }
    }
}

// The rounds of a vector add and exchange words that no key would lead to, too.
TEST_P(SeedBlocksOnPath, AnyRoundKeysAreTaken) {
    for (int repetition = 0; repetition != 20; ++repetition) {
        RoundKeys any{};
        std::generate(any.begin(), any.end(), random);
        const std::size_t count = 37;
        Bytes expected(plain.begin(), plain.begin() + count * kBlock);
        for (std::size_t block = 0; block != count; ++block) {
            SeedEncrypt(expected.data() + block * kBlock, any.data());
        }
        Bytes made(expected.size());
        path.transform(SeedDirection::kEncrypt, plain.data(), made.data(),
                       count, any.data());
        EXPECT_EQ(expected, made);
        path.transform(SeedDirection::kDecrypt, expected.data(), made.data(),
                       count, any.data());
        EXPECT_EQ(Bytes(plain.begin(), plain.begin() + count * kBlock), made);
    }
}

// Every byte of a key reaches many round keys, turned by every number of bytes.
TEST_P(SeedBlocksOnPath, RoundKeysAreThoseOfOpenSsl) {
    const std::uint32_t junk = 0xA5A5A5A5;
    for (int repetition = 0; repetition != 1000; ++repetition) {
        const std::size_t at = static_cast<std::size_t>(repetition) % kBlock;
        const Bytes userKey = RandomBytes<Bytes>(at + kBlock, random);
        const Bytes reversed =
            WordsReversed(Bytes(userKey.end() - kBlock, userKey.end()));
        SEED_KEY_SCHEDULE expected;
        ::SEED_set_key(reversed.data(), &expected);

        std::array<std::uint32_t, 34> made{};
        made.front() = junk;
        made.back() = junk;
        path.schedule(made.data() + 1, userKey.data() + at);
        ASSERT_TRUE(std::equal(std::begin(expected.data),
                               std::end(expected.data), made.begin() + 1));
        EXPECT_EQ(junk, made.front());
        EXPECT_EQ(junk, made.back());
    }
}

// The first path here, and the plain one where it would not pay.
TEST(SeedBlocksTest, TheFastestPathIsChosen) {
    const auto all = Novu::SeedPaths();
    const auto first = std::find_if(
        all.begin(), all.end(),
        [](const SeedPath& path) { return Novu::CpuHas(path.features); });
    ASSERT_NE(all.end(), first);
    for (unsigned long blocks = 0; blocks <= kMostBlocks; ++blocks) {
        EXPECT_EQ(blocks < first->fewest ? Novu::SeedTransformBlocksPlain
                                         : first->transform,
                  Novu::SeedTransformFor(blocks));
    }
    const Message message;
    RoundKeys made{};
    Novu::SeedScheduleKeys(made.data(), message.key.data());
    EXPECT_EQ(message.keys, made);
}

}  // namespace
