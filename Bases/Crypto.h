// Crypto: one interface for transforms of byte strings, and the factory that
// makes them: a keyed block cipher (SEED) and a digest (MD5).
//
// Shape    A whole message in, one freshly allocated buffer out. Calls are
//          independent of each other: no state is chained from one to the next.
// Errors   Results only: 1 for done, 0 for refused with the out-arguments
//          untouched, but where a class says otherwise, and nothing allocated.
// Threads  As each class says. Different objects are independent.
// See      docs/surprises.md, "Ciphers and digests", for what is By design.
//
// A caller makes an object with CreateCrypto, gives a keyed one exactly
// GetUserSecretKeySize() bytes of key, calls Encrypt and Decrypt as often as it
// likes, and hands the object to DestroyCrypto.

#ifndef NOVU_BASES_CRYPTO_H_
#define NOVU_BASES_CRYPTO_H_

#include "Bases/Export.h"

namespace Novu {

/// A transform of byte strings: a cipher, or a digest.
///
/// Example (examples/Crypto.cpp):
///
///     const bool done =
///         crypto->Encrypt(reinterpret_cast<unsigned char*>(input.data()),
///                         input.size(), consumed, output, size) == 1;
///     if (done) {
///         std::cout << consumed << " bytes in, " << size << " bytes out\n";
///         delete[] output;  // It is the caller's.
///     }
///     Novu::DestroyCrypto(crypto);
class NOVU_API Crypto {
public:
    /// What `CreateCrypto` is to make.
    enum Type : unsigned int {
        HashMd5 = 1,         ///< CryptoHashMd5
        BlockCipherSeed = 2  ///< CryptoBlockCipherSeed
    };

    virtual int Create() = 0;    ///< Prepares the object; 1 when it is ready.
    virtual void Destroy() = 0;  ///< Tears it down, before its storage goes.

    /// The unit of the output in bytes (a cipher's block); 0 for none.
    virtual unsigned int GetDataSizeUnit() = 0;

    /// Bytes that `SetUserSecretKey` reads; 0 where there is no key.
    virtual unsigned int GetUserSecretKeySize() = 0;

    /// Takes the key for the calls that follow. The bytes are not kept.
    virtual int SetUserSecretKey(const unsigned char* key) = 0;

    /// Transforms `input[0, inputLength)`, which is only read. On success
    /// `consumed` is `inputLength`, and `output` a new buffer of `outputLength`
    /// bytes, which the caller releases with delete[].
    virtual int Encrypt(unsigned char* input, unsigned long inputLength,
                        unsigned long& consumed, unsigned char*& output,
                        unsigned long& outputLength) = 0;

    /// The way back, by the same rules.
    virtual int Decrypt(unsigned char* input, unsigned long inputLength,
                        unsigned long& consumed, unsigned char*& output,
                        unsigned long& outputLength) = 0;

    virtual ~Crypto();  ///< Does not call `Destroy`.
};

/// A new object of that type, after its `Create`. Null for any other value of
/// `type`, and where `Create` answers 0. Release it with `DestroyCrypto`, or
/// with delete, which does not call `Destroy`.
///
/// Example (examples/Crypto.cpp):
///
///     Novu::Crypto* crypto = Novu::CreateCrypto(type);
///     if (crypto == nullptr) {
///         return false;
///     }
NOVU_API Crypto* CreateCrypto(const Crypto::Type& type);

/// Calls `Destroy`, releases the storage with operator delete, and makes the
/// pointer null; does nothing for null. For objects of `CreateCrypto`, and for
/// those that plain new made of a class whose first base is Crypto.
/// By design [crypto-1]: the destructor does not run. `Destroy` is the one
/// place where an object gives back what it holds.
NOVU_API void DestroyCrypto(Crypto*& crypto);

}  // namespace Novu

#endif  // NOVU_BASES_CRYPTO_H_
