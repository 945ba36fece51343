// Guid: a 128-bit identifier (UUID), a plain value of 16 bytes.
//
// Shape    The bytes stand in the order in which they are printed: byte 0
//          gives the first two hexadecimal digits. All zero is the nil value.
// Errors   Results only, but FromString lets its parser's exception pass.
// Threads  One thread at a time for each object; Generate shares nothing.
// See      docs/surprises.md, "Identifiers", for what is By design.

#ifndef NOVU_BASES_GUID_H_
#define NOVU_BASES_GUID_H_

#include <string>

#include "Bases/Export.h"

namespace Novu {

/// Trivially copyable; a new one is nil.
///
/// Example (examples/Guid.cpp):
///
///     Novu::Guid id;  // Nil.
///     if (!id.Generate() || id.None()) {
///         return 1;
///     }
///     const std::string text = id.ToString(1);  // 0 would cut two digits off.
class NOVU_API Guid {
public:
    /// Draws a random identifier of version 4 (RFC 4122) and answers true;
    /// false, with the value unchanged, for a drawn nil. Where the system's
    /// random source fails, `boost::uuids::entropy_error` (a
    /// `std::runtime_error`) passes.
    /// By design [guid-1]: each call builds and seeds a Mersenne Twister of its
    /// own, so identifiers in bulk cost their microseconds each.
    bool Generate();

    void Clear();       ///< Makes the value nil.
    bool None() const;  ///< True for the nil value.

    /// True when all 16 bytes are the same.
    bool Test(const Guid& other) const;

    /// Below 0, 0 or above 0, as this value stands before, at or after `other`.
    /// Bytes 0..3, 4..5 and 6..7 compare as unsigned numbers, then bytes 8..15
    /// as bytes.
    /// By design [guid-2]: the three numbers are read in the host's byte order,
    /// so on x86-64 the order is not that of the texts; and for bytes 8..15
    /// the answer is that of `memcmp`, of which only the sign is meaningful.
    int Compare(const Guid& other) const;

    bool operator==(const Guid& other) const;  ///< As `Test`.
    bool operator!=(const Guid& other) const;  ///< Not `Test`.
    bool operator<(const Guid& other) const;   ///< `Compare` below 0.
    bool operator>(const Guid& other) const;   ///< `Compare` above 0.

    /// Text in lower case, 8-4-4-4-12 digits with hyphens and no braces: 36
    /// characters, when `format` is not 0.
    /// By design [guid-3]: with `format` 0 the first and the last digit are cut
    /// off (34 characters); such a text cannot be read back.
    /// By design [guid-4]: the nil value has no text. Then, and for a null
    /// `out`, the answer is false and `out` is untouched.
    bool ToString(std::string& out, int format) const;

    /// The same into `out`, terminated: room for 37 characters (35 for
    /// `format` 0).
    bool ToString(char* out, int format) const;

    /// The same as a result; empty for the nil value.
    std::string ToString(int format) const;

    /// Reads 32 hexadecimal digits of either case, with a hyphen after bytes 3,
    /// 5, 7 and 9 or with none, and with a brace on both ends or on none;
    /// answers true. A null `text` and the text of the nil value give false.
    /// The value is unchanged unless the answer is true.
    ///
    /// By design [guid-5]: what follows the last digit or the closing brace is
    /// ignored.
    /// By design [guid-6]: any other text, an empty one through this overload
    /// included, throws `std::runtime_error` "invalid uuid string".
    ///
    /// Example (examples/Guid.cpp):
    ///
    ///     try {
    ///         return text.size() == 36 && id.FromString(text);
    ///     } catch (const std::runtime_error&) {
    ///         return false;
    ///     }
    bool FromString(const char* text);

    /// The same. By design [guid-6]: an empty string answers false and throws
    /// nothing.
    bool FromString(const std::string& text);

private:
    unsigned char bytes[16] = {};  // In the order of the text.
};

}  // namespace Novu

#endif  // NOVU_BASES_GUID_H_
