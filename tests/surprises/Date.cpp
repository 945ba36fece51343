// The surprises of Bases/Date.h.

#include "Bases/Date.h"

#include "tests/surprises/Seen.h"

namespace {

using Novu::GetDayOfWeek;
using Novu::GetDays;
using Novu::GetDaysSince1980;
using Novu::GetNextDay;
using Novu::GetWeekOfMonth;
using Novu::IsValidDate;
using NovuTest::SurprisesTest;

// [date-1]
TEST_F(SurprisesTest, date_1) {
    SEEN(GetDaysSince1980(2023, 2, 31) == GetDaysSince1980(2023, 3, 3));
}

// [date-2]
TEST_F(SurprisesTest, date_2) { SEEN(GetDayOfWeek(1970, 1, 1) == 1); }

// [date-3]
TEST_F(SurprisesTest, date_3) { SEEN(IsValidDate(2024, 2, 0)); }

// [date-4]
TEST_F(SurprisesTest, date_4) {
    unsigned long year = 0;
    unsigned long month = 12;
    unsigned long day = 31;
    SEEN(year = 0, month = 12, day = 31;
         GetNextDay(year, month, day) && year == 1);
}

// [date-5]
TEST_F(SurprisesTest, date_5) {
    SEEN(GetDays(2024, 1, 1, 2024, 1, 1) == 1 &&
         GetDays(2024, 1, 2, 2024, 1, 1) == 0);
}

// [date-6] A Saturday, and the Sunday that follows.
TEST_F(SurprisesTest, date_6) {
    SEEN(GetWeekOfMonth(2, 6) == 2 && GetWeekOfMonth(3, 0) == 1);
}

}  // namespace
