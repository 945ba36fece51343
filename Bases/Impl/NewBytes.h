// NewBytes (private): blocks of bytes that are released with delete[].

#ifndef NOVU_BASES_IMPL_NEWBYTES_H_
#define NOVU_BASES_IMPL_NEWBYTES_H_

namespace Novu {

/// `count` bytes from new[], not initialised; std::bad_alloc passes. Null where
/// the host has replaced operator new[] by one that answers null. Compilers may
/// assume that none does, and drop a test for null where they see the `new`:
/// hence a source of its own, which no unity build merges with another.
unsigned char* NewBytes(unsigned long count);

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_NEWBYTES_H_
