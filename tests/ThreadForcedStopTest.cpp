// Forced stops, from Bases/Thread.h: a body that does not end within the
// timeout is cancelled where it waits, is unwound, and is joined.
//
// The thread sanitizer takes a cancelled thread for one that races, in every
// program: it is not for this one.
//
// A test knows that a thread waits when it has said that it is about to, and
// the system says that it sleeps. Nothing depends on it: what is cancelled on
// its way into a wait ends there.

#include <dirent.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "Bases/FileFind.h"
#include "Bases/FileIo.h"
#include "Bases/FileSys.h"
#include "Bases/Sem.h"
#include "Bases/Thread.h"
#include "Bases/ThreadPool.h"
#include "Bases/ThreadSync.h"
#include "Bases/XmlDoc.h"
#include "tests/support/Concurrency.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/SemaphoreName.h"
#include "tests/support/TempDir.h"
#include "tests/support/ThreadState.h"

namespace {

// Of syscall, with all the arguments that a call may have: those that the
// caller has not passed are passed on as they are found.
using SystemCall = long(long, long, long, long, long, long, long);

SystemCall* nextSystemCall = nullptr;
thread_local unsigned long systemCalls = 0;  // Of this thread.

[[gnu::noinline]] void FindNextSystemCall() {
    nextSystemCall = NovuTest::NextSymbol<SystemCall>("syscall");
}

}  // namespace

// Threads are cancelled in here, at any instruction. So it is declared anew,
// since a noexcept function cannot be unwound, and has nothing to clean up, nor
// counters for coverage, which would.
extern "C" [[gnu::no_profile_instrument_function]] long CountedSystemCall(
    long number, long first, long second, long third, long fourth, long fifth,
    long sixth) __asm__("syscall");

extern "C" long CountedSystemCall(long number, long first, long second,
                                  long third, long fourth, long fifth,
                                  long sixth) {
    ++systemCalls;
    if (nextSystemCall == nullptr) {
        FindNextSystemCall();
    }
    return nextSystemCall(number, first, second, third, fourth, fifth, sixth);
}

namespace {

thread_local bool isCancelledAtClose = false;

// A cancellation that becomes due at a close, which is a point for it.
void ComeToAClose() {
    if (std::exchange(isCancelledAtClose, false)) {
        ::pthread_cancel(::pthread_self());
        ::pthread_testcancel();
    }
}

}  // namespace

extern "C" {

int close(int fd) {
    static auto* const next = NovuTest::NextSymbol<int(int)>("close");
    ComeToAClose();
    return next(fd);
}

// Not a point with every C library, but with any that chooses so.
int closedir(DIR* stream) {
    static auto* const next = NovuTest::NextSymbol<int(DIR*)>("closedir");
    ComeToAClose();
    return next(stream);
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
using Novu::Thread;
using Novu::ThreadHandler;
using Novu::ThreadTaskPool;
using NovuTest::Eventually;
using NovuTest::kNoLimit;
using NovuTest::SemaphoreName;
using NovuTest::SleepFor;
using NovuTest::TempDir;
using std::chrono::milliseconds;

const unsigned int kLong = 1000000;  // Longer than the deadline.

class ThreadForcedStopTest : public NovuTest::WithDeadline {
protected:
    // Before any thread is cancelled.
    ThreadForcedStopTest() { FindNextSystemCall(); }
};

// What says of a thread that it is about to wait.
class AboutToWait {
public:
    void Say() { thread = ::gettid(); }

    bool Sleeps() {
        return Eventually(
            [&] { return thread != 0 && NovuTest::StateOf(thread) == 'S'; });
    }

private:
    std::atomic<pid_t> thread = 0;
};

// Counts itself.
class Counted {
public:
    Counted() { ++alive; }
    Counted(const Counted& /*other*/) : Counted() {}
    Counted& operator=(const Counted&) = delete;
    ~Counted() { --alive; }

    static std::atomic<int> alive;
};

std::atomic<int> Counted::alive = 0;

class Worker : public Thread {
public:
    explicit Worker(std::function<void(Worker&)> body) : run(std::move(body)) {}
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker() override { Worker::StopThread(0, 1); }

    int OnThreadEntry() override {
        run(*this);
        return 0;
    }

    std::function<void(Worker&)> run;
};

// A thread that the library does not know.
class PlainThread {
public:
    explicit PlainThread(std::function<void()> body) : run(std::move(body)) {
        EXPECT_EQ(0, ::pthread_create(&thread, nullptr, Run, this));
    }
    PlainThread(const PlainThread&) = delete;
    PlainThread& operator=(const PlainThread&) = delete;
    ~PlainThread() = default;

    void Cancel() { EXPECT_EQ(0, ::pthread_cancel(thread)); }

    // Whether it was cancelled.
    bool Join() {
        void* result = nullptr;
        EXPECT_EQ(0, ::pthread_join(thread, &result));
        return result == PTHREAD_CANCELED;
    }

private:
    static void* Run(void* self) {
        static_cast<PlainThread*>(self)->run();
        return nullptr;
    }

    std::function<void()> run;
    pthread_t thread{};
};

class Pipe {
public:
    Pipe() { EXPECT_EQ(0, ::pipe(ends)); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        ::close(ends[0]);
        ::close(ends[1]);
    }

    void Read() const {
        char text = 0;
        EXPECT_EQ(-2, ::read(ends[0], &text, 1));  // It does not return.
    }

private:
    int ends[2] = {-1, -1};
};

void ExpectUsable(Worker& worker) {
    std::atomic<int> bodies = 0;
    worker.run = [&](Worker& self) {
        EXPECT_EQ(0, self.IsStopThread(0));
        ++bodies;
    };
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_TRUE(Eventually([&] { return bodies == 1; }));
    worker.StopThread(kNoLimit, 1);
    EXPECT_EQ(0, worker.IsThreadRunning());
    EXPECT_EQ(1, bodies);
}

// Stops a body by force that has begun to `wait`, which has no end.
void ExpectForced(const std::function<void(Worker&)>& wait) {
    AboutToWait about;
    bool passed = false;
    const auto inner = [&](Worker& self) {
        const Counted counted;
        about.Say();
        wait(self);
        passed = true;
    };
    Worker worker([&](Worker& self) {
        const Counted counted;
        inner(self);
        passed = true;
    });
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_TRUE(about.Sleeps());
    EXPECT_LE(2, Counted::alive);
    worker.StopThread(10, 1);
    EXPECT_EQ(0, worker.IsThreadRunning());
    EXPECT_EQ(nullptr, worker.GetHandle());
    EXPECT_EQ(1, worker.IsStopThread(0));
    EXPECT_FALSE(passed);
    EXPECT_EQ(0, Counted::alive);
    ExpectUsable(worker);
}

// What a body waits for

TEST_F(ThreadForcedStopTest, EndsSleeps) {
    ExpectForced([](Worker& /*self*/) { ::usleep(kLong * 1000); });
    ExpectForced([](Worker& self) { self.SleepThread(kLong); });
}

TEST_F(ThreadForcedStopTest, EndsReads) {
    const Pipe pipe;
    ExpectForced([&](Worker& /*self*/) { pipe.Read(); });
}

TEST_F(ThreadForcedStopTest, EndsWaitsForEvents) {
    for (const unsigned int timeout : {kNoLimit, kLong}) {
        for (const int manual : {0, 1}) {
            NovuEvent event;
            EXPECT_EQ(1, event.Create(manual, 0, nullptr));
            ExpectForced([&](Worker& /*self*/) { event.Wait(timeout); });
            // Others still use it.
            EXPECT_EQ(0, event.Wait(0));
            EXPECT_EQ(1, event.Set());
            EXPECT_EQ(1, event.Wait(timeout));
            EXPECT_EQ(manual, event.Wait(0));

            Event wrapped;
            EXPECT_EQ(1, wrapped.Create(manual, 0, nullptr));
            ExpectForced([&](Worker& /*self*/) { wrapped.Wait(timeout); });
            EXPECT_EQ(1, wrapped.Set());
            EXPECT_EQ(1, wrapped.Wait(timeout));
        }
    }
}

TEST_F(ThreadForcedStopTest, EndsWaitsForSemaphores) {
    for (const unsigned int timeout : {kNoLimit, kLong}) {
        NovuSemaphore semaphore;
        EXPECT_EQ(1, semaphore.Create(NovuSemaphore::NotSignalled, nullptr, 0));
        ExpectForced([&](Worker& /*self*/) { semaphore.Wait(timeout); });
    }
    // With a name, limits are not waited for.
    const SemaphoreName name;
    NovuSemaphore named;
    EXPECT_EQ(1, named.Create(NovuSemaphore::NotSignalled, name, 0));
    ExpectForced([&](Worker& /*self*/) { named.Wait(kNoLimit); });
    named.Post();
    EXPECT_EQ(1, named.Wait(kNoLimit));
}

TEST_F(ThreadForcedStopTest, EndsWaitsForMutexes) {
    for (const unsigned int timeout : {kNoLimit, kLong}) {
        Mutex mutex(nullptr);
        EXPECT_EQ(1, mutex.Lock(0));
        ExpectForced([&](Worker& /*self*/) { mutex.Lock(timeout); });
    }
    const SemaphoreName name;
    Mutex named(name);
    EXPECT_EQ(1, named.Lock(0));
    ExpectForced([&](Worker& /*self*/) { named.Lock(kNoLimit); });
    EXPECT_EQ(0, named.Lock(0));
    named.Unlock();
    EXPECT_EQ(1, named.Lock(0));
}

// One that waits has nothing to unlock.
TEST_F(ThreadForcedStopTest, EndsLockersThatWait) {
    const SemaphoreName name;
    Mutex named(name);
    Mutex own(nullptr);
    for (Mutex* const mutex : {&named, &own}) {
        EXPECT_EQ(1, mutex->Lock(0));
        ExpectForced(
            [&](Worker& /*self*/) { const MutexLocker locker(*mutex); });
        EXPECT_EQ(0, mutex->Lock(0));
    }
}

TEST_F(ThreadForcedStopTest, UnlocksWhatTheBodyHasLocked) {
    const SemaphoreName name;
    Mutex mutex(name);
    const Cs cs;
    ExpectForced([&](Worker& /*self*/) {
        const CsLocker csLocker(cs);
        const MutexLocker mutexLocker(mutex);
        ::usleep(kLong * 1000);
    });
    EXPECT_EQ(1, cs.TryLock());
    cs.Unlock();
    EXPECT_EQ(1, mutex.Lock(0));
}

TEST_F(ThreadForcedStopTest, EndsABodyThatWasSuspended) {
    int bodies = 0;
    Worker worker([&](Worker& /*self*/) {
        const Counted counted;
        ++bodies;
        ::usleep(kLong * 1000);
    });
    EXPECT_EQ(1, worker.StartThread(1));
    SleepFor(milliseconds(20));
    EXPECT_EQ(0, bodies);
    EXPECT_EQ(1, worker.ResumeThread());
    EXPECT_TRUE(Eventually([&] { return Counted::alive == 1; }));
    worker.StopThread(10, 1);
    EXPECT_EQ(0, worker.IsThreadRunning());
    EXPECT_EQ(1, bodies);
    EXPECT_EQ(0, Counted::alive);
    ExpectUsable(worker);
}

// On the way out

TEST_F(ThreadForcedStopTest, PassesHandlersThatThrowAgain) {
    int handlers = 0;
    NovuEvent event;
    EXPECT_EQ(1, event.Create(1, 0, nullptr));
    ExpectForced([&](Worker& /*self*/) {
        try {
            const Counted counted;
            try {
                event.Wait(kNoLimit);
            } catch (const std::exception&) {
                handlers = 1000;
            } catch (...) {
                ++handlers;
                throw;
            }
        } catch (...) {
            ++handlers;
            throw;
        }
    });
    EXPECT_EQ(2, handlers);
}

// The wait is reached when the cancellation is there already.
TEST_F(ThreadForcedStopTest, EndsTheNextWait) {
    NovuEvent event;
    EXPECT_EQ(1, event.Create(1, 0, nullptr));
    std::atomic<bool> begun = false;
    std::atomic<bool> release = false;
    bool passed = false;
    Worker worker([&](Worker& /*self*/) {
        const Counted counted;
        begun = true;
        while (!release) {  // No cancellation point.
        }
        event.Wait(kNoLimit);
        passed = true;
    });
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_TRUE(Eventually([&] { return begun.load(); }));
    std::atomic<bool> stopped = false;
    std::thread owner([&] {
        worker.StopThread(1, 1);
        stopped = true;
    });
    SleepFor(milliseconds(100));
    EXPECT_FALSE(stopped);
    release = true;
    owner.join();
    EXPECT_FALSE(passed);
    EXPECT_EQ(0, Counted::alive);
    ExpectUsable(worker);
}

TEST_F(ThreadForcedStopTest, WaitsForABodyThatWaitsForACs) {
    const Cs cs;
    NovuEvent event;
    EXPECT_EQ(1, event.Create(1, 0, nullptr));
    AboutToWait about;
    std::atomic<bool> locked = false;
    bool passed = false;
    Worker worker([&](Worker& /*self*/) {
        const Counted counted;
        about.Say();
        const CsLocker locker(cs);
        locked = true;
        event.Wait(kNoLimit);
        passed = true;
    });
    cs.Lock();
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_TRUE(about.Sleeps());
    std::atomic<bool> stopped = false;
    std::thread owner([&] {
        worker.StopThread(10, 1);
        stopped = true;
    });
    SleepFor(milliseconds(200));
    EXPECT_FALSE(stopped);
    EXPECT_FALSE(locked);
    cs.Unlock();
    owner.join();
    EXPECT_TRUE(locked);
    EXPECT_FALSE(passed);
    EXPECT_EQ(0, Counted::alive);
    EXPECT_EQ(1, cs.TryLock());
    cs.Unlock();
    ExpectUsable(worker);
}

TEST_F(ThreadForcedStopTest, LeavesTheBodyItsTime) {
    bool passed = false;
    Worker worker([&](Worker& self) {
        while (self.IsStopThread(0) == 0) {
            ::usleep(1000);
        }
        ::usleep(100000);
        passed = true;
    });
    EXPECT_EQ(1, worker.StartThread(0));
    worker.StopThread(20000, 1);
    EXPECT_TRUE(passed);
    EXPECT_EQ(0, worker.IsThreadRunning());
}

// What is left

int CountOf(NovuSemaphore& semaphore) {
    int count = 1000000;
    EXPECT_EQ(1, semaphore.GetSemCounts(count));
    return count;
}

// One of two sleepers is cancelled; the other is released, and then the
// semaphore knows that nobody sleeps.
TEST_F(ThreadForcedStopTest, LeavesTheSemaphoreToTheOthers) {
    for (const unsigned int timeout : {kNoLimit, kLong}) {
        NovuSemaphore semaphore;
        EXPECT_EQ(1, semaphore.Create(NovuSemaphore::NotSignalled, nullptr, 0));
        AboutToWait about;
        AboutToWait otherAbout;
        Worker worker([&](Worker& /*self*/) {
            about.Say();
            semaphore.Wait(timeout);
        });
        EXPECT_EQ(1, worker.StartThread(0));
        std::atomic<int> released = -1;
        std::thread other([&] {
            otherAbout.Say();
            released = semaphore.Wait(timeout);
        });
        EXPECT_TRUE(Eventually([&] { return CountOf(semaphore) == -2; }));
        EXPECT_TRUE(about.Sleeps());
        EXPECT_TRUE(otherAbout.Sleeps());
        worker.StopThread(0, 1);
        EXPECT_EQ(0, worker.IsThreadRunning());
        EXPECT_EQ(-1, released);

        unsigned long before = systemCalls;
        semaphore.Post();
        EXPECT_EQ(before + 1, systemCalls);
        other.join();
        EXPECT_EQ(1, released);

        before = systemCalls;
        semaphore.Post();
        EXPECT_EQ(before, systemCalls);
    }
}

// Pools

TEST_F(ThreadForcedStopTest, EndsTheTaskOfAPool) {
    ThreadTaskPool pool;
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(1, pool.StartThread(0));
        AboutToWait about;
        std::atomic<bool> passed = false;
        const auto held = std::make_shared<Counted>();
        pool.Post([&about, &passed, held] {
            const Counted counted;
            about.Say();
            ::usleep(kLong * 1000);
            passed = true;
        });
        pool.Post([&passed, held] { passed = true; });
        EXPECT_TRUE(about.Sleeps());
        EXPECT_EQ(3, held.use_count());
        pool.StopThread(10, 1);
        EXPECT_EQ(0, pool.IsThreadRunning());
        EXPECT_FALSE(passed);
        EXPECT_EQ(1, held.use_count());  // Both are gone.
        EXPECT_EQ(1, Counted::alive);

        // It takes new ones.
        std::atomic<bool> ran = false;
        pool.Post([&ran] { ran = true; });
        EXPECT_EQ(1, pool.StartThread(0));
        EXPECT_TRUE(Eventually([&] { return ran.load(); }));
        pool.StopThread(kNoLimit, 1);
    }
}

TEST_F(ThreadForcedStopTest, EndsAnIdlePool) {
    ThreadTaskPool pool;
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(1, pool.StartThread(0));
        pool.StopThread(0, 1);
        EXPECT_EQ(0, pool.IsThreadRunning());
    }
}

// Destructors that wait, on a thread that is cancelled meanwhile

class Handler final : public ThreadHandler {
public:
    explicit Handler(std::function<void(Thread&)> body)
        : run(std::move(body)) {}

    int OnPreThreadStart(Thread* /*thread*/) override { return 1; }
    int OnThreadEntry(Thread* thread) override {
        run(*thread);
        return 0;
    }

private:
    std::function<void(Thread&)> run;
};

// A thread, or the worker of a pool, that is busy until it is released.
class Busy {
public:
    explicit Busy(bool asPool)
        : handler([this](Thread& /*thread*/) { Run(); }) {
        if (asPool) {
            auto made = std::make_unique<ThreadTaskPool>();
            made->Post([this] { Run(); });
            thread = std::move(made);
        } else {
            thread = std::make_unique<Thread>();
            thread->SetThreadHandler(&handler);
        }
        EXPECT_EQ(1, thread->StartThread(0));
        EXPECT_TRUE(Eventually([&] { return begun.load(); }));
    }

    void DestroyThread() { thread.reset(); }

    std::atomic<bool> begun = false;
    std::atomic<bool> release = false;
    std::atomic<bool> finished = false;

private:
    void Run() {
        begun = true;
        while (!release) {
            ::usleep(1000);
        }
        finished = true;
    }

    Handler handler;
    std::unique_ptr<Thread> thread;
};

TEST_F(ThreadForcedStopTest, ADestructorWaitsAlsoWhereItIsUnwoundThrough) {
    for (const bool asPool : {false, true}) {
        Busy busy(asPool);
        AboutToWait about;
        PlainThread plain([&] {
            class Owner {
            public:
                explicit Owner(Busy& toEnd) : ended(toEnd) {}
                Owner(const Owner&) = delete;
                Owner& operator=(const Owner&) = delete;
                ~Owner() { ended.DestroyThread(); }

            private:
                Busy& ended;
            };
            const Owner owner(busy);
            about.Say();
            ::usleep(kLong * 1000);
        });
        EXPECT_TRUE(about.Sleeps());
        plain.Cancel();
        SleepFor(milliseconds(50));
        EXPECT_FALSE(busy.finished);
        busy.release = true;
        EXPECT_TRUE(plain.Join());
        EXPECT_TRUE(busy.finished);
    }
}

TEST_F(ThreadForcedStopTest, ADestructorThatWaitsIsNoCancellationPoint) {
    for (const bool asPool : {false, true}) {
        Busy busy(asPool);
        AboutToWait about;
        std::atomic<bool> destroyed = false;
        bool passed = false;
        PlainThread plain([&] {
            about.Say();
            busy.DestroyThread();
            destroyed = true;
            ::pthread_testcancel();
            passed = true;
        });
        EXPECT_TRUE(about.Sleeps());
        plain.Cancel();
        SleepFor(milliseconds(50));
        EXPECT_FALSE(destroyed);
        busy.release = true;
        EXPECT_TRUE(plain.Join());
        EXPECT_TRUE(destroyed);
        EXPECT_TRUE(busy.finished);
        EXPECT_FALSE(passed);
    }
}

TEST_F(ThreadForcedStopTest, ADestructorLeavesTheCancelStateAsItWas) {
    for (const int state : {PTHREAD_CANCEL_ENABLE, PTHREAD_CANCEL_DISABLE}) {
        int before = -1;
        ::pthread_setcancelstate(state, &before);
        {
            const Thread thread;
            const ThreadTaskPool pool;
        }
        int after = -1;
        ::pthread_setcancelstate(before, &after);
        EXPECT_EQ(state, after);
    }
}

// A body that is cancelled while it stops a thread of its own.
TEST_F(ThreadForcedStopTest, EndsABodyThatStopsAnother) {
    std::atomic<bool> release = false;
    std::atomic<bool> finished = false;
    AboutToWait about;
    bool passed = false;
    Handler handler([&](Thread& /*thread*/) {
        while (!release) {
            ::usleep(1000);
        }
        finished = true;
    });
    Worker worker([&](Worker& /*self*/) {
        Thread inner;
        inner.SetThreadHandler(&handler);
        EXPECT_EQ(1, inner.StartThread(0));
        about.Say();
        inner.StopThread(kNoLimit, 1);
        passed = true;
    });
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_TRUE(about.Sleeps());
    EXPECT_EQ(0, ::pthread_cancel(*worker.GetHandle()));
    EXPECT_FALSE(finished);
    release = true;
    worker.StopThread(10, 1);
    EXPECT_TRUE(finished);
    EXPECT_FALSE(passed);
    ExpectUsable(worker);
}

// Cancelled in the join of a thread that it has itself forced to stop, and
// which it stops again while it is unwound.
TEST_F(ThreadForcedStopTest, EndsABodyThatForcesAnother) {
    std::atomic<bool> release = false;
    AboutToWait about;
    bool passed = false;
    Handler handler([&](Thread& /*thread*/) {
        while (!release) {
        }
        for (;;) {
            ::usleep(1000);
        }
    });
    Worker worker([&](Worker& /*self*/) {
        Thread inner;
        inner.SetThreadHandler(&handler);
        EXPECT_EQ(1, inner.StartThread(0));
        about.Say();
        inner.StopThread(10, 1);
        passed = true;
    });
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_TRUE(about.Sleeps());
    SleepFor(milliseconds(50));
    EXPECT_EQ(0, ::pthread_cancel(*worker.GetHandle()));
    release = true;
    worker.StopThread(10, 1);
    EXPECT_FALSE(passed);
    ExpectUsable(worker);
}

// A cancellation that is due when a destructor of the library closes a file.
TEST_F(ThreadForcedStopTest, DoesNotComeToDestructorsOfTheLibrary) {
    std::atomic<bool> cancelled = false;
    Worker worker([&](Worker& /*self*/) {
        const Counted counted;
        {
            Novu::FileIo file;
            EXPECT_TRUE(file.Open("/dev/null", 0x80000000, 3, 4));
            Novu::FileFind find("/proc/self/", "");
            while (!cancelled) {
            }
        }
        ::pthread_testcancel();
        ADD_FAILURE() << "goes on";
    });
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_TRUE(Eventually([&] { return Counted::alive == 1; }));
    EXPECT_EQ(0, ::pthread_cancel(*worker.GetHandle()));
    cancelled = true;
    worker.StopThread(10, 1);
    EXPECT_EQ(0, Counted::alive);
    ExpectUsable(worker);
}

// The same in calls that close what they have opened on their way out.
TEST_F(ThreadForcedStopTest, DoesNotComeToWhatACallCloses) {
    const TempDir temp;
    const std::string empty = temp.MakeDir("empty") + "/";
    const std::string document =
        temp.Write("a.xml", "<?xml version='1.0' encoding='UTF-8'?><a/>");
    const std::function<void()> calls[] = {
        [&] {
            Novu::FileFind find;
            EXPECT_FALSE(find.FindFirst(empty, ""));
        },
        [&] { const Novu::FileFind found(temp.Path(), ""); },
        [&] {
            Novu::FileIo file;
            EXPECT_TRUE(file.Open(document, 0x80000000, 3, 4));
            EXPECT_EQ(42, file.GetFileSize());
        },
        [&] { EXPECT_TRUE(Novu::FileSys::CopyFile(document, temp / "copy")); },
        [&] {
            Novu::XmlReader reader;
            EXPECT_EQ(1, reader.Load(document));
        },
    };
    for (const std::function<void()>& call : calls) {
        SCOPED_TRACE(&call - calls);
        std::atomic<bool> done = false;
        Worker worker([&](Worker& /*self*/) {
            isCancelledAtClose = true;
            call();
            EXPECT_FALSE(isCancelledAtClose) << "nothing was closed";
            done = true;
            ::pthread_testcancel();
            ADD_FAILURE() << "goes on";
        });
        EXPECT_EQ(1, worker.StartThread(0));
        EXPECT_TRUE(Eventually([&] { return done.load(); }));
        worker.StopThread(10, 1);
        ExpectUsable(worker);
    }
}

// The same when the pool releases a task that has a descriptor.
TEST_F(ThreadForcedStopTest, DoesNotComeToTheDestructorsOfATask) {
    class Closer {
    public:
        Closer() { EXPECT_EQ(0, ::pipe(ends)); }
        Closer(const Closer&) = delete;
        Closer& operator=(const Closer&) = delete;
        ~Closer() {
            ::close(ends[0]);
            ::close(ends[1]);
        }

    private:
        int ends[2] = {};
    };
    std::atomic<bool> runs = false;
    std::atomic<bool> cancelled = false;
    ThreadTaskPool pool;
    EXPECT_EQ(1, pool.StartThread(0));
    pool.Post([&, closer = std::make_shared<Closer>()] {
        runs = true;
        while (!cancelled) {
        }
    });
    EXPECT_TRUE(Eventually([&] { return runs.load(); }));
    EXPECT_EQ(0, ::pthread_cancel(*pool.GetHandle()));
    cancelled = true;
    pool.StopThread(10, 1);
    EXPECT_EQ(0, pool.IsThreadRunning());
}

// At any moment

class Moments {
public:
    // Waits for up to 300 microseconds.
    void Wait() {
        const auto end = std::chrono::steady_clock::now() +
                         std::chrono::microseconds(Below(300));
        while (std::chrono::steady_clock::now() < end) {
        }
    }

    unsigned int Below(unsigned int limit) {
        return std::uniform_int_distribution<unsigned int>(0,
                                                           limit - 1)(engine);
    }

private:
    std::mt19937 engine{20000};
};

TEST_F(ThreadForcedStopTest, EndsABodyAtAnyMoment) {
    NovuEvent event;
    EXPECT_EQ(1, event.Create(1, 0, nullptr));
    NovuEvent automatic;
    EXPECT_EQ(1, automatic.Create(0, 0, nullptr));
    NovuSemaphore semaphore;
    EXPECT_EQ(1, semaphore.Create(NovuSemaphore::NotSignalled, nullptr, 0));
    Mutex mutex(nullptr);
    EXPECT_EQ(1, mutex.Lock(0));
    const std::vector<std::function<void()>> waits = {
        [&] { event.Wait(kNoLimit); },     [&] { event.Wait(1); },
        [&] { automatic.Wait(kNoLimit); }, [&] { automatic.Wait(1); },
        [&] { semaphore.Wait(kNoLimit); }, [&] { semaphore.Wait(1); },
        [&] { mutex.Lock(kNoLimit); },     [&] { ::usleep(20); },
        [&] { automatic.Wait(0); },
    };
    std::size_t wait = 0;
    Worker worker([&](Worker& self) {
        const Counted outer;
        while (self.IsStopThread(0) == 0) {
            const Counted inner;
            waits[wait]();
        }
    });
    Moments moments;
    for (int round = 0; round < 2000; ++round) {
        wait = moments.Below(static_cast<unsigned int>(waits.size()));
        ASSERT_EQ(1, worker.StartThread(moments.Below(4) == 0 ? 1 : 0));
        moments.Wait();
        worker.StopThread(moments.Below(2), 1);
        ASSERT_EQ(0, worker.IsThreadRunning());
        ASSERT_EQ(0, Counted::alive);
    }
    // Nobody is left who sleeps.
    const unsigned long before = systemCalls;
    EXPECT_EQ(1, event.Set());
    EXPECT_EQ(1, automatic.Set());
    semaphore.Post();
    mutex.Unlock();
    EXPECT_EQ(before, systemCalls);
    EXPECT_EQ(1, event.Wait(kNoLimit));
    EXPECT_EQ(1, automatic.Wait(kNoLimit));
}

TEST_F(ThreadForcedStopTest, EndsAPoolAtAnyMoment) {
    const auto held = std::make_shared<Counted>();
    std::vector<int> runs(2000);
    std::size_t posted = 0;
    ThreadTaskPool pool;
    Moments moments;
    for (int round = 0; round < 500; ++round) {
        ASSERT_EQ(1, pool.StartThread(0));
        for (unsigned int n = moments.Below(4); n > 0; --n) {
            pool.Post([&run = runs[posted], held] {
                const Counted counted;
                ++run;
                ::usleep(50);
            });
            ++posted;
        }
        moments.Wait();
        pool.StopThread(0, 1);
        ASSERT_EQ(0, pool.IsThreadRunning());
        ASSERT_EQ(1, held.use_count());
        ASSERT_EQ(1, Counted::alive);
    }
    for (const int run : runs) {
        EXPECT_GE(1, run);
    }
}

}  // namespace
