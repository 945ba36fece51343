// Threads of Bases/Thread.h beside std::thread, which is also shown with the
// pause that StartThread makes.

#include "Bases/Thread.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <atomic>
#include <thread>

namespace {

const unsigned int kNoLimit = 0xFFFFFFFF;

// From the start of a thread that does nothing until it has ended.

void NovuThread(benchmark::State& state) {
    Novu::Thread thread;
    for (auto _ : state) {
        thread.StartThread(0);
        thread.StopThread(kNoLimit, 0);
    }
}

void StdThread(benchmark::State& state) {
    for (auto _ : state) {
        std::thread([] {}).join();
    }
}

void StdThreadAndPause(benchmark::State& state) {
    for (auto _ : state) {
        std::thread thread([] {});
        usleep(100);
        thread.join();
    }
}

BENCHMARK(NovuThread)->Name("StartAndStop/Novu")->UseRealTime();
BENCHMARK(StdThread)->Name("StartAndStop/StdThread")->UseRealTime();
BENCHMARK(StdThreadAndPause)
    ->Name("StartAndStop/StdThreadAndPause")
    ->UseRealTime();

// A body's look for a stop, beside that of one who has no more than a flag.

void NovuLook(benchmark::State& state) {
    Novu::Thread thread;
    thread.StartThread(1);  // Suspended, and so not in the way.
    for (auto _ : state) {
        benchmark::DoNotOptimize(thread.IsStopThread(0));
    }
    thread.StopThread(kNoLimit, 0);
}

void AtomicLook(benchmark::State& state) {
    std::atomic<bool> stop = false;
    for (auto _ : state) {
        benchmark::DoNotOptimize(stop.load());
    }
}

BENCHMARK(NovuLook)->Name("LookForStop/Novu");
BENCHMARK(AtomicLook)->Name("LookForStop/Atomic");

}  // namespace
