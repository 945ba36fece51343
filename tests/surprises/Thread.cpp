// The surprises of Bases/Thread.h. That of threads which cannot be made at all
// is in ThreadTest.cpp, over stand-ins for macOS.

#include "Bases/Thread.h"

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <utility>

#include "Bases/Sem.h"
#include "tests/support/NextSymbol.h"
#include "tests/surprises/Seen.h"

namespace {

thread_local bool noThreads = false;          // The system has no thread left.
thread_local unsigned int* asleep = nullptr;  // Instead of sleeping.
std::atomic<int> scheduled = 0;  // Calls that would change a priority.

}  // namespace

extern "C" {

int pthread_create(pthread_t* handle, const pthread_attr_t* attributes,
                   void* (*entry)(void*), void* argument) noexcept {
    static auto* const next = NovuTest::NextSymbol<int(
        pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>(__func__);
    return noThreads ? EAGAIN : next(handle, attributes, entry, argument);
}

int usleep(useconds_t microseconds) {
    static auto* const next = NovuTest::NextSymbol<int(useconds_t)>(__func__);
    if (asleep == nullptr) {
        return next(microseconds);
    }
    *asleep += microseconds;
    return 0;
}

// The system would refuse most priorities: a call counts, not what it does.

int pthread_setschedparam(pthread_t /*thread*/, int /*policy*/,
                          const sched_param* /*given*/) noexcept {
    ++scheduled;
    return 0;
}

int pthread_setschedprio(pthread_t /*thread*/, int /*priority*/) noexcept {
    ++scheduled;
    return 0;
}

int sched_setparam(pid_t /*process*/, const sched_param* /*given*/) noexcept {
    ++scheduled;
    return 0;
}

int sched_setscheduler(pid_t /*process*/, int /*policy*/,
                       const sched_param* /*given*/) noexcept {
    ++scheduled;
    return 0;
}

}  // extern "C"

namespace {

using Novu::NovuEvent;
using Novu::Thread;
using NovuTest::Ends;
using NovuTest::Eventually;
using NovuTest::SleepFor;
using NovuTest::SurprisesTest;

// Runs a function.
class Body : public Thread {
public:
    explicit Body(std::function<void()> toRun) : body(std::move(toRun)) {}
    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;
    ~Body() override { StopThread(0xFFFFFFFF, 0); }

    int OnThreadEntry() override {
        body();
        return 0;
    }

private:
    std::function<void()> body;
};

// Notes the microseconds that this thread is to sleep.
class ThreadSurprisesTest : public SurprisesTest {
protected:
    ThreadSurprisesTest() { asleep = &slept; }
    ThreadSurprisesTest(const ThreadSurprisesTest&) = delete;
    ThreadSurprisesTest& operator=(const ThreadSurprisesTest&) = delete;
    ~ThreadSurprisesTest() override {
        asleep = nullptr;
        noThreads = false;
    }

    unsigned int slept = 0;
    std::atomic<int> ran = 0;
};

// [thread-1]
TEST_F(ThreadSurprisesTest, thread_1) {
    NovuEvent returned;
    ASSERT_EQ(1, returned.Create(1, 0, nullptr));
    Body thread([&] { returned.Set(); });
    SEEN(thread.StartThread(0); returned.Wait(0xFFFFFFFF);
         thread.IsThreadRunning() == 1);
}

// [thread-2]
TEST_F(ThreadSurprisesTest, thread_2) {
    Body thread([] { throw std::runtime_error("out of the body"); });
    SEEN(Ends([&] {
        thread.StartThread(0);
        thread.StopThread(~0U, 0);
    }));
}

// [thread-3] The body has cancellation points in plenty.
TEST_F(ThreadSurprisesTest, thread_3) {
    Body thread([&] {
        for (int each = 0; each < 100; ++each) {
            ::usleep(2000);
        }
        ++ran;
    });
    SEEN(thread.StartThread(0); thread.StopThread(0xFFFFFFFF, 1); ran == 1);
}

// [thread-4]
TEST_F(ThreadSurprisesTest, thread_4) {
    Body* self = nullptr;
    Body thread([&] {
        while (self->IsStopThread(1) == 0) {
        }
        ++ran;
    });
    self = &thread;
    SEEN(thread.StartThread(0); thread.StartThread(0) == 1 && ran == 1);
}

// [thread-5]
TEST_F(ThreadSurprisesTest, thread_5) {
    Body thread([&] { ++ran; });
    noThreads = true;
    SEEN(thread.StartThread(0) == 1 && thread.IsThreadRunning() == 1);
    thread.StopThread(0xFFFFFFFF, 0);
    EXPECT_EQ(0, ran);
}

// [thread-7]
TEST_F(ThreadSurprisesTest, thread_7) {
    Body thread([] {});
    SEEN(thread.StartThread(0); slept == 100);
}

// [thread-8]
TEST_F(ThreadSurprisesTest, thread_8) {
    Thread thread;
    SEEN(thread.SleepThread(4294968); slept == 704);
}

// [thread-9]
TEST_F(ThreadSurprisesTest, thread_9) {
    Body* self = nullptr;
    Body thread([&] { self->IsStopThread(0xFFFFFFFF); });
    self = &thread;
    ASSERT_EQ(1, thread.StartThread(0));
    scheduled = 0;
    SEEN(thread.SetThreadPriority(99);
         thread.GetThreadPriority() == 99 && scheduled == 0);
}

// [thread-10]
TEST_F(ThreadSurprisesTest, thread_10) {
    SEEN(Thread a; Thread b; (a == b) == 1);
}

// [thread-11]
TEST_F(ThreadSurprisesTest, thread_11) {
    SEEN(Thread thread; thread.IsStopThread(0) == 1);
}

// [thread-12]
TEST_F(ThreadSurprisesTest, thread_12) {
    std::atomic<bool> goesOn = true;
    Body thread([&] {
        while (goesOn) {
            SleepFor(std::chrono::milliseconds(1));
        }
    });
    ASSERT_EQ(1, thread.StartThread(0));
    SEEN(thread.StopThread(50, 0); thread.IsThreadRunning() == 1);
    goesOn = false;
}

// [thread-13]
TEST_F(ThreadSurprisesTest, thread_13) {
    Body thread([&] { ++ran; });
    SEEN(thread.StartThread(1); thread.StopThread(0xFFFFFFFF, 0); ran == 1);
}

// [thread-14]
TEST_F(ThreadSurprisesTest, thread_14) {
    std::atomic<unsigned long long> kernelId = 0;
    Body thread(
        [&] { kernelId = static_cast<unsigned long long>(::gettid()); });
    ASSERT_EQ(1, thread.StartThread(0));
    ASSERT_TRUE(Eventually([&] { return kernelId != 0; }));
    SEEN(thread.GetThreadId() != kernelId);
}

// [thread-15]
TEST_F(ThreadSurprisesTest, thread_15) {
    Body* self = nullptr;
    Body thread([&] { self->IsStopThread(0xFFFFFFFF); });
    self = &thread;
    ASSERT_EQ(1, thread.StartThread(0));
    slept = 0;
    SEEN(thread.SleepThread(5); slept == 5000);
}

}  // namespace
