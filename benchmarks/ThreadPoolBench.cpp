// The task pool of Bases/ThreadPool.h beside Boost.Asio's with one thread. The
// worker is on the core of the thread that posts, but for the last case.

#include "Bases/ThreadPool.h"

#include <benchmark/benchmark.h>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <semaphore>

#include "benchmarks/OneCore.h"

namespace {

const unsigned int kNoLimit = 0xFFFFFFFF;

class NovuPool {
public:
    NovuPool() { pool.StartThread(0); }
    NovuPool(const NovuPool&) = delete;
    NovuPool& operator=(const NovuPool&) = delete;
    ~NovuPool() { pool.StopThread(kNoLimit, 0); }

    template <typename Task>
    void Post(Task task) {
        pool.Post(task);
    }

private:
    Novu::ThreadTaskPool pool;
};

class AsioPool {
public:
    AsioPool() = default;
    AsioPool(const AsioPool&) = delete;
    AsioPool& operator=(const AsioPool&) = delete;
    ~AsioPool() { pool.join(); }

    template <typename Task>
    void Post(Task task) {
        boost::asio::post(pool, task);
    }

private:
    boost::asio::thread_pool pool{1};
};

// Posts empty tasks, and waits for the last.
template <typename Pool>
void Tasks(benchmark::State& state) {
    const bench::OneCore core;
    Pool pool;
    std::binary_semaphore drained(0);
    for (auto _ : state) {
        for (auto i = state.range(); i > 1; --i) {
            pool.Post([] {});
        }
        pool.Post([&drained] { drained.release(); });
        drained.acquire();
    }
    state.SetItemsProcessed(state.iterations() * state.range());
}

template <typename Pool>
void PostAndAwait(benchmark::State& state) {
    Pool pool;
    std::binary_semaphore done(0);
    for (auto _ : state) {
        pool.Post([&done] { done.release(); });
        done.acquire();
    }
}

template <typename Pool>
void RoundTrip(benchmark::State& state) {
    const bench::OneCore core;
    PostAndAwait<Pool>(state);
}

template <typename Pool>
void RoundTripOnTwo(benchmark::State& state) {
    PostAndAwait<Pool>(state);
}

// A pool from its start until its end.
template <typename Pool>
void StartAndStop(benchmark::State& state) {
    const bench::OneCore core;
    for (auto _ : state) {
        Pool pool;
    }
}

BENCHMARK(Tasks<NovuPool>)->Name("Tasks/Novu")->Arg(100000)->UseRealTime();
BENCHMARK(Tasks<AsioPool>)->Name("Tasks/Asio")->Arg(100000)->UseRealTime();
BENCHMARK(RoundTrip<NovuPool>)->Name("RoundTrip/Novu")->UseRealTime();
BENCHMARK(RoundTrip<AsioPool>)->Name("RoundTrip/Asio")->UseRealTime();
BENCHMARK(StartAndStop<NovuPool>)->Name("StartAndStop/Novu")->UseRealTime();
BENCHMARK(StartAndStop<AsioPool>)->Name("StartAndStop/Asio")->UseRealTime();
BENCHMARK(RoundTripOnTwo<NovuPool>)->Name("RoundTripOnTwo/Novu")->UseRealTime();
BENCHMARK(RoundTripOnTwo<AsioPool>)->Name("RoundTripOnTwo/Asio")->UseRealTime();

}  // namespace
