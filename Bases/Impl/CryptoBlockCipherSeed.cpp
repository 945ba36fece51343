// CryptoBlockCipherSeed, from Bases/CryptoBlockCipherSeed.h.

#include "Bases/CryptoBlockCipherSeed.h"

#include <climits>
#include <cstring>

#include "Bases/Impl/CryptoFactory.h"
#include "Bases/Impl/NewBytes.h"
#include "Bases/Impl/SeedBlocks.h"
#include "Bases/Seed.h"

namespace Novu {

namespace {

const unsigned int kKeySize = 16;

// The bytes of so many blocks; where that would wrap, ULONG_MAX, for which
// there is no memory either.
unsigned long BytesOf(unsigned long blocks) {
    return blocks <= ULONG_MAX / kSeedBlockSize ? blocks * kSeedBlockSize
                                                : ULONG_MAX;
}

}  // namespace

// Lifetime

Crypto* MakeBlockCipherSeed() { return MakeCrypto<CryptoBlockCipherSeed>(); }

// The round keys are left undefined: Create is what defines them.
// cppcheck-suppress uninitMemberVar ; see above
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
CryptoBlockCipherSeed::CryptoBlockCipherSeed() {}

int CryptoBlockCipherSeed::Create() {
    std::memset(roundKeys, 0, sizeof roundKeys);
    return 1;
}

void CryptoBlockCipherSeed::Destroy() {}

CryptoBlockCipherSeed::~CryptoBlockCipherSeed() = default;

// Sizes and key

unsigned int CryptoBlockCipherSeed::GetDataSizeUnit() { return kSeedBlockSize; }

unsigned int CryptoBlockCipherSeed::GetUserSecretKeySize() { return kKeySize; }

int CryptoBlockCipherSeed::SetUserSecretKey(const unsigned char* key) {
    if (key == nullptr) {
        return 0;
    }
    NovuSeedRoundKey(roundKeys, key);
    return 1;
}

// Messages

int CryptoBlockCipherSeed::Encrypt(unsigned char* input,
                                   unsigned long inputLength,
                                   unsigned long& consumed,
                                   unsigned char*& output,
                                   unsigned long& outputLength) {
    if (input == nullptr || inputLength == 0) {
        return 0;
    }
    const unsigned long whole = inputLength / kSeedBlockSize;
    const unsigned long rest = inputLength % kSeedBlockSize;
    const unsigned long blocks = whole + (rest != 0 ? 1 : 0);
    const unsigned long length = BytesOf(blocks);

    outputLength = 0;
    unsigned char* const made = NewBytes(length);
    if (made == nullptr) {
        return 0;
    }
    SeedTransform* const transform = SeedTransformFor(blocks);
    transform(SeedDirection::kEncrypt, input, made, whole, roundKeys);
    if (rest != 0) {
        // By design [cryptoblockcipherseed-2]: zeros, and no length.
        unsigned char last[kSeedBlockSize] = {};
        std::memcpy(last, input + inputLength - rest, rest);
        transform(SeedDirection::kEncrypt, last, made + length - kSeedBlockSize,
                  1, roundKeys);
    }
    output = made;
    outputLength = length;
    consumed = inputLength;
    return 1;
}

int CryptoBlockCipherSeed::Decrypt(unsigned char* input,
                                   unsigned long inputLength,
                                   unsigned long& consumed,
                                   unsigned char*& output,
                                   unsigned long& outputLength) {
    if (input == nullptr || inputLength == 0 ||
        inputLength % kSeedBlockSize != 0) {
        return 0;
    }
    outputLength = 0;
    unsigned char* const made = NewBytes(inputLength);
    if (made == nullptr) {
        return 0;
    }
    const unsigned long blocks = inputLength / kSeedBlockSize;
    SeedTransformFor(blocks)(SeedDirection::kDecrypt, input, made, blocks,
                             roundKeys);
    output = made;
    outputLength = inputLength;
    consumed = inputLength;
    return 1;
}

}  // namespace Novu
