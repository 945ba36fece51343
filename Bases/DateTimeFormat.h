// DateTimeFormat: dates and times as text, by a pattern.
//
// Shape    A pattern is read as runs of the letters F H M S T Y d f h m s t y,
//          and anything else, which is copied. A run that is one of these is
//          replaced; any other run ("yyyyMMdd", "ddd", "S") is copied, too.
//
//   y yy       century, at least 1 or 2 digits    yyy yyyy  year, 3 or 4
//   M MM       month, 1 or 2                       d dd      day, 1 or 2
//   h hh       hour, less 12 from 13 on            H HH      hour
//   m mm       minute                              s ss      second
//   f ff fff   tenths, hundredths, milliseconds    t tt      A AM, from 12 P PM
//   F FF FFF   the same, but nothing where the number is 0
//
// Errors   False for a buffer that is null or too small and, by design
//          [datetimeformat-5], for an empty result. A buffer is untouched
//          then, and a string cleared, as they are when memory runs out; what
//          DateTimeFormatToString appends to is then as it was. A time value
//          that cannot be converted is shown as a record of zeros.
// Threads  Any; nothing is shared but the process's time zone.
// See      docs/surprises.md, "Dates as text", for what is By design.
//
// Numbers are padded with zeros; a sign takes the place of a digit.
//
// By design [datetimeformat-1]: "y" and "yy" are the year divided by 100: 20
// for 2024.
// By design [datetimeformat-2]: midnight is hour 0 in "h" and "hh".
// By design [datetimeformat-3]: no letter of a pattern can be quoted.
// By design [datetimeformat-4]: of the calls that take a time value, those with
// a std::string, and every Local one, show local time; GetDateTimeFormat into a
// buffer shows UTC.
//
// Example (examples/DateTimeFormat.cpp):
//
//     // A record says plainly which time is meant.
//     Novu::SysTime utc;
//     if (!Novu::TimeToSysTime(value, utc)) {
//         return 1;
//     }
//     std::string text;
//     if (!Novu::GetDateTimeFormat(text, "yyyy-MM-dd HH:mm:ss.fff", utc)) {
//         return 1;
//     }

#ifndef NOVU_BASES_DATETIMEFORMAT_H_
#define NOVU_BASES_DATETIMEFORMAT_H_

#include <string>

#include "Bases/Export.h"
#include "Bases/Time.h"

namespace Novu {

// Records

/// Appends what one run of letters stands for; any other text as it is.
NOVU_API void DateTimeFormatToString(const std::string& token,
                                     const SysTime& st, std::string& out);

/// Replaces `out` by `st` in the form of `pattern`.
NOVU_API bool GetDateTimeFormat(std::string& out, const std::string& pattern,
                                const SysTime& st);
NOVU_API std::string GetDateTimeFormat(const std::string& pattern,
                                       const SysTime& st);

// Time values

/// Replaces `out` by `t` in local time.
NOVU_API bool GetDateTimeFormat(std::string& out, const std::string& pattern,
                                const long long& t);
NOVU_API std::string GetDateTimeFormat(const std::string& pattern,
                                       const long long& t);

/// The same under another name.
NOVU_API bool GetLocalDateTimeFormat(std::string& out,
                                     const std::string& pattern,
                                     const long long& t);
NOVU_API std::string GetLocalDateTimeFormat(const std::string& pattern,
                                            const long long& t);

// Buffers

/// Writes `st` in the form of `pattern`, and a terminating zero, into `buf`,
/// which has room for `size` bytes.
NOVU_API bool GetDateTimeFormat(char* buf, unsigned long size,
                                const std::string& pattern, const SysTime& st);

/// The same of `t` in local time.
NOVU_API bool GetLocalDateTimeFormat(char* buf, unsigned long size,
                                     const std::string& pattern,
                                     const long long& t);

/// The same of `t` in UTC.
NOVU_API bool GetDateTimeFormat(char* buf, unsigned long size,
                                const std::string& pattern, const long long& t);

}  // namespace Novu

#endif  // NOVU_BASES_DATETIMEFORMAT_H_
