// Interval counts, from Bases/Timer.h.

#include "Bases/Timer.h"

#include <sys/time.h>

namespace Novu {

namespace {

// Reads the clock into two unsigned numbers, whose sums and products wrap where
// a signed one would overflow.
bool ReadClock(unsigned long long& seconds, unsigned long long& microseconds) {
    timeval now = {};
    if (::gettimeofday(&now, nullptr) != 0) {
        return false;
    }
    seconds = static_cast<unsigned long long>(now.tv_sec);
    microseconds = static_cast<unsigned long long>(now.tv_usec);
    return true;
}

}  // namespace

unsigned long long timer_us() {
    unsigned long long seconds = 0;
    unsigned long long microseconds = 0;
    return ReadClock(seconds, microseconds) ? microseconds + seconds * 1000000
                                            : 0;
}

unsigned long long timer_ms() {
    unsigned long long seconds = 0;
    unsigned long long microseconds = 0;
    return ReadClock(seconds, microseconds)
               ? microseconds / 1000 + seconds * 1000
               : 0;
}

unsigned long long timer_ns() { return timer_us() * 1000; }

}  // namespace Novu
