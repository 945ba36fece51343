// Timer: counts for measuring intervals.
//
// Errors   0 where the clock fails.
// Threads  Any; nothing is shared.
// See      docs/surprises.md, "Clock and time values", for what is By design.
//
// By design [timer-1]: the counts are those of the wall clock since 1970, which
// jumps when it is set; `timer_ns` advances in microseconds.
//
// Example (examples/Timer.cpp):
//
//     // The counts are the wall clock's, which may have been set meanwhile.
//     if (begin == 0 || end < begin) {
//         std::cerr << "the clock was set\n";
//     } else {
//         std::cerr << (end - begin) / 1000 << " ms\n";
//     }

#ifndef NOVU_BASES_TIMER_H_
#define NOVU_BASES_TIMER_H_

#include "Bases/Export.h"

namespace Novu {

NOVU_API unsigned long long timer_us();  ///< Microseconds.
NOVU_API unsigned long long timer_ms();  ///< Milliseconds.
NOVU_API unsigned long long timer_ns();  ///< Nanoseconds.

}  // namespace Novu

#endif  // NOVU_BASES_TIMER_H_
