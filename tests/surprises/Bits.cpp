// The surprises of Bases/Bits.h.

#include "Bases/Bits.h"

#include "tests/surprises/Seen.h"

namespace {

using Novu::Bits;
using NovuTest::SurprisesTest;

// [bits-1]
TEST_F(SurprisesTest, bits_1) {
    Bits a;
    SEEN(a.FromString("1011"); a = Bits(); a.ToString() == "1011");
}

// [bits-2]
TEST_F(SurprisesTest, bits_2) {
    Bits a;
    SEEN(a.FromString("11110000"); a.SetSize(4); a.SetSize(8);
         a.ToString() == "11110000");
}

// [bits-3]
TEST_F(SurprisesTest, bits_3) {
    Bits a;
    unsigned char bytes[] = {0xFF};
    SEEN(a.SetData(bytes, 3); a.SetSize(8); a.GetSetCount() == 8);
}

// [bits-4]
TEST_F(SurprisesTest, bits_4) {
    SEEN(Bits a(4); Bits b(20); b.SetAll(); (a &= b).GetSize() == 4 &&
                                            (a |= b).GetSize() == 20 &&
                                            a.GetSetCount() == 8);
}

// [bits-5]
TEST_F(SurprisesTest, bits_5) {
    SEEN(Bits a(4); Bits b(20);
         (a & b).GetSize() == 4 && (a | b).GetSize() == 20);
}

// [bits-6]
TEST_F(SurprisesTest, bits_6) {
    SEEN(Bits a(4); Bits b(20); !(a == b) && !(a != b));
}

// [bits-7]
TEST_F(SurprisesTest, bits_7) {
    Bits a;
    SEEN(a.FromString("1011");
         (a << 1).ToString() == "1011" && (a >> 1).ToString() == "1011");
}

// [bits-8]
TEST_F(SurprisesTest, bits_8) {
    Bits a;
    SEEN(a.FromString("10a011"); a.ToString() == "011");
}

// [bits-9]
TEST_F(SurprisesTest, bits_9) {
    Bits a;
    SEEN(a.FromString("1011"); Bits b = ~a; a.ToString() == "0100" && b == a);
}

// [bits-10]
TEST_F(SurprisesTest, bits_10) {
    SEEN(Bits a(4); a.SetSize(0) == 0 && a.GetSize() == 4);
}

}  // namespace
