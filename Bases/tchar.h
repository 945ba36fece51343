// tchar: integers to text, in any radix from 2 to 36.
//
//   _itoa    _itow     int                 sign in radix 10
//   _ltoa    _ltow     long                sign in radix 10
//   _ultoa   _ultow    unsigned long       none
//   _i64toa  _i64tow   long long           sign in radix 10
//   _ui64toa _ui64tow  unsigned long long  none
//
// Shape    Digits 0 to 9, then a to z; always a terminating zero; no padding.
// Units    Room in characters, the terminator counted: 65 for an i64 form in
//          radix 2, 33 for an l form, 21 for any value in radix 10.
// Errors   None are reported. The radix is not checked: outside 2 to 36 the
//          result is undefined (debug builds assert).
// Threads  Any; nothing is shared.
// See      docs/surprises.md, "Integers to text", for what is By design.
//
// Every function writes to the start of `buffer` and answers `buffer`.
//
// By design [tchar-1]: a sign is written in radix 10 only. In every other
// radix a negative value shows its 64-bit two's-complement pattern, also when
// it came as an int: _itoa(-255, b, 16) writes "ffffffffffffff01".
//
// By design [tchar-2]: the l forms, and the int forms that go through them,
// have room for 32 digits, as for a 32-bit long. A result of more digits is
// outside their contract: its 32 lowest digits are written, so that no buffer
// of 33 characters overflows. The i64 forms write all 64.
//
// By design [tchar-3]: null buffers are answered with null by _ultoa and by
// the wide functions. The other narrow functions must not be given one.
//
// Example (examples/tchar.cpp):
//
//     char text[65];  // Enough for 64 bits in any radix.
//     std::cout << _itoa(-255, text, 10) << '\n';
//     std::cout << _i64toa(1LL << 40, text, 36) << '\n';
//     std::cout << _ui64toa(~0ULL, text, 2) << '\n';

#ifndef NOVU_BASES_TCHAR_H_
#define NOVU_BASES_TCHAR_H_

#include "Bases/Export.h"

// The names are those of the classic family, reserved or not.
// NOLINTBEGIN(bugprone-reserved-identifier)

extern "C" {

/// `value` in `radix`, signed in radix 10. `buffer` must not be null.
NOVU_API char* _itoa(int value, char* buffer, int radix);

/// `value` in `radix`, signed in radix 10. `buffer` must not be null.
NOVU_API char* _ltoa(long value, char* buffer, int radix);

/// `value` in `radix`. A null `buffer` is answered with null at once.
NOVU_API char* _ultoa(unsigned long value, char* buffer, int radix);

/// `value` in `radix`, signed in radix 10. `buffer` must not be null.
NOVU_API char* _i64toa(long long value, char* buffer, int radix);

/// `value` in `radix`. `buffer` must not be null.
NOVU_API char* _ui64toa(unsigned long long value, char* buffer, int radix);

}  // extern "C"

/// `value` in `radix`, signed in radix 10; null for a null `buffer`.
NOVU_API wchar_t* _itow(int value, wchar_t* buffer, int radix);

/// `value` in `radix`, signed in radix 10; null for a null `buffer`.
NOVU_API wchar_t* _ltow(long value, wchar_t* buffer, int radix);

/// `value` in `radix`; null for a null `buffer`.
NOVU_API wchar_t* _ultow(unsigned long value, wchar_t* buffer, int radix);

/// `value` in `radix`, signed in radix 10; null for a null `buffer`.
NOVU_API wchar_t* _i64tow(long long value, wchar_t* buffer, int radix);

/// `value` in `radix`; null for a null `buffer`.
NOVU_API wchar_t* _ui64tow(unsigned long long value, wchar_t* buffer,
                           int radix);

// NOLINTEND(bugprone-reserved-identifier)

#endif  // NOVU_BASES_TCHAR_H_
