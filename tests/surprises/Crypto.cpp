// The surprises of Bases/Crypto.h, Seed.h, CryptoBlockCipherSeed.h and
// CryptoHashMd5.h.

#include "Bases/Crypto.h"

#include <cstdint>
#include <cstring>

#include "Bases/CryptoBlockCipherSeed.h"
#include "Bases/CryptoHashMd5.h"
#include "Bases/Seed.h"
#include "tests/surprises/Seen.h"

namespace {

using Novu::Crypto;
using Novu::CryptoBlockCipherSeed;
using Novu::CryptoHashMd5;
using NovuTest::SurprisesTest;

bool destroyed = false;

class Mine : public CryptoHashMd5 {
public:
    Mine() = default;
    Mine(const Mine&) = delete;
    Mine& operator=(const Mine&) = delete;
    ~Mine() override { destroyed = true; }
};

// [crypto-1]
TEST_F(SurprisesTest, crypto_1) {
    destroyed = false;
    SEEN(Crypto* crypto = new Mine; Novu::DestroyCrypto(crypto); !destroyed);
}

// [seed-1] The first vector of RFC 4269, whose key is 0, with the words of the
// block reversed.
TEST_F(SurprisesTest, seed_1) {
    std::uint32_t table[32];
    const unsigned char key[16] = {};
    unsigned char block[16] = {3,  2,  1, 0, 7,  6,  5,  4,
                               11, 10, 9, 8, 15, 14, 13, 12};
    const unsigned char wordsReversed[16] = {0xE0, 0xC6, 0xBA, 0x5E, 0x68, 0x16,
                                             0x4E, 0x05, 0xCC, 0xF1, 0xAF, 0x19,
                                             0xDB, 0x6C, 0x34, 0x6D};
    SEEN(SeedRoundKey(table, key); SeedEncrypt(block, table);
         std::memcmp(block, wordsReversed, 16) == 0);
}

// [seed-2]
TEST_F(SurprisesTest, seed_2) {
    std::uint32_t table[32];
    const unsigned char key[16] = {1};
    unsigned char block[16] = {2};
    SEEN(SeedRoundKey(table, key); SeedEncrypt(block, table);
         SeedDecrypt(block, table); block[0] == 2);
}

// Has a key; and what a call gives out.
class SeedSurprisesTest : public SurprisesTest {
protected:
    SeedSurprisesTest() {
        const unsigned char key[16] = {1};
        seed.Create();
        seed.SetUserSecretKey(key);
    }
    SeedSurprisesTest(const SeedSurprisesTest&) = delete;
    SeedSurprisesTest& operator=(const SeedSurprisesTest&) = delete;
    ~SeedSurprisesTest() override {
        delete[] secret;
        delete[] plain;
    }

    CryptoBlockCipherSeed seed;
    unsigned char text[32] = {};
    unsigned long taken = 0;
    unsigned long size = 0;
    unsigned char* secret = nullptr;
    unsigned char* plain = nullptr;
};

// [cryptoblockcipherseed-1]
TEST_F(SeedSurprisesTest, cryptoblockcipherseed_1) {
    SEEN(CryptoBlockCipherSeed fresh; fresh.Create();
         fresh.Encrypt(text, 16, taken, secret, size) == 1);
}

// [cryptoblockcipherseed-2]
TEST_F(SeedSurprisesTest, cryptoblockcipherseed_2) {
    SEEN(seed.Encrypt(text, 5, taken, secret, size);
         seed.Decrypt(secret, size, taken, plain, size) == 1 && size == 16);
}

// [cryptoblockcipherseed-3]
TEST_F(SeedSurprisesTest, cryptoblockcipherseed_3) {
    SEEN(seed.Encrypt(text, 32, taken, secret, size);
         std::memcmp(secret, secret + 16, 16) == 0);
}

// [cryptoblockcipherseed-4]
TEST_F(SeedSurprisesTest, cryptoblockcipherseed_4) {
    SEEN(seed.Encrypt(text, 0, taken, secret, size) == 0 && secret == nullptr);
}

// [cryptohashmd5-1]
TEST_F(SurprisesTest, cryptohashmd5_1) {
    CryptoHashMd5 md5;
    char context[88];
    CryptoHashMd5::MD5Digest_struct digest{};
    md5.MD5Init(&context);
    md5.MD5Update(&context, "abc", 3);
    SEEN(md5.MD5Final(&digest, &context);
         context[0] == 0 && std::memcmp(context + 8, digest.bytes + 8, 8) == 0);
}

// [cryptohashmd5-2]
TEST_F(SurprisesTest, cryptohashmd5_2) {
    CryptoHashMd5 md5;
    unsigned char text[16] = {};
    unsigned long taken = 0;
    unsigned long size = 0;
    unsigned char* plain = nullptr;
    SEEN(md5.SetUserSecretKey(nullptr) == 1 &&
         md5.Decrypt(text, 16, taken, plain, size) == 0);
}

}  // namespace
