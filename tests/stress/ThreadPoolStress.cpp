// Tasks of Bases/ThreadPool.h, many of them.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <random>
#include <thread>

#include "Bases/ThreadPool.h"
#include "tests/stress/Stress.h"

namespace {

using Novu::ThreadTaskPool;
using NovuTest::Crew;
using NovuTest::kNoLimit;

const unsigned int kPosters = 8;
const unsigned int kTasksOfEach = 125000;

TEST(ThreadPoolStress, AMillionTasksInTheOrderOfEachPoster) {
    ThreadTaskPool pool;
    ASSERT_EQ(1, pool.StartThread(0));

    // Of the worker alone, which so needs no lock.
    std::array<unsigned int, kPosters> next{};
    unsigned int outOfOrder = 0;
    unsigned int ran = 0;
    Novu::Event done;
    ASSERT_EQ(1, done.Create(1, 0, nullptr));
    {
        Crew crew;
        for (unsigned int poster = 0; poster < kPosters; ++poster) {
            crew.Add([&, poster] {
                for (unsigned int i = 0; i < kTasksOfEach; ++i) {
                    pool.Post([&, poster, i] {
                        outOfOrder += next[poster] == i ? 0U : 1U;
                        next[poster] = i + 1;
                        if (++ran == kPosters * kTasksOfEach) {
                            done.Set();
                        }
                    });
                }
            });
        }
    }
    EXPECT_EQ(1, done.Wait(kNoLimit));
    pool.StopThread(kNoLimit, 0);
    EXPECT_EQ(0U, outOfOrder);
    EXPECT_EQ(kPosters * kTasksOfEach, ran);
}

// One task at a time: a worker that sleeps must be woken by each.
TEST(ThreadPoolStress, EachTaskWakesAnIdleWorker) {
    const unsigned int rounds = 50000;
    ThreadTaskPool pool;
    ASSERT_EQ(1, pool.StartThread(0));
    Novu::Event ran;
    ASSERT_EQ(1, ran.Create(0, 0, nullptr));
    for (unsigned int i = 0; i < rounds; ++i) {
        pool.Post([&ran] { ran.Set(); });
        ASSERT_EQ(1, ran.Wait(kNoLimit));
    }
    pool.StopThread(kNoLimit, 0);
}

// A task that says what became of it.
class Task {
public:
    Task(std::atomic<unsigned int>& whereRun,
         std::atomic<unsigned int>& whereDropped)
        : ran(whereRun), dropped(whereDropped) {}
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    ~Task() { hasRun ? ++ran : ++dropped; }

    void Run() { hasRun = true; }

private:
    std::atomic<unsigned int>& ran;
    std::atomic<unsigned int>& dropped;
    bool hasRun = false;
};

// The pool is stopped and started while tasks come in. Each is run or dropped,
// and what is dropped was posted before a stop ended.
TEST(ThreadPoolStress, StopsWhileTasksArePosted) {
    const unsigned int rounds = 300;
    const unsigned int posters = 3;
    const unsigned int tasksOfEach = 300;
    const std::mt19937::result_type seed = 1;
    std::mt19937 random(seed);
    std::atomic<unsigned int> ran = 0;
    std::atomic<unsigned int> dropped = 0;
    ThreadTaskPool pool;

    for (unsigned int round = 0; round < rounds; ++round) {
        ASSERT_EQ(1, pool.StartThread(0));
        std::atomic<bool> started = false;
        Crew crew;
        for (unsigned int poster = 0; poster < posters; ++poster) {
            crew.Add([&] {
                for (unsigned int i = 0; i < tasksOfEach; ++i) {
                    const auto task = std::make_shared<Task>(ran, dropped);
                    pool.Post([task] { task->Run(); });
                    started = true;
                }
            });
        }
        while (!started) {
            std::this_thread::yield();
        }
        for (auto spins = random() % 200; spins != 0; --spins) {
            std::this_thread::yield();
        }
        pool.StopThread(kNoLimit, 0);
        crew.Join();

        // Those that came after the stop wait; a second stop drops them.
        const unsigned int before = ran;
        pool.StopThread(kNoLimit, 0);
        ASSERT_EQ(before, ran);
        ASSERT_EQ((round + 1) * posters * tasksOfEach, ran + dropped);
    }
    EXPECT_GT(ran, 0U);
    EXPECT_GT(dropped, 0U);
}

}  // namespace
