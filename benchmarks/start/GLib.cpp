#include <glib.h>

#include "benchmarks/start/Use.h"

void Use() { ::g_get_monotonic_time(); }
