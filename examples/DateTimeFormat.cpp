// DateTimeFormat: a time value as text, in UTC and in local time.

#include <Bases/DateTimeFormat.h>

#include <iostream>
#include <string>

int main() {
    const long long value = 1710000000123;  // Milliseconds since 1970, UTC.

    // A record says plainly which time is meant.
    Novu::SysTime utc;
    if (!Novu::TimeToSysTime(value, utc)) {
        return 1;
    }
    std::string text;
    if (!Novu::GetDateTimeFormat(text, "yyyy-MM-dd HH:mm:ss.fff", utc)) {
        return 1;
    }
    std::cout << text << '\n';

    // Local time of the process's zone, for people.
    if (!Novu::GetLocalDateTimeFormat(text, "d.M.yyyy, h:mm tt", value)) {
        return 1;
    }

    // A pattern's letters are runs: "yyyyMMdd" is one, and no known one.
    const std::string name = Novu::GetDateTimeFormat("yyyy", utc) +
                             Novu::GetDateTimeFormat("MM", utc) +
                             Novu::GetDateTimeFormat("dd", utc) + ".log";
    std::cout << name << '\n';
}

// Prints:
//   2024-03-09 16:00:00.123
//   20240309.log
