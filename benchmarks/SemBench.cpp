// Events of Bases/Sem.h beside a condition variable and a binary semaphore.

#include "Bases/Sem.h"

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <mutex>
#include <semaphore>
#include <thread>
#include <utility>

namespace {

const unsigned int kNoLimit = 0xFFFFFFFF;

// Three with one interface: Set, and Wait, which resets.

class NovuAutomatic {
public:
    NovuAutomatic() { event.Create(0, 0, nullptr); }
    void Set() { event.Set(); }
    void Wait() { event.Wait(kNoLimit); }
    bool Poll() { return event.Wait(0) == 1; }

private:
    Novu::NovuEvent event;
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
void PingPong(benchmark::State& state) {
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

BENCHMARK(SetAndWait<NovuAutomatic>);
BENCHMARK(SetAndWait<ConditionVariable>);
BENCHMARK(SetAndWait<BinarySemaphore>);
BENCHMARK(Poll<NovuAutomatic>);
BENCHMARK(Poll<ConditionVariable>);
BENCHMARK(Poll<BinarySemaphore>);
BENCHMARK(PingPong<NovuAutomatic>)->UseRealTime();
BENCHMARK(PingPong<ConditionVariable>)->UseRealTime();
BENCHMARK(PingPong<BinarySemaphore>)->UseRealTime();

}  // namespace
