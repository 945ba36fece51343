// Byte order, beside the compiler's own reversal, inlined and in a function of
// its own, and beside htonl, which as well is called across a library.

#include "Bases/Endian.h"

#include <arpa/inet.h>
#include <benchmark/benchmark.h>

#include <cstdint>

#include "benchmarks/Bench.h"

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

// Whether a peer has the library's answer for some values, and times it then.
template <typename Convert, typename Own>
void RunPeer(benchmark::State& state, Convert convert, Own own) {
    bool same = true;
    for (unsigned int shift = 0; shift != 64; ++shift) {
        const unsigned long long value = 0x0123456789ABCDEFU >> shift;
        same = same && convert(value) == own(value);
    }
    if (bench::Agrees(state, same)) {
        Run(state, convert);
    }
}

void NovuToBigEndian(benchmark::State& state) {
    Run(state, &Novu::Endian::tobe64);
}

void NovuSwap(benchmark::State& state) { Run(state, &Novu::Endian::Swap64); }

// For a case of the library's.
template <unsigned long long (*own)(unsigned long long)>
void BuiltinCalled(benchmark::State& state) {
    RunPeer(state, &CalledReversal, own);
}

template <unsigned long long (*own)(unsigned long long)>
void BuiltinInline(benchmark::State& state) {
    RunPeer(
        state, [](std::uint64_t value) { return __builtin_bswap64(value); },
        own);
}

void NovuToBigEndian32(benchmark::State& state) {
    Run(state, &Novu::Endian::tobe32);
}

// The function, not the macro of that name.
void Htonl(benchmark::State& state) {
    std::uint32_t (*volatile const called)(std::uint32_t) = &(htonl);
    const auto convert = [call = called](std::uint64_t value) -> std::uint64_t {
        return call(static_cast<std::uint32_t>(value));
    };
    RunPeer(state, convert, &Novu::Endian::tobe32);
}

BENCHMARK(NovuToBigEndian)->Name("ToBigEndian/Novu");
BENCHMARK(BuiltinCalled<Novu::Endian::tobe64>)
    ->Name("ToBigEndian/bswap_called");
BENCHMARK(BuiltinInline<Novu::Endian::tobe64>)
    ->Name("ToBigEndian/bswap_inline");
BENCHMARK(NovuToBigEndian32)->Name("ToBigEndian32/Novu");
BENCHMARK(Htonl)->Name("ToBigEndian32/htonl");
BENCHMARK(NovuSwap)->Name("Swap/Novu");
BENCHMARK(BuiltinCalled<Novu::Endian::Swap64>)->Name("Swap/bswap_called");
BENCHMARK(BuiltinInline<Novu::Endian::Swap64>)->Name("Swap/bswap_inline");

}  // namespace
