// The surprise of Bases/Endian.h.

#include "Bases/Endian.h"

#include "tests/surprises/Seen.h"

namespace {

namespace Endian = Novu::Endian;

using NovuTest::SurprisesTest;

// [endian-1]
TEST_F(SurprisesTest, endian_1) {
    SEEN(Endian::hton32(1UL << 32) == 0 && Endian::tole32(1UL << 32) != 0);
}

}  // namespace
