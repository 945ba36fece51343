// The contract of Bases/Time.h.
//
// The library reaches the system through the stand-ins below. A Script tells
// them what to answer and lists the calls, a letter for each: c gettimeofday,
// g gmtime_r, l localtime_r, m mktime, s settimeofday. What it does not say is
// answered by the system; but no clock is ever set.
//
// Fields{} holds those of a SysTime in their order: year, month, day of the
// week, day, hour, minute, second, milliseconds, marker.
//
// The file is long because the stand-ins serve conversions, both clocks and the
// daylight-saving days alike, each with every failure of every call.

#include "Bases/Time.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <deque>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "tests/support/NextSymbol.h"
#include "tests/support/Signature.h"
#include "tests/support/TimeZoneGuard.h"

namespace {

// What settimeofday was asked for: seconds, microseconds, and whether there was
// a zone.
using Setting = std::array<long, 3>;

struct System {
    // What is answered.
    timeval now{};
    std::optional<std::tm> fields;   // By gmtime_r and localtime_r.
    std::vector<std::time_t> made;   // By mktime, in turn.
    int setting = 0;                 // By settimeofday.
    bool refuses = false;            // Microseconds of a second or more.
    std::size_t failing = SIZE_MAX;  // The index of the call that fails.

    // What was called, and with what.
    std::string calls;
    std::vector<std::time_t> seconds;
    std::vector<std::tm> records;
    std::vector<Setting> settings;
};

thread_local System* scripted = nullptr;

// No function of the system sets errno to one of these.
const int kErrorBefore = 12345;
const int kErrorOfCall = 23456;

// Notes the call, and whether it is the one that fails.
bool Fails(char call) {
    scripted->calls.push_back(call);
    if (scripted->calls.size() - 1 != scripted->failing) {
        return false;
    }
    errno = kErrorOfCall;
    return true;
}

std::tm* ToFields(char call, const std::time_t* seconds, std::tm* fields,
                  std::tm* (*next)(const std::time_t*, std::tm*)) {
    if (scripted == nullptr) {
        return next(seconds, fields);
    }
    scripted->seconds.push_back(*seconds);
    if (Fails(call)) {
        return nullptr;
    }
    if (!scripted->fields) {
        return next(seconds, fields);
    }
    *fields = *scripted->fields;
    return fields;
}

}  // namespace

extern "C" {

int gettimeofday(timeval* now, void* zone) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(timeval*, void*)>("gettimeofday");
    if (scripted == nullptr) {
        return next(now, zone);
    }
    if (Fails('c')) {
        return -1;
    }
    *now = scripted->now;
    return 0;
}

int settimeofday(const timeval* now, const struct timezone* zone) noexcept {
    if (scripted == nullptr) {
        errno = EPERM;
        return -1;
    }
    scripted->settings.push_back(
        {now->tv_sec, now->tv_usec, zone != nullptr ? 1L : 0L});
    if (Fails('s')) {
        return -1;
    }
    if (scripted->refuses && (now->tv_usec < 0 || now->tv_usec >= 1000000)) {
        errno = EINVAL;
        return -1;
    }
    return scripted->setting;
}

std::tm* gmtime_r(const std::time_t* seconds, std::tm* fields) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<std::tm*(const std::time_t*, std::tm*)>(
            "gmtime_r");
    return ToFields('g', seconds, fields, next);
}

std::tm* localtime_r(const std::time_t* seconds, std::tm* fields) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<std::tm*(const std::time_t*, std::tm*)>(
            "localtime_r");
    return ToFields('l', seconds, fields, next);
}

std::time_t mktime(std::tm* fields) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<std::time_t(std::tm*)>("mktime");
    if (scripted == nullptr) {
        return next(fields);
    }
    scripted->records.push_back(*fields);
    if (Fails('m')) {
        return -1;
    }
    if (scripted->made.empty()) {
        return next(fields);
    }
    const std::time_t seconds = scripted->made.front();
    scripted->made.erase(scripted->made.begin());
    return seconds;
}

}  // extern "C"

namespace {

using Novu::SysTime;
using Novu::TimeZone;
using Novu::TimeZoneDisplay;
using NovuTest::Has;
using NovuTest::TimeZoneGuard;
using Fields = std::array<short, 9>;

static_assert(Has<bool(const long long&, SysTime&)>(Novu::TimeToSysTime));
static_assert(Has<bool(const long long&, SysTime&)>(Novu::TimeToLocalSysTime));
static_assert(Has<bool(const SysTime&, long long&)>(Novu::SysTimeToTime));
static_assert(Has<bool(const SysTime&, long long&)>(Novu::LocalSysTimeToTime));
static_assert(Has<bool(const long long&, long long&)>(Novu::TimeToLocalTime));
static_assert(Has<bool(const long long&, long long&)>(Novu::LocalTimeToTime));
static_assert(Has<int(long&, long&)>(Novu::GetLocalTime));
static_assert(Has<int(long&, long&)>(Novu::GetTime));
static_assert(Has<int(long&, std::tm&)>(Novu::GetTime));
static_assert(Has<bool(long long&)>(Novu::GetCurLocalTime));
static_assert(Has<long long()>(Novu::GetCurLocalTime));
static_assert(Has<bool(SysTime&)>(Novu::GetCurLocalTime));
static_assert(Has<bool(long long&)>(Novu::GetCurTime));
static_assert(Has<long long()>(Novu::GetCurTime));
static_assert(Has<bool(SysTime&)>(Novu::GetCurTime));
static_assert(Has<bool(const SysTime&)>(Novu::SetCurTime));
static_assert(Has<bool(const SysTime&)>(Novu::SetCurLocalTime));
static_assert(Has<bool(const long long&)>(Novu::SetCurTime));
static_assert(Has<bool(const long long&)>(Novu::SetCurLocalTime));
static_assert(Has<bool(const SysTime&, const TimeZone&)>(Novu::IsDstStartDay));
static_assert(Has<bool(const SysTime&, const TimeZone&)>(Novu::IsDstEndDay));
static_assert(
    Has<bool(const long long&, const TimeZone&)>(Novu::IsDstStartDay));
static_assert(Has<bool(const long long&, const TimeZone&)>(Novu::IsDstEndDay));
static_assert(Has<bool(std::deque<TimeZone*>&)>(Novu::GetTimeZoneList));
static_assert(Has<void(std::deque<TimeZone*>&)>(Novu::ClearTimeZoneList));
static_assert(
    Has<bool(std::deque<TimeZoneDisplay*>&)>(Novu::GetTimeZoneDisplayList));
static_assert(
    Has<void(std::deque<TimeZoneDisplay*>&)>(Novu::ClearTimeZoneDisplayList));
static_assert(Has<bool(TimeZone&)>(Novu::GetTimeZone));
static_assert(Has<bool(const TimeZone&)>(Novu::SetTimeZone));
static_assert(Has<bool(long long&, const long long&, const TimeZone&)>(
    Novu::AdjustTimeZone));
static_assert(Has<bool(long long&, const SysTime&, const TimeZone&)>(
    Novu::AdjustTimeZone));
static_assert(Has<bool(SysTime&, const long long&, const TimeZone&)>(
    Novu::AdjustTimeZone));
static_assert(
    Has<bool(SysTime&, const SysTime&, const TimeZone&)>(Novu::AdjustTimeZone));
static_assert(Has<bool(const long long&, SysTime&, const TimeZone&)>(
    Novu::TimeToSysTime));
static_assert(Has<bool(const SysTime&, long long&, const TimeZone&)>(
    Novu::SysTimeToTime));

static_assert(sizeof(SysTime) == 18 && alignof(SysTime) == 2);
static_assert(std::is_trivially_copyable_v<SysTime>);
static_assert(std::is_standard_layout_v<SysTime>);
static_assert(std::is_trivially_default_constructible_v<SysTime>);
static_assert(std::is_same_v<decltype(SysTime::year), short>);
static_assert(std::is_same_v<decltype(SysTime::marker), short>);
static_assert(offsetof(SysTime, year) == 0);
static_assert(offsetof(SysTime, month) == 2);
static_assert(offsetof(SysTime, dayOfWeek) == 4);
static_assert(offsetof(SysTime, day) == 6);
static_assert(offsetof(SysTime, hour) == 8);
static_assert(offsetof(SysTime, minute) == 10);
static_assert(offsetof(SysTime, second) == 12);
static_assert(offsetof(SysTime, milliseconds) == 14);
static_assert(offsetof(SysTime, marker) == 16);

static_assert(std::is_trivially_copyable_v<TimeZone>);
static_assert(std::is_standard_layout_v<TimeZone>);
static_assert(std::is_same_v<decltype(TimeZone::bias), int>);
static_assert(std::is_same_v<decltype(TimeZone::standardName), char[64]>);
static_assert(std::is_same_v<decltype(TimeZone::standardDate), SysTime>);
static_assert(std::is_same_v<decltype(TimeZone::standardBias), int>);
static_assert(std::is_same_v<decltype(TimeZone::daylightName), char[64]>);
static_assert(std::is_same_v<decltype(TimeZone::daylightDate), SysTime>);
static_assert(std::is_same_v<decltype(TimeZone::daylightBias), int>);
static_assert(offsetof(TimeZone, bias) == 0);
static_assert(offsetof(TimeZone, standardName) == 4);
static_assert(offsetof(TimeZone, standardDate) == 68);
static_assert(offsetof(TimeZone, standardBias) == 88);
static_assert(offsetof(TimeZone, daylightName) == 92);
static_assert(offsetof(TimeZone, daylightDate) == 156);
static_assert(offsetof(TimeZone, daylightBias) == 176);
static_assert(sizeof(TimeZone) == 180);
static_assert(std::is_trivially_copyable_v<TimeZoneDisplay>);
static_assert(std::is_same_v<decltype(TimeZoneDisplay::timeZone), TimeZone>);
static_assert(
    std::is_same_v<decltype(TimeZoneDisplay::displayName), char[128]>);
static_assert(sizeof(TimeZoneDisplay) == 308);

const short kJunkField = 0x4a4a;
const long kJunk = 0x4a4a4a4a4a4a4a4a;

const struct Zone {
    const char* name;
    long standardOffset;  // Seconds east of UTC, without daylight saving.
} kZones[] = {
    {"UTC0", 0},
    {"CET-1CEST,M3.5.0,M10.5.0/3", 3600},
    {"EST5EDT,M3.2.0,M11.1.0", -18000},
    {"IST-5:30", 19800},
    {"NPT-5:45", 20700},
    {"NST3:30NDT,M3.2.0,M11.1.0", -12600},
    {"NZST-12NZDT,M9.5.0,M4.1.0/3", 43200},
    {"CHAST-12:45CHADT,M9.5.0/2:45,M4.1.0/3:45", 45900},
};

SysTime JunkTime() {
    SysTime st;
    std::memset(&st, 0x4a, sizeof st);
    return st;
}

Fields FieldsOf(const SysTime& st) {
    Fields fields{};
    std::memcpy(fields.data(), &st, sizeof st);
    return fields;
}

SysTime Of(const Fields& fields) {
    SysTime st;
    std::memcpy(&st, fields.data(), sizeof st);
    return st;
}

const Fields kJunkFields = FieldsOf(JunkTime());

std::tm JunkTm() {
    std::tm fields;
    std::memset(&fields, 0x4a, sizeof fields);
    return fields;
}

// The numbers of a tm, all of them.
std::array<long, 10> NumbersOf(const std::tm& fields) {
    return {fields.tm_year,  fields.tm_mon,   fields.tm_mday, fields.tm_hour,
            fields.tm_min,   fields.tm_sec,   fields.tm_wday, fields.tm_yday,
            fields.tm_isdst, fields.tm_gmtoff};
}

// What a record holds after it was filled from `fields`.
Fields Filled(const std::tm& fields, long long milliseconds) {
    return {static_cast<short>(fields.tm_year + 1900LL),
            static_cast<short>(fields.tm_mon + 1),
            static_cast<short>(fields.tm_wday),
            static_cast<short>(fields.tm_mday),
            static_cast<short>(fields.tm_hour),
            static_cast<short>(fields.tm_min),
            static_cast<short>(fields.tm_sec),
            static_cast<short>(milliseconds),
            -1};
}

// What mktime of the system makes of a record, field by field.
std::time_t MadeOf(const SysTime& st) {
    std::tm fields{};
    fields.tm_year = st.year;
    fields.tm_mon = st.month;
    fields.tm_mday = st.day;
    fields.tm_hour = st.hour;
    fields.tm_min = st.minute;
    fields.tm_sec = st.second;
    fields.tm_isdst = -1;
    return std::mktime(&fields);
}

// Wraps where 64 bits do not suffice.
long long JoinedTime(std::time_t seconds, long long milliseconds) {
    return static_cast<long long>(
        static_cast<unsigned long long>(seconds) * 1000 +
        static_cast<unsigned long long>(milliseconds));
}

// A time value of any size and sign.
long long RandomTime(std::mt19937_64& random) {
    return static_cast<long long>(random()) >> (random() % 64);
}

class Script {
public:
    Script() { scripted = &system; }
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;
    ~Script() { scripted = nullptr; }

    System* operator->() { return &system; }

private:
    System system;
};

// Fields of time values

TEST(TimeTest, TheFieldsOfARecordStandInTheirOrder) {
    const SysTime st = Of({1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_EQ(1, st.year);
    EXPECT_EQ(2, st.month);
    EXPECT_EQ(3, st.dayOfWeek);
    EXPECT_EQ(4, st.day);
    EXPECT_EQ(5, st.hour);
    EXPECT_EQ(6, st.minute);
    EXPECT_EQ(7, st.second);
    EXPECT_EQ(8, st.milliseconds);
    EXPECT_EQ(9, st.marker);
}

const struct FieldsCase {
    int line;
    long long t;
    Fields fields;
} kFieldsCases[] = {
    // line    t  fields
    {__LINE__, 0, {1970, 1, 4, 1, 0, 0, 0, 0, -1}},
    {__LINE__, 1500, {1970, 1, 4, 1, 0, 0, 1, 500, -1}},
    {__LINE__, 999, {1970, 1, 4, 1, 0, 0, 0, 999, -1}},
    {__LINE__, 1709622489045, {2024, 3, 2, 5, 7, 8, 9, 45, -1}},
    {__LINE__, 1709251199999, {2024, 2, 4, 29, 23, 59, 59, 999, -1}},

    // Division towards zero.
    {__LINE__, -1, {1970, 1, 4, 1, 0, 0, 0, -1, -1}},
    {__LINE__, -999, {1970, 1, 4, 1, 0, 0, 0, -999, -1}},
    {__LINE__, -1000, {1969, 12, 3, 31, 23, 59, 59, 0, -1}},
    {__LINE__, -1001, {1969, 12, 3, 31, 23, 59, 59, -1, -1}},

    // Before year 0, and years that need more than 16 bits: 32767, 32768,
    // 65536, and 292278994 and -292275055 at the ends of the range.
    {__LINE__, -62167219200001, {0, 1, 6, 1, 0, 0, 0, -1, -1}},
    {__LINE__, -62167219201000, {-1, 12, 5, 31, 23, 59, 59, 0, -1}},
    {__LINE__, 971890963199000, {32767, 12, 0, 31, 23, 59, 59, 0, -1}},
    {__LINE__, 971890963200000, {-32768, 1, 1, 1, 0, 0, 0, 0, -1}},
    {__LINE__, 2005949145600000, {0, 1, 3, 1, 0, 0, 0, 0, -1}},
    {__LINE__, LLONG_MAX, {-11566, 8, 0, 17, 7, 12, 55, 807, -1}},
    {__LINE__, LLONG_MIN, {15505, 5, 0, 16, 16, 47, 5, -808, -1}},
};

TEST(TimeTest, FieldsInUtc) {
    for (const Zone& zone : kZones) {
        const TimeZoneGuard guard(zone.name);
        for (const FieldsCase& row : kFieldsCases) {
            SCOPED_TRACE(testing::Message() << "row at line " << row.line);
            SysTime st = JunkTime();
            EXPECT_TRUE(Novu::TimeToSysTime(row.t, st)) << zone.name;
            EXPECT_EQ(row.fields, FieldsOf(st)) << zone.name;
        }
    }
}

// Each row holds in three ways: the local fields, the way there and back, and
// the way there without daylight saving.
const struct LocalCase {
    int line;
    const Zone& zone;
    long long t;
    Fields fields;
} kLocalCases[] = {
    // line    zone       t              fields
    {__LINE__, kZones[0], 1709622489045, {2024, 3, 2, 5, 7, 8, 9, 45, -1}},
    {__LINE__, kZones[1], 1709622489045, {2024, 3, 2, 5, 8, 8, 9, 45, -1}},
    {__LINE__, kZones[2], 1709622489045, {2024, 3, 2, 5, 2, 8, 9, 45, -1}},
    {__LINE__, kZones[3], 1709622489045, {2024, 3, 2, 5, 12, 38, 9, 45, -1}},
    {__LINE__, kZones[4], 1709622489045, {2024, 3, 2, 5, 12, 53, 9, 45, -1}},
    {__LINE__, kZones[5], 1709622489045, {2024, 3, 2, 5, 3, 38, 9, 45, -1}},
    {__LINE__, kZones[6], 1709622489045, {2024, 3, 2, 5, 20, 8, 9, 45, -1}},
    {__LINE__, kZones[7], 1709622489045, {2024, 3, 2, 5, 20, 53, 9, 45, -1}},

    // The clocks go from 2:00 to 3:00, and from 3:00 back to 2:00.
    {__LINE__, kZones[1], 1711846799999, {2024, 3, 0, 31, 1, 59, 59, 999, -1}},
    {__LINE__, kZones[1], 1711846800000, {2024, 3, 0, 31, 3, 0, 0, 0, -1}},
    {__LINE__, kZones[1], 1729987200000, {2024, 10, 0, 27, 2, 0, 0, 0, -1}},
    {__LINE__, kZones[1], 1729990799000, {2024, 10, 0, 27, 2, 59, 59, 0, -1}},
    {__LINE__, kZones[1], 1729990800000, {2024, 10, 0, 27, 2, 0, 0, 0, -1}},
    {__LINE__, kZones[1], 1729994400000, {2024, 10, 0, 27, 3, 0, 0, 0, -1}},

    // From 2:00 to 3:00, and from 2:00 back to 1:00.
    {__LINE__, kZones[2], 1710053999000, {2024, 3, 0, 10, 1, 59, 59, 0, -1}},
    {__LINE__, kZones[2], 1710054000000, {2024, 3, 0, 10, 3, 0, 0, 0, -1}},
    {__LINE__, kZones[2], 1730613599000, {2024, 11, 0, 3, 1, 59, 59, 0, -1}},
    {__LINE__, kZones[2], 1730613600001, {2024, 11, 0, 3, 1, 0, 0, 1, -1}},

    // In the south; the same hours, and 45 minutes later.
    {__LINE__, kZones[6], 1727531999000, {2024, 9, 0, 29, 1, 59, 59, 0, -1}},
    {__LINE__, kZones[6], 1727532000000, {2024, 9, 0, 29, 3, 0, 0, 0, -1}},
    {__LINE__, kZones[6], 1712411999000, {2024, 4, 0, 7, 2, 59, 59, 0, -1}},
    {__LINE__, kZones[6], 1712412000000, {2024, 4, 0, 7, 2, 0, 0, 0, -1}},
    {__LINE__, kZones[7], 1727531999000, {2024, 9, 0, 29, 2, 44, 59, 0, -1}},
    {__LINE__, kZones[7], 1727532000000, {2024, 9, 0, 29, 3, 45, 0, 0, -1}},
    {__LINE__, kZones[7], 1712411999000, {2024, 4, 0, 7, 3, 44, 59, 0, -1}},
    {__LINE__, kZones[7], 1712412000000, {2024, 4, 0, 7, 2, 45, 0, 0, -1}},
};

TEST(TimeTest, FieldsInLocalTimeOnBothSidesOfTheChanges) {
    for (const LocalCase& row : kLocalCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const TimeZoneGuard guard(row.zone.name);
        SysTime st = JunkTime();
        EXPECT_TRUE(Novu::TimeToLocalSysTime(row.t, st));
        EXPECT_EQ(row.fields, FieldsOf(st));

        long long out = kJunk;
        EXPECT_TRUE(Novu::TimeToLocalTime(row.t, out));
        EXPECT_EQ(row.t, out);
        EXPECT_TRUE(Novu::LocalTimeToTime(row.t, out));
        EXPECT_EQ(row.t - row.zone.standardOffset * 1000, out);
    }
}

TEST(TimeTest, FieldsAreThoseOfTheStandardLibrary) {
    const std::mt19937_64::result_type seed = 20250313;
    std::mt19937_64 random(seed);
    // From year -32767 to 32767, a bound of the standard library.
    std::uniform_int_distribution<long long> times(-1096193779200000,
                                                   971890963199999);
    for (int round = 0; round < 100000; ++round) {
        const long long t = times(random) >> (random() % 40);
        const std::chrono::sys_seconds at{std::chrono::seconds{t / 1000}};
        const auto midnight = std::chrono::floor<std::chrono::days>(at);
        const std::chrono::year_month_day date = midnight;
        const std::chrono::hh_mm_ss time{at - midnight};
        const Fields expected = {
            static_cast<short>(static_cast<int>(date.year())),
            static_cast<short>(static_cast<unsigned int>(date.month())),
            static_cast<short>(std::chrono::weekday{midnight}.c_encoding()),
            static_cast<short>(static_cast<unsigned int>(date.day())),
            static_cast<short>(time.hours().count()),
            static_cast<short>(time.minutes().count()),
            static_cast<short>(time.seconds().count()),
            static_cast<short>(t % 1000),
            -1};
        SysTime st = JunkTime();
        ASSERT_TRUE(Novu::TimeToSysTime(t, st));
        ASSERT_EQ(expected, FieldsOf(st)) << "seed " << seed << ": " << t;
    }
}

// Time values by way of fields

TEST(TimeTest, ConversionsAreThoseOfTheSystem) {
    const std::mt19937_64::result_type seed = 20250314;
    std::mt19937_64 random(seed);
    for (const Zone& zone : kZones) {
        const TimeZoneGuard guard(zone.name);
        for (int round = 0; round < 3000; ++round) {
            const long long t = RandomTime(random);
            const std::time_t seconds = t / 1000;
            const auto where = [&] {
                return testing::Message()
                       << "seed " << seed << ": " << t << " in " << zone.name;
            };
            std::tm utc{};
            ASSERT_NE(nullptr, ::gmtime_r(&seconds, &utc));
            std::tm local{};
            ASSERT_NE(nullptr, ::localtime_r(&seconds, &local));

            SysTime st = JunkTime();
            ASSERT_TRUE(Novu::TimeToSysTime(t, st));
            ASSERT_EQ(Filled(utc, t % 1000), FieldsOf(st)) << where();
            st = JunkTime();
            ASSERT_TRUE(Novu::TimeToLocalSysTime(t, st));
            ASSERT_EQ(Filled(local, t % 1000), FieldsOf(st)) << where();

            const std::time_t fromUtc = std::mktime(&utc);
            long long out = kJunk;
            ASSERT_EQ(fromUtc >= 0, Novu::LocalTimeToTime(t, out)) << where();
            ASSERT_EQ(fromUtc >= 0 ? JoinedTime(fromUtc, t % 1000) : kJunk, out)
                << where();

            const std::time_t fromLocal = std::mktime(&local);
            out = kJunk;
            ASSERT_EQ(fromLocal >= 0, Novu::TimeToLocalTime(t, out)) << where();
            ASSERT_EQ(fromLocal >= 0 ? JoinedTime(fromLocal, t % 1000) : kJunk,
                      out)
                << where();
        }
    }
}

// [time-8] Two years, every half hour; twice a year an hour is lived twice.
TEST(TimeTest, LocalTimeAndBackIsTheSameTime) {
    for (const Zone& zone : kZones) {
        const TimeZoneGuard guard(zone.name);
        for (long long t = 1704067200123; t < 1767225600000; t += 1800000) {
            long long out = kJunk;
            ASSERT_TRUE(Novu::TimeToLocalTime(t, out)) << zone.name;
            ASSERT_EQ(t, out) << zone.name;
        }
    }
}

// Every other day of 40 years.
TEST(TimeTest, UtcReadAsLocalTimeIsShiftedByTheStandardOffset) {
    for (const Zone& zone : kZones) {
        const TimeZoneGuard guard(zone.name);
        for (long long t = 1000000000077; t < 2262304000000; t += 172800000) {
            long long out = kJunk;
            ASSERT_TRUE(Novu::LocalTimeToTime(t, out)) << zone.name;
            ASSERT_EQ(t - zone.standardOffset * 1000, out) << zone.name;
        }
    }
}

TEST(TimeTest, SecondsBelow0HaveNoLocalTime) {
    for (const Zone& zone : kZones) {
        SCOPED_TRACE(zone.name);
        const TimeZoneGuard guard(zone.name);
        for (const long long t : std::array<long long, 5>{
                 -1000, -1001, -86400000, -5000000000000, LLONG_MIN}) {
            long long out = kJunk;
            EXPECT_FALSE(Novu::TimeToLocalTime(t, out)) << t;
            EXPECT_EQ(kJunk, out) << t;
            // Where clocks are behind UTC, the shifted time can be after it.
            const bool later = t / 1000 >= zone.standardOffset;
            EXPECT_EQ(later, Novu::LocalTimeToTime(t, out)) << t;
            EXPECT_EQ(later ? t - zone.standardOffset * 1000 : kJunk, out) << t;
        }
        // These have 0 seconds.
        for (const long long t : std::array<long long, 4>{0, -1, -999, 999}) {
            long long out = kJunk;
            EXPECT_TRUE(Novu::TimeToLocalTime(t, out)) << t;
            EXPECT_EQ(t, out);
        }
        long long out = kJunk;
        EXPECT_EQ(zone.standardOffset <= 0, Novu::LocalTimeToTime(-1, out));
        EXPECT_EQ(
            zone.standardOffset <= 0 ? -zone.standardOffset * 1000 - 1 : kJunk,
            out);
    }
}

TEST(TimeTest, TheLastTimeValueIsConverted) {
    for (const Zone& zone : kZones) {
        const TimeZoneGuard guard(zone.name);
        long long out = kJunk;
        EXPECT_TRUE(Novu::TimeToLocalTime(LLONG_MAX, out)) << zone.name;
        EXPECT_EQ(LLONG_MAX, out) << zone.name;
        out = kJunk;
        EXPECT_TRUE(Novu::LocalTimeToTime(LLONG_MAX, out)) << zone.name;
        // West of UTC it wraps.
        EXPECT_EQ(
            static_cast<long long>(
                static_cast<unsigned long long>(LLONG_MAX) -
                static_cast<unsigned long long>(zone.standardOffset) * 1000),
            out)
            << zone.name;
    }
}

TEST(TimeTest, AnArgumentCanBeTheResult) {
    const TimeZoneGuard guard("IST-5:30");
    long long t = 1709622489045;
    EXPECT_TRUE(Novu::LocalTimeToTime(t, t));
    EXPECT_EQ(1709602689045, t);
    EXPECT_TRUE(Novu::TimeToLocalTime(t, t));
    EXPECT_EQ(1709602689045, t);
}

// The flag that localtime_r filled in tells the passes of an hour apart.
TEST(TimeTest, FieldsGoToMktimeAsTheyCame) {
    const auto expectPassed = [](auto operation) {
        Script script;
        std::tm fields{};
        fields.tm_year = 124;
        fields.tm_mon = -2;
        fields.tm_mday = 3;
        fields.tm_hour = 4;
        fields.tm_min = 5;
        fields.tm_sec = 6;
        fields.tm_wday = 7;
        fields.tm_yday = 8;
        fields.tm_isdst = 1;
        fields.tm_gmtoff = 9;
        script->fields = fields;
        script->made = {1000, 2000};
        EXPECT_TRUE(operation());
        ASSERT_FALSE(script->records.empty());
        EXPECT_EQ(NumbersOf(fields), NumbersOf(script->records.back()));
    };
    long long out = 0;
    long sec = 0;
    long ms = 0;
    expectPassed([&] { return Novu::TimeToLocalTime(5, out); });
    EXPECT_EQ(1000005, out);
    expectPassed([&] { return Novu::LocalTimeToTime(-5, out); });
    EXPECT_EQ(999995, out);
    expectPassed([&] { return Novu::GetTime(sec, ms) == 1; });
    EXPECT_EQ(1000, sec);
    expectPassed([] { return Novu::SetCurTime(1234LL); });
    expectPassed([] { return Novu::SetCurTime(SysTime{}); });
}

// Records

const struct RecordCase {
    int line;
    Fields fields;
    std::optional<long long> t;  // In UTC; nothing where it is refused.
} kRecordCases[] = {
    // line    fields  t
    {__LINE__, {70, 0, 4, 1, 0, 0, 0, 0, -1}, 0},
    {__LINE__, {124, 2, 2, 5, 7, 8, 9, 45, -1}, 1709622489045},
    // 15 January 2024 is taken for 15 February 3924.
    {__LINE__, {2024, 1, 1, 15, 0, 0, 0, 0, -1}, 61666099200000},
    {__LINE__, {2024, 1, 1, 15, 1, 2, 3, 4, -1}, 61666102923004},

    // The day of the week and the marker do not matter.
    {__LINE__, {124, 2, -99, 5, 7, 8, 9, 45, 77}, 1709622489045},

    // What is beyond its range is carried.
    {__LINE__, {123, 12, 0, 1, 0, 0, 0, 0, 0}, 1704067200000},
    {__LINE__, {125, -12, 0, 1, 0, 0, 0, 0, 0}, 1704067200000},
    {__LINE__, {124, -1, 0, 32, 0, 0, 0, 0, 0}, 1704067200000},
    {__LINE__, {124, 0, 0, 1, -24, 1440, 0, 0, 0}, 1704067200000},
    {__LINE__, {124, 0, 0, 1, 9, 0, -32400, 0, 0}, 1704067200000},
    {__LINE__, {123, 11, 0, 31, 23, 59, 60, 0, 0}, 1704067200000},
    {__LINE__, {124, 0, 0, 1, 0, 0, 0, 32767, 0}, 1704067232767},
    {__LINE__, {124, 0, 0, 1, 0, 0, 0, -1, 0}, 1704067199999},
    {__LINE__, {32767, 0, 0, 1, 0, 0, 0, 0, 0}, 1031817657600000},

    // Before 1970; milliseconds are not looked at for that.
    {__LINE__, {70, 0, 0, 1, 0, 0, 0, -32768, 0}, -32768},
    {__LINE__, {70, 0, 0, 1, 0, 0, -1, 32767, 0}, std::nullopt},
    {__LINE__, {70, 0, 0, 1, 0, 0, -2, 0, 0}, std::nullopt},
    {__LINE__, {69, 11, 0, 31, 0, 0, 0, 0, 0}, std::nullopt},
    {__LINE__, {0, 0, 0, 0, 0, 0, 0, 0, 0}, std::nullopt},
    {__LINE__, {-32768, 0, 0, 1, 0, 0, 0, 0, 0}, std::nullopt},
};

// [time-1]
TEST(TimeTest, TheYearAndTheMonthOfARecordAreTakenAsTheyAre) {
    const TimeZoneGuard guard("UTC0");
    for (const RecordCase& row : kRecordCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        long long t = kJunk;
        EXPECT_EQ(row.t.has_value(), Novu::SysTimeToTime(Of(row.fields), t));
        EXPECT_EQ(row.t.value_or(kJunk), t);
        t = kJunk;
        EXPECT_EQ(row.t.has_value(),
                  Novu::LocalSysTimeToTime(Of(row.fields), t));
        EXPECT_EQ(row.t.value_or(kJunk), t);
    }
}

TEST(TimeTest, FieldsOfATimeValueDoNotLeadBackToIt) {
    const TimeZoneGuard guard("UTC0");
    SysTime st = Of({2024, 1, 1, 15, 0, 0, 0, 0, -1});
    long long t = 0;
    ASSERT_TRUE(Novu::SysTimeToTime(st, t));
    ASSERT_TRUE(Novu::TimeToSysTime(t, st));
    EXPECT_EQ((Fields{3924, 2, 5, 15, 0, 0, 0, 0, -1}), FieldsOf(st));
}

TEST(TimeTest, RecordsAreReadAsLocalTimeWithItsDaylightSaving) {
    for (const LocalCase& row : kLocalCases) {
        if (row.fields[1] != 3 || row.fields[3] != 5) {
            continue;  // One row for each zone is far from a change.
        }
        SCOPED_TRACE(row.zone.name);
        const TimeZoneGuard guard(row.zone.name);
        Fields fields = row.fields;
        fields[0] = 124;
        fields[1] = 2;
        long long t = kJunk;
        EXPECT_TRUE(Novu::SysTimeToTime(Of(fields), t));
        EXPECT_EQ(row.t, t);
    }
    const TimeZoneGuard guard("CET-1CEST,M3.5.0,M10.5.0/3");
    long long t = kJunk;
    // 1 July 2024, 12:00 local time.
    EXPECT_TRUE(Novu::SysTimeToTime(Of({124, 6, 0, 1, 12, 0, 0, 0, 0}), t));
    EXPECT_EQ(1719828000000, t);
    // 1:00 on 1 January 1970 is 0; an earlier one is refused.
    EXPECT_TRUE(Novu::SysTimeToTime(Of({70, 0, 0, 1, 1, 0, 0, 5, 0}), t));
    EXPECT_EQ(5, t);
    EXPECT_FALSE(Novu::SysTimeToTime(Of({70, 0, 0, 1, 0, 59, 58, 9, 0}), t));
    EXPECT_EQ(5, t);
}

TEST(TimeTest, RecordsOfAnyFieldsAreThoseOfTheStandardLibrary) {
    const TimeZoneGuard guard("UTC0");
    const std::mt19937_64::result_type seed = 20250315;
    std::mt19937_64 random(seed);
    for (int round = 0; round < 100000; ++round) {
        Fields fields{};
        for (short& field : fields) {
            field = static_cast<short>(random() >> (random() % 64));
        }
        // The calendar of the standard library ends in year 32767.
        fields[0] = static_cast<short>(fields[0] % 25000);

        const int months = 12 * (1900 + fields[0]) + fields[1];
        const int month = (months % 12 + 12) % 12;
        const std::chrono::sys_days first =
            std::chrono::year{(months - month) / 12} /
            std::chrono::month{static_cast<unsigned int>(month + 1)} / 1;
        const std::chrono::sys_seconds at =
            first + std::chrono::days{fields[3] - 1} +
            std::chrono::hours{fields[4]} + std::chrono::minutes{fields[5]} +
            std::chrono::seconds{fields[6]};
        const long long seconds = at.time_since_epoch().count();

        long long t = kJunk;
        ASSERT_EQ(seconds >= 0, Novu::SysTimeToTime(Of(fields), t))
            << "seed " << seed << ": " << testing::PrintToString(fields);
        ASSERT_EQ(seconds >= 0 ? seconds * 1000 + fields[7] : kJunk, t)
            << "seed " << seed << ": " << testing::PrintToString(fields);
    }
}

TEST(TimeTest, RecordsOfAnyFieldsAreThoseOfMktimeInEveryZone) {
    const std::mt19937_64::result_type seed = 20250316;
    std::mt19937_64 random(seed);
    for (const Zone& zone : kZones) {
        const TimeZoneGuard guard(zone.name);
        for (int round = 0; round < 3000; ++round) {
            Fields fields{};
            for (short& field : fields) {
                field = static_cast<short>(random() >> (random() % 64));
            }
            // Around noon in months in which no zone changes its clocks, since
            // what mktime makes of an hour that is lived twice may vary.
            fields[1] = static_cast<short>(random() % 2 == 0 ? 0 : 6);
            fields[3] = static_cast<short>(1 + random() % 28);
            fields[4] = 12;
            fields[5] = static_cast<short>(fields[5] % 600);
            const std::time_t seconds = MadeOf(Of(fields));
            long long t = kJunk;
            ASSERT_EQ(seconds >= 0, Novu::SysTimeToTime(Of(fields), t))
                << "seed " << seed << ": " << testing::PrintToString(fields)
                << " in " << zone.name;
            ASSERT_EQ(seconds >= 0 ? JoinedTime(seconds, fields[7]) : kJunk, t)
                << "seed " << seed << ": " << testing::PrintToString(fields)
                << " in " << zone.name;
        }
    }
}

// Whether mktime gets the fields of `st` and leave to find out about daylight
// saving.
void ExpectReadLiterally(bool (*operation)(const SysTime&)) {
    for (const short extreme : std::array<short, 3>{SHRT_MIN, -1, SHRT_MAX}) {
        for (std::size_t index = 0; index < 9; ++index) {
            Fields fields = {124, 2, 3, 4, 5, 6, 7, 8, 9};
            fields[index] = extreme;
            Script script;
            script->made = {1000, 2000};
            EXPECT_TRUE(operation(Of(fields)));
            ASSERT_FALSE(script->records.empty());
            EXPECT_EQ((std::array<long, 10>{fields[0], fields[1], fields[3],
                                            fields[4], fields[5], fields[6],
                                            fields[2], 0, -1, 0}),
                      NumbersOf(script->records.front()));
        }
    }
}

TEST(TimeTest, MktimeGetsEveryFieldOfARecordAsItIs) {
    ExpectReadLiterally([](const SysTime& st) {
        long long t = 0;
        return Novu::SysTimeToTime(st, t) && t == 1000000 + st.milliseconds;
    });
    ExpectReadLiterally([](const SysTime& st) {
        long long t = 0;
        return Novu::LocalSysTimeToTime(st, t) &&
               t == 1000000 + st.milliseconds;
    });
    ExpectReadLiterally(Novu::SetCurTime);
    ExpectReadLiterally(Novu::SetCurLocalTime);
}

// Calls and failures

// Everything that the operations below write.
struct Outputs {
    SysTime st = JunkTime();
    long long t = kJunk;
    long sec = kJunk;
    long ms = kJunk;
    std::tm fields = JunkTm();
};

bool SameBytes(const Outputs& left, const Outputs& right) {
    return FieldsOf(left.st) == FieldsOf(right.st) && left.t == right.t &&
           left.sec == right.sec && left.ms == right.ms &&
           NumbersOf(left.fields) == NumbersOf(right.fields);
}

const long long kTime = 1709622489045;
const SysTime kRecord = Of({124, 2, 2, 5, 7, 8, 9, 45, -1});

const struct Operation {
    const char* name;
    const char* calls;  // Of which each can fail.
    bool (*run)(Outputs& out);
} kOperations[] = {
    {"TimeToSysTime", "g",
     [](Outputs& out) { return Novu::TimeToSysTime(kTime, out.st); }},
    {"TimeToLocalSysTime", "l",
     [](Outputs& out) { return Novu::TimeToLocalSysTime(kTime, out.st); }},
    {"SysTimeToTime", "m",
     [](Outputs& out) { return Novu::SysTimeToTime(kRecord, out.t); }},
    {"LocalSysTimeToTime", "m",
     [](Outputs& out) { return Novu::LocalSysTimeToTime(kRecord, out.t); }},
    {"TimeToLocalTime", "lm",
     [](Outputs& out) { return Novu::TimeToLocalTime(kTime, out.t); }},
    {"LocalTimeToTime", "gm",
     [](Outputs& out) { return Novu::LocalTimeToTime(kTime, out.t); }},
    {"GetLocalTime", "c",
     [](Outputs& out) { return Novu::GetLocalTime(out.sec, out.ms) == 1; }},
    {"GetTime in seconds", "cgm",
     [](Outputs& out) { return Novu::GetTime(out.sec, out.ms) == 1; }},
    {"GetTime in fields", "cg",
     [](Outputs& out) { return Novu::GetTime(out.ms, out.fields) == 1; }},
    {"GetCurLocalTime", "c",
     [](Outputs& out) { return Novu::GetCurLocalTime(out.t); }},
    {"GetCurLocalTime as result", "c",
     [](Outputs&) { return Novu::GetCurLocalTime() != 0; }},
    {"GetCurLocalTime in fields", "cg",
     [](Outputs& out) { return Novu::GetCurLocalTime(out.st); }},
    {"GetCurTime", "cgm", [](Outputs& out) { return Novu::GetCurTime(out.t); }},
    {"GetCurTime as result", "cgm",
     [](Outputs&) { return Novu::GetCurTime() != 0; }},
    {"GetCurTime in fields", "cg",
     [](Outputs& out) { return Novu::GetCurTime(out.st); }},
    {"SetCurTime to fields", "mlms",
     [](Outputs&) { return Novu::SetCurTime(kRecord); }},
    {"SetCurLocalTime to fields", "mlms",
     [](Outputs&) { return Novu::SetCurLocalTime(kRecord); }},
    {"SetCurTime", "lms", [](Outputs&) { return Novu::SetCurTime(kTime); }},
    {"SetCurLocalTime", "s",
     [](Outputs&) { return Novu::SetCurLocalTime(kTime); }},
};

TEST(TimeTest, EveryOperationMakesItsCallsAndLeavesErrnoAlone) {
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        Outputs out;
        Script script;
        script->now = {1709622489, 45678};
        script->fields = std::tm{};
        script->made = {1000, 2000};
        errno = kErrorBefore;
        EXPECT_TRUE(operation.run(out));
        EXPECT_EQ(kErrorBefore, errno);
        EXPECT_EQ(operation.calls, script->calls);
    }
}

TEST(TimeTest, AFailingCallEndsTheOperationAndIsLeftInErrno) {
    for (const Operation& operation : kOperations) {
        const std::string calls = operation.calls;
        for (std::size_t failing = 0; failing < calls.size(); ++failing) {
            SCOPED_TRACE(testing::Message()
                         << operation.name << ", call " << failing << " fails");
            Outputs expected;
            if (operation.name == std::string("GetTime in seconds") &&
                calls[failing] == 'm') {
                expected.sec = -1;  // It is written before it is looked at.
            }
            Outputs out;
            Script script;
            script->failing = failing;
            script->now = {1709622489, 45678};
            script->fields = std::tm{};
            script->made = {1000, 2000};
            errno = kErrorBefore;
            EXPECT_FALSE(operation.run(out));
            EXPECT_EQ(kErrorOfCall, errno);
            EXPECT_EQ(calls.substr(0, failing + 1), script->calls);
            EXPECT_TRUE(SameBytes(expected, out));
        }
    }
}

TEST(TimeTest, TheCallsWithANumberForAResultAnswer0ForFailure) {
    for (std::size_t failing = 0; failing < 3; ++failing) {
        Outputs out;
        Script script;
        script->failing = failing;
        EXPECT_EQ(0, Novu::GetTime(out.sec, out.ms));
        script->calls.clear();
        EXPECT_EQ(failing < 2 ? 0 : 1, Novu::GetTime(out.ms, out.fields));
        script->calls.clear();
        EXPECT_EQ(failing < 1 ? 0 : 1, Novu::GetLocalTime(out.sec, out.ms));
        script->calls.clear();
        EXPECT_EQ(0, Novu::GetCurTime());
    }
    Script script;
    script->now = {1, 0};
    script->failing = 0;
    EXPECT_EQ(0, Novu::GetCurLocalTime());
}

// Not only -1, and 0 is a time.
TEST(TimeTest, EveryNegativeAnswerOfMktimeIsAFailure) {
    for (const Operation& operation : kOperations) {
        const std::string calls = operation.calls;
        const auto asks = std::count(calls.begin(), calls.end(), 'm');
        for (std::ptrdiff_t ask = 0; ask < asks; ++ask) {
            for (const std::time_t answer :
                 std::array<std::time_t, 4>{-2, LONG_MIN, 0, LONG_MAX}) {
                SCOPED_TRACE(testing::Message() << operation.name << ", "
                                                << answer << " for " << ask);
                Outputs expected;
                if (operation.name == std::string("GetTime in seconds")) {
                    expected.sec = answer;
                }
                Outputs out;
                Script script;
                script->now = {1709622489, 45678};
                script->fields = std::tm{};
                script->made.assign(static_cast<std::size_t>(ask), 1000);
                script->made.push_back(answer);
                script->made.push_back(2000);
                EXPECT_EQ(answer >= 0, operation.run(out));
                if (answer < 0) {
                    EXPECT_EQ('m', script->calls.back());
                    EXPECT_TRUE(SameBytes(expected, out));
                }
            }
        }
    }
}

// The seconds that gmtime_r and localtime_r get.
TEST(TimeTest, SecondsAreDividedTowardsZero) {
    const struct {
        long long t;
        std::time_t seconds;
    } rows[] = {
        {0, 0},
        {999, 0},
        {1000, 1},
        {1999, 1},
        {-1, 0},
        {-999, 0},
        {-1000, -1},
        {-1999, -1},
        {-2000, -2},
        {kTime, 1709622489},
        {LLONG_MAX, 9223372036854775},
        {LLONG_MIN, -9223372036854775},
    };
    for (const auto& row : rows) {
        Script script;
        script->fields = std::tm{};
        script->made.assign(3, 1000);
        Outputs out;
        EXPECT_TRUE(Novu::TimeToSysTime(row.t, out.st));
        EXPECT_EQ(row.t % 1000, out.st.milliseconds);
        EXPECT_TRUE(Novu::TimeToLocalSysTime(row.t, out.st));
        EXPECT_EQ(row.t % 1000, out.st.milliseconds);
        EXPECT_TRUE(Novu::TimeToLocalTime(row.t, out.t));
        EXPECT_EQ(1000000 + row.t % 1000, out.t);
        EXPECT_TRUE(Novu::LocalTimeToTime(row.t, out.t));
        EXPECT_EQ(1000000 + row.t % 1000, out.t);
        EXPECT_TRUE(Novu::SetCurTime(row.t));
        EXPECT_EQ(std::vector<std::time_t>(5, row.seconds), script->seconds);
    }
}

// The clock

const struct ClockCase {
    int line;
    timeval now;
    long ms;
    Fields fields;
} kClockCases[] = {
    // line    now                   ms   fields
    {__LINE__, {1709622489, 45678}, 45, {2024, 3, 2, 5, 7, 8, 9, 45, -1}},
    {__LINE__, {1709622489, 0}, 0, {2024, 3, 2, 5, 7, 8, 9, 0, -1}},
    {__LINE__, {1709622489, 999}, 0, {2024, 3, 2, 5, 7, 8, 9, 0, -1}},
    {__LINE__, {1709622489, 1000}, 1, {2024, 3, 2, 5, 7, 8, 9, 1, -1}},
    {__LINE__, {1709622489, 999999}, 999, {2024, 3, 2, 5, 7, 8, 9, 999, -1}},
    {__LINE__, {951782400, 500000}, 500, {2000, 2, 2, 29, 0, 0, 0, 500, -1}},
    {__LINE__, {4102444799, 1999}, 1, {2099, 12, 4, 31, 23, 59, 59, 1, -1}},
};

// [time-2] The true time by the name of "Local", the shifted one by the other.
TEST(TimeTest, TheLocalCallsGiveTheTrueTimeAndTheOthersTheShiftedOne) {
    for (const Zone& zone : kZones) {
        const TimeZoneGuard guard(zone.name);
        for (const ClockCase& row : kClockCases) {
            SCOPED_TRACE(testing::Message()
                         << "row at line " << row.line << " in " << zone.name);
            const long shifted = row.now.tv_sec - zone.standardOffset;
            Script script;
            script->now = row.now;

            Outputs out;
            EXPECT_EQ(1, Novu::GetLocalTime(out.sec, out.ms));
            EXPECT_EQ(row.now.tv_sec, out.sec);
            EXPECT_EQ(row.ms, out.ms);
            EXPECT_TRUE(Novu::GetCurLocalTime(out.t));
            EXPECT_EQ(row.now.tv_sec * 1000 + row.ms, out.t);
            EXPECT_EQ(row.now.tv_sec * 1000 + row.ms, Novu::GetCurLocalTime());

            out = {};
            EXPECT_EQ(1, Novu::GetTime(out.sec, out.ms));
            EXPECT_EQ(shifted, out.sec);
            EXPECT_EQ(row.ms, out.ms);
            EXPECT_TRUE(Novu::GetCurTime(out.t));
            EXPECT_EQ(shifted * 1000 + row.ms, out.t);
            EXPECT_EQ(shifted * 1000 + row.ms, Novu::GetCurTime());
        }
    }
}

// [time-3]
TEST(TimeTest, TheFieldsOfNowAreInUtcByEitherName) {
    for (const Zone& zone : kZones) {
        const TimeZoneGuard guard(zone.name);
        for (const ClockCase& row : kClockCases) {
            SCOPED_TRACE(testing::Message()
                         << "row at line " << row.line << " in " << zone.name);
            Script script;
            script->now = row.now;
            Outputs out;
            EXPECT_TRUE(Novu::GetCurTime(out.st));
            EXPECT_EQ(row.fields, FieldsOf(out.st));
            out = {};
            EXPECT_TRUE(Novu::GetCurLocalTime(out.st));
            EXPECT_EQ(row.fields, FieldsOf(out.st));

            EXPECT_EQ(1, Novu::GetTime(out.ms, out.fields));
            EXPECT_EQ(row.ms, out.ms);
            std::tm expected{};
            ASSERT_NE(nullptr, ::gmtime_r(&row.now.tv_sec, &expected));
            EXPECT_EQ(NumbersOf(expected), NumbersOf(out.fields));
        }
    }
}

// Far from daylight saving, which the shift leaves out.
TEST(TimeTest, LocalClocksShowTheUtcOfNowAtTheShiftedTime) {
    for (const Zone& zone : kZones) {
        if (std::strstr(zone.name, "M9.5.0") != nullptr) {
            continue;  // Summer in the south.
        }
        SCOPED_TRACE(zone.name);
        const TimeZoneGuard guard(zone.name);
        Script script;
        script->now = {1704538089, 45678};
        SysTime st = JunkTime();
        EXPECT_TRUE(Novu::TimeToLocalSysTime(Novu::GetCurTime(), st));
        EXPECT_EQ((Fields{2024, 1, 6, 6, 10, 48, 9, 45, -1}), FieldsOf(st));
    }
}

TEST(TimeTest, AClockBefore1970) {
    const TimeZoneGuard guard("UTC0");
    Script script;
    script->now = {-5, 700000};
    Outputs out;
    EXPECT_EQ(1, Novu::GetLocalTime(out.sec, out.ms));
    EXPECT_EQ(-5, out.sec);
    EXPECT_EQ(700, out.ms);
    EXPECT_TRUE(Novu::GetCurLocalTime(out.t));
    EXPECT_EQ(-4300, out.t);
    EXPECT_EQ(-4300, Novu::GetCurLocalTime());

    // The seconds are written, but not the milliseconds.
    out = {};
    EXPECT_EQ(0, Novu::GetTime(out.sec, out.ms));
    EXPECT_EQ(-5, out.sec);
    EXPECT_EQ(kJunk, out.ms);
    EXPECT_FALSE(Novu::GetCurTime(out.t));
    EXPECT_EQ(kJunk, out.t);
    EXPECT_EQ(0, Novu::GetCurTime());
    EXPECT_TRUE(Novu::GetCurTime(out.st));
    EXPECT_EQ((Fields{1969, 12, 3, 31, 23, 59, 55, 700, -1}), FieldsOf(out.st));
}

TEST(TimeTest, AClockBeyondTheLastYearThatHasFields) {
    const TimeZoneGuard guard("UTC0");
    Script script;
    script->now = {LONG_MAX, 999999};
    Outputs out;
    EXPECT_EQ(1, Novu::GetLocalTime(out.sec, out.ms));
    EXPECT_EQ(LONG_MAX, out.sec);
    EXPECT_EQ(999, out.ms);
    EXPECT_TRUE(Novu::GetCurLocalTime(out.t));
    EXPECT_EQ(-1, out.t);  // (2^63 - 1) * 1000 + 999, modulo 2^64
    out = {};
    EXPECT_EQ(0, Novu::GetTime(out.sec, out.ms));
    EXPECT_FALSE(Novu::GetCurTime(out.t));
    EXPECT_FALSE(Novu::GetCurTime(out.st));
    EXPECT_TRUE(SameBytes({}, out));
}

// The last second that has fields is in year 2147485547, of which the low 16
// bits are 1899.
TEST(TimeTest, TheLastYearThatAClockCanShowWraps) {
    const TimeZoneGuard guard("UTC0");
    Script script;
    script->now = {67768036191676799, 999999};
    Outputs out;
    EXPECT_TRUE(Novu::GetCurTime(out.st));
    EXPECT_EQ((Fields{1899, 12, 3, 31, 23, 59, 59, 999, -1}), FieldsOf(out.st));
    EXPECT_EQ(1, Novu::GetTime(out.sec, out.ms));
    EXPECT_EQ(67768036191676799, out.sec);
    EXPECT_TRUE(Novu::GetCurTime(out.t));
}

TEST(TimeTest, TheTrueTimeIsThatOfTheSystem) {
    const auto now = [] {
        return std::chrono::floor<std::chrono::milliseconds>(
                   std::chrono::system_clock::now())
            .time_since_epoch()
            .count();
    };
    const long long before = now();
    const long long t = Novu::GetCurLocalTime();
    Outputs out;
    EXPECT_EQ(1, Novu::GetLocalTime(out.sec, out.ms));
    EXPECT_TRUE(Novu::GetCurLocalTime(out.t));
    const long long after = now();
    EXPECT_LE(before, t);
    EXPECT_LE(t, out.sec * 1000 + out.ms);
    EXPECT_LE(out.sec * 1000 + out.ms, out.t);
    EXPECT_LE(out.t, after);
}

// Setting the clock

const struct SetCase {
    int line;
    long long t;
    long byWayOfFields;  // The microseconds that SetCurTime sets.
    long straight;       // Those that SetCurLocalTime sets.
} kSetCases[] = {
    // line    t   SetCurTime  SetCurLocalTime
    {__LINE__, 0, 0, 0},
    {__LINE__, 1000, 0, 0},
    {__LINE__, 1709622489000, 0, 0},
    {__LINE__, 1709622489001, 1000, 1000000},
    {__LINE__, 1709622489999, 999000, 999000000},
    {__LINE__, LLONG_MAX, 807000, 807000000},
    {__LINE__, -1, -1000, -1000000},
    {__LINE__, -999, -999000, -999000000},
    // The hour that is lived twice, both times.
    {__LINE__, 1729989000000, 0, 0},
    {__LINE__, 1729992600000, 0, 0},
};

TEST(TimeTest, TheClockIsSetToATimeValue) {
    for (const Zone& zone : kZones) {
        const TimeZoneGuard guard(zone.name);
        for (const SetCase& row : kSetCases) {
            SCOPED_TRACE(testing::Message()
                         << "row at line " << row.line << " in " << zone.name);
            const long sec = row.t / 1000;
            Script script;
            EXPECT_TRUE(Novu::SetCurTime(row.t));
            EXPECT_TRUE(Novu::SetCurLocalTime(row.t));
            EXPECT_EQ((std::vector<Setting>{{sec, row.byWayOfFields, 0},
                                            {sec, row.straight, 0}}),
                      script->settings);
        }
    }
}

TEST(TimeTest, TheClockIsSetBefore1970ByTheLocalCallOnly) {
    for (const long long t :
         std::array<long long, 3>{-1000, -1999, LLONG_MIN}) {
        Script script;
        EXPECT_FALSE(Novu::SetCurTime(t));
        EXPECT_TRUE(script->settings.empty());
        EXPECT_TRUE(Novu::SetCurLocalTime(t));
        EXPECT_EQ((std::vector<Setting>{{t / 1000, t % 1000 * 1000000, 0}}),
                  script->settings);
    }
}

// [time-4]
TEST(TimeTest, OnlyWholeSecondsCanBeSetByTheLocalCall) {
    Script script;
    script->refuses = true;
    EXPECT_TRUE(Novu::SetCurLocalTime(1709622489000));
    for (const long long ms : std::array<long long, 4>{1, 45, 500, 999}) {
        errno = kErrorBefore;
        EXPECT_FALSE(Novu::SetCurLocalTime(1709622489000 + ms));
        EXPECT_EQ(EINVAL, errno);
        EXPECT_FALSE(Novu::SetCurLocalTime(-ms));
        EXPECT_TRUE(Novu::SetCurTime(1709622489000 + ms));
    }
}

TEST(TimeTest, TheClockIsSetToARecordReadLiterally) {
    for (const auto set :
         {static_cast<bool (*)(const SysTime&)>(Novu::SetCurTime),
          static_cast<bool (*)(const SysTime&)>(Novu::SetCurLocalTime)}) {
        const TimeZoneGuard guard("UTC0");
        for (const RecordCase& row : kRecordCases) {
            SCOPED_TRACE(testing::Message() << "row at line " << row.line);
            Script script;
            EXPECT_EQ(row.t.has_value(), set(Of(row.fields)));
            std::vector<Setting> expected;
            if (row.t) {
                const long ms = row.fields[7];
                expected.push_back({(*row.t - ms) / 1000, ms * 1000, 0});
            }
            EXPECT_EQ(expected, script->settings);
        }
        const TimeZoneGuard inner("IST-5:30");
        Script script;
        EXPECT_TRUE(set(Of({2024, 1, 1, 15, 0, 0, 0, 4, -1})));
        EXPECT_EQ((std::vector<Setting>{{61666079400, 4000, 0}}),
                  script->settings);
    }
}

// The second mktime decides what is set.
TEST(TimeTest, ARecordGoesThroughLocalTime) {
    Script script;
    script->made = {1000, 2000};
    EXPECT_TRUE(Novu::SetCurTime(kRecord));
    EXPECT_EQ(std::vector<std::time_t>{1000}, script->seconds);
    EXPECT_EQ((std::vector<Setting>{{2000, 45000, 0}}), script->settings);
}

TEST(TimeTest, TheClockIsSetWhereTheSystemAnswersZeroOrMore) {
    for (const int answer : {0, 1, 7, INT_MAX, -1, -2, INT_MIN}) {
        Script script;
        script->setting = answer;
        EXPECT_EQ(answer >= 0, Novu::SetCurTime(kRecord)) << answer;
        EXPECT_EQ(answer >= 0, Novu::SetCurLocalTime(kRecord)) << answer;
        EXPECT_EQ(answer >= 0, Novu::SetCurTime(kTime)) << answer;
        EXPECT_EQ(answer >= 0, Novu::SetCurLocalTime(kTime)) << answer;
        EXPECT_EQ(4U, script->settings.size());
    }
}

// Daylight saving

// A rule or a date of which the rest is junk.
SysTime Day(short year, short month, short dayOfWeek, short day) {
    SysTime st = JunkTime();
    st.year = year;
    st.month = month;
    st.dayOfWeek = dayOfWeek;
    st.day = day;
    return st;
}

SysTime Rule(short month, short dayOfWeek, short week) {
    return Day(kJunkField, month, dayOfWeek, week);
}

TimeZone Rules(const SysTime& start, const SysTime& end, int daylightBias) {
    TimeZone tz;
    std::memset(&tz, 0x4a, sizeof tz);
    tz.standardDate = end;
    tz.daylightDate = start;
    tz.daylightBias = daylightBias;
    return tz;
}

const struct RuleCase {
    int line;
    SysTime rule;
    SysTime date;
    bool isDay;
} kRuleCases[] = {
    // line    rule           date
    {__LINE__, Rule(3, 0, 2), Day(2024, 3, 0, 10), true},
    {__LINE__, Rule(3, 0, 2), Day(2024, 3, 0, 3), false},
    {__LINE__, Rule(3, 0, 2), Day(2024, 3, 0, 17), false},
    {__LINE__, Rule(3, 0, 5), Day(2024, 3, 0, 31), true},
    {__LINE__, Rule(3, 0, 5), Day(2024, 3, 0, 24), false},
    {__LINE__, Rule(3, 0, 1), Day(2024, 3, 0, 3), true},
    {__LINE__, Rule(3, 0, 3), Day(2024, 3, 0, 17), true},
    {__LINE__, Rule(3, 0, 4), Day(2024, 3, 0, 24), true},

    // Another month, another day of the week.
    {__LINE__, Rule(3, 0, 2), Day(2024, 4, 0, 10), false},
    {__LINE__, Rule(3, 0, 2), Day(2024, 3, 1, 10), false},
    {__LINE__, Rule(3, 0, 5), Day(2024, 5, 0, 31), false},
    {__LINE__, Rule(3, 0, 5), Day(2024, 3, 1, 31), false},

    // The last week begins where seven days are left, in leap years later.
    {__LINE__, Rule(2, 4, 5), Day(2024, 2, 4, 22), false},
    {__LINE__, Rule(2, 4, 5), Day(2024, 2, 4, 23), true},
    {__LINE__, Rule(2, 4, 5), Day(2023, 2, 4, 22), true},
    {__LINE__, Rule(2, 4, 5), Day(2023, 2, 4, 21), false},
    {__LINE__, Rule(2, 4, 5), Day(1900, 2, 4, 22), true},
    // -116 is leap as a number of 16 bits, and is not as one of 64.
    {__LINE__, Rule(2, 4, 5), Day(-116, 2, 4, 22), true},
    // 3 days before the month begins.
    {__LINE__, Rule(3, 0, 5), Day(2024, 3, 0, -3), false},

    // The week is reckoned from the day and its weekday as they are.
    {__LINE__, Rule(3, 6, 2), Day(2024, 3, 6, 2), true},
    {__LINE__, Rule(3, 6, 1), Day(2024, 3, 6, 2), false},
    {__LINE__, Rule(3, 6, 1), Day(2024, 3, 6, 1), true},
    {__LINE__, Rule(3, 5, 6), Day(2024, 3, 5, 31), true},
    {__LINE__, Rule(3, 7, 2), Day(2024, 3, 7, 1), true},
    {__LINE__, Rule(3, -1, 1), Day(2024, 3, -1, 7), true},
    {__LINE__, Rule(3, 0, 4681), Day(2024, 3, 0, 32767), true},
    {__LINE__, Rule(3, 0, 0), Day(2024, 3, 0, 3), false},
    // The low 16 bits of 0x2492492492492493, the week of day 0.
    {__LINE__, Rule(3, 0, 0x2493), Day(2024, 3, 0, 0), true},
    {__LINE__, Rule(3, 0, 0x2492), Day(2024, 3, 0, 0), false},

    // Months that there are not have weeks, but no last one.
    {__LINE__, Rule(13, 0, 2), Day(2024, 13, 0, 10), true},
    {__LINE__, Rule(-1, 0, 2), Day(2024, -1, 0, 10), true},
    {__LINE__, Rule(13, 0, 5), Day(2024, 13, 0, 31), false},
    {__LINE__, Rule(-1, 0, 5), Day(2024, -1, 0, 31), false},
};

// [time-7]
TEST(TimeTest, DaylightSavingStartsAndEndsOnTheDaysOfItsRules) {
    const SysTime other = Rule(12, 6, 4);
    for (const RuleCase& row : kRuleCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        for (const int bias : {-60, 1, INT_MIN}) {
            const TimeZone starting = Rules(row.rule, other, bias);
            EXPECT_EQ(row.isDay, Novu::IsDstStartDay(row.date, starting));
            EXPECT_FALSE(Novu::IsDstEndDay(row.date, starting));
            const TimeZone ending = Rules(other, row.rule, bias);
            EXPECT_EQ(row.isDay, Novu::IsDstEndDay(row.date, ending));
            EXPECT_FALSE(Novu::IsDstStartDay(row.date, ending));
            const TimeZone both = Rules(row.rule, row.rule, bias);
            EXPECT_EQ(row.isDay, Novu::IsDstStartDay(row.date, both));
            EXPECT_EQ(row.isDay, Novu::IsDstEndDay(row.date, both));
        }
    }
}

TEST(TimeTest, AZoneWithoutBiasOrWithoutARuleHasNoDaylightSaving) {
    const SysTime rule = Rule(3, 0, 2);
    const SysTime none = Rule(0, 0, 2);
    const SysTime date = Day(2024, 3, 0, 10);
    const SysTime noDate = Day(2024, 0, 0, 10);
    const long long t = 1710072000000;  // That date.
    for (const TimeZone& tz :
         {Rules(rule, rule, 0), Rules(none, rule, -60), Rules(rule, none, -60),
          Rules(none, none, -60), Rules(none, none, 0)}) {
        EXPECT_FALSE(Novu::IsDstStartDay(date, tz));
        EXPECT_FALSE(Novu::IsDstEndDay(date, tz));
        EXPECT_FALSE(Novu::IsDstStartDay(noDate, tz));
        EXPECT_FALSE(Novu::IsDstEndDay(noDate, tz));
        EXPECT_FALSE(Novu::IsDstStartDay(t, tz));
        EXPECT_FALSE(Novu::IsDstEndDay(t, tz));
    }
    EXPECT_TRUE(Novu::IsDstStartDay(t, Rules(rule, rule, -60)));
    EXPECT_TRUE(Novu::IsDstEndDay(t, Rules(rule, rule, -60)));
}

// [time-5] A day is that of UTC, from its first millisecond to its last.
TEST(TimeTest, TheDayOfATimeValueIsThatOfUtc) {
    const TimeZone tz = Rules(Rule(3, 0, 2), Rule(11, 0, 1), -60);
    const long long day = 86400000;
    const long long start = 1710028800000;  // 10 March 2024, a Sunday.
    const long long end = 1730592000000;    // 3 November 2024, another.
    for (const Zone& zone : kZones) {
        SCOPED_TRACE(zone.name);
        const TimeZoneGuard guard(zone.name);
        for (const long long t : {start, start + day / 2, start + day - 1}) {
            EXPECT_TRUE(Novu::IsDstStartDay(t, tz)) << t;
            EXPECT_FALSE(Novu::IsDstEndDay(t, tz)) << t;
        }
        for (const long long t : {end, end + day / 2, end + day - 1}) {
            EXPECT_TRUE(Novu::IsDstEndDay(t, tz)) << t;
            EXPECT_FALSE(Novu::IsDstStartDay(t, tz)) << t;
        }
        for (const long long t : {start - 1, start + day, end - 1, end + day}) {
            EXPECT_FALSE(Novu::IsDstStartDay(t, tz)) << t;
            EXPECT_FALSE(Novu::IsDstEndDay(t, tz)) << t;
        }
    }
}

TEST(TimeTest, NoDayIsThatOfATimeValueWithoutFields) {
    const TimeZone tz = Rules(Rule(3, 0, 2), Rule(3, 0, 2), -60);
    const long long t = 1710072000000;
    for (const auto test :
         {static_cast<bool (*)(const long long&, const TimeZone&)>(
              Novu::IsDstStartDay),
          static_cast<bool (*)(const long long&, const TimeZone&)>(
              Novu::IsDstEndDay)}) {
        Script script;
        EXPECT_TRUE(test(t, tz));
        EXPECT_EQ("g", script->calls);
        script->failing = 1;
        EXPECT_FALSE(test(t, tz));
        EXPECT_EQ("gg", script->calls);
    }
}

// Every day of 28 years, by which every day of the week falls on every date.
TEST(TimeTest, DaylightSavingDaysOfTheCalendar) {
    using namespace std::chrono_literals;
    const std::chrono::sys_days end = 2028y / 1 / 1;
    for (std::chrono::sys_days at = 2000y / 1 / 1; at != end;
         at += std::chrono::days{1}) {
        const std::chrono::year_month_day ymd = at;
        const auto month =
            static_cast<short>(static_cast<unsigned int>(ymd.month()));
        const auto day =
            static_cast<short>(static_cast<unsigned int>(ymd.day()));
        const auto dayOfWeek =
            static_cast<short>(std::chrono::weekday{at}.c_encoding());
        const SysTime date =
            Day(static_cast<short>(static_cast<int>(ymd.year())), month,
                dayOfWeek, day);
        const std::chrono::year_month_day weekLater = at + std::chrono::days{7};
        for (short week = 1; week <= 5; ++week) {
            const bool isDay = week == 5
                                   ? weekLater.month() != ymd.month()
                                   : (day + dayOfWeek - 1) / 7 + 1 == week;
            const TimeZone tz =
                Rules(Rule(month, dayOfWeek, week), Rule(1, 0, 7), 60);
            ASSERT_EQ(isDay, Novu::IsDstStartDay(date, tz))
                << at.time_since_epoch().count() << ", " << week;
            const long long t = at.time_since_epoch().count() * 86400000LL;
            ASSERT_EQ(isDay, Novu::IsDstStartDay(t, tz))
                << at.time_since_epoch().count() << ", " << week;
        }
    }
}

// Time zones

// [time-6]
TEST(TimeTest, TheTimeZoneCallsDoNothing) {
    Script script;
    TimeZone tz = Rules(Rule(3, 0, 2), Rule(11, 0, 1), -60);
    const auto bytesOf = [](const TimeZone& zone) {
        std::array<char, sizeof(TimeZone)> bytes{};
        std::memcpy(bytes.data(), &zone, sizeof zone);
        return bytes;
    };
    const auto before = bytesOf(tz);
    const auto expectUntouched = [&] { EXPECT_EQ(before, bytesOf(tz)); };

    TimeZoneDisplay display{};
    std::deque<TimeZone*> zones = {&tz, nullptr, &tz};
    std::deque<TimeZoneDisplay*> displays = {nullptr, &display};
    EXPECT_FALSE(Novu::GetTimeZoneList(zones));
    EXPECT_FALSE(Novu::GetTimeZoneDisplayList(displays));
    Novu::ClearTimeZoneList(zones);
    Novu::ClearTimeZoneDisplayList(displays);
    EXPECT_EQ((std::deque<TimeZone*>{&tz, nullptr, &tz}), zones);
    EXPECT_EQ((std::deque<TimeZoneDisplay*>{nullptr, &display}), displays);
    expectUntouched();
    zones.clear();
    EXPECT_FALSE(Novu::GetTimeZoneList(zones));
    EXPECT_TRUE(zones.empty());

    EXPECT_FALSE(Novu::GetTimeZone(tz));
    expectUntouched();
    EXPECT_FALSE(Novu::SetTimeZone(tz));
    expectUntouched();

    long long t = kJunk;
    SysTime st = JunkTime();
    EXPECT_FALSE(Novu::AdjustTimeZone(t, kTime, tz));
    EXPECT_FALSE(Novu::AdjustTimeZone(t, kRecord, tz));
    EXPECT_FALSE(Novu::AdjustTimeZone(st, kTime, tz));
    EXPECT_FALSE(Novu::AdjustTimeZone(st, kRecord, tz));
    EXPECT_FALSE(Novu::TimeToSysTime(kTime, st, tz));
    EXPECT_FALSE(Novu::SysTimeToTime(kRecord, t, tz));
    EXPECT_EQ(kJunk, t);
    EXPECT_EQ(kJunkFields, FieldsOf(st));
    expectUntouched();
    EXPECT_EQ("", script->calls);
}

TEST(TimeTest, SeveralThreadsConvertAtOnce) {
    const TimeZoneGuard guard("CET-1CEST,M3.5.0,M10.5.0/3");
    std::array<int, 4> wrong{};
    std::vector<std::thread> threads;
    for (int& count : wrong) {
        threads.emplace_back([&count] {
            for (int round = 0; round < 1000; ++round) {
                for (const LocalCase& row : kLocalCases) {
                    if (&row.zone != &kZones[1]) {
                        continue;
                    }
                    SysTime st{};
                    long long t = 0;
                    const bool right =
                        Novu::TimeToLocalSysTime(row.t, st) &&
                        FieldsOf(st) == row.fields &&
                        Novu::TimeToLocalTime(row.t, t) && t == row.t &&
                        Novu::LocalTimeToTime(row.t, t) && t == row.t - 3600000;
                    count += right ? 0 : 1;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ((std::array<int, 4>{}), wrong);
}

}  // namespace
