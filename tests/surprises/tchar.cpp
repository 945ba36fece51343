// The surprises of Bases/tchar.h.

#include "Bases/tchar.h"

#include <string>

#include "tests/surprises/Seen.h"

namespace {

using NovuTest::SurprisesTest;

// [tchar-1]
TEST_F(SurprisesTest, tchar_1) {
    char text[65];
    SEEN(_itoa(-255, text, 16) == std::string("ffffffffffffff01"));
}

// [tchar-2]
TEST_F(SurprisesTest, tchar_2) {
    char text[33];
    SEEN(_ltoa(-1, text, 2) == std::string(32, '1'));
}

// [tchar-3]
TEST_F(SurprisesTest, tchar_3) {
    SEEN(_ultoa(1, nullptr, 10) == nullptr && _itow(1, nullptr, 10) == nullptr);
}

}  // namespace
