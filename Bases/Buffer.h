// Buffer: SerialBuffer, a growable block of bytes; filled at its end, consumed
// from its front, handed out and taken over without copying.
//
// Shape    One block from new[], or none. Bytes [0, size) of it are in use.
// Units    Every size is in bytes. The capacity is called "max size".
// Errors   Results only: 1 for done, 0 for refused with the buffer unchanged.
// Threads  One thread at a time for each object; nothing is locked.

#ifndef NOVU_BASES_BUFFER_H_
#define NOVU_BASES_BUFFER_H_

#include "Bases/Export.h"

namespace Novu {

/// By design [buffer-1]: nothing stops a copy from compiling, and a copy shares
/// the block, which both then release. Do not copy; hand the block on with
/// `Fetch` and `SetBuffer`.
class NOVU_API SerialBuffer {
public:
    SerialBuffer();                            ///< Empty: no block.
    SerialBuffer(unsigned long firstMaxSize);  ///< Room for that many bytes.
    virtual ~SerialBuffer();                   ///< As `Delete`.

    unsigned char*
    GetBuffer();              ///< The block; stays the buffer's. May be null.
    unsigned long GetSize();  ///< Bytes in use.
    unsigned long GetMaxSize();  ///< Bytes of room.

    /// Sets the bytes in use to `newSize`, or to the capacity if that is less,
    /// and answers which it was. Bytes that come into use are what the block
    /// happens to hold; a new block holds anything.
    unsigned long SetSize(unsigned long newSize);

    /// Sees to a capacity of at least `newMaxSize`; 1 at once where there is
    /// one. Otherwise the new block has exactly that size (or that of the bytes
    /// in use, where `SetBuffer` left more of them than capacity), and starts
    /// with the bytes in use when `keep` is not 0. A block never shrinks.
    /// By design [buffer-2]: with `keep` 0 the number of bytes in use stays,
    /// over a block whose contents are gone. Refill it, or call `Clear` first.
    int SetMaxSize(unsigned long newMaxSize, int keep);

    /// Appends `data[0, len)`, which may lie in this buffer's own block. Where
    /// it does not fit: refused when `grow` is 0, else the capacity becomes
    /// what is needed. A null `data` or a `len` of 0 appends nothing, but the
    /// room is still made. Refused, too, where the sum of the sizes has no
    /// 64-bit value, or where there is a capacity without a block.
    /// By design [buffer-3]: growth has no slack, so each append beyond the
    /// capacity moves the whole buffer. Reserve with `SetMaxSize`, or with
    /// `AddBuffer(nullptr, n, 1)` for `n` more bytes.
    int AddBuffer(unsigned char* data, unsigned long len, int grow);

    /// Drops the first `n` bytes in use, or all of them where there are fewer,
    /// and moves the rest to the front. Always 1. The capacity stays.
    int Shift(unsigned long n);

    void Clear();   ///< No byte in use; the block and its capacity stay.
    void Delete();  ///< Releases the block; the buffer is empty.

    /// Hands the block over, to be released with delete[]; the buffer is empty.
    /// Null where there is no block.
    unsigned char* Fetch();

    /// Takes over `data`, which must come from new[] (or be null), and releases
    /// the block that was there. With the block that is already the buffer's,
    /// only the sizes change.
    /// By design [buffer-4]: the arguments are taken as they are, a size above
    /// the capacity too. What is tested is the present state: refused while the
    /// buffer itself has more bytes in use than capacity, as after such a call.
    int SetBuffer(unsigned char* data, unsigned long newSize,
                  unsigned long newMaxSize);

private:
    unsigned char* buffer;  // Owned, from new[]; null when there is no block.
    unsigned long maxSize;  // Of the block, in bytes.
    unsigned long size;     // In use; above maxSize only after SetBuffer.
};

}  // namespace Novu

#endif  // NOVU_BASES_BUFFER_H_
