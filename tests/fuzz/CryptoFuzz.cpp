// SEED and MD5 against OpenSSL: messages whole, and in random splits.
//
// Input: the key; where the memory begins; the sizes of the splits, up to a
// zero; the message.

#include <openssl/evp.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "Bases/Crypto.h"
#include "Bases/CryptoHashMd5.h"
#include "Bases/Seed.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/OpenSslSeed.h"

using Novu::Crypto;
using Novu::CryptoHashMd5;
using NovuFuzz::Require;
using NovuTest::WordsReversed;
using Bytes = std::vector<unsigned char>;

namespace {

class Object {
public:
    explicit Object(Crypto::Type type) : crypto(Novu::CreateCrypto(type)) {}
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    ~Object() { Novu::DestroyCrypto(crypto); }

    Crypto* operator->() const { return crypto; }

    // By Encrypt or Decrypt; nothing where that refuses.
    Bytes Transform(decltype(&Crypto::Encrypt) by, Bytes message) const {
        unsigned long consumed = 4711;
        unsigned char* output = nullptr;
        unsigned long length = 4711;
        if ((crypto->*by)(message.data(), message.size(), consumed, output,
                          length) == 0) {
            Require(output == nullptr && consumed == 4711 && length == 4711,
                    "a refusal touches");
            return {};
        }
        const std::unique_ptr<unsigned char[]> owner(output);
        Require(consumed == message.size(), "what is consumed");
        return {output, output + length};
    }

private:
    Crypto* crypto;
};

void CheckSeed(const Bytes& key, const Bytes& message, std::size_t offset) {
    static NovuTest::OpenSslSeed openSsl;
    const Object seed(Crypto::BlockCipherSeed);
    Require(seed->SetUserSecretKey(key.data()) == 1, "SetUserSecretKey");
    Bytes whole = message;
    whole.resize((message.size() + 15) / 16 * 16);
    const Bytes cipher = WordsReversed(
        openSsl.Encrypt(WordsReversed(whole), WordsReversed(key)));
    const Bytes plain = WordsReversed(
        openSsl.Decrypt(WordsReversed(whole), WordsReversed(key)));
    Require(seed.Transform(&Crypto::Encrypt, message) == cipher, "Encrypt");
    Require(seed.Transform(&Crypto::Decrypt, cipher) == whole, "Decrypt");
    const bool fits = message.size() % 16 == 0;
    Require(
        seed.Transform(&Crypto::Decrypt, message) == (fits ? plain : Bytes()),
        "Decrypt anything");

    std::uint32_t table[32];
    SeedRoundKey(table, key.data());
    for (std::size_t at = 0; at < whole.size(); at += 16) {
        unsigned char block[16 + 16];
        std::copy_n(whole.data() + at, 16, block + offset);
        SeedEncrypt(block + offset, table);
        Require(
            std::equal(block + offset, block + offset + 16, cipher.data() + at),
            "SeedEncrypt");
        SeedDecrypt(block + offset, table);
        Require(
            std::equal(block + offset, block + offset + 16, whole.data() + at),
            "SeedDecrypt");
    }
}

void CheckMd5(const Bytes& message, const Bytes& splits, std::size_t offset) {
    unsigned char expected[EVP_MAX_MD_SIZE];
    Require(EVP_Digest(message.data(), message.size(), expected, nullptr,
                       EVP_md5(), nullptr) == 1,
            "OpenSSL's MD5");

    CryptoHashMd5 md5;
    CryptoHashMd5::MD5Digest_struct digest{};
    const auto room = std::make_unique<char[]>(88 + offset);
    auto* const context = reinterpret_cast<char(*)[88]>(room.get() + offset);
    md5.MD5Init(context);
    std::size_t at = 0;
    for (const std::size_t split : splits) {
        const std::size_t count = std::min(split, message.size() - at);
        md5.MD5Update(context, count != 0 ? message.data() + at : nullptr,
                      count);
        at += count;
    }
    md5.MD5Update(context, message.data() + at, message.size() - at);
    md5.MD5Final(&digest, context);
    Require(std::equal(expected, expected + 16, digest.bytes), "MD5 in pieces");

    md5.MD5Sum(message.data(), message.size(), &digest);
    Require(std::equal(expected, expected + 16, digest.bytes), "MD5Sum");
    const Object object(Crypto::HashMd5);
    Require(object.Transform(&Crypto::Encrypt, message) ==
                Bytes(expected, expected + 16),
            "Encrypt");
    Require(object.Transform(&Crypto::Decrypt, message).empty(), "Decrypt");
    std::string hexadecimal;
    for (int byte = 0; byte != 16; ++byte) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", expected[byte]);
        hexadecimal += digits;
    }
    Require(md5.MD5String(std::string(message.begin(), message.end())) ==
                hexadecimal,
            "MD5String");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    NovuFuzz::Input input(data, size);
    Bytes key(16);
    for (unsigned char& byte : key) {
        byte = input.Byte();
    }
    const std::size_t offset = input.Below(16);
    Bytes splits;
    while (const unsigned char split = input.Byte()) {
        splits.push_back(split);
    }
    const std::string rest = input.Rest();
    const Bytes message(rest.begin(), rest.end());
    CheckSeed(key, message, offset);
    CheckMd5(message, splits, offset);
    return 0;
}
