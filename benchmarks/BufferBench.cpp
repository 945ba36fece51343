// Byte buffers, beside std::vector. Growing by each append is compared with
// what the library promises for it, a new block of the exact size and a copy;
// std::vector, which grows by doubling, shows what that costs.

#include "Bases/Buffer.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/Bench.h"

namespace {

const std::size_t kPiece = 16;

// Three with one interface, as far as the cases need it: a block of bytes, the
// used part of a capacity.

class NovuBuffer {
public:
    void Reserve(std::size_t size) { buffer.SetMaxSize(size, /*keep=*/1); }
    void Append(const unsigned char* piece) {
        buffer.AddBuffer(const_cast<unsigned char*>(piece), kPiece, /*grow=*/1);
    }
    void Refill(const std::vector<unsigned char>& bytes) {
        buffer.Clear();
        buffer.AddBuffer(const_cast<unsigned char*>(bytes.data()), bytes.size(),
                         /*grow=*/1);
    }
    void Consume(std::size_t size) { buffer.Shift(size); }
    unsigned char* Data() { return buffer.GetBuffer(); }
    std::size_t Size() { return buffer.GetSize(); }

private:
    Novu::SerialBuffer buffer;
};

class Vector {
public:
    void Reserve(std::size_t size) { bytes.reserve(size); }
    void Append(const unsigned char* piece) {
        bytes.insert(bytes.end(), piece, piece + kPiece);
    }
    void Refill(const std::vector<unsigned char>& other) { bytes = other; }
    void Consume(std::size_t size) {
        bytes.erase(bytes.begin(),
                    bytes.begin() + static_cast<std::ptrdiff_t>(size));
    }
    unsigned char* Data() { return bytes.data(); }
    std::size_t Size() { return bytes.size(); }

private:
    std::vector<unsigned char> bytes;
};

// A vector that is filled at each append from the one before it.
class ExactVector {
public:
    void Append(const unsigned char* piece) {
        std::vector<unsigned char> larger;
        larger.reserve(bytes.size() + kPiece);
        larger.insert(larger.end(), bytes.begin(), bytes.end());
        larger.insert(larger.end(), piece, piece + kPiece);
        bytes = std::move(larger);
    }
    unsigned char* Data() { return bytes.data(); }
    std::size_t Size() { return bytes.size(); }

private:
    std::vector<unsigned char> bytes;
};

template <typename Buffer>
std::vector<unsigned char> Contents(Buffer& buffer) {
    return {buffer.Data(), buffer.Data() + buffer.Size()};
}

template <typename Buffer>
void AppendAll(Buffer& buffer, const std::string& bytes) {
    for (std::size_t at = 0; at < bytes.size(); at += kPiece) {
        buffer.Append(reinterpret_cast<const unsigned char*>(&bytes[at]));
        benchmark::DoNotOptimize(buffer);
    }
}

template <typename Buffer>
bool HoldsWhatIsAppended(const std::string& bytes) {
    Buffer buffer;
    AppendAll(buffer, bytes);
    return Contents(buffer) ==
           std::vector<unsigned char>(bytes.begin(), bytes.end());
}

template <typename Buffer>
void AppendReserved(benchmark::State& state) {
    const std::string bytes = bench::RandomBytes(bench::Size(state));
    static bench::Agreement agreement;
    if (!agreement.Holds(state, 0, [] {
            return HoldsWhatIsAppended<Buffer>(bench::RandomBytes(1024));
        })) {
        return;
    }
    for (auto _ : state) {
        Buffer buffer;
        buffer.Reserve(bytes.size());
        AppendAll(buffer, bytes);
    }
    bench::CountBytes(state);
}

template <typename Buffer>
void AppendGrowing(benchmark::State& state) {
    const std::string bytes = bench::RandomBytes(bench::Size(state));
    static bench::Agreement agreement;
    if (!agreement.Holds(state, 0, [] {
            return HoldsWhatIsAppended<Buffer>(bench::RandomBytes(1024));
        })) {
        return;
    }
    for (auto _ : state) {
        Buffer buffer;
        AppendAll(buffer, bytes);
    }
    bench::CountBytes(state);
}

// A buffer that is filled at once and consumed in 16 parts.
template <typename Buffer>
void ConsumeAll(Buffer& buffer, const std::vector<unsigned char>& bytes) {
    buffer.Refill(bytes);
    while (buffer.Size() != 0) {
        buffer.Consume(bytes.size() / 16);
        benchmark::DoNotOptimize(buffer);
    }
}

template <typename Buffer>
void Consume(benchmark::State& state) {
    const std::string random = bench::RandomBytes(bench::Size(state));
    const std::vector<unsigned char> bytes(random.begin(), random.end());
    static bench::Agreement agreement;
    if (!agreement.Holds(state, state.range(0), [&] {
            Buffer buffer;
            buffer.Refill(bytes);
            buffer.Consume(5);
            return Contents(buffer) ==
                   std::vector<unsigned char>(bytes.begin() + 5, bytes.end());
        })) {
        return;
    }
    Buffer buffer;
    for (auto _ : state) {
        ConsumeAll(buffer, bytes);
    }
    bench::CountBytes(state);
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(1 << 14)->Arg(1 << 17)->Arg(1 << 20);
}

void SmallSizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(1 << 10)->Arg(1 << 13)->Arg(1 << 16);
}

BENCHMARK(AppendReserved<NovuBuffer>)
    ->Name("AppendReserved/Novu")
    ->Apply(Sizes);
BENCHMARK(AppendReserved<Vector>)->Name("AppendReserved/vector")->Apply(Sizes);
BENCHMARK(AppendGrowing<NovuBuffer>)
    ->Name("AppendGrowing/Novu")
    ->Apply(SmallSizes);
BENCHMARK(AppendGrowing<ExactVector>)
    ->Name("AppendGrowing/new and copy")
    ->Apply(SmallSizes);
BENCHMARK(AppendGrowing<Vector>)
    ->Name("AppendGrowing/vector")
    ->Apply(SmallSizes);
BENCHMARK(Consume<NovuBuffer>)->Name("Consume/Novu")->Apply(Sizes);
BENCHMARK(Consume<Vector>)->Name("Consume/vector")->Apply(Sizes);

}  // namespace
