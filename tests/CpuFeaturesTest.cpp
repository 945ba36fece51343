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

TEST(CpuFeaturesTest, NothingIsAlwaysThere) { EXPECT_TRUE(CpuHas(0)); }

TEST(CpuFeaturesTest, WhatIsUnknownIsNotThere) {
    EXPECT_FALSE(CpuHas(kNoProcessorHas));
    EXPECT_FALSE(CpuHas(kNoProcessorHas | Novu::kCpuPopcnt));
}

#if NOVU_X86_PATHS
TEST(CpuFeaturesTest, AreThoseThatTheCompilerFinds) {
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

// What each bit allows, and what it takes besides. The answers of a processor
// that has everything lose a bit, or some, in each row.
TEST(CpuFeaturesTest, FollowFromTheAnswersOfTheProcessor) {
    using Novu::CpuAnswers;
    const CpuAnswers all = {0x1A800000, 0xC0030020, 0x00004102, 0xE7};
    const unsigned int vectors = Novu::kCpuAvx2 | Novu::kCpuGfni;
    const unsigned int wide =
        Novu::kCpuAvx512 | Novu::kCpuAvx512Vbmi | Novu::kCpuAvx512Popcnt;
    const unsigned int narrow = Novu::kCpuPopcnt | Novu::kCpuAesNi;
    const struct {
        int line;
        CpuAnswers lacks;
        unsigned int features;
    } rows[] = {
        {__LINE__, {0, 0, 0, 0}, narrow | vectors | wide},
        // popcnt, AES-NI
        {__LINE__, {1U << 23U, 0, 0, 0}, Novu::kCpuAesNi | vectors | wide},
        {__LINE__, {1U << 25U, 0, 0, 0}, Novu::kCpuPopcnt | vectors | wide},
        // OSXSAVE, AVX
        {__LINE__, {1U << 27U, 0, 0, 0}, narrow},
        {__LINE__, {1U << 28U, 0, 0, 0}, narrow},
        // The registers of SSE, of AVX, of AVX-512
        {__LINE__, {0, 0, 0, 0x02}, narrow},
        {__LINE__, {0, 0, 0, 0x04}, narrow},
        {__LINE__, {0, 0, 0, 0x20}, narrow | vectors},
        {__LINE__, {0, 0, 0, 0x40}, narrow | vectors},
        {__LINE__, {0, 0, 0, 0x80}, narrow | vectors},
        {__LINE__, {0, 0, 0, 0xE7}, narrow},
        // AVX2
        {__LINE__, {0, 1U << 5U, 0, 0}, narrow | Novu::kCpuGfni | wide},
        // AVX-512 F, DQ, BW, VL
        {__LINE__, {0, 1U << 16U, 0, 0}, narrow | vectors},
        {__LINE__, {0, 1U << 17U, 0, 0}, narrow | vectors},
        {__LINE__, {0, 1U << 30U, 0, 0}, narrow | vectors},
        {__LINE__, {0, 1U << 31U, 0, 0}, narrow | vectors},
        // VBMI, GFNI, VPOPCNTDQ
        {__LINE__,
         {0, 0, 1U << 1U, 0},
         narrow | vectors | (wide & ~unsigned{Novu::kCpuAvx512Vbmi})},
        {__LINE__, {0, 0, 1U << 8U, 0}, narrow | Novu::kCpuAvx2 | wide},
        {__LINE__,
         {0, 0, 1U << 14U, 0},
         narrow | vectors | (wide & ~unsigned{Novu::kCpuAvx512Popcnt})},
        // No leaf 7
        {__LINE__, {0, ~0U, ~0U, 0}, narrow},
    };
    for (const auto& row : rows) {
        const CpuAnswers answers = {
            all.leaf1c & ~row.lacks.leaf1c, all.leaf7b & ~row.lacks.leaf7b,
            all.leaf7c & ~row.lacks.leaf7c,
            all.keptRegisters & ~row.lacks.keptRegisters};
        EXPECT_EQ(row.features, Novu::CpuFeaturesOf(answers))
            << "row at line " << row.line;
    }
}
#endif

// The choice

struct Path {
    unsigned int features;
};

TEST(CpuFeaturesTest, TheFirstPathThatCanBeTakenIsTheBest) {
    const Path paths[] = {{kNoProcessorHas}, {0}, {0}};
    std::atomic<const Path*> best = nullptr;
    EXPECT_EQ(&paths[1], &BestPath<Path>(paths, best));
    EXPECT_EQ(&paths[1], best.load());
}

TEST(CpuFeaturesTest, TheLastPathIsForAllProcessors) {
    const Path paths[] = {{kNoProcessorHas}, {kNoProcessorHas}, {0}};
    std::atomic<const Path*> best = nullptr;
    EXPECT_EQ(&paths[2], &BestPath<Path>(paths, best));
}

TEST(CpuFeaturesTest, TheChoiceIsMadeOnce) {
    const Path paths[] = {{0}, {0}};
    std::atomic<const Path*> best = &paths[1];
    EXPECT_EQ(&paths[1], &BestPath<Path>(paths, best));
}

TEST(CpuFeaturesTest, ThreadsThatAskAtOnceChooseTheSame) {
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
