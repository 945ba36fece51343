// The surprises of Bases/Time.h and Timer.h.
//
// While `standing` points to a time, it is what the system answers; and the
// system's own clock is never set.

#include "Bases/Time.h"

#include <sys/time.h>

#include <cerrno>
#include <deque>

#include "Bases/Timer.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/TimeZoneGuard.h"
#include "tests/surprises/Seen.h"

namespace {

timeval* standing = nullptr;  // What the clock says, where it stands.

}  // namespace

extern "C" {

int gettimeofday(timeval* time, void* zone) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(timeval*, void*)>("gettimeofday");
    if (standing == nullptr) {
        return next(time, zone);
    }
    *time = *standing;
    return 0;
}

int settimeofday(const timeval* time,
                 const struct timezone* /*zone*/) noexcept {
    if (time->tv_usec < 0 || time->tv_usec >= 1000000) {
        errno = EINVAL;
        return -1;
    }
    return 0;
}

}  // extern "C"

namespace {

using Novu::GetCurLocalTime;
using Novu::GetCurTime;
using Novu::GetTimeZoneList;
using Novu::IsDstStartDay;
using Novu::SetCurLocalTime;
using Novu::SetCurTime;
using Novu::SysTime;
using Novu::SysTimeToTime;
using Novu::timer_ms;
using Novu::timer_ns;
using Novu::TimeToLocalSysTime;
using Novu::TimeToLocalTime;
using Novu::TimeToSysTime;
using Novu::TimeZone;
using NovuTest::SurprisesTest;
using NovuTest::TimeZoneGuard;

// In Central Europe; the clock stands at noon UTC of 5 March 2024.
class TimeSurprisesTest : public SurprisesTest {
protected:
    TimeSurprisesTest() { standing = &clock; }
    TimeSurprisesTest(const TimeSurprisesTest&) = delete;
    TimeSurprisesTest& operator=(const TimeSurprisesTest&) = delete;
    ~TimeSurprisesTest() override { standing = nullptr; }

    timeval clock{1709640000, 4711};
    long long t = 0;
    SysTime st{};

private:
    const TimeZoneGuard processZone{"CET-1CEST,M3.5.0,M10.5.0/3"};
};

// Daylight saving from the last Sunday of March to that of October.
TimeZone Rules() {
    TimeZone rules{};
    rules.daylightDate.month = 3;
    rules.daylightDate.day = 5;
    rules.standardDate.month = 10;
    rules.standardDate.day = 5;
    rules.daylightBias = -60;
    return rules;
}

// [time-1]
TEST_F(TimeSurprisesTest, time_1) {
    SEEN(SysTimeToTime({2024, 1, 1, 15, 12, 0, 0, 0, 0}, t);
         TimeToLocalSysTime(t, st);
         st.year == 3924 && st.month == 2 && st.day == 15);
}

// [time-2]
TEST_F(TimeSurprisesTest, time_2) {
    SEEN(GetCurLocalTime() / 1000 == clock.tv_sec &&
         GetCurTime() / 1000 == clock.tv_sec - 3600);
}

// [time-3]
TEST_F(TimeSurprisesTest, time_3) {
    SEEN(GetCurLocalTime(st) && st.hour == 12);
}

// [time-4]
TEST_F(TimeSurprisesTest, time_4) {
    SEEN(!SetCurLocalTime(1700000000001) && SetCurTime(1700000000001));
}

// [time-5] In local time this is half an hour after midnight, on the Sunday.
TEST_F(TimeSurprisesTest, time_5) {
    const TimeZone zone = Rules();
    t = 1711841400000;
    SEEN(TimeToLocalSysTime(t, st);
         IsDstStartDay(st, zone) && !IsDstStartDay(t, zone));
}

// [time-6]
TEST_F(TimeSurprisesTest, time_6) {
    SEEN(std::deque<TimeZone*> zones; !GetTimeZoneList(zones) && zones.empty());
}

// [time-7]
TEST_F(TimeSurprisesTest, time_7) {
    TimeZone zone = Rules();
    zone.daylightDate.dayOfWeek = 6;
    const SysTime firstSaturday{2024, 3, 6, 2, 0, 0, 0, 0, 0};
    SEEN(zone.daylightDate.day = 2; IsDstStartDay(firstSaturday, zone));
}

// [time-8]
TEST_F(TimeSurprisesTest, time_8) {
    SEEN(TimeToLocalTime(1700000000000, t) && t == 1700000000000);
}

// [time-9]
TEST_F(TimeSurprisesTest, time_9) {
    SEEN(TimeToSysTime(-1, st); st.year == 1970 && st.milliseconds == -1);
}

// [time-10]
TEST_F(TimeSurprisesTest, time_10) {
    SEEN(TimeToLocalSysTime(-86400000, st) && !TimeToLocalTime(-86400000, t));
}

// [timer-1]
TEST_F(TimeSurprisesTest, timer_1) {
    SEEN(const auto before = timer_ms(); clock.tv_sec -= 3600;
         timer_ms() < before && timer_ns() % 1000 == 0);
}

}  // namespace
