#include "tests/support/Allocation.h"
