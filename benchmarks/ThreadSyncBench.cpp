// Cs of Bases/ThreadSync.h beside a recursive pthread mutex and that of C++.

#include "Bases/ThreadSync.h"

#include <benchmark/benchmark.h>
#include <pthread.h>

#include <mutex>
#include <thread>

namespace {

// Three with one interface: lock and unlock.

class NovuCs {
public:
    void lock() { cs.Lock(); }
    void unlock() { cs.Unlock(); }

private:
    Novu::Cs cs;
};

class PthreadRecursive {
public:
    PthreadRecursive() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    PthreadRecursive(const PthreadRecursive&) = delete;
    PthreadRecursive& operator=(const PthreadRecursive&) = delete;
    ~PthreadRecursive() { pthread_mutex_destroy(&mutex); }

    void lock() { pthread_mutex_lock(&mutex); }
    void unlock() { pthread_mutex_unlock(&mutex); }

private:
    pthread_mutex_t mutex{};
};

// While there has been one thread only, the system's locks are no locks.
void StartAnotherThread() {
    std::thread([] {}).join();
}

template <typename Lock>
void LockAndUnlock(benchmark::State& state) {
    StartAnotherThread();
    Lock lock;
    for (auto _ : state) {
        lock.lock();
        lock.unlock();
    }
}

// By the thread that has it already.
template <typename Lock>
void LockAgain(benchmark::State& state) {
    StartAnotherThread();
    Lock lock;
    lock.lock();
    for (auto _ : state) {
        lock.lock();
        lock.unlock();
    }
    lock.unlock();
}

BENCHMARK(LockAndUnlock<NovuCs>)->Name("LockAndUnlock/Novu");
BENCHMARK(LockAndUnlock<PthreadRecursive>)
    ->Name("LockAndUnlock/PthreadRecursive");
BENCHMARK(LockAndUnlock<std::recursive_mutex>)
    ->Name("LockAndUnlock/StdRecursive");
BENCHMARK(LockAgain<NovuCs>)->Name("LockAgain/Novu");
BENCHMARK(LockAgain<PthreadRecursive>)->Name("LockAgain/PthreadRecursive");
BENCHMARK(LockAgain<std::recursive_mutex>)->Name("LockAgain/StdRecursive");

}  // namespace
