// The task pool of Bases/ThreadPool.h beside Boost.Asio's with one thread.

#include "Bases/ThreadPool.h"

#include <benchmark/benchmark.h>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <semaphore>

namespace {

const unsigned int kNoLimit = 0xFFFFFFFF;
const int kTasks = 100000;

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
void PostAndDrain(benchmark::State& state) {
    Pool pool;
    std::binary_semaphore drained(0);
    for (auto _ : state) {
        for (int i = 1; i < kTasks; ++i) {
            pool.Post([] {});
        }
        pool.Post([&drained] { drained.release(); });
        drained.acquire();
    }
    state.SetItemsProcessed(state.iterations() * kTasks);
}

template <typename Pool>
void RoundTrip(benchmark::State& state) {
    Pool pool;
    std::binary_semaphore done(0);
    for (auto _ : state) {
        pool.Post([&done] { done.release(); });
        done.acquire();
    }
}

BENCHMARK(PostAndDrain<NovuPool>)->UseRealTime();
BENCHMARK(PostAndDrain<AsioPool>)->UseRealTime();
BENCHMARK(RoundTrip<NovuPool>)->UseRealTime();
BENCHMARK(RoundTrip<AsioPool>)->UseRealTime();

}  // namespace
