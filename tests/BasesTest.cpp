// The contract of Bases/Bases.h.

#include "Bases/Bases.h"

#include <gtest/gtest.h>

TEST(BasesTest, Placeholder) { SUCCEED(); }
