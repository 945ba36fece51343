// CpuFeatures (private): what the processor, and the system with it, can do
// beyond what the library is compiled for; and the choice by it.
//
// A service that has paths for some processors lists them in two files, _x86
// and _portable, of which a build has one. Each path gives the same results.
// Tests take them one by one, whatever would be chosen.

#ifndef NOVU_BASES_IMPL_CPUFEATURES_H_
#define NOVU_BASES_IMPL_CPUFEATURES_H_

#include <atomic>
#include <span>

namespace Novu {

/// Sets of instructions of x86-64, as bits. Those of vectors count only where
/// the system keeps the registers that they need.
enum CpuFeature : unsigned int {
    kCpuPopcnt = 1U << 0U,
    kCpuAesNi = 1U << 1U,
    kCpuAvx2 = 1U << 2U,
    kCpuGfni = 1U << 3U,
    kCpuAvx512 = 1U << 4U,       // F, BW, DQ and VL.
    kCpuAvx512Vbmi = 1U << 5U,   // VBMI.
    kCpuAvx512Popcnt = 1U << 6U  // VPOPCNTDQ.
};

/// What a processor of x86-64 and its system answer: registers of two leaves of
/// cpuid, and what xgetbv tells of the registers that are kept. 0 where there
/// is no such leaf, or no xgetbv.
struct CpuAnswers {
    unsigned int leaf1c;
    unsigned int leaf7b;
    unsigned int leaf7c;
    unsigned long long keptRegisters;
};

/// The features by these answers. Only where a build has paths of x86-64.
unsigned int CpuFeaturesOf(const CpuAnswers& answers);

/// Whether all of `features` are there. Any thread may ask; the processor is
/// asked the first time.
bool CpuHas(unsigned int features);

/// A path's `features` are what it needs. Gives the first of `paths` that this
/// processor can take; the last one needs nothing. `best`, null at first,
/// remembers it. Any thread may ask.
template <typename Path>
const Path& BestPath(std::span<const Path> paths,
                     std::atomic<const Path*>& best) {
    // Threads that look at once find the same.
    const Path* path = best.load(std::memory_order_relaxed);
    if (path == nullptr) {
        path = paths.data();
        while (!CpuHas(path->features)) {
            ++path;
        }
        best.store(path, std::memory_order_relaxed);
    }
    return *path;
}

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_CPUFEATURES_H_
