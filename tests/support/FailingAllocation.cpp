// FailingAllocation, and the operators new and delete that it steers.

#include "tests/support/FailingAllocation.h"

#include <cstdlib>

namespace {

thread_local unsigned long untilFailure = 0;  // 0: none fails.

void* Allocate(std::size_t size) {
    if (untilFailure != 0 && --untilFailure == 0) {
        throw std::bad_alloc();
    }
    void* const block = std::malloc(size != 0 ? size : 1);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

}  // namespace

namespace NovuTest {

FailingAllocation::FailingAllocation(unsigned long n) { untilFailure = n; }

FailingAllocation::~FailingAllocation() { untilFailure = 0; }

}  // namespace NovuTest

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
