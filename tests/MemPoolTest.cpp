// The contract of Bases/MemPool.h.

#include "Bases/MemPool.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using Novu::MemPool;

// [empty-1] No base, no fields: the object is its table pointer.
static_assert(sizeof(MemPool) == sizeof(void*));
static_assert(std::has_virtual_destructor_v<MemPool>);
static_assert(std::is_default_constructible_v<MemPool>);

class Derived : public MemPool {
public:
    explicit Derived(int& counted) : destroyed(counted) {}
    ~Derived() override { ++destroyed; }

private:
    int& destroyed;
};

TEST(MemPoolTest, CanBeMadeAndDestroyed) {
    const MemPool object;
    EXPECT_NE(nullptr, &object);
}

TEST(MemPoolTest, DeletingThroughAPointerRunsTheDestructorOnce) {
    int destroyed = 0;
    const MemPool* const object = new Derived(destroyed);
    EXPECT_EQ(0, destroyed);
    delete object;
    EXPECT_EQ(1, destroyed);
}

}  // namespace
