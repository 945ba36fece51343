// SEED, from Bases/Seed.h, by the formulas of RFC 4269.
//
// A block is a left half (L0, L1) and a right half (R0, R1). Sixteen rounds
// change one half by the other in turn, each under a pair of round keys; the
// halves change places on the way out. Decryption is the same with the pairs in
// reverse. There is no branch on data, and the rounds of one block are written
// out: the places of its round keys are constants. What a round calls is inline
// by order, since g++ would call it instead and pass the halves in memory.

#include "Bases/Seed.h"

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstring>
#include <utility>

#include "Bases/Impl/CpuFeatures.h"
#include "Bases/Impl/SeedBlocks.h"
#include "Bases/Impl/SeedTables.h"

namespace Novu {

namespace {

using Word = std::uint32_t;

const std::size_t kRounds = 16;

// Words of memory, which need not be aligned, in the host's byte order.

Word LoadWord(const void* words, std::size_t index) {
    Word word = 0;
    std::memcpy(&word,
                static_cast<const unsigned char*>(words) + index * sizeof word,
                sizeof word);
    return word;
}

void StoreWord(void* words, std::size_t index, Word word) {
    std::memcpy(static_cast<unsigned char*>(words) + index * sizeof word, &word,
                sizeof word);
}

Word G(Word word) {
    return kSeedSs0[word & 0xFF] ^ kSeedSs1[word >> 8 & 0xFF] ^
           kSeedSs2[word >> 16 & 0xFF] ^ kSeedSs3[word >> 24];
}

struct Half {
    Word word0;
    Word word1;
};

// Changes `changed` by `read` under the round keys `key0` and `key1`.
[[gnu::always_inline]] inline void Round(Half& changed, const Half& read,
                                         Word key0, Word key1) {
    Word t0 = read.word0 ^ key0;
    Word t1 = read.word1 ^ key1;
    t1 = G(t1 ^ t0);
    t0 = G(t0 + t1);
    t1 = G(t1 + t0);
    changed.word0 ^= t0 + t1;
    changed.word1 ^= t1;
}

// The pair of round keys of the first round.
const Word* FirstKeys(SeedDirection direction, const Word* roundKeys) {
    return direction == SeedDirection::kEncrypt ? roundKeys
                                                : roundKeys + 2 * (kRounds - 1);
}

// From there to that of the next round, in words.
constexpr std::ptrdiff_t StepOf(SeedDirection direction) {
    return direction == SeedDirection::kEncrypt ? 2 : -2;
}

// Some blocks at once: while one waits for its look-ups, the others go on.
template <std::size_t blocks>
struct SeedState {
    Half left[blocks];
    Half right[blocks];

    explicit SeedState(const unsigned char* in) {
        for (std::size_t block = 0; block != blocks; ++block) {
            const unsigned char* const words = in + block * kSeedBlockSize;
            left[block] = {LoadWord(words, 0), LoadWord(words, 1)};
            right[block] = {LoadWord(words, 2), LoadWord(words, 3)};
        }
    }

    void Store(unsigned char* out) const {
        for (std::size_t block = 0; block != blocks; ++block) {
            unsigned char* const words = out + block * kSeedBlockSize;
            StoreWord(words, 0, right[block].word0);
            StoreWord(words, 1, right[block].word1);
            StoreWord(words, 2, left[block].word0);
            StoreWord(words, 3, left[block].word1);
        }
    }

    // A round with an even number from 0, and the next one.
    [[gnu::always_inline]] void TwoRounds(const Word* keys,
                                          std::ptrdiff_t step) {
        for (std::size_t block = 0; block != blocks; ++block) {
            Round(left[block], right[block], LoadWord(keys, 0),
                  LoadWord(keys, 1));
        }
        keys += step;
        for (std::size_t block = 0; block != blocks; ++block) {
            Round(right[block], left[block], LoadWord(keys, 0),
                  LoadWord(keys, 1));
        }
    }
};

template <SeedDirection direction>
void TransformOne(const unsigned char* in, unsigned char* out,
                  const Word* roundKeys) {
    const Word* const keys = FirstKeys(direction, roundKeys);
    constexpr std::ptrdiff_t step = StepOf(direction);
    SeedState<1> state(in);
    [&]<std::ptrdiff_t... twoRounds>(
        std::integer_sequence<std::ptrdiff_t, twoRounds...> /*numbers*/) {
        (state.TwoRounds(keys + 2 * twoRounds * step, step), ...);
    }
    (std::make_integer_sequence<std::ptrdiff_t, kRounds / 2>());
    state.Store(out);
}

// Four blocks keep the processor busy. All rounds of theirs, written out, would
// take too much of its cache of instructions.
const std::size_t kTogether = 4;

void TransformTogether(const unsigned char* in, unsigned char* out,
                       const Word* keys, std::ptrdiff_t step) {
    SeedState<kTogether> state(in);
    for (std::size_t round = 0; round != kRounds; round += 4) {
        state.TwoRounds(keys, step);
        state.TwoRounds(keys + 2 * step, step);
        keys += 4 * step;
    }
    state.Store(out);
}

// The key as two times eight bytes, the first word of each high.
struct Key {
    std::uint64_t ab;
    std::uint64_t cd;
};

// After every even pair of round keys the first half turns right by a byte, and
// after every odd one the second half turns left.
template <std::size_t pair>
void WritePair(const Key& key, Word* roundKeys) {
    const std::uint64_t ab = std::rotr(key.ab, 8 * ((pair + 1) / 2));
    const std::uint64_t cd = std::rotl(key.cd, 8 * (pair / 2));
    const auto a = static_cast<Word>(ab >> 32);
    const auto b = static_cast<Word>(ab);
    const auto c = static_cast<Word>(cd >> 32);
    const auto d = static_cast<Word>(cd);
    const Word constant = kSeedKeyConstants[pair];
    StoreWord(roundKeys, 2 * pair, G(a + c - constant));
    StoreWord(roundKeys, 2 * pair + 1, G(b - d + constant));
}

}  // namespace

void SeedTransformBlocksPlain(SeedDirection direction, const unsigned char* in,
                              unsigned char* out, unsigned long count,
                              const std::uint32_t* roundKeys) {
    const Word* const keys = FirstKeys(direction, roundKeys);
    const std::ptrdiff_t step = StepOf(direction);
    for (; count >= kTogether; count -= kTogether) {
        TransformTogether(in, out, keys, step);
        in += kTogether * kSeedBlockSize;
        out += kTogether * kSeedBlockSize;
    }
    for (; count != 0; --count) {
        if (direction == SeedDirection::kEncrypt) {
            TransformOne<SeedDirection::kEncrypt>(in, out, roundKeys);
        } else {
            TransformOne<SeedDirection::kDecrypt>(in, out, roundKeys);
        }
        in += kSeedBlockSize;
        out += kSeedBlockSize;
    }
}

void SeedScheduleKeysPlain(std::uint32_t* roundKeys,
                           const unsigned char* userKey) {
    const auto half = [userKey](std::size_t index) {
        const std::uint64_t high = LoadWord(userKey, index);
        return high << 32 | LoadWord(userKey, index + 1);
    };
    const Key key{half(0), half(2)};
    [&]<std::size_t... pair>(std::index_sequence<pair...> /*pairs*/) {
        (WritePair<pair>(key, roundKeys), ...);
    }
    (std::make_index_sequence<kRounds>());
}

// The choice

namespace {

const SeedPath& BestSeed() {
    static constinit std::atomic<const SeedPath*> best = nullptr;
    return BestPath(SeedPaths(), best);
}

}  // namespace

SeedTransform* SeedTransformFor(unsigned long blocks) {
    const SeedPath& path = BestSeed();
    return blocks >= path.fewest ? path.transform : SeedTransformBlocksPlain;
}

void SeedScheduleKeys(std::uint32_t* roundKeys, const unsigned char* userKey) {
    BestSeed().schedule(roundKeys, userKey);
}

}  // namespace Novu

// The plain names

void SeedRoundKey(std::uint32_t* roundKeys, const unsigned char* userKey) {
    Novu::SeedScheduleKeys(roundKeys, userKey);
}

void SeedEncrypt(unsigned char* block, const std::uint32_t* roundKeys) {
    Novu::TransformOne<Novu::SeedDirection::kEncrypt>(block, block, roundKeys);
}

void SeedDecrypt(unsigned char* block, const std::uint32_t* roundKeys) {
    Novu::TransformOne<Novu::SeedDirection::kDecrypt>(block, block, roundKeys);
}

void NovuSeedRoundKey(std::uint32_t* roundKeys, const unsigned char* userKey) {
    SeedRoundKey(roundKeys, userKey);
}

void NovuSeedEncrypt(unsigned char* block, const std::uint32_t* roundKeys) {
    SeedEncrypt(block, roundKeys);
}

void NovuSeedDecrypt(unsigned char* block, const std::uint32_t* roundKeys) {
    SeedDecrypt(block, roundKeys);
}
