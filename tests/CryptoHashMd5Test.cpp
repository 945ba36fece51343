// The contract of Bases/CryptoHashMd5.h. Digests are written as md5sum prints
// them. Expected ones are those of RFC 1321 and of OpenSSL, which also says
// what the state in a context has to be: a message that ends as the padding of
// a shorter one leaves the words of that one's digest there.

#include "Bases/CryptoHashMd5.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <sys/mman.h>
#include <sys/resource.h>

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
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "Bases/Crypto.h"
#include "tests/support/Allocation.h"
#include "tests/support/CryptoOuts.h"
#include "tests/support/VirtualSlots.h"

namespace {

using Novu::Crypto;
using Novu::CryptoHashMd5;
using NovuTest::AllocationLedger;
using NovuTest::FailingAllocation;
using NovuTest::Outs;

using std::is_same_v;
using std::string;
using Ulong = unsigned long;
using Block = unsigned char*;
using Digest = CryptoHashMd5::MD5Digest_struct;
using RawContext = char (*)[88];
using Random = std::mt19937;

const Random::result_type kSeed = 20241121;

// Layout

static_assert(std::is_base_of_v<Crypto, CryptoHashMd5>);
static_assert(std::is_convertible_v<CryptoHashMd5*, Crypto*>);
static_assert(sizeof(CryptoHashMd5) == sizeof(Crypto), "no data");
static_assert(sizeof(CryptoHashMd5) == 8);
static_assert(std::is_default_constructible_v<CryptoHashMd5>);
static_assert(!std::is_abstract_v<CryptoHashMd5>);

static_assert(sizeof(Digest) == 16);
static_assert(alignof(Digest) == 1, "at any address");
static_assert(std::is_trivial_v<Digest> && std::is_standard_layout_v<Digest>);

// It has operations of its own for all that Crypto leaves open.
template <typename Result, typename... Arguments>
using Member = Result (CryptoHashMd5::*)(Arguments...);
using Transform = Member<int, Block, Ulong, Ulong&, Block&, Ulong&>;
static_assert(is_same_v<decltype(&CryptoHashMd5::Create), Member<int>>);
static_assert(is_same_v<decltype(&CryptoHashMd5::Destroy), Member<void>>);
static_assert(
    is_same_v<decltype(&CryptoHashMd5::GetDataSizeUnit), Member<unsigned int>>);
static_assert(is_same_v<decltype(&CryptoHashMd5::GetUserSecretKeySize),
                        Member<unsigned int>>);
static_assert(is_same_v<decltype(&CryptoHashMd5::SetUserSecretKey),
                        Member<int, const unsigned char*>>);
static_assert(is_same_v<decltype(&CryptoHashMd5::Encrypt), Transform>);
static_assert(is_same_v<decltype(&CryptoHashMd5::Decrypt), Transform>);

static_assert(
    is_same_v<decltype(&CryptoHashMd5::MD5Init), Member<void, RawContext>>);
static_assert(is_same_v<decltype(&CryptoHashMd5::MD5Update),
                        Member<void, RawContext, const void*, Ulong>>);
static_assert(is_same_v<decltype(&CryptoHashMd5::MD5Final),
                        Member<void, Digest*, RawContext>>);
static_assert(is_same_v<decltype(&CryptoHashMd5::MD5Sum),
                        Member<void, const void*, Ulong, Digest*>>);
static_assert(is_same_v<decltype(&CryptoHashMd5::MD5DigestToBase16),
                        Member<string, const Digest&>>);
static_assert(is_same_v<decltype(&CryptoHashMd5::MD5String),
                        Member<string, const string&>>);

// Messages and digests

// By words, since long messages are many bytes.
string RandomMessage(Random& random, std::size_t size) {
    string message(size, '\0');
    for (std::size_t at = 0; at < size; at += sizeof(std::uint32_t)) {
        const auto word = static_cast<std::uint32_t>(random());
        std::memcpy(message.data() + at, &word,
                    std::min(sizeof word, size - at));
    }
    return message;
}

// As OpenSSL has it.
Digest PeerDigest(const string& message) {
    Digest digest{};
    unsigned int size = 0;
    if (EVP_Digest(message.data(), message.size(), digest.bytes, &size,
                   EVP_md5(), nullptr) != 1 ||
        size != sizeof digest.bytes) {
        throw std::runtime_error("OpenSSL failed");
    }
    return digest;
}

string Text(const unsigned char* bytes) {
    const char* const digits = "0123456789abcdef";
    string text;
    for (std::size_t index = 0; index < 16; ++index) {
        text.push_back(digits[bytes[index] / 16]);
        text.push_back(digits[bytes[index] % 16]);
    }
    return text;
}

string Text(const Digest& digest) { return Text(digest.bytes); }

string PeerText(const string& message) { return Text(PeerDigest(message)); }

// The words of a digest, as a state has them.
std::array<std::uint32_t, 4> Words(const Digest& digest) {
    std::array<std::uint32_t, 4> words{};
    for (std::size_t index = 0; index < 16; ++index) {
        words[index / 4] |= std::uint32_t{digest.bytes[index]}
                            << (8 * (index % 4));
    }
    return words;
}

// The last bytes of a message in its last block: its number of bits.
string Count(std::uint64_t bits) {
    string bytes;
    for (int index = 0; index < 8; ++index) {
        bytes.push_back(static_cast<char>(bits % 256));
        bits /= 256;
    }
    return bytes;
}

// `message` with what ends it: whole blocks.
string Padded(const string& message) {
    string padded = message + '\x80';
    while (padded.size() % 64 != 56) {
        padded.push_back('\0');
    }
    return padded + Count(8 * message.size());
}

// Contexts

struct Context {
    std::array<std::uint32_t, 4> state;  // A, B, C, D
    std::uint32_t low;                   // Bits, modulo 2 to the power 32.
    std::uint32_t high;
    std::array<char, 64> buffer;

    bool operator==(const Context&) const = default;
};
static_assert(sizeof(Context) == 88);

std::ostream& operator<<(std::ostream& out, const Context& context) {
    out << std::hex;
    for (const std::uint32_t word : context.state) {
        out << word << ' ';
    }
    out << "count " << context.high << ' ' << context.low << " buffer";
    for (const char byte : context.buffer) {
        out << ' ' << static_cast<int>(static_cast<unsigned char>(byte));
    }
    return out << std::dec;
}

const std::array<std::uint32_t, 4> kInitial = {0x67452301, 0xefcdab89,
                                               0x98badcfe, 0x10325476};

// The context of no message, over a buffer full of `junk`.
Context Begun(char junk) {
    Context context{kInitial, 0, 0, {}};
    context.buffer.fill(junk);
    return context;
}

// Counts and buffer after `data`, of which each byte takes the place after the
// one before, block over block.
void Add(Context& context, const string& data) {
    std::uint64_t bits = std::uint64_t{context.high} << 32 | context.low;
    for (const char byte : data) {
        context.buffer[bits / 8 % 64] = byte;
        bits += 8;
    }
    context.low = static_cast<std::uint32_t>(bits);
    context.high = static_cast<std::uint32_t>(bits >> 32);
}

// A context `offset` bytes from where everything is aligned, behind junk, with
// `behind` bytes of junk after it: none of them lets the address sanitizer see
// each byte too far.
class Placed {
public:
    explicit Placed(std::size_t offset = 0, std::size_t behind = 16)
        : start(offset), bytes(offset + sizeof(Context) + behind, kJunk) {}

    RawContext Raw() {
        return reinterpret_cast<RawContext>(bytes.data() + start);
    }

    void Put(const Context& context) {
        std::memcpy(bytes.data() + start, &context, sizeof context);
    }

    // After a check that nothing around it has changed.
    Context Get() const {
        Context context{};
        std::memcpy(&context, bytes.data() + start, sizeof context);
        Placed expected(start, bytes.size() - sizeof context - start);
        expected.Put(context);
        EXPECT_TRUE(bytes == expected.bytes) << "written beyond the context";
        return context;
    }

    static constexpr char kJunk = '\xC3';

private:
    std::size_t start;
    std::vector<char> bytes;
};

// Adds `data` from a block of memory that ends where the data ends.
void Update(CryptoHashMd5& md5, RawContext context, const string& data,
            std::size_t offset = 0) {
    std::vector<char> room(offset, Placed::kJunk);
    room.reserve(offset + data.size());
    room.insert(room.end(), data.begin(), data.end());
    const std::vector<char> before = room;
    md5.MD5Update(context, room.data() + offset, data.size());
    EXPECT_TRUE(before == room) << "the data was written";
}

Digest Final(CryptoHashMd5& md5, RawContext context) {
    Digest digest;
    std::memset(&digest, Placed::kJunk, sizeof digest);
    md5.MD5Final(&digest, context);
    return digest;
}

// Out-arguments

// All junk, but for what was consumed.
Outs OnlyConsumed(Ulong length) {
    Outs outs;
    outs.consumed = length;
    return outs;
}

int Encrypt(Crypto& crypto, const Block input, Ulong length, Outs& outs) {
    return crypto.Encrypt(input, length, outs.consumed, outs.output,
                          outs.outputLength);
}

// The digest that Encrypt gives for `message` in a block of its size.
string EncryptedText(Crypto& crypto, const string& message) {
    std::vector<unsigned char> input(message.begin(), message.end());
    const std::vector<unsigned char> before = input;
    Outs outs;
    EXPECT_EQ(1, Encrypt(crypto, input.data(), input.size(), outs));
    EXPECT_TRUE(before == input) << "the input was written";
    EXPECT_EQ(message.size(), outs.consumed);
    EXPECT_EQ(16U, outs.outputLength);
    if (outs.output == &NovuTest::outsJunk || outs.outputLength != 16) {
        return "no digest";
    }
    const std::unique_ptr<unsigned char[]> owner(outs.output);
    return Text(outs.output);
}

string SumText(CryptoHashMd5& md5, const string& message) {
    const std::vector<char> exact(message.begin(), message.end());
    Digest digest{};
    md5.MD5Sum(exact.data(), exact.size(), &digest);
    return Text(digest);
}

// The digest in pieces of one byte.
string BytewiseText(CryptoHashMd5& md5, const string& message) {
    Placed context;
    md5.MD5Init(context.Raw());
    for (const char byte : message) {
        md5.MD5Update(context.Raw(), &byte, 1);
    }
    return Text(Final(md5, context.Raw()));
}

// The object

TEST(CryptoHashMd5Test, IsACryptoWithoutVirtualOperationsOfItsOwn) {
    EXPECT_EQ(7, NovuTest::VirtualOperations<CryptoHashMd5>());
    CryptoHashMd5 md5;
    EXPECT_EQ(static_cast<const void*>(&md5),
              static_cast<const void*>(static_cast<const Crypto*>(&md5)));
}

TEST(CryptoHashMd5Test, NeedsNoPreparationAndNoKey) {
    CryptoHashMd5 md5;
    Crypto& crypto = md5;
    EXPECT_EQ(1, crypto.Create());
    EXPECT_EQ(1, crypto.Create());
    EXPECT_EQ(0U, crypto.GetDataSizeUnit());
    EXPECT_EQ(0U, crypto.GetUserSecretKeySize());
    EXPECT_EQ(1, crypto.SetUserSecretKey(nullptr));
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an address without memory.
    const auto* const nowhere = reinterpret_cast<const unsigned char*>(1);
    EXPECT_EQ(1, crypto.SetUserSecretKey(nowhere));
    EXPECT_EQ(PeerText("abc"), EncryptedText(crypto, "abc"));
    crypto.Destroy();
    EXPECT_EQ(PeerText("abc"), EncryptedText(crypto, "abc"));
}

TEST(CryptoHashMd5Test, DecryptRefusesAllAndTouchesNothing) {
    std::array<unsigned char, 16> input{};
    for (const Ulong length : {0UL, 1UL, 16UL, ULONG_MAX}) {
        for (const Block block : {Block{nullptr}, input.data()}) {
            CryptoHashMd5 md5;
            Crypto& crypto = md5;
            Outs outs;
            {
                const FailingAllocation failing(1);
                EXPECT_EQ(0, crypto.Decrypt(block, length, outs.consumed,
                                            outs.output, outs.outputLength));
            }
            EXPECT_EQ(Outs(), outs);
            EXPECT_EQ((std::array<unsigned char, 16>{}), input);
        }
    }
}

// Digests

const struct DigestCase {
    int line;
    string message;
    const char* text;
} kDigestCases[] = {
    // From RFC 1321.
    {__LINE__, "", "d41d8cd98f00b204e9800998ecf8427e"},
    {__LINE__, "a", "0cc175b9c0f1b6a831c399e269772661"},
    {__LINE__, "abc", "900150983cd24fb0d6963f7d28e17f72"},
    {__LINE__, "message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
    {__LINE__, "abcdefghijklmnopqrstuvwxyz",
     "c3fcd3d76192e4007dfb496cca67e13b"},
    {__LINE__, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
     "d174ab98d277d9f5a5611c2c9f419d9f"},
    {__LINE__,
     "1234567890123456789012345678901234567890"
     "1234567890123456789012345678901234567890",
     "57edf4a22be3c955ac49da2e2107b67a"},
    // Zeros are bytes as others.
    {__LINE__, string("\0", 1), "93b885adfe0da089cdf634904fd59f71"},
    {__LINE__, string("abc\0", 4), "147a664a2ca9410911e61986d3f0d52a"},
};

TEST(CryptoHashMd5Test, TheKnownDigestsByEveryRoute) {
    for (const DigestCase& row : kDigestCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        CryptoHashMd5 md5;
        EXPECT_EQ(row.text, PeerText(row.message));
        EXPECT_EQ(row.text, md5.MD5String(row.message));
        EXPECT_EQ(row.text, SumText(md5, row.message));
        EXPECT_EQ(row.text, BytewiseText(md5, row.message));
        EXPECT_EQ(row.text, EncryptedText(md5, row.message));
    }
}

TEST(CryptoHashMd5Test, EveryShortLengthAgreesWithOpenssl) {
    Random random(kSeed);
    CryptoHashMd5 md5;
    for (std::size_t size = 0; size <= 300; ++size) {
        const string message = RandomMessage(random, size);
        const string text = PeerText(message);
        ASSERT_EQ(text, SumText(md5, message)) << size;
        ASSERT_EQ(text, BytewiseText(md5, message)) << size;
        ASSERT_EQ(text, EncryptedText(md5, message)) << size;
        ASSERT_EQ(text, md5.MD5String(message)) << size;
    }
}

TEST(CryptoHashMd5Test, RandomMessagesAgreeWithOpenssl) {
    Random random(kSeed);
    CryptoHashMd5 md5;
    for (int round = 0; round < 2000; ++round) {
        const string message = RandomMessage(random, random() % 4097);
        ASSERT_EQ(PeerText(message), EncryptedText(md5, message))
            << "seed " << kSeed << ", round " << round;
    }
}

TEST(CryptoHashMd5Test, LongMessagesAgreeWithOpenssl) {
    Random random(kSeed);
    CryptoHashMd5 md5;
    for (const std::size_t size :
         {(2U << 20) + 55, (3U << 20) + 56, 5U << 20}) {
        const string message = RandomMessage(random, size);
        const string text = PeerText(message);
        EXPECT_EQ(text, SumText(md5, message));
        EXPECT_EQ(text, EncryptedText(md5, message));
    }
}

TEST(CryptoHashMd5Test, ANullMessageOfLength0IsTheEmptyOne) {
    const char* const text = "d41d8cd98f00b204e9800998ecf8427e";
    CryptoHashMd5 md5;
    Digest digest{};
    md5.MD5Sum(nullptr, 0, &digest);
    EXPECT_EQ(text, Text(digest));

    Outs outs;
    ASSERT_EQ(1, Encrypt(md5, nullptr, 0, outs));
    const std::unique_ptr<unsigned char[]> owner(outs.output);
    EXPECT_EQ(0U, outs.consumed);
    ASSERT_EQ(16U, outs.outputLength);
    EXPECT_EQ(text, Text(outs.output));
}

// Read-only memory: a write, be it of the same bytes, would end the test.
constexpr std::array<unsigned char, 150> kReadOnly = {'r', 'e', 'a', 'd'};

TEST(CryptoHashMd5Test, MessagesAreOnlyRead) {
    const string text = PeerText(string(kReadOnly.begin(), kReadOnly.end()));
    CryptoHashMd5 md5;
    Digest digest{};
    md5.MD5Sum(kReadOnly.data(), kReadOnly.size(), &digest);
    EXPECT_EQ(text, Text(digest));
    Outs outs;
    const Block input = const_cast<Block>(kReadOnly.data());
    ASSERT_EQ(1, Encrypt(md5, input, kReadOnly.size(), outs));
    const std::unique_ptr<unsigned char[]> owner(outs.output);
    EXPECT_EQ(text, Text(outs.output));
}

// Digests in pieces

TEST(CryptoHashMd5Test, InitSetsStateAndCountsAndLeavesTheBuffer) {
    for (std::size_t offset = 0; offset < 16; ++offset) {
        for (const std::size_t behind : std::array<std::size_t, 2>{0, 16}) {
            CryptoHashMd5 md5;
            Placed context(offset, behind);
            md5.MD5Init(context.Raw());
            EXPECT_EQ(Begun(Placed::kJunk), context.Get());
        }
    }
}

TEST(CryptoHashMd5Test, UpdateKeepsStateCountsAndBuffer) {
    Random random(kSeed);
    CryptoHashMd5 md5;
    for (int round = 0; round < 2500; ++round) {
        SCOPED_TRACE(round);
        // Whole blocks, which leave a state that is known, in pieces; the last
        // piece may have a rest beyond them. Of every order of magnitude.
        const std::size_t longest = std::size_t{1} << random() % 13;
        const string message = RandomMessage(random, random() % longest);
        const string blocks = Padded(message);
        const string rest = RandomMessage(random, random() % 64);

        Placed context(random() % 16, random() % 2 * 16);
        md5.MD5Init(context.Raw());
        Context expected = Begun(Placed::kJunk);
        std::size_t at = 0;
        while (at != blocks.size()) {
            const std::size_t most = std::size_t{1} << random() % 10;
            const std::size_t size =
                std::min<std::size_t>(random() % most, blocks.size() - at);
            const string piece = blocks.substr(at, size);
            at += size;
            const bool isLast = at == blocks.size();
            Update(md5, context.Raw(), isLast ? piece + rest : piece,
                   random() % 16);
            Add(expected, isLast ? piece + rest : piece);
            const Context is = context.Get();
            ASSERT_EQ(expected.low, is.low);
            ASSERT_EQ(expected.high, is.high);
            ASSERT_TRUE(expected.buffer == is.buffer) << is;
        }
        expected.state = Words(PeerDigest(message));
        ASSERT_EQ(expected, context.Get()) << "seed " << kSeed;

        const string text = PeerText(blocks + rest);
        ASSERT_EQ(text, Text(Final(md5, context.Raw())));
        ASSERT_EQ(text, SumText(md5, blocks + rest));
    }
}

// Every number of bytes that wait, with every length about one and two blocks.
TEST(CryptoHashMd5Test, WhatWaitsAndWhatComesMeetInTheBuffer) {
    Random random(kSeed);
    const string message = RandomMessage(random, 64 + 200);
    CryptoHashMd5 md5;
    for (std::size_t waiting = 0; waiting < 64; ++waiting) {
        for (std::size_t length = 0; length <= 200; ++length) {
            Placed context;
            md5.MD5Init(context.Raw());
            Context expected = Begun(Placed::kJunk);
            const string first = message.substr(0, waiting);
            const string second = message.substr(waiting, length);
            md5.MD5Update(context.Raw(), first.data(), first.size());
            md5.MD5Update(context.Raw(), second.data(), second.size());
            Add(expected, first);
            Add(expected, second);
            Context is = context.Get();
            if (waiting + length < 64) {
                ASSERT_EQ(kInitial, is.state);
            } else {
                ASSERT_NE(kInitial, is.state);
            }
            is.state = expected.state;
            ASSERT_EQ(expected, is) << waiting << " wait, " << length;
        }
    }
}

TEST(CryptoHashMd5Test, NullDataOfLength0ChangesNothing) {
    CryptoHashMd5 md5;
    for (const std::size_t waiting : std::array<std::size_t, 4>{0, 1, 63, 64}) {
        Placed context;
        md5.MD5Init(context.Raw());
        Update(md5, context.Raw(), string(waiting, 'm'));
        const Context before = context.Get();
        md5.MD5Update(context.Raw(), nullptr, 0);
        EXPECT_EQ(before, context.Get());
        md5.MD5Update(context.Raw(), "", 0);
        EXPECT_EQ(before, context.Get());
        EXPECT_EQ(PeerText(string(waiting, 'm')),
                  Text(Final(md5, context.Raw())));
    }
}

// [cryptohashmd5-1]
TEST(CryptoHashMd5Test, FinalClearsTheFirst8BytesAndNothingElse) {
    Random random(kSeed);
    CryptoHashMd5 md5;
    for (std::size_t size = 0; size <= 300; ++size) {
        const string message = RandomMessage(random, size);
        const Digest digest = PeerDigest(message);
        const string padded = Padded(message);
        for (const std::size_t behind : std::array<std::size_t, 2>{0, 16}) {
            Placed context(size % 16, behind);
            md5.MD5Init(context.Raw());
            Update(md5, context.Raw(), message);
            ASSERT_EQ(Text(digest), Text(Final(md5, context.Raw())));

            // C and D, and the last block that was worked in.
            Context expected{Words(digest), 0, 0, {}};
            expected.state[0] = 0;
            expected.state[1] = 0;
            expected.low = static_cast<std::uint32_t>(8 * size);
            std::copy(padded.end() - 64, padded.end(), expected.buffer.begin());
            ASSERT_EQ(expected, context.Get()) << size;
        }
    }
}

TEST(CryptoHashMd5Test, FinalWritesTheDigestAtAnyAddressAndNothingAround) {
    CryptoHashMd5 md5;
    for (std::size_t offset = 0; offset < 16; ++offset) {
        std::array<char, 48> room{};
        room.fill(Placed::kJunk);
        std::array<char, 48> expected = room;
        const Digest digest = PeerDigest("abc");
        std::memcpy(expected.data() + offset, &digest, sizeof digest);
        md5.MD5Sum("abc", 3, reinterpret_cast<Digest*>(room.data() + offset));
        EXPECT_EQ(expected, room);

        room.fill(Placed::kJunk);
        Placed context;
        md5.MD5Init(context.Raw());
        Update(md5, context.Raw(), "abc");
        md5.MD5Final(reinterpret_cast<Digest*>(room.data() + offset),
                     context.Raw());
        EXPECT_EQ(expected, room);
    }
}

TEST(CryptoHashMd5Test, AContextServesAgainAfterInit) {
    CryptoHashMd5 md5;
    Placed context;
    for (const char* const message : {"one", "another", ""}) {
        md5.MD5Init(context.Raw());
        Update(md5, context.Raw(), message);
        EXPECT_EQ(PeerText(message), Text(Final(md5, context.Raw())));
    }
}

TEST(CryptoHashMd5Test, ContextsKnowNothingOfEachOther) {
    CryptoHashMd5 md5;
    Placed one;
    Placed other;
    md5.MD5Init(one.Raw());
    md5.MD5Init(other.Raw());
    for (int round = 0; round < 40; ++round) {
        Update(md5, one.Raw(), "one");
        Update(md5, other.Raw(), "another");
    }
    string ones;
    string others;
    for (int round = 0; round < 40; ++round) {
        ones += "one";
        others += "another";
    }
    EXPECT_EQ(PeerText(ones), Text(Final(md5, one.Raw())));
    EXPECT_EQ(PeerText(others), Text(Final(md5, other.Raw())));
}

// Counts

const struct CountCase {
    int line;
    std::uint32_t low;
    std::uint32_t high;
    Ulong length;
    std::uint32_t newLow;
    std::uint32_t newHigh;
} kCountCases[] = {
    // line    low         high        length  new low     new high
    {__LINE__, 0, 0, 1, 8, 0},
    {__LINE__, 8, 5, 0, 8, 5},
    {__LINE__, 0xFFFFFFF0, 0, 1, 0xFFFFFFF8, 0},
    {__LINE__, 0xFFFFFFF8, 0, 0, 0xFFFFFFF8, 0},
    // A carry.
    {__LINE__, 0xFFFFFFF8, 0, 1, 0, 1},
    {__LINE__, 0xFFFFFFF8, 5, 2, 8, 6},
    {__LINE__, 0xFFFFFE00, 0, 63, 0xFFFFFFF8, 0},
    {__LINE__, 0xFFFFFE00, 0, 64, 0, 1},
    {__LINE__, 0xFFFFFE00, 9, 1000, 0x1D40, 10},
    {__LINE__, 0x80000000, 0, 1000, 0x80001F40, 0},
    // The high count has no carry of its own.
    {__LINE__, 0xFFFFFFF8, 0xFFFFFFFF, 1, 0, 0},
    {__LINE__, 0x00001000, 0xFFFFFFFF, 1, 0x00001008, 0xFFFFFFFF},
    // Bits that are no whole byte stay.
    {__LINE__, 3, 0, 1, 11, 0},
    {__LINE__, 0xFFFFFFFF, 7, 1, 7, 8},
};

TEST(CryptoHashMd5Test, CountsBitsInTwoWords) {
    CryptoHashMd5 md5;
    for (const CountCase& row : kCountCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        for (std::size_t offset = 0; offset < 4; ++offset) {
            const string data(row.length, 'm');
            Placed context(offset);
            Context expected = Begun('.');
            expected.low = row.low;
            expected.high = row.high;
            context.Put(expected);
            Update(md5, context.Raw(), data);
            // The low count says how many bytes wait.
            Add(expected, data);
            Context is = context.Get();
            EXPECT_EQ(row.newLow, is.low);
            EXPECT_EQ(row.newHigh, is.high);
            is.state = kInitial;
            EXPECT_EQ(expected, is);
        }
    }
}

const CountCase kLongCountCases[] = {
    // line    low high  length  new low  new high
    {__LINE__, 0, 0, (1UL << 29) - 1, 0xFFFFFFF8, 0},
    {__LINE__, 0, 0, 1UL << 29, 0, 1},
    {__LINE__, 8, 0, (1UL << 29) - 1, 0, 1},
    {__LINE__, 16, 3, (1UL << 30) - 1, 8, 5},
    {__LINE__, 8, 0xFFFFFFFF, 1UL << 29, 8, 0},
    {__LINE__, 0, 4, (1UL << 61) + (1UL << 30), 0, 6},
    {__LINE__, 0, 0, ULONG_MAX, 0xFFFFFFF8, 0xFFFFFFFF},
    {__LINE__, 16, 0, ULONG_MAX, 8, 0},
};

void UpdateWithoutCoreDump(void* context, const void* data, Ulong length) {
    const rlimit none = {0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    CryptoHashMd5().MD5Update(static_cast<RawContext>(context), data, length);
}

// To work such messages in takes too long. But they are counted first: the
// counts stand when the data, which lies where no memory can be read, ends the
// process.
TEST(CryptoHashMd5DeathTest, CountsLongMessagesBeforeItReadsThem) {
    const std::size_t size = 4096;
    const auto map = [](int protection) {
        return ::mmap(nullptr, size, protection, MAP_SHARED | MAP_ANON, -1, 0);
    };
    void* const shared = map(PROT_READ | PROT_WRITE);
    void* const unreadable = map(PROT_NONE);
    ASSERT_NE(MAP_FAILED, shared);
    ASSERT_NE(MAP_FAILED, unreadable);
    for (const CountCase& row : kLongCountCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Context context = Begun('.');
        context.low = row.low;
        context.high = row.high;
        std::memcpy(shared, &context, sizeof context);
        EXPECT_DEATH(UpdateWithoutCoreDump(shared, unreadable, row.length), "");
        std::memcpy(&context, shared, sizeof context);
        EXPECT_EQ(row.newLow, context.low);
        EXPECT_EQ(row.newHigh, context.high);
    }
    EXPECT_EQ(0, ::munmap(shared, size));
    EXPECT_EQ(0, ::munmap(unreadable, size));
}

// The state after 512 MiB of zeros, and the digest of these and "tail".
TEST(CryptoHashMd5Test, TheHighCountIsPartOfTheDigest) {
    CryptoHashMd5 md5;
    Placed context;
    const Context gone{
        {0xf0407588, 0xae350ce4, 0x76d7e5b6, 0x161dc26f}, 0, 1, {}};
    context.Put(gone);
    Update(md5, context.Raw(), "tail");
    EXPECT_EQ("28a538c26a037a518bbef5d27f9a35a3",
              Text(Final(md5, context.Raw())));
}

// Any counts: the blocks that Final works in, given to Update instead.
TEST(CryptoHashMd5Test, FinalEndsAMessageOfAnyCount) {
    Random random(kSeed);
    CryptoHashMd5 md5;
    for (int round = 0; round < 2000; ++round) {
        Context begun = Begun(Placed::kJunk);
        for (std::uint32_t& word : begun.state) {
            word = static_cast<std::uint32_t>(random());
        }
        begun.low = static_cast<std::uint32_t>(random());
        begun.high = static_cast<std::uint32_t>(random());
        const std::size_t used = begun.low / 8 % 64;
        const string waiting = RandomMessage(random, used);
        std::copy(waiting.begin(), waiting.end(), begun.buffer.begin());

        string last = Padded(waiting);
        last.resize(last.size() - 8);
        last += Count(std::uint64_t{begun.high} << 32 | begun.low);
        Placed model;
        Context ended = begun;
        ended.low = 0;
        ended.high = 0;
        model.Put(ended);
        Update(md5, model.Raw(), last);
        ended.state = model.Get().state;

        Placed context(random() % 16);
        context.Put(begun);
        const Digest digest = Final(md5, context.Raw());
        ASSERT_EQ(ended.state, Words(digest)) << "round " << round;
        ended.state[0] = 0;
        ended.state[1] = 0;
        ended.low = begun.low;
        ended.high = begun.high;
        std::copy(last.end() - 64, last.end(), ended.buffer.begin());
        ASSERT_EQ(ended, context.Get()) << "round " << round;
    }
}

// Text

TEST(CryptoHashMd5Test, DigestsPrintByteByByteInLowerCase) {
    CryptoHashMd5 md5;
    EXPECT_EQ("00112233445566778899aabbccddeeff",
              md5.MD5DigestToBase16(
                  Digest{{0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88,
                          0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff}}));
    EXPECT_EQ("0123456789abcdeffedcba9876543210",
              md5.MD5DigestToBase16(
                  Digest{{0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef, 0xfe,
                          0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10}}));
    for (unsigned int value = 0; value < 256; ++value) {
        Digest digest{};
        digest.bytes[value % 16] = static_cast<unsigned char>(value);
        EXPECT_EQ(Text(digest), md5.MD5DigestToBase16(digest));
    }
}

// Memory

TEST(CryptoHashMd5Test, DigestsInPiecesAndInOneCallAllocateNothing) {
    CryptoHashMd5 md5;
    const string message(200, 'm');
    const string text = PeerText(message);
    Placed context;
    Digest pieces{};
    Digest sum{};
    {
        const FailingAllocation failing(1);
        md5.MD5Init(context.Raw());
        md5.MD5Update(context.Raw(), message.data(), 100);
        md5.MD5Update(context.Raw(), message.data(), 100);
        md5.MD5Final(&pieces, context.Raw());
        md5.MD5Sum(message.data(), message.size(), &sum);
    }
    EXPECT_EQ(text, Text(pieces));
    EXPECT_EQ(text, Text(sum));
}

TEST(CryptoHashMd5Test, EncryptMakesOneArrayOf16Bytes) {
    for (const std::size_t size : std::array<std::size_t, 4>{0, 1, 64, 1000}) {
        CryptoHashMd5 md5;
        std::vector<unsigned char> input(size, 'm');
        Outs outs;
        const AllocationLedger ledger;
        EXPECT_EQ(
            1U,
            NovuTest::FailEachAllocation(
                [&] { EXPECT_EQ(1, Encrypt(md5, input.data(), size, outs)); },
                [&] {
                    EXPECT_EQ(OnlyConsumed(size), outs);
                    EXPECT_EQ(0U, ledger.Blocks());
                }));
        EXPECT_EQ(1U, ledger.Blocks());
        EXPECT_EQ(16U, ledger.Bytes());
        delete[] outs.output;
        EXPECT_EQ(0U, ledger.Blocks());
    }
}

// As a host's operator new[] may.
TEST(CryptoHashMd5Test, ANullFromNewIsARefusalWithTheLengthConsumed) {
    CryptoHashMd5 md5;
    std::vector<unsigned char> input(33, 'm');
    Outs outs;
    {
        const NovuTest::NullAllocation null;
        EXPECT_EQ(0, Encrypt(md5, input.data(), input.size(), outs));
    }
    EXPECT_EQ(OnlyConsumed(33), outs);
}

TEST(CryptoHashMd5Test, WhenMemoryForATextRunsOutNothingLeaks) {
    CryptoHashMd5 md5;
    const Digest digest{};
    const string message = "abc";
    const AllocationLedger ledger;
    const auto check = [&] { EXPECT_EQ(0U, ledger.Blocks()); };
    EXPECT_LE(1U, NovuTest::FailEachAllocation(
                      [&] { md5.MD5DigestToBase16(digest); }, check));
    EXPECT_LE(1U, NovuTest::FailEachAllocation([&] { md5.MD5String(message); },
                                               check));
    EXPECT_EQ(0U, ledger.Blocks());
}

// The length and the input come by value.
TEST(CryptoHashMd5Test, TheResultsMayTakeThePlaceOfTheArguments) {
    CryptoHashMd5 md5;
    std::vector<unsigned char> message(100, 'm');
    Block bytes = message.data();
    Ulong length = message.size();
    Ulong consumed = 0;
    ASSERT_EQ(1, md5.Encrypt(bytes, length, consumed, bytes, length));
    const std::unique_ptr<unsigned char[]> owner(bytes);
    EXPECT_EQ(100U, consumed);
    EXPECT_EQ(16U, length);
    EXPECT_EQ(PeerText(string(100, 'm')), Text(bytes));
}

// Threads

TEST(CryptoHashMd5Test, SeveralThreadsShareAnObject) {
    CryptoHashMd5 md5;
    const string message(777, 'm');  // Read by all.
    const string text = PeerText(message);
    std::array<int, 4> wrong{};
    std::vector<std::thread> threads;
    for (int& count : wrong) {
        threads.emplace_back([&] {
            for (int round = 0; round < 100; ++round) {
                if (md5.MD5String(message) != text ||
                    EncryptedText(md5, message) != text ||
                    BytewiseText(md5, message) != text) {
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
