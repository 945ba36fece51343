// Bit sets, beside Boost.DynamicBitset and std::vector<bool>. The argument is
// the number of bits.

#include "Bases/Bits.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/dynamic_bitset.hpp>
#include <cstddef>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/Bench.h"

namespace {

std::string Digits(std::size_t size, unsigned int seed) {
    std::mt19937 random(seed);
    std::string text(size, '0');
    for (char& digit : text) {
        digit = static_cast<char>('0' + (random() & 1));
    }
    return text;
}

// Three with one interface. The text form has the highest position first.

class NovuBits {
public:
    explicit NovuBits(const std::string& text) { bits.FromString(text); }

    void Set(std::size_t pos) { bits.Set(pos); }
    bool Test(std::size_t pos) const { return bits.Test(pos); }
    std::size_t Count() { return bits.GetSetCount(); }
    void And(const NovuBits& other) { bits &= other.bits; }
    void Or(const NovuBits& other) { bits |= other.bits; }
    void Xor(const NovuBits& other) { bits ^= other.bits; }
    void Invert() { ~bits; }
    bool Equals(const NovuBits& other) const { return bits == other.bits; }
    bool Any() const { return bits.Any(); }
    void ToText(std::string& text) const { bits.ToString(text); }

private:
    Novu::Bits bits;
};

class DynamicBitset {
public:
    explicit DynamicBitset(const std::string& text) : bits(text) {}

    void Set(std::size_t pos) { bits.set(pos); }
    bool Test(std::size_t pos) const { return bits.test(pos); }
    std::size_t Count() const { return bits.count(); }
    void And(const DynamicBitset& other) { bits &= other.bits; }
    void Or(const DynamicBitset& other) { bits |= other.bits; }
    void Xor(const DynamicBitset& other) { bits ^= other.bits; }
    void Invert() { bits.flip(); }
    bool Equals(const DynamicBitset& other) const { return bits == other.bits; }
    bool Any() const { return bits.any(); }
    void ToText(std::string& text) const { boost::to_string(bits, text); }

private:
    boost::dynamic_bitset<> bits;
};

class VectorOfBool {
public:
    explicit VectorOfBool(const std::string& text) : bits(text.size()) {
        std::transform(text.rbegin(), text.rend(), bits.begin(),
                       [](char digit) { return digit == '1'; });
    }

    void Set(std::size_t pos) { bits[pos] = true; }
    bool Test(std::size_t pos) const { return bits[pos]; }
    std::size_t Count() const {
        return static_cast<std::size_t>(
            std::count(bits.begin(), bits.end(), true));
    }
    void And(const VectorOfBool& other) { Combine<std::bit_and<>>(other); }
    void Or(const VectorOfBool& other) { Combine<std::bit_or<>>(other); }
    void Xor(const VectorOfBool& other) { Combine<std::bit_xor<>>(other); }
    void Invert() { bits.flip(); }
    bool Equals(const VectorOfBool& other) const { return bits == other.bits; }
    bool Any() const {
        return std::find(bits.begin(), bits.end(), true) != bits.end();
    }
    void ToText(std::string& text) const {
        text.resize(bits.size());
        std::transform(bits.rbegin(), bits.rend(), text.begin(),
                       [](bool bit) { return bit ? '1' : '0'; });
    }

private:
    template <typename Operation>
    void Combine(const VectorOfBool& other) {
        std::transform(bits.begin(), bits.end(), other.bits.begin(),
                       bits.begin(), [](bool one, bool two) {
                           return static_cast<bool>(Operation()(one, two));
                       });
    }

    std::vector<bool> bits;
};

template <typename Set>
std::string TextOf(const Set& set) {
    std::string text;
    set.ToText(text);
    return text;
}

// Whether a kind of set holds what its text says, and combines as the library.
template <typename Set>
bool WorksAlike(std::size_t size) {
    const std::string one = Digits(size, 1);
    const std::string two = Digits(size, 2);
    NovuBits own(one);
    Set peer(one);
    bool alike = own.Count() == peer.Count() && TextOf(peer) == one &&
                 TextOf(own) == one && peer.Any() && peer.Equals(Set(one)) &&
                 !peer.Equals(Set(two)) && peer.Test(0) == own.Test(0);
    const auto compare = [&](auto change) {
        change(own, NovuBits(two));
        change(peer, Set(two));
        alike = alike && TextOf(own) == TextOf(peer);
    };
    compare([](auto& set, const auto& other) { set.Xor(other); });
    compare([](auto& set, const auto& other) { set.Or(other); });
    compare([](auto& set, const auto&) { set.Invert(); });
    compare([](auto& set, const auto& other) { set.And(other); });
    compare([](auto& set, const auto&) { set.Set(std::size_t{5}); });
    return alike;
}

// One for all cases of a kind of set.
template <typename Set>
bool Agrees(benchmark::State& state) {
    static bench::Agreement agreement;
    // A size for all of them, which no case is too slow for.
    return agreement.Holds(state, 0, [] { return WorksAlike<Set>(4099); });
}

// One operation on a set of random bits, with another beside it.
template <typename Set, typename Operation>
void Run(benchmark::State& state, Operation operation) {
    if (!Agrees<Set>(state)) {
        return;
    }
    Set bits(Digits(bench::Size(state), 1));
    const Set other(Digits(bench::Size(state), 2));
    for (auto _ : state) {
        operation(bits, other);
        benchmark::ClobberMemory();
    }
}

// Positions all over the set, less than a division apart.
template <typename Set>
void SetBit(benchmark::State& state) {
    const std::size_t size = bench::Size(state);
    std::size_t pos = 0;
    Run<Set>(state, [&](Set& bits, const Set&) {
        bits.Set(pos);
        pos += 61;
        pos -= pos < size ? 0 : size;
    });
}

template <typename Set>
void TestBit(benchmark::State& state) {
    const std::size_t size = bench::Size(state);
    std::size_t pos = 0;
    Run<Set>(state, [&](const Set& bits, const Set&) {
        benchmark::DoNotOptimize(bits.Test(pos));
        pos += 61;
        pos -= pos < size ? 0 : size;
    });
}

template <typename Set>
void Count(benchmark::State& state) {
    Run<Set>(state, [](Set& bits, const Set&) {
        benchmark::DoNotOptimize(bits.Count());
    });
}

template <typename Set>
void And(benchmark::State& state) {
    Run<Set>(state, [](Set& bits, const Set& other) { bits.And(other); });
}

template <typename Set>
void Or(benchmark::State& state) {
    Run<Set>(state, [](Set& bits, const Set& other) { bits.Or(other); });
}

template <typename Set>
void Xor(benchmark::State& state) {
    Run<Set>(state, [](Set& bits, const Set& other) { bits.Xor(other); });
}

template <typename Set>
void Invert(benchmark::State& state) {
    Run<Set>(state, [](Set& bits, const Set&) { bits.Invert(); });
}

// Of equal sets, so that all of both is looked at.
template <typename Set>
void Compare(benchmark::State& state) {
    const Set equal(Digits(bench::Size(state), 1));
    Run<Set>(state, [&](const Set& bits, const Set&) {
        benchmark::DoNotOptimize(bits.Equals(equal));
    });
}

// Of a set that has none, so that all of it is looked at.
template <typename Set>
void Any(benchmark::State& state) {
    const Set none(std::string(bench::Size(state), '0'));
    Run<Set>(state, [&](const Set&, const Set&) {
        benchmark::DoNotOptimize(none.Any());
    });
}

template <typename Set>
void ToText(benchmark::State& state) {
    std::string text;
    Run<Set>(state, [&](const Set& bits, const Set&) {
        bits.ToText(text);
        benchmark::DoNotOptimize(text.data());
    });
}

template <typename Set>
void FromText(benchmark::State& state) {
    const std::string text = Digits(bench::Size(state), 1);
    Run<Set>(state, [&](const Set&, const Set&) {
        Set bits(text);
        benchmark::DoNotOptimize(bits);
    });
}

void TwoSizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(4096)->Arg(1000000);
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(4096)->Arg(10000)->Arg(100000)->Arg(1000000);
}

BENCHMARK(SetBit<NovuBits>)->Name("Set/Novu")->Apply(TwoSizes);
BENCHMARK(SetBit<DynamicBitset>)->Name("Set/dynamic_bitset")->Apply(TwoSizes);
BENCHMARK(SetBit<VectorOfBool>)->Name("Set/vector of bool")->Apply(TwoSizes);
BENCHMARK(TestBit<NovuBits>)->Name("Test/Novu")->Apply(TwoSizes);
BENCHMARK(TestBit<DynamicBitset>)->Name("Test/dynamic_bitset")->Apply(TwoSizes);
BENCHMARK(TestBit<VectorOfBool>)->Name("Test/vector of bool")->Apply(TwoSizes);
BENCHMARK(Count<NovuBits>)->Name("Count/Novu")->Apply(Sizes);
BENCHMARK(Count<DynamicBitset>)->Name("Count/dynamic_bitset")->Apply(Sizes);
BENCHMARK(Count<VectorOfBool>)->Name("Count/vector of bool")->Apply(Sizes);
BENCHMARK(And<NovuBits>)->Name("And/Novu")->Apply(Sizes);
BENCHMARK(And<DynamicBitset>)->Name("And/dynamic_bitset")->Apply(Sizes);
BENCHMARK(And<VectorOfBool>)->Name("And/vector of bool")->Apply(Sizes);
BENCHMARK(Or<NovuBits>)->Name("Or/Novu")->Apply(Sizes);
BENCHMARK(Or<DynamicBitset>)->Name("Or/dynamic_bitset")->Apply(Sizes);
BENCHMARK(Or<VectorOfBool>)->Name("Or/vector of bool")->Apply(Sizes);
BENCHMARK(Xor<NovuBits>)->Name("Xor/Novu")->Apply(Sizes);
BENCHMARK(Xor<DynamicBitset>)->Name("Xor/dynamic_bitset")->Apply(Sizes);
BENCHMARK(Xor<VectorOfBool>)->Name("Xor/vector of bool")->Apply(Sizes);
BENCHMARK(Invert<NovuBits>)->Name("Invert/Novu")->Apply(Sizes);
BENCHMARK(Invert<DynamicBitset>)->Name("Invert/dynamic_bitset")->Apply(Sizes);
BENCHMARK(Invert<VectorOfBool>)->Name("Invert/vector of bool")->Apply(Sizes);
BENCHMARK(Compare<NovuBits>)->Name("Compare/Novu")->Apply(Sizes);
BENCHMARK(Compare<DynamicBitset>)->Name("Compare/dynamic_bitset")->Apply(Sizes);
BENCHMARK(Compare<VectorOfBool>)->Name("Compare/vector of bool")->Apply(Sizes);
BENCHMARK(Any<NovuBits>)->Name("Any/Novu")->Apply(Sizes);
BENCHMARK(Any<DynamicBitset>)->Name("Any/dynamic_bitset")->Apply(Sizes);
BENCHMARK(Any<VectorOfBool>)->Name("Any/vector of bool")->Apply(Sizes);
BENCHMARK(ToText<NovuBits>)->Name("ToText/Novu")->Apply(Sizes);
BENCHMARK(ToText<DynamicBitset>)->Name("ToText/dynamic_bitset")->Apply(Sizes);
BENCHMARK(ToText<VectorOfBool>)->Name("ToText/vector of bool")->Apply(Sizes);
BENCHMARK(FromText<NovuBits>)->Name("FromText/Novu")->Apply(Sizes);
BENCHMARK(FromText<DynamicBitset>)
    ->Name("FromText/dynamic_bitset")
    ->Apply(Sizes);
BENCHMARK(FromText<VectorOfBool>)
    ->Name("FromText/vector of bool")
    ->Apply(Sizes);

}  // namespace
