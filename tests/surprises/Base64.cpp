// The surprises of Bases/Base64.h.

#include "Bases/Base64.h"

#include <string>

#include "tests/surprises/Seen.h"

namespace {

using Novu::Base64;
using NovuTest::SurprisesTest;

// [base64-1]
TEST_F(SurprisesTest, base64_1) {
    Base64 base64;
    std::string text;
    const char earlier = Base64::s_szBase64Alphabet[62];
    SEEN(Base64::s_szBase64Alphabet[62] = '-'; base64.Encode("\xfb", 1, text);
         text == "-w==");
    Base64::s_szBase64Alphabet[62] = earlier;
}

// [base64-2]
TEST_F(SurprisesTest, base64_2) {
    Base64 base64;
    char out[6];
    SEEN(base64.Decode("TWFu\n", out) == 0 && out[0] == 'M');
}

// [base64-3]
TEST_F(SurprisesTest, base64_3) {
    Base64 base64;
    char out[7];
    SEEN(base64.Decode("T=WF=u", out) == 3 && base64.Decode("TQ", out) == 1);
}

// [base64-4]
TEST_F(SurprisesTest, base64_4) {
    Base64 base64;
    char out[1];
    unsigned long pos = 0;
    int held = 0;
    unsigned long acc = 0;
    SEEN(base64.WriteBits(0, 4, out, pos, held, acc);
         base64.WriteBits(0xFF, 4, out, pos, held, acc); out[0] == '\xff');
}

// [base64-5]
TEST_F(SurprisesTest, base64_5) {
    Base64 base64;
    SEEN(std::string out(9, 'x');
         base64.Decode("TWFuTWFu", out.data()) == 6 && out[8] == '\0');
}

}  // namespace
