// Time: now, the fields of a time value, and the way back.

#include <Bases/Time.h>

#include <iostream>

int main() {
    // "Local" is the true time; GetCurTime is off by the zone's offset.
    const long long now = Novu::GetCurLocalTime();
    if (now == 0) {
        return 1;
    }

    const long long value = 1710000000123;
    Novu::SysTime utc;
    if (!Novu::TimeToSysTime(value, utc)) {
        return 1;
    }
    std::cout << utc.hour << " h, " << utc.day << '.' << utc.month << '.'
              << utc.year << ", weekday " << utc.dayOfWeek << '\n';

    // The way back starts from local time, and counts years from 1900 and
    // months from 0, as mktime does.
    Novu::SysTime local;
    if (!Novu::TimeToLocalSysTime(value, local)) {
        return 1;
    }
    local.year = static_cast<short>(local.year - 1900);
    local.month = static_cast<short>(local.month - 1);
    long long back = 0;
    if (!Novu::LocalSysTimeToTime(local, back)) {
        return 1;
    }
    std::cout << back - value << '\n';

    // Daylight saving from the last Sunday of March to that of October.
    Novu::TimeZone zone = {};
    zone.daylightBias = -60;
    zone.daylightDate.month = 3;
    zone.daylightDate.day = 5;  // The last week; dayOfWeek 0 is Sunday.
    zone.standardDate.month = 10;
    zone.standardDate.day = 5;
    const Novu::SysTime day = {2024, 3, 0, 31, 12, 0, 0, 0, 0};
    std::cout << (Novu::IsDstStartDay(day, zone) ? "starts" : "no") << '\n';
}

// Prints:
//   16 h, 9.3.2024, weekday 6
//   0
//   starts
