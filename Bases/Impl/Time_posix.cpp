// The clock, time values and daylight-saving days, from Bases/Time.h.

#include "Bases/Time.h"

#include <sys/time.h>

#include <type_traits>

#include "Bases/Date.h"

namespace Novu {

namespace {

// Seconds pass through as they are: from and to time values, and as a long.
static_assert(sizeof(std::time_t) == sizeof(long long));
static_assert(sizeof(std::time_t) == sizeof(long) &&
              std::is_signed_v<std::time_t>);

// The type of gmtime_r and localtime_r.
using ToFields = std::tm* (*)(const std::time_t*, std::tm*);

std::time_t SecondsOf(long long t) { return t / 1000; }

// Near the ends of the range the value has no 64 bits to fit in and wraps.
long long TimeOf(std::time_t seconds, long long milliseconds) {
    return static_cast<long long>(
        static_cast<unsigned long long>(seconds) * 1000 +
        static_cast<unsigned long long>(milliseconds));
}

void Fill(SysTime& st, const std::tm& fields, long long milliseconds) {
    st.year = static_cast<short>(fields.tm_year + 1900LL);
    st.month = static_cast<short>(fields.tm_mon + 1);
    st.dayOfWeek = static_cast<short>(fields.tm_wday);
    st.day = static_cast<short>(fields.tm_mday);
    st.hour = static_cast<short>(fields.tm_hour);
    st.minute = static_cast<short>(fields.tm_min);
    st.second = static_cast<short>(fields.tm_sec);
    st.milliseconds = static_cast<short>(milliseconds);
    st.marker = -1;
}

bool ToSysTime(ToFields toFields, long long t, SysTime& st) {
    const std::time_t seconds = SecondsOf(t);
    std::tm fields;  // Every field is filled in, or none is read.
    if (toFields(&seconds, &fields) == nullptr) {
        return false;
    }
    Fill(st, fields, t - seconds * 1000);
    return true;
}

// Seconds to fields and back by mktime. The flag for daylight saving stays as
// it was filled in: it tells the two passes of an hour that is lived twice.
bool ByWayOfFields(ToFields toFields, std::time_t seconds, std::time_t& out) {
    std::tm fields = {};
    if (toFields(&seconds, &fields) == nullptr) {
        return false;
    }
    out = std::mktime(&fields);
    return out >= 0;
}

// The fields as they are, [time-1]; mktime finds out about daylight saving.
std::time_t MakeTime(const SysTime& st) {
    std::tm fields = {};
    fields.tm_year = st.year;
    fields.tm_mon = st.month;
    fields.tm_wday = st.dayOfWeek;
    fields.tm_mday = st.day;
    fields.tm_hour = st.hour;
    fields.tm_min = st.minute;
    fields.tm_sec = st.second;
    fields.tm_isdst = -1;
    return std::mktime(&fields);
}

bool SetClock(std::time_t seconds, long long microseconds) {
    timeval now = {};
    now.tv_sec = seconds;
    now.tv_usec = static_cast<suseconds_t>(microseconds);
    return ::settimeofday(&now, nullptr) >= 0;
}

// Whether `st` is the day of `rule`, in a zone that has both rules.
bool IsDayOf(const SysTime& st, const SysTime& rule, const TimeZone& tz) {
    if (tz.daylightBias == 0 || tz.daylightDate.month == 0 ||
        tz.standardDate.month == 0) {
        return false;
    }
    if (rule.month != st.month || rule.dayOfWeek != st.dayOfWeek) {
        return false;
    }
    const auto day = static_cast<unsigned long>(st.day);
    if (rule.day == 5) {
        return GetLastWeekOfMonth(static_cast<unsigned long>(st.year),
                                  static_cast<unsigned long>(rule.month), day);
    }
    return static_cast<short>(GetWeekOfMonth(
               day, static_cast<unsigned long>(st.dayOfWeek))) == rule.day;
}

}  // namespace

// Conversions

bool TimeToSysTime(const long long& t, SysTime& st) {
    return ToSysTime(::gmtime_r, t, st);
}

bool TimeToLocalSysTime(const long long& t, SysTime& st) {
    return ToSysTime(::localtime_r, t, st);
}

bool SysTimeToTime(const SysTime& st, long long& t) {
    const std::time_t seconds = MakeTime(st);
    if (seconds < 0) {
        return false;
    }
    t = TimeOf(seconds, st.milliseconds);
    return true;
}

bool LocalSysTimeToTime(const SysTime& st, long long& t) {
    return SysTimeToTime(st, t);
}

bool TimeToLocalTime(const long long& t, long long& out) {
    std::time_t seconds = 0;
    if (!ByWayOfFields(::localtime_r, SecondsOf(t), seconds)) {
        return false;
    }
    out = TimeOf(seconds, t % 1000);
    return true;
}

bool LocalTimeToTime(const long long& t, long long& out) {
    std::time_t seconds = 0;
    if (!ByWayOfFields(::gmtime_r, SecondsOf(t), seconds)) {
        return false;
    }
    out = TimeOf(seconds, t % 1000);
    return true;
}

// The clock

int GetLocalTime(long& sec, long& ms) {
    timeval now = {};
    if (::gettimeofday(&now, nullptr) != 0) {
        return 0;
    }
    sec = now.tv_sec;
    ms = now.tv_usec / 1000;
    return 1;
}

int GetTime(long& sec, long& ms) {
    timeval now = {};
    std::tm fields = {};
    if (::gettimeofday(&now, nullptr) != 0 ||
        ::gmtime_r(&now.tv_sec, &fields) == nullptr) {
        return 0;
    }
    sec = std::mktime(&fields);
    if (sec < 0) {
        return 0;
    }
    ms = now.tv_usec / 1000;
    return 1;
}

int GetTime(long& ms, std::tm& out) {
    timeval now = {};
    if (::gettimeofday(&now, nullptr) != 0 ||
        ::gmtime_r(&now.tv_sec, &out) == nullptr) {
        return 0;
    }
    ms = now.tv_usec / 1000;
    return 1;
}

bool GetCurLocalTime(long long& t) {
    long sec = 0;
    long ms = 0;
    if (GetLocalTime(sec, ms) == 0) {
        return false;
    }
    t = TimeOf(sec, ms);
    return true;
}

long long GetCurLocalTime() {
    long long t = 0;
    GetCurLocalTime(t);
    return t;
}

bool GetCurTime(long long& t) {
    long sec = 0;
    long ms = 0;
    if (GetTime(sec, ms) == 0) {
        return false;
    }
    t = TimeOf(sec, ms);
    return true;
}

long long GetCurTime() {
    long long t = 0;
    GetCurTime(t);
    return t;
}

bool GetCurTime(SysTime& st) {
    long ms = 0;
    std::tm fields = {};
    if (GetTime(ms, fields) == 0) {
        return false;
    }
    Fill(st, fields, ms);
    return true;
}

bool GetCurLocalTime(SysTime& st) { return GetCurTime(st); }

bool SetCurTime(const SysTime& st) {
    const std::time_t read = MakeTime(st);
    std::time_t seconds = 0;
    return read >= 0 && ByWayOfFields(::localtime_r, read, seconds) &&
           SetClock(seconds, st.milliseconds * 1000LL);
}

bool SetCurLocalTime(const SysTime& st) { return SetCurTime(st); }

bool SetCurTime(const long long& t) {
    std::time_t seconds = 0;
    return ByWayOfFields(::localtime_r, SecondsOf(t), seconds) &&
           SetClock(seconds, t % 1000 * 1000);
}

bool SetCurLocalTime(const long long& t) {
    return SetClock(SecondsOf(t), t % 1000 * 1000000);
}

// Daylight saving

bool IsDstStartDay(const SysTime& st, const TimeZone& tz) {
    return IsDayOf(st, tz.daylightDate, tz);
}

bool IsDstEndDay(const SysTime& st, const TimeZone& tz) {
    return IsDayOf(st, tz.standardDate, tz);
}

bool IsDstStartDay(const long long& t, const TimeZone& tz) {
    SysTime st = {};
    TimeToSysTime(t, st);
    return IsDstStartDay(st, tz);
}

bool IsDstEndDay(const long long& t, const TimeZone& tz) {
    SysTime st = {};
    TimeToSysTime(t, st);
    return IsDstEndDay(st, tz);
}

// Time zones

bool GetTimeZoneList(std::deque<TimeZone*>& /*zones*/) { return false; }

void ClearTimeZoneList(std::deque<TimeZone*>& /*zones*/) {}

bool GetTimeZoneDisplayList(std::deque<TimeZoneDisplay*>& /*zones*/) {
    return false;
}

void ClearTimeZoneDisplayList(std::deque<TimeZoneDisplay*>& /*zones*/) {}

bool GetTimeZone(TimeZone& /*tz*/) { return false; }

bool SetTimeZone(const TimeZone& /*tz*/) { return false; }

bool AdjustTimeZone(long long& /*out*/, const long long& /*t*/,
                    const TimeZone& /*tz*/) {
    return false;
}

bool AdjustTimeZone(long long& /*out*/, const SysTime& /*st*/,
                    const TimeZone& /*tz*/) {
    return false;
}

bool AdjustTimeZone(SysTime& /*out*/, const long long& /*t*/,
                    const TimeZone& /*tz*/) {
    return false;
}

bool AdjustTimeZone(SysTime& /*out*/, const SysTime& /*st*/,
                    const TimeZone& /*tz*/) {
    return false;
}

bool TimeToSysTime(const long long& /*t*/, SysTime& /*st*/,
                   const TimeZone& /*tz*/) {
    return false;
}

bool SysTimeToTime(const SysTime& /*st*/, long long& /*t*/,
                   const TimeZone& /*tz*/) {
    return false;
}

}  // namespace Novu
