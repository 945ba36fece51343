// Allocation, and the operators new and delete that it steers.

#include "tests/support/Allocation.h"

#include <cstdlib>

namespace {

thread_local unsigned long untilFailure = 0;  // 0: none fails.
thread_local NovuTest::AllocationLedger* ledger = nullptr;

void* Allocate(std::size_t size) {
    if (untilFailure != 0 && --untilFailure == 0) {
        throw std::bad_alloc();
    }
    void* const block = std::malloc(size != 0 ? size : 1);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    if (ledger != nullptr) {
        ledger->Made(block, size);
    }
    return block;
}

void Release(void* block) {
    if (ledger != nullptr) {
        ledger->Released(block);
    }
    std::free(block);
}

}  // namespace

namespace NovuTest {

FailingAllocation::FailingAllocation(unsigned long n) { untilFailure = n; }

FailingAllocation::~FailingAllocation() { untilFailure = 0; }

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

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void operator delete(void* block) noexcept { Release(block); }
void operator delete[](void* block) noexcept { Release(block); }
void operator delete(void* block, std::size_t) noexcept { Release(block); }
void operator delete[](void* block, std::size_t) noexcept { Release(block); }
