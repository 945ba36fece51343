// The contract of Bases/Crypto.h. The factory is looked at from two sides: by
// the objects that it makes, and with Scripted, a class that counts what is
// done to it and fails where it is told to.

#include "Bases/Crypto.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

#include "Bases/CryptoBlockCipherSeed.h"
#include "Bases/CryptoHashMd5.h"
#include "Bases/Impl/CryptoFactory.h"
#include "tests/support/Allocation.h"
#include "tests/support/VirtualSlots.h"

namespace {

using Novu::CreateCrypto;
using Novu::Crypto;
using Novu::CryptoBlockCipherSeed;
using Novu::CryptoHashMd5;
using Novu::DestroyCrypto;
using Novu::MakeCrypto;
using NovuTest::AllocationLedger;
using NovuTest::FailingAllocation;

using std::is_same_v;
using Ulong = unsigned long;
using Block = unsigned char*;
using Bytes = std::vector<unsigned char>;

// Types

static_assert(std::is_enum_v<Crypto::Type>);
static_assert(is_same_v<std::underlying_type_t<Crypto::Type>, unsigned int>);
static_assert(sizeof(Crypto::Type) == 4 && CHAR_BIT == 8);
static_assert(Crypto::HashMd5 == 1);
static_assert(Crypto::BlockCipherSeed == 2);

static_assert(std::is_abstract_v<Crypto>);
static_assert(std::has_virtual_destructor_v<Crypto>);
static_assert(sizeof(Crypto) == sizeof(void*), "no data of its own");
static_assert(sizeof(Crypto) == 8);

static_assert(
    is_same_v<decltype(CreateCrypto), Crypto*(const Crypto::Type& type)>);
static_assert(is_same_v<decltype(DestroyCrypto), void(Crypto*& crypto)>);

using Transform = int (Crypto::*)(Block, Ulong, Ulong&, Block&, Ulong&);
static_assert(is_same_v<decltype(&Crypto::Create), int (Crypto::*)()>);
static_assert(is_same_v<decltype(&Crypto::Destroy), void (Crypto::*)()>);
static_assert(
    is_same_v<decltype(&Crypto::GetDataSizeUnit), unsigned int (Crypto::*)()>);
static_assert(is_same_v<decltype(&Crypto::GetUserSecretKeySize),
                        unsigned int (Crypto::*)()>);
static_assert(is_same_v<decltype(&Crypto::SetUserSecretKey),
                        int (Crypto::*)(const unsigned char*)>);
static_assert(is_same_v<decltype(&Crypto::Encrypt), Transform>);
static_assert(is_same_v<decltype(&Crypto::Decrypt), Transform>);

static_assert(std::is_convertible_v<CryptoHashMd5*, Crypto*>, "public");
static_assert(std::is_convertible_v<CryptoBlockCipherSeed*, Crypto*>);

// A class for the factory

enum class Operation {
    kCreate,
    kDestroy,
    kGetDataSizeUnit,
    kGetUserSecretKeySize,
    kSetUserSecretKey,
    kEncrypt,
    kDecrypt
};

// What Scripted does, and what was done to it.
struct Script {
    bool constructorThrows = false;
    bool createThrows = false;
    int createAnswers = 1;

    int constructed = 0;
    int destructed = 0;
    std::vector<Operation> operations;

    // Looked at while Destroy runs.
    Crypto** pointer = nullptr;
    const AllocationLedger* ledger = nullptr;
    const Crypto* pointerInDestroy = nullptr;
    std::size_t blocksInDestroy = 0;
    bool destroyNullsPointer = false;
};

thread_local Script* script = nullptr;

class Scripted : public Crypto {
public:
    Scripted() {
        ++script->constructed;
        if (script->constructorThrows) {
            throw std::runtime_error("constructor");
        }
    }
    Scripted(const Scripted&) = delete;
    Scripted& operator=(const Scripted&) = delete;

    int Create() override {
        Note(Operation::kCreate);
        if (script->createThrows) {
            throw std::runtime_error("Create");
        }
        return script->createAnswers;
    }
    void Destroy() override {
        Note(Operation::kDestroy);
        if (script->pointer != nullptr) {
            script->pointerInDestroy = *script->pointer;
            script->blocksInDestroy = script->ledger->Blocks();
            if (script->destroyNullsPointer) {
                *script->pointer = nullptr;
            }
        }
    }
    unsigned int GetDataSizeUnit() override {
        Note(Operation::kGetDataSizeUnit);
        return 1001;
    }
    unsigned int GetUserSecretKeySize() override {
        Note(Operation::kGetUserSecretKeySize);
        return 1002;
    }
    int SetUserSecretKey(const unsigned char* /*key*/) override {
        Note(Operation::kSetUserSecretKey);
        return 1003;
    }
    int Encrypt(Block /*input*/, Ulong /*inputLength*/, Ulong& /*consumed*/,
                Block& /*output*/, Ulong& /*outputLength*/) override {
        Note(Operation::kEncrypt);
        return 1004;
    }
    int Decrypt(Block /*input*/, Ulong /*inputLength*/, Ulong& /*consumed*/,
                Block& /*output*/, Ulong& /*outputLength*/) override {
        Note(Operation::kDecrypt);
        return 1005;
    }
    ~Scripted() override { ++script->destructed; }

    unsigned char payload[56] = {};  // More than an interface has.

private:
    static void Note(Operation operation) {
        script->operations.push_back(operation);
    }
};

class CryptoTest : public testing::Test {
public:
    CryptoTest() {
        scripted.operations.reserve(16);  // Nothing to allocate afterwards.
        script = &scripted;
    }
    CryptoTest(const CryptoTest&) = delete;
    CryptoTest& operator=(const CryptoTest&) = delete;
    ~CryptoTest() override { script = nullptr; }

    // Whether `operations` and nothing else was called.
    void ExpectOperations(const std::vector<Operation>& operations) const {
        EXPECT_EQ(operations, scripted.operations);
    }

    Script scripted;
};

// By the C++ ABI of Linux and macOS on x86-64 a pointer to a virtual function
// begins with 1 + the offset of its slot; this one is of slot `slot`.
template <typename Function>
Function OfSlot(std::ptrdiff_t slot) {
    const std::ptrdiff_t words[2] = {
        slot * static_cast<std::ptrdiff_t>(sizeof(void*)) + 1, 0};
    Function function = nullptr;
    static_assert(sizeof function == sizeof words);
    std::memcpy(&function, words, sizeof words);
    return function;
}

// What is left of an object's storage when it is made anew.
void LeaveJunkOnTheHeap(std::size_t size) {
    std::array<Block, 8> blocks{};
    for (Block& block : blocks) {
        block = static_cast<Block>(::operator new(size));
        std::memset(block, 0xA5, size);
    }
    for (const Block block : blocks) {
        ::operator delete(block);
    }
}

Crypto::Type TypeOf(unsigned int value) {
    return static_cast<Crypto::Type>(value);
}

// Dispatch

TEST_F(CryptoTest, TheOperationsStandInTheirOrderWithTheDestructorLast) {
    EXPECT_EQ(7, NovuTest::VirtualOperations<Crypto>());
    EXPECT_EQ(7, NovuTest::VirtualOperations<CryptoHashMd5>());
    EXPECT_EQ(7, NovuTest::VirtualOperations<CryptoBlockCipherSeed>());

    // The seven take the slots before the destructor, so that is the last.
    Scripted object;
    Crypto& crypto = object;
    Ulong length = 0;
    Block block = nullptr;
    EXPECT_EQ(1, (crypto.*OfSlot<int (Crypto::*)()>(0))());
    (crypto.*OfSlot<void (Crypto::*)()>(1))();
    EXPECT_EQ(1001U, (crypto.*OfSlot<unsigned int (Crypto::*)()>(2))());
    EXPECT_EQ(1002U, (crypto.*OfSlot<unsigned int (Crypto::*)()>(3))());
    EXPECT_EQ(1003, (crypto.*OfSlot<int (Crypto::*)(const unsigned char*)>(4))(
                        nullptr));
    EXPECT_EQ(1004, (crypto.*OfSlot<Transform>(5))(nullptr, 0, length, block,
                                                   length));
    EXPECT_EQ(1005, (crypto.*OfSlot<Transform>(6))(nullptr, 0, length, block,
                                                   length));
    ExpectOperations(
        {Operation::kCreate, Operation::kDestroy, Operation::kGetDataSizeUnit,
         Operation::kGetUserSecretKeySize, Operation::kSetUserSecretKey,
         Operation::kEncrypt, Operation::kDecrypt});
}

TEST_F(CryptoTest, DeletingThroughTheInterfaceRunsTheDestructor) {
    const AllocationLedger ledger;
    const Crypto* const object = new Scripted;
    delete object;
    EXPECT_EQ(1, scripted.destructed);
    ExpectOperations({});
    EXPECT_EQ(0U, ledger.Blocks());
}

// CreateCrypto

const struct TypeCase {
    int line;
    Crypto::Type type;
    std::size_t size;   // Of the object.
    unsigned int unit;  // GetDataSizeUnit
    unsigned int key;   // GetUserSecretKeySize
} kTypeCases[] = {
    // line    type                     size     unit  key
    {__LINE__, Crypto::HashMd5, 8, 0, 0},
    {__LINE__, Crypto::BlockCipherSeed, 8 + 128, 16, 16},
};

TEST_F(CryptoTest, MakesTheObjectThatTheTypeNames) {
    for (const TypeCase& row : kTypeCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Crypto* crypto = nullptr;
        const AllocationLedger ledger;
        crypto = CreateCrypto(row.type);
        ASSERT_NE(nullptr, crypto);
        EXPECT_EQ(1U, ledger.Blocks());
        EXPECT_EQ(row.size, ledger.Bytes());
        EXPECT_EQ(row.type == Crypto::HashMd5,
                  dynamic_cast<CryptoHashMd5*>(crypto) != nullptr);
        EXPECT_EQ(row.type == Crypto::BlockCipherSeed,
                  dynamic_cast<CryptoBlockCipherSeed*>(crypto) != nullptr);
        EXPECT_EQ(row.unit, crypto->GetDataSizeUnit());
        EXPECT_EQ(row.key, crypto->GetUserSecretKeySize());
        DestroyCrypto(crypto);
        EXPECT_EQ(nullptr, crypto);
        EXPECT_EQ(0U, ledger.Blocks());
    }
}

TEST_F(CryptoTest, EveryOtherTypeIsNullWithoutAnAllocation) {
    for (const unsigned int value :
         {0U, 3U, 4U, 0x101U, 0x102U, 0x10001U, 0x10002U, 0x7FFFFFFFU,
          0x80000001U, 0x80000002U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
        const FailingAllocation failing(1);
        EXPECT_EQ(nullptr, CreateCrypto(TypeOf(value))) << value;
    }
}

TEST_F(CryptoTest, NewObjectsHaveBeenCreated) {
    LeaveJunkOnTheHeap(sizeof(CryptoBlockCipherSeed));
    Crypto* crypto = CreateCrypto(Crypto::BlockCipherSeed);
    ASSERT_NE(nullptr, crypto);
    std::array<unsigned char, 128> roundKeys{};
    std::memcpy(roundKeys.data(),
                reinterpret_cast<const unsigned char*>(crypto) + sizeof(Crypto),
                roundKeys.size());
    EXPECT_EQ((std::array<unsigned char, 128>{}), roundKeys);
    DestroyCrypto(crypto);
}

TEST_F(CryptoTest, AnObjectOfTheFactoryMayBeDeletedInstead) {
    for (const TypeCase& row : kTypeCases) {
        const AllocationLedger ledger;
        const Crypto* const crypto = CreateCrypto(row.type);
        EXPECT_EQ(1U, ledger.Blocks());
        delete crypto;
        EXPECT_EQ(0U, ledger.Blocks());
    }
}

TEST_F(CryptoTest, WhenMemoryRunsOutTheExceptionPasses) {
    for (const TypeCase& row : kTypeCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Crypto* crypto = nullptr;
        const AllocationLedger ledger;
        EXPECT_EQ(1U, NovuTest::FailEachAllocation(
                          [&] { crypto = CreateCrypto(row.type); },
                          [&] {
                              EXPECT_EQ(nullptr, crypto);
                              EXPECT_EQ(0U, ledger.Blocks());
                          }));
        DestroyCrypto(crypto);
        EXPECT_EQ(0U, ledger.Blocks());
    }
}

TEST_F(CryptoTest, MakingRunsTheConstructorAndThenCreateOnce) {
    for (const int answer : {1, 2, -1, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(answer);
        scripted.createAnswers = answer;
        scripted.constructed = 0;
        scripted.operations.clear();
        Crypto* crypto = nullptr;
        const AllocationLedger ledger;
        crypto = MakeCrypto<Scripted>();
        ASSERT_NE(nullptr, crypto);
        EXPECT_EQ(1U, ledger.Blocks());
        EXPECT_EQ(sizeof(Scripted), ledger.Bytes());
        EXPECT_EQ(1, scripted.constructed);
        EXPECT_EQ(0, scripted.destructed);
        ExpectOperations({Operation::kCreate});
        ::operator delete(crypto);
        EXPECT_EQ(0U, ledger.Blocks());
    }
}

TEST_F(CryptoTest, AnObjectThatIsNotReadyIsReleasedWithoutItsDestructor) {
    scripted.createAnswers = 0;
    const AllocationLedger ledger;
    EXPECT_EQ(nullptr, MakeCrypto<Scripted>());
    EXPECT_EQ(0U, ledger.Blocks());
    EXPECT_EQ(1, scripted.constructed);
    EXPECT_EQ(0, scripted.destructed);
    ExpectOperations({Operation::kCreate});
}

TEST_F(CryptoTest, WhatAConstructorThrowsPassesAndNothingLeaks) {
    scripted.constructorThrows = true;
    const AllocationLedger ledger;
    try {
        MakeCrypto<Scripted>();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ("constructor", error.what());
    }
    EXPECT_EQ(0U, ledger.Blocks());
    EXPECT_EQ(1, scripted.constructed);
    EXPECT_EQ(0, scripted.destructed);
    ExpectOperations({});
}

TEST_F(CryptoTest, WhatCreateThrowsPassesAndNothingLeaks) {
    scripted.createThrows = true;
    const AllocationLedger ledger;
    try {
        MakeCrypto<Scripted>();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ("Create", error.what());
    }
    EXPECT_EQ(0U, ledger.Blocks());
    ExpectOperations({Operation::kCreate});
}

TEST_F(CryptoTest, WithoutMemoryNothingIsConstructed) {
    const AllocationLedger ledger;
    {
        const FailingAllocation failing(1);
        EXPECT_THROW(MakeCrypto<Scripted>(), std::bad_alloc);
    }
    EXPECT_EQ(0U, ledger.Blocks());
    EXPECT_EQ(0, scripted.constructed);
    ExpectOperations({});
}

// DestroyCrypto

TEST_F(CryptoTest, DestroyingNullDoesNothing) {
    Crypto* crypto = nullptr;
    DestroyCrypto(crypto);
    EXPECT_EQ(nullptr, crypto);
    DestroyCrypto(crypto);
    EXPECT_EQ(nullptr, crypto);
}

// [crypto-1]
TEST_F(CryptoTest, DestroyingCallsDestroyOnceAndNoDestructor) {
    Crypto* crypto = nullptr;
    const AllocationLedger ledger;
    crypto = new Scripted;
    EXPECT_EQ(1U, ledger.Blocks());
    DestroyCrypto(crypto);
    EXPECT_EQ(nullptr, crypto);
    EXPECT_EQ(0U, ledger.Blocks());
    EXPECT_EQ(0, scripted.destructed);
    ExpectOperations({Operation::kDestroy});
}

TEST_F(CryptoTest, DestroyRunsWhileStorageAndPointerAreStillThere) {
    Crypto* crypto = nullptr;
    const AllocationLedger ledger;
    crypto = new Scripted;
    const Crypto* const object = crypto;
    scripted.pointer = &crypto;
    scripted.ledger = &ledger;
    DestroyCrypto(crypto);
    EXPECT_EQ(1U, scripted.blocksInDestroy);
    EXPECT_EQ(static_cast<const void*>(object),
              static_cast<const void*>(scripted.pointerInDestroy));
    EXPECT_EQ(nullptr, crypto);
}

TEST_F(CryptoTest, DestroyMayWriteToThePointer) {
    Crypto* crypto = nullptr;
    const AllocationLedger ledger;
    crypto = new Scripted;
    scripted.pointer = &crypto;
    scripted.ledger = &ledger;
    scripted.destroyNullsPointer = true;
    DestroyCrypto(crypto);
    EXPECT_EQ(0U, ledger.Blocks());
    EXPECT_EQ(nullptr, crypto);
}

// A caller's way, which is the same for every type

// What a round gives, or nothing where it fails.
Bytes Transformed(Crypto& crypto, Transform transform, const Bytes& input) {
    Bytes data = input;
    Ulong consumed = 0;
    Block output = nullptr;
    Ulong outputLength = 0;
    if ((crypto.*transform)(data.data(), data.size(), consumed, output,
                            outputLength) == 0) {
        return {};
    }
    EXPECT_EQ(input.size(), consumed);
    const std::unique_ptr<unsigned char[]> owner(output);
    return {output, output + outputLength};
}

TEST_F(CryptoTest, CallsAreIndependentOfEachOther) {
    for (const TypeCase& row : kTypeCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Crypto* crypto = CreateCrypto(row.type);
        ASSERT_NE(nullptr, crypto);
        const Bytes key(crypto->GetUserSecretKeySize(), 0x5A);
        EXPECT_EQ(1, crypto->SetUserSecretKey(key.data()));

        const Bytes message(100, 'm');
        const Bytes first = Transformed(*crypto, &Crypto::Encrypt, message);
        EXPECT_FALSE(first.empty());
        Transformed(*crypto, &Crypto::Encrypt, Bytes(33, 'o'));
        Transformed(*crypto, &Crypto::Decrypt, Bytes(32, 'o'));
        EXPECT_EQ(first, Transformed(*crypto, &Crypto::Encrypt, message));

        // Objects know nothing of each other.
        Crypto* other = CreateCrypto(row.type);
        ASSERT_NE(nullptr, other);
        const Bytes otherKey(crypto->GetUserSecretKeySize(), 0xA5);
        other->SetUserSecretKey(otherKey.data());
        Transformed(*other, &Crypto::Encrypt, message);
        EXPECT_EQ(first, Transformed(*crypto, &Crypto::Encrypt, message));
        DestroyCrypto(other);
        EXPECT_EQ(first, Transformed(*crypto, &Crypto::Encrypt, message));
        DestroyCrypto(crypto);
    }
}

// What a caller gets keeps its bytes when the object is gone.
TEST_F(CryptoTest, TheOutputBelongsToTheCaller) {
    for (const TypeCase& row : kTypeCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Bytes message(16, 'm');
        Ulong consumed = 0;
        Ulong outputLength = 0;
        Block output = nullptr;
        const AllocationLedger ledger;
        Crypto* crypto = CreateCrypto(row.type);
        ASSERT_NE(nullptr, crypto);
        ASSERT_EQ(1, crypto->Encrypt(message.data(), message.size(), consumed,
                                     output, outputLength));
        std::array<unsigned char, 16> copy{};
        ASSERT_EQ(copy.size(), outputLength);
        std::copy_n(output, copy.size(), copy.begin());
        DestroyCrypto(crypto);
        EXPECT_EQ(1U, ledger.Blocks());
        EXPECT_TRUE(std::equal(copy.begin(), copy.end(), output));
        delete[] output;
        EXPECT_EQ(0U, ledger.Blocks());
    }
}

TEST_F(CryptoTest, SeveralThreadsMakeAndDestroyObjects) {
    std::array<int, 4> wrong{};
    std::vector<std::thread> threads;
    for (int& count : wrong) {
        threads.emplace_back([&count] {
            for (int round = 0; round < 500; ++round) {
                for (const TypeCase& row : kTypeCases) {
                    Crypto* crypto = CreateCrypto(row.type);
                    if (crypto == nullptr ||
                        crypto->GetDataSizeUnit() != row.unit) {
                        ++count;
                    }
                    DestroyCrypto(crypto);
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
