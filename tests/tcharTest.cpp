// The contract of Bases/tchar.h.

#include "Bases/tchar.h"

#include <gtest/gtest.h>

TEST(tcharTest, Placeholder) { SUCCEED(); }
