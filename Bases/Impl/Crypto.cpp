// The crypto interface and its factory, from Bases/Crypto.h.

#include "Bases/Crypto.h"

#include "Bases/Impl/CryptoFactory.h"

namespace Novu {

Crypto::~Crypto() = default;

Crypto* CreateCrypto(const Crypto::Type& type) {
    switch (type) {
        case Crypto::HashMd5:
            return MakeHashMd5();
        case Crypto::BlockCipherSeed:
            return MakeBlockCipherSeed();
    }
    return nullptr;
}

void DestroyCrypto(Crypto*& crypto) {
    if (crypto == nullptr) {
        return;
    }
    Crypto* const object = crypto;  // Destroy may write to the pointer.
    object->Destroy();
    ReleaseStorage(object);  // By design [crypto-1].
    crypto = nullptr;
}

}  // namespace Novu
