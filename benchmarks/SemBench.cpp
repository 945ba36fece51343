// Events of Bases/Sem.h beside a futex, a condition variable and a binary
// semaphore. PingPong keeps both threads on one core, PingPongOnTwo does not.

#include "Bases/Sem.h"

#include <benchmark/benchmark.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <semaphore>
#include <thread>
#include <utility>

#include "benchmarks/OneCore.h"

namespace {

const unsigned int kNoLimit = 0xFFFFFFFF;

// Four with one interface: Set, and Wait, which resets.

class NovuAutomatic {
public:
    NovuAutomatic() { event.Create(0, 0, nullptr); }
    void Set() { event.Set(); }
    void Wait() { event.Wait(kNoLimit); }
    bool Poll() { return event.Wait(0) == 1; }

private:
    Novu::NovuEvent event;
};

// What the kernel has to offer, without a promise beyond. It is not called
// where nobody sleeps.
class Futex {
public:
    void Set() {
        set = 1;
        if (sleepers != 0) {
            Call(FUTEX_WAKE_PRIVATE, INT_MAX);
        }
    }
    void Wait() {
        if (Poll()) {
            return;
        }
        ++sleepers;
        while (!Poll()) {
            Call(FUTEX_WAIT_PRIVATE, 0);
        }
        --sleepers;
    }
    bool Poll() {
        return set.load(std::memory_order_acquire) != 0 && set.exchange(0) != 0;
    }

private:
    void Call(int operation, unsigned int value) {
        ::syscall(SYS_futex, &set, operation, value, nullptr);
    }

    std::atomic<std::uint32_t> set = 0;
    std::atomic<std::uint32_t> sleepers = 0;
};

class ConditionVariable {
public:
    void Set() {
        const std::lock_guard lock(mutex);
        set = true;
        changed.notify_one();
    }
    void Wait() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return set; });
        set = false;
    }
    bool Poll() {
        const std::lock_guard lock(mutex);
        return std::exchange(set, false);
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool set = false;
};

class BinarySemaphore {
public:
    void Set() { semaphore.release(); }
    void Wait() { semaphore.acquire(); }
    bool Poll() { return semaphore.try_acquire(); }

private:
    std::binary_semaphore semaphore{0};
};

template <typename Event>
void SetAndWait(benchmark::State& state) {
    Event event;
    for (auto _ : state) {
        event.Set();
        event.Wait();
    }
}

template <typename Event>
void Poll(benchmark::State& state) {
    Event event;
    for (auto _ : state) {
        benchmark::DoNotOptimize(event.Poll());
    }
}

template <typename Event>
void TakeTurns(benchmark::State& state) {
    Event ping;
    Event pong;
    bool over = false;
    std::thread other([&] {
        for (;;) {
            ping.Wait();
            if (over) {
                return;
            }
            pong.Set();
        }
    });
    for (auto _ : state) {
        ping.Set();
        pong.Wait();
    }
    over = true;
    ping.Set();
    other.join();
}

template <typename Event>
void PingPong(benchmark::State& state) {
    const bench::OneCore core;
    TakeTurns<Event>(state);
}

template <typename Event>
void PingPongOnTwo(benchmark::State& state) {
    TakeTurns<Event>(state);
}

BENCHMARK(SetAndWait<NovuAutomatic>)->Name("SetAndWait/Novu");
BENCHMARK(SetAndWait<Futex>)->Name("SetAndWait/Futex");
BENCHMARK(SetAndWait<ConditionVariable>)->Name("SetAndWait/ConditionVariable");
BENCHMARK(SetAndWait<BinarySemaphore>)->Name("SetAndWait/BinarySemaphore");
BENCHMARK(Poll<NovuAutomatic>)->Name("Poll/Novu");
BENCHMARK(Poll<Futex>)->Name("Poll/Futex");
BENCHMARK(Poll<ConditionVariable>)->Name("Poll/ConditionVariable");
BENCHMARK(Poll<BinarySemaphore>)->Name("Poll/BinarySemaphore");
BENCHMARK(PingPong<NovuAutomatic>)->Name("PingPong/Novu")->UseRealTime();
BENCHMARK(PingPong<Futex>)->Name("PingPong/Futex")->UseRealTime();
BENCHMARK(PingPong<ConditionVariable>)
    ->Name("PingPong/ConditionVariable")
    ->UseRealTime();
BENCHMARK(PingPong<BinarySemaphore>)
    ->Name("PingPong/BinarySemaphore")
    ->UseRealTime();
BENCHMARK(PingPongOnTwo<NovuAutomatic>)
    ->Name("PingPongOnTwo/Novu")
    ->UseRealTime();
BENCHMARK(PingPongOnTwo<Futex>)->Name("PingPongOnTwo/Futex")->UseRealTime();
BENCHMARK(PingPongOnTwo<ConditionVariable>)
    ->Name("PingPongOnTwo/ConditionVariable")
    ->UseRealTime();
BENCHMARK(PingPongOnTwo<BinarySemaphore>)
    ->Name("PingPongOnTwo/BinarySemaphore")
    ->UseRealTime();

}  // namespace
