// Date: calendar arithmetic on the proleptic Gregorian calendar.
//
//   IsLeapYear                     year 0 is one
//   GetDays                        of a year, of a month, from date to date
//   GetDaysSince1980               from 1 January 1980, day 1
//   GetDayOfWeek                   0 is Sunday
//   GetWeekOfMonth                 by the day and its weekday
//   GetLastWeekOfMonth             one of the last seven days?
//   IsValidDate                    day 0 is valid
//   GetPrevYear   GetNextYear      one year back, on
//   GetPrevMonth  GetNextMonth     one month back, on
//   GetPrevDay    GetNextDay       one day back, on
//
// Units    Years as written (2024), months 1 to 12, days of the month from 1.
// Errors   Counting answers 0, stepping answers false and leaves its arguments.
// Threads  Any; nothing is shared, and no clock is read.
// See      docs/surprises.md, "Calendar", for what is By design.
//
// Every call takes the same time for every year; counts are modulo 2 to the
// power 64.
//
// Example (examples/Date.cpp):
//
//     // Both days are counted, so the difference is one less.
//     const unsigned long days = Novu::GetDays(year, month, day, 2024, 12, 25);
//     std::cout << days - 1 << " days to Christmas\n";

#ifndef NOVU_BASES_DATE_H_
#define NOVU_BASES_DATE_H_

#include "Bases/Export.h"

namespace Novu {

// Counting

/// Whether `year` can be divided by 4, and by 100 only if by 400 as well.
NOVU_API bool IsLeapYear(unsigned long year);

NOVU_API unsigned long GetDays(unsigned long year);  ///< 366 or 365.

/// The length of a month; 0 for a month outside 1 to 12.
NOVU_API unsigned long GetDays(unsigned long year, unsigned long month);

/// The number of the day, counted from 1 January 1980, which is 1. 0 for a year
/// before 1980, a month outside 1 to 12 and a day outside 1 to 31.
/// By design [date-1]: the day is not compared with the length of its month:
/// 31 February 2023 counts as 3 March.
NOVU_API unsigned long GetDaysSince1980(unsigned long year, unsigned long month,
                                        unsigned long day);

/// 0 for Sunday to 6 for Saturday.
/// By design [date-2]: what `GetDaysSince1980` refuses, every date before 1980
/// included, is a Monday.
NOVU_API unsigned long GetDayOfWeek(unsigned long year, unsigned long month,
                                    unsigned long day);

/// Days from the first date to the second. A date that `GetDaysSince1980`
/// refuses is day 0.
/// By design [date-5]: both are counted, and it is 0 where the first is the
/// later one.
NOVU_API unsigned long GetDays(unsigned long year1, unsigned long month1,
                               unsigned long day1, unsigned long year2,
                               unsigned long month2, unsigned long day2);

// Weeks

/// The week of the month, from 1, of a day with that weekday: (day + dayOfWeek
/// - 1) / 7 + 1. Nothing is checked.
/// By design [date-6]: right for Sundays, whose n-th is in week n, but no row
/// of a calendar: Saturday the 2nd is in week 2, Sunday the 3rd in week 1.
NOVU_API unsigned long GetWeekOfMonth(unsigned long day,
                                      unsigned long dayOfWeek);

/// Whether `day` + 7, a sum that wraps, is beyond the month's end; false for a
/// month outside 1 to 12.
NOVU_API bool GetLastWeekOfMonth(unsigned long year, unsigned long month,
                                 unsigned long day);

// Validity

/// Whether the month is 1 to 12 and `day` not above its length.
/// By design [date-3]: day 0 is valid in every month, and every year is, year 0
/// included.
NOVU_API bool IsValidDate(unsigned long year, unsigned long month,
                          unsigned long day);

// Stepping

NOVU_API bool GetPrevYear(unsigned long& year);  ///< Refused for year 0.
NOVU_API bool GetNextYear(unsigned long& year);  ///< Always true.

/// Refused for year 0 and a month outside 1 to 12. January of year 1 steps
/// to December of year 0.
NOVU_API bool GetPrevMonth(unsigned long& year, unsigned long& month);

/// Refused for year 0 and a month outside 1 to 12.
NOVU_API bool GetNextMonth(unsigned long& year, unsigned long& month);

/// Refused for year 0 and a date that does not exist. 1 January of year 1 steps
/// to 31 December of year 0.
NOVU_API bool GetPrevDay(unsigned long& year, unsigned long& month,
                         unsigned long& day);

/// Refused for a date that does not exist.
/// By design [date-4]: year 0 steps on, unlike in `GetNextMonth` and in the
/// steps back.
NOVU_API bool GetNextDay(unsigned long& year, unsigned long& month,
                         unsigned long& day);

}  // namespace Novu

#endif  // NOVU_BASES_DATE_H_
