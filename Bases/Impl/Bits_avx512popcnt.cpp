// Sets of bits by AVX-512 with VPOPCNTDQ, from Bases/Impl/BitsBlocks.h.

#include <immintrin.h>

#include <cstring>

#include "Bases/Impl/BitsBlocks.h"
#include "Bases/Impl/FirstBytes_avx512.h"

namespace Novu {

namespace {

const std::size_t kVector = 64;  // Bytes, or digits.
const std::size_t kWord = 8;     // Bytes that have so many digits.

// The bytes of a vector in reverse.
__m512i Reversed(__m512i bytes) {
    const __m512i inLanes = _mm512_shuffle_epi8(
        bytes, _mm512_broadcast_i32x4(_mm_setr_epi8(
                   15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0)));
    return _mm512_shuffle_i64x2(inLanes, inLanes, 0x1B);  // 3, 2, 1, 0
}

}  // namespace

std::size_t BitsCountAvx512(const unsigned char* data, std::size_t bytes) {
    __m512i even = _mm512_setzero_si512();
    __m512i odd = _mm512_setzero_si512();
    std::size_t at = 0;
    for (; bytes - at >= 2 * kVector; at += 2 * kVector) {
        even = _mm512_add_epi64(
            even, _mm512_popcnt_epi64(_mm512_loadu_si512(data + at)));
        odd = _mm512_add_epi64(
            odd, _mm512_popcnt_epi64(_mm512_loadu_si512(data + at + kVector)));
    }
    for (; at < bytes; at += kVector) {
        const __m512i rest =
            _mm512_maskz_loadu_epi8(FirstBytes(bytes - at), data + at);
        even = _mm512_add_epi64(even, _mm512_popcnt_epi64(rest));
    }
    return static_cast<std::size_t>(
        _mm512_reduce_add_epi64(_mm512_add_epi64(even, odd)));
}

void BitsWriteAvx512(const unsigned char* data, std::size_t bytes, char* end) {
    // Of eight bytes, the last one eight times, and so on, each time for
    // another bit.
    const __m512i places = _mm512_set_epi64(
        0x0000000000000000, 0x0101010101010101, 0x0202020202020202,
        0x0303030303030303, 0x0404040404040404, 0x0505050505050505,
        0x0606060606060606, 0x0707070707070707);
    const __m512i bits = _mm512_set1_epi64(0x0102040810204080);
    const __m512i zeros = _mm512_set1_epi8('0');
    const __m512i ones = _mm512_set1_epi8('1');
    std::size_t at = 0;
    for (; bytes - at >= kWord; at += kWord) {
        long long word = 0;
        std::memcpy(&word, data + at, sizeof word);
        const __m512i repeated =
            _mm512_shuffle_epi8(_mm512_set1_epi64(word), places);
        end -= kVector;
        _mm512_storeu_si512(
            end, _mm512_mask_blend_epi8(_mm512_test_epi8_mask(repeated, bits),
                                        zeros, ones));
    }
    BitsWritePlain(data + at, bytes - at, end);
}

std::size_t BitsDigitsAvx512(const char* text, std::size_t size) {
    std::size_t left = size;
    for (; left >= kVector; left -= kVector) {
        const __m512i characters = _mm512_loadu_si512(text + left - kVector);
        // '0' and '1' differ in the lowest bit.
        const __m512i high =
            _mm512_and_si512(characters, _mm512_set1_epi8('\xFE'));
        if (_cvtmask64_u64(
                _mm512_cmpneq_epi8_mask(high, _mm512_set1_epi8('0'))) != 0) {
            break;
        }
    }
    return size - left + BitsDigitsPlain(text, left);
}

void BitsReadAvx512(unsigned char* data, std::size_t bytes, const char* end) {
    std::size_t at = 0;
    for (; bytes - at >= kWord; at += kWord) {
        end -= kVector;
        const unsigned long long word = _cvtmask64_u64(_mm512_test_epi8_mask(
            Reversed(_mm512_loadu_si512(end)), _mm512_set1_epi8(1)));
        std::memcpy(data + at, &word, sizeof word);
    }
    BitsReadPlain(data + at, bytes - at, end);
}

}  // namespace Novu
