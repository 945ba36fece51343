// The surprises of Bases/String.h.

#include "Bases/String.h"

#include <locale>
#include <stdexcept>
#include <string>

#include "tests/surprises/Seen.h"

namespace {

using Novu::mbs_to_tcs;
using Novu::mbs_to_wcs;
using Novu::utf8_to_wcs;
using Novu::wcs_to_utf8;
using NovuTest::SurprisesTest;
using NovuTest::Throws;

// [string-1]
TEST_F(SurprisesTest, string_1) {
    SEEN(mbs_to_wcs(std::string("a\0b", 3)) == L"a");
}

// [string-2]
TEST_F(SurprisesTest, string_2) {
    SEEN(Throws<std::runtime_error>([] { utf8_to_wcs("\xc3\xa9"); }));
}

// [string-3]
TEST_F(SurprisesTest, string_3) {
    SEEN(Throws<std::runtime_error>([] { utf8_to_wcs(""); }));
}

// [string-4]
TEST_F(SurprisesTest, string_4) {
    SEEN(Throws<std::logic_error>([] { wcs_to_utf8(L"a"); }));
}

// [string-5]
TEST_F(SurprisesTest, string_5) {
    SEEN(mbs_to_tcs("\xff", std::locale("C.UTF-8")) == "\xff");
}

}  // namespace
