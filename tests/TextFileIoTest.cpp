// The contract of Bases/TextFileIo.h.

#include "Bases/TextFileIo.h"

#include <gtest/gtest.h>

#include "tests/support/EmptyClass.h"

namespace {

// [empty-1]
TEST(TextFileIoTest, IsThereAndDoesNothing) {
    NovuTest::ExpectEmptyClass<Novu::TextFileIo>();
    const Novu::TextFileIo object;
    (void)object;
}

}  // namespace
