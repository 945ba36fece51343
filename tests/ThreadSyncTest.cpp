// The contract of Bases/ThreadSync.h.
//
// While a NovuTest::SystemCalls lives, it has the calls that a Cs makes, as
// "lock mutex": the function without its pthread_mutex_ or pthread_, and the
// Cs, or the attributes it is made with. Only calls on `watched` are recorded.
//
// A semaphore of the process forgets a post that nobody waits for. So before a
// test posts, it looks until the count that is kept beside says that the others
// wait: each wait takes 1 from it as it begins.

#include "Bases/ThreadSync.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "Bases/Sem.h"
#include "tests/support/Allocation.h"
#include "tests/support/Concurrency.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/ObjectBytes.h"
#include "tests/support/SemaphoreName.h"
#include "tests/support/SystemCalls.h"

namespace {

const pthread_mutex_t* watched = nullptr;
const pthread_mutexattr_t* attributes = nullptr;  // The latest made.

std::string AttributesText(const pthread_mutexattr_t* given) {
    if (given == nullptr) {
        return "null";
    }
    return given == attributes ? "attributes" : "others";
}

// A stand-in for a function of one mutex.
template <typename System>
int OnMutex(const char* function, const pthread_mutex_t* mutex, System system) {
    if (watched == nullptr || mutex != watched) {
        return system();
    }
    return NovuTest::Called(
        function, [] { return std::string("mutex"); }, system);
}

}  // namespace

extern "C" {

int pthread_mutexattr_init(pthread_mutexattr_t* made) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(pthread_mutexattr_t*)>(__func__);
    if (watched != nullptr) {
        attributes = made;
    }
    return NovuTest::Called(
        "attr_init", [&] { return AttributesText(made); },
        [&] { return next(made); });
}

int pthread_mutexattr_settype(pthread_mutexattr_t* given, int type) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(pthread_mutexattr_t*, int)>(__func__);
    return NovuTest::Called(
        "attr_settype",
        [&] {
            return AttributesText(given) + (type == PTHREAD_MUTEX_RECURSIVE
                                                ? " recursive"
                                                : " " + std::to_string(type));
        },
        [&] { return next(given, type); });
}

int pthread_mutexattr_destroy(pthread_mutexattr_t* given) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(pthread_mutexattr_t*)>(__func__);
    return NovuTest::Called(
        "attr_destroy", [&] { return AttributesText(given); },
        [&] { return next(given); });
}

int pthread_mutex_init(pthread_mutex_t* mutex,
                       const pthread_mutexattr_t* given) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(pthread_mutex_t*, const pthread_mutexattr_t*)>(
            __func__);
    if (watched == nullptr || mutex != watched) {
        return next(mutex, given);
    }
    return NovuTest::Called(
        "init", [&] { return "mutex " + AttributesText(given); },
        [&] { return next(mutex, given); });
}

int pthread_mutex_destroy(pthread_mutex_t* mutex) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(pthread_mutex_t*)>(__func__);
    return OnMutex("destroy", mutex, [&] { return next(mutex); });
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(pthread_mutex_t*)>(__func__);
    return OnMutex("lock", mutex, [&] { return next(mutex); });
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(pthread_mutex_t*)>(__func__);
    return OnMutex("trylock", mutex, [&] { return next(mutex); });
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(pthread_mutex_t*)>(__func__);
    return OnMutex("unlock", mutex, [&] { return next(mutex); });
}

}  // extern "C"

namespace {

using Novu::Cs;
using Novu::CsLocker;
using Novu::Event;
using Novu::Mutex;
using Novu::MutexLocker;
using Novu::NovuEvent;
using Novu::NovuSemaphore;
using NovuTest::AllocationLedger;
using NovuTest::Eventually;
using NovuTest::FailEachAllocation;
using NovuTest::FieldAt;
using NovuTest::kLongLimit;
using NovuTest::kNoLimit;
using NovuTest::Log;
using NovuTest::OnAnotherThread;
using NovuTest::SemaphoreName;
using NovuTest::SleepFor;
using NovuTest::SystemCalls;
using NovuTest::TimeOf;
using NovuTest::WithDeadline;
using std::chrono::milliseconds;

static_assert(std::is_default_constructible_v<Cs>);
static_assert(!std::is_copy_constructible_v<Cs>);
static_assert(!std::is_copy_assignable_v<Cs>);
static_assert(!std::is_polymorphic_v<Cs>);
static_assert(sizeof(Cs) == sizeof(pthread_mutex_t));
static_assert(std::is_same_v<decltype(&Cs::Lock), void (Cs::*)() const>);
static_assert(std::is_same_v<decltype(&Cs::Unlock), void (Cs::*)() const>);
static_assert(std::is_same_v<decltype(&Cs::TryLock), int (Cs::*)() const>);

static_assert(std::is_constructible_v<CsLocker, const Cs&>);
static_assert(!std::is_copy_constructible_v<CsLocker>);
static_assert(!std::is_copy_assignable_v<CsLocker>);
static_assert(std::has_virtual_destructor_v<CsLocker>);
static_assert(sizeof(CsLocker) == 2 * sizeof(void*));

static_assert(std::is_default_constructible_v<Mutex>);
static_assert(std::is_convertible_v<const char*, Mutex>);
static_assert(!std::is_copy_constructible_v<Mutex>);
static_assert(!std::is_copy_assignable_v<Mutex>);
static_assert(!std::is_polymorphic_v<Mutex>);
static_assert(sizeof(Mutex) == sizeof(void*) + sizeof(std::string));
static_assert(
    std::is_same_v<decltype(&Mutex::Create), int (Mutex::*)(const char*)>);
static_assert(
    std::is_same_v<decltype(&Mutex::Open), int (Mutex::*)(const char*)>);
static_assert(
    std::is_same_v<decltype(&Mutex::Lock), int (Mutex::*)(unsigned int)>);
static_assert(std::is_same_v<decltype(&Mutex::Unlock), void (Mutex::*)()>);
static_assert(std::is_same_v<decltype(&Mutex::IsOpened), int (Mutex::*)()>);
static_assert(std::is_same_v<decltype(&Mutex::Close), int (Mutex::*)()>);
static_assert(
    std::is_same_v<decltype(&Mutex::GetHandle), NovuSemaphore* (Mutex::*)()>);

static_assert(std::is_constructible_v<MutexLocker, Mutex&>);
static_assert(!std::is_constructible_v<MutexLocker, const Mutex&>);
static_assert(!std::is_copy_constructible_v<MutexLocker>);
static_assert(!std::is_copy_assignable_v<MutexLocker>);
static_assert(std::has_virtual_destructor_v<MutexLocker>);
static_assert(sizeof(MutexLocker) == 2 * sizeof(void*));

static_assert(std::is_default_constructible_v<Event>);
static_assert(!std::is_copy_constructible_v<Event>);
static_assert(!std::is_copy_assignable_v<Event>);
static_assert(!std::is_polymorphic_v<Event>);
static_assert(sizeof(Event) == sizeof(void*) + sizeof(std::string));
static_assert(std::is_same_v<decltype(&Event::Create),
                             int (Event::*)(int, int, const char*)>);
static_assert(
    std::is_same_v<decltype(&Event::Open), int (Event::*)(const char*)>);
static_assert(std::is_same_v<decltype(&Event::IsOpened), int (Event::*)()>);
static_assert(std::is_same_v<decltype(&Event::Set), int (Event::*)()>);
static_assert(std::is_same_v<decltype(&Event::Reset), int (Event::*)()>);
static_assert(
    std::is_same_v<decltype(&Event::Wait), int (Event::*)(unsigned int)>);
static_assert(std::is_same_v<decltype(&Event::Close), void (Event::*)()>);
static_assert(
    std::is_same_v<decltype(&Event::GetHandle), NovuEvent* (Event::*)()>);

using CsTest = WithDeadline;
using CsLockerTest = WithDeadline;
using MutexTest = WithDeadline;
using MutexLockerTest = WithDeadline;
using EventTest = WithDeadline;

int CountOf(NovuSemaphore* semaphore) {
    int count = -1000000;
    EXPECT_EQ(1, semaphore->GetSemCounts(count));
    return count;
}

// Until so many waits have begun on a semaphore of the process whose count has
// been 0. On Linux they sleep then, or see a post; on macOS they will in a
// moment.
bool UntilWaiting(NovuSemaphore* semaphore, int waits) {
    const bool begun = Eventually([&] { return CountOf(semaphore) == -waits; });
    SleepFor(milliseconds(50));
    return begun;
}

// The first semaphore of a program may make what all share.
void MakeASemaphore() {
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(nullptr));
}

// Cs

pthread_mutex_t* MutexOf(Cs& cs) {
    void* const object = &cs;
    return static_cast<pthread_mutex_t*>(object);
}

// Room for a Cs whose calls are watched from its making on.
class WatchedRoom {
public:
    WatchedRoom() {
        void* const begin = room;
        watched = static_cast<pthread_mutex_t*>(begin);
    }
    WatchedRoom(const WatchedRoom&) = delete;
    WatchedRoom& operator=(const WatchedRoom&) = delete;
    ~WatchedRoom() {
        watched = nullptr;
        attributes = nullptr;
    }

    void* Begin() { return room; }

private:
    alignas(Cs) unsigned char room[sizeof(Cs)] = {};
};

TEST_F(CsTest, IsOneRecursiveMutexOfTheSystem) {
    WatchedRoom room;
    SystemCalls calls;
    Cs* const cs = new (room.Begin()) Cs;
    EXPECT_EQ((Log{"attr_init attributes", "attr_settype attributes recursive",
                   "init mutex attributes"}),
              calls.Take());
    cs->Lock();
    EXPECT_EQ(Log{"lock mutex"}, calls.Take());
    EXPECT_EQ(1, cs->TryLock());
    EXPECT_EQ(Log{"trylock mutex"}, calls.Take());
    cs->Unlock();
    EXPECT_EQ(Log{"unlock mutex"}, calls.Take());
    cs->Unlock();
    calls.Take();
    cs->~Cs();
    EXPECT_EQ(Log{"destroy mutex"}, calls.Take());
}

TEST_F(CsTest, TryLockAnswers1WhereTheSystemAnswers0) {
    const struct {
        int line;
        int answer;
        int result;
    } rows[] = {
        {__LINE__, 0, 1},      {__LINE__, EBUSY, 0}, {__LINE__, EINVAL, 0},
        {__LINE__, EAGAIN, 0}, {__LINE__, 1, 0},     {__LINE__, -1, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        WatchedRoom room;
        Cs* const cs = new (room.Begin()) Cs;
        {
            SystemCalls calls;
            calls.Script("trylock", {{row.answer}});
            EXPECT_EQ(row.result, cs->TryLock());
        }
        cs->~Cs();
    }
}

TEST_F(CsTest, TheObjectIsTheMutex) {
    Cs cs;
    const auto tryElsewhere = [&] {
        return OnAnotherThread([&] {
            const int error = ::pthread_mutex_trylock(MutexOf(cs));
            if (error == 0) {
                ::pthread_mutex_unlock(MutexOf(cs));
            }
            return error;
        });
    };
    EXPECT_EQ(0, tryElsewhere());
    cs.Lock();
    EXPECT_EQ(EBUSY, tryElsewhere());
    cs.Unlock();
    EXPECT_EQ(0, tryElsewhere());
}

// Of a thread that has not got it; it does not keep it.
int TryLockElsewhere(const Cs& cs) {
    return OnAnotherThread([&] {
        const int locked = cs.TryLock();
        if (locked != 0) {
            cs.Unlock();
        }
        return locked;
    });
}

TEST_F(CsTest, IsUnlockedAsOftenAsItWasLocked) {
    const Cs cs;
    EXPECT_EQ(1, TryLockElsewhere(cs));
    const int times = 5;
    for (int n = 1; n <= times; ++n) {
        if (n % 2 != 0) {
            cs.Lock();
        } else {
            EXPECT_EQ(1, cs.TryLock());
        }
        EXPECT_EQ(0, TryLockElsewhere(cs));
    }
    for (int n = 1; n <= times; ++n) {
        EXPECT_EQ(0, TryLockElsewhere(cs)) << n;
        cs.Unlock();
    }
    EXPECT_EQ(1, TryLockElsewhere(cs));
}

TEST_F(CsTest, LockWaitsForTheThreadThatHasIt) {
    const Cs cs;
    std::atomic<bool> locked = false;
    cs.Lock();
    std::thread other([&] {
        cs.Lock();
        locked = true;
        cs.Unlock();
    });
    SleepFor(milliseconds(50));
    EXPECT_FALSE(locked);
    cs.Unlock();
    other.join();
    EXPECT_TRUE(locked);
}

TEST_F(CsTest, LetsOneInAtATime) {
    const Cs cs;
    const int rounds = 2000;
    int total = 0;
    std::vector<std::thread> threads;
    for (int n = 0; n < 4; ++n) {
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) {
                cs.Lock();
                ++total;
                cs.Unlock();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(4 * rounds, total);
}

// CsLocker

TEST_F(CsLockerTest, LocksAndUnlocksOnce) {
    WatchedRoom room;
    Cs* const cs = new (room.Begin()) Cs;
    {
        SystemCalls calls;
        {
            const CsLocker locker(*cs);
            EXPECT_EQ(Log{"lock mutex"}, calls.Take());
        }
        EXPECT_EQ(Log{"unlock mutex"}, calls.Take());
    }
    cs->~Cs();
}

TEST_F(CsLockerTest, HoldsForItsScope) {
    const Cs cs;
    {
        const CsLocker outer(cs);
        {
            const CsLocker inner(cs);
            EXPECT_EQ(0, TryLockElsewhere(cs));
        }
        EXPECT_EQ(0, TryLockElsewhere(cs));
    }
    EXPECT_EQ(1, TryLockElsewhere(cs));
    try {
        const CsLocker locker(cs);
        throw std::runtime_error("left");
    } catch (const std::runtime_error&) {
        EXPECT_EQ(1, TryLockElsewhere(cs));
    }
}

TEST_F(CsLockerTest, IsAPointerToWhatItHolds) {
    const Cs cs;
    const CsLocker locker(cs);
    EXPECT_EQ(&cs, FieldAt<const Cs*>(&locker, sizeof(void*)));
}

TEST_F(CsLockerTest, UnlocksAlsoThroughAPointerToIt) {
    struct Derived : CsLocker {
        Derived(const Cs& cs, int& counted)
            : CsLocker(cs), destroyed(counted) {}
        ~Derived() override { ++destroyed; }

        int& destroyed;
    };
    const Cs cs;
    int destroyed = 0;
    std::unique_ptr<CsLocker> locker = std::make_unique<Derived>(cs, destroyed);
    EXPECT_EQ(0, TryLockElsewhere(cs));
    locker.reset();
    EXPECT_EQ(1, destroyed);
    EXPECT_EQ(1, TryLockElsewhere(cs));
}

TEST_F(CsLockerTest, AConstObjectGuardsItself) {
    class Account {
    public:
        int Balance() const {
            const CsLocker locker(lock);
            return balance;
        }
        void Pay(int sum) {
            const CsLocker locker(lock);
            balance += sum;
        }

    private:
        Cs lock;
        int balance = 0;
    };
    Account account;
    const Account& seen = account;
    std::thread other([&] {
        for (int n = 0; n < 1000; ++n) {
            account.Pay(1);
        }
    });
    int last = 0;
    for (int n = 0; n < 1000; ++n) {
        const int balance = seen.Balance();
        EXPECT_LE(last, balance);
        last = balance;
    }
    other.join();
    EXPECT_EQ(1000, seen.Balance());
}

// Mutex: fields and lifetime

NovuSemaphore* SemaphoreOf(const Mutex& mutex) {
    return FieldAt<NovuSemaphore*>(&mutex, 0);
}

const std::string& StringOf(const void* object) {
    const void* const field = static_cast<const char*>(object) + sizeof(void*);
    return *static_cast<const std::string*>(field);
}

TEST_F(MutexTest, ANewOneHasASemaphoreThatIsNotCreated) {
    Mutex mutex;
    ASSERT_NE(nullptr, mutex.GetHandle());
    EXPECT_EQ(SemaphoreOf(mutex), mutex.GetHandle());
    EXPECT_EQ(0, mutex.GetHandle()->IsCreated());
    EXPECT_EQ(0, mutex.IsOpened());
    EXPECT_EQ("", StringOf(&mutex));
}

TEST_F(MutexTest, WithoutASemaphoreNothingIsLocked) {
    Mutex mutex;
    EXPECT_EQ(0, mutex.Lock(0));
    EXPECT_EQ(0, mutex.Lock(kLongLimit));
    EXPECT_EQ(0, mutex.Lock(kNoLimit));
    mutex.Unlock();
    EXPECT_EQ(0, mutex.Lock(0));
    EXPECT_EQ(1, mutex.Close());
    EXPECT_EQ(0, mutex.IsOpened());
}

TEST_F(MutexTest, TheConstructorWithANameCreates) {
    const SemaphoreName name;
    {
        Mutex mutex(name);
        EXPECT_EQ(1, mutex.IsOpened());
        EXPECT_TRUE(name.Exists());
        EXPECT_EQ(1, CountOf(mutex.GetHandle()));
        EXPECT_EQ(0, mutex.Create(name));
        EXPECT_EQ("", StringOf(&mutex));
    }
    Mutex mutex(nullptr);
    EXPECT_EQ(1, mutex.IsOpened());
    EXPECT_EQ(1, CountOf(mutex.GetHandle()));
    EXPECT_EQ(1, mutex.Lock(0));
    EXPECT_EQ(0, mutex.Lock(0));
}

// A refusal is seen later.
TEST_F(MutexTest, TheConstructorDropsTheResult) {
    Mutex mutex("");
    EXPECT_EQ(1, mutex.IsOpened());
    EXPECT_EQ(0, mutex.Lock(0));
    EXPECT_EQ(0, mutex.Lock(kNoLimit));
    EXPECT_EQ(0, mutex.Create(nullptr));
    EXPECT_EQ(1, mutex.Close());
    EXPECT_EQ(0, mutex.IsOpened());
    EXPECT_EQ(1, mutex.Create(nullptr));
    EXPECT_EQ(1, mutex.Lock(0));
}

TEST_F(MutexTest, WhatTheSystemRefusesIsZero) {
    for (const auto make : {&Mutex::Create, &Mutex::Open}) {
        Mutex mutex;
        EXPECT_EQ(0, (mutex.*make)(""));
        EXPECT_EQ(1, mutex.IsOpened());
        EXPECT_EQ(0, mutex.Lock(0));
        mutex.Close();
        EXPECT_EQ(1, (mutex.*make)(nullptr));
        EXPECT_EQ(1, mutex.Lock(0));
    }
}

// [threadsync-3]
TEST_F(MutexTest, CreateAndOpenAreTheSame) {
    for (const auto make : {&Mutex::Create, &Mutex::Open}) {
        for (const auto again : {&Mutex::Create, &Mutex::Open}) {
            // Of the process: with a count of 1, which the second try leaves.
            Mutex own;
            EXPECT_EQ(1, (own.*make)(nullptr));
            EXPECT_EQ(1, own.IsOpened());
            EXPECT_EQ(1, CountOf(own.GetHandle()));
            EXPECT_EQ(0, (own.*again)(nullptr));
            EXPECT_EQ(1, own.IsOpened());
            EXPECT_EQ(1, CountOf(own.GetHandle()));
            EXPECT_EQ(1, own.Lock(0));

            // The system's: made where there is none, else as it is.
            const SemaphoreName name;
            const SemaphoreName other;
            Mutex first;
            EXPECT_EQ(1, (first.*make)(name));
            EXPECT_TRUE(name.Exists());
            EXPECT_EQ(1, CountOf(first.GetHandle()));
            Mutex second;
            EXPECT_EQ(1, (second.*again)(name));
            EXPECT_EQ(1, second.Lock(0));
            EXPECT_EQ(0, first.Lock(0));
            EXPECT_EQ(0, (second.*again)(other));
            EXPECT_FALSE(other.Exists());
            EXPECT_EQ(0, second.Lock(0));
        }
    }
}

TEST_F(MutexTest, ANameThatExistsKeepsItsCount) {
    const SemaphoreName name;
    sem_t* const semaphore = ::sem_open(name, O_CREAT | O_EXCL, 0600, 3U);
    ASSERT_NE(SEM_FAILED, semaphore);
    Mutex mutex;
    EXPECT_EQ(1, mutex.Open(name));
    for (int n = 0; n < 3; ++n) {
        EXPECT_EQ(1, mutex.Lock(0));
    }
    EXPECT_EQ(0, mutex.Lock(0));
    ::sem_post(semaphore);
    EXPECT_EQ(1, mutex.Lock(0));
    ::sem_close(semaphore);
}

TEST_F(MutexTest, CloseReleasesTheSemaphore) {
    const SemaphoreName name;
    Mutex mutex;
    NovuSemaphore* const handle = mutex.GetHandle();
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(1, mutex.Create(name));
        EXPECT_EQ(1, mutex.Lock(0));
        EXPECT_EQ(1, mutex.Close());
        EXPECT_EQ(0, mutex.IsOpened());
        EXPECT_FALSE(name.Exists());
        EXPECT_EQ(0, mutex.Lock(kNoLimit));
        EXPECT_EQ(1, mutex.Close());
        EXPECT_EQ(handle, mutex.GetHandle());
    }
}

TEST_F(MutexTest, TheDestructorReleasesTheSemaphore) {
    const SemaphoreName name;
    Mutex other;
    {
        Mutex mutex;
        EXPECT_EQ(1, mutex.Create(name));
        EXPECT_EQ(1, other.Create(name));
    }
    EXPECT_FALSE(name.Exists());
    // Who has it open, has it.
    EXPECT_EQ(1, other.Lock(0));
}

TEST_F(MutexTest, TheHandleIsWhatIsLocked) {
    const SemaphoreName name;
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(name));
    EXPECT_EQ(1, mutex.GetHandle()->Wait(0));
    EXPECT_EQ(0, mutex.Lock(0));
    mutex.GetHandle()->Post();
    EXPECT_EQ(1, mutex.Lock(0));
    EXPECT_EQ(0, mutex.GetHandle()->Wait(0));
    mutex.Unlock();
    EXPECT_EQ(1, mutex.GetHandle()->Wait(0));
    EXPECT_EQ(1, mutex.GetHandle()->Destroy());
    EXPECT_EQ(0, mutex.IsOpened());
}

TEST_F(MutexTest, NothingIsLeftBehind) {
    MakeASemaphore();
    const SemaphoreName name;
    {
        const AllocationLedger ledger;
        {
            Mutex own(nullptr);
            Mutex named(name);
            Mutex none;
            none.Create(nullptr);
            none.Close();
            none.Create(name);
        }
        EXPECT_EQ(0U, ledger.Blocks());
    }
    for (const char* const given : {"", static_cast<const char*>(nullptr),
                                    static_cast<const char*>(name)}) {
        const AllocationLedger ledger;
        std::optional<Mutex> mutex;
        EXPECT_LT(0U,
                  FailEachAllocation([&] { mutex.emplace(given); },
                                     [&] { EXPECT_EQ(0U, ledger.Blocks()); }));
        mutex.reset();
        EXPECT_EQ(0U, ledger.Blocks());
    }
}

// Mutex: of the process

// [threadsync-2]
TEST_F(MutexTest, WithoutANameAnUnlockThatNobodyWaitsForIsForgotten) {
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(nullptr));
    EXPECT_EQ(1, mutex.Lock(kNoLimit));
    mutex.Unlock();
    mutex.Unlock();
    EXPECT_EQ(0, mutex.Lock(0));
    EXPECT_EQ(0, mutex.Lock(1));
    // The next waits for another.
    std::atomic<int> locked = -1;
    std::thread other([&] { locked = mutex.Lock(kNoLimit); });
    EXPECT_TRUE(Eventually([&] { return CountOf(mutex.GetHandle()) == -3; }));
    SleepFor(milliseconds(50));
    EXPECT_EQ(-1, locked);
    mutex.Unlock();
    other.join();
    EXPECT_EQ(1, locked);
}

// [threadsync-2]
TEST_F(MutexTest, WithoutANameAnUnlockLetsInAllWhoWait) {
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(nullptr));
    EXPECT_EQ(1, mutex.Lock(0));
    std::atomic<int> locked = 0;
    std::vector<std::thread> threads;
    for (const unsigned int timeout : {kNoLimit, kLongLimit, kNoLimit}) {
        threads.emplace_back([&, timeout] { locked += mutex.Lock(timeout); });
    }
    EXPECT_TRUE(UntilWaiting(mutex.GetHandle(), 3));
    EXPECT_EQ(0, locked);
    mutex.Unlock();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(3, locked);
}

// [threadsync-1]
TEST_F(MutexTest, HasNoOwner) {
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(nullptr));
    EXPECT_EQ(1, mutex.Lock(0));
    EXPECT_EQ(0, mutex.Lock(0));
    EXPECT_EQ(0, mutex.Lock(20));
    // Another thread unlocks, while the one that has it locks again.
    std::thread other([&] {
        EXPECT_TRUE(
            Eventually([&] { return CountOf(mutex.GetHandle()) == -3; }));
        SleepFor(milliseconds(50));
        mutex.Unlock();
    });
    EXPECT_EQ(1, mutex.Lock(kNoLimit));
    other.join();
}

TEST_F(MutexTest, ALimitIsWaitedFor) {
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(nullptr));
    EXPECT_EQ(1, mutex.Lock(kLongLimit));
    for (const unsigned int timeout : {1U, 60U}) {
        EXPECT_LE(milliseconds(timeout),
                  TimeOf([&] { EXPECT_EQ(0, mutex.Lock(timeout)); }));
    }
}

// Mutex: the system's

// [threadsync-1]
TEST_F(MutexTest, WithANameEachUnlockLetsOneIn) {
    const SemaphoreName name;
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(name));
    EXPECT_EQ(1, mutex.Lock(kNoLimit));
    EXPECT_EQ(0, mutex.Lock(0));
    std::thread([&] { mutex.Unlock(); }).join();
    EXPECT_EQ(1, mutex.Lock(0));
    EXPECT_EQ(0, mutex.Lock(0));
    for (int n = 0; n < 3; ++n) {
        mutex.Unlock();
    }
    EXPECT_EQ(3, CountOf(mutex.GetHandle()));
    for (int n = 0; n < 3; ++n) {
        EXPECT_EQ(1, mutex.Lock(0));
    }
    EXPECT_EQ(0, mutex.Lock(0));
}

TEST_F(MutexTest, WithANameALimitIsNotWaitedFor) {
    const SemaphoreName name;
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(name));
    EXPECT_EQ(1, mutex.Lock(kLongLimit));
    EXPECT_EQ(0, mutex.Lock(kLongLimit));
    EXPECT_EQ(0, mutex.Lock(1));
}

TEST_F(MutexTest, WithANameLockWaitsForAnUnlock) {
    const SemaphoreName name;
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(name));
    EXPECT_EQ(1, mutex.Lock(0));
    std::atomic<int> locked = -1;
    std::thread other([&] { locked = mutex.Lock(kNoLimit); });
    SleepFor(milliseconds(50));
    EXPECT_EQ(-1, locked);
    mutex.Unlock();
    other.join();
    EXPECT_EQ(1, locked);
}

// Both ends of a pipe, for answers of one character.
class Pipe {
public:
    Pipe() { EXPECT_EQ(0, ::pipe(ends)); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        ::close(ends[0]);
        ::close(ends[1]);
    }

    void Send(int result) const {
        const char text = static_cast<char>('0' + result);
        if (::write(ends[1], &text, 1) != 1) {
            ::_exit(2);
        }
    }

    bool IsEmpty() const {
        pollfd readable = {ends[0], POLLIN, 0};
        return ::poll(&readable, 1, 50) == 0;
    }

    int Receive() const {
        char text = 0;
        return ::read(ends[0], &text, 1) == 1 ? text - '0' : -1;
    }

private:
    int ends[2] = {-1, -1};
};

TEST_F(MutexTest, WithANameItIsForAllProcesses) {
    const SemaphoreName name;
    const Pipe toParent;
    const Pipe toChild;
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(name));
    EXPECT_EQ(1, mutex.Lock(0));

    std::fflush(nullptr);  // Or the child prints it again.
    const pid_t child = ::fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        ::alarm(50);
        Mutex other;
        toParent.Send(other.Open(name));
        toParent.Send(other.Lock(0));
        toParent.Send(other.Lock(kNoLimit));
        toChild.Receive();
        other.Unlock();
        ::_exit(0);  // The name stays.
    }
    EXPECT_EQ(1, toParent.Receive());
    EXPECT_EQ(0, toParent.Receive());
    EXPECT_TRUE(toParent.IsEmpty());
    mutex.Unlock();
    EXPECT_EQ(1, toParent.Receive());
    EXPECT_EQ(0, mutex.Lock(0));
    toChild.Send(0);
    EXPECT_EQ(1, mutex.Lock(kNoLimit));

    int status = -1;
    EXPECT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
}

TEST_F(MutexTest, WithANameItLetsOneInAtATime) {
    const SemaphoreName name;
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(name));
    std::atomic<int> inside = 0;
    std::atomic<int> most = 0;
    int total = 0;
    std::vector<std::thread> threads;
    for (int n = 0; n < 4; ++n) {
        threads.emplace_back([&] {
            for (int round = 0; round < 500; ++round) {
                const MutexLocker locker(mutex);
                const int now = ++inside;
                if (now > most) {
                    most = now;
                }
                ++total;
                --inside;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(1, most);
    EXPECT_EQ(2000, total);
}

// MutexLocker

TEST_F(MutexLockerTest, HoldsForItsScope) {
    const SemaphoreName name;
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(name));
    {
        const MutexLocker locker(mutex);
        EXPECT_EQ(0, mutex.Lock(0));
    }
    EXPECT_EQ(1, CountOf(mutex.GetHandle()));
    try {
        const MutexLocker locker(mutex);
        throw std::runtime_error("left");
    } catch (const std::runtime_error&) {
        EXPECT_EQ(1, CountOf(mutex.GetHandle()));
    }
}

TEST_F(MutexLockerTest, IsAPointerToWhatItHolds) {
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(nullptr));
    const MutexLocker locker(mutex);
    EXPECT_EQ(&mutex, FieldAt<Mutex*>(&locker, sizeof(void*)));
}

TEST_F(MutexLockerTest, UnlocksAlsoThroughAPointerToIt) {
    struct Derived : MutexLocker {
        Derived(Mutex& mutex, int& counted)
            : MutexLocker(mutex), destroyed(counted) {}
        ~Derived() override { ++destroyed; }

        int& destroyed;
    };
    const SemaphoreName name;
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(name));
    int destroyed = 0;
    std::unique_ptr<MutexLocker> locker =
        std::make_unique<Derived>(mutex, destroyed);
    EXPECT_EQ(0, CountOf(mutex.GetHandle()));
    locker.reset();
    EXPECT_EQ(1, destroyed);
    EXPECT_EQ(1, CountOf(mutex.GetHandle()));
}

TEST_F(MutexLockerTest, WaitsForAnUnlock) {
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(nullptr));
    std::atomic<bool> inside = false;
    {
        const MutexLocker locker(mutex);
        std::thread other([&] {
            const MutexLocker waiting(mutex);
            inside = true;
        });
        EXPECT_TRUE(UntilWaiting(mutex.GetHandle(), 1));
        EXPECT_FALSE(inside);
        mutex.Unlock();
        other.join();
    }
    EXPECT_TRUE(inside);
}

// [threadsync-4]
TEST_F(MutexLockerTest, IsHarmlessOnAMutexThatIsNotCreated) {
    const SemaphoreName name;
    Mutex mutex;
    {
        const MutexLocker locker(mutex);
        EXPECT_EQ(0, mutex.IsOpened());
    }
    EXPECT_EQ(0, mutex.IsOpened());
    // It unlocks what it never had.
    {
        const MutexLocker locker(mutex);
        EXPECT_EQ(1, mutex.Create(name));
    }
    EXPECT_EQ(2, CountOf(mutex.GetHandle()));
}

// A handler of SIGUSR1 that does nothing, and interrupts.
class Interruptions {
public:
    Interruptions() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        ::sigaction(SIGUSR1, &action, &before);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;
    ~Interruptions() { ::sigaction(SIGUSR1, &before, nullptr); }

private:
    struct sigaction before {};
};

// [threadsync-4]
TEST_F(MutexLockerTest, UnlocksAlsoWhereTheWaitFailed) {
    const Interruptions interruptions;
    const SemaphoreName name;
    Mutex mutex;
    EXPECT_EQ(1, mutex.Create(name));
    EXPECT_EQ(1, mutex.Lock(0));
    std::atomic<bool> left = false;
    std::thread other([&] {
        { const MutexLocker locker(mutex); }
        left = true;
    });
    // Until one comes while it waits.
    EXPECT_TRUE(Eventually([&] {
        ::pthread_kill(other.native_handle(), SIGUSR1);
        return left.load();
    }));
    other.join();
    EXPECT_EQ(1, CountOf(mutex.GetHandle()));
}

// Event

// What a NovuEvent is, before its semaphore.
struct Flags {
    int signalled;
    int manual;

    bool operator==(const Flags&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Flags& flags) {
        return out << "signalled " << flags.signalled << ", manual "
                   << flags.manual;
    }
};

Flags FlagsOf(Event& event) { return FieldAt<Flags>(event.GetHandle(), 0); }

TEST_F(EventTest, ANewOneIsManualAndNeitherSetNorOpened) {
    Event event;
    ASSERT_NE(nullptr, event.GetHandle());
    EXPECT_EQ(FieldAt<NovuEvent*>(&event, 0), event.GetHandle());
    EXPECT_EQ("", StringOf(&event));
    EXPECT_EQ((Flags{0, 1}), FlagsOf(event));
    EXPECT_EQ(0, event.IsOpened());
    EXPECT_EQ(0, event.GetHandle()->IsOpened());
    EXPECT_EQ(0, event.Wait(0));
    EXPECT_EQ(0, event.Wait(kNoLimit));
    EXPECT_EQ(0, event.Reset());
}

TEST_F(EventTest, CreatePassesEverythingOn) {
    const SemaphoreName name;
    const struct {
        int line;
        int manual;
        int initial;
        const char* name;
        int result;
        Flags flags;  // After it.
    } rows[] = {
        {__LINE__, 0, 0, nullptr, 1, {0, 0}},
        {__LINE__, 1, 0, nullptr, 1, {0, 1}},
        {__LINE__, 0, 1, nullptr, 1, {1, 0}},
        {__LINE__, 7, -5, nullptr, 1, {-5, 7}},
        {__LINE__, 0, 1, name, 1, {1, 0}},
        {__LINE__, 7, 0, name, 1, {0, 7}},
        {__LINE__, 0, 1, "", 0, {0, 1}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        Event event;
        EXPECT_EQ(row.result, event.Create(row.manual, row.initial, row.name));
        EXPECT_EQ(row.flags, FlagsOf(event));
        EXPECT_EQ(1, event.IsOpened());
        EXPECT_EQ(1, event.GetHandle()->IsOpened());
        EXPECT_EQ(row.name == name, name.Exists());
        EXPECT_EQ("", StringOf(&event));
        // Once more: refused, and nothing changes.
        EXPECT_EQ(0, event.Create(3, 4, nullptr));
        EXPECT_EQ(0, event.Open(nullptr));
        EXPECT_EQ(row.flags, FlagsOf(event));
        EXPECT_EQ(1, event.IsOpened());
    }
}

TEST_F(EventTest, OpenMakesItAutomatic) {
    const SemaphoreName name;
    Event maker;
    EXPECT_EQ(1, maker.Create(1, 0, name));
    Event event;
    EXPECT_EQ(1, event.Open(name));
    EXPECT_EQ((Flags{0, 0}), FlagsOf(event));
    EXPECT_EQ(1, event.IsOpened());
    EXPECT_EQ(0, event.Wait(0));
    EXPECT_EQ(1, event.Set());
    EXPECT_EQ((Flags{1, 0}), FlagsOf(event));
    EXPECT_EQ(1, event.Wait(0));
    EXPECT_EQ((Flags{0, 0}), FlagsOf(event));

    Event refused;
    EXPECT_EQ(0, refused.Open(""));
    EXPECT_EQ((Flags{0, 1}), FlagsOf(refused));
}

TEST_F(EventTest, StaysSetUntilItIsReset) {
    Event event;
    EXPECT_EQ(1, event.Create(1, 0, nullptr));
    EXPECT_EQ(0, event.Wait(0));
    EXPECT_EQ(1, event.Set());
    for (const unsigned int timeout : {0U, 5U, kNoLimit}) {
        EXPECT_EQ(1, event.Wait(timeout));
    }
    EXPECT_EQ(1, event.Set());
    EXPECT_EQ(1, event.Reset());
    EXPECT_EQ((Flags{0, 1}), FlagsOf(event));
    EXPECT_EQ(0, event.Wait(0));
}

TEST_F(EventTest, AWaitResetsAnAutomaticOne) {
    Event event;
    EXPECT_EQ(1, event.Create(0, 0, nullptr));
    EXPECT_EQ(1, event.Set());
    EXPECT_EQ(1, event.Wait(kNoLimit));
    EXPECT_EQ(0, event.Wait(0));
}

TEST_F(EventTest, ALimitIsWaitedFor) {
    Event event;
    EXPECT_EQ(1, event.Create(1, 0, nullptr));
    EXPECT_LE(milliseconds(60), TimeOf([&] { EXPECT_EQ(0, event.Wait(60)); }));
}

TEST_F(EventTest, ASetReleasesAllWhoWait) {
    for (const int manual : {0, 1}) {
        Event event;
        EXPECT_EQ(1, event.Create(manual, 0, nullptr));
        std::atomic<int> released = 0;
        std::vector<std::thread> threads;
        for (const unsigned int timeout : {kNoLimit, kLongLimit, kNoLimit}) {
            threads.emplace_back(
                [&, timeout] { released += event.Wait(timeout); });
        }
        EXPECT_TRUE(UntilWaiting(event.GetHandle()->GetSemaphore(), 3));
        EXPECT_EQ(0, released);
        EXPECT_EQ(1, event.Set());
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(3, released);
    }
}

TEST_F(EventTest, TheHandleIsTheEvent) {
    Event event;
    EXPECT_EQ(1, event.GetHandle()->Create(1, 0, nullptr));
    EXPECT_EQ(1, event.IsOpened());
    EXPECT_EQ(1, event.GetHandle()->Set());
    EXPECT_EQ(1, event.Wait(0));
    EXPECT_EQ(1, event.Reset());
    EXPECT_EQ(0, event.GetHandle()->Wait(0));
}

TEST_F(EventTest, CloseReleasesIt) {
    const SemaphoreName name;
    Event event;
    NovuEvent* const handle = event.GetHandle();
    for (const int manual : {0, 1}) {
        EXPECT_EQ(1, event.Create(manual, 0, name));
        event.Close();
        EXPECT_EQ(0, event.IsOpened());
        EXPECT_FALSE(name.Exists());
        EXPECT_EQ((Flags{0, 1}), FlagsOf(event));
        event.Close();
        EXPECT_EQ(handle, event.GetHandle());
    }
    EXPECT_EQ(1, event.Open(name));
    EXPECT_EQ(1, event.IsOpened());
}

TEST_F(EventTest, TheDestructorReleasesIt) {
    const SemaphoreName name;
    {
        Event event;
        EXPECT_EQ(1, event.Create(1, 0, name));
        EXPECT_TRUE(name.Exists());
    }
    EXPECT_FALSE(name.Exists());
}

TEST_F(EventTest, NothingIsLeftBehind) {
    MakeASemaphore();
    const SemaphoreName name;
    const AllocationLedger ledger;
    {
        Event own;
        own.Create(1, 1, nullptr);
        Event named;
        named.Create(0, 0, name);
        named.Close();
        named.Open(name);
    }
    EXPECT_EQ(0U, ledger.Blocks());
    EXPECT_LT(0U, FailEachAllocation([] { const Event event; },
                                     [&] { EXPECT_EQ(0U, ledger.Blocks()); }));
    EXPECT_EQ(0U, ledger.Blocks());
}

}  // namespace
