// Endian: the host's byte order, and values turned into and out of big- and
// little-endian order.
//
//   IsLittleEndian  IsBigEndian           the host's order
//   Swap16   Swap32   Swap64              the bytes reversed
//   tobe16   tobe32   tobe64              host order to big-endian
//   betoh16  betoh32  betoh64             big-endian to host order
//   hton16   hton32   hton64              the same as tobe
//   ntoh16   ntoh32   ntoh64              the same as betoh
//   tole16   tole32   tole64              host order to little-endian
//   letoh16  letoh32  letoh64             little-endian to host order
//
// Threads  Any; nothing is shared.
// See      docs/surprises.md, "Byte order", for what is By design.
//
// The host's order is found by looking at a stored integer, not by a setting of
// the build.
//
// By design [endian-1]: the 32-bit functions take and give 64 bits. Where they
// reverse, the upper half of the argument is dropped; where the order is
// already right, the argument comes back whole, upper half included.
//
// Example (examples/Endian.cpp):
//
//     // A length of 8 bytes, the highest first, into a message.
//     const unsigned long long length = 1000;
//     const unsigned long long wire = Novu::Endian::tobe64(length);
//     unsigned char message[sizeof(wire)];
//     std::memcpy(message, &wire, sizeof(wire));

#ifndef NOVU_BASES_ENDIAN_H_
#define NOVU_BASES_ENDIAN_H_

#include "Bases/Export.h"

/// The byte order of the host, and of others.
namespace Novu::Endian {

NOVU_API bool IsLittleEndian();  ///< True when the lowest byte comes first.
NOVU_API bool IsBigEndian();     ///< Not `IsLittleEndian`.

NOVU_API unsigned short Swap16(unsigned short value);  ///< Bytes reversed.

/// The four lowest bytes reversed; the result has no others.
NOVU_API unsigned long Swap32(unsigned long value);

NOVU_API unsigned long long Swap64(unsigned long long value);  ///< Reversed.

/// `Swap16` on a little-endian host; on a big-endian one `value` itself.
NOVU_API unsigned short tobe16(unsigned short value);
NOVU_API unsigned short betoh16(unsigned short value);
NOVU_API unsigned short hton16(unsigned short value);
NOVU_API unsigned short ntoh16(unsigned short value);

/// `Swap32` on a little-endian host; on a big-endian one `value` itself.
NOVU_API unsigned long tobe32(unsigned long value);
NOVU_API unsigned long betoh32(unsigned long value);
NOVU_API unsigned long hton32(unsigned long value);
NOVU_API unsigned long ntoh32(unsigned long value);

/// `Swap64` on a little-endian host; on a big-endian one `value` itself.
NOVU_API unsigned long long tobe64(unsigned long long value);
NOVU_API unsigned long long betoh64(unsigned long long value);
NOVU_API unsigned long long hton64(unsigned long long value);
NOVU_API unsigned long long ntoh64(unsigned long long value);

/// `Swap16` on a big-endian host; on a little-endian one `value` itself.
NOVU_API unsigned short tole16(unsigned short value);
NOVU_API unsigned short letoh16(unsigned short value);

/// `Swap32` on a big-endian host; on a little-endian one `value` itself.
NOVU_API unsigned long tole32(unsigned long value);
NOVU_API unsigned long letoh32(unsigned long value);

/// `Swap64` on a big-endian host; on a little-endian one `value` itself.
NOVU_API unsigned long long tole64(unsigned long long value);
NOVU_API unsigned long long letoh64(unsigned long long value);

}  // namespace Novu::Endian

#endif  // NOVU_BASES_ENDIAN_H_
