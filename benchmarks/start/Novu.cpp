#include "Bases/Bits.h"
#include "benchmarks/start/Use.h"

void Use() { Novu::Bits bits; }
