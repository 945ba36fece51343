// The paths for particular processors, each beside the same peer, whichever of
// them a service would choose. A case is named after the service and the path.

#define OPENSSL_SUPPRESS_DEPRECATED  // What is below EVP.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/md5.h>
#include <openssl/seed.h>

#include <boost/dynamic_bitset.hpp>
#include <cstddef>
#include <cstdint>
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

void NovuSeed(benchmark::State& state, const Novu::SeedPath& path) {
    const std::string key = bench::RandomBytes(16);
    const std::string in = bench::RandomBytes(kBytes);
    std::vector<unsigned char> out(kBytes);
    std::uint32_t roundKeys[32];
    path.schedule(roundKeys, Unsigned(key));
    for (auto _ : state) {
        path.transform(Novu::SeedDirection::kEncrypt, Unsigned(in), out.data(),
                       kBytes / 16, roundKeys);
        benchmark::ClobberMemory();
    }
}

void OpenSslSeed(benchmark::State& state) {
    const std::string key = bench::RandomBytes(16);
    const std::string in = bench::RandomBytes(kBytes);
    std::vector<unsigned char> out(kBytes);
    SEED_KEY_SCHEDULE schedule;
    ::SEED_set_key(Unsigned(key), &schedule);
    for (auto _ : state) {
        for (std::size_t at = 0; at != kBytes; at += 16) {
            ::SEED_encrypt(Unsigned(in) + at, &out[at], &schedule);
        }
        benchmark::ClobberMemory();
    }
}

void NovuSchedule(benchmark::State& state, const Novu::SeedPath& path) {
    const std::string key = bench::RandomBytes(16);
    std::uint32_t roundKeys[32];
    for (auto _ : state) {
        path.schedule(roundKeys, Unsigned(key));
        benchmark::ClobberMemory();
    }
}

void OpenSslSchedule(benchmark::State& state) {
    const std::string key = bench::RandomBytes(16);
    SEED_KEY_SCHEDULE schedule;
    for (auto _ : state) {
        ::SEED_set_key(Unsigned(key), &schedule);
        benchmark::ClobberMemory();
    }
}

// MD5

void NovuMd5(benchmark::State& state, const Novu::Md5Path& path) {
    const std::string data = bench::RandomBytes(kBytes);
    std::uint32_t words[4] = {1, 2, 3, 4};
    for (auto _ : state) {
        path.transform(words, data.data(), kBytes / 64);
        benchmark::DoNotOptimize(words);
    }
}

void OpenSslMd5(benchmark::State& state) {
    const std::string data = bench::RandomBytes(kBytes);
    MD5_CTX context;
    ::MD5_Init(&context);
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
    std::string text = Text();
    for (auto _ : state) {
        path.encode(Novu::kBase64Standard, data.data(), kBytes, text.data());
        benchmark::ClobberMemory();
    }
}

void OpenSslEncode(benchmark::State& state) {
    const std::string data = bench::RandomBytes(kBytes);
    std::vector<unsigned char> text(2 * kBytes);
    for (auto _ : state) {
        ::EVP_EncodeBlock(text.data(), Unsigned(data),
                          static_cast<int>(kBytes));
        benchmark::ClobberMemory();
    }
}

void NovuDecode(benchmark::State& state, const Novu::Base64Path& path) {
    const std::string text = Text();
    std::string out(text.size(), '\0');
    for (auto _ : state) {
        path.decode(Novu::kBase64StandardValues, text.data(), text.size(),
                    out.data());
        benchmark::ClobberMemory();
    }
}

void OpenSslDecode(benchmark::State& state) {
    const std::string text = Text();
    std::vector<unsigned char> out(text.size());
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

std::string Digits() {
    std::string digits;
    to_string(RandomBits(), digits);
    return digits;
}

void NovuCount(benchmark::State& state, const Novu::BitsPath& path) {
    const std::string bytes = bench::RandomBytes(kBits / 8);
    for (auto _ : state) {
        benchmark::DoNotOptimize(path.count(Unsigned(bytes), bytes.size()));
    }
}

void BoostCount(benchmark::State& state) {
    const Bitset bits = RandomBits();
    for (auto _ : state) {
        benchmark::DoNotOptimize(bits.count());
    }
}

void NovuWrite(benchmark::State& state, const Novu::BitsPath& path) {
    const std::string bytes = bench::RandomBytes(kBits / 8);
    std::string digits(kBits, '\0');
    for (auto _ : state) {
        path.write(Unsigned(bytes), bytes.size(), digits.data() + kBits);
        benchmark::ClobberMemory();
    }
}

void BoostWrite(benchmark::State& state) {
    const Bitset bits = RandomBits();
    std::string digits;
    for (auto _ : state) {
        to_string(bits, digits);
        benchmark::ClobberMemory();
    }
}

void NovuRead(benchmark::State& state, const Novu::BitsPath& path) {
    const std::string digits = Digits();
    std::vector<unsigned char> bytes(kBits / 8);
    for (auto _ : state) {
        const std::size_t count = path.digits(digits.data(), digits.size());
        path.read(bytes.data(), count / 8, digits.data() + kBits);
        benchmark::ClobberMemory();
    }
}

void BoostRead(benchmark::State& state) {
    const std::string digits = Digits();
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
