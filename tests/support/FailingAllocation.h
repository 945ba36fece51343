// FailingAllocation: makes one allocation of this thread throw.

#ifndef NOVU_BASES_TESTS_SUPPORT_FAILINGALLOCATION_H_
#define NOVU_BASES_TESTS_SUPPORT_FAILINGALLOCATION_H_

#include <new>

namespace NovuTest {

/// While it lives, the n-th call of operator new (1 is the next one) throws
/// std::bad_alloc, once. Not nested.
class FailingAllocation {
public:
    explicit FailingAllocation(unsigned long n);
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    ~FailingAllocation();
};

/// Runs `operation` with its first allocation failing, then with its second,
/// and so on until it gets through; after each failure `check` looks at what
/// is left. Answers how many allocations there were.
template <typename Operation, typename Check>
unsigned long FailEachAllocation(Operation operation, Check check) {
    for (unsigned long n = 1;; ++n) {
        try {
            const FailingAllocation failing(n);
            operation();
            return n - 1;
        } catch (const std::bad_alloc&) {
            check();
        }
    }
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_FAILINGALLOCATION_H_
