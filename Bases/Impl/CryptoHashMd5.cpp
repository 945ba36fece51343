// CryptoHashMd5, from Bases/CryptoHashMd5.h, by the description in RFC 1321.
//
// A message is worked into a state of four words, 64 bytes at a time. It ends
// with a bit of 1, zeros, and its number of bits in the last 8 bytes of a
// block; then the state is the digest. In between, bytes that are short of a
// block wait in the context's buffer.

#include "Bases/CryptoHashMd5.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <utility>

#include "Bases/Impl/CryptoFactory.h"
#include "Bases/Impl/NewBytes.h"

namespace Novu {

namespace {

using Word = std::uint32_t;
using State = Word[4];   // A, B, C, D
using Block = Word[16];  // 64 bytes of the message, lowest byte first

const std::size_t kMd5BlockSize = 64;
const std::size_t kSteps = 64;

// The context. It is reached by its bytes alone, since it can lie anywhere.
const std::size_t kStateAt = 0;
const std::size_t kLowCountAt = 16;
const std::size_t kHighCountAt = 20;
const std::size_t kBufferAt = 24;

// Where the number of bits stands in the last block of a message.
const std::size_t kLengthAt = 56;

// T of RFC 1321: the first 32 bits of the fraction of |sin(i + 1)|.
constexpr Word kSines[kSteps] = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A,
    0xA8304613, 0xFD469501, 0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE,
    0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821, 0xF61E2562, 0xC040B340,
    0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8,
    0x676F02D9, 0x8D2A4C8A, 0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C,
    0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70, 0x289B7EC6, 0xEAA127FA,
    0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92,
    0xFFEFF47D, 0x85845DD1, 0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1,
    0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391,
};

// How far each step shifts: four values for each round, in turn.
constexpr int kShifts[4][4] = {
    {7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

// Which word of the block each step adds: the step's number times the first
// value, plus the second, for each round.
constexpr std::size_t kWords[4][2] = {{1, 0}, {5, 1}, {3, 5}, {7, 0}};

// The functions F, G, H and I, one for each round. F and G choose between two
// words, bit by bit.
template <std::size_t round>
Word Mix(Word x, Word y, Word z) {
    if constexpr (round == 0) {
        return (x & y) | (~x & z);
    } else if constexpr (round == 1) {
        return (x & z) | (y & ~z);
    } else if constexpr (round == 2) {
        return x ^ y ^ z;
    } else {
        return y ^ (x | ~z);
    }
}

// One of the 64 steps. The four words change places by turns: the first one of
// each step is the last one of the next.
template <std::size_t step>
void Step(State& words, const Block& block) {
    const std::size_t round = step / 16;
    const std::size_t added = (step * kWords[round][0] + kWords[round][1]) % 16;
    Word& a = words[(64 - step) % 4];
    const Word b = words[(65 - step) % 4];
    const Word c = words[(66 - step) % 4];
    const Word d = words[(67 - step) % 4];
    a += Mix<round>(b, c, d) + block[added] + kSines[step];
    a = b + std::rotl(a, kShifts[round][step % 4]);
}

// Works one block into the state, without a loop or a branch.
void MD5Transform(State& state, const Block& block) {
    State words = {state[0], state[1], state[2], state[3]};
    [&]<std::size_t... step>(std::index_sequence<step...> /*steps*/) {
        (Step<step>(words, block), ...);
    }
    (std::make_index_sequence<kSteps>());
    for (std::size_t word = 0; word != std::size(words); ++word) {
        state[word] += words[word];
    }
}

// MD5 has its words with the lowest byte first, in a message as in a digest.
Word LittleEndian(Word word) {
    return std::endian::native == std::endian::little ? word
                                                      : __builtin_bswap32(word);
}

Word LoadWord(const char* bytes) {
    Word word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

void StoreWord(char* bytes, Word word) {
    std::memcpy(bytes, &word, sizeof word);
}

// Works the blocks of `data` into the state of a context.
void TransformBlocks(char* context, const char* data, unsigned long blocks) {
    State state;
    std::memcpy(state, context + kStateAt, sizeof state);
    for (; blocks != 0; --blocks, data += kMd5BlockSize) {
        Block block;
        std::memcpy(block, data, sizeof block);
        std::transform(std::begin(block), std::end(block), std::begin(block),
                       LittleEndian);
        MD5Transform(state, block);
    }
    std::memcpy(context + kStateAt, state, sizeof state);
}

// Bytes that wait in the buffer of a context.
std::size_t BytesWaiting(const char* context) {
    return LoadWord(context + kLowCountAt) / 8 % kMd5BlockSize;
}

}  // namespace

// Lifetime

Crypto* MakeHashMd5() { return MakeCrypto<CryptoHashMd5>(); }

CryptoHashMd5::CryptoHashMd5() = default;

int CryptoHashMd5::Create() { return 1; }

void CryptoHashMd5::Destroy() {}

CryptoHashMd5::~CryptoHashMd5() = default;

// The interface of Crypto

unsigned int CryptoHashMd5::GetDataSizeUnit() { return 0; }

unsigned int CryptoHashMd5::GetUserSecretKeySize() { return 0; }

int CryptoHashMd5::SetUserSecretKey(const unsigned char* /*key*/) { return 1; }

int CryptoHashMd5::Encrypt(unsigned char* input, unsigned long inputLength,
                           unsigned long& consumed, unsigned char*& output,
                           unsigned long& outputLength) {
    MD5Digest_struct digest;
    MD5Sum(input, inputLength, &digest);
    consumed = inputLength;
    unsigned char* const made = NewBytes(sizeof digest.bytes);
    if (made == nullptr) {
        return 0;
    }
    std::memcpy(made, digest.bytes, sizeof digest.bytes);
    output = made;
    outputLength = sizeof digest.bytes;
    return 1;
}

int CryptoHashMd5::Decrypt(unsigned char* /*input*/,
                           unsigned long /*inputLength*/,
                           unsigned long& /*consumed*/,
                           unsigned char*& /*output*/,
                           unsigned long& /*outputLength*/) {
    return 0;
}

// Digests in pieces

void CryptoHashMd5::MD5Init(char (*context)[88]) {
    const State initial = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    std::memcpy(*context + kStateAt, initial, sizeof initial);
    StoreWord(*context + kLowCountAt, 0);
    StoreWord(*context + kHighCountAt, 0);
}

void CryptoHashMd5::MD5Update(char (*context)[88], const void* data,
                              unsigned long length) {
    char* const buffer = *context + kBufferAt;
    const std::size_t waiting = BytesWaiting(*context);

    const Word oldLow = LoadWord(*context + kLowCountAt);
    const Word low = oldLow + static_cast<Word>(length << 3);
    Word high = LoadWord(*context + kHighCountAt);
    high += (low < oldLow ? 1 : 0) + static_cast<Word>(length >> 29);
    StoreWord(*context + kLowCountAt, low);
    StoreWord(*context + kHighCountAt, high);

    if (length == 0) {  // `data` may be null then, which memcpy must not see.
        return;
    }
    const char* next = static_cast<const char*>(data);
    if (waiting != 0) {
        const std::size_t wanted = kMd5BlockSize - waiting;
        std::memcpy(buffer + waiting, next, std::min(length, wanted));
        if (length < wanted) {
            return;
        }
        TransformBlocks(*context, buffer, 1);
        next += wanted;
        length -= wanted;
    }
    // Blocks are worked in where they are. The buffer is left as if each had
    // gone through it, since callers can look at it.
    if (const unsigned long blocks = length / kMd5BlockSize; blocks != 0) {
        TransformBlocks(*context, next, blocks);
        next += blocks * kMd5BlockSize;
        std::memcpy(buffer, next - kMd5BlockSize, kMd5BlockSize);
    }
    std::memcpy(buffer, next, length % kMd5BlockSize);
}

void CryptoHashMd5::MD5Final(MD5Digest_struct* digest, char (*context)[88]) {
    char* const buffer = *context + kBufferAt;
    std::size_t used = BytesWaiting(*context);
    buffer[used] = '\x80';
    ++used;
    if (used > kLengthAt) {
        std::memset(buffer + used, 0, kMd5BlockSize - used);
        TransformBlocks(*context, buffer, 1);
        used = 0;
    }
    std::memset(buffer + used, 0, kLengthAt - used);
    StoreWord(buffer + kLengthAt,
              LittleEndian(LoadWord(*context + kLowCountAt)));
    StoreWord(buffer + kLengthAt + sizeof(Word),
              LittleEndian(LoadWord(*context + kHighCountAt)));
    TransformBlocks(*context, buffer, 1);

    State state;
    std::memcpy(state, *context + kStateAt, sizeof state);
    std::transform(std::begin(state), std::end(state), std::begin(state),
                   LittleEndian);
    std::memcpy(digest->bytes, state, sizeof digest->bytes);
    std::memset(*context + kStateAt, 0, 2 * sizeof(Word));
}

// Digests in one call

void CryptoHashMd5::MD5Sum(const void* data, unsigned long length,
                           MD5Digest_struct* digest) {
    char context[88];
    MD5Init(&context);
    MD5Update(&context, data, length);
    MD5Final(digest, &context);
}

std::string CryptoHashMd5::MD5DigestToBase16(const MD5Digest_struct& digest) {
    const char* const digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * sizeof digest.bytes);
    for (const unsigned char byte : digest.bytes) {
        text.push_back(digits[byte >> 4]);
        text.push_back(digits[byte & 15]);
    }
    return text;
}

std::string CryptoHashMd5::MD5String(const std::string& text) {
    MD5Digest_struct digest;
    MD5Sum(text.data(), text.size(), &digest);
    return MD5DigestToBase16(digest);
}

}  // namespace Novu
