// Calls a function of the library that a program is linked with, so that it is
// loaded.

#ifndef NOVU_BENCHMARKS_START_USE_H_
#define NOVU_BENCHMARKS_START_USE_H_

void Use();

#endif  // NOVU_BENCHMARKS_START_USE_H_
