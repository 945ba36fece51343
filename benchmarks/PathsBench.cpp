// The paths for particular processors, each beside the same peer, whichever of
// them a service would choose. A case is named after the service and the path.
// What the plain path gives is what the others and the peers have to give.

#define OPENSSL_SUPPRESS_DEPRECATED  // What is below EVP.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/md5.h>
#include <openssl/seed.h>

#include <algorithm>
#include <array>
#include <boost/dynamic_bitset.hpp>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <string>
#include <vector>

#include "Bases/Impl/Base64Blocks.h"
#include "Bases/Impl/BitsBlocks.h"
#include "Bases/Impl/CpuFeatures.h"
#include "Bases/Impl/Md5Blocks.h"
#include "Bases/Impl/SeedBlocks.h"
#include "benchmarks/Bench.h"

namespace {

using Bitset = boost::dynamic_bitset<std::uint64_t>;

const std::size_t kBytes = 1 << 16;
const std::size_t kBits = 1000000;

const unsigned char* Unsigned(const std::string& bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

// SEED

using RoundKeys = std::array<std::uint32_t, 32>;

RoundKeys Scheduled(const Novu::SeedPath& path) {
    RoundKeys made;
    path.schedule(made.data(), Unsigned(bench::RandomBytes(16)));
    return made;
}

std::vector<unsigned char> Enciphered(const Novu::SeedPath& path) {
    const std::string in = bench::RandomBytes(kBytes);
    std::vector<unsigned char> out(kBytes);
    path.transform(Novu::SeedDirection::kEncrypt, Unsigned(in), out.data(),
                   kBytes / 16, Scheduled(path).data());
    return out;
}

// OpenSSL is given and gives the bytes of each word in reverse.
template <typename Bytes>
Bytes WordsReversed(Bytes bytes) {
    for (auto word = bytes.begin(); word != bytes.end(); word += 4) {
        std::reverse(word, word + 4);
    }
    return bytes;
}

SEED_KEY_SCHEDULE OpenSslKeys() {
    SEED_KEY_SCHEDULE schedule;
    ::SEED_set_key(Unsigned(WordsReversed(bench::RandomBytes(16))), &schedule);
    return schedule;
}

void NovuSeed(benchmark::State& state, const Novu::SeedPath& path) {
    if (!bench::Agrees(
            state, Enciphered(path) == Enciphered(Novu::SeedPaths().back()))) {
        return;
    }
    const std::string in = bench::RandomBytes(kBytes);
    std::vector<unsigned char> out(kBytes);
    const RoundKeys roundKeys = Scheduled(path);
    for (auto _ : state) {
        path.transform(Novu::SeedDirection::kEncrypt, Unsigned(in), out.data(),
                       kBytes / 16, roundKeys.data());
        benchmark::ClobberMemory();
    }
}

void OpenSslSeed(benchmark::State& state) {
    const std::string in = WordsReversed(bench::RandomBytes(kBytes));
    std::vector<unsigned char> out(kBytes);
    const SEED_KEY_SCHEDULE schedule = OpenSslKeys();
    const auto encipher = [&] {
        for (std::size_t at = 0; at != kBytes; at += 16) {
            ::SEED_encrypt(Unsigned(in) + at, &out[at], &schedule);
        }
    };
    encipher();
    if (!bench::Agrees(state, WordsReversed(out) ==
                                  Enciphered(Novu::SeedPaths().back()))) {
        return;
    }
    for (auto _ : state) {
        encipher();
        benchmark::ClobberMemory();
    }
}

void NovuSchedule(benchmark::State& state, const Novu::SeedPath& path) {
    if (!bench::Agrees(
            state, Scheduled(path) == Scheduled(Novu::SeedPaths().back()))) {
        return;
    }
    const std::string key = bench::RandomBytes(16);
    std::uint32_t roundKeys[32];
    for (auto _ : state) {
        path.schedule(roundKeys, Unsigned(key));
        benchmark::ClobberMemory();
    }
}

void OpenSslSchedule(benchmark::State& state) {
    const std::string key = WordsReversed(bench::RandomBytes(16));
    SEED_KEY_SCHEDULE schedule = OpenSslKeys();
    const RoundKeys expected = Scheduled(Novu::SeedPaths().back());
    if (!bench::Agrees(state, std::equal(expected.begin(), expected.end(),
                                         std::begin(schedule.data)))) {
        return;
    }
    for (auto _ : state) {
        ::SEED_set_key(Unsigned(key), &schedule);
        benchmark::ClobberMemory();
    }
}

// MD5

struct Md5State {
    std::uint32_t words[4] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};

    bool operator==(const Md5State&) const = default;
};

Md5State Digested(const Novu::Md5Path& path) {
    Md5State made;
    path.transform(made.words, bench::RandomBytes(kBytes).data(), kBytes / 64);
    return made;
}

void NovuMd5(benchmark::State& state, const Novu::Md5Path& path) {
    if (!bench::Agrees(state,
                       Digested(path) == Digested(Novu::Md5Paths().back()))) {
        return;
    }
    const std::string data = bench::RandomBytes(kBytes);
    Md5State made;
    for (auto _ : state) {
        path.transform(made.words, data.data(), kBytes / 64);
        benchmark::DoNotOptimize(made);
    }
}

void OpenSslMd5(benchmark::State& state) {
    const std::string data = bench::RandomBytes(kBytes);
    MD5_CTX context;
    ::MD5_Init(&context);
    ::MD5_Update(&context, data.data(), kBytes);
    const Md5State digested = {{context.A, context.B, context.C, context.D}};
    if (!bench::Agrees(state, digested == Digested(Novu::Md5Paths().back()))) {
        return;
    }
    for (auto _ : state) {
        ::MD5_Update(&context, data.data(), kBytes);
        benchmark::DoNotOptimize(context);
    }
}

// Base64

std::string Text() {
    std::string text(kBytes / 3 * 4, '\0');
    Novu::Base64EncodePlain(Novu::kBase64Standard,
                            bench::RandomBytes(kBytes).data(), kBytes,
                            text.data());
    return text;
}

void NovuEncode(benchmark::State& state, const Novu::Base64Path& path) {
    const std::string data = bench::RandomBytes(kBytes);
    const std::string expected = Text();
    std::string text(expected.size(), '\0');
    // It may leave some groups to the next path.
    const std::size_t done =
        path.encode(Novu::kBase64Standard, data.data(), kBytes, text.data());
    if (!bench::Agrees(
            state, done > kBytes - 64 && text.compare(0, done / 3 * 4, expected,
                                                      0, done / 3 * 4) == 0)) {
        return;
    }
    for (auto _ : state) {
        path.encode(Novu::kBase64Standard, data.data(), kBytes, text.data());
        benchmark::ClobberMemory();
    }
}

void OpenSslEncode(benchmark::State& state) {
    const std::string data = bench::RandomBytes(kBytes);
    const std::string expected = Text();
    std::vector<unsigned char> text(2 * kBytes);
    ::EVP_EncodeBlock(text.data(), Unsigned(data), static_cast<int>(kBytes));
    if (!bench::Agrees(state, std::equal(Unsigned(expected),
                                         Unsigned(expected) + expected.size(),
                                         text.begin()))) {
        return;
    }
    for (auto _ : state) {
        ::EVP_EncodeBlock(text.data(), Unsigned(data),
                          static_cast<int>(kBytes));
        benchmark::ClobberMemory();
    }
}

void NovuDecode(benchmark::State& state, const Novu::Base64Path& path) {
    const std::string text = Text();
    const std::string expected = bench::RandomBytes(kBytes);
    std::string out(text.size(), '\0');
    const std::size_t done = path.decode(Novu::kBase64StandardValues,
                                         text.data(), text.size(), out.data());
    if (!bench::Agrees(state, done > text.size() - 64 &&
                                  out.compare(0, done / 4 * 3, expected, 0,
                                              done / 4 * 3) == 0)) {
        return;
    }
    for (auto _ : state) {
        path.decode(Novu::kBase64StandardValues, text.data(), text.size(),
                    out.data());
        benchmark::ClobberMemory();
    }
}

void OpenSslDecode(benchmark::State& state) {
    const std::string text = Text();
    const std::string expected = bench::RandomBytes(kBytes / 3 * 3);
    std::vector<unsigned char> out(text.size());
    ::EVP_DecodeBlock(out.data(), Unsigned(text),
                      static_cast<int>(text.size()));
    if (!bench::Agrees(state, std::equal(Unsigned(expected),
                                         Unsigned(expected) + expected.size(),
                                         out.begin()))) {
        return;
    }
    for (auto _ : state) {
        ::EVP_DecodeBlock(out.data(), Unsigned(text),
                          static_cast<int>(text.size()));
        benchmark::ClobberMemory();
    }
}

// Sets of bits

Bitset RandomBits() {
    const std::string bytes = bench::RandomBytes(kBits / 8);
    Bitset bits(kBits);
    for (std::size_t at = 0; at != kBits; ++at) {
        bits[at] = (bytes[at / 8] >> at % 8 & 1) != 0;
    }
    return bits;
}

std::size_t PlainCount() {
    const std::string bytes = bench::RandomBytes(kBits / 8);
    return Novu::BitsCountPlain(Unsigned(bytes), bytes.size());
}

std::string Digits() {
    const std::string bytes = bench::RandomBytes(kBits / 8);
    std::string digits(kBits, '\0');
    Novu::BitsWritePlain(Unsigned(bytes), bytes.size(), digits.data() + kBits);
    return digits;
}

void NovuCount(benchmark::State& state, const Novu::BitsPath& path) {
    const std::string bytes = bench::RandomBytes(kBits / 8);
    if (!bench::Agrees(
            state, path.count(Unsigned(bytes), bytes.size()) == PlainCount())) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(path.count(Unsigned(bytes), bytes.size()));
    }
}

void BoostCount(benchmark::State& state) {
    const Bitset bits = RandomBits();
    if (!bench::Agrees(state, bits.count() == PlainCount())) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(bits.count());
    }
}

void NovuWrite(benchmark::State& state, const Novu::BitsPath& path) {
    const std::string bytes = bench::RandomBytes(kBits / 8);
    std::string digits(kBits, '\0');
    path.write(Unsigned(bytes), bytes.size(), digits.data() + kBits);
    if (!bench::Agrees(state, digits == Digits())) {
        return;
    }
    for (auto _ : state) {
        path.write(Unsigned(bytes), bytes.size(), digits.data() + kBits);
        benchmark::ClobberMemory();
    }
}

void BoostWrite(benchmark::State& state) {
    const Bitset bits = RandomBits();
    std::string digits;
    to_string(bits, digits);
    if (!bench::Agrees(state, digits == Digits())) {
        return;
    }
    for (auto _ : state) {
        to_string(bits, digits);
        benchmark::ClobberMemory();
    }
}

void NovuRead(benchmark::State& state, const Novu::BitsPath& path) {
    const std::string digits = Digits();
    const std::string expected = bench::RandomBytes(kBits / 8);
    std::vector<unsigned char> bytes(kBits / 8);
    const auto read = [&] {
        const std::size_t count = path.digits(digits.data(), digits.size());
        path.read(bytes.data(), count / 8, digits.data() + kBits);
    };
    read();
    if (!bench::Agrees(state, std::equal(bytes.begin(), bytes.end(),
                                         Unsigned(expected)))) {
        return;
    }
    for (auto _ : state) {
        read();
        benchmark::ClobberMemory();
    }
}

void BoostRead(benchmark::State& state) {
    const std::string digits = Digits();
    if (!bench::Agrees(state, Bitset(digits) == RandomBits())) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(Bitset(digits));
    }
}

// Registers `own` for each path that this processor can take, as
// SERVICE:PATH/Novu, and `other` beside each.
template <typename Path>
void Register(const std::string& service, std::span<const Path> paths,
              void (*own)(benchmark::State&, const Path&),
              const std::string& peer, void (*other)(benchmark::State&)) {
    for (const Path& path : paths) {
        if (Novu::CpuHas(path.features)) {
            const std::string name = service + ':' + path.name + '/';
            benchmark::RegisterBenchmark((name + "Novu").c_str(), own, path);
            benchmark::RegisterBenchmark((name + peer).c_str(), other);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    Register("Seed", Novu::SeedPaths(), NovuSeed, "OpenSSL", OpenSslSeed);
    Register("SeedSchedule", Novu::SeedPaths(), NovuSchedule, "OpenSSL",
             OpenSslSchedule);
    Register("Md5", Novu::Md5Paths(), NovuMd5, "OpenSSL", OpenSslMd5);
    Register("Base64Encode", Novu::Base64Paths(), NovuEncode, "OpenSSL",
             OpenSslEncode);
    Register("Base64Decode", Novu::Base64Paths(), NovuDecode, "OpenSSL",
             OpenSslDecode);
    Register("BitsCount", Novu::BitsPaths(), NovuCount, "Boost", BoostCount);
    Register("BitsToText", Novu::BitsPaths(), NovuWrite, "Boost", BoostWrite);
    Register("BitsFromText", Novu::BitsPaths(), NovuRead, "Boost", BoostRead);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
