// The surprises of Bases/ThreadPool.h.

#include "Bases/ThreadPool.h"

#include <unistd.h>

#include <set>
#include <thread>

#include "tests/surprises/Seen.h"

namespace {

using Novu::Event;
using Novu::ThreadTaskPool;
using NovuTest::Ends;
using NovuTest::SurprisesTest;

class ThreadPoolSurprisesTest : public SurprisesTest {
protected:
    ThreadPoolSurprisesTest() { done.Create(1, 0, nullptr); }
    ThreadPoolSurprisesTest(const ThreadPoolSurprisesTest&) = delete;
    ThreadPoolSurprisesTest& operator=(const ThreadPoolSurprisesTest&) = delete;
    ~ThreadPoolSurprisesTest() override { pool.StopThread(0xFFFFFFFF, 0); }

    std::set<std::thread::id> threads;  // That note was run by.
    Event done;
    ThreadTaskPool pool;
};

// [threadpool-1]
TEST_F(ThreadPoolSurprisesTest, threadpool_1) {
    const auto note = [&] { threads.insert(std::this_thread::get_id()); };
    const auto last = [&] { done.Set(); };
    ASSERT_EQ(1, pool.StartThread(0));
    SEEN(pool.Post(note); pool.Post(note); pool.Post(last);
         done.Wait(0xFFFFFFFF); threads.size() == 1);
}

// [threadpool-2]
TEST_F(ThreadPoolSurprisesTest, threadpool_2) {
    bool ran = false;
    const auto task = [&] { ran = true; };
    const auto last = [&] { done.Set(); };
    SEEN(pool.Post(task); pool.StopThread(0xFFFFFFFF, 0); pool.StartThread(0);
         pool.Post(last); done.Wait(0xFFFFFFFF); !ran);
}

// [threadpool-3]
TEST_F(ThreadPoolSurprisesTest, threadpool_3) {
    SEEN(Ends([&] {
        pool.Post({});
        pool.StartThread(0);
        ::pause();
    }));
}

}  // namespace
