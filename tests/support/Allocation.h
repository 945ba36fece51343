// Allocation: makes one allocation of this thread fail, or sees which are left.

#ifndef NOVU_BASES_TESTS_SUPPORT_ALLOCATION_H_
#define NOVU_BASES_TESTS_SUPPORT_ALLOCATION_H_

#include <cstddef>
#include <new>

namespace NovuTest {

/// While it lives, the n-th call of operator new (1 is the next one) throws
/// std::bad_alloc, once. One at a time in a thread.
class FailingAllocation {
public:
    explicit FailingAllocation(unsigned long n);
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    ~FailingAllocation();

    static bool IsPending();  ///< Nothing has failed yet.
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

/// While it lives, the throwing operator new[] of this thread answers null, as
/// that of a host that has replaced it may.
class NullAllocation {
public:
    NullAllocation();
    NullAllocation(const NullAllocation&) = delete;
    NullAllocation& operator=(const NullAllocation&) = delete;
    ~NullAllocation();
};

/// Counts the blocks that this thread gets from operator new while the ledger
/// lives and has not given back. Holds 64 at a time; one ledger in a thread.
class AllocationLedger {
public:
    AllocationLedger();
    AllocationLedger(const AllocationLedger&) = delete;
    AllocationLedger& operator=(const AllocationLedger&) = delete;
    ~AllocationLedger();

    std::size_t Blocks() const;  ///< Not given back.
    std::size_t Bytes() const;   ///< In them, as asked for.

    // For the operators.
    void Made(void* block, std::size_t size);
    void Released(void* block);

private:
    struct Row {
        void* block;  // Null in a free row.
        std::size_t size;
    };

    Row rows[64] = {};
};

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_ALLOCATION_H_
