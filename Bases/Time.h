// Time: the clock, time values and their fields, daylight-saving days.
//
// Shape    A time value counts milliseconds since 1970-01-01 00:00:00 UTC. It
//          splits into seconds and milliseconds by division towards zero, so,
//          by design [time-9], a negative value has negative milliseconds.
// Errors   Results only; false or 0, with errno as the system left it. Outputs
//          are untouched then unless a call says otherwise.
// Threads  Any; nothing is shared but the process's time zone and the clock.
// See      docs/surprises.md, "Clock and time values", for what is By design.
//
// Local time is that of the process's time zone (TZ); a host that changes TZ
// calls tzset. A result that does not fit 64 bits wraps.
//
// Example (examples/Time.cpp):
//
//     const long long value = 1710000000123;
//     Novu::SysTime utc;
//     if (!Novu::TimeToSysTime(value, utc)) {
//         return 1;
//     }

#ifndef NOVU_BASES_TIME_H_
#define NOVU_BASES_TIME_H_

#include <ctime>
#include <deque>

#include "Bases/Export.h"

namespace Novu {

/// A date and a time of day. Functions that fill one write every field.
struct SysTime {
    short year;          ///< As written: 2024. Years beyond 16 bits wrap.
    short month;         ///< 1 to 12.
    short dayOfWeek;     ///< 0 for Sunday to 6 for Saturday.
    short day;           ///< Of the month, 1 to 31.
    short hour;          ///< 0 to 23.
    short minute;        ///< 0 to 59.
    short second;        ///< 0 to 60.
    short milliseconds;  ///< 0 to 999, or below 0 for a negative time value.
    short marker;        ///< -1 (0xFFFF) where the library filled the record.
};

/// The rules of a zone with daylight saving. Of a rule, three fields are read:
/// its `month`, 0 for no rule; its `dayOfWeek`; and its `day`, which is the
/// week of the month, 1 to 4, or 5 for the last seven days. Of the other
/// fields, only `daylightBias` is.
///
/// By design [time-7]: weeks are those of `GetWeekOfMonth` (Date.h). Only for
/// Sundays is the day of week n always the n-th one: Saturday 2 March 2024, the
/// first, is in week 2.
///
/// Example (examples/Time.cpp):
///
///     Novu::TimeZone zone = {};
///     zone.daylightBias = -60;
///     zone.daylightDate.month = 3;
///     zone.daylightDate.day = 5;  // The last week; dayOfWeek 0 is Sunday.
///     zone.standardDate.month = 10;
///     zone.standardDate.day = 5;
struct TimeZone {
    int bias;               ///< From UTC.
    char standardName[64];  ///< What it is called then. Not read.
    SysTime standardDate;   ///< Rule for the day on which daylight saving ends.
    int standardBias;       ///< During standard time.
    char daylightName[64];  ///< What it is called then. Not read.
    SysTime daylightDate;   ///< Rule for the day on which it starts.
    int daylightBias;       ///< During daylight time; 0 for no daylight saving.
};

/// A zone and what it is called. No function fills one.
struct TimeZoneDisplay {
    TimeZone timeZone;      ///< The zone.
    char displayName[128];  ///< What people call it.
};

// Conversions: true when done.

/// The fields of `t` in UTC.
NOVU_API bool TimeToSysTime(const long long& t, SysTime& st);

/// The fields of `t` in local time.
/// By design [time-10]: what is before 1970 has fields, while the ways back, of
/// `mktime`, refuse it.
NOVU_API bool TimeToLocalSysTime(const long long& t, SysTime& st);

/// The time value of a record read as local time; `dayOfWeek` does not matter.
/// False where its seconds are below 0, or `mktime` finds none.
/// By design [time-1]: the year and the month go to `mktime` as they are, and
/// so are read as years since 1900 and months since January: 15 January 2024 is
/// taken for 15 February 3924. And what `TimeToSysTime` fills in is UTC.
///
/// Example (examples/Time.cpp):
///
///     local.year = static_cast<short>(local.year - 1900);
///     local.month = static_cast<short>(local.month - 1);
///     long long back = 0;
///     if (!Novu::LocalSysTimeToTime(local, back)) {
///         return 1;
///     }
NOVU_API bool SysTimeToTime(const SysTime& st, long long& t);
NOVU_API bool LocalSysTimeToTime(const SysTime& st, long long& t);  ///< Same.

/// By design [time-8]: `t` by way of its fields in local time, which is `t`
/// itself, except where clocks are turned back and the system cannot tell.
/// False where the seconds are below 0.
NOVU_API bool TimeToLocalTime(const long long& t, long long& out);

/// The fields of `t` in UTC, read as local standard time, in summer too: `t`
/// less the zone's standard offset. False where its seconds are below 0.
NOVU_API bool LocalTimeToTime(const long long& t, long long& out);

// The clock

/// Seconds and milliseconds of now; 1, or 0 where the clock fails.
/// By design [time-2]: the names are the other way round than they read. The
/// "Local" calls give the true time value; `GetTime` and `GetCurTime` give that
/// of `LocalTimeToTime`, which differs from it by the zone's standard offset.
NOVU_API int GetLocalTime(long& sec, long& ms);

/// By design [time-2]: now, shifted as by `LocalTimeToTime`. Where the answer
/// is 0 because the shifted time is negative, `sec` has been set to it.
NOVU_API int GetTime(long& sec, long& ms);

/// Milliseconds of now, and its fields in UTC. What `out` holds after a failure
/// is the system's business.
NOVU_API int GetTime(long& ms, std::tm& out);

NOVU_API bool GetCurLocalTime(long long& t);  ///< From `GetLocalTime`.
NOVU_API long long GetCurLocalTime();         ///< The same; 0 for failure.
NOVU_API bool GetCurTime(long long& t);       ///< From `GetTime`, shifted.
NOVU_API long long GetCurTime();              ///< The same; 0 for failure.

/// The fields of now in UTC.
/// By design [time-3]: "Local" or not, both fill the same fields.
NOVU_API bool GetCurTime(SysTime& st);
NOVU_API bool GetCurLocalTime(SysTime& st);  ///< The same.

/// Sets the system's clock, which needs the privilege: true when the system
/// did. Seconds below 0 are refused without asking it.
/// By design [time-1]: a record is read as by `SysTimeToTime`.
NOVU_API bool SetCurTime(const SysTime& st);
NOVU_API bool SetCurLocalTime(const SysTime& st);  ///< The same.

/// Sets the clock to `t`, by way of its fields in local time. Seconds below 0
/// are refused.
NOVU_API bool SetCurTime(const long long& t);

/// Sets the clock to `t`.
/// By design [time-4]: milliseconds are multiplied by a million on their way to
/// microseconds, which the system refuses: only whole seconds can be set.
NOVU_API bool SetCurLocalTime(const long long& t);

// Daylight saving: false for a zone whose daylightBias or one of whose rules'
// months is 0.

/// Whether `st` is the day of the zone's `daylightDate`. `st.dayOfWeek` is
/// taken as it is.
NOVU_API bool IsDstStartDay(const SysTime& st, const TimeZone& tz);

/// Whether `st` is the day of the zone's `standardDate`.
NOVU_API bool IsDstEndDay(const SysTime& st, const TimeZone& tz);

/// By design [time-5]: the day that is tested is that of `t` in UTC.
NOVU_API bool IsDstStartDay(const long long& t, const TimeZone& tz);
NOVU_API bool IsDstEndDay(const long long& t, const TimeZone& tz);  ///< Same.

// Time zones

/// Does nothing, as all of these. By design [time-6]: lists and arguments are
/// untouched, and what has an answer answers false.
NOVU_API bool GetTimeZoneList(std::deque<TimeZone*>& zones);
NOVU_API void ClearTimeZoneList(std::deque<TimeZone*>& zones);
NOVU_API bool GetTimeZoneDisplayList(std::deque<TimeZoneDisplay*>& zones);
NOVU_API void ClearTimeZoneDisplayList(std::deque<TimeZoneDisplay*>& zones);
NOVU_API bool GetTimeZone(TimeZone& tz);
NOVU_API bool SetTimeZone(const TimeZone& tz);
NOVU_API bool AdjustTimeZone(long long& out, const long long& t,
                             const TimeZone& tz);
NOVU_API bool AdjustTimeZone(long long& out, const SysTime& st,
                             const TimeZone& tz);
NOVU_API bool AdjustTimeZone(SysTime& out, const long long& t,
                             const TimeZone& tz);
NOVU_API bool AdjustTimeZone(SysTime& out, const SysTime& st,
                             const TimeZone& tz);
NOVU_API bool TimeToSysTime(const long long& t, SysTime& st,
                            const TimeZone& tz);
NOVU_API bool SysTimeToTime(const SysTime& st, long long& t,
                            const TimeZone& tz);

}  // namespace Novu

#endif  // NOVU_BASES_TIME_H_
