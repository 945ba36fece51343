// The contract of Bases/Impl/CpuFeatures.h, beside what the compiler's own
// runtime finds in the processor.

#include "Bases/Impl/CpuFeatures.h"

#include <gtest/gtest.h>

#include <atomic>
#include <span>
#include <thread>
#include <vector>

namespace {

using Novu::BestPath;
using Novu::CpuHas;

const unsigned int kNoProcessorHas = 1U << 31U;

TEST(CpuFeatures, NothingIsAlwaysThere) { EXPECT_TRUE(CpuHas(0)); }

TEST(CpuFeatures, WhatIsUnknownIsNotThere) {
    EXPECT_FALSE(CpuHas(kNoProcessorHas));
    EXPECT_FALSE(CpuHas(kNoProcessorHas | Novu::kCpuPopcnt));
}

#if defined(__x86_64__) && NOVU_X86_PATHS
TEST(CpuFeatures, AreThoseThatTheCompilerFinds) {
    const auto both = [](auto... has) { return ((has != 0) && ...); };
    EXPECT_EQ(__builtin_cpu_supports("popcnt") != 0, CpuHas(Novu::kCpuPopcnt));
    EXPECT_EQ(__builtin_cpu_supports("aes") != 0, CpuHas(Novu::kCpuAesNi));
    EXPECT_EQ(__builtin_cpu_supports("avx2") != 0, CpuHas(Novu::kCpuAvx2));
    EXPECT_EQ(
        both(__builtin_cpu_supports("gfni"), __builtin_cpu_supports("avx2")),
        CpuHas(Novu::kCpuGfni | Novu::kCpuAvx2));
    const bool avx512 = both(
        __builtin_cpu_supports("avx512f"), __builtin_cpu_supports("avx512bw"),
        __builtin_cpu_supports("avx512dq"), __builtin_cpu_supports("avx512vl"));
    EXPECT_EQ(avx512, CpuHas(Novu::kCpuAvx512));
    EXPECT_EQ(avx512 && __builtin_cpu_supports("avx512vbmi") != 0,
              CpuHas(Novu::kCpuAvx512Vbmi));
    EXPECT_EQ(avx512 && __builtin_cpu_supports("avx512vpopcntdq") != 0,
              CpuHas(Novu::kCpuAvx512Popcnt));
}
#endif

// The choice

struct Path {
    unsigned int features;
};

TEST(CpuFeatures, TheFirstPathThatCanBeTakenIsTheBest) {
    const Path paths[] = {{kNoProcessorHas}, {0}, {0}};
    std::atomic<const Path*> best = nullptr;
    EXPECT_EQ(&paths[1], &BestPath<Path>(paths, best));
    EXPECT_EQ(&paths[1], best.load());
}

TEST(CpuFeatures, TheLastPathIsForAllProcessors) {
    const Path paths[] = {{kNoProcessorHas}, {kNoProcessorHas}, {0}};
    std::atomic<const Path*> best = nullptr;
    EXPECT_EQ(&paths[2], &BestPath<Path>(paths, best));
}

TEST(CpuFeatures, TheChoiceIsMadeOnce) {
    const Path paths[] = {{0}, {0}};
    std::atomic<const Path*> best = &paths[1];
    EXPECT_EQ(&paths[1], &BestPath<Path>(paths, best));
}

TEST(CpuFeatures, ThreadsThatAskAtOnceChooseTheSame) {
    const Path paths[] = {{kNoProcessorHas}, {0}};
    std::atomic<const Path*> best = nullptr;
    std::vector<std::thread> threads;
    std::atomic<int> same = 0;
    for (int i = 0; i != 8; ++i) {
        threads.emplace_back(
            [&] { same += &BestPath<Path>(paths, best) == &paths[1] ? 1 : 0; });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(8, same);
}

}  // namespace
