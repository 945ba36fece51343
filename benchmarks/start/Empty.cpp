// No library but those of the compiler and the system.

#include "benchmarks/start/Use.h"

void Use() {}
