// The contract of Bases/Guid.h.

#include "Bases/Guid.h"

#include <gtest/gtest.h>

TEST(GuidTest, Placeholder) { SUCCEED(); }
