// The contract of Bases/MemPool.h.

#include "Bases/MemPool.h"

#include <gtest/gtest.h>

#include "tests/support/EmptyClass.h"

namespace {

// [empty-1]
TEST(MemPoolTest, IsThereAndDoesNothing) {
    NovuTest::ExpectEmptyClass<Novu::MemPool>();
    const Novu::MemPool object;
    (void)object;
}

}  // namespace
