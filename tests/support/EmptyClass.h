// EmptyClass: what holds for a class that is kept for its name alone.

#ifndef NOVU_BASES_TESTS_SUPPORT_EMPTYCLASS_H_
#define NOVU_BASES_TESTS_SUPPORT_EMPTYCLASS_H_

#include <gtest/gtest.h>

#include <type_traits>

#include "tests/support/VirtualSlots.h"

namespace NovuTest {

/// No fields, no virtual operation but the destructor, which a delete through
/// a pointer runs once.
template <typename Class>
void ExpectEmptyClass() {
    static_assert(sizeof(Class) == sizeof(void*));
    static_assert(std::has_virtual_destructor_v<Class>);
    static_assert(std::is_default_constructible_v<Class>);
    EXPECT_EQ(0, VirtualOperations<Class>());

    struct Derived : Class {
        explicit Derived(int& counted) : destroyed(counted) {}
        ~Derived() override { ++destroyed; }

        int& destroyed;
    };
    int destroyed = 0;
    const Class* const object = new Derived(destroyed);
    EXPECT_EQ(0, destroyed);
    delete object;
    EXPECT_EQ(1, destroyed);
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_EMPTYCLASS_H_
