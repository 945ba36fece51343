// Which virtual function each slot of a table enters: an object's own table is
// taken and its slots are called one by one. In a probe, each override notes
// its name; a destructor notes "~". The library's own objects show by their
// answers what was called.

#include <gtest/gtest.h>
#include <semaphore.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "Bases/All.h"
#include "tests/support/Allocation.h"
#include "tests/support/Concurrency.h"
#include "tests/support/ObjectBytes.h"

namespace {

using Novu::NovuSemaphore;
using NovuTest::FieldAt;
using NovuTest::kNoLimit;
using NovuTest::SetFieldAt;
using NovuTest::Slot;
using std::string;

using Byte = unsigned char;
using Ulong = unsigned long;

string noted;

int Note(const char* name, int answer) {
    noted += name;
    return answer;
}

string Taken() {
    string taken;
    taken.swap(noted);
    return taken;
}

// Destructors: a slot that destroys, and one that releases the storage, too.

template <typename Class>
struct Dying : Class {
    using Class::Class;
    ~Dying() override { Note("~", 0); }
};

template <typename Class, typename... Arguments>
void ExpectDestructorAt(std::size_t slot, Arguments&... arguments) {
    using Probe = Dying<Class>;
    const NovuTest::AllocationLedger ledger;
    alignas(Probe) Byte place[sizeof(Probe)];
    void* const placed = new (place) Probe(arguments...);
    Slot<void(void*)>(placed, slot)(placed);
    ASSERT_EQ("~", Taken());
    EXPECT_EQ(0U, ledger.Blocks());

    void* const made = new Probe(arguments...);
    EXPECT_NE(0U, ledger.Blocks());
    Slot<void(void*)>(made, slot + 1)(made);
    ASSERT_EQ("~", Taken());
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST(LayoutSlotsTest, ClassesWithoutOtherVirtualFunctions) {
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::Bits>(0));
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::SerialBuffer>(0));
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::FileIo>(0));
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::FileFind>(0));
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::Shm>(0));
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<NovuSemaphore>(0));
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::MemPool>(0));
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::Random>(0));
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::RegEx>(0));
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::TextFileIo>(0));
    const Novu::Cs cs;
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::CsLocker>(0, cs));
    Novu::Mutex mutex;
    // An unlock leaves nothing behind, so there is one for each locker.
    ASSERT_EQ(1, mutex.GetHandle()->Create(NovuSemaphore::SemInitState{2},
                                           nullptr, 0));
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::MutexLocker>(0, mutex));
}

// Base64

struct Base64Probe : Novu::Base64 {
    int Encode(const char* /*data*/, Ulong /*len*/, string& /*out*/) override {
        return Note("Encode", 11);
    }
    Ulong Decode(const char* /*text*/, char* /*out*/) override {
        return static_cast<Ulong>(Note("Decode", 12));
    }
};

using EncodeSlot = int(void*, const char*, Ulong, string&);
using DecodeSlot = Ulong(void*, const char*, char*);

TEST(LayoutSlotsTest, Base64) {
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::Base64>(0));
    Base64Probe probe;
    string text;
    EXPECT_EQ(11, Slot<EncodeSlot>(&probe, 2)(&probe, nullptr, 0, text));
    ASSERT_EQ("Encode", Taken());
    EXPECT_EQ(12U, Slot<DecodeSlot>(&probe, 3)(&probe, nullptr, nullptr));
    ASSERT_EQ("Decode", Taken());

    Novu::Base64 base64;
    EXPECT_EQ(1, Slot<EncodeSlot>(&base64, 2)(&base64, "abc", 3, text));
    EXPECT_EQ("YWJj", text);
    char decoded[5] = {};
    EXPECT_EQ(3U, Slot<DecodeSlot>(&base64, 3)(&base64, "YWJj", decoded));
    EXPECT_EQ("abc", string(decoded));
}

// Crypto, whose destructor comes last

struct CryptoProbe : Novu::Crypto {
    int Create() override { return Note("Create", 21); }
    void Destroy() override { Note("Destroy", 0); }
    unsigned int GetDataSizeUnit() override {
        return static_cast<unsigned int>(Note("GetDataSizeUnit", 22));
    }
    unsigned int GetUserSecretKeySize() override {
        return static_cast<unsigned int>(Note("GetUserSecretKeySize", 23));
    }
    int SetUserSecretKey(const Byte* /*key*/) override {
        return Note("SetUserSecretKey", 24);
    }
    int Encrypt(Byte* /*input*/, Ulong /*inputLength*/, Ulong& /*consumed*/,
                Byte*& /*output*/, Ulong& /*outputLength*/) override {
        return Note("Encrypt", 25);
    }
    int Decrypt(Byte* /*input*/, Ulong /*inputLength*/, Ulong& /*consumed*/,
                Byte*& /*output*/, Ulong& /*outputLength*/) override {
        return Note("Decrypt", 26);
    }
};

using SizeSlot = unsigned int(void*);
using KeySlot = int(void*, const Byte*);
using TransformSlot = int(void*, Byte*, Ulong, Ulong&, Byte*&, Ulong&);

TEST(LayoutSlotsTest, Crypto) {
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<CryptoProbe>(7));
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::CryptoBlockCipherSeed>(7));
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::CryptoHashMd5>(7));

    CryptoProbe probe;
    Ulong length = 0;
    Byte* out = nullptr;
    EXPECT_EQ(21, Slot<int(void*)>(&probe, 0)(&probe));
    ASSERT_EQ("Create", Taken());
    Slot<void(void*)>(&probe, 1)(&probe);
    ASSERT_EQ("Destroy", Taken());
    EXPECT_EQ(22U, Slot<SizeSlot>(&probe, 2)(&probe));
    ASSERT_EQ("GetDataSizeUnit", Taken());
    EXPECT_EQ(23U, Slot<SizeSlot>(&probe, 3)(&probe));
    ASSERT_EQ("GetUserSecretKeySize", Taken());
    EXPECT_EQ(24, Slot<KeySlot>(&probe, 4)(&probe, nullptr));
    ASSERT_EQ("SetUserSecretKey", Taken());
    EXPECT_EQ(25, Slot<TransformSlot>(&probe, 5)(&probe, nullptr, 0, length,
                                                 out, length));
    ASSERT_EQ("Encrypt", Taken());
    EXPECT_EQ(26, Slot<TransformSlot>(&probe, 6)(&probe, nullptr, 0, length,
                                                 out, length));
    ASSERT_EQ("Decrypt", Taken());
}

TEST(LayoutSlotsTest, CryptoBlockCipherSeed) {
    Novu::CryptoBlockCipherSeed cipher;
    EXPECT_EQ(1, Slot<int(void*)>(&cipher, 0)(&cipher));
    EXPECT_EQ(16U, Slot<SizeSlot>(&cipher, 2)(&cipher));
    EXPECT_EQ(16U, Slot<SizeSlot>(&cipher, 3)(&cipher));
    const Byte key[16] = {1, 2, 3};
    EXPECT_EQ(0, Slot<KeySlot>(&cipher, 4)(&cipher, nullptr));
    EXPECT_EQ(1, Slot<KeySlot>(&cipher, 4)(&cipher, key));
    Slot<void(void*)>(&cipher, 1)(&cipher);

    Byte text[] = "5 and a block of 16.";
    Ulong consumed = 0;
    Byte* out = nullptr;
    Ulong length = 0;
    ASSERT_EQ(1, Slot<TransformSlot>(&cipher, 5)(&cipher, text, sizeof text,
                                                 consumed, out, length));
    const std::unique_ptr<Byte[]> encrypted(out);
    EXPECT_EQ(32U, length);
    EXPECT_NE(0, std::memcmp(text, encrypted.get(), sizeof text));
    ASSERT_EQ(1, Slot<TransformSlot>(&cipher, 6)(
                     &cipher, encrypted.get(), length, consumed, out, length));
    const std::unique_ptr<Byte[]> decrypted(out);
    EXPECT_EQ(0, std::memcmp(text, decrypted.get(), sizeof text));
}

TEST(LayoutSlotsTest, CryptoHashMd5) {
    Novu::CryptoHashMd5 md5;
    EXPECT_EQ(1, Slot<int(void*)>(&md5, 0)(&md5));
    Slot<void(void*)>(&md5, 1)(&md5);
    EXPECT_EQ(0U, Slot<SizeSlot>(&md5, 2)(&md5));
    EXPECT_EQ(0U, Slot<SizeSlot>(&md5, 3)(&md5));
    EXPECT_EQ(1, Slot<KeySlot>(&md5, 4)(&md5, nullptr));
    Byte text[] = "abc";
    Ulong consumed = 0;
    Byte* out = nullptr;
    Ulong length = 0;
    EXPECT_EQ(
        0, Slot<TransformSlot>(&md5, 6)(&md5, text, 3, consumed, out, length));
    EXPECT_EQ(nullptr, out);
    ASSERT_EQ(
        1, Slot<TransformSlot>(&md5, 5)(&md5, text, 3, consumed, out, length));
    const std::unique_ptr<Byte[]> digest(out);
    EXPECT_EQ(16U, length);
    EXPECT_EQ(0x90, digest[0]);  // Of 900150983cd24fb0..., as in RFC 1321.
}

// Threads

struct HandlerProbe final : Novu::ThreadHandler {
    int OnPreThreadStart(Novu::Thread* /*thread*/) override {
        return Note("handler's OnPreThreadStart", 31);
    }
    int OnThreadEntry(Novu::Thread* /*thread*/) override {
        return Note("handler's OnThreadEntry", 32);
    }
};

// No destructor comes before them, nor behind.
TEST(LayoutSlotsTest, ThreadHandler) {
    HandlerProbe probe;
    EXPECT_EQ(31, Slot<int(void*, Novu::Thread*)>(&probe, 0)(&probe, nullptr));
    ASSERT_EQ("handler's OnPreThreadStart", Taken());
    EXPECT_EQ(32, Slot<int(void*, Novu::Thread*)>(&probe, 1)(&probe, nullptr));
    ASSERT_EQ("handler's OnThreadEntry", Taken());
}

using StopSlot = void(void*, unsigned int, int);

template <typename Class>
struct ThreadProbe : Class {
    void StopThread(unsigned int timeout, int force) override {
        EXPECT_EQ(33U, timeout);
        Note("StopThread", force);
    }
    int OnPreThreadStart() override { return Note("OnPreThreadStart", 34); }
    int OnThreadEntry() override { return Note("OnThreadEntry", 35); }
};

template <typename Class>
void ExpectSlotsOfAThread() {
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Class>(0));
    ThreadProbe<Class> probe;
    Slot<StopSlot>(&probe, 2)(&probe, 33, 0);
    ASSERT_EQ("StopThread", Taken());
    EXPECT_EQ(34, Slot<int(void*)>(&probe, 3)(&probe));
    ASSERT_EQ("OnPreThreadStart", Taken());
    EXPECT_EQ(35, Slot<int(void*)>(&probe, 4)(&probe));
    ASSERT_EQ("OnThreadEntry", Taken());
}

TEST(LayoutSlotsTest, Thread) {
    ASSERT_NO_FATAL_FAILURE(ExpectSlotsOfAThread<Novu::Thread>());

    HandlerProbe handler;
    Novu::Thread thread;
    thread.SetThreadHandler(&handler);
    EXPECT_EQ(31, Slot<int(void*)>(&thread, 3)(&thread));
    ASSERT_EQ("handler's OnPreThreadStart", Taken());
    EXPECT_EQ(32, Slot<int(void*)>(&thread, 4)(&thread));
    ASSERT_EQ("handler's OnThreadEntry", Taken());

    thread.SetThreadHandler(nullptr);
    ASSERT_EQ(1, thread.StartThread(0));
    EXPECT_EQ(1, thread.IsThreadRunning());
    Slot<StopSlot>(&thread, 2)(&thread, kNoLimit, 0);
    EXPECT_EQ(0, thread.IsThreadRunning());
}

TEST(LayoutSlotsTest, ThreadTaskPool) {
    ASSERT_NO_FATAL_FAILURE(ExpectSlotsOfAThread<Novu::ThreadTaskPool>());

    // Tasks are dropped by its own StopThread; the other two look for a handler
    // and for a thread that runs.
    HandlerProbe handler;
    Novu::ThreadTaskPool pool;
    pool.SetThreadHandler(&handler);
    EXPECT_EQ(31, Slot<int(void*)>(&pool, 3)(&pool));
    ASSERT_EQ("handler's OnPreThreadStart", Taken());
    EXPECT_EQ(0, Slot<int(void*)>(&pool, 4)(&pool));
    ASSERT_EQ("", Taken());

    const auto held = std::make_shared<int>(0);
    pool.Post([held] {});
    EXPECT_EQ(2, held.use_count());
    Slot<StopSlot>(&pool, 2)(&pool, kNoLimit, 0);
    EXPECT_EQ(1, held.use_count());
}

// Commands

struct CommandProbe : Novu::Command {
    void Execute() override { Note("Execute", 0); }
};

TEST(LayoutSlotsTest, Commands) {
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<CommandProbe>(0));
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::MacroCommand>(0));
    CommandProbe probe;
    Slot<void(void*)>(&probe, 2)(&probe);
    ASSERT_EQ("Execute", Taken());

    Novu::MacroCommand macro;
    macro.Add(new CommandProbe);
    macro.Add(new CommandProbe);
    Slot<void(void*)>(&macro, 2)(&macro);
    ASSERT_EQ("ExecuteExecute", Taken());
}

// XML

struct WriterProbe : Novu::XmlWriter {
    int BeginDocument(const string& /*encoding*/) override {
        return Note("BeginDocument", 41);
    }
    int EndDocument() override { return Note("EndDocument", 42); }
    void Close() override { Note("Close", 0); }
};

using BeginSlot = int(void*, const string&);

TEST(LayoutSlotsTest, XmlWriter) {
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::XmlWriter>(0));
    const string encoding = "UTF-8";
    WriterProbe probe;
    EXPECT_EQ(41, Slot<BeginSlot>(&probe, 2)(&probe, encoding));
    ASSERT_EQ("BeginDocument", Taken());
    EXPECT_EQ(42, Slot<int(void*)>(&probe, 3)(&probe));
    ASSERT_EQ("EndDocument", Taken());
    Slot<void(void*)>(&probe, 4)(&probe);
    ASSERT_EQ("Close", Taken());

    Novu::XmlWriter writer;
    Ulong size = 0;
    EXPECT_EQ(1, Slot<BeginSlot>(&writer, 2)(&writer, encoding));
    EXPECT_EQ(1, Slot<int(void*)>(&writer, 3)(&writer));
    EXPECT_NE(nullptr, writer.GetXmlBuffer(size));
    Slot<void(void*)>(&writer, 4)(&writer);
    EXPECT_EQ(nullptr, writer.GetXmlBuffer(size));
}

struct ReaderProbe : Novu::XmlReader {
    Element* GetRootElement() override {
        Note("GetRootElement", 0);
        return reinterpret_cast<Element*>(this);
    }
};

TEST(LayoutSlotsTest, XmlReader) {
    ASSERT_NO_FATAL_FAILURE(ExpectDestructorAt<Novu::XmlReader>(0));
    ReaderProbe probe;
    EXPECT_EQ(static_cast<void*>(&probe),
              Slot<void*(void*)>(&probe, 2)(&probe));
    ASSERT_EQ("GetRootElement", Taken());

    Novu::XmlReader reader;
    Byte text[] = "<?xml version='1.0' encoding='UTF-8'?><root/>";
    ASSERT_EQ(1, reader.Load(text, sizeof text - 1));
    auto* const root = static_cast<Novu::XmlReader::Element*>(
        Slot<void*(void*)>(&reader, 2)(&reader));
    string name;
    EXPECT_EQ(1, reader.GetElement(root, name));
    EXPECT_EQ("root", name);
}

// What stands behind a semaphore, of either kind. It has no name that a host
// could derive from, so its answers alone show what was called.

using StateSlot = int(void*, unsigned int);
using CountSlot = int(void*, int&);

int CountOf(void* implementation) {
    int count = -4711;
    EXPECT_EQ(1, Slot<CountSlot>(implementation, 8)(implementation, count));
    return count;
}

// Its destructor, on what is taken out of a semaphore.
void ExpectDestructorOf(const char* name) {
    for (const std::size_t slot : {0U, 1U}) {
        NovuSemaphore semaphore;
        const NovuTest::AllocationLedger ledger;
        ASSERT_EQ(1, semaphore.Create(NovuSemaphore::Signalled, name, 0));
        EXPECT_NE(0U, ledger.Blocks());
        void* const object = FieldAt<void*>(&semaphore, 8);
        SetFieldAt<void*>(&semaphore, 8, nullptr);
        sem_t* const handle =
            name != nullptr ? FieldAt<sem_t*>(object, 8) : nullptr;
        Slot<void(void*)>(object, slot)(object);
        EXPECT_EQ(1U - slot, ledger.Blocks());
        if (slot == 0) {
            ::operator delete(object);
        }
        if (handle != nullptr) {
            EXPECT_EQ(0, ::sem_close(handle));  // Which it leaves open.
            EXPECT_EQ(-1, ::sem_unlink(name)) << "it took the name away";
        }
    }
}

TEST(LayoutSlotsTest, SemaphoreOfTheProcess) {
    ExpectDestructorOf(nullptr);
    NovuSemaphore semaphore;
    ASSERT_EQ(1, semaphore.Create(NovuSemaphore::SemInitState{3}, nullptr, 0));
    void* const object = FieldAt<void*>(&semaphore, 8);
    ASSERT_NE(nullptr, object);
    EXPECT_EQ(3, CountOf(object));
    EXPECT_EQ(1, Slot<int(void*)>(object, 5)(object)) << "TryWait";
    EXPECT_EQ(1, Slot<StateSlot>(object, 6)(object, 20000)) << "TimedWait";
    EXPECT_EQ(1, Slot<int(void*)>(object, 4)(object)) << "Wait";
    EXPECT_EQ(0, CountOf(object));
    EXPECT_EQ(0, Slot<int(void*)>(object, 5)(object)) << "TryWait";
    // It waits, which the operation before does not.
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(0, Slot<StateSlot>(object, 6)(object, 50)) << "TimedWait";
    EXPECT_LE(std::chrono::milliseconds(50),
              std::chrono::steady_clock::now() - begin);
    EXPECT_EQ(-2, CountOf(object));
    Slot<void(void*)>(object, 7)(object);
    EXPECT_EQ(0, CountOf(object)) << "after Post";
    EXPECT_EQ(1, Slot<StateSlot>(object, 2)(object, 5)) << "Create";
    EXPECT_EQ(0, CountOf(object)) << "it exists";
    EXPECT_EQ(1, Slot<int(void*)>(object, 3)(object)) << "Destroy";
    EXPECT_EQ(0, Slot<int(void*)>(object, 3)(object)) << "Destroy";
    EXPECT_EQ(1, Slot<StateSlot>(object, 2)(object, 5)) << "Create";
    EXPECT_EQ(5, CountOf(object));
}

TEST(LayoutSlotsTest, NamedSemaphore) {
    const string name = "/novu-slots-" + std::to_string(::getpid());
    ExpectDestructorOf((name + "-").c_str());
    NovuSemaphore semaphore;
    ASSERT_EQ(1, semaphore.Create(NovuSemaphore::SemInitState{3}, name.c_str(),
                                  /*flag=*/1));
    void* const object = FieldAt<void*>(&semaphore, 8);
    ASSERT_NE(nullptr, object);
    auto* const handle = FieldAt<sem_t*>(object, 8);
    EXPECT_EQ(3, CountOf(object));
    EXPECT_EQ(1, Slot<int(void*)>(object, 5)(object)) << "TryWait";
    EXPECT_EQ(1, Slot<StateSlot>(object, 6)(object, 20000)) << "TimedWait";
    EXPECT_EQ(1, Slot<int(void*)>(object, 4)(object)) << "Wait";
    EXPECT_EQ(0, CountOf(object));
    EXPECT_EQ(0, Slot<int(void*)>(object, 5)(object)) << "TryWait";
    Slot<void(void*)>(object, 7)(object);
    EXPECT_EQ(1, CountOf(object)) << "after Post";
    EXPECT_EQ(1, Slot<int(void*)>(object, 3)(object)) << "Destroy";
    int count = 0;
    EXPECT_EQ(0, Slot<CountSlot>(object, 8)(object, count));
    EXPECT_EQ(0, ::sem_close(handle));  // Which Destroy leaves open.
    EXPECT_EQ(1, Slot<StateSlot>(object, 2)(object, 5)) << "Create";
    EXPECT_EQ(5, CountOf(object));
    EXPECT_EQ(0, ::sem_close(FieldAt<sem_t*>(object, 8)));
}

}  // namespace
