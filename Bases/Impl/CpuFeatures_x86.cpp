// CpuFeatures on x86-64, by cpuid and xgetbv.
//
// The compilers' own __builtin_cpu_supports is a part of their runtime that not
// every macOS toolchain brings.

#include <cpuid.h>
#include <immintrin.h>

#include <atomic>

#include "Bases/Impl/CpuFeatures.h"

namespace Novu {

namespace {

// The registers that the system keeps when it changes threads: a bit for each
// kind. Only where cpuid tells of OSXSAVE.
[[gnu::target("xsave")]] unsigned long long KeptRegisters() {
    return static_cast<unsigned long long>(_xgetbv(0));
}

bool HasBits(unsigned long long value, unsigned long long bits) {
    return (value & bits) == bits;
}

constexpr unsigned int Bit(unsigned int number) { return 1U << number; }

constexpr unsigned int kOsxsave = Bit(27);  // Of leaf 1, ecx.

unsigned int FindFeatures() {
    CpuAnswers answers{};
    unsigned int a = 0;
    unsigned int b = 0;
    unsigned int c = 0;
    unsigned int d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d) != 0) {
        answers.leaf1c = c;
    }
    if (HasBits(answers.leaf1c, kOsxsave)) {
        answers.keptRegisters = KeptRegisters();
    }
    if (__get_cpuid_count(7, 0, &a, &b, &c, &d) != 0) {
        answers.leaf7b = b;
        answers.leaf7c = c;
    }
    return CpuFeaturesOf(answers);
}

}  // namespace

unsigned int CpuFeaturesOf(const CpuAnswers& answers) {
    const unsigned int popcnt = Bit(23);
    const unsigned int aes = Bit(25);
    const unsigned int avx = Bit(28);
    const unsigned int avx2 = Bit(5);
    const unsigned int avx512 = Bit(16) | Bit(17) | Bit(30) | Bit(31);
    const unsigned int vbmi = Bit(1);
    const unsigned int gfni = Bit(8);
    const unsigned int vpopcntdq = Bit(14);
    const unsigned long long ymm = 0x6;
    // macOS gives a thread these when it first uses them, and xgetbv tells of
    // them no sooner: there, the paths of AVX-512 are not taken.
    const unsigned long long zmm = 0xE6;

    unsigned int found = 0;
    found |= HasBits(answers.leaf1c, popcnt) ? kCpuPopcnt : 0U;
    found |= HasBits(answers.leaf1c, aes) ? kCpuAesNi : 0U;
    if (!HasBits(answers.leaf1c, kOsxsave | avx) ||
        !HasBits(answers.keptRegisters, ymm)) {
        return found;
    }
    found |= HasBits(answers.leaf7b, avx2) ? kCpuAvx2 : 0U;
    found |= HasBits(answers.leaf7c, gfni) ? kCpuGfni : 0U;
    if (HasBits(answers.keptRegisters, zmm) &&
        HasBits(answers.leaf7b, avx512)) {
        found |= kCpuAvx512;
        found |= HasBits(answers.leaf7c, vbmi) ? kCpuAvx512Vbmi : 0U;
        found |= HasBits(answers.leaf7c, vpopcntdq) ? kCpuAvx512Popcnt : 0U;
    }
    return found;
}

bool CpuHas(unsigned int features) {
    // Threads that ask at once find the same.
    const unsigned int unknown = ~0U;
    static constinit std::atomic<unsigned int> known = unknown;
    unsigned int found = known.load(std::memory_order_relaxed);
    if (found == unknown) {
        found = FindFeatures();
        known.store(found, std::memory_order_relaxed);
    }
    return HasBits(found, features);
}

}  // namespace Novu
