// The contract of Bases/Random.h.

#include "Bases/Random.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using Novu::Random;

// [empty-1] No base, no fields: the object is its table pointer.
static_assert(sizeof(Random) == sizeof(void*));
static_assert(std::has_virtual_destructor_v<Random>);
static_assert(std::is_default_constructible_v<Random>);

class Derived : public Random {
public:
    explicit Derived(int& counted) : destroyed(counted) {}
    ~Derived() override { ++destroyed; }

private:
    int& destroyed;
};

TEST(RandomTest, CanBeMadeAndDestroyed) {
    const Random object;
    EXPECT_NE(nullptr, &object);
}

TEST(RandomTest, DeletingThroughAPointerRunsTheDestructorOnce) {
    int destroyed = 0;
    const Random* const object = new Derived(destroyed);
    EXPECT_EQ(0, destroyed);
    delete object;
    EXPECT_EQ(1, destroyed);
}

}  // namespace
