// OpenSslSeed: the cipher SEED of OpenSSL, without chaining and padding.

#ifndef NOVU_BASES_TESTS_SUPPORT_OPENSSLSEED_H_
#define NOVU_BASES_TESTS_SUPPORT_OPENSSLSEED_H_

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <algorithm>
#include <stdexcept>

#include "Bases/Impl/Owned.h"

namespace NovuTest {

/// From the library's order of bytes, in which each word of 32 bits has its
/// lowest byte first [seed-1], to that of RFC 4269, and the other way round.
template <typename Bytes>
Bytes WordsReversed(Bytes bytes) {
    for (auto word = bytes.begin(); word != bytes.end(); word += 4) {
        std::reverse(word, word + 4);
    }
    return bytes;
}

/// With OpenSSL's provider "legacy", where it keeps SEED. Throws where there is
/// none.
class OpenSslSeed {
public:
    OpenSslSeed()
        : library(OSSL_LIB_CTX_new()),
          legacy(OSSL_PROVIDER_load(library.get(), "legacy")),
          cipher(EVP_CIPHER_fetch(library.get(), "SEED-ECB", nullptr)),
          context(EVP_CIPHER_CTX_new()) {
        if (cipher == nullptr || context == nullptr) {
            throw std::runtime_error("this OpenSSL has no SEED");
        }
    }

    /// `Bytes` is a container of unsigned char: 16 of them in a key, a multiple
    /// of that in a message. In the order of RFC 4269.
    template <typename Bytes>
    Bytes Encrypt(const Bytes& message, const Bytes& key) {
        return Transform(message, key, 1);
    }
    template <typename Bytes>
    Bytes Decrypt(const Bytes& message, const Bytes& key) {
        return Transform(message, key, 0);
    }

private:
    template <typename Bytes>
    Bytes Transform(const Bytes& message, const Bytes& key, int encrypts) {
        Bytes out = message;
        int length = 0;
        if (EVP_CipherInit_ex2(context.get(), cipher.get(), key.data(), nullptr,
                               encrypts, nullptr) != 1 ||
            EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1 ||
            EVP_CipherUpdate(context.get(), out.data(), &length, message.data(),
                             static_cast<int>(message.size())) != 1 ||
            length != static_cast<int>(out.size())) {
            throw std::runtime_error("OpenSSL failed");
        }
        return out;
    }

    Novu::Owned<OSSL_LIB_CTX, OSSL_LIB_CTX_free> library;
    Novu::Owned<OSSL_PROVIDER, OSSL_PROVIDER_unload> legacy;
    Novu::Owned<EVP_CIPHER, EVP_CIPHER_free> cipher;
    Novu::Owned<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free> context;
};

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_OPENSSLSEED_H_
