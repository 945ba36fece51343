// Soak SECONDS [SEED]: every service at once, from many threads, under load and
// with random failures of memory and of the system (Faults.h). In the end the
// process holds what it held after the first round: memory, descriptors,
// threads, named semaphores, segments of shared memory, temporary files.
//
// A step is one use of one service. Where nothing failed its results are right;
// where something did, they are right or refused. A round ends with its
// threads, so that what is left can be counted.

#include <libxml/xmlerror.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iterator>
#include <locale>
#include <memory>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "Bases/All.h"
#include "tests/soak/Faults.h"
#include "tests/soak/Holdings.h"
#include "tests/support/Allocation.h"
#include "tests/support/TempDir.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NOVU_SOAK_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define NOVU_SOAK_SANITIZED 1
#endif
#endif

namespace {

using NovuTest::Faults;
using NovuTest::Holdings;
using NovuTest::Pick;
using NovuTest::Random;

using Clock = std::chrono::steady_clock;

const unsigned int kWorkers = 8;
const unsigned int kRounds = 12;
const unsigned int kNoLimit = 0xFFFFFFFF;

// A sanitizer has its own memory, and thinks a forced stop a race.
#ifdef NOVU_SOAK_SANITIZED
const bool kMemoryCounts = false;
const bool kForcesStops = false;
#else
const bool kMemoryCounts = true;
const bool kForcesStops = true;
#endif

// Growth that is no leak: what the allocator keeps for itself.
const long kHeapSlack = 128L * 1024;
const long kResidentSlack = 16L * 1024 * 1024;

// What is abandoned by design, as the allocator counts it: the byte of
// wcs_to_utf8, and the mapping of a named semaphore with what the system's
// library notes of it.
const long kAbandonedByte = 32;
const long kAbandonedNote = 160;
const long kAbandonedMapping = 4096;
std::atomic<long> abandonedBytes = 0;
std::atomic<long> abandonedSemaphores = 0;

// Shared by all workers of a round.
struct Shared {
    Novu::Cs lock;
    long first = 0;  // Under the lock, like the next: always equal.
    long second = 0;
    Novu::NovuEvent event;
    Novu::NovuSemaphore semaphore;
    Novu::ThreadTaskPool pool;
    std::atomic<long> posted = 0;
    std::atomic<long> ran = 0;
};

// What a step has to do with.
struct Context {
    Random random;
    std::string folder;  // Of this worker, with "/" at its end.
    std::string name;    // Begins the names of this worker's objects.
    unsigned long names = 0;
    Shared* shared = nullptr;
};

thread_local std::atomic<unsigned long>* wrong = nullptr;  // Of the step.

void Check(bool right, const char* what) {
    if (!right && ++*wrong <= 3) {
        std::fprintf(stderr, "soak: wrong: %s\n", what);
    }
}

std::string RandomBytes(Random& random, unsigned int most) {
    std::string bytes(Pick(random, most + 1), '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(Pick(random, 256));
    }
    return bytes;
}

unsigned char* BytesOf(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

std::string NewName(Context& context) {
    return context.name + std::to_string(++context.names);
}

// Bytes, bits and text

void Base64Step(Context& context) {
    const std::string data = RandomBytes(context.random, 3000);
    std::vector<char> decoded(4 * (data.size() / 3 + 1) + 1);
    Novu::Base64 base64;
    std::string text;
    const Faults faults(context.random);
    Check(base64.Encode(data.data(), data.size(), text) == 1, "encoded");
    Check(base64.Decode(text.c_str(), decoded.data()) == data.size() &&
              std::memcmp(decoded.data(), data.data(), data.size()) == 0,
          "decoded");
}

void BitsStep(Context& context) {
    const unsigned long size = 1 + Pick(context.random, 3000);
    const Faults faults(context.random);
    Novu::Bits bits(size);
    unsigned long ones = 0;
    for (unsigned int i = 0; i != 50; ++i) {
        const unsigned long at = Pick(context.random, 3000);
        ones += at < size && !bits.Test(at) ? 1U : 0U;
        bits.Set(at);
    }
    Check(bits.GetSetCount() == ones, "ones");
    Novu::Bits read;
    read.FromString(bits.ToString());
    Check(read == bits, "bits as text");
    Check(((read ^ bits).None()), "bits without difference");
}

void BufferStep(Context& context) {
    std::string model;
    std::string chunk = RandomBytes(context.random, 500);
    Novu::SerialBuffer buffer;
    for (unsigned int i = 0; i != 20; ++i) {
        const unsigned int shifted = Pick(context.random, 300);
        std::string expected = model + chunk;
        {
            const Faults faults(context.random);
            Check(buffer.AddBuffer(BytesOf(chunk), chunk.size(), 1) == 1,
                  "appended");
        }
        expected.erase(0, shifted);
        buffer.Shift(shifted);
        model = expected;
        Check(std::string(reinterpret_cast<char*>(buffer.GetBuffer()),
                          buffer.GetSize()) == model,
              "the buffer's bytes");
    }
}

void NumbersStep(Context& context) {
    const auto value = static_cast<long long>(context.random());
    const Faults faults(context.random);
    char text[80];
    Check(std::strtoll(_i64toa(value, text, 10), nullptr, 10) == value,
          "the number as text");
    char buffer[100];
    std::string size;
    Check(Novu::GetSizeFormat(buffer, sizeof buffer, value) == 1 &&
              Novu::GetSizeFormat(size, value) == 1 && size == buffer,
          "the size as text");
    const auto bits = static_cast<unsigned long long>(value);
    Check(Novu::Endian::betoh64(Novu::Endian::tobe64(bits)) == bits &&
              Novu::Endian::Swap64(Novu::Endian::tobe64(bits)) ==
                  Novu::Endian::tole64(bits),
          "swapped");
}

void TextStep(Context& context) {
    std::string text = RandomBytes(context.random, 300);
    for (char& byte : text) {
        byte = static_cast<char>('a' + static_cast<unsigned char>(byte) % 26);
    }
    text += 'x';
    const std::locale& locale = std::locale::classic();
    if (Pick(context.random, 32) != 0) {
        const Faults faults(context.random);
        Check(Novu::wcs_to_mbs(Novu::mbs_to_wcs(text, locale), locale) == text,
              "widened and narrowed");
        Check(Novu::utf8_to_mbs(text, locale) == text, "from UTF-8");
        return;
    }
    // By design it always throws, and abandons a byte each time.
    const NovuTest::AllocationLedger ledger;
    bool threw = false;
    try {
        const Faults faults(context.random);
        Novu::mbs_to_utf8(text, locale);
    } catch (const std::logic_error&) {
        threw = true;
    } catch (const std::bad_alloc&) {
        threw = true;
    }
    Check(threw, "thrown");
    abandonedBytes += static_cast<long>(ledger.Bytes());
}

void GuidStep(Context& context) {
    const Faults faults(context.random);
    Novu::Guid id;
    Novu::Guid read;
    Check(id.Generate() && read.FromString(id.ToString(1)) && read == id,
          "the identifier as text");
}

// Ciphers and digests

struct CryptoOwner {
    CryptoOwner() = default;
    CryptoOwner(const CryptoOwner&) = delete;
    CryptoOwner& operator=(const CryptoOwner&) = delete;
    ~CryptoOwner() { Novu::DestroyCrypto(crypto); }

    Novu::Crypto* crypto = nullptr;
};

void CipherStep(Context& context) {
    std::string message = RandomBytes(context.random, 2000) + "x";
    // Of which the first 16 bytes count.
    const std::string key =
        RandomBytes(context.random, 16) + "0123456789abcdef";
    CryptoOwner owner;
    const Faults faults(context.random);
    owner.crypto = Novu::CreateCrypto(Novu::Crypto::BlockCipherSeed);
    owner.crypto->SetUserSecretKey(
        reinterpret_cast<const unsigned char*>(key.data()));
    unsigned long consumed = 0;
    unsigned char* output = nullptr;
    unsigned long length = 0;
    Check(owner.crypto->Encrypt(BytesOf(message), message.size(), consumed,
                                output, length) == 1,
          "enciphered");
    const std::unique_ptr<unsigned char[]> secret(output);
    Check(owner.crypto->Decrypt(secret.get(), length, consumed, output,
                                length) == 1,
          "deciphered");
    const std::unique_ptr<unsigned char[]> open(output);
    Check(std::memcmp(open.get(), message.data(), message.size()) == 0,
          "the message");
}

void DigestStep(Context& context) {
    std::string message = RandomBytes(context.random, 2000);
    const std::size_t split =
        Pick(context.random, static_cast<unsigned int>(message.size()) + 1);
    CryptoOwner owner;
    const Faults faults(context.random);
    Novu::CryptoHashMd5 md5;
    char pieces[88];
    Novu::CryptoHashMd5::MD5Digest_struct digest{};
    md5.MD5Init(&pieces);
    md5.MD5Update(&pieces, message.data(), split);
    md5.MD5Update(&pieces, message.data() + split, message.size() - split);
    md5.MD5Final(&digest, &pieces);
    Check(md5.MD5DigestToBase16(digest) == md5.MD5String(message),
          "the digest in pieces");
    owner.crypto = Novu::CreateCrypto(Novu::Crypto::HashMd5);
    unsigned long consumed = 0;
    unsigned char* output = nullptr;
    unsigned long length = 0;
    Check(owner.crypto->Encrypt(BytesOf(message), message.size(), consumed,
                                output, length) == 1,
          "digested");
    const std::unique_ptr<unsigned char[]> made(output);
    Check(length == sizeof digest.bytes &&
              std::memcmp(made.get(), digest.bytes, length) == 0,
          "the digest in one");
}

// Dates and times

void DateStep(Context& context) {
    unsigned long year = 1980 + Pick(context.random, 200);
    unsigned long month = 1 + Pick(context.random, 12);
    unsigned long day = 1 + Pick(context.random, 28);
    const unsigned long first = Novu::GetDaysSince1980(year, month, day);
    const unsigned int steps = Pick(context.random, 500);
    for (unsigned int i = 0; i != steps; ++i) {
        Novu::GetNextDay(year, month, day);
    }
    Check(Novu::GetDaysSince1980(year, month, day) == first + steps,
          "days onwards");
    for (unsigned int i = 0; i != steps; ++i) {
        Novu::GetPrevDay(year, month, day);
    }
    Check(Novu::GetDaysSince1980(year, month, day) == first, "days back");
}

void TimeStep(Context& context) {
    const long long time =
        static_cast<long long>(context.random() % 4000000000000);
    const Faults faults(context.random);
    Novu::SysTime there{};
    Novu::SysTime again{};
    long long back = 0;
    Check(Novu::TimeToLocalSysTime(time, there), "fields");
    Check(Novu::GetDateTimeFormat("yyyy-MM-dd", there).size() == 10,
          "the date as text");
    there.year = static_cast<short>(there.year - 1900);
    there.month = static_cast<short>(there.month - 1);
    // An hour that is lived twice comes back as either.
    if (Novu::SysTimeToTime(there, back) &&
        Novu::TimeToLocalSysTime(back, again)) {
        Check(again.minute == there.minute && again.second == there.second &&
                  again.day == there.day,
              "fields and back");
    }
    Check(Novu::GetCurLocalTime() > 0 || Faults::SystemFailed(), "now");
    Check(Novu::timer_us() != 0 || Faults::SystemFailed(), "the timer");
}

// Files

// Removes a file, or a folder with all that is in it.
struct Remover {
    explicit Remover(const std::string& toRemove) : path(toRemove) {}
    Remover(const Remover&) = delete;
    Remover& operator=(const Remover&) = delete;
    ~Remover() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    const std::string& path;
};

void FileStep(Context& context) {
    namespace FileSys = Novu::FileSys;
    const std::string folder = context.folder + "f/";
    std::string data = RandomBytes(context.random, 5000) + "x";
    std::string content(data.size(), '\0');
    const Remover remover(folder);
    const Faults faults(context.random);

    const bool made = FileSys::CreateDirLevel(folder + "a/b/c", 0, 1);
    Novu::FileIo file;
    const std::string path = folder + "a/file";
    unsigned int written = 0;
    unsigned int read = 0;
    if (file.Open(path, 0xC0000000, 3, 2)) {
        written = file.Write(data.data(), static_cast<unsigned>(data.size()));
        file.SeekToBegin();
        read = file.Read(content.data(), static_cast<unsigned>(data.size()));
    }
    const long long size = file.GetFileSize();
    const bool flushed = Pick(context.random, 32) != 0 || file.Flush();
    file.Close();
    const bool copied = FileSys::CopyFile(path, folder + "a/copy");
    const bool moved = FileSys::MoveFile(folder + "a/copy", folder + "moved");
    unsigned long entries = 0;
    Novu::FileFind find;
    if (find.FindFirst(folder + "a/", "")) {
        do {
            // Which entry comes first is the system's choice, also of these
            // two.
            entries += find.GetFileName()[0] != '.' ? 1U : 0U;
        } while (find.FindNext());
    }
    find.FindClose();
    const bool deleted = FileSys::DeleteFile(folder + "moved") &&
                         FileSys::DeleteDir(folder + "a/b/c");
    unsigned long long total = 0;
    unsigned long long used = 0;
    unsigned long long free = 0;
    const bool measured = FileSys::GetDiskSize(folder, total, used, free);
    if (!Faults::SystemFailed()) {
        Check(made && flushed && copied && moved && deleted, "files");
        Check(measured && total == used + free, "the disk's size");
        Check(written == data.size() && read == data.size() &&
                  size == static_cast<long long>(data.size()) &&
                  content == data,
              "the file's bytes");
        Check(entries == 2, "entries");
    }
}

void ModuleStep(Context& context) {
    const Faults faults(context.random);
    std::string folder;
    Novu::GetModuleDir(folder);
    Check(folder.starts_with('/') || Faults::SystemFailed(),
          "the program's folder");
    Check(Novu::IsExistProcess(Novu::GetProcessId()), "the process");
}

void ShmStep(Context& context) {
    const std::string name = NewName(context);
    Novu::Shm made;
    Novu::Shm found;
    const Faults faults(context.random);
    const void* const failure = MAP_FAILED;
    const bool created = made.Create(4096, name.c_str(), 0, 1);
    unsigned char* const there = created ? made.Map() : nullptr;
    unsigned char* const here =
        created && found.Open(name.c_str(), 0) ? found.Map() : nullptr;
    const bool both = there != nullptr && there != failure && here != nullptr &&
                      here != failure;
    if (both) {
        *there = 42;
        Check(*here == 42, "shared memory");
    }
    if (there != nullptr && there != failure) {
        made.Unmap(there);
    }
    if (here != nullptr && here != failure) {
        found.Unmap(here);
    }
    // Only root may write to such a segment.
    Check(both || Faults::SystemFailed() || ::geteuid() != 0, "mapped");
    made.Close();
}

// Commands

class CountingCommand : public Novu::Command {
public:
    explicit CountingCommand(unsigned int& toCount) : count(toCount) {}
    void Execute() override { ++count; }

private:
    unsigned int& count;
};

void PatternStep(Context& context) {
    unsigned int count = 0;
    const unsigned int commands = Pick(context.random, 20);
    const Faults faults(context.random);
    Novu::MacroCommand macro;
    for (unsigned int i = 0; i != commands; ++i) {
        auto command = std::make_unique<CountingCommand>(count);
        macro.Add(command.get());
        [[maybe_unused]] const Novu::Command* const owned = command.release();
    }
    macro.Execute();
    Check(count == commands, "commands");
}

// XML

void XmlStep(Context& context) {
    const std::string text = "a<b&" + std::to_string(context.random());
    const std::string path = context.folder + "xml";
    const Remover remover(path);
    const Faults faults(context.random);
    Novu::Guid id;
    id.Generate();
    Novu::XmlWriter writer;
    bool good = writer.BeginDocument("UTF-8") == 1;
    good = good && writer.BeginElement("root") == 1 &&
           writer.WriteAttribute("id", id, 1) == 1 &&
           writer.WriteAttribute("text", text) == 1;
    for (int i = 0; good && i != 20; ++i) {
        good = writer.WriteElementEntity("item", text) == 1 &&
               writer.WriteElementEntity("number", i) == 1;
    }
    good = writer.EndDocument() == 1 && good;
    Check(good || Faults::SystemFailed(), "written");

    unsigned long size = 0;
    unsigned char* const bytes = writer.GetXmlBuffer(size);
    Novu::XmlReader reader;
    bool loaded = false;
    if (Pick(context.random, 2) == 0) {
        loaded = reader.Load(bytes, size) == 1;
    } else {
        writer.Save(path);
        loaded = reader.Load(path) == 1;
    }
    unsigned long elements = 0;
    std::string value;
    std::string name;
    Novu::XmlReader::Element* element =
        reader.ChildElement(reader.GetRootElement(), &name);
    for (; element != nullptr; element = reader.NextElement(element, &name)) {
        ++elements;
        if (name == "item") {
            Check(reader.GetEntity(element, value) == 1 && value == text,
                  "the item's text");
        }
    }
    Check((loaded && elements == 40) || Faults::SystemFailed(), "read");
}

// Threads

void LockStep(Context& context) {
    Shared& shared = *context.shared;
    for (unsigned int i = 0; i != 200; ++i) {
        const Novu::CsLocker locker(shared.lock);
        ++shared.first;
        Check(shared.first == shared.second + 1, "alone under the lock");
        ++shared.second;
    }
}

void EventStep(Context& context) {
    Shared& shared = *context.shared;
    switch (Pick(context.random, 4)) {
        case 0:
            shared.event.Set();
            break;
        case 1:
            shared.event.Wait(1);
            break;
        case 2:
            shared.semaphore.Post();
            break;
        default:
            shared.semaphore.Wait(1);
            break;
    }
    const Faults faults(context.random);
    Novu::Event event;
    Check(event.Create(0, 0, nullptr) == 1 && event.Wait(0) == 0 &&
              event.Set() == 1 && event.Wait(kNoLimit) == 1 &&
              event.Wait(0) == 0,
          "the event");
    Novu::Mutex mutex(nullptr);
    Check(mutex.Lock(kNoLimit) == 1 && mutex.Lock(0) == 0, "the mutex");
    mutex.Unlock();
}

// A process has mappings for some 65,000 of them, so they are rationed.
void NamedSemaphoreStep(Context& context) {
    static std::atomic<Clock::rep> next = 0;
    const Clock::rep now = Clock::now().time_since_epoch().count();
    Clock::rep due = next;
    const Clock::rep pause =
        Clock::duration(std::chrono::milliseconds(100)).count();
    if (now < due || !next.compare_exchange_strong(due, now + pause)) {
        return;
    }
    const std::string name = NewName(context);
    Novu::NovuSemaphore semaphore;
    Novu::Mutex mutex;
    const Faults faults(context.random);
    abandonedSemaphores += 2;
    const bool good = semaphore.Create(Novu::NovuSemaphore::Signalled,
                                       name.c_str(), 0) == 1 &&
                      semaphore.Wait(0) == 1 && semaphore.Wait(0) == 0;
    semaphore.Post();
    const bool locked =
        mutex.Create((name + "m").c_str()) == 1 && mutex.Lock(kNoLimit) == 1;
    mutex.Unlock();
    Check((good && locked) || Faults::SystemFailed(), "by name");
}

class Worker : public Novu::Thread {
public:
    explicit Worker(bool isDeaf) : deaf(isDeaf) {
        never.Create(Novu::NovuSemaphore::NotSignalled, nullptr, 0);
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker() override { StopThread(deaf ? 1 : kNoLimit, 1); }

    int OnThreadEntry() override {
        ran = true;
        while (deaf) {
            never.Wait(kNoLimit);
        }
        IsStopThread(kNoLimit);
        return 0;
    }

    std::atomic<bool> ran = false;

private:
    bool deaf;  // To a stop: has to be forced.
    Novu::NovuSemaphore never;
};

void ThreadStep(Context& context) {
    const bool deaf = kForcesStops && Pick(context.random, 8) == 0;
    const int suspended = Pick(context.random, 2) == 0 ? 1 : 0;
    bool ran = false;
    {
        Worker worker(deaf);
        {
            const Faults faults(context.random);
            Check(worker.StartThread(suspended) == 1, "started");
        }
        Check(worker.IsThreadRunning() == 1, "running");
        worker.ResumeThread();
        worker.StopThread(deaf ? 1 : kNoLimit, 1);
        Check(worker.IsThreadRunning() == 0, "stopped");
        ran = worker.ran;
    }
    // One that is forced may not have begun; one that the system refused counts
    // as started, by design.
    Check(ran || deaf || Faults::SystemFailed(), "ran");
}

void PoolStep(Context& context) {
    Shared& shared = *context.shared;
    for (unsigned int i = 0; i != 20; ++i) {
        const Faults faults(context.random);
        shared.pool.Post([&shared] { ++shared.ran; });
        ++shared.posted;
    }
    if (Pick(context.random, 16) != 0) {
        return;
    }
    std::atomic<unsigned int> ran = 0;
    {
        Novu::ThreadTaskPool pool;
        {
            const Faults faults(context.random);
            pool.StartThread(0);
        }
        for (unsigned int i = 0; i != 20; ++i) {
            pool.Post([&ran] { ++ran; });
        }
    }
    Check(ran <= 20, "tasks, some of them dropped");
}

// The run

struct Step {
    const char* service;
    void (*run)(Context& context);
    std::atomic<unsigned long> runs = 0;
    std::atomic<unsigned long> withoutMemory = 0;
    std::atomic<unsigned long> withoutSystem = 0;
    std::atomic<unsigned long> wrong = 0;
};

Step steps[] = {
    {"Base64", Base64Step},
    {"Bits", BitsStep},
    {"Buffer", BufferStep},
    {"Crypto, Seed", CipherStep},
    {"Crypto, MD5", DigestStep},
    {"Date", DateStep},
    {"Endian, Size, tchar", NumbersStep},
    {"FileIo, FileSys, FileFind", FileStep},
    {"Guid", GuidStep},
    {"Module", ModuleStep},
    {"Pattern", PatternStep},
    {"Sem, unnamed", EventStep},
    {"Sem, named", NamedSemaphoreStep},
    {"Shm", ShmStep},
    {"String", TextStep},
    {"Thread", ThreadStep},
    {"ThreadPool", PoolStep},
    {"ThreadSync", LockStep},
    {"Time, Timer", TimeStep},
    {"XmlDoc", XmlStep},
};

void Run(Step& step, Context& context) {
    wrong = &step.wrong;
    ++step.runs;
    Faults::Forget();
    try {
        step.run(context);
    } catch (const std::bad_alloc&) {
        ++step.withoutMemory;
    }
    step.withoutSystem += Faults::SystemFailed() ? 1 : 0;
}

unsigned long AllSteps() {
    unsigned long runs = 0;
    for (const Step& step : steps) {
        runs += step.runs;
    }
    return runs;
}

// One round: its threads are gone in the end.
void Round(const NovuTest::TempDir& temp, const std::string& names,
           unsigned long seed, Clock::duration length) {
    Shared shared;
    shared.event.Create(0, 0, nullptr);
    shared.semaphore.Create(Novu::NovuSemaphore::NotSignalled, nullptr, 0);
    shared.pool.StartThread(0);
    const auto end = Clock::now() + length;
    std::vector<std::thread> workers;
    for (unsigned int i = 0; i != kWorkers; ++i) {
        workers.emplace_back([&, i] {
            Context context{
                Random(seed * kWorkers + i), temp / (std::to_string(i) + "/"),
                names + std::to_string(seed) + "-" + std::to_string(i) + "-"};
            context.shared = &shared;
            ::mkdir(context.folder.c_str(), 0700);
            while (Clock::now() < end) {
                Run(steps[Pick(context.random, std::size(steps))], context);
            }
            ::rmdir(context.folder.c_str());
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    // Every task that was posted has run: the last one comes last.
    Novu::Event done;
    done.Create(1, 0, nullptr);
    shared.pool.Post([&done] { done.Set(); });
    done.Wait(kNoLimit);
    shared.pool.StopThread(kNoLimit, 0);
    wrong = &steps[0].wrong;
    Check(shared.ran == shared.posted, "every task ran");
}

void Print(unsigned int round, double seconds, const Holdings& now) {
    std::printf("%5u %8.1f %11lu %10ld %10ld %6ld %8ld %6ld %9ld %6ld\n", round,
                seconds, AllSteps(), now.heap / 1024, now.resident / 1024,
                now.descriptors, now.threads, now.names, now.segments,
                now.files);
    std::fflush(stdout);
}

bool Compare(const char* what, long first, long last, long allowed) {
    const bool good = last - first <= allowed;
    std::printf("%-24s %12ld %12ld %12ld  %s\n", what, first, last, allowed,
                good ? "ok" : "GREW");
    return good;
}

// NOLINTNEXTLINE(cert-dcl50-cpp): the type is libxml2's.
void Ignore(void* /*context*/, const char* /*format*/, ...) {}

int Soak(double seconds, unsigned long seed) {
    const NovuTest::TempDir temp;
    const std::string names = "novu-soak-" + std::to_string(::getpid()) + "-";
    ::xmlSetGenericErrorFunc(nullptr, Ignore);
    ::xmlThrDefSetGenericErrorFunc(nullptr, Ignore);
    const auto begun = Clock::now();
    const auto since = [begun] {
        return std::chrono::duration<double>(Clock::now() - begun).count();
    };

    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("seed %lu, %u threads\n", seed, kWorkers);
    std::printf("%5s %8s %11s %10s %10s %6s %8s %6s %9s %6s\n", "round",
                "seconds", "steps", "heap KiB", "RSS KiB", "fds", "threads",
                "names", "segments", "files");
    Holdings first{};
    Holdings last{};
    for (unsigned int round = 1; round <= kRounds; ++round) {
        Round(temp, names, seed + round,
              std::chrono::duration_cast<Clock::duration>(
                  std::chrono::duration<double>(seconds / kRounds)));
        last = NovuTest::Measure(names, temp.Path());
        Print(round, since(), last);
        if (round == 1) {
            first = last;
            abandonedBytes = 0;
            abandonedSemaphores = 0;
        }
    }

    std::printf("\n%-26s %11s %14s %14s %6s\n", "service", "steps",
                "without memory", "without system", "wrong");
    bool good = true;
    for (const Step& step : steps) {
        std::printf("%-26s %11lu %14lu %14lu %6lu\n", step.service,
                    step.runs.load(), step.withoutMemory.load(),
                    step.withoutSystem.load(), step.wrong.load());
        good = good && step.wrong == 0;
    }

    std::printf("\nabandoned by design: %ld bytes, %ld semaphores\n",
                abandonedBytes.load(), abandonedSemaphores.load());
    std::printf("%-24s %12s %12s %12s\n", "", "first round", "last round",
                "may grow by");
    if (kMemoryCounts) {
        good = Compare("heap, bytes", first.heap, last.heap,
                       kHeapSlack + abandonedBytes * kAbandonedByte +
                           abandonedSemaphores * kAbandonedNote) &&
               good;
        good = Compare("resident, bytes", first.resident, last.resident,
                       kResidentSlack + abandonedBytes * kAbandonedByte +
                           abandonedSemaphores *
                               (kAbandonedNote + kAbandonedMapping)) &&
               good;
    }
    good =
        Compare("descriptors", first.descriptors, last.descriptors, 0) && good;
    good = Compare("threads", first.threads, last.threads, 0) && good;
    good = Compare("named semaphores", 0, last.names, 0) && good;
    good = Compare("segments", first.segments, last.segments, 0) && good;
    good = Compare("temporary files", 0, last.files, 0) && good;
    std::puts(good ? "soak: all is well" : "soak: FAILED");
    return good ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::fputs("usage: Soak SECONDS [SEED]\n", stderr);
        return 2;
    }
    Novu::BasesInit();
    // The identifier 0, which the system may have to give, is none to Shm.
    const int guard = ::shmget(IPC_PRIVATE, 1, 0600);
    int status = EXIT_FAILURE;
    try {
        status = Soak(std::strtod(argv[1], nullptr),
                      argc == 3 ? std::strtoul(argv[2], nullptr, 10)
                                : std::random_device()());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "soak: %s\n", error.what());
    }
    ::shmctl(guard, IPC_RMID, nullptr);
    Novu::BasesRelease();
    return status;
}
