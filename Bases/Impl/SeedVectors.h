// SeedVectors (private): the rounds of SEED over vectors of words, for sources
// that are each compiled for one set of instructions.
//
// A type Vector says how wide they are and what the instructions are called:
//     Words               a vector of words, each of another block
//     kBlocks             so many words
//     All(word)           the word in every place
//     Xor(a, b), Add(a, b), Subtract(a, b)
//     G(words)            function G, of every word of an array of vectors
//     Load(in, a, b, c, d), Store(out, a, b, c, d)
//                         so many blocks, as a vector of first words, of second
//                         words, ...; in any order that Store undoes
// and, for the round keys,
//     LoadWords(words)    so many words of memory
//     Key(bytes), Taken(key, places)
//                         16 bytes, and a vector of so many bytes from places
//                         in them
//     StorePairs(out, a, b)
//                         the first words of a and b, the second ones, ...
//
// All here are templates over such a type, which is the source's own. So
// nothing that is compiled for one processor is linked into what others run.

#ifndef NOVU_BASES_IMPL_SEEDVECTORS_H_
#define NOVU_BASES_IMPL_SEEDVECTORS_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Bases/Impl/SeedBlocks.h"
#include "Bases/Impl/SeedTables.h"

namespace Novu {

const std::size_t kSeedPairs = 16;

/// Where in the user's key the bytes of one word of the turned key are: four
/// for each pair of round keys.
struct SeedPlaces {
    std::uint8_t bytes[kSeedPairs * 4];
};

/// Those of word `word`. A pair finds the first two words turned right by a
/// byte for every even pair before it, as one word of eight bytes with the
/// first word high, and the last two turned left for every odd one. The key's
/// own words have their lowest byte first.
constexpr SeedPlaces SeedPlacesOf(std::size_t word) {
    SeedPlaces places{};
    for (std::size_t pair = 0; pair != kSeedPairs; ++pair) {
        for (std::size_t byte = 0; byte != 4; ++byte) {
            // Counted from the lowest byte of the eight.
            const std::size_t at = word % 2 == 0 ? byte + 4 : byte;
            const std::size_t from =
                word < 2 ? at + (pair + 1) / 2 : at + 8 - pair / 2;
            const std::size_t low = from % 8;
            places.bytes[4 * pair + byte] = static_cast<std::uint8_t>(
                (word < 2 ? 0 : 8) + (low < 4 ? low + 4 : low - 4));
        }
    }
    return places;
}

/// `vectors` of them at once: while one waits for its results, the others go
/// on.
template <typename Vector, std::size_t vectors>
class SeedVectors {
public:
    static const std::size_t kBlocks = vectors * Vector::kBlocks;
    static const std::size_t kBytes = kBlocks * kSeedBlockSize;

    /// Transforms kBlocks. The round keys are taken in pairs from `keys` on,
    /// `step` words apart.
    static void Transform(const unsigned char* in, unsigned char* out,
                          const std::uint32_t* keys, std::ptrdiff_t step) {
        Row left0;
        Row left1;
        Row right0;
        Row right1;
        const std::size_t bytes = kBytes / vectors;
        for (std::size_t i = 0; i != vectors; ++i) {
            Vector::Load(in + i * bytes, left0[i], left1[i], right0[i],
                         right1[i]);
        }
        for (int twoRounds = 0; twoRounds != 8; ++twoRounds) {
            Round(left0, left1, right0, right1, keys);
            Round(right0, right1, left0, left1, keys + step);
            keys += 2 * step;
        }
        for (std::size_t i = 0; i != vectors; ++i) {
            Vector::Store(out + i * bytes, right0[i], right1[i], left0[i],
                          left1[i]);
        }
    }

private:
    using Words = typename Vector::Words;
    using Row = Words[vectors];

    [[gnu::always_inline]] static void Round(Row& changed0, Row& changed1,
                                             const Row& read0, const Row& read1,
                                             const std::uint32_t* keys) {
        std::uint32_t pair[2];
        std::memcpy(pair, keys, sizeof pair);
        const Words key0 = Vector::All(pair[0]);
        const Words key1 = Vector::All(pair[1]);
        Row t0;
        Row t1;
        for (std::size_t i = 0; i != vectors; ++i) {
            t0[i] = Vector::Xor(read0[i], key0);
            t1[i] = Vector::Xor(Vector::Xor(read1[i], key1), t0[i]);
        }
        Vector::G(t1);
        for (std::size_t i = 0; i != vectors; ++i) {
            t0[i] = Vector::Add(t0[i], t1[i]);
        }
        Vector::G(t0);
        for (std::size_t i = 0; i != vectors; ++i) {
            t1[i] = Vector::Add(t1[i], t0[i]);
        }
        Vector::G(t1);
        for (std::size_t i = 0; i != vectors; ++i) {
            changed0[i] = Vector::Xor(changed0[i], Vector::Add(t0[i], t1[i]));
            changed1[i] = Vector::Xor(changed1[i], t1[i]);
        }
    }
};

/// All of `count` blocks: by `wider` vectors at once, the widest first, as
/// often as they fit, then by `narrowest`, and what is left in vectors of its
/// own.
template <typename Vector, std::size_t narrowest, std::size_t... wider>
void SeedTransformVectors(SeedDirection direction, const unsigned char* in,
                          unsigned char* out, unsigned long count,
                          const std::uint32_t* roundKeys) {
    const bool forward = direction == SeedDirection::kEncrypt;
    const std::uint32_t* const keys = forward ? roundKeys : roundKeys + 30;
    const std::ptrdiff_t step = forward ? 2 : -2;

    const auto whole = [&](auto vectors) {
        using Vectors = decltype(vectors);
        while (count >= Vectors::kBlocks) {
            Vectors::Transform(in, out, keys, step);
            in += Vectors::kBytes;
            out += Vectors::kBytes;
            count -= Vectors::kBlocks;
        }
    };
    using Narrowest = SeedVectors<Vector, narrowest>;
    (whole(SeedVectors<Vector, wider>()), ...);
    whole(Narrowest());
    if (count != 0) {
        unsigned char last[Narrowest::kBytes] = {};
        std::memcpy(last, in, count * kSeedBlockSize);
        Narrowest::Transform(last, last, keys, step);
        std::memcpy(out, last, count * kSeedBlockSize);
    }
}

/// The round keys of `userKey`, so many pairs at once.
template <typename Vector>
void SeedScheduleVectors(std::uint32_t* roundKeys,
                         const unsigned char* userKey) {
    static constexpr SeedPlaces kPlaces[] = {SeedPlacesOf(0), SeedPlacesOf(1),
                                             SeedPlacesOf(2), SeedPlacesOf(3)};
    static constexpr const std::uint32_t* kConstants = kSeedKeyConstants.data();
    const auto key = Vector::Key(userKey);
    for (std::size_t pair = 0; pair != kSeedPairs; pair += Vector::kBlocks) {
        const auto turned = [&](std::size_t word) {
            return Vector::Taken(key, kPlaces[word].bytes + 4 * pair);
        };
        const auto constants = Vector::LoadWords(kConstants + pair);
        typename Vector::Words words[] = {
            Vector::Subtract(Vector::Add(turned(0), turned(2)), constants),
            Vector::Add(Vector::Subtract(turned(1), turned(3)), constants)};
        Vector::G(words);
        Vector::StorePairs(roundKeys + 2 * pair, words[0], words[1]);
    }
}

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_SEEDVECTORS_H_
