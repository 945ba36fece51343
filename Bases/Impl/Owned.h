// Owned (private): one owner for handles of every kind, so that clean-up is
// written once and every early return is safe.

#ifndef NOVU_BASES_IMPL_OWNED_H_
#define NOVU_BASES_IMPL_OWNED_H_

#include <memory>

namespace Novu {

/// The deleter that calls `release`, which takes the raw handle.
template <auto release>
struct Releaser {
    template <typename Handle>
    void operator()(Handle* handle) const {
        release(handle);
    }
};

/// Owns a pointer-like handle and gives it to `release` in the end.
template <typename Handle, auto release>
using Owned = std::unique_ptr<Handle, Releaser<release>>;

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_OWNED_H_
