// Date: valid dates, days between dates, weekdays, and the next day.

#include <Bases/Date.h>

#include <iostream>

int main() {
    unsigned long year = 2024;
    unsigned long month = 2;
    unsigned long day = 29;
    // Day 0 passes the test, so it is asked for by itself.
    if (day == 0 || !Novu::IsValidDate(year, month, day)) {
        return 1;
    }
    std::cout << Novu::GetDays(year, month) << " days in February\n";

    // 0 is Sunday. From 1980 on: what was before counts as a Monday.
    std::cout << "weekday " << Novu::GetDayOfWeek(year, month, day) << '\n';

    // Both days are counted, so the difference is one less.
    const unsigned long days = Novu::GetDays(year, month, day, 2024, 12, 25);
    std::cout << days - 1 << " days to Christmas\n";

    if (!Novu::GetNextDay(year, month, day)) {
        return 1;
    }
    std::cout << "then " << year << '-' << month << '-' << day << '\n';
}

// Prints:
//   29 days in February
//   weekday 4
//   300 days to Christmas
//   then 2024-3-1
