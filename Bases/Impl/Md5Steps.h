// Md5Steps (private): the 64 steps of MD5, by the description in RFC 1321, for
// sources that each have instructions of their own for them.
//
// A type Arithmetic says what a word is and what the instructions are called:
//     Word                a word of 32 bits, or a vector of copies of it
//     Of(word)            a std::uint32_t as such a word
//     LowestOf(word)      the other way round
//     Add(a, b), Rotated<bits>(a)
//     Mixed<round>(sum, x, y, z)
//                         the sum and F, G, H or I of three words, by the round
//
// All here are templates over such a type, which is the source's own. So
// nothing that is compiled for one processor is linked into what others run.

#ifndef NOVU_BASES_IMPL_MD5STEPS_H_
#define NOVU_BASES_IMPL_MD5STEPS_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "Bases/Impl/Md5Blocks.h"

namespace Novu {

inline constexpr std::size_t kMd5Steps = 64;

// T of RFC 1321: the first 32 bits of the fraction of |sin(i + 1)|.
inline constexpr std::uint32_t kMd5Sines[kMd5Steps] = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A,
    0xA8304613, 0xFD469501, 0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE,
    0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821, 0xF61E2562, 0xC040B340,
    0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8,
    0x676F02D9, 0x8D2A4C8A, 0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C,
    0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70, 0x289B7EC6, 0xEAA127FA,
    0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92,
    0xFFEFF47D, 0x85845DD1, 0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1,
    0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391,
};

// How far each step shifts: four values for each round, in turn.
inline constexpr int kMd5Shifts[4][4] = {
    {7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

// Which word of the block each step adds: the step's number times the first
// value, plus the second, for each round.
inline constexpr std::size_t kMd5Words[4][2] = {{1, 0}, {5, 1}, {3, 5}, {7, 0}};

template <typename Arithmetic>
class Md5Steps {
public:
    static void Transform(std::uint32_t (&state)[4], const char* data,
                          unsigned long count) {
        Words words;
        for (std::size_t i = 0; i != 4; ++i) {
            words[i] = Arithmetic::Of(state[i]);
        }
        for (; count != 0; --count, data += kMd5BlockSize) {
            const Words before = {words[0], words[1], words[2], words[3]};
            [&]<std::size_t... step>(std::index_sequence<step...> /*steps*/) {
                (Step<step>(words, data), ...);
            }
            (std::make_index_sequence<kMd5Steps>());
            for (std::size_t i = 0; i != 4; ++i) {
                words[i] = Arithmetic::Add(words[i], before[i]);
            }
        }
        for (std::size_t i = 0; i != 4; ++i) {
            state[i] = Arithmetic::LowestOf(words[i]);
        }
    }

private:
    using Words = typename Arithmetic::Word[4];  // A, B, C, D

    // A word of the message, which has the lowest byte first.
    static std::uint32_t MessageWord(const char* block, std::size_t index) {
        std::uint32_t word = 0;
        std::memcpy(&word, block + index * sizeof word, sizeof word);
        return std::endian::native == std::endian::little
                   ? word
                   : __builtin_bswap32(word);
    }

    // The four words change places by turns: the last one of each step is the
    // first one of the next. What does not wait for the newest word, b, which
    // the step before made, is summed up first.
    template <std::size_t step>
    [[gnu::always_inline]] static void Step(Words& words, const char* block) {
        const std::size_t round = step / 16;
        const std::size_t added =
            (step * kMd5Words[round][0] + kMd5Words[round][1]) % 16;
        auto& a = words[(64 - step) % 4];
        const auto b = words[(65 - step) % 4];
        const auto c = words[(66 - step) % 4];
        const auto d = words[(67 - step) % 4];
        a = Arithmetic::Add(a, Arithmetic::Of(MessageWord(block, added)));
        a = Arithmetic::Add(a, Arithmetic::Of(kMd5Sines[step]));
        a = Arithmetic::template Mixed<round>(a, b, c, d);
        a = Arithmetic::template Rotated<kMd5Shifts[round][step % 4]>(a);
        a = Arithmetic::Add(a, b);
    }
};

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_MD5STEPS_H_
