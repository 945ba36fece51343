// The contract of Bases/CryptoBlockCipherSeed.h. Bytes are written as strings.
// Whole messages are compared with OpenSSL's SEED-ECB, which is given and gives
// the bytes of each word in reverse, and whose messages are filled up here; the
// object is looked at in memory, where its round keys follow the pointer to its
// virtual table.

#include "Bases/CryptoBlockCipherSeed.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "Bases/Crypto.h"
#include "Bases/Seed.h"
#include "tests/support/Allocation.h"
#include "tests/support/CryptoOuts.h"
#include "tests/support/OpenSslSeed.h"
#include "tests/support/VirtualSlots.h"

namespace {

using Novu::Crypto;
using Novu::CryptoBlockCipherSeed;
using NovuTest::AllocationLedger;
using NovuTest::FailingAllocation;
using NovuTest::NullAllocation;
using NovuTest::Outs;
using NovuTest::WordsReversed;

using std::is_same_v;
using std::string;
using Ulong = unsigned long;
using Block = unsigned char*;
using Bytes = std::vector<unsigned char>;
using RoundKeys = std::array<std::uint32_t, 32>;
using Random = std::mt19937;

const Random::result_type kSeed = 20241121;

const std::size_t kUnit = 16;

// Layout

static_assert(std::is_base_of_v<Crypto, CryptoBlockCipherSeed>);
static_assert(std::is_convertible_v<CryptoBlockCipherSeed*, Crypto*>);
static_assert(sizeof(CryptoBlockCipherSeed) ==
              sizeof(Crypto) + sizeof(RoundKeys));
static_assert(sizeof(CryptoBlockCipherSeed) == 8 + 128);
static_assert(alignof(CryptoBlockCipherSeed) == 8);
static_assert(std::is_default_constructible_v<CryptoBlockCipherSeed>);
static_assert(!std::is_abstract_v<CryptoBlockCipherSeed>);

// It has operations of its own for all that Crypto leaves open.
template <typename Result, typename... Arguments>
using Member = Result (CryptoBlockCipherSeed::*)(Arguments...);
using Transform = Member<int, Block, Ulong, Ulong&, Block&, Ulong&>;
static_assert(is_same_v<decltype(&CryptoBlockCipherSeed::Create), Member<int>>);
static_assert(
    is_same_v<decltype(&CryptoBlockCipherSeed::Destroy), Member<void>>);
static_assert(is_same_v<decltype(&CryptoBlockCipherSeed::GetDataSizeUnit),
                        Member<unsigned int>>);
static_assert(is_same_v<decltype(&CryptoBlockCipherSeed::GetUserSecretKeySize),
                        Member<unsigned int>>);
static_assert(is_same_v<decltype(&CryptoBlockCipherSeed::SetUserSecretKey),
                        Member<int, const unsigned char*>>);
static_assert(is_same_v<decltype(&CryptoBlockCipherSeed::Encrypt), Transform>);
static_assert(is_same_v<decltype(&CryptoBlockCipherSeed::Decrypt), Transform>);

enum class Way { kEncrypt, kDecrypt };

const std::array<Way, 2> kBoth = {Way::kEncrypt, Way::kDecrypt};

const char* Name(Way way) {
    return way == Way::kEncrypt ? "Encrypt" : "Decrypt";
}

// Values

Bytes FromText(const string& text) { return {text.begin(), text.end()}; }

// By words, since long messages are many bytes.
Bytes RandomBytes(Random& random, std::size_t size) {
    Bytes bytes(size);
    for (std::size_t at = 0; at < size; at += sizeof(std::uint32_t)) {
        const auto word = static_cast<std::uint32_t>(random());
        std::memcpy(bytes.data() + at, &word, std::min(sizeof word, size - at));
    }
    return bytes;
}

Bytes FilledUp(Bytes bytes) {
    bytes.resize((bytes.size() + kUnit - 1) / kUnit * kUnit, 0);
    return bytes;
}

std::array<unsigned char, sizeof(CryptoBlockCipherSeed)> Image(
    const CryptoBlockCipherSeed& cipher) {
    std::array<unsigned char, sizeof cipher> image{};
    std::memcpy(image.data(), static_cast<const void*>(&cipher), image.size());
    return image;
}

RoundKeys KeysOf(const CryptoBlockCipherSeed& cipher) {
    RoundKeys keys{};
    std::memcpy(keys.data(), Image(cipher).data() + sizeof(Crypto),
                sizeof keys);
    return keys;
}

RoundKeys ScheduleOf(const Bytes& key) {
    RoundKeys keys{};
    NovuSeedRoundKey(keys.data(), key.data());
    return keys;
}

// The blocks of `message` one after the other, by the primitive.
Bytes ByBlocks(Way way, const RoundKeys& keys, Bytes message) {
    for (std::size_t block = 0; block < message.size(); block += kUnit) {
        if (way == Way::kEncrypt) {
            NovuSeedEncrypt(message.data() + block, keys.data());
        } else {
            NovuSeedDecrypt(message.data() + block, keys.data());
        }
    }
    return message;
}

// Keyless without a key.
struct Cipher : CryptoBlockCipherSeed {
    explicit Cipher(const Bytes& key = {}) {
        EXPECT_EQ(1, Create());
        if (!key.empty()) {
            EXPECT_EQ(1, SetUserSecretKey(key.data()));
        }
    }
};

// Out-arguments

// All junk, but for an output length of 0.
Outs OnlyTheLengthSet() {
    Outs outs;
    outs.outputLength = 0;
    return outs;
}

int Call(CryptoBlockCipherSeed& cipher, Way way, const Block input,
         Ulong length, Outs& outs) {
    Crypto& crypto = cipher;
    return way == Way::kEncrypt
               ? crypto.Encrypt(input, length, outs.consumed, outs.output,
                                outs.outputLength)
               : crypto.Decrypt(input, length, outs.consumed, outs.output,
                                outs.outputLength);
}

// What Encrypt or Decrypt makes of `message`, which lies `offset` bytes from
// where everything is aligned and at the very end of a block of memory.
Bytes Made(CryptoBlockCipherSeed& cipher, Way way, const Bytes& message,
           std::size_t offset = 0) {
    Bytes room(offset, 0xEE);
    room.reserve(offset + message.size());
    room.insert(room.end(), message.begin(), message.end());
    const Bytes before = room;
    Outs outs;
    EXPECT_EQ(1, Call(cipher, way, room.data() + offset, message.size(), outs));
    EXPECT_TRUE(before == room) << "the input was written";
    EXPECT_EQ(message.size(), outs.consumed);
    if (outs.output == &NovuTest::outsJunk) {
        ADD_FAILURE() << "there is no output";
        return {};
    }
    const std::unique_ptr<unsigned char[]> owner(outs.output);
    return {outs.output, outs.output + outs.outputLength};
}

// OpenSSL, in the order of bytes that this library has.
class Peer {
public:
    // Of whole blocks.
    Bytes Made(Way way, const Bytes& key, const Bytes& message) {
        const Bytes rightKey = WordsReversed(key);
        const Bytes rightMessage = WordsReversed(message);
        return WordsReversed(way == Way::kEncrypt
                                 ? seed.Encrypt(rightMessage, rightKey)
                                 : seed.Decrypt(rightMessage, rightKey));
    }

private:
    NovuTest::OpenSslSeed seed;
};

const Bytes kKey = FromText("0123456789abcdef");
const Bytes kOtherKey = FromText("0123456789abcdeg");

// State

TEST(CryptoBlockCipherSeedTest, IsACryptoWithoutOperationsOfItsOwn) {
    EXPECT_EQ(7, NovuTest::VirtualOperations<CryptoBlockCipherSeed>());
    CryptoBlockCipherSeed cipher;
    EXPECT_EQ(static_cast<const void*>(&cipher),
              static_cast<const void*>(static_cast<const Crypto*>(&cipher)));
}

TEST(CryptoBlockCipherSeedTest, UnitAndKeyHave16Bytes) {
    Cipher cipher;
    EXPECT_EQ(16U, cipher.GetDataSizeUnit());
    EXPECT_EQ(16U, cipher.GetUserSecretKeySize());
    cipher.SetUserSecretKey(kKey.data());
    EXPECT_EQ(16U, cipher.GetDataSizeUnit());
    EXPECT_EQ(16U, cipher.GetUserSecretKeySize());
}

TEST(CryptoBlockCipherSeedTest, CreateMakesTheRoundKeysZero) {
    alignas(CryptoBlockCipherSeed) unsigned char
        room[sizeof(CryptoBlockCipherSeed)];
    std::memset(room, 0xA5, sizeof room);
    auto* const cipher = new (room) CryptoBlockCipherSeed;
    EXPECT_EQ(1, cipher->Create());
    EXPECT_EQ(RoundKeys{}, KeysOf(*cipher));
    EXPECT_EQ(1, cipher->SetUserSecretKey(kKey.data()));
    EXPECT_NE(RoundKeys{}, KeysOf(*cipher));
    EXPECT_EQ(1, cipher->Create());
    EXPECT_EQ(RoundKeys{}, KeysOf(*cipher));
    cipher->~CryptoBlockCipherSeed();
}

TEST(CryptoBlockCipherSeedTest, DestroyDoesNothing) {
    Cipher cipher(kKey);
    const auto before = Image(cipher);
    const Bytes made = Made(cipher, Way::kEncrypt, kKey);
    cipher.Destroy();
    EXPECT_EQ(before, Image(cipher));
    EXPECT_EQ(made, Made(cipher, Way::kEncrypt, kKey));
}

// [cryptoblockcipherseed-1]
TEST(CryptoBlockCipherSeedTest, WithoutAKeyTheRoundKeysAreZero) {
    Cipher cipher;
    const Bytes plain = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    const Bytes made = {0xb0, 0xfe, 0x4d, 0x26, 0x51, 0x11, 0xa2, 0x43,
                        0x20, 0x41, 0x55, 0x94, 0xaf, 0xe6, 0xab, 0x56};
    EXPECT_EQ(made, Made(cipher, Way::kEncrypt, plain));
    EXPECT_EQ(plain, Made(cipher, Way::kDecrypt, made));
    // With equal round keys in all rounds, the way there is the way back.
    EXPECT_EQ(made, Made(cipher, Way::kDecrypt, plain));

    Cipher ofZeros(Bytes(kUnit, 0));
    EXPECT_NE(made, Made(ofZeros, Way::kEncrypt, plain));
    EXPECT_NE(RoundKeys{}, KeysOf(ofZeros));
}

// Key

TEST(CryptoBlockCipherSeedTest, ReadsA16ByteKeyAtAnyAddress) {
    for (std::size_t offset = 0; offset < 16; ++offset) {
        Bytes room(offset, 0xEE);
        room.reserve(offset + kKey.size());
        room.insert(room.end(), kKey.begin(), kKey.end());
        const Bytes before = room;
        Cipher cipher;
        EXPECT_EQ(1, cipher.SetUserSecretKey(room.data() + offset));
        EXPECT_EQ(ScheduleOf(kKey), KeysOf(cipher)) << "offset " << offset;
        EXPECT_EQ(before, room);
    }
}

TEST(CryptoBlockCipherSeedTest, DoesNotKeepTheKey) {
    Bytes key = kKey;
    Cipher cipher(key);
    const Bytes made = Made(cipher, Way::kEncrypt, kOtherKey);
    std::fill(key.begin(), key.end(), static_cast<unsigned char>(0));
    EXPECT_EQ(made, Made(cipher, Way::kEncrypt, kOtherKey));
    const auto image = Image(cipher);
    EXPECT_EQ(image.end(), std::search(image.begin(), image.end(), kKey.begin(),
                                       kKey.end()));
}

TEST(CryptoBlockCipherSeedTest, ANullKeyIsRefusedAndTheCurrentOneStays) {
    for (const Bytes& key : {Bytes(), kKey}) {
        Cipher cipher(key);
        const auto before = Image(cipher);
        EXPECT_EQ(0, cipher.SetUserSecretKey(nullptr));
        EXPECT_EQ(before, Image(cipher));
    }
}

TEST(CryptoBlockCipherSeedTest, ANewKeyIsForTheCallsThatFollow) {
    Peer peer;
    Cipher cipher(kKey);
    Bytes message(48, 'm');
    Outs outs;
    ASSERT_EQ(
        1, Call(cipher, Way::kEncrypt, message.data(), message.size(), outs));
    const std::unique_ptr<unsigned char[]> owner(outs.output);
    const Bytes first(outs.output, outs.output + outs.outputLength);
    EXPECT_EQ(peer.Made(Way::kEncrypt, kKey, message), first);

    EXPECT_EQ(1, cipher.SetUserSecretKey(kOtherKey.data()));
    EXPECT_EQ(first, Bytes(outs.output, outs.output + outs.outputLength));
    EXPECT_EQ(ScheduleOf(kOtherKey), KeysOf(cipher));
    EXPECT_EQ(peer.Made(Way::kEncrypt, kOtherKey, message),
              Made(cipher, Way::kEncrypt, message));
    EXPECT_EQ(peer.Made(Way::kDecrypt, kOtherKey, first),
              Made(cipher, Way::kDecrypt, first));

    EXPECT_EQ(1, cipher.SetUserSecretKey(kKey.data()));
    EXPECT_EQ(message, Made(cipher, Way::kDecrypt, first));
}

// Lengths

const struct LengthCase {
    int line;
    std::size_t message;
    std::size_t encrypted;
} kLengthCases[] = {
    {__LINE__, 1, 16},    {__LINE__, 2, 16},    {__LINE__, 15, 16},
    {__LINE__, 16, 16},   {__LINE__, 17, 32},   {__LINE__, 31, 32},
    {__LINE__, 32, 32},   {__LINE__, 33, 48},   {__LINE__, 255, 256},
    {__LINE__, 256, 256}, {__LINE__, 257, 272}, {__LINE__, 4095, 4096},
};

TEST(CryptoBlockCipherSeedTest, EncryptRoundsUpTo16AndDecryptKeepsTheLength) {
    for (const LengthCase& row : kLengthCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Cipher cipher(kKey);
        const Bytes encrypted =
            Made(cipher, Way::kEncrypt, Bytes(row.message, 'm'));
        EXPECT_EQ(row.encrypted, encrypted.size());
        EXPECT_EQ(row.encrypted, Made(cipher, Way::kDecrypt, encrypted).size());
    }
}

// [cryptoblockcipherseed-2]
TEST(CryptoBlockCipherSeedTest, TheLastBlockIsFilledUpWithZerosThatStay) {
    Cipher cipher(kKey);
    const Bytes encrypted = Made(cipher, Way::kEncrypt, FromText("hello"));
    EXPECT_EQ(FromText(string("hello\0\0\0\0\0\0\0\0\0\0\0", 16)),
              Made(cipher, Way::kDecrypt, encrypted));
    EXPECT_EQ(encrypted,
              Made(cipher, Way::kEncrypt, FromText(string("hello\0\0", 7))))
        << "nothing says how long the message was";
    EXPECT_EQ(Bytes(16, 'm'), Made(cipher, Way::kDecrypt,
                                   Made(cipher, Way::kEncrypt, Bytes(16, 'm'))))
        << "a whole block is not filled up by another";
}

// [cryptoblockcipherseed-3]
TEST(CryptoBlockCipherSeedTest, EqualBlocksStayEqual) {
    for (const Way way : kBoth) {
        Cipher cipher(kKey);
        const string one = "one of 16 bytes ";
        const string two = "another of these";
        const Bytes made = Made(cipher, way, FromText(one + two + one));
        const Bytes single = Made(cipher, way, FromText(one));
        ASSERT_EQ(48U, made.size());
        EXPECT_EQ(single, Bytes(made.begin(), made.begin() + 16));
        EXPECT_NE(single, Bytes(made.begin() + 16, made.begin() + 32));
        EXPECT_EQ(single, Bytes(made.begin() + 32, made.end()));
    }
}

// Refusals

const struct RefusalCase {
    int line;
    Way way;
    bool isNull;
    Ulong length;
} kRefusalCases[] = {
    // line    way   input is null  length
    {__LINE__, Way::kEncrypt, true, 0},
    {__LINE__, Way::kEncrypt, true, 1},
    {__LINE__, Way::kEncrypt, true, 16},
    {__LINE__, Way::kEncrypt, true, ULONG_MAX},
    {__LINE__, Way::kEncrypt, false, 0},
    {__LINE__, Way::kDecrypt, true, 0},
    {__LINE__, Way::kDecrypt, true, 1},
    {__LINE__, Way::kDecrypt, true, 16},
    {__LINE__, Way::kDecrypt, true, ULONG_MAX - 15},
    {__LINE__, Way::kDecrypt, false, 0},
    {__LINE__, Way::kDecrypt, false, 1},
    {__LINE__, Way::kDecrypt, false, 8},
    {__LINE__, Way::kDecrypt, false, 15},
    {__LINE__, Way::kDecrypt, false, 17},
    {__LINE__, Way::kDecrypt, false, 31},
    {__LINE__, Way::kDecrypt, false, 4095},
    {__LINE__, Way::kDecrypt, false, (1UL << 32) + 1},
    {__LINE__, Way::kDecrypt, false, (1UL << 63) + 8},
    {__LINE__, Way::kDecrypt, false, ULONG_MAX - 16},
    {__LINE__, Way::kDecrypt, false, ULONG_MAX},
};

TEST(CryptoBlockCipherSeedTest, WhatIsRefusedTouchesNothing) {
    for (const RefusalCase& row : kRefusalCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Cipher cipher(kKey);
        const auto before = Image(cipher);
        Bytes input(1, 'm');
        Outs outs;
        {
            const FailingAllocation failing(1);
            EXPECT_EQ(0,
                      Call(cipher, row.way, row.isNull ? nullptr : input.data(),
                           row.length, outs));
        }
        EXPECT_EQ(Outs(), outs);
        EXPECT_EQ(before, Image(cipher));
        EXPECT_EQ(Bytes(1, 'm'), input);
    }
}

// Memory

TEST(CryptoBlockCipherSeedTest, MakesOneArrayOfTheOutputsSize) {
    for (const Way way : kBoth) {
        for (const std::size_t size :
             std::array<std::size_t, 4>{16, 32, 33, 4096}) {
            if (way == Way::kDecrypt && size % kUnit != 0) {
                continue;  // Refused.
            }
            SCOPED_TRACE(testing::Message() << Name(way) << size);
            Cipher cipher(kKey);
            Bytes input(size, 'm');
            Outs outs;
            const AllocationLedger ledger;
            EXPECT_EQ(1U, NovuTest::FailEachAllocation(
                              [&] {
                                  EXPECT_EQ(1, Call(cipher, way, input.data(),
                                                    size, outs));
                              },
                              [&] {
                                  EXPECT_EQ(OnlyTheLengthSet(), outs);
                                  EXPECT_EQ(0U, ledger.Blocks());
                              }));
            EXPECT_EQ(1U, ledger.Blocks());
            EXPECT_EQ((size + 15) / 16 * 16, ledger.Bytes());
            EXPECT_EQ(ledger.Bytes(), outs.outputLength);
            delete[] outs.output;
            EXPECT_EQ(0U, ledger.Blocks());
        }
    }
}

TEST(CryptoBlockCipherSeedTest, WhenMemoryRunsOutOnlyTheLengthIsSet) {
    for (const Way way : kBoth) {
        Cipher cipher(kKey);
        const auto before = Image(cipher);
        Bytes input(32, 'm');
        Outs outs;
        {
            const FailingAllocation failing(1);
            EXPECT_THROW(Call(cipher, way, input.data(), 32, outs),
                         std::bad_alloc);
        }
        EXPECT_EQ(OnlyTheLengthSet(), outs) << Name(way);
        EXPECT_EQ(before, Image(cipher));
        EXPECT_EQ(Bytes(32, 'm'), input);
    }
}

// As a host's operator new[] may.
TEST(CryptoBlockCipherSeedTest, ANullFromNewIsARefusalWithTheLengthSet) {
    for (const Way way : kBoth) {
        Cipher cipher(kKey);
        Bytes input(32, 'm');
        Outs outs;
        {
            const NullAllocation null;
            EXPECT_EQ(0, Call(cipher, way, input.data(), 32, outs));
        }
        EXPECT_EQ(OnlyTheLengthSet(), outs) << Name(way);
    }
}

TEST(CryptoBlockCipherSeedTest, LengthsThatNoMemoryHasRunOutOfIt) {
    for (const Ulong length :
         {ULONG_MAX, ULONG_MAX - 1, ULONG_MAX - 14, ULONG_MAX - 15,
          ULONG_MAX - 16, ULONG_MAX - 31, (1UL << 63) + 16, 1UL << 63,
          (1UL << 63) - 1, (1UL << 63) - 16, 1UL << 62}) {
        for (const Way way : kBoth) {
            if (way == Way::kDecrypt && length % kUnit != 0) {
                continue;  // Refused.
            }
            SCOPED_TRACE(testing::Message() << Name(way) << length);
            Cipher cipher(kKey);
            Bytes input(1, 'm');
            Outs outs;
            EXPECT_THROW(Call(cipher, way, input.data(), length, outs),
                         std::bad_alloc);
            EXPECT_EQ(OnlyTheLengthSet(), outs);
        }
    }
}

// Input

TEST(CryptoBlockCipherSeedTest, TheInputNeedsNoAlignment) {
    Random random(kSeed);
    for (const Way way : kBoth) {
        Cipher cipher(kKey);
        for (const std::size_t size :
             std::array<std::size_t, 6>{1, 16, 47, 48, 256, 1000}) {
            if (way == Way::kDecrypt && size % kUnit != 0) {
                continue;  // Refused.
            }
            const Bytes message = RandomBytes(random, size);
            const Bytes expected =
                ByBlocks(way, ScheduleOf(kKey), FilledUp(message));
            for (std::size_t offset = 0; offset < 16; ++offset) {
                EXPECT_EQ(expected, Made(cipher, way, message, offset))
                    << Name(way) << size << " at offset " << offset;
            }
        }
    }
}

// Read-only memory: a write, be it of the same bytes, would end the test.
constexpr std::array<unsigned char, 80> kReadOnly = {'r', 'e', 'a', 'd'};

TEST(CryptoBlockCipherSeedTest, TheInputIsOnlyRead) {
    for (const Way way : kBoth) {
        Cipher cipher(kKey);
        Outs outs;
        const Block input = const_cast<Block>(kReadOnly.data());
        ASSERT_EQ(1, Call(cipher, way, input, kReadOnly.size(), outs));
        const std::unique_ptr<unsigned char[]> owner(outs.output);
        EXPECT_EQ(ByBlocks(way, ScheduleOf(kKey),
                           Bytes(kReadOnly.begin(), kReadOnly.end())),
                  Bytes(outs.output, outs.output + outs.outputLength));
        if (way == Way::kEncrypt) {
            Outs partial;
            ASSERT_EQ(1, Call(cipher, way, input, 79, partial));
            const std::unique_ptr<unsigned char[]> second(partial.output);
            EXPECT_EQ(
                ByBlocks(
                    way, ScheduleOf(kKey),
                    FilledUp(Bytes(kReadOnly.begin(), kReadOnly.end() - 1))),
                Bytes(partial.output, partial.output + partial.outputLength));
        }
    }
}

// The length and the input come by value.
TEST(CryptoBlockCipherSeedTest, TheResultsMayTakeThePlaceOfTheArguments) {
    Cipher cipher(kKey);
    Bytes message(20, 'm');
    Block bytes = message.data();
    Ulong length = message.size();
    Ulong consumed = 0;
    ASSERT_EQ(1, cipher.Encrypt(bytes, length, consumed, bytes, length));
    const std::unique_ptr<unsigned char[]> encrypted(bytes);
    EXPECT_EQ(20U, consumed);
    EXPECT_EQ(32U, length);
    ASSERT_EQ(1, cipher.Decrypt(bytes, length, consumed, bytes, length));
    const std::unique_ptr<unsigned char[]> decrypted(bytes);
    EXPECT_EQ(32U, consumed);
    EXPECT_EQ(32U, length);
    EXPECT_EQ(FilledUp(message), Bytes(bytes, bytes + length));
}

// What is consumed is written last.
TEST(CryptoBlockCipherSeedTest, TheTwoLengthsMayBeOneVariable) {
    for (const Way way : kBoth) {
        Cipher cipher(kKey);
        Bytes message(way == Way::kEncrypt ? 20 : 32, 'm');
        Ulong length = 0;
        Block output = nullptr;
        const auto call =
            way == Way::kEncrypt ? &Crypto::Encrypt : &Crypto::Decrypt;
        ASSERT_EQ(1, (cipher.*call)(message.data(), message.size(), length,
                                    output, length));
        const std::unique_ptr<unsigned char[]> owner(output);
        EXPECT_EQ(message.size(), length);
    }
}

// Whole messages

// Compares both ways of a message with OpenSSL and with the primitive.
void ExpectAgreement(Peer& peer, const Bytes& key, const Bytes& message,
                     std::size_t offset) {
    Cipher cipher(key);
    const Bytes whole = FilledUp(message);
    const Bytes encrypted = Made(cipher, Way::kEncrypt, message, offset);
    ASSERT_TRUE(peer.Made(Way::kEncrypt, key, whole) == encrypted);
    ASSERT_TRUE(ByBlocks(Way::kEncrypt, ScheduleOf(key), whole) == encrypted);
    ASSERT_TRUE(whole == Made(cipher, Way::kDecrypt, encrypted, offset));

    const Bytes decrypted = Made(cipher, Way::kDecrypt, whole, offset);
    ASSERT_TRUE(peer.Made(Way::kDecrypt, key, whole) == decrypted);
    ASSERT_TRUE(ByBlocks(Way::kDecrypt, ScheduleOf(key), whole) == decrypted);
}

TEST(CryptoBlockCipherSeedTest, EveryShortLengthAgreesWithOpenssl) {
    Random random(kSeed);
    Peer peer;
    const Bytes key = RandomBytes(random, kUnit);
    for (std::size_t size = 1; size <= 600; ++size) {
        ASSERT_NO_FATAL_FAILURE(
            ExpectAgreement(peer, key, RandomBytes(random, size), 0))
            << "seed " << kSeed << ", size " << size;
    }
}

TEST(CryptoBlockCipherSeedTest, RandomMessagesAgreeWithOpenssl) {
    Random random(kSeed);
    Peer peer;
    for (int round = 0; round < 2500; ++round) {
        const Bytes key = RandomBytes(random, kUnit);
        // Of every order of magnitude up to 4096.
        const std::size_t most = std::size_t{1} << random() % 13;
        const Bytes message = RandomBytes(random, random() % most + 1);
        ASSERT_NO_FATAL_FAILURE(
            ExpectAgreement(peer, key, message, random() % 16))
            << "seed " << kSeed << ", round " << round;
    }
}

TEST(CryptoBlockCipherSeedTest, LongMessagesAgreeWithOpenssl) {
    Random random(kSeed);
    Peer peer;
    const Bytes key = RandomBytes(random, kUnit);
    Cipher cipher(key);
    for (const std::size_t size : {(2U << 20) + 5, (3U << 20) - 1, 3U << 20}) {
        const Bytes message = RandomBytes(random, size);
        const Bytes whole = FilledUp(message);
        EXPECT_TRUE(peer.Made(Way::kEncrypt, key, whole) ==
                    Made(cipher, Way::kEncrypt, message, 3));
        EXPECT_TRUE(peer.Made(Way::kDecrypt, key, whole) ==
                    Made(cipher, Way::kDecrypt, whole, 5));
    }
}

// Threads

TEST(CryptoBlockCipherSeedTest, SeveralThreadsShareAnObject) {
    Cipher cipher(kKey);
    Bytes message(333, 'm');  // Read by all.
    const Bytes whole = FilledUp(message);
    const Bytes expected = ByBlocks(Way::kEncrypt, ScheduleOf(kKey), whole);
    std::array<int, 4> wrong{};
    std::vector<std::thread> threads;
    for (int& count : wrong) {
        threads.emplace_back([&] {
            for (int round = 0; round < 40; ++round) {
                Outs there;
                Outs back;
                if (Call(cipher, Way::kEncrypt, message.data(), message.size(),
                         there) != 1 ||
                    Call(cipher, Way::kDecrypt, there.output,
                         there.outputLength, back) != 1) {
                    ++count;
                    return;
                }
                const std::unique_ptr<unsigned char[]> first(there.output);
                const std::unique_ptr<unsigned char[]> second(back.output);
                if (Bytes(there.output, there.output + there.outputLength) !=
                        expected ||
                    Bytes(back.output, back.output + back.outputLength) !=
                        whole) {
                    ++count;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ((std::array<int, 4>{}), wrong);
}

}  // namespace
