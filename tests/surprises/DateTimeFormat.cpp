// The surprises of Bases/DateTimeFormat.h.

#include "Bases/DateTimeFormat.h"

#include <string>

#include "tests/support/TimeZoneGuard.h"
#include "tests/surprises/Seen.h"

namespace {

using Novu::GetDateTimeFormat;
using Novu::SysTime;
using NovuTest::SurprisesTest;
using NovuTest::TimeZoneGuard;

// Shortly after midnight.
const SysTime st{2024, 3, 2, 5, 0, 8, 9, 0, -1};

// [datetimeformat-1]
TEST_F(SurprisesTest, datetimeformat_1) {
    SEEN(GetDateTimeFormat("yy", st) == "20");
}

// [datetimeformat-2]
TEST_F(SurprisesTest, datetimeformat_2) {
    SEEN(GetDateTimeFormat("hh:mm tt", st) == "00:08 AM");
}

// [datetimeformat-3]
TEST_F(SurprisesTest, datetimeformat_3) {
    SEEN(GetDateTimeFormat("yyyyMMdd Sat", st) == "yyyyMMdd SaA");
}

// [datetimeformat-4]
TEST_F(SurprisesTest, datetimeformat_4) {
    const TimeZoneGuard zone("CET-1CEST,M3.5.0,M10.5.0/3");
    char utc[3];
    SEEN(GetDateTimeFormat(utc, 3, "HH", 0LL);
         utc == std::string("00") && GetDateTimeFormat("HH", 0LL) == "01");
}

// [datetimeformat-5]
TEST_F(SurprisesTest, datetimeformat_5) {
    std::string text = "x";
    SEEN(!GetDateTimeFormat(text, "F", st) && text.empty());
}

}  // namespace
