#include <Poco/Environment.h>

#include "benchmarks/start/Use.h"

void Use() { Poco::Environment::libraryVersion(); }
