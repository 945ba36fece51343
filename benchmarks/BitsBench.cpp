// Bit sets, beside Boost.DynamicBitset. The argument is the number of bits.

#include "Bases/Bits.h"

#include <benchmark/benchmark.h>

#include <boost/dynamic_bitset.hpp>
#include <cstddef>
#include <random>
#include <string>

namespace {

using Dynamic = boost::dynamic_bitset<>;

std::string Text(benchmark::State& state, unsigned int seed) {
    std::mt19937 random(seed);
    std::string text(static_cast<std::size_t>(state.range(0)), '0');
    for (char& digit : text) {
        digit = static_cast<char>('0' + (random() & 1));
    }
    return text;
}

Novu::Bits MakeBits(benchmark::State& state, unsigned int seed) {
    Novu::Bits bits;
    bits.FromString(Text(state, seed));
    return bits;
}

Dynamic MakeDynamic(benchmark::State& state, unsigned int seed) {
    return Dynamic(Text(state, seed));
}

void NovuSetAndTest(benchmark::State& state) {
    Novu::Bits bits = MakeBits(state, 1);
    unsigned long pos = 0;
    for (auto _ : state) {
        pos = (pos * 5 + 1) % 4096;
        bits.Set(pos);
        benchmark::DoNotOptimize(bits.Test(pos ^ 1));
    }
}

void BoostSetAndTest(benchmark::State& state) {
    Dynamic bits = MakeDynamic(state, 1);
    unsigned long pos = 0;
    for (auto _ : state) {
        pos = (pos * 5 + 1) % 4096;
        bits.set(pos);
        benchmark::DoNotOptimize(bits.test(pos ^ 1));
        benchmark::ClobberMemory();
    }
}

void NovuCount(benchmark::State& state) {
    Novu::Bits bits = MakeBits(state, 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(bits.GetSetCount());
        benchmark::ClobberMemory();
    }
}

void BoostCount(benchmark::State& state) {
    const Dynamic bits = MakeDynamic(state, 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(bits.count());
        benchmark::ClobberMemory();
    }
}

void NovuXor(benchmark::State& state) {
    Novu::Bits bits = MakeBits(state, 1);
    const Novu::Bits other = MakeBits(state, 2);
    for (auto _ : state) {
        bits ^= other;
        benchmark::ClobberMemory();
    }
}

void BoostXor(benchmark::State& state) {
    Dynamic bits = MakeDynamic(state, 1);
    const Dynamic other = MakeDynamic(state, 2);
    for (auto _ : state) {
        bits ^= other;
        benchmark::ClobberMemory();
    }
}

void NovuInvert(benchmark::State& state) {
    Novu::Bits bits = MakeBits(state, 1);
    for (auto _ : state) {
        ~bits;
        benchmark::ClobberMemory();
    }
}

void BoostInvert(benchmark::State& state) {
    Dynamic bits = MakeDynamic(state, 1);
    for (auto _ : state) {
        bits.flip();
        benchmark::ClobberMemory();
    }
}

// Of a set that has none, so that all of it is looked at.
void NovuAny(benchmark::State& state) {
    const Novu::Bits bits(static_cast<unsigned long>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(bits.Any());
        benchmark::ClobberMemory();
    }
}

void BoostAny(benchmark::State& state) {
    const Dynamic bits(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(bits.any());
        benchmark::ClobberMemory();
    }
}

void NovuEqual(benchmark::State& state) {
    const Novu::Bits bits = MakeBits(state, 1);
    const Novu::Bits other = bits;
    for (auto _ : state) {
        benchmark::DoNotOptimize(bits == other);
        benchmark::ClobberMemory();
    }
}

void BoostEqual(benchmark::State& state) {
    const Dynamic bits = MakeDynamic(state, 1);
    const Dynamic other = bits;
    for (auto _ : state) {
        benchmark::DoNotOptimize(bits == other);
        benchmark::ClobberMemory();
    }
}

void NovuToText(benchmark::State& state) {
    const Novu::Bits bits = MakeBits(state, 1);
    std::string text;
    for (auto _ : state) {
        bits.ToString(text);
        benchmark::DoNotOptimize(text.data());
    }
}

void BoostToText(benchmark::State& state) {
    const Dynamic bits = MakeDynamic(state, 1);
    std::string text;
    for (auto _ : state) {
        boost::to_string(bits, text);
        benchmark::DoNotOptimize(text.data());
    }
}

void NovuFromText(benchmark::State& state) {
    const std::string text = Text(state, 1);
    for (auto _ : state) {
        Novu::Bits bits;
        bits.FromString(text);
        benchmark::DoNotOptimize(bits.GetData());
    }
}

void BoostFromText(benchmark::State& state) {
    const std::string text = Text(state, 1);
    for (auto _ : state) {
        Dynamic bits(text);
        benchmark::DoNotOptimize(bits);
    }
}

const long kSmall = 4096;
const long kLarge = 1000000;

BENCHMARK(NovuSetAndTest)->Arg(kSmall);
BENCHMARK(BoostSetAndTest)->Arg(kSmall);
BENCHMARK(NovuCount)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BoostCount)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(NovuXor)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BoostXor)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(NovuInvert)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BoostInvert)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(NovuAny)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BoostAny)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(NovuEqual)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BoostEqual)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(NovuToText)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BoostToText)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(NovuFromText)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BoostFromText)->Arg(kSmall)->Arg(kLarge);

}  // namespace
