// Allocation, and the operators new and delete that it steers.

#include "tests/support/Allocation.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else  // A compiler without its sanitizers: then nothing is instrumented.
#define ASAN_POISON_MEMORY_REGION(block, size)
#define ASAN_UNPOISON_MEMORY_REGION(block, size)
#endif

namespace {

thread_local unsigned long untilFailure = 0;  // 0: none fails.
thread_local bool arraysAreNull = false;
thread_local NovuTest::AllocationLedger* ledger = nullptr;

enum class Kind : std::size_t { kObject = 0x0b1ec7, kArray = 0xa44a1 };

// In front of each block: how it was made, since operators of our own keep the
// address sanitizer from seeing an array that is released as an object; and its
// size, so that a block can be spoilt when it is released.
struct alignas(alignof(std::max_align_t)) Head {
    Kind kind;
    std::size_t size;
};

void* Allocate(std::size_t size, Kind kind) {
    if (untilFailure != 0 && --untilFailure == 0) {
        throw std::bad_alloc();
    }
    void* const whole = size <= PTRDIFF_MAX - sizeof(Head)
                            ? std::malloc(sizeof(Head) + size)
                            : nullptr;
    if (whole == nullptr) {
        throw std::bad_alloc();
    }
    Head* const head = new (whole) Head{kind, size};
    void* const block = head + 1;
    ASAN_POISON_MEMORY_REGION(head, sizeof(Head));
    if (ledger != nullptr) {
        ledger->Made(block, size);
    }
    return block;
}

void* AllocateOrNull(std::size_t size, Kind kind) noexcept {
    try {
        return Allocate(size, kind);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void Release(void* block, Kind kind) {
    if (block == nullptr) {
        return;
    }
    Head* const head = static_cast<Head*>(block) - 1;
    ASAN_UNPOISON_MEMORY_REGION(head, sizeof(Head));
    if (head->kind != kind) {
        std::fputs("delete and delete[] are mixed up\n", stderr);
        std::abort();
    }
    if (ledger != nullptr) {
        ledger->Released(block);
    }
    std::memset(block, 0xDB, head->size);
    std::free(head);
}

}  // namespace

namespace NovuTest {

FailingAllocation::FailingAllocation(unsigned long n) { untilFailure = n; }

FailingAllocation::~FailingAllocation() { untilFailure = 0; }

bool FailingAllocation::IsPending() { return untilFailure != 0; }

NullAllocation::NullAllocation() { arraysAreNull = true; }

NullAllocation::~NullAllocation() { arraysAreNull = false; }

AllocationLedger::AllocationLedger() { ledger = this; }

AllocationLedger::~AllocationLedger() { ledger = nullptr; }

std::size_t AllocationLedger::Blocks() const {
    std::size_t blocks = 0;
    for (const Row& row : rows) {
        blocks += row.block != nullptr ? 1 : 0;
    }
    return blocks;
}

std::size_t AllocationLedger::Bytes() const {
    std::size_t bytes = 0;
    for (const Row& row : rows) {
        bytes += row.block != nullptr ? row.size : 0;
    }
    return bytes;
}

void AllocationLedger::Made(void* block, std::size_t size) {
    for (Row& row : rows) {
        if (row.block == nullptr) {
            row = {block, size};
            return;
        }
    }
    std::abort();  // More blocks at a time than the ledger holds.
}

void AllocationLedger::Released(void* block) {
    for (Row& row : rows) {
        if (row.block == block) {
            row.block = nullptr;
        }
    }
}

}  // namespace NovuTest

// Every form but those for over-aligned types, which nothing here uses.

using std::nothrow_t;
using std::size_t;

void* operator new(size_t size) { return Allocate(size, Kind::kObject); }
// There are hosts whose operator answers null, although it may not.
__attribute__((no_sanitize("returns-nonnull-attribute"))) void* operator new[](
    size_t size) {
    return arraysAreNull ? nullptr : Allocate(size, Kind::kArray);
}
void* operator new(size_t size, const nothrow_t& /*tag*/) noexcept {
    return AllocateOrNull(size, Kind::kObject);
}
void* operator new[](size_t size, const nothrow_t& /*tag*/) noexcept {
    return AllocateOrNull(size, Kind::kArray);
}
void operator delete(void* block) noexcept { Release(block, Kind::kObject); }
void operator delete[](void* block) noexcept { Release(block, Kind::kArray); }
void operator delete(void* block, size_t /*size*/) noexcept {
    Release(block, Kind::kObject);
}
void operator delete[](void* block, size_t /*size*/) noexcept {
    Release(block, Kind::kArray);
}
void operator delete(void* block, const nothrow_t& /*tag*/) noexcept {
    Release(block, Kind::kObject);
}
void operator delete[](void* block, const nothrow_t& /*tag*/) noexcept {
    Release(block, Kind::kArray);
}
