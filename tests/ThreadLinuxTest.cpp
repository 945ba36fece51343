// What the contracts of Bases/Thread.h, ThreadSync.h and ThreadPool.h promise
// on Linux alone: which system calls are made, and that no wake-up is lost.
//
// A thread that has a Calls has its system calls counted.

#include <gtest/gtest.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <functional>
#include <memory>
#include <random>
#include <thread>
#include <utility>

#include "Bases/Sem.h"
#include "Bases/Thread.h"
#include "Bases/ThreadPool.h"
#include "Bases/ThreadSync.h"
#include "tests/support/Concurrency.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/ObjectBytes.h"

namespace {

struct Calls {
    std::atomic<int> all = 0;
    std::atomic<int> waits = 0;  // Of a futex, like the wakes.
    std::atomic<int> wakes = 0;

    // Of the waits with a limit, which is a time of the monotonic clock.
    std::atomic<int> timedWaits = 0;
    std::atomic<long long> longestLimit = 0;  // From now on, in nanoseconds.

    // Called before a thread that counts goes to sleep, or wakes others.
    std::function<void()> beforeSleep = [] {};
    std::function<void()> beforeWake = [] {};

    int interruptions = 0;  // So many waits end at once, as by a signal.
};

thread_local Calls* counted = nullptr;  // Of this thread.

long long Nanoseconds(const timespec& time) {
    return time.tv_sec * 1000000000LL + time.tv_nsec;
}

void CountWait(Calls& calls, const timespec* limit) {
    ++calls.waits;
    calls.beforeSleep();
    if (limit == nullptr) {
        return;
    }
    ++calls.timedWaits;
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const long long left = Nanoseconds(*limit) - Nanoseconds(now);
    if (calls.longestLimit < left) {
        calls.longestLimit = left;
    }
}

void Count(Calls& calls, long number, long operation, const void* limit) {
    ++calls.all;
    if (number != SYS_futex) {
        return;
    }
    switch (static_cast<int>(operation) & FUTEX_CMD_MASK) {
        case FUTEX_WAIT_BITSET:
            CountWait(calls, static_cast<const timespec*>(limit));
            break;
        case FUTEX_WAKE:
            ++calls.wakes;
            calls.beforeWake();
            break;
        default:
            break;
    }
}

bool IsInterrupted(Calls& calls, long number, long operation) {
    return number == SYS_futex &&
           (static_cast<int>(operation) & FUTEX_CMD_MASK) ==
               FUTEX_WAIT_BITSET &&
           calls.interruptions-- > 0;
}

}  // namespace

// As syscall, with all the arguments that a call may have: those that the
// caller has not passed are passed on as they are found.
extern "C" long CountedSystemCall(long number, long first, long second,
                                  long third, void* fourth, long fifth,
                                  long sixth) __asm__("syscall");

extern "C" long CountedSystemCall(long number, long first, long second,
                                  long third, void* fourth, long fifth,
                                  long sixth) {
    // No static local: its guard may itself call syscall.
    using Function = long(long, long, long, long, void*, long, long);
    static std::atomic<Function*> found = nullptr;
    Function* next = found;
    if (next == nullptr) {
        next = NovuTest::NextSymbol<Function>("syscall");
        found = next;
    }
    if (counted != nullptr) {
        Count(*counted, number, second, fourth);
        if (IsInterrupted(*counted, number, second)) {
            errno = EINTR;
            return -1;
        }
    }
    return next(number, first, second, third, fourth, fifth, sixth);
}

namespace {

using Novu::Event;
using Novu::Mutex;
using Novu::NovuEvent;
using Novu::Thread;
using Novu::ThreadTaskPool;
using NovuTest::Eventually;
using NovuTest::FieldAt;
using NovuTest::kNoLimit;
using NovuTest::SleepFor;
using std::chrono::milliseconds;

using ThreadLinuxTest = NovuTest::WithDeadline;

// Counts the calls of this thread.
class Counting {
public:
    Counting() { counted = &calls; }
    Counting(const Counting&) = delete;
    Counting& operator=(const Counting&) = delete;
    ~Counting() { counted = nullptr; }

    Calls* operator->() { return &calls; }

private:
    Calls calls;
};

class Worker : public Thread {
public:
    explicit Worker(std::function<void(Worker&)> body) : run(std::move(body)) {}
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker() override { Worker::StopThread(kNoLimit, 1); }

    int OnThreadEntry() override {
        run(*this);
        return 0;
    }

private:
    std::function<void(Worker&)> run;
};

// System calls

TEST_F(ThreadLinuxTest, ALookForAStopIsNoSystemCall) {
    std::atomic<bool> looked = false;
    Worker worker([&](Worker& self) {
        Counting counting;
        for (int n = 0; n < 1000; ++n) {
            EXPECT_EQ(0, self.IsStopThread(0));
        }
        EXPECT_EQ(0, counting->all);
        EXPECT_EQ(0, self.IsStopThread(1));
        EXPECT_EQ(1, counting->all);
        EXPECT_EQ(1, counting->timedWaits);
        looked = true;
    });
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_TRUE(Eventually([&] { return looked.load(); }));
}

TEST_F(ThreadLinuxTest, ATryIsNoSystemCall) {
    Counting counting;
    Mutex mutex(nullptr);
    EXPECT_EQ(1, mutex.Lock(0));
    EXPECT_EQ(0, mutex.Lock(0));
    mutex.Unlock();
    EXPECT_EQ(0, mutex.Lock(0));
    Event event;
    EXPECT_EQ(1, event.Create(1, 0, nullptr));
    EXPECT_EQ(0, event.Wait(0));
    EXPECT_EQ(1, event.Set());
    EXPECT_EQ(1, event.Wait(kNoLimit));
    EXPECT_EQ(1, event.Reset());
    EXPECT_EQ(0, counting->all);
    // A limit is one.
    EXPECT_EQ(0, mutex.Lock(1));
    EXPECT_EQ(0, event.Wait(1));
    EXPECT_EQ(2, counting->all);
    EXPECT_EQ(2, counting->timedWaits);
}

TEST_F(ThreadLinuxTest, AnIdleWorkerWakesEvery100Milliseconds) {
    Calls calls;
    ThreadTaskPool pool;
    EXPECT_EQ(1, pool.StartThread(0));
    pool.Post([&] { counted = &calls; });
    EXPECT_TRUE(Eventually([&] { return calls.waits > 0; }));
    // From shortly before a wait on.
    const int before = calls.waits;
    auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(Eventually([&] {
        const auto now = std::chrono::steady_clock::now();
        if (calls.waits != before) {
            return true;
        }
        begin = now;
        return false;
    }));
    EXPECT_TRUE(Eventually([&] { return calls.waits >= before + 10; }));
    const int waits = calls.waits - before;
    EXPECT_LE(milliseconds(100) * (waits - 1),
              std::chrono::steady_clock::now() - begin);
    std::atomic<bool> done = false;
    pool.Post([&] {
        counted = nullptr;
        done = true;
    });
    EXPECT_TRUE(Eventually([&] { return done.load(); }));
    pool.StopThread(kNoLimit, 1);
    EXPECT_EQ(calls.all, calls.waits);
    EXPECT_EQ(calls.waits, calls.timedWaits);
    EXPECT_GE(100000000, calls.longestLimit);
}

TEST_F(ThreadLinuxTest, APostToABusyWorkerIsNoSystemCall) {
    std::atomic<bool> begun = false;
    std::atomic<bool> release = false;
    std::atomic<int> ran = 0;
    ThreadTaskPool pool;
    {
        Counting counting;
        pool.Post([&] {
            begun = true;
            while (!release) {
                SleepFor(milliseconds(1));
            }
        });
        // Nobody sleeps yet.
        EXPECT_EQ(0, counting->all);
    }
    EXPECT_EQ(1, pool.StartThread(0));
    EXPECT_TRUE(Eventually([&] { return begun.load(); }));
    const int posts = 100;
    {
        Counting counting;
        for (int n = 0; n < posts; ++n) {
            pool.Post([&] { ++ran; });
        }
        EXPECT_EQ(0, counting->all);
    }
    release = true;
    EXPECT_TRUE(Eventually([&] { return ran == posts; }));
    // One that is idle is woken, unless it has just woken by itself.
    Counting counting;
    EXPECT_TRUE(Eventually([&] {
        pool.Post([] {});
        return counting->wakes != 0;
    }));
}

// A task may run, and its owner hear of it, while the post that brought it is
// about to wake the worker, which holds up neither.
TEST_F(ThreadLinuxTest, APoolGoesAfterThePostsThatWakeItsWorker) {
    std::atomic<bool> waking = false;
    std::atomic<bool> ran = false;
    std::atomic<bool> woken = false;
    auto pool = std::make_unique<ThreadTaskPool>();
    EXPECT_EQ(1, pool->StartThread(0));
    std::thread poster([&] {
        Counting counting;
        counting->beforeWake = [&] {
            waking = true;
            // The worker looks for itself every 100 milliseconds.
            EXPECT_TRUE(Eventually([&] { return ran.load(); }));
            SleepFor(milliseconds(200));
            woken = true;
        };
        EXPECT_TRUE(Eventually([&] {
            ran = false;
            pool->Post([&] { ran = true; });
            return counting->wakes != 0;  // Unless it was not asleep yet.
        }));
    });
    EXPECT_TRUE(Eventually([&] { return waking && ran; }));
    pool.reset();
    EXPECT_TRUE(woken);
    poster.join();
}

// What a body that was suspended sees first.
TEST_F(ThreadLinuxTest, AStopIsSetBeforeItResumes) {
    Counting counting;
    EXPECT_TRUE(Eventually([&] {
        Worker worker([](Worker& /*self*/) {});
        EXPECT_EQ(1, worker.StartThread(1));
        SleepFor(milliseconds(1));
        counting->beforeWake = [&] {
            EXPECT_EQ(1, worker.GetStopThreadEvent()->Wait(0));
        };
        worker.StopThread(kNoLimit, 0);
        return counting->wakes != 0;  // Unless it was not asleep yet.
    }));
}

TEST_F(ThreadLinuxTest, AStopWaitsAsLongAsItIsToldInSpiteOfSignals) {
    std::atomic<bool> release = false;
    Worker worker([&](Worker& /*self*/) {
        while (!release) {
            SleepFor(milliseconds(1));
        }
    });
    EXPECT_EQ(1, worker.StartThread(0));
    {
        Counting counting;
        counting->interruptions = 5;
        counting->beforeSleep = [] { SleepFor(milliseconds(10)); };
        EXPECT_LE(milliseconds(200),
                  NovuTest::TimeOf([&] { worker.StopThread(200, 0); }));
        EXPECT_GE(0, counting->interruptions);
        EXPECT_EQ(1, worker.IsThreadRunning());
    }
    release = true;
}

// No wake-up is lost: what is lost hangs.

TEST_F(ThreadLinuxTest, WhatIsSetBeforeTheSleepIsSeen) {
    std::atomic<bool> release = false;
    Worker worker([&](Worker& /*self*/) {
        while (!release) {
            SleepFor(milliseconds(1));
        }
    });
    EXPECT_EQ(1, worker.StartThread(0));
    // After its virtual table, handler, handle and stop event.
    auto* const exitEvent = FieldAt<NovuEvent*>(&worker, 4 * sizeof(void*));
    Counting counting;
    counting->beforeSleep = [&] {
        release = true;
        EXPECT_TRUE(Eventually([&] { return exitEvent->Wait(0) != 0; }));
    };
    worker.StopThread(kNoLimit, 0);
    EXPECT_EQ(0, worker.IsThreadRunning());
    EXPECT_EQ(1, counting->waits);
}

const int kRounds = 2000;

TEST_F(ThreadLinuxTest, EveryStopIsSeen) {
    int delay = 0;
    const std::function<void(Worker&)> bodies[] = {
        [](Worker& /*self*/) {},
        [&](Worker& self) {
            while (self.IsStopThread(0) == 0) {
            }
            // It ends before, while and after the other begins to wait.
            for (int left = delay; left > 0; --left) {
                std::atomic_signal_fence(std::memory_order_seq_cst);
            }
        },
        [](Worker& self) {
            EXPECT_EQ(1, self.GetStopThreadEvent()->Wait(kNoLimit));
        },
        [](Worker& self) { EXPECT_EQ(1, self.IsStopThread(10000000)); },
    };
    for (const auto& body : bodies) {
        int ran = 0;
        Worker worker([&](Worker& self) {
            body(self);
            ++ran;
        });
        for (int round = 1; round <= kRounds / 4; ++round) {
            delay = round % 500;
            ASSERT_EQ(1, worker.StartThread(round % 2));
            worker.StopThread(kNoLimit, 1);
            ASSERT_EQ(round, ran);
            ASSERT_EQ(0, worker.IsThreadRunning());
        }
    }
}

TEST_F(ThreadLinuxTest, EveryResumptionIsSeen) {
    std::atomic<int> ran = 0;
    Worker worker([&](Worker& /*self*/) { ++ran; });
    for (int round = 1; round <= kRounds / 4; ++round) {
        ASSERT_EQ(1, worker.StartThread(1));
        ASSERT_EQ(1, worker.ResumeThread());
        while (ran != round) {
            std::this_thread::yield();
        }
        worker.StopThread(kNoLimit, 0);
    }
}

TEST_F(ThreadLinuxTest, EveryStopOfAPoolIsSeen) {
    std::mt19937 engine(20000);
    std::uniform_int_distribution<int> tasks(0, 3);
    ThreadTaskPool pool;
    std::atomic<int> ran = 0;
    int posted = 0;
    for (int round = 1; round <= kRounds / 4; ++round) {
        ASSERT_EQ(1, pool.StartThread(0));
        for (int n = tasks(engine); n > 0; --n) {
            pool.Post([&] { ++ran; });
            ++posted;
        }
        pool.StopThread(kNoLimit, 1);
        ASSERT_EQ(0, pool.IsThreadRunning());
        ASSERT_LE(ran, posted);
    }
}

}  // namespace
