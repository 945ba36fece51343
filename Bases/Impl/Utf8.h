// Utf8 (private): whether a text is ASCII, and whether it is UTF-8.

#ifndef NOVU_BASES_IMPL_UTF8_H_
#define NOVU_BASES_IMPL_UTF8_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Novu {

/// By words, of which the last one overlaps the one before it.
inline bool IsAscii(const char* text, std::size_t size) {
    const auto hasOther = [text](auto word, std::size_t at) {
        std::memcpy(&word, text + at, sizeof word);
        return (word & static_cast<decltype(word)>(0x8080808080808080)) != 0;
    };
    if (size >= 8) {
        for (std::size_t at = 0; at < size - 8; at += 8) {
            if (hasOther(std::uint64_t{}, at)) {
                return false;
            }
        }
        return !hasOther(std::uint64_t{}, size - 8);
    }
    if (size >= 4) {
        return !hasOther(std::uint32_t{}, 0) &&
               !hasOther(std::uint32_t{}, size - 4);
    }
    if (size >= 2) {
        return !hasOther(std::uint16_t{}, 0) &&
               !hasOther(std::uint16_t{}, size - 2);
    }
    return size == 0 || !hasOther(std::uint8_t{}, 0);
}

/// The bytes of the well-formed sequence that `text` begins with; 0 where it
/// begins with none: one that is cut off or overlong, a surrogate, a character
/// above U+10FFFF. `size` is not 0.
inline std::size_t Utf8SequenceSize(const char* text, std::size_t size) {
    const auto byte = [text](std::size_t i) {
        return static_cast<unsigned char>(text[i]);
    };
    const auto isIn = [&](std::size_t i, unsigned first, unsigned last) {
        return first <= byte(i) && byte(i) <= last;
    };
    const auto isNext = [&](std::size_t i) { return isIn(i, 0x80, 0xBF); };
    const unsigned lead = byte(0);
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xE0) {
        return lead >= 0xC2 && size >= 2 && isNext(1) ? 2 : 0;
    }
    if (lead < 0xF0) {
        return size >= 3 &&
                       isIn(1, lead == 0xE0 ? 0xA0 : 0x80,
                            lead == 0xED ? 0x9F : 0xBF) &&
                       isNext(2)
                   ? 3
                   : 0;
    }
    return lead <= 0xF4 && size >= 4 &&
                   isIn(1, lead == 0xF0 ? 0x90 : 0x80,
                        lead == 0xF4 ? 0x8F : 0xBF) &&
                   isNext(2) && isNext(3)
               ? 4
               : 0;
}

inline bool IsUtf8(const char* text, std::size_t size) {
    if (IsAscii(text, size)) {
        return true;
    }
    for (std::size_t i = 0; i < size;) {
        const std::size_t length = Utf8SequenceSize(text + i, size - i);
        if (length == 0) {
            return false;
        }
        i += length;
    }
    return true;
}

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_UTF8_H_
