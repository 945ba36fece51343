// Endian, from Bases/Endian.h.

#include "Bases/Endian.h"

#include <cstdint>
#include <cstring>

namespace Novu::Endian {

// The names say how many bits are reversed.
static_assert(sizeof(unsigned short) == 2 && sizeof(unsigned long) >= 4 &&
              sizeof(unsigned long long) == 8);

// The host

bool IsLittleEndian() {
    const unsigned long long one = 1;
    unsigned char first = 0;
    std::memcpy(&first, &one, sizeof first);
    return first == 1;
}

bool IsBigEndian() { return !IsLittleEndian(); }

// Swapping

unsigned short Swap16(unsigned short value) {
    return static_cast<unsigned short>((value & 0xFF) << 8 | value >> 8);
}

unsigned long Swap32(unsigned long value) {
    // In 32 bits, which compilers know for a reversal.
    const auto low = static_cast<std::uint32_t>(value);
    return low << 24 | (low & 0xFF00) << 8 | (low >> 8 & 0xFF00) | low >> 24;
}

unsigned long long Swap64(unsigned long long value) {
    return static_cast<unsigned long long>(Swap32(value)) << 32 |
           Swap32(value >> 32);
}

// GCOVR_EXCL_BR_START: a test sees the half that is for its host.

// Big-endian

unsigned short tobe16(unsigned short value) {
    return IsBigEndian() ? value : Swap16(value);
}

unsigned short betoh16(unsigned short value) { return tobe16(value); }

unsigned short hton16(unsigned short value) { return tobe16(value); }

unsigned short ntoh16(unsigned short value) { return tobe16(value); }

unsigned long tobe32(unsigned long value) {
    return IsBigEndian() ? value : Swap32(value);
}

unsigned long betoh32(unsigned long value) { return tobe32(value); }

unsigned long hton32(unsigned long value) { return tobe32(value); }

unsigned long ntoh32(unsigned long value) { return tobe32(value); }

unsigned long long tobe64(unsigned long long value) {
    return IsBigEndian() ? value : Swap64(value);
}

unsigned long long betoh64(unsigned long long value) { return tobe64(value); }

unsigned long long hton64(unsigned long long value) { return tobe64(value); }

unsigned long long ntoh64(unsigned long long value) { return tobe64(value); }

// Little-endian

unsigned short tole16(unsigned short value) {
    return IsLittleEndian() ? value : Swap16(value);
}

unsigned short letoh16(unsigned short value) { return tole16(value); }

unsigned long tole32(unsigned long value) {
    return IsLittleEndian() ? value : Swap32(value);
}

unsigned long letoh32(unsigned long value) { return tole32(value); }

unsigned long long tole64(unsigned long long value) {
    return IsLittleEndian() ? value : Swap64(value);
}

unsigned long long letoh64(unsigned long long value) { return tole64(value); }

// GCOVR_EXCL_BR_STOP

}  // namespace Novu::Endian
