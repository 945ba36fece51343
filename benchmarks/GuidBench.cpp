// Identifiers, beside Boost.Uuid. Generating is compared with what the library
// promises at each call: a Mersenne Twister seeded by one read.

#include "Bases/Guid.h"

#include <benchmark/benchmark.h>

#include <boost/random/mersenne_twister.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <cstdint>
#include <string>

namespace {

const std::string kText = "00112233-4455-6677-8899-aabbccddeeff";

Novu::Guid Known() {
    Novu::Guid guid;
    guid.FromString(kText);
    return guid;
}

boost::uuids::uuid BoostKnown() {
    return boost::uuids::string_generator()(kText);
}

void NovuGenerate(benchmark::State& state) {
    Novu::Guid guid;
    for (auto _ : state) {
        benchmark::DoNotOptimize(guid.Generate());
    }
}

// Seeded word by word, as Boost does by itself.
void BoostGenerateTwister(benchmark::State& state) {
    for (auto _ : state) {
        boost::uuids::random_generator_mt19937 generator;
        benchmark::DoNotOptimize(generator());
    }
}

// No twister at all: the system's source, a few bytes at a call.
void BoostGeneratePure(benchmark::State& state) {
    for (auto _ : state) {
        boost::uuids::random_generator_pure generator;
        benchmark::DoNotOptimize(generator());
    }
}

void NovuToText(benchmark::State& state) {
    const Novu::Guid guid = Known();
    for (auto _ : state) {
        benchmark::DoNotOptimize(guid.ToString(1));
    }
}

void BoostToText(benchmark::State& state) {
    const boost::uuids::uuid value = BoostKnown();
    for (auto _ : state) {
        benchmark::DoNotOptimize(boost::uuids::to_string(value));
    }
}

void NovuFromText(benchmark::State& state) {
    Novu::Guid guid;
    for (auto _ : state) {
        benchmark::DoNotOptimize(guid.FromString(kText));
    }
}

void BoostFromText(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(BoostKnown());
    }
}

BENCHMARK(NovuGenerate);
BENCHMARK(BoostGenerateTwister);
BENCHMARK(BoostGeneratePure);
BENCHMARK(NovuToText);
BENCHMARK(BoostToText);
BENCHMARK(NovuFromText);
BENCHMARK(BoostFromText);

}  // namespace
