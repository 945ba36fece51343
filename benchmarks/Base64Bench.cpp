// Base64, beside OpenSSL's EVP.

#include "Bases/Base64.h"

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace {

std::string Data(benchmark::State& state) {
    std::mt19937 random(1);
    std::string data(static_cast<std::size_t>(state.range(0)), '\0');
    for (char& byte : data) {
        byte = static_cast<char>(random());
    }
    return data;
}

std::string Text(benchmark::State& state) {
    const std::string data = Data(state);
    std::string text;
    Novu::Base64().Encode(data.data(), data.size(), text);
    return text;
}

// In bytes that are not encoded.
void CountBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void NovuEncode(benchmark::State& state) {
    const std::string data = Data(state);
    Novu::Base64 base64;
    std::string text;
    for (auto _ : state) {
        base64.Encode(data.data(), data.size(), text);
        benchmark::DoNotOptimize(text.data());
        benchmark::ClobberMemory();
    }
    CountBytes(state);
}

void OpenSslEncode(benchmark::State& state) {
    const std::string data = Data(state);
    std::vector<unsigned char> text(data.size() * 2 + 8);
    const auto* const bytes =
        reinterpret_cast<const unsigned char*>(data.data());
    for (auto _ : state) {
        EVP_EncodeBlock(text.data(), bytes, static_cast<int>(data.size()));
        benchmark::ClobberMemory();
    }
    CountBytes(state);
}

void NovuDecode(benchmark::State& state) {
    const std::string text = Text(state);
    std::vector<char> data(text.size() + 1);
    Novu::Base64 base64;
    for (auto _ : state) {
        benchmark::DoNotOptimize(base64.Decode(text.c_str(), data.data()));
        benchmark::ClobberMemory();
    }
    CountBytes(state);
}

void OpenSslDecode(benchmark::State& state) {
    const std::string text = Text(state);
    std::vector<unsigned char> data(text.size());
    const auto* const characters =
        reinterpret_cast<const unsigned char*>(text.data());
    for (auto _ : state) {
        benchmark::DoNotOptimize(EVP_DecodeBlock(
            data.data(), characters, static_cast<int>(text.size())));
        benchmark::ClobberMemory();
    }
    CountBytes(state);
}

BENCHMARK(NovuEncode)->Arg(32)->Arg(1 << 10)->Arg(1 << 20);
BENCHMARK(OpenSslEncode)->Arg(32)->Arg(1 << 10)->Arg(1 << 20);
BENCHMARK(NovuDecode)->Arg(32)->Arg(1 << 10)->Arg(1 << 20);
BENCHMARK(OpenSslDecode)->Arg(32)->Arg(1 << 10)->Arg(1 << 20);

}  // namespace
