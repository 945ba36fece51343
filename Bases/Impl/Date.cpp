// Calendar arithmetic, from Bases/Date.h.

#include "Bases/Date.h"

namespace Novu {

namespace {

const unsigned char kMonthTable[12] = {31, 28, 31, 30, 31, 30,
                                       31, 31, 30, 31, 30, 31};
const unsigned char kMonthTableLeap[12] = {31, 29, 31, 30, 31, 30,
                                           31, 31, 30, 31, 30, 31};

// Days of a common year before each month.
const unsigned short kDaysBefore[12] = {0,   31,  59,  90,  120, 151,
                                        181, 212, 243, 273, 304, 334};

const unsigned long kFirstYear = 1980;

bool IsMonth(unsigned long month) { return month >= 1 && month <= 12; }

// Leap years from year 1 to `year`.
unsigned long LeapYearsUntil(unsigned long year) {
    return year / 4 - year / 100 + year / 400;
}

}  // namespace

// Counting

bool IsLeapYear(unsigned long year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

unsigned long GetDays(unsigned long year) {
    return IsLeapYear(year) ? 366 : 365;
}

unsigned long GetDays(unsigned long year, unsigned long month) {
    if (!IsMonth(month)) {
        return 0;
    }
    return (IsLeapYear(year) ? kMonthTableLeap : kMonthTable)[month - 1];
}

unsigned long GetDaysSince1980(unsigned long year, unsigned long month,
                               unsigned long day) {
    if (year < kFirstYear || !IsMonth(month) || day < 1 || day > 31) {
        return 0;
    }
    const unsigned long leapDays =
        LeapYearsUntil(year - 1) - LeapYearsUntil(kFirstYear - 1);
    const unsigned long leapDay = month > 2 && IsLeapYear(year) ? 1 : 0;
    return (year - kFirstYear) * 365 + leapDays + kDaysBefore[month - 1] +
           leapDay + day;
}

unsigned long GetDayOfWeek(unsigned long year, unsigned long month,
                           unsigned long day) {
    return (GetDaysSince1980(year, month, day) + 1) % 7;
}

unsigned long GetDays(unsigned long year1, unsigned long month1,
                      unsigned long day1, unsigned long year2,
                      unsigned long month2, unsigned long day2) {
    const unsigned long first = GetDaysSince1980(year1, month1, day1);
    const unsigned long last = GetDaysSince1980(year2, month2, day2);
    return first > last ? 0 : last + 1 - first;
}

// Weeks

unsigned long GetWeekOfMonth(unsigned long day, unsigned long dayOfWeek) {
    return (day + dayOfWeek - 1) / 7 + 1;
}

bool GetLastWeekOfMonth(unsigned long year, unsigned long month,
                        unsigned long day) {
    return IsMonth(month) && day + 7 > GetDays(year, month);
}

// Validity

bool IsValidDate(unsigned long year, unsigned long month, unsigned long day) {
    return IsMonth(month) && day <= GetDays(year, month);
}

// Stepping

bool GetPrevYear(unsigned long& year) {
    if (year == 0) {
        return false;
    }
    --year;
    return true;
}

bool GetNextYear(unsigned long& year) {
    ++year;
    return true;
}

bool GetPrevMonth(unsigned long& year, unsigned long& month) {
    if (year == 0 || !IsMonth(month)) {
        return false;
    }
    if (month > 1) {
        --month;
    } else {
        month = 12;
        --year;
    }
    return true;
}

bool GetNextMonth(unsigned long& year, unsigned long& month) {
    if (year == 0 || !IsMonth(month)) {
        return false;
    }
    if (month < 12) {
        ++month;
    } else {
        month = 1;
        ++year;
    }
    return true;
}

bool GetPrevDay(unsigned long& year, unsigned long& month, unsigned long& day) {
    if (year == 0 || day == 0 || day > GetDays(year, month)) {
        return false;
    }
    if (day > 1) {
        --day;
    } else {
        GetPrevMonth(year, month);
        day = GetDays(year, month);
    }
    return true;
}

bool GetNextDay(unsigned long& year, unsigned long& month, unsigned long& day) {
    const unsigned long days = GetDays(year, month);
    if (day == 0 || day > days) {
        return false;
    }
    if (day < days) {
        ++day;
        return true;
    }
    day = 1;
    if (month < 12) {
        ++month;
    } else {
        month = 1;
        ++year;
    }
    return true;
}

}  // namespace Novu
