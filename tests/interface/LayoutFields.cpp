// Where the fields of each class and record stand, public or private: objects
// are brought into known states and their bytes read, or bytes are written and
// the object asked. A class with virtual functions begins with the pointer to
// their table, so its first field is at 8.

#include <dirent.h>
#include <gtest/gtest.h>
#include <iconv.h>
#include <libxml/tree.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <future>
#include <list>
#include <string>
#include <type_traits>
#include <vector>

#include "Bases/All.h"
#include "tests/support/Concurrency.h"
#include "tests/support/ObjectBytes.h"
#include "tests/support/TempDir.h"

namespace {

using NovuTest::FieldAt;
using NovuTest::OnAnotherThread;
using NovuTest::PartAt;
using NovuTest::SetFieldAt;

using Byte = unsigned char;

// Enough for a string to need a block of its own, which goes with the object.
const char* const kLongText = "a text that is too long for the string itself";

// Records, whose fields are public

TEST(LayoutFieldsTest, SysTime) {
    using Novu::SysTime;
    static_assert(std::is_standard_layout_v<SysTime>);
    static_assert(std::is_same_v<decltype(SysTime::year), short>);
    EXPECT_EQ(0U, offsetof(SysTime, year));
    EXPECT_EQ(2U, offsetof(SysTime, month));
    EXPECT_EQ(4U, offsetof(SysTime, dayOfWeek));
    EXPECT_EQ(6U, offsetof(SysTime, day));
    EXPECT_EQ(8U, offsetof(SysTime, hour));
    EXPECT_EQ(10U, offsetof(SysTime, minute));
    EXPECT_EQ(12U, offsetof(SysTime, second));
    EXPECT_EQ(14U, offsetof(SysTime, milliseconds));
    EXPECT_EQ(16U, offsetof(SysTime, marker));
}

TEST(LayoutFieldsTest, TimeZone) {
    using Novu::TimeZone;
    static_assert(std::is_standard_layout_v<TimeZone>);
    static_assert(std::is_same_v<decltype(TimeZone::bias), int>);
    static_assert(std::is_same_v<decltype(TimeZone::standardName), char[64]>);
    static_assert(
        std::is_same_v<decltype(TimeZone::standardDate), Novu::SysTime>);
    static_assert(std::is_same_v<decltype(TimeZone::standardBias), int>);
    static_assert(std::is_same_v<decltype(TimeZone::daylightName), char[64]>);
    static_assert(
        std::is_same_v<decltype(TimeZone::daylightDate), Novu::SysTime>);
    static_assert(std::is_same_v<decltype(TimeZone::daylightBias), int>);
    EXPECT_EQ(0U, offsetof(TimeZone, bias));
    EXPECT_EQ(4U, offsetof(TimeZone, standardName));
    EXPECT_EQ(68U, offsetof(TimeZone, standardDate));
    EXPECT_EQ(88U, offsetof(TimeZone, standardBias));
    EXPECT_EQ(92U, offsetof(TimeZone, daylightName));
    EXPECT_EQ(156U, offsetof(TimeZone, daylightDate));
    EXPECT_EQ(176U, offsetof(TimeZone, daylightBias));
}

TEST(LayoutFieldsTest, TimeZoneDisplay) {
    using Novu::TimeZoneDisplay;
    static_assert(std::is_standard_layout_v<TimeZoneDisplay>);
    static_assert(
        std::is_same_v<decltype(TimeZoneDisplay::timeZone), Novu::TimeZone>);
    static_assert(
        std::is_same_v<decltype(TimeZoneDisplay::displayName), char[128]>);
    EXPECT_EQ(0U, offsetof(TimeZoneDisplay, timeZone));
    EXPECT_EQ(180U, offsetof(TimeZoneDisplay, displayName));
}

TEST(LayoutFieldsTest, MD5Digest) {
    using Digest = Novu::CryptoHashMd5::MD5Digest_struct;
    static_assert(std::is_standard_layout_v<Digest>);
    static_assert(std::is_same_v<decltype(Digest::bytes), Byte[16]>);
    EXPECT_EQ(0U, offsetof(Digest, bytes));
}

// Bytes and values

TEST(LayoutFieldsTest, SerialBuffer) {
    Novu::SerialBuffer buffer;
    Byte* const block = new Byte[7];
    ASSERT_EQ(1, buffer.SetBuffer(block, /*newSize=*/3, /*newMaxSize=*/7));
    EXPECT_EQ(block, FieldAt<Byte*>(&buffer, 8));
    EXPECT_EQ(7U, FieldAt<unsigned long>(&buffer, 16));
    EXPECT_EQ(3U, FieldAt<unsigned long>(&buffer, 24));
}

TEST(LayoutFieldsTest, Bits) {
    const Novu::Bits bits(13);
    EXPECT_EQ(bits.GetData(), FieldAt<Byte*>(&bits, 8));
    EXPECT_EQ(16U, FieldAt<unsigned long>(&bits, 16));
    EXPECT_EQ(13U, FieldAt<unsigned long>(&bits, 24));
}

TEST(LayoutFieldsTest, Guid) {
    Novu::Guid guid;
    ASSERT_TRUE(guid.FromString("00010203-0405-0607-0809-0a0b0c0d0e0f"));
    for (std::size_t at = 0; at != 16; ++at) {
        EXPECT_EQ(at, FieldAt<Byte>(&guid, at));
    }
}

TEST(LayoutFieldsTest, CryptoBlockCipherSeed) {
    Byte key[16] = {};
    std::memcpy(key, "sixteen letters.", sizeof key);
    std::array<std::uint32_t, 32> expected{};
    SeedRoundKey(expected.data(), key);

    Novu::CryptoBlockCipherSeed cipher;
    ASSERT_EQ(1, cipher.SetUserSecretKey(key));
    EXPECT_EQ(expected, (FieldAt<std::array<std::uint32_t, 32>>(&cipher, 8)));
}

// The running digest, which callers keep: four words, the number of bits as two
// words, the lower one first, and what is short of 64 bytes.
TEST(LayoutFieldsTest, MD5Context) {
    Novu::CryptoHashMd5 md5;
    char context[88] = {};
    md5.MD5Init(&context);
    EXPECT_EQ(0x67452301U, FieldAt<std::uint32_t>(context, 0));
    EXPECT_EQ(0xEFCDAB89U, FieldAt<std::uint32_t>(context, 4));
    EXPECT_EQ(0x98BADCFEU, FieldAt<std::uint32_t>(context, 8));
    EXPECT_EQ(0x10325476U, FieldAt<std::uint32_t>(context, 12));
    md5.MD5Update(&context, "abc", 3);
    EXPECT_EQ(24U, FieldAt<std::uint32_t>(context, 16));
    EXPECT_EQ(0U, FieldAt<std::uint32_t>(context, 20));
    EXPECT_EQ("abc", std::string(context + 24, 3));
}

// Files and the system

TEST(LayoutFieldsTest, FileIo) {
    Novu::FileIo file;
    EXPECT_EQ(-1, FieldAt<long long>(&file, 8));
    EXPECT_EQ(-1, FieldAt<int>(&file, 16));
    SetFieldAt<long long>(&file, 8, 4711);
    EXPECT_EQ(4711, file.Seek(0, 0));
    EXPECT_FALSE(file.IsOpened());
    SetFieldAt<int>(&file, 16, INT_MAX);  // No descriptor of this process.
    EXPECT_TRUE(file.IsOpened());
    SetFieldAt<int>(&file, 16, -1);
    EXPECT_FALSE(file.IsOpened());
    PartAt<std::string>(&file, 24) = kLongText;
    EXPECT_EQ(kLongText, file.GetPath());
}

TEST(LayoutFieldsTest, FileFind) {
    const NovuTest::TempDir directory;
    directory.Write("file", "12345");
    Novu::FileFind find;
    EXPECT_EQ(nullptr, FieldAt<void*>(&find, 8));
    EXPECT_EQ(nullptr, FieldAt<void*>(&find, 16));
    ASSERT_TRUE(find.FindFirst(directory.Path(), ""));
    DIR* const stream = FieldAt<DIR*>(&find, 8);
    ASSERT_NE(nullptr, stream);
    EXPECT_LE(0, ::dirfd(stream));

    void* const record = FieldAt<void*>(&find, 16);
    ASSERT_NE(nullptr, record);
    const dirent* const entry = FieldAt<dirent*>(record, 0);
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ(find.GetFileName(), entry->d_name);
    static_assert(sizeof(struct stat) == 144);
    EXPECT_EQ(5, FieldAt<struct stat>(record, 8).st_size);
    EXPECT_EQ(directory.Path(), PartAt<std::string>(record, 8 + 144));

    find.FindClose();
    EXPECT_EQ(nullptr, FieldAt<void*>(&find, 8));
    EXPECT_EQ(record, FieldAt<void*>(&find, 16));
}

// No segment has the identifier -1.
TEST(LayoutFieldsTest, Shm) {
    Novu::Shm shm;
    EXPECT_EQ(0, FieldAt<int>(&shm, 8));
    EXPECT_EQ(0, FieldAt<int>(&shm, 12));
    SetFieldAt<int>(&shm, 12, 7);
    EXPECT_FALSE(shm.IsOpened());
    SetFieldAt<int>(&shm, 8, -1);
    EXPECT_TRUE(shm.IsOpened());
    EXPECT_EQ(7, FieldAt<int>(&shm, 12));
    shm.Close();
    EXPECT_EQ(0, FieldAt<int>(&shm, 8));
    EXPECT_EQ(0, FieldAt<int>(&shm, 12));
}

// Threads

TEST(LayoutFieldsTest, NovuSemaphore) {
    Novu::NovuSemaphore semaphore;
    EXPECT_EQ(nullptr, FieldAt<void*>(&semaphore, 8));
    const auto three = static_cast<Novu::NovuSemaphore::SemInitState>(3);
    ASSERT_EQ(1, semaphore.Create(three, nullptr, 0));
    void* const implementation = FieldAt<void*>(&semaphore, 8);
    ASSERT_NE(nullptr, implementation);

    // The one of the process: made, the count that it keeps beside, its owner,
    // and what is left of the initial count.
    EXPECT_EQ(1, FieldAt<int>(implementation, 8));
    EXPECT_EQ(3, FieldAt<int>(implementation, 12));
    EXPECT_EQ(static_cast<unsigned int>(::getpid()),
              FieldAt<unsigned int>(implementation, 16));
    EXPECT_EQ(3U, FieldAt<unsigned int>(implementation, 20));
    semaphore.Post();
    EXPECT_EQ(0, FieldAt<int>(implementation, 12));
    EXPECT_EQ(3U, FieldAt<unsigned int>(implementation, 20));

    semaphore.Destroy();
    EXPECT_EQ(nullptr, FieldAt<void*>(&semaphore, 8));
}

TEST(LayoutFieldsTest, NamedSemaphore) {
    const std::string name = "/novu-layout-" + std::to_string(::getpid());
    Novu::NovuSemaphore semaphore;
    ASSERT_EQ(1, semaphore.Create(Novu::NovuSemaphore::Signalled, name.c_str(),
                                  /*flag=*/1));
    void* const implementation = FieldAt<void*>(&semaphore, 8);
    ASSERT_NE(nullptr, implementation);
    auto* const handle = FieldAt<sem_t*>(implementation, 8);
    ASSERT_NE(nullptr, handle);
    EXPECT_EQ(0, ::sem_trywait(handle));
    EXPECT_EQ(name, PartAt<std::string>(implementation, 16));
    semaphore.Destroy();  // Leaves the handle open, by design.
    EXPECT_EQ(0, ::sem_close(handle));
}

TEST(LayoutFieldsTest, NovuEvent) {
    Novu::NovuEvent event;
    ASSERT_EQ(1, event.Create(/*manualReset=*/3, /*initialState=*/5, nullptr));
    EXPECT_EQ(5, FieldAt<int>(&event, 0));
    EXPECT_EQ(3, FieldAt<int>(&event, 4));
    EXPECT_NE(nullptr, event.GetSemaphore());
    EXPECT_EQ(event.GetSemaphore(), FieldAt<Novu::NovuSemaphore*>(&event, 8));
}

TEST(LayoutFieldsTest, Cs) {
    Novu::Cs cs;
    auto* const mutex = &PartAt<pthread_mutex_t>(&cs, 0);
    ASSERT_EQ(0, ::pthread_mutex_trylock(mutex));
    EXPECT_EQ(0, OnAnotherThread([&] { return cs.TryLock(); }));
    ::pthread_mutex_unlock(mutex);
    EXPECT_EQ(1, OnAnotherThread([&] {
                  const int locked = cs.TryLock();
                  cs.Unlock();
                  return locked;
              }));
}

TEST(LayoutFieldsTest, Lockers) {
    const Novu::Cs cs;
    const Novu::CsLocker csLocker(cs);
    EXPECT_EQ(&cs, FieldAt<const Novu::Cs*>(&csLocker, 8));

    Novu::Mutex mutex(nullptr);
    const Novu::MutexLocker mutexLocker(mutex);
    EXPECT_EQ(&mutex, FieldAt<Novu::Mutex*>(&mutexLocker, 8));
}

// The strings are never written, but they are there: empty, and released.
TEST(LayoutFieldsTest, MutexAndEvent) {
    Novu::Mutex mutex;
    EXPECT_NE(nullptr, mutex.GetHandle());
    EXPECT_EQ(mutex.GetHandle(), FieldAt<Novu::NovuSemaphore*>(&mutex, 0));
    EXPECT_EQ("", PartAt<std::string>(&mutex, 8));
    PartAt<std::string>(&mutex, 8) = kLongText;

    Novu::Event event;
    EXPECT_NE(nullptr, event.GetHandle());
    EXPECT_EQ(event.GetHandle(), FieldAt<Novu::NovuEvent*>(&event, 0));
    EXPECT_EQ("", PartAt<std::string>(&event, 8));
    PartAt<std::string>(&event, 8) = kLongText;
}

struct Handler final : Novu::ThreadHandler {
    int OnPreThreadStart(Novu::Thread* /*thread*/) override { return 1; }
    int OnThreadEntry(Novu::Thread* thread) override {
        entered = true;
        while (thread->IsStopThread(1) == 0) {
        }
        return 0;
    }

    std::atomic<bool> entered = false;
};

TEST(LayoutFieldsTest, Thread) {
    using Novu::NovuEvent;
    Handler handler;
    Novu::Thread thread;
    EXPECT_EQ(nullptr, FieldAt<void*>(&thread, 8));
    EXPECT_EQ(nullptr, FieldAt<void*>(&thread, 16));
    EXPECT_EQ(0, FieldAt<int>(&thread, 48));
    EXPECT_EQ(15, FieldAt<int>(&thread, 52));
    thread.SetThreadHandler(&handler);
    thread.SetThreadPriority(4711);
    EXPECT_EQ(&handler, FieldAt<Handler*>(&thread, 8));
    EXPECT_EQ(0, FieldAt<int>(&thread, 48));
    EXPECT_EQ(4711, FieldAt<int>(&thread, 52));

    auto* const stop = FieldAt<NovuEvent*>(&thread, 24);
    auto* const exit = FieldAt<NovuEvent*>(&thread, 32);
    auto* const resume = FieldAt<NovuEvent*>(&thread, 40);
    EXPECT_EQ(thread.GetStopThreadEvent(), stop);
    ASSERT_EQ(1, thread.StartThread(/*suspended=*/1));
    EXPECT_NE(nullptr, thread.GetHandle());
    EXPECT_EQ(thread.GetHandle(), FieldAt<pthread_t*>(&thread, 16));

    // Which of the other two is which shows in what they do.
    EXPECT_EQ(0, resume->Wait(0));
    EXPECT_EQ(0, exit->Wait(50));
    EXPECT_FALSE(handler.entered);
    resume->Set();
    EXPECT_TRUE(NovuTest::Eventually([&] { return handler.entered.load(); }));
    EXPECT_EQ(0, exit->Wait(0));
    stop->Set();
    EXPECT_EQ(1, exit->Wait(20000));
    thread.StopThread(20000, 0);
    EXPECT_EQ(nullptr, FieldAt<void*>(&thread, 16));
}

TEST(LayoutFieldsTest, ThreadTaskPool) {
    Novu::ThreadTaskPool pool;
    auto& tasks = *FieldAt<std::list<boost::function<void()>>*>(&pool, 56);
    Novu::Cs& lock = PartAt<Novu::Cs>(&pool, 64);
    Novu::Event& taskEvent = PartAt<Novu::Event>(&pool, 64 + 40);
    EXPECT_EQ(15, FieldAt<int>(&pool, 52)) << "a Thread before them";
    EXPECT_EQ(0U, tasks.size());
    EXPECT_EQ(1, taskEvent.IsOpened());
    EXPECT_EQ(0, taskEvent.Wait(0));
    {
        std::future<void> posted;  // Waits in the end.
        const Novu::CsLocker locker(lock);
        posted = std::async(std::launch::async, [&] { pool.Post([] {}); });
        EXPECT_EQ(std::future_status::timeout,
                  posted.wait_for(std::chrono::milliseconds(100)));
        EXPECT_EQ(0U, tasks.size());
        EXPECT_EQ(0, taskEvent.Wait(0));
    }
    EXPECT_EQ(1U, tasks.size());
    EXPECT_EQ(1, taskEvent.Wait(0));
}

struct Nothing : Novu::Command {
    void Execute() override {}
};

TEST(LayoutFieldsTest, MacroCommand) {
    Novu::MacroCommand macro;
    auto* const command = new Nothing;
    macro.Add(command);
    EXPECT_EQ((std::list<Novu::Command*>{command}),
              PartAt<std::list<Novu::Command*>>(&macro, 8));
}

// XML

TEST(LayoutFieldsTest, XmlWriter) {
    Novu::XmlWriter writer;
    void* const data = FieldAt<void*>(&writer, 8);
    ASSERT_NE(nullptr, data);
    EXPECT_EQ(nullptr, FieldAt<void*>(data, 0));
    EXPECT_EQ(nullptr, FieldAt<void*>(data, 8));
    EXPECT_EQ(nullptr, FieldAt<void*>(data, 16));

    // The document, the writer into it, the converter.
    ASSERT_EQ(1, writer.BeginDocument("UTF-8"));
    auto* const buffer = FieldAt<xmlBuffer*>(data, 0);
    unsigned long size = 0;
    EXPECT_EQ(writer.GetXmlBuffer(size), ::xmlBufferContent(buffer));
    EXPECT_NE(nullptr, FieldAt<void*>(data, 8));
    EXPECT_NE(nullptr, FieldAt<void*>(data, 16));
    writer.Close();
    EXPECT_EQ(nullptr, FieldAt<void*>(data, 0));
    EXPECT_NE(nullptr, FieldAt<void*>(data, 8)) << "stays until EndDocument";
    EXPECT_EQ(nullptr, FieldAt<void*>(data, 16));
    writer.EndDocument();
    EXPECT_EQ(nullptr, FieldAt<void*>(data, 8));
}

TEST(LayoutFieldsTest, XmlReader) {
    Novu::XmlReader reader;
    void* const data = FieldAt<void*>(&reader, 8);
    ASSERT_NE(nullptr, data);
    EXPECT_EQ(nullptr, FieldAt<void*>(data, 0));
    EXPECT_EQ(nullptr, FieldAt<void*>(data, 8));
    const auto* const room = FieldAt<std::vector<char>*>(data, 16);
    ASSERT_NE(nullptr, room);
    EXPECT_TRUE(room->empty());

    Byte text[] = "<?xml version='1.0' encoding='UTF-8'?><a/>";
    ASSERT_EQ(1, reader.Load(text, sizeof text - 1));
    auto* const document = FieldAt<xmlDoc*>(data, 0);
    EXPECT_EQ(static_cast<void*>(reader.GetRootElement()),
              static_cast<void*>(::xmlDocGetRootElement(document)));
    const iconv_t converter = FieldAt<iconv_t>(data, 8);
    char in[] = "a";
    char out[] = "?";
    char* inAt = in;
    char* outAt = out;
    std::size_t inLeft = 1;
    std::size_t outLeft = 1;
    EXPECT_EQ(0U, ::iconv(converter, &inAt, &inLeft, &outAt, &outLeft));
    EXPECT_EQ('a', out[0]);
    EXPECT_EQ(std::vector<char>(4096), *room);

    reader.Close();
    EXPECT_EQ(nullptr, FieldAt<void*>(data, 0));
    EXPECT_EQ(nullptr, FieldAt<void*>(data, 8));
}

}  // namespace
