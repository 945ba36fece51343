// Base64 by AVX-512 with VBMI, from Bases/Impl/Base64Blocks.h. An alphabet of
// 64 characters is one vector, and the values of 128 are two.

#include <immintrin.h>

#include "Bases/Impl/Base64Blocks.h"
#include "Bases/Impl/FirstBytes_avx512.h"

namespace Novu {

namespace {

// The characters of 48 bytes.
__m512i Encoded(__m512i alphabet, __m512i bytes) {
    // Of three bytes a, b and c, as b, a, c, b: read as a word, they have the
    // four values from bits 10, 4, 22 and 16 on.
    const __m512i places = _mm512_setr_epi32(
        0x01020001, 0x04050304, 0x07080607, 0x0A0B090A, 0x0D0E0C0D, 0x10110F10,
        0x13141213, 0x16171516, 0x191A1819, 0x1C1D1B1C, 0x1F201E1F, 0x22232122,
        0x25262425, 0x28292728, 0x2B2C2A2B, 0x2E2F2D2E);
    const __m512i shifts = _mm512_set1_epi64(0x3036242A1016040A);
    const __m512i words = _mm512_permutexvar_epi8(places, bytes);
    // The look-up takes the six low bits of each.
    return _mm512_permutexvar_epi8(_mm512_multishift_epi64_epi8(shifts, words),
                                   alphabet);
}

// The 48 bytes of 64 values.
__m512i Packed(__m512i values) {
    const __m512i pairs =
        _mm512_maddubs_epi16(values, _mm512_set1_epi32(0x01400140));
    const __m512i words =
        _mm512_madd_epi16(pairs, _mm512_set1_epi32(0x00011000));
    // Three bytes of each word, the highest first.
    const __m512i places = _mm512_setr_epi32(
        0x06000102, 0x090A0405, 0x0C0D0E08, 0x16101112, 0x191A1415, 0x1C1D1E18,
        0x26202122, 0x292A2425, 0x2C2D2E28, 0x36303132, 0x393A3435, 0x3C3D3E38,
        0, 0, 0, 0);
    return _mm512_permutexvar_epi8(places, words);
}

}  // namespace

std::size_t Base64EncodeVbmi(const char* alphabet, const char* data,
                             std::size_t len, char* text) {
    const std::size_t bytesAtOnce = 48;
    const std::size_t charactersAtOnce = 64;
    const __m512i characters = _mm512_loadu_si512(alphabet);
    std::size_t at = 0;
    for (; len - at >= bytesAtOnce; at += bytesAtOnce) {
        const __m512i bytes =
            _mm512_maskz_loadu_epi8(FirstBytes(bytesAtOnce), data + at);
        _mm512_storeu_si512(text, Encoded(characters, bytes));
        text += charactersAtOnce;
    }
    if (const std::size_t groups = (len - at) / 3; groups != 0) {
        const __m512i bytes =
            _mm512_maskz_loadu_epi8(FirstBytes(groups * 3), data + at);
        _mm512_mask_storeu_epi8(text, FirstBytes(groups * 4),
                                Encoded(characters, bytes));
        at += groups * 3;
    }
    return at;
}

std::size_t Base64DecodeVbmi(const Base64Values& values, const char* text,
                             std::size_t length, char* out) {
    const std::size_t charactersAtOnce = 64;
    const std::size_t bytesAtOnce = 48;
    const __m512i low = _mm512_loadu_si512(values.of);
    const __m512i high = _mm512_loadu_si512(values.of + 64);
    std::size_t at = 0;
    for (; length - at >= charactersAtOnce; at += charactersAtOnce) {
        const __m512i characters = _mm512_loadu_si512(text + at);
        const __m512i found = _mm512_permutex2var_epi8(low, characters, high);
        if (_cvtmask64_u64(_mm512_movepi8_mask(found)) != 0) {
            break;
        }
        // 16 bytes too many, for which there is room: the decoded bytes are
        // behind the characters.
        _mm512_storeu_si512(out, Packed(found));
        out += bytesAtOnce;
    }
    // The rest, or up to a mark.
    const std::size_t rest =
        length - at < charactersAtOnce ? length - at : charactersAtOnce;
    const __m512i characters =
        _mm512_maskz_loadu_epi8(FirstBytes(rest), text + at);
    const __m512i found = _mm512_permutex2var_epi8(low, characters, high);
    const unsigned long long marks = _cvtmask64_u64(_mm512_mask_cmpge_epu8_mask(
        FirstBytes(rest), found,
        _mm512_set1_epi8(static_cast<char>(kBase64Mark))));
    std::size_t before = rest;
    if (marks != 0) {
        before = static_cast<std::size_t>(__builtin_ctzll(marks));
    }
    const std::size_t groups = before / 4;
    _mm512_mask_storeu_epi8(out, FirstBytes(groups * 3), Packed(found));
    return at + groups * 4;
}

}  // namespace Novu
