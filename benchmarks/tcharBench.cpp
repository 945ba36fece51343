// Integers to text, beside std::to_chars and snprintf.

#include "Bases/tchar.h"

#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdio>
#include <random>
#include <vector>

namespace {

// Numbers of every length from 1 bit to 63.
const std::vector<long long>& Numbers() {
    static const std::vector<long long> numbers = [] {
        std::mt19937_64 random(1);
        std::vector<long long> made(1024);
        for (std::size_t index = 0; index < made.size(); ++index) {
            made[index] = static_cast<long long>(random() >> (1 + index % 63));
        }
        return made;
    }();
    return numbers;
}

template <typename Convert>
void Run(benchmark::State& state, Convert convert) {
    const int radix = static_cast<int>(state.range(0));
    char text[80];
    for (auto _ : state) {
        for (const long long number : Numbers()) {
            convert(number, text, radix);
            benchmark::DoNotOptimize(text);
        }
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<int64_t>(Numbers().size()));
}

void NovuItoa(benchmark::State& state) { Run(state, &_i64toa); }

void StdToChars(benchmark::State& state) {
    Run(state, [](long long number, char* text, int radix) {
        *std::to_chars(text, text + 79, number, radix).ptr = '\0';
    });
}

void Snprintf(benchmark::State& state) {
    Run(state, [](long long number, char* text, int radix) {
        std::snprintf(text, 80, radix == 10 ? "%lld" : "%llx", number);
    });
}

BENCHMARK(NovuItoa)->Arg(10)->Arg(16)->Arg(2);
BENCHMARK(StdToChars)->Arg(10)->Arg(16)->Arg(2);
BENCHMARK(Snprintf)->Arg(10)->Arg(16);

}  // namespace
