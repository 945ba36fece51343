// The contract of Bases/TextFileIo.h.

#include "Bases/TextFileIo.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using Novu::TextFileIo;

// [empty-1] No base, no fields: the object is its table pointer.
static_assert(sizeof(TextFileIo) == sizeof(void*));
static_assert(std::has_virtual_destructor_v<TextFileIo>);
static_assert(std::is_default_constructible_v<TextFileIo>);

class Derived : public TextFileIo {
public:
    explicit Derived(int& counted) : destroyed(counted) {}
    ~Derived() override { ++destroyed; }

private:
    int& destroyed;
};

TEST(TextFileIoTest, CanBeMadeAndDestroyed) {
    const TextFileIo object;
    EXPECT_NE(nullptr, &object);
}

TEST(TextFileIoTest, DeletingThroughAPointerRunsTheDestructorOnce) {
    int destroyed = 0;
    const TextFileIo* const object = new Derived(destroyed);
    EXPECT_EQ(0, destroyed);
    delete object;
    EXPECT_EQ(1, destroyed);
}

}  // namespace
