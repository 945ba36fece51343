// Sizes as text, beside snprintf with a comma put into a std::string.

#include "Bases/Size.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>

#include "benchmarks/Bench.h"

namespace {

// Modulo 2 to the power 64.
long long Next(long long value) {
    return static_cast<long long>(static_cast<unsigned long long>(value) * 31 +
                                  1234567);
}

double Next(double value) { return value < 1e9 ? value * 1.01 : 1.5; }

void NovuInteger(benchmark::State& state) {
    char out[64];
    long long value = 0;
    for (auto _ : state) {
        value = Next(value);
        Novu::GetSizeFormat(out, sizeof out, value);
        benchmark::DoNotOptimize(out);
    }
}

void NovuFraction(benchmark::State& state) {
    char out[64];
    double value = 1.5;
    for (auto _ : state) {
        value = Next(value);
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

void Peer(char* out, std::size_t outSize, long long value) {
    Peer(out, outSize, "%lld", value, '.', 3);
}

void Peer(char* out, std::size_t outSize, double value) {
    Peer(out, outSize, "%f", value, '.', 2);
}

// Whether the peer gives the library's text for the first values.
template <typename Value, typename Own>
bool Agrees(benchmark::State& state, Value value, Own own) {
    char out[64];
    char expected[64];
    bool same = true;
    for (int count = 0; count != 1000; ++count) {
        value = Next(value);
        Peer(out, sizeof out, value);
        own(expected, sizeof expected, value);
        same = same && std::strcmp(out, expected) == 0;
    }
    return bench::Agrees(state, same);
}

void SnprintfInteger(benchmark::State& state) {
    char out[64];
    long long value = 0;
    if (!Agrees(state, value, [](char* to, std::size_t size, long long number) {
            Novu::GetSizeFormat(to, size, number);
        })) {
        return;
    }
    for (auto _ : state) {
        value = Next(value);
        Peer(out, sizeof out, value);
        benchmark::DoNotOptimize(out);
    }
}

void SnprintfFraction(benchmark::State& state) {
    char out[64];
    double value = 1.5;
    if (!Agrees(state, value, [](char* to, std::size_t size, double number) {
            Novu::GetSizeFormat(to, size, number, /*precision=*/6);
        })) {
        return;
    }
    for (auto _ : state) {
        value = Next(value);
        Peer(out, sizeof out, value);
        benchmark::DoNotOptimize(out);
    }
}

BENCHMARK(NovuInteger)->Name("Integer/Novu");
BENCHMARK(SnprintfInteger)->Name("Integer/snprintf");
BENCHMARK(NovuFraction)->Name("Fraction/Novu");
BENCHMARK(SnprintfFraction)->Name("Fraction/snprintf");

}  // namespace
