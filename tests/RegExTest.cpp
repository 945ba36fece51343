// The contract of Bases/RegEx.h.

#include "Bases/RegEx.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using Novu::RegEx;

// [empty-1] No base, no fields: the object is its table pointer.
static_assert(sizeof(RegEx) == sizeof(void*));
static_assert(std::has_virtual_destructor_v<RegEx>);
static_assert(std::is_default_constructible_v<RegEx>);

class Derived : public RegEx {
public:
    explicit Derived(int& counted) : destroyed(counted) {}
    ~Derived() override { ++destroyed; }

private:
    int& destroyed;
};

TEST(RegExTest, CanBeMadeAndDestroyed) {
    const RegEx object;
    EXPECT_NE(nullptr, &object);
}

TEST(RegExTest, DeletingThroughAPointerRunsTheDestructorOnce) {
    int destroyed = 0;
    const RegEx* const object = new Derived(destroyed);
    EXPECT_EQ(0, destroyed);
    delete object;
    EXPECT_EQ(1, destroyed);
}

}  // namespace
