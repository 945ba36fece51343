// VirtualSlots: how many virtual operations a class has.

#ifndef NOVU_BASES_TESTS_SUPPORT_VIRTUALSLOTS_H_
#define NOVU_BASES_TESTS_SUPPORT_VIRTUALSLOTS_H_

#include <cstddef>
#include <cstring>

namespace NovuTest {

/// The slots of `Class`: by the C++ ABI of Linux and macOS, where a pointer to
/// a virtual function begins with 1 + the offset of its slot, a new virtual
/// takes the next one. 0 for a class without virtual operations.
template <typename Class>
std::ptrdiff_t VirtualSlots() {
    struct Next : Class {
        virtual void Probe() {}

    protected:
        ~Next() = default;  // Of a class that may have no virtual one.
    };
    auto probe = &Next::Probe;
    std::ptrdiff_t slot = 0;
    std::memcpy(&slot, &probe, sizeof slot);
    return (slot - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

/// The virtual operations of `Class` beside its virtual destructor, which takes
/// two slots.
template <typename Class>
std::ptrdiff_t VirtualOperations() {
    return VirtualSlots<Class>() - 2;
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_VIRTUALSLOTS_H_
