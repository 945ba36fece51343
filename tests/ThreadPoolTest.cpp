// The contract of Bases/ThreadPool.h but for forced stops, which are in
// ThreadForcedStopTest.cpp.
//
// On macOS an unlimited wait misses what is set in the moment in which it
// begins ([sem-9]). So Stop waits with a limit, again and again, and where the
// unlimited stop is what is tested, the worker is known to be busy, or long
// idle.

#include "Bases/ThreadPool.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/function.hpp>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "Bases/Sem.h"
#include "Bases/Thread.h"
#include "Bases/ThreadSync.h"
#include "tests/support/Allocation.h"
#include "tests/support/Concurrency.h"
#include "tests/support/ObjectBytes.h"
#include "tests/support/VirtualSlots.h"

namespace {

using Novu::Cs;
using Novu::CsLocker;
using Novu::Event;
using Novu::NovuEvent;
using Novu::Thread;
using Novu::ThreadHandler;
using Novu::ThreadTaskPool;
using NovuTest::AllocationLedger;
using NovuTest::Eventually;
using NovuTest::FailEachAllocation;
using NovuTest::FieldAt;
using NovuTest::kNoLimit;
using NovuTest::PartAt;
using NovuTest::SleepFor;
using NovuTest::SlotOf;
using std::chrono::milliseconds;
using Task = boost::function<void()>;

static_assert(std::is_base_of_v<Thread, ThreadTaskPool>);
static_assert(std::is_convertible_v<ThreadTaskPool*, Thread*>);
static_assert(std::is_default_constructible_v<ThreadTaskPool>);
static_assert(!std::is_copy_constructible_v<ThreadTaskPool>);
static_assert(!std::is_copy_assignable_v<ThreadTaskPool>);
static_assert(std::is_same_v<decltype(&ThreadTaskPool::Post),
                             void (ThreadTaskPool::*)(Task)>);
// Overridden, and not.
static_assert(std::is_same_v<decltype(&ThreadTaskPool::StopThread),
                             void (ThreadTaskPool::*)(unsigned int, int)>);
static_assert(std::is_same_v<decltype(&ThreadTaskPool::OnThreadEntry),
                             int (ThreadTaskPool::*)()>);
static_assert(std::is_same_v<decltype(&ThreadTaskPool::OnPreThreadStart),
                             int (Thread::*)()>);
static_assert(sizeof(ThreadTaskPool) ==
              sizeof(Thread) + sizeof(void*) + sizeof(Cs) + sizeof(Event));

using ThreadTaskPoolTest = NovuTest::WithDeadline;

// What a pool has after what a Thread has.

using Tasks = std::list<Task>;

// Under the lock where the worker runs.
Tasks* TasksOf(ThreadTaskPool& pool) {
    return PartAt<Tasks*>(&pool, sizeof(Thread));
}

Cs& LockOf(ThreadTaskPool& pool) {
    return PartAt<Cs>(&pool, sizeof(Thread) + sizeof(void*));
}

Event& EventOf(ThreadTaskPool& pool) {
    return PartAt<Event>(&pool, sizeof(Thread) + sizeof(void*) + sizeof(Cs));
}

std::size_t Waiting(ThreadTaskPool& pool) {
    const CsLocker locker(LockOf(pool));
    return TasksOf(pool)->size();
}

// The exit event of a Thread, after its table, handler, handle and stop event.
NovuEvent* ExitEventOf(Thread& thread) {
    return FieldAt<NovuEvent*>(&thread, 4 * sizeof(void*));
}

bool Ended(Thread& thread) {
    return Eventually([&] { return ExitEventOf(thread)->Wait(0) != 0; });
}

void Stop(ThreadTaskPool& pool) {
    while (pool.IsThreadRunning() != 0) {
        pool.StopThread(1000, 0);
    }
}

// Until what was posted has run.
bool Idle(ThreadTaskPool& pool) {
    return Eventually([&] { return EventOf(pool).Wait(0) == 0; });
}

// A pool, and what its tasks write.
class Noting : public ThreadTaskPool {
public:
    Noting() = default;
    Noting(const Noting&) = delete;
    Noting& operator=(const Noting&) = delete;
    ~Noting() override { Stop(*this); }

    void Note(const std::string& line) {
        const CsLocker locker(lock);
        log += line;
    }

    // A task that writes `line`.
    void PostNote(const std::string& line) {
        Post([this, line] { Note(line); });
    }

    // The lines since the last time.
    std::string Take() {
        const CsLocker locker(lock);
        return std::exchange(log, "");
    }

    std::string Look() {
        const CsLocker locker(lock);
        return log;
    }

private:
    Cs lock;
    std::string log;
};

// A task that waits to be released.
class Gate {
public:
    void operator()() {
        begun = true;
        while (!open) {
            SleepFor(milliseconds(1));
        }
    }

    bool Begun() {
        return Eventually([&] { return begun.load(); });
    }

    void Open() { open = true; }

private:
    std::atomic<bool> begun = false;
    std::atomic<bool> open = false;
};

// What a task holds; `released` is called when the last copy is gone.
using Held = std::shared_ptr<void>;

Held Holding(std::function<void()> released) {
    return Held(nullptr, [released = std::move(released)](void* /*null*/) {
        released();
    });
}

// Layout

TEST_F(ThreadTaskPoolTest, TheSlotsAreThoseOfAThread) {
    // The destructor has two.
    EXPECT_EQ(2, SlotOf(&ThreadTaskPool::StopThread));
    EXPECT_EQ(3, SlotOf(&ThreadTaskPool::OnPreThreadStart));
    EXPECT_EQ(4, SlotOf(&ThreadTaskPool::OnThreadEntry));
    EXPECT_EQ(3, NovuTest::VirtualOperations<ThreadTaskPool>());
}

TEST_F(ThreadTaskPoolTest, ANewOneHasNoTasksAndDoesNotRun) {
    ThreadTaskPool pool;
    EXPECT_EQ(0, pool.IsThreadRunning());
    EXPECT_EQ(15, pool.GetThreadPriority());
    ASSERT_NE(nullptr, TasksOf(pool));
    EXPECT_TRUE(TasksOf(pool)->empty());
    EXPECT_EQ(1, EventOf(pool).IsOpened());
    EXPECT_EQ(0, EventOf(pool).Wait(0));
    // Manual reset.
    EXPECT_EQ(1, EventOf(pool).Set());
    EXPECT_EQ(1, EventOf(pool).Wait(0));
    EXPECT_EQ(1, EventOf(pool).Wait(0));
}

TEST_F(ThreadTaskPoolTest, APostAppendsUnderTheLockAndSetsTheEvent) {
    ThreadTaskPool pool;
    std::string ran;
    pool.Post([&] { ran += 'a'; });
    EXPECT_EQ(1, EventOf(pool).Wait(0));
    std::thread poster;
    {
        const CsLocker locker(LockOf(pool));
        poster = std::thread([&] { pool.Post([&] { ran += 'b'; }); });
        SleepFor(milliseconds(50));
        EXPECT_EQ(1U, TasksOf(pool)->size());
    }
    poster.join();
    EXPECT_EQ("", ran);
    ASSERT_EQ(2U, TasksOf(pool)->size());
    TasksOf(pool)->back()();
    TasksOf(pool)->front()();
    EXPECT_EQ("ba", ran);
}

TEST_F(ThreadTaskPoolTest, APostSetsTheEventAgain) {
    ThreadTaskPool pool;
    pool.Post([] {});
    EXPECT_EQ(1, EventOf(pool).Reset());
    pool.Post([] {});
    EXPECT_EQ(1, EventOf(pool).Wait(0));
}

TEST_F(ThreadTaskPoolTest, APostTakesACopy) {
    int runs = 0;
    ThreadTaskPool pool;
    Task task = [&runs] { ++runs; };
    pool.Post(task);
    ASSERT_FALSE(task.empty());
    task();
    EXPECT_EQ(1, runs);
    task.clear();
    ASSERT_EQ(1U, TasksOf(pool)->size());
    TasksOf(pool)->front()();
    EXPECT_EQ(2, runs);
}

// Running

TEST_F(ThreadTaskPoolTest, TasksRunInTheOrderOfPosting) {
    Noting pool;
    for (const char* const line : {"a", "b", "c"}) {
        pool.PostNote(line);
    }
    SleepFor(milliseconds(20));
    EXPECT_EQ("", pool.Look());
    EXPECT_EQ(1, pool.StartThread(0));
    for (const char* const line : {"d", "e", "f"}) {
        pool.PostNote(line);
    }
    EXPECT_TRUE(Eventually([&] { return pool.Look() == "abcdef"; }));
    // And after a rest.
    EXPECT_TRUE(Idle(pool));
    pool.PostNote("g");
    EXPECT_TRUE(Eventually([&] { return pool.Look() == "abcdefg"; }));
    EXPECT_EQ(0U, Waiting(pool));
}

// [threadpool-1]
TEST_F(ThreadTaskPoolTest, OneWorkerRunsOneTaskAtATime) {
    ThreadTaskPool pool;
    std::atomic<int> inside = 0;
    std::atomic<int> overlaps = 0;
    std::atomic<int> strangers = 0;
    std::atomic<int> ran = 0;
    EXPECT_EQ(1, pool.StartThread(0));
    const pthread_t worker = *pool.GetHandle();
    const int posters = 4;
    const int each = 200;
    std::vector<std::thread> threads;
    for (int n = 0; n < posters; ++n) {
        threads.emplace_back([&] {
            for (int task = 0; task < each; ++task) {
                pool.Post([&] {
                    overlaps += ++inside == 1 ? 0 : 1;
                    strangers +=
                        ::pthread_equal(worker, ::pthread_self()) != 0 ? 0 : 1;
                    std::this_thread::yield();
                    --inside;
                    ++ran;
                });
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(Eventually([&] { return ran == posters * each; }));
    EXPECT_EQ(0, overlaps);
    EXPECT_EQ(0, strangers);
    Stop(pool);
}

TEST_F(ThreadTaskPoolTest, ATaskThatIsPostedWhileAnotherRunsWaitsForIt) {
    Noting pool;
    Gate gate;
    pool.Post(std::ref(gate));
    EXPECT_EQ(1, pool.StartThread(0));
    EXPECT_TRUE(gate.Begun());
    // The lock is free meanwhile, and the list without the task.
    EXPECT_EQ(1, LockOf(pool).TryLock());
    EXPECT_TRUE(TasksOf(pool)->empty());
    LockOf(pool).Unlock();
    pool.PostNote("a");
    SleepFor(milliseconds(50));
    EXPECT_EQ("", pool.Look());
    EXPECT_EQ(1U, Waiting(pool));
    gate.Open();
    EXPECT_TRUE(Eventually([&] { return pool.Look() == "a"; }));
}

TEST_F(ThreadTaskPoolTest, TasksPostTasks) {
    Noting pool;
    pool.Post([&] {
        pool.Note("a");
        pool.Post([&] {
            pool.Note("c");
            pool.PostNote("d");
        });
    });
    pool.PostNote("b");
    EXPECT_EQ(1, pool.StartThread(0));
    EXPECT_TRUE(Eventually([&] { return pool.Look() == "abcd"; }));
}

TEST_F(ThreadTaskPoolTest, ATaskIsReleasedByTheWorkerAfterItRan) {
    Noting pool;
    std::atomic<bool> releasedByWorker = false;
    std::atomic<pthread_t> worker{};
    Held held = Holding([&] {
        pool.Note("released ");
        releasedByWorker = ::pthread_equal(worker, ::pthread_self()) != 0;
        pool.PostNote("posted ");
    });
    pool.Post([&pool, &worker, held] {
        worker = ::pthread_self();
        pool.Note("ran ");
    });
    held.reset();
    pool.PostNote("next ");
    EXPECT_EQ("", pool.Look());
    EXPECT_EQ(1, pool.StartThread(0));
    const std::string order = "ran released next posted ";
    EXPECT_TRUE(Eventually([&] { return pool.Look() == order; }))
        << pool.Look();
    EXPECT_TRUE(releasedByWorker);
}

TEST_F(ThreadTaskPoolTest, AnIdleWorkerResetsTheEvent) {
    ThreadTaskPool pool;
    EXPECT_EQ(1, EventOf(pool).Set());
    EXPECT_EQ(1, pool.StartThread(0));
    EXPECT_TRUE(Idle(pool));
    std::atomic<bool> ran = false;
    pool.Post([&] { ran = true; });
    EXPECT_TRUE(Eventually([&] { return ran.load(); }));
    EXPECT_TRUE(Idle(pool));
    Stop(pool);
}

// Where there are tasks and the event is not set, nobody looks at them: the
// worker waits for the event.
TEST_F(ThreadTaskPoolTest, TheWorkerWaitsForTheEvent) {
    Noting pool;
    pool.PostNote("a");
    EXPECT_EQ(1, EventOf(pool).Reset());
    EXPECT_EQ(1, pool.StartThread(0));
    SleepFor(milliseconds(250));
    EXPECT_EQ("", pool.Look());
    EXPECT_EQ(1U, Waiting(pool));
    EXPECT_EQ(1, EventOf(pool).Set());
    EXPECT_TRUE(Eventually([&] { return pool.Look() == "a"; }));
}

// [threadpool-3]
TEST_F(ThreadTaskPoolTest, AnEmptyTaskEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto post = [](const Task& last) {
        ThreadTaskPool pool;
        pool.Post([] { std::fputs("first\n", stderr); });
        pool.Post(last);
        pool.Post([] { ::_exit(0); });
        pool.StartThread(0);
        SleepFor(milliseconds(40000));
        ::_exit(0);
    };
    EXPECT_EXIT(post(Task()), testing::KilledBySignal(SIGABRT), "first");
    EXPECT_EXIT(post([] { throw std::runtime_error("left"); }),
                testing::KilledBySignal(SIGABRT), "first");
}

// Stop

TEST_F(ThreadTaskPoolTest, TheEntryReturns0OnceAStopIsAskedFor) {
    Noting pool;
    pool.PostNote("a");
    // Not running is as good as a request.
    EXPECT_EQ(0, pool.OnThreadEntry());
    EXPECT_EQ("", pool.Look());
    EXPECT_EQ(1U, Waiting(pool));
}

TEST_F(ThreadTaskPoolTest, AnIdleWorkerSeesARequest) {
    ThreadTaskPool pool;
    EXPECT_EQ(1, pool.StartThread(0));
    SleepFor(milliseconds(20));
    pool.StopThreadEvent();
    EXPECT_TRUE(Ended(pool));
    EXPECT_EQ(1, pool.IsThreadRunning());
    Stop(pool);
}

TEST_F(ThreadTaskPoolTest, ARequestIsSeenBetweenTasks) {
    Noting pool;
    pool.Post([&] {
        pool.Note("a");
        pool.StopThreadEvent();
        SleepFor(milliseconds(20));
        pool.Note("b");
    });
    pool.PostNote("c");
    EXPECT_EQ(1, pool.StartThread(1));
    SleepFor(milliseconds(50));
    EXPECT_EQ(1, pool.ResumeThread());
    EXPECT_TRUE(Ended(pool));
    EXPECT_EQ("ab", pool.Look());
    EXPECT_EQ(1U, Waiting(pool));
}

// The running task is finished, also with force where there is no limit.
TEST_F(ThreadTaskPoolTest, AStopDropsWhatWaits) {
    for (const int force : {0, 1}) {
        Noting pool;
        int releases = 0;
        const pthread_t stopper = ::pthread_self();
        Gate gate;
        pool.Post([&] {
            gate();
            pool.Note("ran");
        });
        for (int n = 0; n < 5; ++n) {
            Held held = Holding([&] {
                EXPECT_NE(0, ::pthread_equal(stopper, ::pthread_self()));
                ++releases;
            });
            pool.Post([&pool, held] { pool.Note("dropped"); });
        }
        EXPECT_EQ(1, pool.StartThread(0));
        EXPECT_TRUE(gate.Begun());
        std::thread opener([&] {
            SleepFor(milliseconds(100));
            gate.Open();
        });
        EXPECT_EQ(0, releases);
        pool.StopThread(kNoLimit, force);
        opener.join();
        EXPECT_EQ(0, pool.IsThreadRunning());
        EXPECT_EQ("ran", pool.Look());
        EXPECT_EQ(5, releases);
        EXPECT_TRUE(TasksOf(pool)->empty());
        // The event is not reset.
        EXPECT_EQ(1, EventOf(pool).Wait(0));
    }
}

// [threadpool-2]
TEST_F(ThreadTaskPoolTest, AStopDropsAlsoWhereTheWorkerDoesNotRun) {
    Noting pool;
    int releases = 0;
    Held held = Holding([&] { ++releases; });
    pool.Post([&pool, held] { pool.Note("dropped"); });
    held.reset();
    EXPECT_EQ(0, releases);
    pool.StopThread(0, 0);
    EXPECT_EQ(1, releases);
    EXPECT_TRUE(TasksOf(pool)->empty());
    EXPECT_EQ(1, EventOf(pool).Wait(0));
    pool.PostNote("a");
    EXPECT_EQ(1, pool.StartThread(0));
    EXPECT_TRUE(Eventually([&] { return pool.Look() == "a"; }));
}

// [threadpool-2]
TEST_F(ThreadTaskPoolTest, AStopDropsAlsoWhereTheWorkerDoesNotStopInTime) {
    Noting pool;
    Gate gate;
    pool.Post([&] {
        gate();
        pool.Note("ran");
    });
    pool.PostNote("dropped");
    EXPECT_EQ(1, pool.StartThread(0));
    EXPECT_TRUE(gate.Begun());
    for (const unsigned int timeout : {0U, 30U}) {
        const auto begin = std::chrono::steady_clock::now();
        pool.StopThread(timeout, 0);
        EXPECT_LE(milliseconds(timeout),
                  std::chrono::steady_clock::now() - begin);
        EXPECT_EQ(1, pool.IsThreadRunning());
        EXPECT_EQ(0U, Waiting(pool));
        pool.PostNote("dropped");
        EXPECT_EQ(1U, Waiting(pool));
    }
    // It ends after its task, and the next stop joins it.
    gate.Open();
    EXPECT_TRUE(Ended(pool));
    EXPECT_EQ("ran", pool.Look());
    EXPECT_EQ(1U, Waiting(pool));
    EXPECT_EQ(1, pool.IsThreadRunning());
    pool.StopThread(kNoLimit, 0);
    EXPECT_EQ(0, pool.IsThreadRunning());
    EXPECT_EQ(0U, Waiting(pool));
    EXPECT_EQ("ran", pool.Look());
}

// [threadpool-2]
TEST_F(ThreadTaskPoolTest, AStartOfARunningOneDropsWhatWaits) {
    Noting pool;
    Gate gate;
    pool.Post([&] {
        gate();
        pool.Note("a");
    });
    pool.PostNote("dropped");
    EXPECT_EQ(1, pool.StartThread(0));
    EXPECT_TRUE(gate.Begun());
    std::thread opener([&] {
        SleepFor(milliseconds(100));
        gate.Open();
    });
    EXPECT_EQ(1, pool.StartThread(0));
    opener.join();
    pool.PostNote("b");
    EXPECT_TRUE(Eventually([&] { return pool.Look() == "ab"; }));
}

// Also under the lock, and while the list is being emptied.
TEST_F(ThreadTaskPoolTest, ADroppedTaskMayPost) {
    Noting pool;
    for (int n = 0; n < 3; ++n) {
        Held held = Holding([&] {
            pool.PostNote("a");
            std::thread([&] { pool.PostNote("a"); }).join();
        });
        pool.Post([held] {});
    }
    pool.StopThread(kNoLimit, 1);
    EXPECT_EQ(6U, Waiting(pool));
    EXPECT_EQ(1, pool.StartThread(0));
    EXPECT_TRUE(Eventually([&] { return pool.Look() == "aaaaaa"; }));
}

TEST_F(ThreadTaskPoolTest, CanBeStartedAgainAndAgain) {
    Noting pool;
    for (int round = 0; round < 20; ++round) {
        pool.PostNote("a");
        EXPECT_EQ(1, pool.StartThread(0));
        pool.PostNote("b");
        EXPECT_TRUE(Eventually([&] { return pool.Look() == "ab"; }));
        Stop(pool);
        EXPECT_EQ("ab", pool.Take());
        EXPECT_EQ(0, pool.IsThreadRunning());
    }
}

// As a Thread
TEST_F(ThreadTaskPoolTest, IsStartedAsAThread) {
    class Refusing final : public ThreadHandler {
    public:
        int OnPreThreadStart(Thread* thread) override {
            asked = thread;
            return 0;
        }
        int OnThreadEntry(Thread* /*thread*/) override { return 0; }

        Thread* asked = nullptr;
    };
    Refusing handler;
    Noting pool;
    pool.PostNote("a");
    pool.SetThreadHandler(&handler);
    EXPECT_EQ(0, pool.StartThread(0));
    EXPECT_EQ(&pool, handler.asked);
    EXPECT_EQ(0, pool.IsThreadRunning());
    EXPECT_EQ(1U, Waiting(pool));
    // The loop is the pool's own.
    pool.SetThreadHandler(nullptr);
    Thread& thread = pool;
    EXPECT_EQ(1, thread.StartThread(1));
    SleepFor(milliseconds(50));
    EXPECT_EQ("", pool.Look());
    EXPECT_EQ(1, thread.ResumeThread());
    EXPECT_TRUE(Eventually([&] { return pool.Look() == "a"; }));
}

// Destruction

TEST_F(ThreadTaskPoolTest, TheDestructorDropsWhatWaits) {
    int releases = 0;
    std::unique_ptr<Thread> thread;
    {
        auto pool = std::make_unique<ThreadTaskPool>();
        for (int n = 0; n < 3; ++n) {
            Held held = Holding([&] { ++releases; });
            pool->Post([held] { ADD_FAILURE(); });
        }
        thread = std::move(pool);
    }
    EXPECT_EQ(0, releases);
    thread.reset();
    EXPECT_EQ(3, releases);
}

// And then drops the others.
TEST_F(ThreadTaskPoolTest, TheDestructorWaitsForTheRunningTask) {
    auto pool = std::make_unique<ThreadTaskPool>();
    Gate gate;
    std::atomic<bool> finished = false;
    int releases = 0;
    pool->Post([&] {
        gate();
        finished = true;
    });
    Held held = Holding([&] {
        EXPECT_TRUE(finished);
        ++releases;
    });
    pool->Post([held] { ADD_FAILURE(); });
    held.reset();
    EXPECT_EQ(1, pool->StartThread(0));
    EXPECT_TRUE(gate.Begun());
    std::thread opener([&] {
        SleepFor(milliseconds(100));
        gate.Open();
    });
    pool.reset();
    EXPECT_TRUE(finished);
    EXPECT_EQ(1, releases);
    opener.join();
}

TEST_F(ThreadTaskPoolTest, TheDestructorEndsAnIdleWorker) {
    auto pool = std::make_unique<ThreadTaskPool>();
    EXPECT_EQ(1, pool->StartThread(0));
    EXPECT_TRUE(Idle(*pool));
    SleepFor(milliseconds(20));
    pool.reset();
}

// Memory

// The first semaphore of a program may make what all share.
void MakeASemaphore() {
    Event event;
    EXPECT_EQ(1, event.Create(1, 0, nullptr));
}

TEST_F(ThreadTaskPoolTest, WhatCannotBeMadeIsNotLeftBehind) {
    MakeASemaphore();
    const AllocationLedger ledger;
    std::optional<ThreadTaskPool> pool;
    EXPECT_LT(0U, FailEachAllocation([&] { pool.emplace(); },
                                     [&] { EXPECT_EQ(0U, ledger.Blocks()); }));
    pool.reset();
    EXPECT_EQ(0U, ledger.Blocks());
}

// One that fits into a Task makes none of its own.
TEST_F(ThreadTaskPoolTest, APostOfASmallTaskAllocatesOnce) {
    ThreadTaskPool pool;
    int runs = 0;
    EXPECT_EQ(1U, FailEachAllocation([&] { pool.Post([&runs] { ++runs; }); },
                                     [&] {
                                         EXPECT_TRUE(TasksOf(pool)->empty());
                                         EXPECT_EQ(0, EventOf(pool).Wait(0));
                                     }));
    EXPECT_EQ(1, EventOf(pool).Wait(0));
    ASSERT_EQ(1U, TasksOf(pool)->size());
    TasksOf(pool)->front()();
    EXPECT_EQ(1, runs);
}

TEST_F(ThreadTaskPoolTest, APostThatFailsLeavesTheListAsItWas) {
    ThreadTaskPool pool;
    std::string ran;
    pool.Post([&] { ran += 'a'; });
    pool.Post([&] { ran += 'b'; });
    EXPECT_EQ(1, EventOf(pool).Reset());
    Tasks* const tasks = TasksOf(pool);

    int releases = 0;
    Held held = Holding([&] { ++releases; });
    const std::array<char, 100> large{};
    {
        const AllocationLedger ledger;
        EXPECT_LT(1U, FailEachAllocation(
                          [&] {
                              pool.Post([&ran, held, large] {
                                  ran += large[0] == 0 ? "c" : "?";
                              });
                          },
                          [&] {
                              EXPECT_EQ(0U, ledger.Blocks());
                              EXPECT_EQ(tasks, TasksOf(pool));
                              EXPECT_EQ(2U, tasks->size());
                              EXPECT_EQ(0, EventOf(pool).Wait(0));
                              EXPECT_EQ(1, held.use_count());
                          }));
    }
    std::thread([&] {
        EXPECT_EQ(1, LockOf(pool).TryLock());
        LockOf(pool).Unlock();
    }).join();
    held.reset();
    EXPECT_EQ(0, releases);
    EXPECT_EQ(3U, tasks->size());
    EXPECT_EQ(1, EventOf(pool).Wait(0));
    for (const Task& task : *tasks) {
        task();
    }
    EXPECT_EQ("abc", ran);
    pool.StopThread(0, 0);
    EXPECT_EQ(1, releases);
}

TEST_F(ThreadTaskPoolTest, NothingIsLeftBehind) {
    MakeASemaphore();
    const AllocationLedger ledger;
    {
        ThreadTaskPool pool;
        for (int n = 0; n < 10; ++n) {
            pool.Post([] {});
        }
        pool.StopThread(kNoLimit, 1);
        pool.Post([] {});
    }
    EXPECT_EQ(0U, ledger.Blocks());
}

// Everything at once

// Each task runs once or is dropped, and is released once; those of one poster
// run in their order.
TEST_F(ThreadTaskPoolTest, PostsWhileItIsStoppedAndStarted) {
    const int posters = 3;
    const int each = 1000;
    struct Posted {
        std::atomic<int> ran = 0;
        std::atomic<int> released = 0;
    };
    std::vector<std::vector<Posted>> posted(posters);
    std::vector<int> last(posters, -1);  // That ran; of the worker.
    std::atomic<int> ran = 0;
    std::atomic<int> disorder = 0;
    for (std::vector<Posted>& ofOne : posted) {
        ofOne = std::vector<Posted>(each);
    }
    {
        ThreadTaskPool pool;
        std::atomic<int> posting = posters;
        std::vector<std::thread> threads;
        for (int poster = 0; poster < posters; ++poster) {
            threads.emplace_back([&, poster] {
                const auto of = static_cast<std::size_t>(poster);
                for (int n = 0; n < each; ++n) {
                    Posted& task = posted[of][static_cast<std::size_t>(n)];
                    Held held = Holding([&task] { ++task.released; });
                    pool.Post([&task, &ran, &last, &disorder, of, n, held] {
                        ++task.ran;
                        ++ran;
                        disorder += last[of] < n ? 0 : 1;
                        last[of] = n;
                    });
                    if (n % 10 == 0) {
                        SleepFor(milliseconds(1));
                    }
                }
                --posting;
            });
        }
        unsigned int round = 0;
        while (posting > 0) {
            const int before = ran;
            EXPECT_EQ(1, pool.StartThread(0));
            if (round % 3 == 0) {
                EXPECT_TRUE(
                    Eventually([&] { return ran != before || posting == 0; }));
            } else {
                SleepFor(milliseconds(round % 3 - 1));
            }
            // Also without waiting for the worker.
            pool.StopThread(0, 0);
            Stop(pool);
            ++round;
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        Stop(pool);
    }
    for (const std::vector<Posted>& ofOne : posted) {
        for (const Posted& task : ofOne) {
            EXPECT_GE(1, task.ran);
            EXPECT_EQ(1, task.released);
        }
    }
    EXPECT_LT(0, ran);
    EXPECT_EQ(0, disorder);
}

// While it runs, none is lost.
TEST_F(ThreadTaskPoolTest, RunsWhateverIsPostedWhileItIsIdleOrBusy) {
    ThreadTaskPool pool;
    EXPECT_EQ(1, pool.StartThread(0));
    const int posters = 3;
    const int each = 300;
    std::atomic<int> ran = 0;
    std::vector<std::thread> threads;
    for (int poster = 0; poster < posters; ++poster) {
        threads.emplace_back([&] {
            for (int n = 0; n < each; ++n) {
                pool.Post([&] { ++ran; });
                if (n % 20 == 0) {
                    SleepFor(milliseconds(1));
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(Eventually([&] { return ran == posters * each; }));
    Stop(pool);
}

}  // namespace
