// Identifiers, beside Boost.Uuid and libuuid. Generating is compared with what
// the library promises at each call: a Mersenne Twister seeded by one read.

#include "Bases/Guid.h"

#include <benchmark/benchmark.h>
#include <uuid/uuid.h>

#include <boost/random/mersenne_twister.hpp>
#include <boost/uuid/detail/random_provider.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <cstddef>
#include <cstdint>
#include <string>

#include "benchmarks/Bench.h"

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

// Generating

void NovuGenerate(benchmark::State& state) {
    Novu::Guid guid;
    for (auto _ : state) {
        benchmark::DoNotOptimize(guid.Generate());
    }
}

struct OneRead {
    void generate(std::uint32_t* first, const std::uint32_t* last) {
        boost::uuids::detail::random_provider().get_random_bytes(
            first, static_cast<std::size_t>(last - first) * sizeof *first);
    }
};

void BoostGenerateOneRead(benchmark::State& state) {
    for (auto _ : state) {
        OneRead seed;
        boost::mt19937 engine(seed);
        boost::uuids::basic_random_generator<boost::mt19937> generator(engine);
        benchmark::DoNotOptimize(generator());
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

// To text

void NovuToString(benchmark::State& state) {
    Novu::Guid guid = Known();
    for (auto _ : state) {
        benchmark::DoNotOptimize(guid);
        benchmark::DoNotOptimize(guid.ToString(1));
    }
}

void BoostToString(benchmark::State& state) {
    boost::uuids::uuid value = BoostKnown();
    if (!bench::Agrees(state,
                       boost::uuids::to_string(value) == Known().ToString(1))) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        benchmark::DoNotOptimize(boost::uuids::to_string(value));
    }
}

void NovuToChars(benchmark::State& state) {
    Novu::Guid guid = Known();
    char text[37];
    for (auto _ : state) {
        benchmark::DoNotOptimize(guid);
        guid.ToString(text, 1);
        benchmark::DoNotOptimize(text);
    }
}

void LibuuidToChars(benchmark::State& state) {
    uuid_t value;
    uuid_parse(kText.c_str(), value);
    char text[37];
    uuid_unparse_lower(value, text);
    if (!bench::Agrees(state, text == Known().ToString(1))) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        uuid_unparse_lower(value, text);
        benchmark::DoNotOptimize(text);
    }
}

// From text

void NovuFromText(benchmark::State& state) {
    Novu::Guid guid;
    for (auto _ : state) {
        benchmark::DoNotOptimize(guid.FromString(kText));
        benchmark::DoNotOptimize(guid);
    }
}

void BoostFromText(benchmark::State& state) {
    if (!bench::Agrees(state, boost::uuids::to_string(BoostKnown()) ==
                                  Known().ToString(1))) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(BoostKnown());
    }
}

void LibuuidFromText(benchmark::State& state) {
    uuid_t value;
    char text[37];
    uuid_parse(kText.c_str(), value);
    uuid_unparse_lower(value, text);
    if (!bench::Agrees(state, text == Known().ToString(1))) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(uuid_parse(kText.c_str(), value));
        benchmark::DoNotOptimize(value);
    }
}

// Order

void NovuCompare(benchmark::State& state) {
    Novu::Guid left = Known();
    Novu::Guid right = Known();
    for (auto _ : state) {
        benchmark::DoNotOptimize(left);
        benchmark::DoNotOptimize(right);
        benchmark::DoNotOptimize(left < right);
    }
}

void BoostCompare(benchmark::State& state) {
    boost::uuids::uuid left = BoostKnown();
    boost::uuids::uuid right = BoostKnown();
    if (!bench::Agrees(state, (left < right) == (Known() < Known()))) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(left);
        benchmark::DoNotOptimize(right);
        benchmark::DoNotOptimize(left < right);
    }
}

BENCHMARK(NovuGenerate)->Name("Generate/Novu");
BENCHMARK(BoostGenerateOneRead)->Name("Generate/boost_mt19937_one_read");
BENCHMARK(BoostGenerateTwister)->Name("Generate/boost_mt19937");
BENCHMARK(BoostGeneratePure)->Name("Generate/boost_pure");
BENCHMARK(NovuToString)->Name("ToString/Novu");
BENCHMARK(BoostToString)->Name("ToString/boost");
BENCHMARK(NovuToChars)->Name("ToChars/Novu");
BENCHMARK(LibuuidToChars)->Name("ToChars/libuuid");
BENCHMARK(NovuFromText)->Name("FromText/Novu");
BENCHMARK(BoostFromText)->Name("FromText/boost");
BENCHMARK(LibuuidFromText)->Name("FromText/libuuid");
BENCHMARK(NovuCompare)->Name("Compare/Novu");
BENCHMARK(BoostCompare)->Name("Compare/boost");

}  // namespace
