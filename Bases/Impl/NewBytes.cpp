// NewBytes, from Bases/Impl/NewBytes.h.

#include "Bases/Impl/NewBytes.h"

#include <cstddef>

namespace Novu {

// Every size of the interface is a size of memory, and the other way round.
static_assert(sizeof(unsigned long) == sizeof(std::size_t));

// A null from the host's operator is handed on, not taken for a fault here.
__attribute__((no_sanitize("null"))) unsigned char* NewBytes(
    unsigned long count) {
    return new unsigned char[count];
}

}  // namespace Novu
