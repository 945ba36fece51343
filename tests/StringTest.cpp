// The contract of Bases/String.h.

#include "Bases/String.h"

#include <gtest/gtest.h>

TEST(StringTest, Placeholder) { SUCCEED(); }
