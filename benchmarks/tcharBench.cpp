// Integers to text, beside std::to_chars, fmt and snprintf. Cases without an
// argument convert numbers of 2 to 19 decimal digits, as many of each length,
// in random order; the argument of the others is how many digits all have.

#include "Bases/tchar.h"

#include <benchmark/benchmark.h>
#include <fmt/compile.h>
#include <fmt/format.h>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#include "benchmarks/Bench.h"

namespace {

const std::size_t kRoom = 80;

// With so many decimal digits each, or of every length from 2 to 19 for 0.
std::vector<long long> Numbers(int digits) {
    std::mt19937_64 random(1);
    std::vector<long long> made(4096);
    for (long long& number : made) {
        const auto length = digits != 0
                                ? static_cast<unsigned int>(digits)
                                : static_cast<unsigned int>(2 + random() % 18);
        long long least = 1;
        for (unsigned int count = 1; count != length; ++count) {
            least *= 10;
        }
        std::uniform_int_distribution<long long> numbers(least, least * 9);
        number = numbers(random);
    }
    return made;
}

template <typename Convert>
void Run(benchmark::State& state, const std::vector<long long>& numbers,
         Convert convert) {
    char text[kRoom];
    for (auto _ : state) {
        for (const long long number : numbers) {
            convert(number, text);
            benchmark::DoNotOptimize(text);
        }
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(numbers.size()));
}

template <int radix>
void Novu(long long number, char* text) {
    _i64toa(number, text, radix);
}

template <int radix>
void ToChars(long long number, char* text) {
    *std::to_chars(text, text + kRoom - 1, number, radix).ptr = '\0';
}

template <int radix>
void FmtFormatTo(long long number, char* text) {
    if constexpr (radix == 10) {
        *fmt::format_to(text, FMT_COMPILE("{}"), number) = '\0';
    } else if constexpr (radix == 16) {
        *fmt::format_to(text, FMT_COMPILE("{:x}"), number) = '\0';
    } else {
        *fmt::format_to(text, FMT_COMPILE("{:b}"), number) = '\0';
    }
}

void FmtFormatInt(long long number, char* text) {
    const fmt::format_int made(number);
    std::memcpy(text, made.c_str(), made.size() + 1);
}

template <int radix>
void Snprintf(long long number, char* text) {
    std::snprintf(text, kRoom, radix == 10 ? "%lld" : "%llx", number);
}

// Whether the texts are those of the library; they are timed then.
template <int radix, void (*convert)(long long, char*)>
void Check(benchmark::State& state, const std::vector<long long>& numbers) {
    bool same = true;
    for (const long long number : numbers) {
        char text[kRoom];
        char expected[kRoom];
        convert(number, text);
        Novu<radix>(number, expected);
        same = same && std::strcmp(text, expected) == 0;
    }
    if (bench::Agrees(state, same)) {
        Run(state, numbers, convert);
    }
}

template <int radix, void (*convert)(long long, char*)>
void Case(benchmark::State& state) {
    Check<radix, convert>(state, Numbers(0));
}

template <int radix, void (*convert)(long long, char*)>
void OfOneLength(benchmark::State& state) {
    Check<radix, convert>(state, Numbers(static_cast<int>(state.range(0))));
}

void Lengths(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(2)->Arg(8)->Arg(19);
}

BENCHMARK(Case<10, Novu<10>>)->Name("Radix10/Novu");
BENCHMARK(Case<10, ToChars<10>>)->Name("Radix10/to_chars");
BENCHMARK(Case<10, FmtFormatTo<10>>)->Name("Radix10/fmt_format_to");
BENCHMARK(Case<10, FmtFormatInt>)->Name("Radix10/fmt_format_int");
BENCHMARK(Case<10, Snprintf<10>>)->Name("Radix10/snprintf");

BENCHMARK(Case<16, Novu<16>>)->Name("Radix16/Novu");
BENCHMARK(Case<16, ToChars<16>>)->Name("Radix16/to_chars");
BENCHMARK(Case<16, FmtFormatTo<16>>)->Name("Radix16/fmt_format_to");
BENCHMARK(Case<16, Snprintf<16>>)->Name("Radix16/snprintf");

BENCHMARK(Case<2, Novu<2>>)->Name("Radix2/Novu");
BENCHMARK(Case<2, ToChars<2>>)->Name("Radix2/to_chars");
BENCHMARK(Case<2, FmtFormatTo<2>>)->Name("Radix2/fmt_format_to");

BENCHMARK(OfOneLength<10, Novu<10>>)
    ->Name("Radix10Digits/Novu")
    ->Apply(Lengths);
BENCHMARK(OfOneLength<10, ToChars<10>>)
    ->Name("Radix10Digits/to_chars")
    ->Apply(Lengths);
BENCHMARK(OfOneLength<10, FmtFormatTo<10>>)
    ->Name("Radix10Digits/fmt_format_to")
    ->Apply(Lengths);
BENCHMARK(OfOneLength<10, FmtFormatInt>)
    ->Name("Radix10Digits/fmt_format_int")
    ->Apply(Lengths);

BENCHMARK(OfOneLength<16, Novu<16>>)
    ->Name("Radix16Digits/Novu")
    ->Apply(Lengths);
BENCHMARK(OfOneLength<16, ToChars<16>>)
    ->Name("Radix16Digits/to_chars")
    ->Apply(Lengths);

BENCHMARK(OfOneLength<2, Novu<2>>)->Name("Radix2Digits/Novu")->Apply(Lengths);
BENCHMARK(OfOneLength<2, ToChars<2>>)
    ->Name("Radix2Digits/to_chars")
    ->Apply(Lengths);

}  // namespace
