// Base64 by AVX2, from Bases/Impl/Base64Blocks.h: of the standard alphabet, in
// which all characters with the same four high bits are equally far from their
// values. The one exception is '/'.

#include <immintrin.h>

#include "Bases/Impl/Base64Blocks.h"

namespace Novu {

namespace {

// A vector of two times 16 bytes.
__m256i Twice(const unsigned char (&bytes)[16]) {
    return _mm256_broadcastsi128_si256(
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)));
}

struct Table {
    unsigned char of[16];
};

constexpr unsigned char Distance(unsigned int to, unsigned int from) {
    return static_cast<unsigned char>(to - from);
}

// What makes a value its character when it is added. It is looked up by how far
// the value is above 51: 0 for 26 to 51, and for those below 26 it is 13.
constexpr Table kFromValue = [] {
    Table table{};
    table.of[0] = Distance('a', 26);
    for (unsigned int above = 1; above <= 10; ++above) {
        table.of[above] = Distance('0', 52);
    }
    table.of[11] = Distance('+', 62);
    table.of[12] = Distance('/', 63);
    table.of[13] = Distance('A', 0);
    return table;
}();

// What makes a character its value, by the high half of the character; for '/',
// by one less than that.
constexpr Table kToValue = [] {
    Table table{};
    table.of[1] = Distance(63, '/');
    table.of[2] = Distance(62, '+');
    table.of[3] = Distance(52, '0');
    table.of[4] = table.of[5] = Distance(0, 'A');
    table.of[6] = table.of[7] = Distance(26, 'a');
    return table;
}();

// For the low half of a character, a bit for each high half with which it is
// none of the alphabet, and for the high half that bit.
constexpr Table kStrangers = [] {
    Table table{};
    for (unsigned int character = 0; character != 128; ++character) {
        if (kBase64StandardValues.of[character] >= kBase64Mark) {
            table.of[character % 16] = static_cast<unsigned char>(
                table.of[character % 16] | 1U << character / 16);
        }
    }
    return table;
}();
constexpr Table kHighBits = {{1, 2, 4, 8, 16, 32, 64, 128}};

// The characters of 24 bytes, 12 at the beginning of each half.
__m256i Encoded(__m256i bytes) {
    // Three bytes a, b and c become b, a, c, b: two words of 16 bits with two
    // values in each. A multiplication moves one value of each word to where
    // its byte is.
    const __m256i words = _mm256_shuffle_epi8(
        bytes, _mm256_broadcastsi128_si256(_mm_setr_epi8(
                   1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10)));
    const __m256i firstAndThird = _mm256_mulhi_epu16(
        _mm256_and_si256(words, _mm256_set1_epi32(0x0FC0FC00)),
        _mm256_set1_epi32(0x04000040));
    const __m256i secondAndFourth = _mm256_mullo_epi16(
        _mm256_and_si256(words, _mm256_set1_epi32(0x003F03F0)),
        _mm256_set1_epi32(0x01000010));
    const __m256i values = _mm256_or_si256(firstAndThird, secondAndFourth);

    const __m256i below26 = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), values);
    const __m256i above51 = _mm256_subs_epu8(values, _mm256_set1_epi8(51));
    const __m256i kinds = _mm256_or_si256(
        above51, _mm256_and_si256(below26, _mm256_set1_epi8(13)));
    return _mm256_add_epi8(values,
                           _mm256_shuffle_epi8(Twice(kFromValue.of), kinds));
}

// The 24 bytes of 32 values.
__m256i Packed(__m256i values) {
    const __m256i pairs =
        _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
    const __m256i words =
        _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    // Three bytes of each word, the highest first.
    const __m256i packed = _mm256_shuffle_epi8(
        words, _mm256_broadcastsi128_si256(_mm_setr_epi8(
                   2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1)));
    return _mm256_permutevar8x32_epi32(
        packed, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
}

__m128i Load(const char* bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

}  // namespace

std::size_t Base64EncodeAvx2(const char* alphabet, const char* data,
                             std::size_t len, char* text) {
    if (alphabet != kBase64Standard) {
        return 0;
    }
    std::size_t at = 0;
    // Each turn reads 28 bytes.
    for (; len - at >= 28; at += 24, text += 32) {
        const __m256i bytes =
            _mm256_set_m128i(Load(data + at + 12), Load(data + at));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(text), Encoded(bytes));
    }
    return at;
}

std::size_t Base64DecodeAvx2(const Base64Values& values, const char* text,
                             std::size_t length, char* out) {
    if (&values != &kBase64StandardValues) {
        return 0;
    }
    std::size_t at = 0;
    for (; length - at >= 32; at += 32, out += 24) {
        const __m256i characters = _mm256_and_si256(
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + at)),
            _mm256_set1_epi8(0x7F));
        const __m256i half = _mm256_set1_epi8(0x0F);
        const __m256i high =
            _mm256_and_si256(_mm256_srli_epi16(characters, 4), half);
        const __m256i lows = _mm256_shuffle_epi8(
            Twice(kStrangers.of), _mm256_and_si256(characters, half));
        if (_mm256_testz_si256(
                lows, _mm256_shuffle_epi8(Twice(kHighBits.of), high)) == 0) {
            break;
        }
        const __m256i slashes =
            _mm256_cmpeq_epi8(characters, _mm256_set1_epi8('/'));
        const __m256i distances = _mm256_shuffle_epi8(
            Twice(kToValue.of), _mm256_add_epi8(high, slashes));
        // 8 bytes too many, for which there is room: the decoded bytes are
        // behind the characters.
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out),
                            Packed(_mm256_add_epi8(characters, distances)));
    }
    return at;
}

}  // namespace Novu
