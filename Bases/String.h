// String: text between the narrow, the wide and the UTF-8 form.
//
//   mbs_to_wcs   wcs_to_mbs    narrow text of a locale <-> wide text
//   utf8_to_wcs  wcs_to_utf8   UTF-8 <-> wide text
//   mbs_to_utf8  utf8_to_mbs   narrow text of a locale <-> UTF-8
//   mbs_to_tcs   tcs_to_mbs    the library's own text (narrow): a copy
//   tcs_to_wcs   wcs_to_tcs    as mbs_to_wcs, wcs_to_mbs
//   tcs_to_utf8  utf8_to_tcs   as mbs_to_utf8, utf8_to_mbs
//
// Shape    "mbs" and "utf8" are std::string, "wcs" is std::wstring of 32-bit
//          characters, "tcs" is std::string.
// Errors   std::runtime_error with the messages given below, and no result.
// Threads  Any; but the C locale must not change while a "utf8" function runs.
// See      docs/surprises.md, "Text encodings", for what is By design.
//
// A locale argument selects that locale's
// std::codecvt<wchar_t, char, std::mbstate_t>; the default is the global one,
// which BasesInit takes from the environment.
//
// By design [string-1]: every result ends at the first zero character. An
// embedded zero, or input that the facet leaves unconverted without an error,
// shortens the result silently. What is an error is the facet's answer: that of
// libstdc++ reports an invalid byte, that of libc++ stops there.
//
// By design [string-2]: the "utf8" functions ask the C library (mbstowcs,
// wcstombs), and so speak UTF-8 only where the process's C locale does. What
// they make of surrogates and overlong forms is the C library's answer.
//
// Example (examples/String.cpp):
//
//     // mbs_ with this locale, and not utf8_, which asks the C library's.
//     std::locale utf8;
//     try {
//         utf8 = std::locale("C.UTF-8");
//     } catch (const std::runtime_error&) {
//         utf8 = std::locale("en_US.UTF-8");  // Where the former is not.
//     }
//     const std::wstring wide = Novu::mbs_to_wcs(text, utf8);
//     std::cout << text.size() << " bytes, " << wide.size() << " characters\n";

#ifndef NOVU_BASES_STRING_H_
#define NOVU_BASES_STRING_H_

#include <locale>
#include <string>

#include "Bases/Export.h"

namespace Novu {

// The names are lower case as those of the C library that they stand beside.
// NOLINTBEGIN(readability-identifier-naming)

/// Narrow to wide, by the facet of `loc`. An empty text gives an empty one.
/// Throws "can't convert string to wstring" where the facet reports an error.
NOVU_API std::wstring mbs_to_wcs(const std::string& text,
                                 const std::locale& loc = std::locale());

/// Wide to narrow, by the facet of `loc`. An empty text gives an empty one.
/// Throws "can't convert wstring to string" where the facet reports an error.
NOVU_API std::string wcs_to_mbs(const std::wstring& text,
                                const std::locale& loc = std::locale());

/// UTF-8 to wide. Throws "Invalid UTF-8 sequence." for bytes that the C
/// locale cannot read, "Unknown Error" when measuring and converting disagree.
/// By design [string-3]: a text that is empty or begins with a zero byte
/// throws "Error in conversion.".
NOVU_API std::wstring utf8_to_wcs(const std::string& text);

/// Wide to UTF-8; never returns.
/// By design [string-4]: a text that can be converted ends in a
/// `std::logic_error`, and one byte is abandoned on the heap by each such call.
/// A text that is empty or begins with a zero throws "Error in conversion.", a
/// character that the C locale cannot write "Invalid wide string sequence.",
/// disagreeing measurements "Unknown Error". Use wcs_to_mbs with a UTF-8 locale
/// to get bytes.
NOVU_API std::string wcs_to_utf8(const std::wstring& text);

/// `mbs_to_wcs`, then `wcs_to_utf8`. By design [string-4]: never returns.
NOVU_API std::string mbs_to_utf8(const std::string& text,
                                 const std::locale& loc = std::locale());

/// `utf8_to_wcs`, then `wcs_to_mbs`.
NOVU_API std::string utf8_to_mbs(const std::string& text,
                                 const std::locale& loc = std::locale());

/// A copy of `text`, zeros included. By design [string-5]: `loc` is ignored,
/// since the library's own text is narrow text.
NOVU_API std::string mbs_to_tcs(const std::string& text,
                                const std::locale& loc = std::locale());

/// A copy of `text`, zeros included. By design [string-5]: `loc` is ignored.
NOVU_API std::string tcs_to_mbs(const std::string& text,
                                const std::locale& loc = std::locale());

/// `mbs_to_wcs`.
NOVU_API std::wstring tcs_to_wcs(const std::string& text,
                                 const std::locale& loc = std::locale());

/// `wcs_to_mbs`.
NOVU_API std::string wcs_to_tcs(const std::wstring& text,
                                const std::locale& loc = std::locale());

/// `mbs_to_utf8`. By design [string-4]: never returns.
NOVU_API std::string tcs_to_utf8(const std::string& text,
                                 const std::locale& loc = std::locale());

/// `utf8_to_mbs`.
NOVU_API std::string utf8_to_tcs(const std::string& text,
                                 const std::locale& loc = std::locale());

// NOLINTEND(readability-identifier-naming)

}  // namespace Novu

#endif  // NOVU_BASES_STRING_H_
