// MachSemaphores: the stand-in for the kernel's semaphores of macOS, and what a
// test can see and script of it.

#ifndef NOVU_BASES_TESTS_MAC_MACHSEMAPHORES_H_
#define NOVU_BASES_TESTS_MAC_MACHSEMAPHORES_H_

#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace NovuTest {

/// Records the calls of a scope, one line each, such as
/// "semaphore_timedwait 1.500000000" or "semaphore_create 0 1" (policy and
/// value). One at a time.
class MachCalls {
public:
    MachCalls();
    MachCalls(const MachCalls&) = delete;
    MachCalls& operator=(const MachCalls&) = delete;
    ~MachCalls();

    /// The next calls of `function` answer these results and do nothing else.
    void Script(const std::string& function, std::deque<int> results);

    /// The next call of `function` does this first, once, while nothing is
    /// locked.
    void Before(const std::string& function, std::function<void()> action);

    /// What was recorded since the last time.
    std::vector<std::string> Take();
};

/// Semaphores that were created and not destroyed.
unsigned long MachSemaphoresAlive();

/// Threads that sleep on one.
unsigned long MachSleepers();

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_MAC_MACHSEMAPHORES_H_
