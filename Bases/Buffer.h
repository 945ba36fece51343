// Buffer: SerialBuffer, a growable block of bytes; filled at its end, consumed
// from its front, handed out and taken over without copying.
//
// Shape    One block from new[], or none. Bytes [0, size) of it are in use.
// Units    Every size is in bytes. The capacity is called "max size".
// Errors   Results only: 1 for done, 0 for refused with the buffer unchanged,
//          also where an operator new[] of the host's answers null.
// Threads  One thread at a time for each object; nothing is locked.
// See      docs/surprises.md, "Byte buffer", for what is By design.

#ifndef NOVU_BASES_BUFFER_H_
#define NOVU_BASES_BUFFER_H_

#include "Bases/Export.h"

namespace Novu {

/// By design [buffer-1]: nothing stops a copy from compiling, and a copy shares
/// the block, which both then release. Do not copy; hand the block on with
/// `Fetch` and `SetBuffer`.
///
/// Example (examples/Buffer.cpp):
///
///     // Whole messages leave at the front.
///     while (received.GetSize() != 0 &&
///            received.GetSize() > received.GetBuffer()[0]) {
///         const unsigned char* const front = received.GetBuffer();
///         const unsigned long length = front[0];
///         std::cout << std::string(front + 1, front + 1 + length) << '\n';
///         received.Shift(1 + length);
///     }
class NOVU_API SerialBuffer {
public:
    SerialBuffer();                            ///< Empty: no block.
    SerialBuffer(unsigned long firstMaxSize);  ///< Room for that many bytes.
    virtual ~SerialBuffer();                   ///< As `Delete`.

    /// The block, which stays the buffer's; null when there is none.
    unsigned char* GetBuffer();
    unsigned long GetSize();     ///< Bytes in use.
    unsigned long GetMaxSize();  ///< The capacity.

    /// Sets the bytes in use to `newSize`, or to the capacity if that is less,
    /// and answers their new number.
    /// By design [buffer-6]: the block does not grow, and bytes that come into
    /// use are what it happens to hold; a new block holds anything.
    unsigned long SetSize(unsigned long newSize);

    /// Makes the capacity at least `newMaxSize`; where it is already, answers 1
    /// and changes nothing. A new block has exactly that size, and starts with
    /// the bytes in use when `keep` is not 0. It never becomes smaller.
    /// By design [buffer-2]: with `keep` 0 the number of bytes in use stays,
    /// over a block whose contents are gone. Refill it, or call `Clear` first.
    int SetMaxSize(unsigned long newMaxSize, int keep);

    /// Appends `data[0, len)`, which may lie in this buffer's own block. Where
    /// it does not fit: refused when `grow` is 0, else the capacity becomes
    /// what is needed. A null `data` or a `len` of 0 appends nothing, but the
    /// room is still made. Data that would go into a capacity without a block
    /// is refused.
    /// By design [buffer-3]: growth has no slack, so each append beyond the
    /// capacity moves the whole buffer. Reserve with `SetMaxSize`, or with
    /// `AddBuffer(nullptr, n, 1)` for `n` more bytes.
    /// By design [buffer-5]: a sum of the sizes beyond 64 bits wraps. With data
    /// that is refused; without, the answer goes by what is left of the sum,
    /// mostly 1 with no room made.
    int AddBuffer(unsigned char* data, unsigned long len, int grow);

    /// Drops the first `n` bytes in use, or all of them where there are fewer,
    /// and moves the rest to the front. Always 1. The capacity stays. Without a
    /// block nothing changes.
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
    /// A block that `SetMaxSize` makes then has as many bytes as are in use.
    int SetBuffer(unsigned char* data, unsigned long newSize,
                  unsigned long newMaxSize);

private:
    unsigned char* buffer;  // Owned, from new[]; null when there is no block.
    unsigned long maxSize;  // Of the block, in bytes.
    unsigned long size;     // In use; above maxSize only after SetBuffer.
};

}  // namespace Novu

#endif  // NOVU_BASES_BUFFER_H_
