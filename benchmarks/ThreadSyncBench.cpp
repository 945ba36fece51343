// Cs of Bases/ThreadSync.h beside a recursive pthread mutex.

#include "Bases/ThreadSync.h"

#include <benchmark/benchmark.h>
#include <pthread.h>

namespace {

void NovuLockAndUnlock(benchmark::State& state) {
    const Novu::Cs cs;
    for (auto _ : state) {
        cs.Lock();
        cs.Unlock();
    }
}

void PthreadLockAndUnlock(benchmark::State& state) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_t mutex;
    pthread_mutex_init(&mutex, &attributes);
    for (auto _ : state) {
        pthread_mutex_lock(&mutex);
        pthread_mutex_unlock(&mutex);
    }
    pthread_mutex_destroy(&mutex);
}

BENCHMARK(NovuLockAndUnlock);
BENCHMARK(PthreadLockAndUnlock);

}  // namespace
