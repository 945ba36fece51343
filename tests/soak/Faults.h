// Faults: random failures of memory and of the system, for one thread.

#ifndef NOVU_BASES_TESTS_SOAK_FAULTS_H_
#define NOVU_BASES_TESTS_SOAK_FAULTS_H_

#include <optional>
#include <random>

#include "tests/support/Allocation.h"

namespace NovuTest {

using Random = std::mt19937_64;

/// From 0 to `count` - 1.
inline unsigned int Pick(Random& random, unsigned int count) {
    return static_cast<unsigned int>(random() % count);
}

/// While it lives, one of the next allocations of this thread fails, or one of
/// its next calls of the system for which Faults.cpp stands in, or both, or
/// none: chance decides. One at a time in a thread.
class Faults {
public:
    explicit Faults(Random& random);
    Faults(const Faults&) = delete;
    Faults& operator=(const Faults&) = delete;
    ~Faults();

    /// Whether the system was made to fail since the last call of Forget.
    static bool SystemFailed();
    static void Forget();

private:
    std::optional<FailingAllocation> allocation;
};

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SOAK_FAULTS_H_
