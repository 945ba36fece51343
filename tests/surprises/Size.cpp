// The surprises of Bases/Size.h.

#include "Bases/Size.h"

#include <string>

#include "tests/surprises/Seen.h"

namespace {

using Novu::EB;
using Novu::GetSizeFormat;
using Novu::GetSizeUnit;
using NovuTest::SurprisesTest;

// [size-1]
TEST_F(SurprisesTest, size_1) {
    std::string text;
    SEEN(GetSizeFormat(text, 1234567890LL); text == "1234567,890");
}

// [size-2]
TEST_F(SurprisesTest, size_2) { SEEN(EB == 0); }

// [size-3]
TEST_F(SurprisesTest, size_3) {
    std::string text;
    SEEN(GetSizeFormat(text, 1.5, 2); text == "1.500000");
}

// [size-4]
TEST_F(SurprisesTest, size_4) {
    double value = 0;
    SEEN(GetSizeUnit(-5000, value) == 0 && value == -5000);
}

// [size-5]
TEST_F(SurprisesTest, size_5) {
    char text[4];
    SEEN(GetSizeFormat(text, 4, 1234567LL) == 1 && text == std::string("123"));
}

}  // namespace
