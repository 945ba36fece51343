// OneCore: keeps the calling thread, and those that it starts, on one core for
// a scope. Two threads that take turns are then timed by what they do, and not
// by where the system puts them: to wake a core that sleeps takes longer.

#ifndef NOVU_BENCHMARKS_ONECORE_H_
#define NOVU_BENCHMARKS_ONECORE_H_

#include <sched.h>

namespace bench {

class OneCore {
public:
    OneCore() {
        ::sched_getaffinity(0, sizeof before, &before);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<unsigned int>(::sched_getcpu()), &one);
        ::sched_setaffinity(0, sizeof one, &one);
    }
    OneCore(const OneCore&) = delete;
    OneCore& operator=(const OneCore&) = delete;
    ~OneCore() { ::sched_setaffinity(0, sizeof before, &before); }

private:
    cpu_set_t before;
};

}  // namespace bench

#endif  // NOVU_BENCHMARKS_ONECORE_H_
