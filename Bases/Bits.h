// Bits: a resizable set of bits, stored eight to a byte.
//
// Shape    Position p is bit p % 8, counted from the lowest, of byte p / 8. A
//          set of n bits uses n / 8 bytes of its block, rounded up. What the
//          bits above its end are in the last byte is only certain where an
//          operation says that it clears them.
// Units    Every size and position is in bits unless it says bytes.
// Errors   Results only: 1 for done, 0 for refused with the set unchanged, also
//          where an operator new[] of the host's answers null.
// Threads  One thread at a time for each object; nothing is locked.
// See      docs/surprises.md, "Bit set", for what is By design.

#ifndef NOVU_BASES_BITS_H_
#define NOVU_BASES_BITS_H_

#include <string>

#include "Bases/Export.h"

namespace Novu {

/// A set of bits. It is a value: a copy has bytes of its own.
///
/// Example (examples/Bits.cpp):
///
///     Novu::Bits open(7);  // The days of a week from Sunday on, all 0.
///     for (unsigned long day = 1; day <= 5; ++day) {
///         open.Set(day);
///     }
///     std::cout << open.ToString() << ", " << open.GetSetCount() << " days\n";
class NOVU_API Bits {
public:
    /// The bytes that so many bits take.
    static unsigned long SizeToBytes(unsigned long bits);
    /// The byte that a position is in.
    static unsigned long PosToBytePos(unsigned long pos);
    /// The size that has this position as its last; 0 for the largest one.
    static unsigned long PosToSize(unsigned long pos);

    Bits();                       ///< Empty: no block.
    Bits(unsigned long newSize);  ///< That many bits, all 0.
    Bits(const Bits& other);      ///< As `Clone`.
    virtual ~Bits();              ///< Releases the block.

    Bits& operator=(const Bits& other);  ///< As `Clone`.

    /// Takes the size and the bytes of `other`.
    /// By design [bits-1]: an empty `other` changes nothing, since no set can
    /// be resized to 0 bits.
    void Clone(const Bits& other);

    unsigned long GetSize() const;   ///< In bits.
    unsigned long GetBytes() const;  ///< Bytes that the size takes.
    unsigned char* GetData() const;  ///< The block; null when there is none.

    /// Resizes. Beyond the capacity, a new block is allocated exactly, starts
    /// with the old bytes and is 0 after them.
    /// By design [bits-10]: a `newSize` of 0 is refused, and `ignored` is not
    /// used.
    /// By design [bits-2]: within the capacity the block stays and nothing is
    /// cleared, so bits that a smaller size cut off come back when the set
    /// grows again. `Clear` and then `SetSize` gives zeros.
    int SetSize(unsigned long newSize, int ignored = 1);

    /// Replaces the contents by a copy of the bytes that `bits` bits take from
    /// `bytes`, which may lie in this set. Refused when `bytes` is null or
    /// `bits` 0.
    /// By design [bits-3]: the capacity is not updated and the last byte is not
    /// masked: bits above the end stay as given, count for `Any`, `None`, `==`
    /// and `!=`, and come into view when the set grows. Whole bytes between the
    /// end and the old capacity are 0. As `SetSize` goes by the capacity, it
    /// can take a smaller block, and then the bits beyond are lost.
    int SetData(unsigned char* bytes, unsigned long bits);

    /// Makes the set empty and, unlike `SerialBuffer::Clear`, releases the
    /// block.
    void Clear();

    bool Test(unsigned long pos) const;  ///< False past the end, too.
    int Set(unsigned long pos);          ///< To 1; refused past the end.
    int Reset(unsigned long pos);        ///< To 0; refused past the end.

    void SetAll();    ///< Every bit to 1; those above the end become 0.
    void ResetAll();  ///< Every byte to 0.

    /// Whether any byte has a 1 in it, bits above the end included.
    bool Any() const;
    bool None() const;  ///< Not `Any`; true for an empty set.

    unsigned long GetSetCount();    ///< How many bits are 1.
    unsigned long GetUnsetCount();  ///< How many are 0.

    /// Inverts every bit; bits above the end become 0.
    /// By design [bits-9]: this very set is inverted, and is the answer.
    Bits& operator~();

    /// Combines in place, over the bytes that both sets have. Where both have
    /// equally many, bits above the end become 0.
    /// By design [bits-4]: `|=` and `^=` take the size of `other` first (unless
    /// that is 0), and bytes that only `other` has are not taken over: they are
    /// 0 in a new block. `&=` keeps its own size, and bytes that `other` lacks
    /// stay as they are.
    Bits& operator&=(const Bits& other);
    Bits& operator|=(const Bits& other);
    Bits& operator^=(const Bits& other);

    /// A new set, combined over the bytes that both sets have, 0 beyond them.
    /// By design [bits-5]: `&` gives the size of this set, `|` and `^` that of
    /// `other`; and where both have equally many bytes, the bits above the end
    /// of this set become 0, also where `other` is longer.
    Bits operator&(const Bits& other);
    Bits operator|(const Bits& other);
    Bits operator^(const Bits& other);

    /// By design [bits-6]: sets of different size are neither equal nor
    /// unequal: both answers are false. Otherwise the bytes are compared, bits
    /// above the end included.
    bool operator==(const Bits& other) const;
    bool operator!=(const Bits& other) const;

    /// By design [bits-7]: these shift nothing, whatever the count.
    Bits& operator<<(unsigned long count);
    Bits& operator>>(unsigned long count);

    /// The set as '0' and '1', a character for each bit, the highest position
    /// first and bit 0 last.
    void ToString(std::string& out) const;
    std::string ToString() const;

    /// Replaces the contents by the set whose text form this is.
    /// By design [bits-8]: a text is read from its last character to the left
    /// and ends at the first that is neither '0' nor '1', without a report:
    /// "10a011" gives the 3 bits "011", "2" the empty set.
    void FromString(const std::string& text);

private:
    unsigned char* data;     // Owned, from new[]; null when there is no block.
    unsigned long capacity;  // In bits, a multiple of 8. The block has at least
                             // as many; after SetData it may have more.
    unsigned long size;      // In bits; above the capacity only after SetData.
};

}  // namespace Novu

#endif  // NOVU_BASES_BITS_H_
