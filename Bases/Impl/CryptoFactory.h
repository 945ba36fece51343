// CryptoFactory (private): how CreateCrypto makes its objects. Each class has a
// maker in its own source, so that the interface does not build on what builds
// on it.

#ifndef NOVU_BASES_IMPL_CRYPTOFACTORY_H_
#define NOVU_BASES_IMPL_CRYPTOFACTORY_H_

#include <new>

#include "Bases/Crypto.h"
#include "Bases/Impl/Owned.h"

namespace Novu {

// One for each Crypto::Type, defined beside its class.
Crypto* MakeHashMd5();
Crypto* MakeBlockCipherSeed();

/// Gives the storage of an object back without its destructor.
inline void ReleaseStorage(Crypto* crypto) { ::operator delete(crypto); }

/// A new `Object` after its `Create`; null where that answers 0. Then, and
/// where `Create` throws, the storage is released without a destructor.
template <typename Object>
Crypto* MakeCrypto() {
    Owned<Crypto, ReleaseStorage> crypto(new Object);
    // GCOVR_EXCL_BR_START: no Create answers 0 today.
    return crypto->Create() != 0 ? crypto.release() : nullptr;
    // GCOVR_EXCL_BR_STOP
}

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_CRYPTOFACTORY_H_
