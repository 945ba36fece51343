// The contract of Bases/RegEx.h.

#include "Bases/RegEx.h"

#include <gtest/gtest.h>

#include "tests/support/EmptyClass.h"

namespace {

// [empty-1]
TEST(RegExTest, IsThereAndDoesNothing) {
    NovuTest::ExpectEmptyClass<Novu::RegEx>();
    const Novu::RegEx object;
    (void)object;
}

}  // namespace
