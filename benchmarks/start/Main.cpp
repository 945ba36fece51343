// A program that does nothing but load a library: what it costs to start, and
// to have. With an argument it says when it is there, and waits for the end of
// its input.

#include <cstdio>

#include "benchmarks/start/Use.h"

int main(int argc, char** /*argv*/) {
    Use();
    if (argc > 1) {
        std::puts("ready");
        std::fflush(stdout);
        std::getchar();
    }
}
