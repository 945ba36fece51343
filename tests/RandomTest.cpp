// The contract of Bases/Random.h.

#include "Bases/Random.h"

#include <gtest/gtest.h>

#include "tests/support/EmptyClass.h"

namespace {

// [empty-1]
TEST(RandomTest, IsThereAndDoesNothing) {
    NovuTest::ExpectEmptyClass<Novu::Random>();
    const Novu::Random object;
    (void)object;
}

}  // namespace
