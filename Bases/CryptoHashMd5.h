// CryptoHashMd5: the MD5 digest (RFC 1321), of a whole message or in pieces.
//
// Shape    A digest is 16 bytes. The context of a digest in pieces is the
//          caller's, 88 bytes of any alignment: the state A, B, C, D; the
//          number of bits modulo 2^64, low word and high word; 64 bytes of
//          input that wait. Words are 32 bits in the host's byte order.
// Errors   None but as each call says; pointers are not checked.
// Threads  Any; an object has no state. One thread at a time for a context.
// See      docs/surprises.md, "Ciphers and digests", for what is By design.
//
// MD5 is broken: fit for finding accidents and duplicates, not for security.

#ifndef NOVU_BASES_CRYPTOHASHMD5_H_
#define NOVU_BASES_CRYPTOHASHMD5_H_

#include <string>

#include "Bases/Crypto.h"
#include "Bases/Export.h"

namespace Novu {

/// MD5 as a `Crypto`, and by functions of its own, which need no `Create`.
///
/// Example (examples/CryptoHashMd5.cpp):
///
///     char context[88];  // The caller's: it holds all that there is.
///     md5.MD5Init(&context);
///     for (const std::string piece : {"a", "b", "c"}) {
///         md5.MD5Update(&context, piece.data(), piece.size());
///     }
///     Novu::CryptoHashMd5::MD5Digest_struct digest;
///     md5.MD5Final(&digest, &context);
///     std::cout << md5.MD5DigestToBase16(digest) << '\n';
class NOVU_API CryptoHashMd5 : public Crypto {
public:
    /// In the order in which digests are printed.
    struct MD5Digest_struct {
        unsigned char bytes[16];  ///< The first two digits come from byte 0.
    };

    CryptoHashMd5();  ///< Ready for use, also without `Create`.

    int Create() override;                         ///< Always 1.
    void Destroy() override;                       ///< Does nothing.
    unsigned int GetDataSizeUnit() override;       ///< 0
    unsigned int GetUserSecretKeySize() override;  ///< 0: there is no key.

    /// Always 1. By design [cryptohashmd5-2]: ignores `key`, null too.
    int SetUserSecretKey(const unsigned char* key) override;

    /// Gives the 16 bytes of the digest. Always 1 (but for an operator new[] of
    /// the host's that answers null: 0); `input` may be null where
    /// `inputLength` is 0. When memory runs out, `consumed` is set and the
    /// other out-arguments are untouched.
    int Encrypt(unsigned char* input, unsigned long inputLength,
                unsigned long& consumed, unsigned char*& output,
                unsigned long& outputLength) override;

    /// By design [cryptohashmd5-2]: always 0, with nothing touched, as a digest
    /// has no way back.
    int Decrypt(unsigned char* input, unsigned long inputLength,
                unsigned long& consumed, unsigned char*& output,
                unsigned long& outputLength) override;

    ~CryptoHashMd5() override;  ///< There is nothing to release.

    /// Begins a digest. The 64 bytes of the context's buffer stay as they are.
    void MD5Init(char (*context)[88]);

    /// Adds `length` bytes; `data` may be null where that is 0.
    void MD5Update(char (*context)[88], const void* data, unsigned long length);

    /// Ends a digest. The context has to be begun anew before it is used again.
    /// By design [cryptohashmd5-1]: of the context, only the first 8 bytes (A
    /// and B) are cleared; the rest, the last block included, stays readable.
    void MD5Final(MD5Digest_struct* digest, char (*context)[88]);

    /// The digest of `data[0, length)` in one call; `data` may be null where
    /// `length` is 0.
    void MD5Sum(const void* data, unsigned long length,
                MD5Digest_struct* digest);

    /// 32 hexadecimal digits in lower case.
    std::string MD5DigestToBase16(const MD5Digest_struct& digest);

    /// The digest of all bytes of `text`, zeros included, in that form.
    std::string MD5String(const std::string& text);
};

}  // namespace Novu

#endif  // NOVU_BASES_CRYPTOHASHMD5_H_
