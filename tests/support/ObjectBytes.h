// ObjectBytes: objects as the bytes that hosts were compiled for, fields by
// their offsets and virtual functions by their slots.

#ifndef NOVU_BASES_TESTS_SUPPORT_OBJECTBYTES_H_
#define NOVU_BASES_TESTS_SUPPORT_OBJECTBYTES_H_

#include <cstddef>
#include <cstring>

namespace NovuTest {

/// What an object holds `offset` bytes from its start; `Field` is trivial.
template <typename Field>
Field FieldAt(const void* object, std::size_t offset) {
    Field field{};
    // It may be a pointer. NOLINTNEXTLINE(bugprone-sizeof-expression)
    const std::size_t size = sizeof(Field);
    std::memcpy(&field, static_cast<const char*>(object) + offset, size);
    return field;
}

template <typename Field>
void SetFieldAt(void* object, std::size_t offset, Field value) {
    std::memcpy(static_cast<char*>(object) + offset, &value, sizeof value);
}

/// The object that lies there inside another.
template <typename Part>
Part& PartAt(void* object, std::size_t offset) {
    return *reinterpret_cast<Part*>(static_cast<char*>(object) + offset);
}

/// The function in a slot of an object's own table. Its type names the object
/// as the first parameter, as in
///
///     Slot<int(void*, unsigned int)>(object, 6)(object, 10U);
template <typename Function>
Function* Slot(const void* object, std::size_t slot) {
    void* const* table = nullptr;
    std::memcpy(&table, object, sizeof table);
    Function* function = nullptr;
    std::memcpy(&function, table + slot, sizeof function);
    return function;
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_OBJECTBYTES_H_
