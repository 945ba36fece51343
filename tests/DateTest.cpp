// The contract of Bases/Date.h. A date in a table is its year, month and day;
// Date{} holds those three in order.

#include "Bases/Date.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <climits>
#include <random>

#include "tests/support/Signature.h"

namespace {

using Novu::GetDayOfWeek;
using Novu::GetDays;
using Novu::GetDaysSince1980;
using Novu::GetLastWeekOfMonth;
using Novu::GetWeekOfMonth;
using Novu::IsLeapYear;
using Novu::IsValidDate;
using NovuTest::Has;

using Number = unsigned long;
using Date = std::array<Number, 3>;

static_assert(sizeof(Number) == 8);

static_assert(Has<bool(Number)>(Novu::IsLeapYear));
static_assert(Has<Number(Number)>(Novu::GetDays));
static_assert(Has<Number(Number, Number)>(Novu::GetDays));
static_assert(
    Has<Number(Number, Number, Number, Number, Number, Number)>(Novu::GetDays));
static_assert(Has<Number(Number, Number, Number)>(Novu::GetDaysSince1980));
static_assert(Has<Number(Number, Number, Number)>(Novu::GetDayOfWeek));
static_assert(Has<Number(Number, Number)>(Novu::GetWeekOfMonth));
static_assert(Has<bool(Number, Number, Number)>(Novu::GetLastWeekOfMonth));
static_assert(Has<bool(Number, Number, Number)>(Novu::IsValidDate));
static_assert(Has<bool(Number&)>(Novu::GetPrevYear));
static_assert(Has<bool(Number&)>(Novu::GetNextYear));
static_assert(Has<bool(Number&, Number&)>(Novu::GetPrevMonth));
static_assert(Has<bool(Number&, Number&)>(Novu::GetNextMonth));
static_assert(Has<bool(Number&, Number&, Number&)>(Novu::GetPrevDay));
static_assert(Has<bool(Number&, Number&, Number&)>(Novu::GetNextDay));

// January to December of a common year.
const std::array<Number, 12> kLengths = {31, 28, 31, 30, 31, 30,
                                         31, 31, 30, 31, 30, 31};

// Some of these are 1 to 12 when cut to 32, 16 or 8 bits.
const std::array<Number, 13> kBadMonths = {
    0,
    13,
    14,
    24,
    255,
    (1UL << 8) + 1,
    (1UL << 16) + 12,
    (1UL << 31) + 2,
    (1UL << 32) + 3,
    (1UL << 63) + 1,
    1UL << 63,
    ULONG_MAX - 11,
    ULONG_MAX,
};

// None of them is a day of any month; some are when cut to fewer bits.
const std::array<Number, 9> kBadDays = {
    32,
    100,
    (1UL << 8) + 1,
    (1UL << 16) + 1,
    (1UL << 32) + 1,
    (1UL << 63) + 1,
    1UL << 63,
    ULONG_MAX - 6,  // With 7 days more it is 0.
    ULONG_MAX,
};

// Of every kind that the leap rule knows.
const std::array<Number, 14> kYears = {
    0,    1,    4,    100,  400,  1900,          1979,
    1980, 2000, 2023, 2024, 2100, 1000000000000, ULONG_MAX,
};

// The rule in its own words.
bool LeapByRule(Number year) {
    if (year % 4 != 0) {
        return false;
    }
    if (year % 100 != 0) {
        return true;
    }
    return year % 400 == 0;
}

Number LengthByRule(Number year, Number month) {
    return month == 2 && LeapByRule(year) ? 29 : kLengths[month - 1];
}

// Days from the first day of 1980 to the first day of a year, one by one.
Number DaysBeforeByLoop(Number year) {
    Number days = 0;
    for (Number each = 1980; each < year; ++each) {
        days += LeapByRule(each) ? 366UL : 365UL;
    }
    return days;
}

// The same for any year: 400 years have 146097 days, whichever they are. What
// does not fit into 64 bits is cut off at the end.
Number DaysBeforeByCycles(Number year) {
    __extension__ using Wide = unsigned __int128;
    const Number years = year - 1980;
    const Wide days = static_cast<Wide>(years / 400) * 146097 +
                      DaysBeforeByLoop(1980 + years % 400);
    return static_cast<Number>(days);
}

Number DaysByMonths(Number year, Number month, Number day) {
    for (Number each = 1; each < month; ++each) {
        day += LengthByRule(year, each);
    }
    return day;
}

Date DateOf(std::chrono::sys_days at) {
    const std::chrono::year_month_day date = at;
    return {static_cast<Number>(static_cast<int>(date.year())),
            static_cast<unsigned int>(date.month()),
            static_cast<unsigned int>(date.day())};
}

// Counting

const struct LeapCase {
    int line;
    Number year;
    bool leap;
} kLeapCases[] = {
    // line    year  leap
    {__LINE__, 1900, false},
    {__LINE__, 2000, true},
    {__LINE__, 2024, true},
    {__LINE__, 0, true},
    {__LINE__, 1, false},
    {__LINE__, 2, false},
    {__LINE__, 3, false},
    {__LINE__, 4, true},
    {__LINE__, 100, false},
    {__LINE__, 400, true},
    {__LINE__, 2023, false},
    {__LINE__, 2100, false},
    {__LINE__, 1000000000000, true},
    {__LINE__, (1UL << 32) + 2004, false},  // 100 in 400.
    {__LINE__, 1UL << 63, true},            // 208 in 400.
    {__LINE__, ULONG_MAX, false},
    {__LINE__, ULONG_MAX - 15, true},    // 18446744073709551600.
    {__LINE__, ULONG_MAX - 115, false},  // 18446744073709551500.
    {__LINE__, ULONG_MAX - 135, true},   // 18446744073709551480.
};

TEST(DateTest, LeapYears) {
    for (const LeapCase& row : kLeapCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        EXPECT_EQ(row.leap, IsLeapYear(row.year));
        EXPECT_EQ(row.leap ? 366UL : 365UL, GetDays(row.year));
        EXPECT_EQ(row.leap ? 29UL : 28UL, GetDays(row.year, 2));
    }
}

TEST(DateTest, LeapYearsAreThoseOfTheStandardLibrary) {
    for (int year = 0; year <= 32767; ++year) {
        const auto number = static_cast<Number>(year);
        const bool leap = std::chrono::year{year}.is_leap();
        ASSERT_EQ(leap, IsLeapYear(number)) << year;
        ASSERT_EQ(leap ? 366UL : 365UL, GetDays(number)) << year;
    }
}

TEST(DateTest, MonthsHaveTheirLengths) {
    EXPECT_EQ(28UL, GetDays(2023, 2));
    EXPECT_EQ(29UL, GetDays(2024, 2));
    for (const Number year : kYears) {
        for (Number month = 1; month <= 12; ++month) {
            EXPECT_EQ(LengthByRule(year, month), GetDays(year, month))
                << year << ", " << month;
        }
    }
}

TEST(DateTest, AMonthThatThereIsNotHasNoDays) {
    for (const Number year : kYears) {
        for (const Number month : kBadMonths) {
            EXPECT_EQ(0UL, GetDays(year, month)) << year << ", " << month;
        }
    }
}

const struct CountCase {
    int line;
    Date date;
    Number days;
    Number dayOfWeek;
} kCountCases[] = {
    // line    date            days  day of week
    {__LINE__, {1980, 1, 1}, 1, 2},  // A Tuesday.
    {__LINE__, {1980, 1, 31}, 31, 4},
    {__LINE__, {1980, 2, 1}, 32, 5},
    {__LINE__, {1980, 2, 29}, 60, 5},
    {__LINE__, {1980, 3, 1}, 61, 6},
    {__LINE__, {1980, 12, 31}, 366, 3},
    {__LINE__, {1981, 1, 1}, 367, 4},
    {__LINE__, {2024, 3, 10}, 16141, 0},  // A Sunday.

    // Days after the end of their month, and the days they count as.
    {__LINE__, {2023, 3, 3}, 15768, 5},
    {__LINE__, {2023, 2, 31}, 15768, 5},
    {__LINE__, {2023, 2, 29}, 15766, 3},
    {__LINE__, {2023, 3, 1}, 15766, 3},
    {__LINE__, {2024, 2, 30}, 16132, 5},
    {__LINE__, {2024, 3, 1}, 16132, 5},
    {__LINE__, {2024, 4, 31}, 16193, 3},
    {__LINE__, {2024, 5, 1}, 16193, 3},

    // Refused dates are day 0, and Mondays.
    {__LINE__, {1979, 12, 31}, 0, 1},
    {__LINE__, {1970, 1, 1}, 0, 1},
    {__LINE__, {0, 1, 1}, 0, 1},
    {__LINE__, {1, 1, 1}, 0, 1},
    {__LINE__, {1980, 1, 32}, 0, 1},
    {__LINE__, {1980, 1, 0}, 0, 1},
    {__LINE__, {2024, 0, 10}, 0, 1},
    {__LINE__, {2024, 13, 10}, 0, 1},
    {__LINE__, {ULONG_MAX, 0, 1}, 0, 1},
    {__LINE__, {1979, 1, 31}, 0, 1},

    // Far years: 365.2425 days each, as many as 64 bits hold.
    {__LINE__, {1000000000000, 1, 1}, 365242499276821, 6},
    {__LINE__, {1000000000000, 3, 1}, 365242499276881, 3},
};

TEST(DateTest, DaysAreCountedFrom1980) {
    for (const CountCase& row : kCountCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const auto& [year, month, day] = row.date;
        EXPECT_EQ(row.days, GetDaysSince1980(year, month, day));
        EXPECT_EQ(row.dayOfWeek, GetDayOfWeek(year, month, day));
    }
}

// [date-1]
TEST(DateTest, DaysAfterTheEndOfAMonthCountAsThoseOfTheNext) {
    for (Number year = 1980; year <= 2400; ++year) {
        for (Number month = 1; month <= 11; ++month) {
            const Number length = LengthByRule(year, month);
            for (Number day = length + 1; day <= 31; ++day) {
                ASSERT_EQ(GetDaysSince1980(year, month + 1, day - length),
                          GetDaysSince1980(year, month, day))
                    << year << ", " << month << ", " << day;
            }
        }
    }
}

// [date-2]
TEST(DateTest, EveryDateBefore1980IsAMonday) {
    for (Number year = 0; year < 1980; ++year) {
        for (Number month = 1; month <= 12; ++month) {
            ASSERT_EQ(1UL, GetDayOfWeek(year, month, 1)) << year;
            ASSERT_EQ(1UL, GetDayOfWeek(year, month, 28)) << year;
            ASSERT_EQ(0UL, GetDaysSince1980(year, month, 28)) << year;
        }
    }
}

TEST(DateTest, EveryBadMonthAndDayIsDay0) {
    const auto expectRefused = [](Number year, Number month, Number day) {
        EXPECT_EQ(0UL, GetDaysSince1980(year, month, day))
            << year << ", " << month << ", " << day;
        EXPECT_EQ(1UL, GetDayOfWeek(year, month, day))
            << year << ", " << month << ", " << day;
    };
    for (const Number month : kBadMonths) {
        expectRefused(1980, month, 1);
        expectRefused(2024, month, 31);
        expectRefused(ULONG_MAX, month, 15);
    }
    for (Number month = 1; month <= 12; ++month) {
        expectRefused(2024, month, 0);
        expectRefused(1979, month, 31);
        for (const Number day : kBadDays) {
            expectRefused(2024, month, day);
        }
    }
}

TEST(DateTest, EveryDayUpTo3000IsThatOfTheStandardLibrary) {
    using namespace std::chrono_literals;
    const std::chrono::sys_days first = 1980y / 1 / 1;
    const std::chrono::sys_days end = 3001y / 1 / 1;
    Number number = 0;
    for (std::chrono::sys_days at = first; at != end;
         at += std::chrono::days{1}) {
        const auto& [year, month, day] = DateOf(at);
        ++number;
        ASSERT_EQ(number, GetDaysSince1980(year, month, day))
            << year << ", " << month << ", " << day;
        ASSERT_EQ(std::chrono::weekday{at}.c_encoding(),
                  GetDayOfWeek(year, month, day))
            << year << ", " << month << ", " << day;
    }
    EXPECT_EQ(372913UL, number);
}

TEST(DateTest, DaysOfFarYearsAreThoseOfCountingYearByYear) {
    const std::mt19937_64::result_type seed = 20250310;
    std::mt19937_64 random(seed);
    std::uniform_int_distribution<Number> years(1980, 100000);
    for (int round = 0; round < 250; ++round) {
        const Number year = round == 0 ? 100000 : years(random);
        const Number before = DaysBeforeByLoop(year);
        ASSERT_EQ(before, DaysBeforeByCycles(year));
        for (Number month = 1; month <= 12; ++month) {
            for (Number day = 1; day <= 31; ++day) {
                const Number days = before + DaysByMonths(year, month, day);
                ASSERT_EQ(days, GetDaysSince1980(year, month, day))
                    << "seed " << seed << ": " << year << ", " << month << ", "
                    << day;
                ASSERT_EQ((days + 1) % 7, GetDayOfWeek(year, month, day))
                    << "seed " << seed << ": " << year << ", " << month << ", "
                    << day;
            }
        }
    }
}

TEST(DateTest, FarYearsAreCountedModulo2ToThePower64) {
    const std::mt19937_64::result_type seed = 20250311;
    std::mt19937_64 random(seed);
    const auto expectCounted = [seed](Number year) {
        for (Number month = 1; month <= 12; ++month) {
            const Number days =
                DaysBeforeByCycles(year) + DaysByMonths(year, month, 31);
            EXPECT_EQ(days, GetDaysSince1980(year, month, 31))
                << "seed " << seed << ": " << year << ", " << month;
            EXPECT_EQ((days + 1) % 7, GetDayOfWeek(year, month, 31))
                << "seed " << seed << ": " << year << ", " << month;
        }
    };
    for (const Number year : std::array<Number, 8>{
             1000000000000, 1UL << 31, 1UL << 32, (1UL << 32) + 2024,
             (1UL << 63) - 1, 1UL << 63, ULONG_MAX - 15, ULONG_MAX}) {
        expectCounted(year);
    }
    for (int round = 0; round < 1000; ++round) {
        expectCounted(1980 + (random() >> (1 + random() % 50)));
    }
}

const struct DistanceCase {
    int line;
    Date first;
    Date last;
    Number days;
} kDistanceCases[] = {
    // line    first           last            days
    {__LINE__, {2024, 1, 1}, {2024, 1, 1}, 1},
    {__LINE__, {2024, 1, 1}, {2024, 1, 2}, 2},
    {__LINE__, {2024, 1, 1}, {2024, 12, 31}, 366},
    {__LINE__, {2024, 1, 31}, {2024, 3, 1}, 31},
    {__LINE__, {2023, 1, 31}, {2023, 3, 1}, 30},
    {__LINE__, {1980, 1, 1}, {1000000000000, 1, 1}, 365242499276821},

    // The first one is the later.
    {__LINE__, {2024, 1, 2}, {2024, 1, 1}, 0},
    {__LINE__, {2025, 1, 1}, {2024, 12, 31}, 0},

    // Days after the end of the month are later ones.
    {__LINE__, {2023, 2, 31}, {2023, 3, 3}, 1},
    {__LINE__, {2023, 3, 3}, {2023, 2, 31}, 1},
    {__LINE__, {2023, 2, 31}, {2023, 3, 2}, 0},

    // A refused date is day 0: one before 1 January 1980.
    {__LINE__, {1979, 12, 31}, {1980, 1, 1}, 2},
    {__LINE__, {1970, 1, 1}, {1980, 1, 1}, 2},
    {__LINE__, {2024, 13, 1}, {1980, 1, 31}, 32},
    {__LINE__, {2024, 1, 0}, {1980, 1, 31}, 32},
    {__LINE__, {1980, 1, 1}, {1979, 12, 31}, 0},
    {__LINE__, {1980, 1, 1}, {2024, 1, 32}, 0},
    {__LINE__, {1970, 1, 1}, {1975, 1, 1}, 1},
    {__LINE__, {2024, 0, 1}, {2024, 1, 32}, 1},
};

TEST(DateTest, DistancesCountBothEnds) {
    for (const DistanceCase& row : kDistanceCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        EXPECT_EQ(row.days, GetDays(row.first[0], row.first[1], row.first[2],
                                    row.last[0], row.last[1], row.last[2]));
    }
}

TEST(DateTest, DistancesAreThoseOfTheStandardLibrary) {
    using namespace std::chrono_literals;
    const std::mt19937_64::result_type seed = 20250312;
    std::mt19937_64 random(seed);
    std::uniform_int_distribution<int> days(0, 372912);
    const std::chrono::sys_days origin = 1980y / 1 / 1;
    for (int round = 0; round < 100000; ++round) {
        const int first = days(random);
        const int last = days(random);
        const Date from = DateOf(origin + std::chrono::days{first});
        const Date to = DateOf(origin + std::chrono::days{last});
        const int distance = first > last ? 0 : last - first + 1;
        ASSERT_EQ(static_cast<Number>(distance),
                  GetDays(from[0], from[1], from[2], to[0], to[1], to[2]))
            << "seed " << seed << ": from " << first << " to " << last;
    }
}

// Weeks

TEST(DateTest, TheWeekOfADayIsReckonedFromItsOwnWeekday) {
    EXPECT_EQ(2UL, GetWeekOfMonth(10, 0));
    EXPECT_EQ(1UL, GetWeekOfMonth(1, 0));
    EXPECT_EQ(1UL, GetWeekOfMonth(1, 6));
    EXPECT_EQ(2UL, GetWeekOfMonth(2, 6));
    EXPECT_EQ(5UL, GetWeekOfMonth(31, 0));
    EXPECT_EQ(6UL, GetWeekOfMonth(31, 5));
    for (Number dayOfWeek = 0; dayOfWeek <= 6; ++dayOfWeek) {
        Number week = 1;
        Number inWeek = dayOfWeek;
        for (Number day = 1; day <= 400; ++day) {
            if (inWeek == 7) {
                inWeek = 0;
                ++week;
            }
            ++inWeek;
            EXPECT_EQ(week, GetWeekOfMonth(day, dayOfWeek))
                << day << ", " << dayOfWeek;
        }
    }
}

TEST(DateTest, TheNthSundayIsInWeekN) {
    for (Number first = 1; first <= 7; ++first) {
        for (Number nth = 1; nth <= 4; ++nth) {
            EXPECT_EQ(nth, GetWeekOfMonth(first + 7 * (nth - 1), 0));
        }
    }
}

TEST(DateTest, TheWeekOfAMonthChecksNothing) {
    EXPECT_EQ(1UL, GetWeekOfMonth(0, 1));
    EXPECT_EQ(1UL, GetWeekOfMonth(0, 7));
    EXPECT_EQ(15UL, GetWeekOfMonth(1, 100 - 1));
    EXPECT_EQ(2635249153387078803UL, GetWeekOfMonth(0, 0));
    EXPECT_EQ(2635249153387078803UL, GetWeekOfMonth(ULONG_MAX, 1));
    EXPECT_EQ(1UL, GetWeekOfMonth(ULONG_MAX, 2));
    EXPECT_EQ(613566757UL, GetWeekOfMonth(1UL << 32, 0));
}

TEST(DateTest, TheLastWeekIsTheLastSevenDays) {
    EXPECT_TRUE(GetLastWeekOfMonth(2024, 3, 25));
    EXPECT_FALSE(GetLastWeekOfMonth(2024, 3, 24));
    for (const Number year : kYears) {
        for (Number month = 1; month <= 12; ++month) {
            for (Number day = 0; day <= 100; ++day) {
                EXPECT_EQ(day + 7 > LengthByRule(year, month),
                          GetLastWeekOfMonth(year, month, day))
                    << year << ", " << month << ", " << day;
            }
            EXPECT_TRUE(GetLastWeekOfMonth(year, month, 1UL << 32));
            EXPECT_TRUE(GetLastWeekOfMonth(year, month, ULONG_MAX - 7));
            // With 7 days more, 0 and 6.
            EXPECT_FALSE(GetLastWeekOfMonth(year, month, ULONG_MAX - 6));
            EXPECT_FALSE(GetLastWeekOfMonth(year, month, ULONG_MAX));
        }
    }
}

TEST(DateTest, NoDayIsInTheLastWeekOfAMonthThatThereIsNot) {
    for (const Number month : kBadMonths) {
        for (Number day = 0; day <= 40; ++day) {
            EXPECT_FALSE(GetLastWeekOfMonth(2023, month, day)) << month;
            EXPECT_FALSE(GetLastWeekOfMonth(2024, month, day)) << month;
        }
    }
}

// Validity

TEST(DateTest, ValidDaysReachToTheEndOfTheirMonth) {
    EXPECT_FALSE(IsValidDate(2023, 2, 29));
    EXPECT_TRUE(IsValidDate(2024, 2, 29));
    for (const Number year : kYears) {
        for (Number month = 1; month <= 12; ++month) {
            for (Number day = 1; day <= 40; ++day) {
                EXPECT_EQ(day <= LengthByRule(year, month),
                          IsValidDate(year, month, day))
                    << year << ", " << month << ", " << day;
            }
            for (const Number day : kBadDays) {
                EXPECT_FALSE(IsValidDate(year, month, day))
                    << year << ", " << month << ", " << day;
            }
        }
    }
}

// [date-3]
TEST(DateTest, Day0IsValidInEveryMonth) {
    EXPECT_TRUE(IsValidDate(2024, 2, 0));
    for (const Number year : kYears) {
        for (Number month = 1; month <= 12; ++month) {
            EXPECT_TRUE(IsValidDate(year, month, 0)) << year << ", " << month;
        }
    }
}

TEST(DateTest, NoDayIsValidInAMonthThatThereIsNot) {
    for (const Number year : kYears) {
        for (const Number month : kBadMonths) {
            EXPECT_FALSE(IsValidDate(year, month, 0)) << month;
            EXPECT_FALSE(IsValidDate(year, month, 1)) << month;
            EXPECT_FALSE(IsValidDate(year, month, 28)) << month;
        }
    }
}

// Stepping

bool PrevYear(Date& date) { return Novu::GetPrevYear(date[0]); }
bool NextYear(Date& date) { return Novu::GetNextYear(date[0]); }
bool PrevMonth(Date& date) { return Novu::GetPrevMonth(date[0], date[1]); }
bool NextMonth(Date& date) { return Novu::GetNextMonth(date[0], date[1]); }
bool PrevDay(Date& date) { return Novu::GetPrevDay(date[0], date[1], date[2]); }
bool NextDay(Date& date) { return Novu::GetNextDay(date[0], date[1], date[2]); }

using Step = bool (*)(Date&);

const struct StepCase {
    int line;
    Step step;
    Date from;
    Date to;
    bool done;
} kStepCases[] = {
    // line    step      from            to              done
    {__LINE__, PrevYear, {2024, 2, 29}, {2023, 2, 29}, true},
    {__LINE__, PrevYear, {1, 0, 0}, {0, 0, 0}, true},
    {__LINE__, PrevYear, {0, 1, 1}, {0, 1, 1}, false},
    {__LINE__, PrevYear, {ULONG_MAX, 1, 1}, {ULONG_MAX - 1, 1, 1}, true},
    {__LINE__, PrevYear, {1UL << 32, 1, 1}, {(1UL << 32) - 1, 1, 1}, true},

    {__LINE__, NextYear, {2023, 1, 1}, {2024, 1, 1}, true},
    {__LINE__, NextYear, {0, 1, 1}, {1, 1, 1}, true},
    {__LINE__, NextYear, {ULONG_MAX - 1, 1, 1}, {ULONG_MAX, 1, 1}, true},
    {__LINE__, NextYear, {ULONG_MAX, 1, 1}, {0, 1, 1}, true},

    {__LINE__, PrevMonth, {2024, 1, 5}, {2023, 12, 5}, true},
    {__LINE__, PrevMonth, {2024, 2, 5}, {2024, 1, 5}, true},
    {__LINE__, PrevMonth, {2024, 12, 31}, {2024, 11, 31}, true},
    {__LINE__, PrevMonth, {1, 1, 5}, {0, 12, 5}, true},
    {__LINE__, PrevMonth, {0, 12, 5}, {0, 12, 5}, false},
    {__LINE__, PrevMonth, {0, 1, 5}, {0, 1, 5}, false},
    {__LINE__, PrevMonth, {2024, 0, 5}, {2024, 0, 5}, false},
    {__LINE__, PrevMonth, {2024, 13, 5}, {2024, 13, 5}, false},

    {__LINE__, NextMonth, {2024, 12, 5}, {2025, 1, 5}, true},
    {__LINE__, NextMonth, {2024, 11, 5}, {2024, 12, 5}, true},
    {__LINE__, NextMonth, {2024, 1, 31}, {2024, 2, 31}, true},
    {__LINE__, NextMonth, {0, 5, 5}, {0, 5, 5}, false},
    {__LINE__, NextMonth, {0, 12, 5}, {0, 12, 5}, false},
    {__LINE__, NextMonth, {1, 12, 5}, {2, 1, 5}, true},
    {__LINE__, NextMonth, {ULONG_MAX, 12, 5}, {0, 1, 5}, true},
    {__LINE__, NextMonth, {2024, 0, 5}, {2024, 0, 5}, false},
    {__LINE__, NextMonth, {2024, 13, 5}, {2024, 13, 5}, false},

    {__LINE__, PrevDay, {2024, 3, 2}, {2024, 3, 1}, true},
    {__LINE__, PrevDay, {2024, 3, 1}, {2024, 2, 29}, true},
    {__LINE__, PrevDay, {2023, 3, 1}, {2023, 2, 28}, true},
    {__LINE__, PrevDay, {2024, 1, 1}, {2023, 12, 31}, true},
    {__LINE__, PrevDay, {1, 1, 1}, {0, 12, 31}, true},
    {__LINE__, PrevDay, {0, 1, 2}, {0, 1, 2}, false},
    {__LINE__, PrevDay, {0, 12, 31}, {0, 12, 31}, false},
    {__LINE__, PrevDay, {2024, 1, 0}, {2024, 1, 0}, false},
    {__LINE__, PrevDay, {2024, 1, 32}, {2024, 1, 32}, false},
    {__LINE__, PrevDay, {2023, 2, 29}, {2023, 2, 29}, false},
    {__LINE__, PrevDay, {2024, 4, 31}, {2024, 4, 31}, false},
    {__LINE__, PrevDay, {2024, 0, 1}, {2024, 0, 1}, false},
    {__LINE__, PrevDay, {2024, 13, 1}, {2024, 13, 1}, false},

    {__LINE__, NextDay, {2023, 12, 31}, {2024, 1, 1}, true},
    {__LINE__, NextDay, {2024, 2, 28}, {2024, 2, 29}, true},
    {__LINE__, NextDay, {2024, 2, 29}, {2024, 3, 1}, true},
    {__LINE__, NextDay, {2023, 2, 28}, {2023, 3, 1}, true},
    {__LINE__, NextDay, {2024, 2, 30}, {2024, 2, 30}, false},
    {__LINE__, NextDay, {2023, 2, 29}, {2023, 2, 29}, false},
    {__LINE__, NextDay, {2024, 1, 0}, {2024, 1, 0}, false},
    {__LINE__, NextDay, {2024, 12, 32}, {2024, 12, 32}, false},
    {__LINE__, NextDay, {ULONG_MAX, 12, 31}, {0, 1, 1}, true},
    {__LINE__, NextDay, {2024, 0, 1}, {2024, 0, 1}, false},
    {__LINE__, NextDay, {2024, 13, 1}, {2024, 13, 1}, false},
    {__LINE__, NextDay, {0, 2, 28}, {0, 2, 29}, true},
    {__LINE__, NextDay, {0, 2, 29}, {0, 3, 1}, true},
    {__LINE__, NextDay, {0, 1, 1}, {0, 1, 2}, true},
    {__LINE__, NextDay, {0, 12, 31}, {1, 1, 1}, true},
};

TEST(DateTest, StepsAndRefusals) {
    for (const StepCase& row : kStepCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Date date = row.from;
        EXPECT_EQ(row.done, row.step(date));
        EXPECT_EQ(row.to, date);
    }
}

TEST(DateTest, StepsFromADateThatThereIsNotAreRefused) {
    const auto expectRefused = [](Step step, const Date& from) {
        Date date = from;
        EXPECT_FALSE(step(date))
            << from[0] << ", " << from[1] << ", " << from[2];
        EXPECT_EQ(from, date);
    };
    for (const Number year : kYears) {
        for (const Number month : kBadMonths) {
            for (const Step step : {PrevMonth, NextMonth, PrevDay, NextDay}) {
                expectRefused(step, {year, month, 0});
                expectRefused(step, {year, month, 1});
                expectRefused(step, {year, month, 31});
            }
        }
        for (Number month = 1; month <= 12; ++month) {
            for (const Step step : {PrevDay, NextDay}) {
                expectRefused(step, {year, month, 0});
                for (Number day = LengthByRule(year, month) + 1; day <= 40;
                     ++day) {
                    expectRefused(step, {year, month, day});
                }
                for (const Number day : kBadDays) {
                    expectRefused(step, {year, month, day});
                }
            }
        }
    }
}

// 400 years and what lies around the years without a 29 February, day by day.
TEST(DateTest, StepsGoThroughEveryDayOf400Years) {
    using namespace std::chrono_literals;
    const std::chrono::sys_days first = 1799y / 1 / 1;
    const std::chrono::sys_days last = 2201y / 12 / 31;

    Date date = {1799, 1, 1};
    for (std::chrono::sys_days at = first; at != last;) {
        at += std::chrono::days{1};
        ASSERT_TRUE(NextDay(date));
        ASSERT_EQ(DateOf(at), date);
    }
    for (std::chrono::sys_days at = last; at != first;) {
        at -= std::chrono::days{1};
        ASSERT_TRUE(PrevDay(date));
        ASSERT_EQ(DateOf(at), date);
    }
}

// [date-4] There is no step back in year 0, but all steps on. The first 400
// years, which begin with a leap year.
TEST(DateTest, StepsGoDownToYear0AndUpAgain) {
    Date date = {400, 1, 1};
    Number days = 0;
    while (PrevDay(date)) {
        ++days;
    }
    // The last step back leads to year 0, from which there is none.
    EXPECT_EQ((Date{0, 12, 31}), date);
    EXPECT_EQ(146097UL - 366 + 1, days);

    date = {0, 1, 1};
    for (days = 0; date != Date{400, 1, 1}; ++days) {
        ASSERT_TRUE(NextDay(date));
        ASSERT_LE(days, 146097UL);
    }
    EXPECT_EQ(146097UL, days);
}

TEST(DateTest, MonthAndYearStepsKeepWhatIsSmaller) {
    Date date = {3, 12, 77};
    for (Number month = 12; month > 1; --month) {
        ASSERT_TRUE(PrevMonth(date));
        ASSERT_EQ((Date{3, month - 1, 77}), date);
    }
    for (Number month = 1; month < 12; ++month) {
        ASSERT_TRUE(NextMonth(date));
        ASSERT_EQ((Date{3, month + 1, 77}), date);
    }
    EXPECT_TRUE(NextYear(date));
    EXPECT_EQ((Date{4, 12, 77}), date);
    EXPECT_TRUE(PrevYear(date));
    EXPECT_EQ((Date{3, 12, 77}), date);
}

}  // namespace
