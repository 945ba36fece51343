// Base64: bytes to Base64 text (RFC 4648, section 4) and back; and bit streams,
// groups of bits that are read out of bytes and written into them.
//
// Shape    Encoded text has the standard alphabet, '=' padding and no line
//          breaks: 4 characters for every 3 bytes begun.
// Errors   Results only, as each call says.
// Threads  Any; an object has no state. While one thread writes to
//          s_szBase64Alphabet, no other may encode or decode.
// See      docs/surprises.md, "Base64", for what is By design.

#ifndef NOVU_BASES_BASE64_H_
#define NOVU_BASES_BASE64_H_

#include <string>

#include "Bases/Export.h"

namespace Novu {

/// Encodes and decodes. An object has no state, so one serves for everything.
///
/// Example (examples/Base64.cpp):
///
///     Novu::Base64 base64;
///     std::string text;
///     if (base64.Encode(data.data(), data.size(), text) != 1) {
///         return 1;
///     }
///     std::vector<char> out(text.size() + 1);  // All of them are written.
///     const unsigned long count = base64.Decode(text.c_str(), out.data());
class NOVU_API Base64 {
public:
    /// The 64 characters for the values 0 to 63, then a terminating zero.
    /// By design [base64-1]: this is one array for the whole process and can be
    /// written to. Every call reads it afresh, so a change holds for both
    /// directions from the next call on. Characters from 0x80 on are written by
    /// `Encode` and never read back by `Decode`; '=' never stands for a value;
    /// of equal characters, the last one's value is read.
    static char s_szBase64Alphabet[65];

    /// 2 to the power n, minus 1, for n from 0 to 8.
    static const unsigned long s_nMask[9];

    Base64();           ///< Nothing is set up.
    virtual ~Base64();  ///< The alphabet stays as it is.

    /// Replaces `out` by the text for `data[0, len)` and answers 1; 0, with
    /// `out` untouched, for a null `data`. `data` may lie in `out`.
    virtual int Encode(const char* data, unsigned long len, std::string& out);

    /// Decodes the zero-terminated `text` into `out` and answers the number of
    /// bytes decoded; bits that are left at the end are dropped, and padding is
    /// not asked for. 0 for a null argument (nothing is written), an empty text
    /// (likewise) and an invalid character.
    ///
    /// `out` may overlap `text`, which is then read as it stands at that time:
    /// `out` is filled with zeros first, and then with what is decoded.
    ///
    /// By design [base64-2]: any character outside the alphabet and '=', white
    /// space included, ends decoding at once: the answer is 0, and the bytes
    /// before it stay in `out`. An empty result and a failure look the same.
    /// By design [base64-3]: '=' is skipped wherever it stands, and the top bit
    /// of each character is ignored.
    /// @warning By design [base64-5]: `out` must have room for the length of
    /// `text` + 1 bytes, although no more than three quarters of that are
    /// decoded: all of them are written, also on failure, and those not decoded
    /// are 0.
    virtual unsigned long Decode(const char* text, char* out);

    /// Takes the next `count` bits (1 to 8) out of `src[0, srcLen)`, the
    /// highest bit of each byte first, and sets `*got` to `count`. Where fewer
    /// are left, `*got` is how many, and the result has zeros below them. Any
    /// other `count` takes nothing: 0, and `*got` is 0.
    ///
    /// The state is the caller's, all 0 at first and left alone between calls:
    /// `pos`, the next byte; `held`, how many of the lowest bits of `acc` are
    /// still to be taken.
    unsigned long ReadBits(int count, int* got, const char* src,
                           unsigned long srcLen, unsigned long& pos, int& held,
                           unsigned long& acc);

    /// Appends the lowest `count` bits (0 to 32) of `value` to `dst`, the
    /// highest of them first, and writes every byte that is full. Any other
    /// `count` appends nothing. The state is as in `ReadBits`; what is short of
    /// a byte waits in `acc` for the next call.
    /// By design [base64-4]: `value` is not masked. Bits above `count` spoil
    /// what waits in `acc`.
    void WriteBits(unsigned int value, int count, char* dst, unsigned long& pos,
                   int& held, unsigned long& acc);
};

}  // namespace Novu

#endif  // NOVU_BASES_BASE64_H_
