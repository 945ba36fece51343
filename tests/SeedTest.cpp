// The contract of Bases/Seed.h. Keys and blocks are written as hexadecimal
// digits, two for each byte. Expected values are those of RFC 4269, of OpenSSL,
// which is given and gives the bytes of each word in reverse, and, for round
// keys that no schedule makes, of a model that follows the RFC with loops.

#include "Bases/Seed.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "Bases/Impl/SeedTables.h"
#include "tests/support/OpenSslSeed.h"

// Declared once more under the plain symbols, which links only if those exist.
extern "C" {
void PlainRoundKey(std::uint32_t*,
                   const unsigned char*) __asm__("SeedRoundKey");
void PlainEncrypt(unsigned char*, const std::uint32_t*) __asm__("SeedEncrypt");
void PlainDecrypt(unsigned char*, const std::uint32_t*) __asm__("SeedDecrypt");
void PlainNovuRoundKey(std::uint32_t*,
                       const unsigned char*) __asm__("NovuSeedRoundKey");
void PlainNovuEncrypt(unsigned char*,
                      const std::uint32_t*) __asm__("NovuSeedEncrypt");
void PlainNovuDecrypt(unsigned char*,
                      const std::uint32_t*) __asm__("NovuSeedDecrypt");
}

namespace {

using NovuTest::WordsReversed;

using Block = std::array<unsigned char, 16>;  // A key, too.
using Table = std::array<std::uint32_t, 32>;
using Random = std::mt19937;

const Random::result_type kSeed = 20241121;

static_assert(std::endian::native == std::endian::little,
              "as are the vectors in the host's order below");

static_assert(
    std::is_same_v<decltype(NovuSeedRoundKey), decltype(SeedRoundKey)>);
static_assert(std::is_same_v<decltype(NovuSeedEncrypt), decltype(SeedEncrypt)>);
static_assert(std::is_same_v<decltype(NovuSeedDecrypt), decltype(SeedDecrypt)>);

const struct Functions {
    const char* name;
    decltype(&SeedRoundKey) roundKey;
    decltype(&SeedEncrypt) encrypt;
    decltype(&SeedDecrypt) decrypt;
} kFunctions[] = {
    {"Seed...", SeedRoundKey, SeedEncrypt, SeedDecrypt},
    {"NovuSeed...", NovuSeedRoundKey, NovuSeedEncrypt, NovuSeedDecrypt},
    {"symbols of Seed...", PlainRoundKey, PlainEncrypt, PlainDecrypt},
    {"symbols of NovuSeed...", PlainNovuRoundKey, PlainNovuEncrypt,
     PlainNovuDecrypt},
};

// Bytes and words

Block FromHex(const std::string& digits) {
    EXPECT_EQ(2 * Block().size(), digits.size());
    Block block{};
    for (std::size_t index = 0; index < block.size(); ++index) {
        block[index] = static_cast<unsigned char>(
            std::stoul(digits.substr(2 * index, 2), nullptr, 16));
    }
    return block;
}

Block RandomBlock(Random& random) {
    Block block{};
    for (unsigned char& byte : block) {
        byte = static_cast<unsigned char>(random());
    }
    return block;
}

Table RandomTable(Random& random) {
    Table table{};
    for (std::uint32_t& word : table) {
        word = static_cast<std::uint32_t>(random());
    }
    return table;
}

// The functions on values

Table Expanded(const Functions& functions, const Block& key) {
    Table table;
    table.fill(0xA5A5A5A5);
    functions.roundKey(table.data(), key.data());
    return table;
}

Block Encrypted(const Functions& functions, Block block, const Table& table) {
    functions.encrypt(block.data(), table.data());
    return block;
}

Block Decrypted(const Functions& functions, Block block, const Table& table) {
    functions.decrypt(block.data(), table.data());
    return block;
}

// The model, for round keys of any value

std::uint32_t ModelG(std::uint32_t word) {
    const std::array<const std::array<std::uint32_t, 256>*, 4> tables = {
        &Novu::kSeedSs0, &Novu::kSeedSs1, &Novu::kSeedSs2, &Novu::kSeedSs3};
    std::uint32_t result = 0;
    for (const auto* const table : tables) {
        result ^= (*table)[word % 256];
        word /= 256;
    }
    return result;
}

Block Model(const Block& block, const Table& table, bool encrypt) {
    std::array<std::uint32_t, 4> words{};  // L0, L1, R0, R1
    std::memcpy(words.data(), block.data(), block.size());
    for (std::size_t round = 0; round < 16; ++round) {
        const std::size_t pair = encrypt ? round : 15 - round;
        std::uint32_t t0 = words[2] ^ table[2 * pair];
        std::uint32_t t1 = words[3] ^ table[2 * pair + 1];
        t1 = ModelG(t1 ^ t0);
        t0 = ModelG(t0 + t1);
        t1 = ModelG(t1 + t0);
        t0 += t1;
        words = {words[2], words[3], words[0] ^ t0, words[1] ^ t1};
    }
    words = {words[2], words[3], words[0], words[1]};
    Block result{};
    std::memcpy(result.data(), words.data(), result.size());
    return result;
}

// Constants

const struct TableCase {
    int line;
    const std::array<std::uint32_t, 256>* table;
    std::array<std::uint32_t, 4> first;
    std::uint32_t last;
    std::uint32_t sum;  // modulo 2 to the power 32
} kTableCases[] = {
    {__LINE__,
     &Novu::kSeedSs0,
     {0x2989a1a8, 0x05858184, 0x16c6d2d4, 0x13c3d3d0},
     0x1a8a9298,
     0xe7f9fe00},
    {__LINE__,
     &Novu::kSeedSs1,
     {0x38380830, 0xe828c8e0, 0x2c2d0d21, 0xa42686a2},
     0xb43787b3,
     0x1fe7f980},
    {__LINE__,
     &Novu::kSeedSs2,
     {0xa1a82989, 0x81840585, 0xd2d416c6, 0xd3d013c3},
     0x92981a8a,
     0xfe1fe780},
    {__LINE__,
     &Novu::kSeedSs3,
     {0x08303838, 0xc8e0e828, 0x0d212c2d, 0x86a2a426},
     0x87b3b437,
     0xf9fe1f80},
};

TEST(SeedTest, TheTablesAreThePublishedOnes) {
    for (const TableCase& row : kTableCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const auto& table = *row.table;
        EXPECT_TRUE(
            std::equal(row.first.begin(), row.first.end(), table.begin()));
        EXPECT_EQ(row.last, table.back());
        EXPECT_EQ(row.sum, std::accumulate(table.begin(), table.end(), 0U));
        EXPECT_EQ(0U, std::accumulate(table.begin(), table.end(), 0U,
                                      std::bit_xor<>()));
    }
}

TEST(SeedTest, TheBoxesArePermutations) {
    for (const Novu::SeedBox* const box : {&Novu::kSeedS1, &Novu::kSeedS2}) {
        EXPECT_EQ(256U, std::set<int>(box->begin(), box->end()).size());
    }
}

TEST(SeedTest, TheKeyConstantsAreThePublishedOnes) {
    EXPECT_EQ((std::array<std::uint32_t, 16>{
                  0x9e3779b9, 0x3c6ef373, 0x78dde6e6, 0xf1bbcdcc, 0xe3779b99,
                  0xc6ef3733, 0x8dde6e67, 0x1bbcdccf, 0x3779b99e, 0x6ef3733c,
                  0xdde6e678, 0xbbcdccf1, 0x779b99e3, 0xef3733c6, 0xde6e678d,
                  0xbcdccf1b}),
              Novu::kSeedKeyConstants);
}

// Vectors

const struct VectorCase {
    int line;
    const char* key;
    const char* plain;
    const char* rfc;  // The ciphertext that RFC 4269 prints.
    const char*
        host;  // The one for these very bytes, with the words of x86-64.
} kVectors[] = {
    {__LINE__, "00000000000000000000000000000000",
     "000102030405060708090a0b0c0d0e0f", "5ebac6e0054e166819aff1cc6d346cdb",
     "1b58932d880e347afbd57a1109a87400"},
    {__LINE__, "000102030405060708090a0b0c0d0e0f",
     "00000000000000000000000000000000", "c11f22f20140505084483597e4370f43",
     "0b08439d6b48f5cdd5144876a3c9dc49"},
    {__LINE__, "4706480851e61be85d74bfb3fd956185",
     "83a2f8a288641fb9a4e9a5cc2f131c7d", "ee54d13ebcae706d226bc3142cd40d4a",
     "280f06ea991c1de815286b3733323ee5"},
    {__LINE__, "28dbc3bc49ffd87dcfa509b11d422be7",
     "b41e6be2eba84a148e2eed84593c5ec7", "9b9b7bfcd1813cb95d0b3618f40f5122",
     "0144985fd97df82af5bb9fab3b997125"},
};

// [seed-1]
TEST(SeedTest, MeetsTheVectorsOfTheRfcWithTheBytesOfEachWordReversed) {
    for (const Functions& functions : kFunctions) {
        for (const VectorCase& row : kVectors) {
            SCOPED_TRACE(testing::Message()
                         << functions.name << ", row at line " << row.line);
            const Table table =
                Expanded(functions, WordsReversed(FromHex(row.key)));
            const Block plain = WordsReversed(FromHex(row.plain));
            const Block cipher = WordsReversed(FromHex(row.rfc));
            EXPECT_EQ(cipher, Encrypted(functions, plain, table));
            EXPECT_EQ(plain, Decrypted(functions, cipher, table));
        }
    }
}

// [seed-1]
TEST(SeedTest, ReadsAndWritesWordsInTheHostsOrder) {
    for (const Functions& functions : kFunctions) {
        for (const VectorCase& row : kVectors) {
            SCOPED_TRACE(testing::Message()
                         << functions.name << ", row at line " << row.line);
            const Table table = Expanded(functions, FromHex(row.key));
            const Block plain = FromHex(row.plain);
            const Block cipher = FromHex(row.host);
            EXPECT_EQ(cipher, Encrypted(functions, plain, table));
            EXPECT_EQ(plain, Decrypted(functions, cipher, table));
            EXPECT_NE(FromHex(row.rfc), Encrypted(functions, plain, table));
        }
    }
}

TEST(SeedTest, TheScheduleOfTheKeyOfZeros) {
    const Table expected = {
        0x7c8f8c7e, 0xc737a22c, 0xff276cdb, 0xa7ca684a, 0x2f9d01a1, 0x70049e41,
        0xae59b3c4, 0x4245e90c, 0xa1d6400f, 0xdbc1394e, 0x85963508, 0x0c5f1fcb,
        0xb684bda7, 0x61a4aeae, 0xd17e0741, 0xfee90aa1, 0x76cc05d5, 0xe97a7394,
        0x50ac6f92, 0x1b2666e5, 0x65b7904a, 0x8ec3a7b3, 0x2f7e2e22, 0xa2b121b9,
        0x4d0bfde4, 0x4e888d9b, 0x631c8ddc, 0x4378a6c4, 0x216af65f, 0x7878c031,
        0x71891150, 0x98b255b0};
    for (const Functions& functions : kFunctions) {
        EXPECT_EQ(expected, Expanded(functions, Block{})) << functions.name;
    }
}

// [seed-2]
TEST(SeedTest, TheScheduleTakesTheTableFirstAndTheOthersTakeItSecond) {
    static_assert(std::is_same_v<decltype(SeedRoundKey),
                                 void(std::uint32_t*, const unsigned char*)>);
    static_assert(std::is_same_v<decltype(SeedEncrypt),
                                 void(unsigned char*, const std::uint32_t*)>);
    static_assert(std::is_same_v<decltype(SeedDecrypt),
                                 void(unsigned char*, const std::uint32_t*)>);
    for (const Functions& functions : kFunctions) {
        SCOPED_TRACE(functions.name);
        Table table{};
        Block bytes{};
        functions.roundKey(table.data(), bytes.data());
        EXPECT_NE(Table{}, table);
        EXPECT_EQ(Block{}, bytes);
        const Table before = table;
        functions.encrypt(bytes.data(), table.data());
        EXPECT_EQ(before, table);
        EXPECT_NE(Block{}, bytes);
        functions.decrypt(bytes.data(), table.data());
        EXPECT_EQ(before, table);
        EXPECT_EQ(Block{}, bytes);
    }
}

// Random keys and blocks

TEST(SeedTest, AgreesWithOpensslWhenTheBytesOfEachWordAreReversed) {
    Random random(kSeed);
    NovuTest::OpenSslSeed peer;
    for (int round = 0; round < 5000; ++round) {
        const Block key = RandomBlock(random);
        const Block block = RandomBlock(random);
        const Block rightKey = WordsReversed(key);
        const Block rightBlock = WordsReversed(block);
        const Block encrypted =
            WordsReversed(peer.Encrypt(rightBlock, rightKey));
        const Block decrypted =
            WordsReversed(peer.Decrypt(rightBlock, rightKey));
        const Functions& functions = kFunctions[random() % 2];
        const Table table = Expanded(functions, key);
        ASSERT_EQ(encrypted, Encrypted(functions, block, table))
            << functions.name << ", seed " << kSeed << ", round " << round;
        ASSERT_EQ(decrypted, Decrypted(functions, block, table))
            << functions.name << ", seed " << kSeed << ", round " << round;
    }
}

const std::array<unsigned char, 2> kExtremes = {0x00, 0xFF};

// A single bit of the key or of the block, so that no sum has a carry by
// chance.
TEST(SeedTest, AgreesWithOpensslOnSingleBits) {
    NovuTest::OpenSslSeed peer;
    for (std::size_t bit = 0; bit < 128; ++bit) {
        for (const unsigned char others : kExtremes) {
            Block bits;
            bits.fill(others);
            bits[bit / 8] ^= static_cast<unsigned char>(1U << bit % 8);
            Block plain;
            plain.fill(others);
            for (const auto& [key, block] :
                 {std::pair(bits, plain), std::pair(plain, bits)}) {
                const Table table = Expanded(kFunctions[0], WordsReversed(key));
                ASSERT_EQ(WordsReversed(peer.Encrypt(block, key)),
                          Encrypted(kFunctions[0], WordsReversed(block), table))
                    << "bit " << bit;
                ASSERT_EQ(WordsReversed(peer.Decrypt(block, key)),
                          Decrypted(kFunctions[0], WordsReversed(block), table))
                    << "bit " << bit;
            }
        }
    }
}

TEST(SeedTest, AnyWordsMayBeRoundKeys) {
    Random random(kSeed);
    for (int round = 0; round < 3000; ++round) {
        Table table = RandomTable(random);
        if (round % 100 == 0) {
            table.fill(round % 200 == 0 ? 0 : 0xFFFFFFFF);
        }
        const Block block = RandomBlock(random);
        const Functions& functions = kFunctions[random() % 2];
        ASSERT_EQ(Model(block, table, true), Encrypted(functions, block, table))
            << functions.name << ", seed " << kSeed << ", round " << round;
        ASSERT_EQ(Model(block, table, false),
                  Decrypted(functions, block, table))
            << functions.name << ", seed " << kSeed << ", round " << round;
    }
}

TEST(SeedTest, EncryptionAndDecryptionUndoEachOther) {
    Random random(kSeed);
    for (int round = 0; round < 25000; ++round) {
        const Functions& functions = kFunctions[round % 2];
        const Table table = round % 4 < 2
                                ? RandomTable(random)
                                : Expanded(functions, RandomBlock(random));
        const Block block = RandomBlock(random);
        const Block encrypted = Encrypted(functions, block, table);
        const Block decrypted = Decrypted(functions, block, table);
        ASSERT_NE(block, encrypted);
        ASSERT_NE(block, decrypted);
        ASSERT_EQ(block, Decrypted(functions, encrypted, table))
            << functions.name << ", seed " << kSeed << ", round " << round;
        ASSERT_EQ(block, Encrypted(functions, decrypted, table))
            << functions.name << ", seed " << kSeed << ", round " << round;
    }
}

TEST(SeedTest, TheSameKeyWritesTheSameWordsWhateverWasThere) {
    Random random(kSeed);
    for (const Functions& functions : kFunctions) {
        const Block key = RandomBlock(random);
        const Table first = Expanded(functions, key);
        Table again = RandomTable(random);
        functions.roundKey(again.data(), key.data());
        EXPECT_EQ(first, again) << functions.name;
        functions.roundKey(again.data(), key.data());
        EXPECT_EQ(first, again) << functions.name;
    }
}

// What is read and what is written

// `Value` at `offset` bytes from where everything is aligned, behind junk, with
// `behind` bytes of junk after it: none of them lets the address sanitizer see
// each byte too far.
template <typename Value>
class Placed {
public:
    Placed(const Value& value, std::size_t offset, std::size_t behind)
        : start(offset), bytes(offset + sizeof(Value) + behind, kJunk) {
        Put(value);
    }

    void Put(const Value& value) {
        std::memcpy(bytes.data() + start, &value, sizeof value);
    }

    Value Get() const {
        Value value;
        std::memcpy(&value, bytes.data() + start, sizeof value);
        return value;
    }

    unsigned char* Bytes() { return bytes.data() + start; }

    std::uint32_t* Words() {
        return reinterpret_cast<std::uint32_t*>(bytes.data() + start);
    }

    // Whether `value` stands there and nothing around it has changed.
    bool HoldsOnly(const Value& value) const {
        return bytes ==
               Placed(value, start, bytes.size() - sizeof(Value) - start).bytes;
    }

private:
    static constexpr unsigned char kJunk = 0xC3;

    std::size_t start;
    std::vector<unsigned char> bytes;
};

const std::array<std::size_t, 2> kBehind = {0, 20};

TEST(SeedTest, TheScheduleNeedsNoAlignmentAndTouchesNothingElse) {
    Random random(kSeed);
    const Block key = RandomBlock(random);
    for (const Functions& functions : kFunctions) {
        const Table expected = Expanded(functions, key);
        for (std::size_t at = 0; at < 256; ++at) {
            for (const std::size_t behind : kBehind) {
                Placed<Table> table(RandomTable(random), at / 16, behind);
                Placed<Block> userKey(key, at % 16, behind);
                functions.roundKey(table.Words(), userKey.Bytes());
                ASSERT_TRUE(table.HoldsOnly(expected)) << functions.name;
                ASSERT_TRUE(userKey.HoldsOnly(key)) << functions.name;
            }
        }
    }
}

TEST(SeedTest, BlocksAndTablesNeedNoAlignmentAndNothingElseIsTouched) {
    Random random(kSeed);
    const Block block = RandomBlock(random);
    const Table roundKeys = RandomTable(random);
    for (const Functions& functions : kFunctions) {
        const Block encrypted = Encrypted(functions, block, roundKeys);
        for (std::size_t at = 0; at < 256; ++at) {
            for (const std::size_t behind : kBehind) {
                Placed<Block> inPlace(block, at / 16, behind);
                Placed<Table> table(roundKeys, at % 16, behind);
                functions.encrypt(inPlace.Bytes(), table.Words());
                ASSERT_TRUE(inPlace.HoldsOnly(encrypted)) << functions.name;
                functions.decrypt(inPlace.Bytes(), table.Words());
                ASSERT_TRUE(inPlace.HoldsOnly(block)) << functions.name;
                ASSERT_TRUE(table.HoldsOnly(roundKeys)) << functions.name;
            }
        }
    }
}

// Read-only memory: a write, be it of the same words, would end the test.
constexpr Block kReadOnlyKey = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
constexpr Table kReadOnlyTable = {0x01234567, 0x89abcdef};

TEST(SeedTest, KeysAndTablesAreOnlyRead) {
    for (const Functions& functions : kFunctions) {
        const Block key = kReadOnlyKey;
        const Table table = kReadOnlyTable;
        EXPECT_EQ(Expanded(functions, key), Expanded(functions, kReadOnlyKey));
        EXPECT_EQ(Encrypted(functions, key, table),
                  Encrypted(functions, key, kReadOnlyTable));
        EXPECT_EQ(Decrypted(functions, key, table),
                  Decrypted(functions, key, kReadOnlyTable));
    }
}

// Threads

TEST(SeedTest, SeveralThreadsShareATable) {
    Random random(kSeed);
    const Block key = RandomBlock(random);
    const Table table = Expanded(kFunctions[0], key);
    std::array<int, 4> wrong{};
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index < wrong.size(); ++index) {
        threads.emplace_back([&key, &table, &wrong, index] {
            Random blocks(kSeed + static_cast<unsigned int>(index));
            for (int round = 0; round < 500; ++round) {
                const Functions& functions = kFunctions[round % 2];
                const Block block = RandomBlock(blocks);
                const Block encrypted = Encrypted(functions, block, table);
                if (encrypted != Model(block, table, true) ||
                    Decrypted(functions, encrypted, table) != block ||
                    Expanded(functions, key) != table) {
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
