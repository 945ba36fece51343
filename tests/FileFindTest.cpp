// The contract of Bases/FileFind.h.

#include "Bases/FileFind.h"

#include <gtest/gtest.h>

TEST(FileFindTest, Placeholder) { SUCCEED(); }
