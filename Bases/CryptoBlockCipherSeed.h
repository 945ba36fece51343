// CryptoBlockCipherSeed: SEED over whole messages, block by block.
//
// Shape    Blocks of 16 bytes.
// Errors   Results only, as in Bases/Crypto.h.
// Threads  Several may encrypt and decrypt with one object, while none calls
//          Create or SetUserSecretKey.
// Timing   Processors with AVX2 and GFNI or AES-NI compute in vectors, which
//          look nothing up: messages of 13 blocks and more (with GFNI, of 5)
//          leave no trace of themselves or the round keys in the cache, and
//          with AVX2 and GFNI the key leaves none when it is set. All else
//          goes through tables, by bytes of message and key, and programs
//          that share the processor can watch that: keys that are set on
//          other processors, shorter messages, single blocks (Bases/Seed.h).
// See      docs/surprises.md, "Ciphers and digests", for what is By design.
//
// The order of bytes in words is the host's: see [seed-1] in Bases/Seed.h.
//
// By design [cryptoblockcipherseed-3]: each block is on its own (ECB, without
// an initialisation vector), so equal blocks and equal messages give equal
// ciphertexts under one key.

#ifndef NOVU_BASES_CRYPTOBLOCKCIPHERSEED_H_
#define NOVU_BASES_CRYPTOBLOCKCIPHERSEED_H_

#include <cstdint>

#include "Bases/Crypto.h"
#include "Bases/Export.h"

namespace Novu {

/// SEED as a `Crypto`, for messages of any length.
///
/// Example (examples/CryptoBlockCipherSeed.cpp):
///
///     unsigned long filled = 0;
///     if (seed.Decrypt(secret.get(), size, consumed, output, filled) != 1) {
///         return 1;
///     }
///     const std::unique_ptr<unsigned char[]> plain(output);
///     // The zeros that filled the last block are still there: cut them off.
///     const std::string back(plain.get(), plain.get() + length);
class NOVU_API CryptoBlockCipherSeed : public Crypto {
public:
    CryptoBlockCipherSeed();  ///< Without defined round keys: call `Create`.

    /// Makes the round keys 0. Always 1.
    /// By design [cryptoblockcipherseed-1]: an object without a key encrypts
    /// and decrypts with these, which are not those of a key of zeros.
    int Create() override;

    void Destroy() override;                       ///< Does nothing.
    unsigned int GetDataSizeUnit() override;       ///< 16
    unsigned int GetUserSecretKeySize() override;  ///< 16

    /// Reads 16 bytes and replaces the round keys; a null `key` is refused and
    /// the current ones stay.
    int SetUserSecretKey(const unsigned char* key) override;

    /// Refused for a null `input` and for a length of 0 (by design
    /// [cryptoblockcipherseed-4]). `outputLength` is
    /// `inputLength` rounded up to 16. When memory runs out (std::bad_alloc, or
    /// 0 where an operator new[] of the host's answers null), `outputLength` is
    /// 0 and the other out-arguments are untouched.
    /// By design [cryptoblockcipherseed-2]: the last block is filled up with
    /// zeros, and nothing says with how many.
    int Encrypt(unsigned char* input, unsigned long inputLength,
                unsigned long& consumed, unsigned char*& output,
                unsigned long& outputLength) override;

    /// Refused as `Encrypt`, and for a length that is not a multiple of 16.
    /// The output is as long as the input: zeros that `Encrypt` appended stay.
    /// When memory runs out: as `Encrypt`.
    int Decrypt(unsigned char* input, unsigned long inputLength,
                unsigned long& consumed, unsigned char*& output,
                unsigned long& outputLength) override;

    ~CryptoBlockCipherSeed() override;  ///< The round keys are not cleared.

private:
    std::uint32_t roundKeys[32];  // Of the current key.
};

}  // namespace Novu

#endif  // NOVU_BASES_CRYPTOBLOCKCIPHERSEED_H_
