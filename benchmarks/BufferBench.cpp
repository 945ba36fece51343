// Byte buffers, beside std::string. Growing by each append alone is compared
// with what the library promises for it: a new block of the exact size.

#include "Bases/Buffer.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

namespace {

const std::size_t kPiece = 16;

// As large as the case asks for, in pieces of 16 bytes.
std::size_t Total(benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0));
}

void CountBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void NovuAppendReserved(benchmark::State& state) {
    unsigned char piece[kPiece] = {};
    const std::size_t total = Total(state);
    for (auto _ : state) {
        Novu::SerialBuffer buffer(total);
        for (std::size_t at = 0; at < total; at += kPiece) {
            buffer.AddBuffer(piece, kPiece, /*grow=*/0);
        }
        benchmark::DoNotOptimize(buffer.GetBuffer());
    }
    CountBytes(state);
}

void StringAppendReserved(benchmark::State& state) {
    const char piece[kPiece] = {};
    const std::size_t total = Total(state);
    for (auto _ : state) {
        std::string buffer;
        buffer.reserve(total);
        for (std::size_t at = 0; at < total; at += kPiece) {
            buffer.append(piece, kPiece);
            benchmark::DoNotOptimize(buffer.data());
        }
    }
    CountBytes(state);
}

void NovuAppendGrowing(benchmark::State& state) {
    unsigned char piece[kPiece] = {};
    const std::size_t total = Total(state);
    for (auto _ : state) {
        Novu::SerialBuffer buffer;
        for (std::size_t at = 0; at < total; at += kPiece) {
            buffer.AddBuffer(piece, kPiece, /*grow=*/1);
        }
        benchmark::DoNotOptimize(buffer.GetBuffer());
    }
    CountBytes(state);
}

void ExactNewAndCopy(benchmark::State& state) {
    const unsigned char piece[kPiece] = {};
    const std::size_t total = Total(state);
    for (auto _ : state) {
        std::unique_ptr<unsigned char[]> buffer;
        for (std::size_t at = 0; at < total; at += kPiece) {
            std::unique_ptr<unsigned char[]> larger(
                new unsigned char[at + kPiece]);
            if (at != 0) {
                std::memcpy(larger.get(), buffer.get(), at);
            }
            std::memcpy(larger.get() + at, piece, kPiece);
            buffer = std::move(larger);
        }
        benchmark::DoNotOptimize(buffer.get());
    }
    CountBytes(state);
}

void NovuConsume(benchmark::State& state) {
    const std::size_t total = Total(state);
    Novu::SerialBuffer buffer(total);
    for (auto _ : state) {
        buffer.SetSize(total);
        while (buffer.GetSize() != 0) {
            buffer.Shift(total / 16);
        }
        benchmark::DoNotOptimize(buffer.GetBuffer());
    }
    CountBytes(state);
}

void StringConsume(benchmark::State& state) {
    const std::size_t total = Total(state);
    std::string buffer;
    for (auto _ : state) {
        buffer.resize(total);
        while (!buffer.empty()) {
            buffer.erase(0, total / 16);
        }
        benchmark::DoNotOptimize(buffer.data());
    }
    CountBytes(state);
}

BENCHMARK(NovuAppendReserved)->Arg(1 << 14)->Arg(1 << 20);
BENCHMARK(StringAppendReserved)->Arg(1 << 14)->Arg(1 << 20);
BENCHMARK(NovuAppendGrowing)->Arg(1 << 14);
BENCHMARK(ExactNewAndCopy)->Arg(1 << 14);
BENCHMARK(NovuConsume)->Arg(1 << 14)->Arg(1 << 20);
BENCHMARK(StringConsume)->Arg(1 << 14)->Arg(1 << 20);

}  // namespace
