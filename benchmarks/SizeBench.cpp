// Sizes as text, beside snprintf with a comma put into a std::string.

#include "Bases/Size.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

void NovuInteger(benchmark::State& state) {
    char out[64];
    long long value = 0;
    for (auto _ : state) {
        value = value * 31 + 1234567;
        Novu::GetSizeFormat(out, sizeof out, value);
        benchmark::DoNotOptimize(out);
    }
}

void NovuFraction(benchmark::State& state) {
    char out[64];
    double value = 1.5;
    for (auto _ : state) {
        value = value < 1e9 ? value * 1.01 : 1.5;
        Novu::GetSizeFormat(out, sizeof out, value, /*precision=*/6);
        benchmark::DoNotOptimize(out);
    }
}

// Prints and inserts the comma `digits` characters before the first `point`, or
// before the end.
template <typename Value>
void Peer(char* out, std::size_t outSize, const char* format, Value value,
          char point, std::size_t digits) {
    char work[255];
    std::snprintf(work, sizeof work, format, value);
    std::string text = work;
    std::size_t end = text.find(point);
    end = end == std::string::npos ? text.size() : end;
    if (end >= digits) {
        text.insert(end - digits, 1, ',');
    }
    std::strncpy(out, text.c_str(), outSize - 1);
    out[outSize - 1] = '\0';
}

void SnprintfInteger(benchmark::State& state) {
    char out[64];
    long long value = 0;
    for (auto _ : state) {
        value = value * 31 + 1234567;
        Peer(out, sizeof out, "%lld", value, '.', 3);
        benchmark::DoNotOptimize(out);
    }
}

void SnprintfFraction(benchmark::State& state) {
    char out[64];
    double value = 1.5;
    for (auto _ : state) {
        value = value < 1e9 ? value * 1.01 : 1.5;
        Peer(out, sizeof out, "%f", value, '.', 2);
        benchmark::DoNotOptimize(out);
    }
}

BENCHMARK(NovuInteger)->Name("Integer/Novu");
BENCHMARK(SnprintfInteger)->Name("Integer/snprintf");
BENCHMARK(NovuFraction)->Name("Fraction/Novu");
BENCHMARK(SnprintfFraction)->Name("Fraction/snprintf");

}  // namespace
