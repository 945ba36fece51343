// Byte order, beside the compiler's own reversal in a function of its own.

#include "Bases/Endian.h"

#include <benchmark/benchmark.h>

#include <cstdint>

namespace {

[[gnu::noinline]] std::uint64_t CalledReversal(std::uint64_t value) {
    return __builtin_bswap64(value);
}

template <typename Convert>
void Run(benchmark::State& state, Convert convert) {
    unsigned long long value = 0x0123456789ABCDEF;
    for (auto _ : state) {
        value = convert(value) + 1;
        benchmark::DoNotOptimize(value);
    }
}

void NovuToBigEndian(benchmark::State& state) {
    Run(state, &Novu::Endian::tobe64);
}

void NovuSwap(benchmark::State& state) { Run(state, &Novu::Endian::Swap64); }

void BuiltinCalled(benchmark::State& state) { Run(state, &CalledReversal); }

void BuiltinInline(benchmark::State& state) {
    Run(state, [](std::uint64_t value) { return __builtin_bswap64(value); });
}

BENCHMARK(NovuToBigEndian);
BENCHMARK(NovuSwap);
BENCHMARK(BuiltinCalled);
BENCHMARK(BuiltinInline);

}  // namespace
