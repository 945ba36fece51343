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
    std::memcpy(&field, static_cast<const char*>(object) + offset,
                sizeof(Field));
    return field;
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_FIELDAT_H_
