// Owned (private): one owner for every handle that is a pointer, so that
// clean-up is written once and every early return is safe.

#ifndef NOVU_BASES_IMPL_OWNED_H_
#define NOVU_BASES_IMPL_OWNED_H_

#include <memory>

namespace Novu {

/// The deleter that calls `release`, which takes the raw handle.
template <auto release>
struct Releaser {
    template <typename Pointee>
    void operator()(Pointee* handle) const {
        release(handle);
    }
};

/// Owns a handle and gives it to `release` in the end.
template <typename Pointee, auto release>
using Owned = std::unique_ptr<Pointee, Releaser<release>>;

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_OWNED_H_
