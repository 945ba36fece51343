// FieldAt: what an object holds where it cannot be asked.

#ifndef NOVU_BASES_TESTS_SUPPORT_FIELDAT_H_
#define NOVU_BASES_TESTS_SUPPORT_FIELDAT_H_

#include <cstddef>
#include <cstring>

namespace NovuTest {

/// The bytes from `offset` on, as a `Field`.
template <typename Field>
Field FieldAt(const void* object, std::size_t offset) {
    Field field{};
    // NOLINTNEXTLINE(bugprone-sizeof-expression): a field can be a pointer.
    const std::size_t size = sizeof(Field);
    std::memcpy(&field, static_cast<const char*>(object) + offset, size);
    return field;
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_FIELDAT_H_
