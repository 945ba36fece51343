// The contract of Bases/XmlDoc.h.

#include "Bases/XmlDoc.h"

#include <gtest/gtest.h>

TEST(XmlDocTest, Placeholder) { SUCCEED(); }
