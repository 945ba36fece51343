// VirtualSlots: where virtual operations stand in their table, and how many a
// class has. By the C++ ABI of Linux and macOS, a pointer to a virtual function
// begins with 1 + the offset of its slot.

#ifndef NOVU_BASES_TESTS_SUPPORT_VIRTUALSLOTS_H_
#define NOVU_BASES_TESTS_SUPPORT_VIRTUALSLOTS_H_

#include <cstddef>
#include <cstring>

namespace NovuTest {

/// The slot of a virtual operation, given as `&Class::Operation`.
template <typename Operation>
std::ptrdiff_t SlotOf(Operation operation) {
    std::ptrdiff_t first = 0;
    std::memcpy(&first, &operation, sizeof first);
    return (first - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

/// The slots of `Class`, of which a new virtual operation takes the next one. 0
/// for a class without virtual operations.
template <typename Class>
std::ptrdiff_t VirtualSlots() {
    struct Next : Class {
        virtual void Probe() {}

    protected:
        ~Next() = default;  // Of a class that may have no virtual one.
    };
    return SlotOf(&Next::Probe);
}

/// The virtual operations of `Class` beside its virtual destructor, which takes
/// two slots.
template <typename Class>
std::ptrdiff_t VirtualOperations() {
    return VirtualSlots<Class>() - 2;
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_VIRTUALSLOTS_H_
