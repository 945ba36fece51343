// Byte order, beside the compiler's own reversal, inlined and in a function of
// its own, and beside htonl, which as well is called across a library.

#include "Bases/Endian.h"

#include <arpa/inet.h>
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

void NovuToBigEndian32(benchmark::State& state) {
    Run(state, &Novu::Endian::tobe32);
}

// The function, not the macro of that name.
void Htonl(benchmark::State& state) {
    std::uint32_t (*volatile const called)(std::uint32_t) = &(htonl);
    Run(state, [call = called](std::uint64_t value) -> std::uint64_t {
        return call(static_cast<std::uint32_t>(value));
    });
}

BENCHMARK(NovuToBigEndian)->Name("ToBigEndian/Novu");
BENCHMARK(BuiltinCalled)->Name("ToBigEndian/bswap_called");
BENCHMARK(BuiltinInline)->Name("ToBigEndian/bswap_inline");
BENCHMARK(NovuToBigEndian32)->Name("ToBigEndian32/Novu");
BENCHMARK(Htonl)->Name("ToBigEndian32/htonl");
BENCHMARK(NovuSwap)->Name("Swap/Novu");
BENCHMARK(BuiltinCalled)->Name("Swap/bswap_called");
BENCHMARK(BuiltinInline)->Name("Swap/bswap_inline");

}  // namespace
