// SEED, from Bases/Seed.h, by the formulas of RFC 4269.
//
// A block is a left half (L0, L1) and a right half (R0, R1). Sixteen rounds
// change one half by the other in turn, each under a pair of round keys; the
// halves change places on the way out. Decryption is the same with the pairs in
// reverse. There is no branch on data, and the rounds are written out: the
// indices of round keys below are constants, and what a round calls is inline
// by order, since g++ would call it instead and pass the halves in memory.

#include "Bases/Seed.h"

#include <cstddef>
#include <cstring>
#include <utility>

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

// The pair of round keys that round `round`, from 0, takes.
template <SeedDirection direction, std::size_t round>
constexpr std::size_t kPair =
    direction == SeedDirection::kEncrypt ? round : kRounds - 1 - round;

template <SeedDirection direction, std::size_t round>
[[gnu::always_inline]] inline void RoundOf(Half& left, Half& right,
                                           const Word* roundKeys) {
    const std::size_t key = 2 * kPair<direction, round>;
    const Word key0 = LoadWord(roundKeys, key);
    const Word key1 = LoadWord(roundKeys, key + 1);
    if constexpr (round % 2 == 0) {
        Round(left, right, key0, key1);
    } else {
        Round(right, left, key0, key1);
    }
}

template <SeedDirection direction>
void Transform(const unsigned char* in, unsigned char* out,
               const Word* roundKeys) {
    Half left{LoadWord(in, 0), LoadWord(in, 1)};
    Half right{LoadWord(in, 2), LoadWord(in, 3)};
    [&]<std::size_t... round>(std::index_sequence<round...> /*rounds*/) {
        (RoundOf<direction, round>(left, right, roundKeys), ...);
    }
    (std::make_index_sequence<kRounds>());
    StoreWord(out, 0, right.word0);
    StoreWord(out, 1, right.word1);
    StoreWord(out, 2, left.word0);
    StoreWord(out, 3, left.word1);
}

template <SeedDirection direction>
void TransformBlocks(const unsigned char* in, unsigned char* out,
                     unsigned long count, const Word* roundKeys) {
    const std::size_t blockSize = 16;
    for (unsigned long block = 0; block != count; ++block) {
        Transform<direction>(in, out, roundKeys);
        in += blockSize;
        out += blockSize;
    }
}

// The key as it turns from one pair of round keys to the next: the first two
// words right by a byte after an even pair, the last two left after an odd one.
struct TurningKey {
    Word a;
    Word b;
    Word c;
    Word d;
};

template <std::size_t pair>
void WritePair(TurningKey& key, Word* roundKeys) {
    const Word constant = kSeedKeyConstants[pair];
    StoreWord(roundKeys, 2 * pair, G(key.a + key.c - constant));
    StoreWord(roundKeys, 2 * pair + 1, G(key.b - key.d + constant));
    if constexpr (pair % 2 == 0) {
        const Word a = key.a;
        key.a = a >> 8 | key.b << 24;
        key.b = key.b >> 8 | a << 24;
    } else {
        const Word c = key.c;
        key.c = c << 8 | key.d >> 24;
        key.d = key.d << 8 | c >> 24;
    }
}

}  // namespace

void SeedTransformBlocks(SeedDirection direction, const unsigned char* in,
                         unsigned char* out, unsigned long count,
                         const std::uint32_t* roundKeys) {
    if (direction == SeedDirection::kEncrypt) {
        TransformBlocks<SeedDirection::kEncrypt>(in, out, count, roundKeys);
    } else {
        TransformBlocks<SeedDirection::kDecrypt>(in, out, count, roundKeys);
    }
}

}  // namespace Novu

// The plain names

void SeedRoundKey(std::uint32_t* roundKeys, const unsigned char* userKey) {
    Novu::TurningKey key{Novu::LoadWord(userKey, 0), Novu::LoadWord(userKey, 1),
                         Novu::LoadWord(userKey, 2),
                         Novu::LoadWord(userKey, 3)};
    [&]<std::size_t... pair>(std::index_sequence<pair...> /*pairs*/) {
        (Novu::WritePair<pair>(key, roundKeys), ...);
    }
    (std::make_index_sequence<Novu::kRounds>());
}

void SeedEncrypt(unsigned char* block, const std::uint32_t* roundKeys) {
    Novu::Transform<Novu::SeedDirection::kEncrypt>(block, block, roundKeys);
}

void SeedDecrypt(unsigned char* block, const std::uint32_t* roundKeys) {
    Novu::Transform<Novu::SeedDirection::kDecrypt>(block, block, roundKeys);
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
