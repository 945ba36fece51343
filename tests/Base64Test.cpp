// The contract of Bases/Base64.h. Texts and bytes are written as strings, bytes
// outside ASCII as \x. Blocks that Decode writes to are filled with kJunk
// beforehand and have kGuard bytes more than it may touch.
//
// What the tables do not reach is compared with OpenSSL, where the text is
// plain Base64, and else with ModelDecode, which goes bit by bit.

#include "Bases/Base64.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "tests/support/Allocation.h"
#include "tests/support/VirtualSlots.h"

namespace {

using Novu::Base64;
using std::string;
using Random = std::mt19937;

const Random::result_type kSeed = 20241122;

const char kJunk = '\xA5';
const std::size_t kGuard = 16;

const string kStandard =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Layout

static_assert(sizeof(Base64) == sizeof(void*), "no data members");
static_assert(alignof(Base64) == alignof(void*));
static_assert(std::is_default_constructible_v<Base64>);
static_assert(std::has_virtual_destructor_v<Base64>);
static_assert(!std::is_abstract_v<Base64>);

static_assert(std::is_same_v<decltype(Base64::s_szBase64Alphabet), char[65]>);
static_assert(
    std::is_same_v<decltype(Base64::s_nMask), const unsigned long[9]>);
static_assert(sizeof(Base64::s_nMask[0]) == 8);

static_assert(
    std::is_same_v<decltype(&Base64::Encode),
                   int (Base64::*)(const char*, unsigned long, std::string&)>);
static_assert(std::is_same_v<decltype(&Base64::Decode),
                             unsigned long (Base64::*)(const char*, char*)>);
static_assert(std::is_same_v<
              decltype(&Base64::ReadBits),
              unsigned long (Base64::*)(int, int*, const char*, unsigned long,
                                        unsigned long&, int&, unsigned long&)>);
static_assert(
    std::is_same_v<decltype(&Base64::WriteBits),
                   void (Base64::*)(unsigned int, int, char*, unsigned long&,
                                    int&, unsigned long&)>);

// Helpers

unsigned char* Bytes(string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

const unsigned char* Bytes(const string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// As OpenSSL encodes.
string PeerText(const string& bytes) {
    string text(bytes.size() / 3 * 4 + 5, kJunk);
    const int size = EVP_EncodeBlock(Bytes(text), Bytes(bytes),
                                     static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(size));
    return text;
}

// As OpenSSL decodes, which counts the bytes that the padding stands for.
string PeerBytes(const string& text) {
    string bytes(text.size() / 4 * 3, kJunk);
    const int size = EVP_DecodeBlock(Bytes(bytes), Bytes(text),
                                     static_cast<int>(text.size()));
    const auto padding = std::count(text.begin(), text.end(), '=');
    EXPECT_LE(padding, size);
    bytes.resize(static_cast<std::size_t>(size - padding));
    return bytes;
}

// What Encode makes of a block of exactly these bytes.
string Encoded(const string& bytes) {
    const std::vector<char> exact(bytes.begin(), bytes.end());
    string text = "junk";
    // An empty vector may have no address, which Encode would refuse.
    const char* const data = exact.empty() ? "" : exact.data();
    EXPECT_EQ(1, Base64().Encode(data, exact.size(), text));
    return text;
}

struct Decoding {
    unsigned long answer;
    string block;
};

Decoding Decoded(const string& text) {
    const std::vector<char> exact(text.c_str(), text.c_str() + text.size() + 1);
    Decoding decoding{0, string(text.size() + 1 + kGuard, kJunk)};
    decoding.answer = Base64().Decode(exact.data(), decoding.block.data());
    EXPECT_TRUE(std::equal(exact.begin(), exact.end(), text.c_str()))
        << "the text is only read";
    return decoding;
}

// A block that holds `bytes`, zeros up to `zeroed` bytes, and junk.
string Block(const string& bytes, std::size_t zeroed) {
    string block = bytes;
    block.resize(zeroed);
    return block.append(kGuard, kJunk);
}

// What Decode is to do, step by step.
unsigned long ModelDecode(const char* text, char* out) {
    if (text == nullptr || out == nullptr || *text == '\0') {
        return 0;
    }
    const int invalid = -2;
    const int skipped = -1;
    int values[256];
    std::fill(std::begin(values), std::end(values), invalid);
    for (int value = 0; value < 64; ++value) {
        const auto character =
            static_cast<unsigned char>(Base64::s_szBase64Alphabet[value]);
        values[character] = value;
        values[character | 0x80] = value;
    }
    values[0x3D] = skipped;  // '='
    values[0xBD] = skipped;

    const std::size_t length = std::strlen(text);
    std::memset(out, 0, length + 1);
    unsigned long written = 0;
    int byte = 0;
    int held = 0;
    for (std::size_t at = 0; at < length; ++at) {
        const int value = values[text[at] & 0x7F];
        if (value == invalid) {
            return 0;
        }
        if (value == skipped) {
            continue;
        }
        for (int bit = 32; bit != 0; bit /= 2) {
            byte = byte * 2 + ((value & bit) != 0 ? 1 : 0);
            if (++held == 8) {
                out[written++] = static_cast<char>(byte);
                byte = 0;
                held = 0;
            }
        }
    }
    return written;
}

bool DecodesLikeTheModel(const string& text) {
    const Decoding decoding = Decoded(text);
    string block(decoding.block.size(), kJunk);
    return ModelDecode(text.c_str(), block.data()) == decoding.answer &&
           block == decoding.block;
}

string Hex(const string& bytes) {
    string text;
    for (const char byte : bytes) {
        const char* const digits = "0123456789abcdef";
        text += digits[static_cast<unsigned char>(byte) / 16];
        text += digits[static_cast<unsigned char>(byte) % 16];
    }
    return text;
}

string RandomBytes(Random& random, std::size_t size) {
    string bytes(size + 4, '\0');
    for (std::size_t at = 0; at < size; at += 4) {
        const auto four = static_cast<std::uint32_t>(random());
        std::memcpy(&bytes[at], &four, 4);
    }
    bytes.resize(size);
    return bytes;
}

// Characters of the alphabet that stands. Zero would end the text: it becomes
// 0x80, which reads the same.
string RandomCharacters(Random& random, std::size_t length) {
    string text = RandomBytes(random, length);
    for (char& character : text) {
        character = Base64::s_szBase64Alphabet[character & 63];
        if (character == '\0') {
            character = '\x80';
        }
    }
    return text;
}

// Characters of the alphabet with, by the text, no other, a single one, some or
// many among them: '=', top bits, now and then an invalid one.
string RandomText(Random& random, std::size_t length) {
    string text = RandomCharacters(random, length);
    const auto spoil = [&random](char& character, bool invalidToo) {
        const auto kind = random() % (invalidToo ? 6 : 5);
        if (kind < 2) {
            character = '=';
        } else if (kind == 2) {
            character = '\xBD';  // '=' with its top bit.
        } else if (kind < 5) {
            character = static_cast<char>(character | 0x80);
        } else {
            character = static_cast<char>(1 + random() % 255);
        }
    };
    const auto manner = random() % 4;
    const bool invalidToo = random() % 4 == 0;
    if (manner == 1 && length != 0) {
        spoil(text[random() % length], invalidToo);
    } else if (manner >= 2) {
        const unsigned long spacing = manner == 2 ? 30 : 4;
        for (char& character : text) {
            if (random() % spacing == 0) {
                spoil(character, invalidToo);
            }
        }
    }
    return text;
}

// Mostly up to 100, now and then some thousands.
std::size_t RandomLength(Random& random) {
    return random() % 1000 == 0 ? 1000 + random() % 4000 : random() % 101;
}

// Another alphabet while it lives.
class ChangedAlphabet {
public:
    explicit ChangedAlphabet(const string& characters) {
        std::memcpy(earlier, Base64::s_szBase64Alphabet, sizeof earlier);
        std::memcpy(Base64::s_szBase64Alphabet, characters.data(), 64);
    }
    ChangedAlphabet(const ChangedAlphabet&) = delete;
    ChangedAlphabet& operator=(const ChangedAlphabet&) = delete;
    ~ChangedAlphabet() {
        std::memcpy(Base64::s_szBase64Alphabet, earlier, sizeof earlier);
    }

private:
    char earlier[65] = {};
};

// `characters` from `at` on instead of those of the standard alphabet.
string StandardWith(std::size_t at, const string& characters) {
    string alphabet = kStandard;
    return alphabet.replace(at, characters.size(), characters);
}

struct AlphabetCase {
    int line;
    string characters;
};

std::vector<AlphabetCase> ChangedAlphabets() {
    const string backwards(kStandard.rbegin(), kStandard.rend());
    return {
        {__LINE__, kStandard.substr(13) + kStandard.substr(0, 13)},
        {__LINE__, backwards},

        // Characters that stand for several values: far apart, and side by
        // side.
        {__LINE__, kStandard.substr(0, 40) + kStandard.substr(0, 24)},
        {__LINE__, StandardWith(5, "AAAA////zz")},
        {__LINE__, string(64, 'x')},

        {__LINE__, StandardWith(10, "=")},
        {__LINE__, StandardWith(63, "=")},

        // From 0x80 on: with and without a place in the standard alphabet
        // for what lies below.
        {__LINE__, StandardWith(30, "\xE9\xC1\x80\xFF\xBD\xAB")},
        {__LINE__, StandardWith(63, "\xFF")},

        {__LINE__, StandardWith(20, string(1, '\0'))},
        {__LINE__, StandardWith(63, string(1, '\0'))},
        {__LINE__, StandardWith(0, string("\0\x7F\n \t", 5))},
    };
}

// The class

TEST(Base64Test, TheAlphabetIsTheStandardOne) {
    EXPECT_EQ(kStandard, string(Base64::s_szBase64Alphabet, 64));
    EXPECT_EQ('\0', Base64::s_szBase64Alphabet[64]);
}

TEST(Base64Test, TheMasksHaveThatManyBits) {
    const unsigned long expected[] = {0, 1, 3, 7, 15, 31, 63, 127, 255};
    EXPECT_TRUE(std::equal(std::begin(expected), std::end(expected),
                           std::begin(Base64::s_nMask),
                           std::end(Base64::s_nMask)));
}

// By the C++ ABI of Linux and macOS a pointer to a virtual function begins with
// 1 + the offset of its slot.
template <typename Function>
std::ptrdiff_t SlotOf(Function function) {
    std::ptrdiff_t slot = 0;
    std::memcpy(&slot, &function, sizeof slot);
    return (slot - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(Base64Test, TheVirtualSlotsAreDestructorEncodeDecode) {
    // The destructor's two are 0 and 1.
    EXPECT_EQ(2, SlotOf(&Base64::Encode));
    EXPECT_EQ(3, SlotOf(&Base64::Decode));
    EXPECT_EQ(2, NovuTest::VirtualOperations<Base64>());
}

TEST(Base64Test, TheFirstTwoSlotsDestroyAndDelete) {
    struct Derived : Base64 {
        explicit Derived(int& counted) : destroyed(counted) {}
        ~Derived() override { ++destroyed; }

        int& destroyed;
    };
    const auto call = [](Base64* object, std::size_t slot) {
        void* const* table = nullptr;
        std::memcpy(&table, static_cast<const void*>(object), sizeof table);
        void (*function)(Base64*) = nullptr;
        std::memcpy(&function, table + slot, sizeof function);
        function(object);
    };
    const NovuTest::AllocationLedger ledger;
    int destroyed = 0;
    alignas(Derived) unsigned char place[sizeof(Derived)];
    call(new (place) Derived(destroyed), 0);
    EXPECT_EQ(1, destroyed);

    Base64* const made = new Derived(destroyed);
    EXPECT_EQ(1U, ledger.Blocks());
    call(made, 1);
    EXPECT_EQ(2, destroyed);
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(Base64Test, OverridesAreReachedThroughTheBase) {
    struct Other : Base64 {
        int Encode(const char* /*data*/, unsigned long len,
                   string& /*out*/) override {
            return static_cast<int>(len);
        }
        unsigned long Decode(const char* /*text*/, char* /*out*/) override {
            return 4711;
        }
    };
    Other other;
    Base64& base = other;
    string text = "junk";
    EXPECT_EQ(7, base.Encode(nullptr, 7, text));
    EXPECT_EQ(4711U, base.Decode(nullptr, nullptr));
}

TEST(Base64Test, AnObjectComesAndGoesWithoutEffect) {
    const NovuTest::AllocationLedger ledger;
    { const Base64 object; }
    EXPECT_EQ(0U, ledger.Blocks());
    EXPECT_EQ(kStandard, string(Base64::s_szBase64Alphabet, 64));
}

// Encode

const struct TextCase {
    int line;
    string bytes;
    string text;
} kTexts[] = {
    {__LINE__, "Man", "TWFu"},
    {__LINE__, "Ma", "TWE="},
    {__LINE__, "M", "TQ=="},
    {__LINE__, "", ""},

    // Of RFC 4648, section 10.
    {__LINE__, "f", "Zg=="},
    {__LINE__, "fo", "Zm8="},
    {__LINE__, "foo", "Zm9v"},
    {__LINE__, "foob", "Zm9vYg=="},
    {__LINE__, "fooba", "Zm9vYmE="},
    {__LINE__, "foobar", "Zm9vYmFy"},

    // Zeros, top bits, the last two characters of the alphabet.
    {__LINE__, string(1, '\0'), "AA=="},
    {__LINE__, string(2, '\0'), "AAA="},
    {__LINE__, string(3, '\0'), "AAAA"},
    {__LINE__, string("a\0b\0c", 5), "YQBiAGM="},
    {__LINE__, "\xFF", "/w=="},
    {__LINE__, "\xFF\xFF", "//8="},
    {__LINE__, "\xFF\xFF\xFF", "////"},
    {__LINE__, "\xFB\xEF\xBE", "++++"},
    {__LINE__, "\x80\x80\x80", "gICA"},
    {__LINE__, "\x01\x02\x03", "AQID"},
    {__LINE__, "\x7F\x80", "f4A="},
};

TEST(Base64Test, EncodesAndDecodesTheseTexts) {
    for (const TextCase& row : kTexts) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        EXPECT_EQ(row.text, Encoded(row.bytes));
        if (row.text.empty()) {
            continue;  // Not decoded at all.
        }
        const Decoding decoding = Decoded(row.text);
        EXPECT_EQ(row.bytes.size(), decoding.answer);
        EXPECT_EQ(Block(row.bytes, row.text.size() + 1), decoding.block);
    }
}

TEST(Base64Test, EncodingNothingGivesAnEmptyText) {
    for (const string& earlier : {string(), string("junk"), string(999, 'j')}) {
        string text = earlier;
        EXPECT_EQ(1, Base64().Encode("unread", 0, text));
        EXPECT_EQ("", text);
    }
}

TEST(Base64Test, EncodingReplacesWhatWasThere) {
    for (const std::size_t size : {0UL, 1UL, 8UL, 15UL, 16UL, 5000UL}) {
        string text(size, '=');
        EXPECT_EQ(1, Base64().Encode("Many", 4, text));
        EXPECT_EQ("TWFueQ==", text) << "over " << size;
        EXPECT_EQ(8U, std::strlen(text.c_str()));
    }
}

TEST(Base64Test, EncodingNullLeavesTheTextUntouched) {
    for (const unsigned long len : {0UL, 1UL, 3UL, 1UL << 62, ULONG_MAX}) {
        string text = "junk";
        EXPECT_EQ(0, Base64().Encode(nullptr, len, text));
        EXPECT_EQ("junk", text);
        string empty;
        EXPECT_EQ(0, Base64().Encode(nullptr, len, empty));
        EXPECT_EQ("", empty);
    }
}

TEST(Base64Test, EncodesBytesThatLieInTheText) {
    Random random(kSeed);
    for (const std::size_t size : {0UL, 1UL, 14UL, 15UL, 16UL, 40UL, 61UL}) {
        const string bytes = RandomBytes(random, size);
        for (std::size_t at = 0; at <= size; ++at) {
            // Up to the string's own terminator.
            for (std::size_t len = 0; len <= size + 1 - at; ++len) {
                for (const std::size_t room : {0UL, 500UL}) {
                    string text = bytes;
                    text.reserve(std::max(room, text.size()));
                    const string whole = bytes + '\0';
                    ASSERT_EQ(1, Base64().Encode(text.data() + at, len, text));
                    ASSERT_EQ(PeerText(whole.substr(at, len)), text)
                        << len << " bytes at " << at << " of " << size;
                }
            }
        }
    }
}

// The copy that the library takes of such bytes is its own business.
TEST(Base64Test, BytesThatLieInTheTextEnterAnOverrideOnce) {
    struct WithLineBreak : Base64 {
        int Encode(const char* data, unsigned long len, string& out) override {
            const int answer = Base64::Encode(data, len, out);
            out += '\n';
            return answer;
        }
    };
    string text = "hello";
    EXPECT_EQ(1, WithLineBreak().Encode(text.data(), text.size(), text));
    EXPECT_EQ("aGVsbG8=\n", text);
}

TEST(Base64Test, EncodesEveryOneAndTwoBytesLikeThePeer) {
    for (int first = 0; first < 256; ++first) {
        const string one(1, static_cast<char>(first));
        ASSERT_EQ(PeerText(one), Encoded(one)) << Hex(one);
        for (int second = 0; second < 256; ++second) {
            const string two = one + static_cast<char>(second);
            ASSERT_EQ(PeerText(two), Encoded(two)) << Hex(two);
        }
    }
}

TEST(Base64Test, EncodesThreeBytesLikeThePeer) {
    // Every value of each, the others at their ends and between.
    const int ends[] = {0x00, 0x01, 0x0F, 0x3F, 0x40, 0x7F, 0x80, 0xC3, 0xFF};
    for (const int a : ends) {
        for (const int b : ends) {
            for (int c = 0; c < 256; ++c) {
                const char bytes[] = {static_cast<char>(a),
                                      static_cast<char>(b),
                                      static_cast<char>(c)};
                for (std::size_t turn = 0; turn < 3; ++turn) {
                    string three(bytes, 3);
                    std::rotate(three.begin(), three.begin() + 1, three.end());
                    ASSERT_EQ(PeerText(three), Encoded(three)) << Hex(three);
                }
            }
        }
    }
}

TEST(Base64Test, EveryLengthTo1000GoesThereAndBackLikeThePeer) {
    Random random(kSeed);
    std::vector<std::size_t> sizes(1001);
    for (std::size_t size = 0; size < sizes.size(); ++size) {
        sizes[size] = size;
    }
    for (int round = 0; round < 10; ++round) {
        sizes.push_back(1001 + random() % 50000);
    }
    for (const std::size_t size : sizes) {
        const string bytes = RandomBytes(random, size);
        const string text = Encoded(bytes);
        ASSERT_EQ(size / 3 * 4 + (size % 3 != 0 ? 4 : 0), text.size());
        ASSERT_EQ(PeerText(bytes), text) << "seed " << kSeed << ", " << size;
        if (size == 0) {
            continue;
        }
        ASSERT_EQ(bytes, PeerBytes(text)) << "seed " << kSeed << ", " << size;
        const Decoding decoding = Decoded(text);
        ASSERT_EQ(size, decoding.answer);
        ASSERT_EQ(Block(bytes, text.size() + 1), decoding.block)
            << "seed " << kSeed << ", " << size;
    }
}

TEST(Base64Test, RandomBytesGoThereAndBackLikeThePeer) {
    Random random(kSeed);
    for (int step = 0; step < 100000; ++step) {
        const string bytes = RandomBytes(random, 1 + random() % 48);
        const string text = Encoded(bytes);
        ASSERT_EQ(PeerText(bytes), text) << "seed " << kSeed << ", " << step;
        std::vector<char> block(text.size() + 1, kJunk);
        ASSERT_EQ(bytes.size(), Base64().Decode(text.c_str(), block.data()));
        ASSERT_EQ(0, std::memcmp(bytes.data(), block.data(), bytes.size()))
            << "seed " << kSeed << ", " << step;
    }
}

TEST(Base64Test, AnImpossibleLengthThrowsAndReadsNothing) {
    // Of three pages the middle one cannot be read; the texts lie in the others
    // and so before the data and within its supposed length.
    const std::size_t size = 4096;
    void* const pages = ::mmap(nullptr, 3 * size, PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANON, -1, 0);
    ASSERT_NE(MAP_FAILED, pages);
    char* const first = static_cast<char*>(pages);
    const char* const data = first + size;
    ASSERT_EQ(0, ::mprotect(first + size, size, PROT_NONE));
    string* const before = new (first) string();
    string* const within = new (first + 2 * size) string();

    const unsigned long most = before->max_size();
    for (string* const text : {before, within}) {
        for (const unsigned long len :
             {1UL << 62, most / 4 * 3 - 2, most / 4 * 3, most / 4 * 3 + 1,
              most / 4 * 3 + 3, most - 1, most, most + 1, ULONG_MAX / 4 * 3,
              ULONG_MAX - 2, ULONG_MAX - 1, ULONG_MAX}) {
            *text = "junk";
            EXPECT_THROW(Base64().Encode(data, len, *text), std::bad_alloc)
                << len;
            EXPECT_EQ(1, Base64().Encode("Man", 3, *text));
            EXPECT_EQ("TWFu", *text);
        }
    }
    std::destroy_at(before);
    std::destroy_at(within);
    EXPECT_EQ(0, ::munmap(pages, 3 * size));
}

TEST(Base64Test, FailedAllocationsOfEncodePassAndChangeNothing) {
    const string bytes(100, 'M');
    string text;
    unsigned long failures = 0;
    unsigned long allocations = NovuTest::FailEachAllocation(
        [&] {
            text = "junk";
            Base64().Encode(bytes.data(), bytes.size(), text);
        },
        [&] {
            EXPECT_EQ("junk", text);
            ++failures;
        });
    EXPECT_LT(0U, allocations);
    EXPECT_EQ(allocations, failures);
    EXPECT_EQ(PeerText(bytes), text);

    // Out of the text itself.
    failures = 0;
    string within;
    within.reserve(100);
    allocations = NovuTest::FailEachAllocation(
        [&] {
            within.assign(50, 'M');
            Base64().Encode(within.data(), within.size(), within);
        },
        [&] {
            EXPECT_EQ(string(50, 'M'), within);
            ++failures;
        });
    EXPECT_LT(0U, allocations);
    EXPECT_EQ(allocations, failures);
    EXPECT_EQ(PeerText(string(50, 'M')), within);
}

// Decode

const struct DecodeCase {
    int line;
    string text;
    unsigned long answer;
    string bytes;  // In the block, before its zeros.
} kDecodeCases[] = {
    // line    text    answer  bytes
    {__LINE__, "TWFu", 3, "Man"},
    {__LINE__, "TWE=", 2, "Ma"},
    {__LINE__, "TQ", 1, "M"},
    {__LINE__, "TW=Fu", 3, "Man"},
    {__LINE__, "TWFu\n", 0, "Man"},
    {__LINE__, "TW Fu", 0, "M"},

    // [base64-3] '=' anywhere, as often as you like.
    {__LINE__, "TQ==", 1, "M"},
    {__LINE__, "TQ=", 1, "M"},
    {__LINE__, "TWE", 2, "Ma"},
    {__LINE__, "TWE==", 2, "Ma"},
    {__LINE__, "=TWFu", 3, "Man"},
    {__LINE__, "====TWFu", 3, "Man"},
    {__LINE__, "T=W=F=u=", 3, "Man"},
    {__LINE__, "TWFu====", 3, "Man"},
    {__LINE__, "TWFu=TWFu", 6, "ManMan"},
    {__LINE__, "TQ==TQ==", 3, string("M\x04\xD0", 3)},
    {__LINE__, "=", 0, ""},
    {__LINE__, "========", 0, ""},

    // [base64-3] The top bit of any character is ignored, '=' included.
    {__LINE__, "\xD4\xD7\xC6\xF5", 3, "Man"},
    {__LINE__,
     "T\xD7"
     "Fu",
     3, "Man"},
    {__LINE__,
     "TW\xBD"
     "Fu",
     3, "Man"},
    {__LINE__, "\xAF\xAF\xAF\xAF", 3, "\xFF\xFF\xFF"},
    {__LINE__, "TWFu\xA0", 0, "Man"},
    {__LINE__, "TWFu\x8A", 0, "Man"},
    {__LINE__, "TWFu\x80", 0, "Man"},

    // Bits that are left over go, also those that are not 0.
    {__LINE__, "T", 0, ""},
    {__LINE__, "/", 0, ""},
    {__LINE__, "TX", 1, "M"},
    {__LINE__, "T/", 1, "O"},
    {__LINE__, "TWG", 2, "Ma"},
    {__LINE__, "TWFuT", 3, "Man"},
    {__LINE__, "TWFu/", 3, "Man"},
    {__LINE__, "TWFuTQ", 4, "ManM"},
    {__LINE__, "TWFuTWE", 5, "ManMa"},
    {__LINE__, "//////", 4, "\xFF\xFF\xFF\xFF"},

    // [base64-2] What is invalid, and where it stands: the bytes that are
    // whole by then stay.
    {__LINE__, " TWFu", 0, ""},
    {__LINE__, "T WFu", 0, ""},
    {__LINE__, "TWF u", 0, "Ma"},
    {__LINE__, "TWFu TWFu", 0, "Man"},
    {__LINE__, "TWFuTW\tFu", 0, "ManM"},
    {__LINE__, "TWFu\r\nTWFu", 0, "Man"},
    {__LINE__, "TWE=\r", 0, "Ma"},
    {__LINE__, "TWE= ", 0, "Ma"},
    {__LINE__, "-", 0, ""},
    {__LINE__, "_", 0, ""},
    {__LINE__, "TWF-", 0, "Ma"},
    {__LINE__, "TWFu*", 0, "Man"},
    {__LINE__, "TWFu\x7F", 0, "Man"},
    {__LINE__, "TWFu\x01", 0, "Man"},
    {__LINE__, "TWFu!TWFu!", 0, "Man"},
};

TEST(Base64Test, DecodesWhatIsThere) {
    for (const DecodeCase& row : kDecodeCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const Decoding decoding = Decoded(row.text);
        EXPECT_EQ(row.answer, decoding.answer);
        EXPECT_EQ(Block(row.bytes, row.text.size() + 1), decoding.block);
        EXPECT_TRUE(DecodesLikeTheModel(row.text));
    }
}

TEST(Base64Test, DecodingNullOrNothingWritesNothing) {
    char block[8];
    std::fill(std::begin(block), std::end(block), kJunk);
    Base64 base64;
    EXPECT_EQ(0U, base64.Decode(nullptr, block));
    EXPECT_EQ(0U, base64.Decode("", block));
    EXPECT_EQ(string(sizeof block, kJunk), string(block, sizeof block));
    EXPECT_EQ(0U, base64.Decode("TWFu", nullptr));
    EXPECT_EQ(0U, base64.Decode("", nullptr));
    EXPECT_EQ(0U, base64.Decode(nullptr, nullptr));
}

TEST(Base64Test, TheTextEndsAtItsFirstZero) {
    string block(5 + kGuard, kJunk);
    EXPECT_EQ(3U, Base64().Decode("TWFu\0TWFu", block.data()));
    EXPECT_EQ(Block("Man", 5), block);
    block.assign(3 + kGuard, kJunk);
    EXPECT_EQ(1U, Base64().Decode("TW\0Fu", block.data()));
    EXPECT_EQ(Block("M", 3), block);
}

// [base64-5]
TEST(Base64Test, NeedsAndFillsOneByteMoreThanTheText) {
    // Blocks of exactly that, for the address sanitizer to guard.
    for (std::size_t length = 1; length <= 100; ++length) {
        for (const char* const last : {"A", "=", "!"}) {
            const string text = string(length - 1, 'A') + last;
            std::vector<char> block(length + 1, kJunk);
            const unsigned long bytes = (length - 1) * 6 / 8;
            const unsigned long answer = *last == 'A'   ? length * 6 / 8
                                         : *last == '=' ? bytes
                                                        : 0;
            EXPECT_EQ(answer, Base64().Decode(text.c_str(), block.data()));
            EXPECT_EQ(std::vector<char>(length + 1, '\0'), block)
                << text << ": an A is six zero bits";
        }
    }
}

// [base64-2] [base64-3]
TEST(Base64Test, TellsEveryCharacterApart) {
    for (int code = 1; code < 256; ++code) {
        const auto low = static_cast<char>(code % 128);
        string text = "TWFu?AAATWFu";
        text[4] = static_cast<char>(code);
        const Decoding decoding = Decoded(text);
        const std::size_t value =
            low == '\0' ? string::npos : kStandard.find(low);
        if (low == '=') {
            EXPECT_EQ(8U, decoding.answer) << code;
            EXPECT_EQ(Block(string("Man\0\0\x13\x58\x5B", 8), 13),
                      decoding.block)
                << code;
        } else if (value == string::npos) {
            EXPECT_EQ(0U, decoding.answer) << code;
            EXPECT_EQ(Block("Man", 13), decoding.block) << code;
        } else {
            string bytes("Man?\0\0Man", 9);
            bytes[3] = static_cast<char>(value * 4);
            EXPECT_EQ(9U, decoding.answer) << code;
            EXPECT_EQ(Block(bytes, 13), decoding.block) << code;
        }
    }
}

TEST(Base64Test, DecodesEveryOneAndTwoCharactersLikeTheModel) {
    for (int first = 1; first < 256; ++first) {
        const string one(1, static_cast<char>(first));
        ASSERT_TRUE(DecodesLikeTheModel(one)) << Hex(one);
        for (int second = 1; second < 256; ++second) {
            const string two = one + static_cast<char>(second);
            ASSERT_TRUE(DecodesLikeTheModel(two)) << Hex(two);
        }
    }
}

TEST(Base64Test, DecodesRandomTextsLikeTheModel) {
    Random random(kSeed);
    for (int round = 0; round < 100000; ++round) {
        const string text = RandomText(random, RandomLength(random));
        ASSERT_TRUE(DecodesLikeTheModel(text))
            << "seed " << kSeed << ", round " << round << ": " << Hex(text);
    }
}

TEST(Base64Test, DecodingNeitherThrowsNorAllocates) {
    const string text = PeerText(string(3000, '\x5A'));
    string block(text.size() + 1, kJunk);
    string spoiled = text;
    spoiled[2000] = ' ';
    string spoiledBlock = block;
    Base64 base64;
    unsigned long answer = 0;
    unsigned long spoiledAnswer = 4711;
    {
        const NovuTest::FailingAllocation failing(1);
        answer = base64.Decode(text.c_str(), block.data());
        spoiledAnswer = base64.Decode(spoiled.c_str(), spoiledBlock.data());
    }
    EXPECT_EQ(3000U, answer);
    EXPECT_EQ(0U, spoiledAnswer);
    EXPECT_EQ(string(3000, '\x5A') + string(1001, '\0'), block);
    EXPECT_EQ(string(1500, '\x5A') + string(2501, '\0'), spoiledBlock);
}

// Decode over its text

// `text` in the middle of a block, decoded to where `distance` leads.
testing::AssertionResult DecodesOverItself(Random& random, const string& text,
                                           std::ptrdiff_t distance) {
    string block = RandomBytes(random, 256);
    const std::size_t at = 64;
    block.replace(at, text.size() + 1, text.c_str(), text.size() + 1);
    string expected = block;
    char* const model = expected.data() + at;
    const unsigned long modelAnswer = ModelDecode(model, model + distance);
    string actual = block;
    char* const place = actual.data() + at;
    const unsigned long answer = Base64().Decode(place, place + distance);
    if (answer == modelAnswer && actual == expected) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << "seed " << kSeed << ", distance " << distance << ": " << answer
           << " instead of " << modelAnswer << "\ntext     " << Hex(text)
           << "\nexpected " << Hex(expected) << "\nactual   " << Hex(actual);
}

void DecodeOverItself(const string& alphabet) {
    const ChangedAlphabet changed(alphabet);
    Random random(kSeed);
    for (std::ptrdiff_t distance = -40; distance <= 40; ++distance) {
        for (std::size_t length = 1; length <= 100; ++length) {
            const string valid = RandomCharacters(random, length);
            ASSERT_TRUE(DecodesOverItself(random, valid, distance));

            // Whose bytes are characters again, as is that which they mean.
            string nested = valid;
            for (int depth = 0; depth < 3; ++depth) {
                string outer;
                Base64().Encode(nested.data(), nested.size(), outer);
                nested = outer;
            }
            nested.resize(length);
            std::replace(nested.begin(), nested.end(), '\0', '\x80');
            ASSERT_TRUE(DecodesOverItself(random, nested, distance));

            const string any = RandomText(random, length);
            ASSERT_TRUE(DecodesOverItself(random, any, distance));
        }
    }
}

TEST(Base64Test, DecodesOverItsOwnText) { DecodeOverItself(kStandard); }

TEST(Base64Test, DecodesOverItsOwnTextWhereZeroIsACharacter) {
    // The zeros that the block is filled with are read as values.
    DecodeOverItself(StandardWith(41, string(1, '\0')));
}

TEST(Base64Test, ATextThatIsZeroedFirstIsInvalid) {
    char block[] = "TWFu";
    EXPECT_EQ(0U, Base64().Decode(block, block));
    EXPECT_EQ(string(5, '\0'), string(block, 5));

    // The last of its zeros lies on the first character.
    string before("junkTWFu\0", 9);
    EXPECT_EQ(0U, Base64().Decode(before.data() + 4, before.data()));
    EXPECT_EQ(string("\0\0\0\0\0WFu\0", 9), before);

    // The first of its zeros lies on the terminator: nothing is lost.
    string behind("TWFu\0junk", 9);
    EXPECT_EQ(3U, Base64().Decode(behind.data(), behind.data() + 4));
    EXPECT_EQ(string("TWFuMan\0\0", 9), behind);
}

TEST(Base64Test, ATextReadsTheBytesThatItDecodedTo) {
    // Q0NQ is CCP: each byte stands where the text goes on.
    string block = Block("Q0NQAAAAAAAA", 13);
    EXPECT_EQ(0U, Base64().Decode(block.data(), block.data() + 4));
    // CCP in turn are 2, 2, 15, which is 000010 000010 001111; the first byte
    // of these is invalid.
    string expected = Block("Q0NQCCP\x08\x23", 17);
    expected.resize(block.size());
    EXPECT_EQ(Hex(expected), Hex(block));
}

// A changed alphabet

// [base64-1]
TEST(Base64Test, TheNextCallReadsTheAlphabetAfresh) {
    Base64 base64;
    string text;
    char block[5];
    EXPECT_EQ(1, base64.Encode("Man", 3, text));
    EXPECT_EQ("TWFu", text);
    EXPECT_EQ(3U, base64.Decode("TWFu", block));
    {
        const ChangedAlphabet changed(StandardWith(19, "*"));
        EXPECT_EQ(1, base64.Encode("Man", 3, text));
        EXPECT_EQ("*WFu", text);
        EXPECT_EQ(3U, base64.Decode("*WFu", block));
        EXPECT_EQ("Man", string(block, 3));
        EXPECT_EQ(0U, base64.Decode("TWFu", block));

        Base64::s_szBase64Alphabet[22] = '-';
        EXPECT_EQ(1, base64.Encode("Man", 3, text));
        EXPECT_EQ("*-Fu", text);
        EXPECT_EQ(3U, base64.Decode("*-Fu", block));
        EXPECT_EQ(0U, base64.Decode("*WFu", block));
    }
    EXPECT_EQ(1, base64.Encode("Man", 3, text));
    EXPECT_EQ("TWFu", text);
    EXPECT_EQ(3U, base64.Decode("TWFu", block));
    EXPECT_EQ(0U, base64.Decode("*WFu", block));
}

// [base64-1]
TEST(Base64Test, ACharacterFrom0x80OnIsWrittenAndNeverRead) {
    const ChangedAlphabet changed(StandardWith(19, "\xE9"));
    EXPECT_EQ("\xE9WFu", Encoded("Man"));
    EXPECT_EQ(0U, Decoded("TWFu").answer);
    // Its low bits are those of an i, and that is what it reads as.
    const Decoding decoding = Decoded("\xE9WFu");
    EXPECT_EQ(3U, decoding.answer);
    EXPECT_EQ(Block("\x89\x61\x6E", 5), decoding.block);
}

// [base64-1]
TEST(Base64Test, AnEqualsSignInTheAlphabetIsSkippedAllTheSame) {
    const ChangedAlphabet changed(StandardWith(19, "="));
    EXPECT_EQ("=WFu", Encoded("Man"));
    const Decoding decoding = Decoded("=WFu");
    EXPECT_EQ(2U, decoding.answer);
    EXPECT_EQ(Block("\x58\x5B", 5), decoding.block);
}

TEST(Base64Test, OfEqualCharactersTheLastOneIsRead) {
    const ChangedAlphabet changed(StandardWith(40, "T"));
    EXPECT_EQ("TWFu", Encoded("Man"));
    const Decoding decoding = Decoded("TWFu");
    EXPECT_EQ(3U, decoding.answer);
    EXPECT_EQ(Block("\xA1\x61\x6E", 5), decoding.block);
}

TEST(Base64Test, AZeroInTheAlphabetIsWrittenAndReadWithItsTopBit) {
    const ChangedAlphabet changed(StandardWith(19, string(1, '\0')));
    EXPECT_EQ(string("\0WFu", 4), Encoded("Man"));
    const Decoding decoding = Decoded("\x80WFu");
    EXPECT_EQ(3U, decoding.answer);
    EXPECT_EQ(Block("Man", 5), decoding.block);
}

TEST(Base64Test, WhatFollowsThe64CharactersIsNoneOfThem) {
    const ChangedAlphabet changed(kStandard);
    Base64::s_szBase64Alphabet[64] = '*';
    EXPECT_EQ(0U, Decoded("TWFu*").answer);
    EXPECT_EQ("////", Encoded("\xFF\xFF\xFF"));
    Base64::s_szBase64Alphabet[64] = 'A';
    EXPECT_EQ(Block(string(3, '\0'), 5), Decoded("AAAA").block);
}

// [base64-1]
TEST(Base64Test, EncodesInAnyAlphabet) {
    Random random(kSeed);
    for (const AlphabetCase& row : ChangedAlphabets()) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const ChangedAlphabet changed(row.characters);
        for (std::size_t size = 0; size < 200; ++size) {
            const string bytes = RandomBytes(random, size);
            string expected = PeerText(bytes);
            for (char& character : expected) {
                if (character != '=') {  // The padding stays.
                    character = row.characters[kStandard.find(character)];
                }
            }
            ASSERT_EQ(expected, Encoded(bytes)) << Hex(bytes);
        }
    }
}

// [base64-1]
TEST(Base64Test, DecodesRandomTextsInAnyAlphabetLikeTheModel) {
    Random random(kSeed);
    for (const AlphabetCase& row : ChangedAlphabets()) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const ChangedAlphabet changed(row.characters);
        for (int code = 1; code < 256; ++code) {
            string text(5, static_cast<char>(code));
            text[0] = '=';
            ASSERT_TRUE(DecodesLikeTheModel(text)) << Hex(text);
        }
        for (int round = 0; round < 10000; ++round) {
            const string text = RandomText(random, random() % 51);
            ASSERT_TRUE(DecodesLikeTheModel(text))
                << "seed " << kSeed << ", round " << round << ": " << Hex(text);
        }
    }
}

TEST(Base64Test, TheAlphabetItselfCanBeDecoded) {
    const Decoding decoding = Decoded(kStandard);
    EXPECT_EQ(48U, decoding.answer);
    EXPECT_EQ(Block(PeerBytes(kStandard), 65), decoding.block);
    char block[65];
    EXPECT_EQ(48U, Base64().Decode(Base64::s_szBase64Alphabet, block));
    EXPECT_EQ(decoding.block.substr(0, 65), string(block, 65));
}

TEST(Base64Test, TheAlphabetIsReadBeforeAnythingIsWritten) {
    const ChangedAlphabet restored(kStandard);
    char* const alphabet = Base64::s_szBase64Alphabet;
    EXPECT_EQ(6U, Base64().Decode("TWFuVVVV", alphabet + 19));
    EXPECT_EQ(StandardWith(19, string("ManUUU\0\0\0", 9)),
              string(alphabet, 64));

    std::memcpy(alphabet, kStandard.data(), 64);
    EXPECT_EQ(0U, Base64().Decode(alphabet, alphabet));
    EXPECT_EQ(string(65, '\0'), string(alphabet, 65));
}

// Bits

// What the caller of ReadBits and WriteBits keeps.
struct State {
    unsigned long pos = 0;
    int held = 0;
    unsigned long acc = 0;

    bool operator==(const State&) const = default;
};

void PrintTo(const State& state, std::ostream* out) {
    *out << "pos " << state.pos << ", held " << state.held << ", acc "
         << state.acc;
}

struct Group {
    unsigned long bits;
    int got;

    bool operator==(const Group&) const = default;
};

void PrintTo(const Group& group, std::ostream* out) {
    *out << group.bits << " of " << group.got << " bits";
}

Group Read(State& state, int count, const char* src, unsigned long srcLen) {
    Group group{4711, 4711};
    group.bits = Base64().ReadBits(count, &group.got, src, srcLen, state.pos,
                                   state.held, state.acc);
    return group;
}

const struct ReadCase {
    int line;
    int count;
    Group group;
    State after;
} kReadCases[] = {
    // Out of A5 3C FF, that is 10100101 00111100 11111111.
    // line  count  group           pos, held, acc
    {__LINE__, 3, {0b101, 3}, {1, 5, 0xA5}},
    {__LINE__, 5, {0b00101, 5}, {1, 0, 0xA5}},
    {__LINE__, 6, {0b001111, 6}, {2, 2, 0xA53C}},
    {__LINE__, 1, {0b0, 1}, {2, 1, 0xA53C}},
    {__LINE__, 4, {0b0111, 4}, {3, 5, 0xA53CFF}},
    {__LINE__, 2, {0b11, 2}, {3, 3, 0xA53CFF}},

    // Fewer are left: zeros below them. Then none is left.
    {__LINE__, 8, {0b11100000, 3}, {3, 0, 0xA53CFF}},
    {__LINE__, 8, {0, 0}, {3, 0, 0xA53CFF}},
    {__LINE__, 1, {0, 0}, {3, 0, 0xA53CFF}},
};

TEST(Base64Test, ReadsTheHighestBitsFirst) {
    State state;
    for (const ReadCase& row : kReadCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        EXPECT_EQ(row.group, Read(state, row.count, "\xA5\x3C\xFF", 3));
        EXPECT_EQ(row.after, state);
    }
}

TEST(Base64Test, ReadsGroupsOfEverySize) {
    // 11111111 10000000: the last bit of the first byte and the first of the
    // second are told from the others.
    for (int count = 1; count <= 8; ++count) {
        SCOPED_TRACE(testing::Message() << "groups of " << count);
        State state;
        const char* const src = "\xFF\x80";
        const unsigned long ones = (1UL << count) - 1;
        for (int taken = 0; taken + count <= 9; taken += count) {
            EXPECT_EQ((Group{ones, count}), Read(state, count, src, 2));
        }
        const int left = 9 % count;
        const unsigned long ending = ones >> (count - left) << (count - left);
        EXPECT_EQ((Group{ending, count}), Read(state, count, src, 2));
        EXPECT_EQ(2U, state.pos);
    }
}

TEST(Base64Test, ReadsWhatIsHeldFirst) {
    // More than a byte; nothing is taken out of the source.
    State state{0, 64, 0x0123456789ABCDEF};
    EXPECT_EQ((Group{0x01, 8}), Read(state, 8, nullptr, 0));
    EXPECT_EQ((State{0, 56, 0x0123456789ABCDEF}), state);
    EXPECT_EQ((Group{0x2, 4}), Read(state, 4, "\xFF", 1));
    EXPECT_EQ((State{0, 52, 0x0123456789ABCDEF}), state);

    // Just enough.
    state = {5, 3, 0b110};
    EXPECT_EQ((Group{0b110, 3}), Read(state, 3, "\xFF", 1));
    EXPECT_EQ((State{5, 0, 0b110}), state);
}

TEST(Base64Test, BitsAboveThoseHeldAreNoPartOfAGroup) {
    State state{0, 1, ~0UL};
    EXPECT_EQ((Group{0b100, 1}), Read(state, 3, nullptr, 0));
    EXPECT_EQ((State{0, 0, ~0UL}), state);

    state = {0, 0, ~0UL};
    EXPECT_EQ((Group{0, 0}), Read(state, 8, nullptr, 0));
    EXPECT_EQ((Group{0b001, 3}), Read(state, 3, "\x20", 1));
    EXPECT_EQ((State{1, 5, 0xFFFFFFFFFFFFFF20}), state);
    EXPECT_EQ((Group{0, 5}), Read(state, 5, "\x20", 1));
}

TEST(Base64Test, AccKeepsTheBytesThatWereReadUntilTheyAreShiftedOut) {
    const string src = "\x81\x02\x03\x04\x05\x06\x07\x88\x99\xAA";
    State state;
    for (unsigned long at = 0; at < src.size(); ++at) {
        const auto byte = static_cast<unsigned char>(src[at]);
        EXPECT_EQ((Group{byte, 8}), Read(state, 8, src.data(), src.size()));
        EXPECT_EQ(at + 1, state.pos);
        if (at == 7) {
            EXPECT_EQ(0x8102030405060788U, state.acc);
        }
    }
    EXPECT_EQ((State{10, 0, 0x03040506078899AA}), state);
}

TEST(Base64Test, NothingIsReadFromTheEndOfTheSourceOn) {
    const std::vector<char> src = {'\xFF', '\xFF'};
    for (const unsigned long pos : {2UL, 3UL, 1000UL, ULONG_MAX}) {
        State state{pos, 2, 0b01};
        EXPECT_EQ((Group{0b0100, 2}), Read(state, 4, src.data(), 2));
        EXPECT_EQ((State{pos, 0, 0b01}), state);
        EXPECT_EQ((Group{0, 0}), Read(state, 4, src.data(), 2));
        EXPECT_EQ((State{pos, 0, 0b01}), state);

        // Enough is held.
        state = {pos, 4, 0b0110};
        EXPECT_EQ((Group{0b01, 2}), Read(state, 2, src.data(), 2));
        EXPECT_EQ((State{pos, 2, 0b0110}), state);
    }
    State state;
    EXPECT_EQ((Group{0, 0}), Read(state, 8, nullptr, 0));
    EXPECT_EQ(State(), state);
    EXPECT_EQ((Group{0, 0}), Read(state, 8, src.data(), 0));
    EXPECT_EQ(State(), state);
}

TEST(Base64Test, ReadsNothingForACountOutside1To8) {
    for (const int count : {0, -1, -8, 9, 16, 63, 64, INT_MIN, INT_MAX}) {
        for (const State& before : {State(), State{1, 5, 0xABCD}}) {
            State state = before;
            EXPECT_EQ((Group{0, 0}), Read(state, count, "\xFF\xFF\xFF", 3))
                << count;
            EXPECT_EQ(before, state) << count;
            EXPECT_EQ((Group{0, 0}), Read(state, count, nullptr, 0)) << count;
            EXPECT_EQ(before, state) << count;
        }
    }
}

void Write(State& state, unsigned int value, int count, char* dst) {
    Base64().WriteBits(value, count, dst, state.pos, state.held, state.acc);
}

const struct WriteCase {
    int line;
    unsigned int value;
    int count;
    State after;
    string bytes;
} kWriteCases[] = {
    // line    value  count  pos, held, acc     bytes
    {__LINE__, 0b101, 3, {0, 3, 0b101}, ""},
    {__LINE__, 0b00101, 5, {1, 0, 0xA5}, "\xA5"},
    {__LINE__, 0b001111, 6, {1, 6, 0x294F}, "\xA5"},
    {__LINE__, 0b0, 1, {1, 7, 0x529E}, "\xA5"},
    {__LINE__, 0b0, 0, {1, 7, 0x529E}, "\xA5"},
    {__LINE__, 0b0111, 4, {2, 3, 0x529E7}, "\xA5\x3C"},
    {__LINE__, 0b11, 2, {2, 5, 0x14A79F}, "\xA5\x3C"},
    {__LINE__, 0b111, 3, {3, 0, 0xA53CFF}, "\xA5\x3C\xFF"},
    {__LINE__, 0x80, 8, {4, 0, 0xA53CFF80}, "\xA5\x3C\xFF\x80"},

    // Several bytes at once.
    {__LINE__, 0b1, 1, {4, 1, 0x14A79FF01}, "\xA5\x3C\xFF\x80"},
    {__LINE__, 0x1234, 16, {6, 1, 0x14A79FF011234}, "\xA5\x3C\xFF\x80\x89\x1A"},
    {__LINE__,
     0x89ABCDEF,
     32,
     {10, 1, 0xFF01123489ABCDEF},
     "\xA5\x3C\xFF\x80\x89\x1A\x44\xD5\xE6\xF7"},
};

TEST(Base64Test, WritesEveryByteThatIsFull) {
    State state;
    string block(12 + kGuard, kJunk);
    for (const WriteCase& row : kWriteCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Write(state, row.value, row.count, block.data());
        EXPECT_EQ(row.after, state);
        string expected = row.bytes;
        expected.resize(block.size(), kJunk);
        EXPECT_EQ(expected, block);
    }
}

TEST(Base64Test, WritesAtThePositionThatItIsGiven) {
    string block(8, kJunk);
    State state{5, 4, 0xF};
    Write(state, 0x2, 4, block.data());
    EXPECT_EQ((State{6, 0, 0xF2}), state);
    EXPECT_EQ("\xA5\xA5\xA5\xA5\xA5\xF2\xA5\xA5", block);
}

TEST(Base64Test, WritesAllThatIsHeld) {
    // More than a byte from the start.
    string block(8, kJunk);
    State state{0, 24, 0xAABBCC};
    Write(state, 1, 1, block.data());
    EXPECT_EQ((State{3, 1, 0x1557799}), state);
    EXPECT_EQ("\xAA\xBB\xCC\xA5\xA5\xA5\xA5\xA5", block);
}

TEST(Base64Test, WhatIsShortOfAByteNeedsNoBlock) {
    State state;
    Write(state, 0x7F, 7, nullptr);
    EXPECT_EQ((State{0, 7, 0x7F}), state);
}

TEST(Base64Test, WritesNothingForACountOutside0To32) {
    for (const int count : {-1, -8, 33, 64, INT_MIN, INT_MAX}) {
        State state{1, 5, 0x1F};
        Write(state, 0xFFFFFFFF, count, nullptr);
        EXPECT_EQ((State{1, 5, 0x1F}), state) << count;
    }
}

// [base64-4]
TEST(Base64Test, AValueIsNotMasked) {
    char block[2] = {kJunk, kJunk};
    State state;
    Write(state, 0b0010, 4, block);
    Write(state, 0b110101, 4, block);
    EXPECT_EQ((State{1, 0, 0b110101}), state);
    EXPECT_EQ('\x35', block[0]) << "two bits of the first four are spoilt";

    // Above the byte they do no harm but stay in acc.
    state = {};
    Write(state, 0xFFFFFF5A, 8, block);
    EXPECT_EQ((State{1, 0, 0xFFFFFF5A}), state);
    Write(state, 0x3, 8, block);
    EXPECT_EQ((State{2, 0, 0xFFFFFF5A03}), state);
    EXPECT_EQ("\x5A\x03", string(block, 2));
}

TEST(Base64Test, AccKeepsWhatWasWrittenUntilItIsShiftedOut) {
    char block[10];
    State state{0, 0, ~0UL};
    Write(state, 0, 8, block);
    EXPECT_EQ((State{1, 0, 0xFFFFFFFFFFFFFF00}), state);
    EXPECT_EQ('\0', block[0]);
    for (unsigned int value = 1; value <= 9; ++value) {
        Write(state, value, 8, block);
    }
    EXPECT_EQ((State{10, 0, 0x0203040506070809}), state);
    EXPECT_EQ(string("\0\1\2\3\4\5\6\7\x8\x9", 10), string(block, 10));
}

// `count` bits from `at` on, the highest first; zeros behind the last one.
unsigned int BitsAt(const std::vector<bool>& bits, std::size_t at, int count) {
    unsigned int value = 0;
    for (int index = 0; index < count; ++index, ++at) {
        value = value * 2 + (at < bits.size() && bits[at] ? 1U : 0U);
    }
    return value;
}

TEST(Base64Test, RandomGroupsOfBitsAreReadAsTheyWereWritten) {
    const int groups = 100000;
    Random random(kSeed);
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);

    std::vector<bool> bits;
    std::vector<int> counts;
    string block(groups + kGuard, kJunk);
    State state;
    for (int group = 0; group < groups; ++group) {
        const int count = 1 + static_cast<int>(random() % 8);
        const auto value = static_cast<unsigned int>(random()) % (1U << count);
        counts.push_back(count);
        for (int bit = count - 1; bit >= 0; --bit) {
            bits.push_back((value >> bit & 1U) != 0);
        }
        Write(state, value, count, block.data());
        ASSERT_EQ(bits.size() / 8, state.pos) << "group " << group;
        ASSERT_EQ(bits.size() % 8, static_cast<unsigned int>(state.held));
        ASSERT_EQ(kJunk, block[state.pos]) << "group " << group;
        const std::size_t whole = state.pos * 8;
        ASSERT_EQ(BitsAt(bits, whole, state.held),
                  state.acc % (1UL << state.held))
            << "group " << group;
    }
    for (std::size_t at = 0; at < state.pos; ++at) {
        ASSERT_EQ(BitsAt(bits, at * 8, 8),
                  static_cast<unsigned char>(block[at]))
            << "byte " << at;
    }

    // The same groups, then others, out of the whole bytes.
    const std::vector<char> src(
        block.data(), block.data() + static_cast<std::ptrdiff_t>(state.pos));
    bits.resize(src.size() * 8);
    for (const bool same : {true, false}) {
        State reading;
        std::size_t at = 0;
        for (std::size_t group = 0; at < bits.size(); ++group) {
            const int count =
                same ? counts[group] : 1 + static_cast<int>(random() % 8);
            const int left = static_cast<int>(
                std::min(bits.size() - at, static_cast<std::size_t>(count)));
            const Group expected{BitsAt(bits, at, count), left};
            ASSERT_EQ(expected, Read(reading, count, src.data(), src.size()))
                << "group " << group;
            at += static_cast<std::size_t>(left);
            ASSERT_EQ((at + 7) / 8, reading.pos) << "group " << group;
            ASSERT_EQ(reading.pos * 8 - at,
                      static_cast<std::size_t>(reading.held))
                << "group " << group;
        }
        EXPECT_EQ((Group{0, 0}), Read(reading, 8, src.data(), src.size()));
    }
}

TEST(Base64Test, GroupsOfSixBitsMakeTheSameText) {
    Random random(kSeed);
    for (std::size_t size = 0; size < 300; ++size) {
        const string bytes = RandomBytes(random, size);
        string text;
        State reading;
        for (std::size_t taken = 0; taken < size * 8; taken += 6) {
            const Group group = Read(reading, 6, bytes.data(), bytes.size());
            ASSERT_EQ(std::min(6UL, size * 8 - taken),
                      static_cast<std::size_t>(group.got));
            text += kStandard[group.bits];
        }
        text.append((4 - text.size() % 4) % 4, '=');
        ASSERT_EQ(Encoded(bytes), text) << Hex(bytes);

        State writing;
        string back(size, kJunk);
        for (const char character : text) {
            if (character != '=') {
                Write(writing,
                      static_cast<unsigned int>(kStandard.find(character)), 6,
                      back.data());
            }
        }
        ASSERT_EQ(size, writing.pos);
        ASSERT_EQ(bytes, back);
    }
}

// Threads

TEST(Base64Test, SeveralThreadsEncodeAndDecodeAtOnce) {
    Base64 base64;  // One for all.
    std::array<int, 4> wrong{};
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index < wrong.size(); ++index) {
        threads.emplace_back([&base64, &wrong, index] {
            Random random(kSeed + static_cast<unsigned int>(index));
            for (std::size_t size = 1; size <= 300; ++size) {
                const string bytes = RandomBytes(random, size);
                string text;
                const int encoded =
                    base64.Encode(bytes.data(), bytes.size(), text);
                string block(text.size() + 1, kJunk);
                const unsigned long decoded =
                    base64.Decode(text.c_str(), block.data());
                block.resize(size);
                if (encoded != 1 || text != PeerText(bytes) ||
                    decoded != size || block != bytes) {
                    ++wrong[index];
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
