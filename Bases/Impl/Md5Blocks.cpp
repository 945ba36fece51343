// MD5 over blocks on any processor, and the choice, from
// Bases/Impl/Md5Blocks.h.

#include "Bases/Impl/Md5Blocks.h"

#include <atomic>

#include "Bases/Impl/CpuFeatures.h"
#include "Bases/Impl/Md5Steps.h"

namespace Novu {

namespace {

struct Arithmetic {
    using Word = std::uint32_t;

    static Word Of(Word word) { return word; }

    static Word LowestOf(Word word) { return word; }

    static Word Add(Word a, Word b) { return a + b; }

    template <int bits>
    static Word Rotated(Word word) {
        return std::rotl(word, bits);
    }

    // F and G choose between two words, bit by bit. x is the newest word: as
    // little as can be waits for it.
    template <std::size_t round>
    static Word Mixed(Word sum, Word x, Word y, Word z) {
        if constexpr (round == 0) {
            return sum + (((y ^ z) & x) ^ z);
        } else if constexpr (round == 1) {
            return sum + (y & ~z) + (x & z);
        } else if constexpr (round == 2) {
            return sum + (x ^ (y ^ z));
        } else {
            return sum + (y ^ (x | ~z));
        }
    }
};

}  // namespace

void Md5TransformBlocksPlain(std::uint32_t (&state)[4], const char* data,
                             unsigned long count) {
    Md5Steps<Arithmetic>::Transform(state, data, count);
}

void Md5TransformBlocks(std::uint32_t (&state)[4], const char* data,
                        unsigned long count) {
    static constinit std::atomic<const Md5Path*> best = nullptr;
    BestPath(Md5Paths(), best).transform(state, data, count);
}

}  // namespace Novu
