// Threads of Bases/Thread.h beside std::thread, which is also shown with the
// pause that StartThread makes.

#include "Bases/Thread.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <thread>

namespace {

const unsigned int kNoLimit = 0xFFFFFFFF;

void NovuStartAndStop(benchmark::State& state) {
    Novu::Thread thread;
    for (auto _ : state) {
        thread.StartThread(0);
        thread.StopThread(kNoLimit, 0);
    }
}

void StdStartAndJoin(benchmark::State& state) {
    for (auto _ : state) {
        std::thread([] {}).join();
    }
}

void StdStartPauseAndJoin(benchmark::State& state) {
    for (auto _ : state) {
        std::thread thread([] {});
        usleep(100);
        thread.join();
    }
}

BENCHMARK(NovuStartAndStop)->UseRealTime();
BENCHMARK(StdStartAndJoin)->UseRealTime();
BENCHMARK(StdStartPauseAndJoin)->UseRealTime();

}  // namespace
