// MD5, beside OpenSSL and libgcrypt.

#include "Bases/CryptoHashMd5.h"

#include <benchmark/benchmark.h>
#include <gcrypt.h>
#include <openssl/evp.h>

#include <cstddef>
#include <memory>
#include <string>

namespace {

std::string Message(benchmark::State& state) {
    return std::string(static_cast<std::size_t>(state.range(0)), 'x');
}

void CountBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void NovuMd5(benchmark::State& state) {
    const std::string message = Message(state);
    Novu::CryptoHashMd5 md5;
    for (auto _ : state) {
        Novu::CryptoHashMd5::MD5Digest_struct digest;
        md5.MD5Sum(message.data(), message.size(), &digest);
        benchmark::DoNotOptimize(digest);
    }
    CountBytes(state);
}

void OpenSslMd5(benchmark::State& state) {
    const std::string message = Message(state);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(
        EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    if (EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) != 1) {
        state.SkipWithError("OpenSSL refuses MD5");
        return;
    }
    for (auto _ : state) {
        unsigned char digest[16];
        EVP_DigestInit_ex(context.get(), nullptr, nullptr);
        EVP_DigestUpdate(context.get(), message.data(), message.size());
        EVP_DigestFinal_ex(context.get(), digest, nullptr);
        benchmark::DoNotOptimize(digest);
    }
    CountBytes(state);
}

void GcryptMd5(benchmark::State& state) {
    const std::string message = Message(state);
    gcry_check_version(nullptr);
    for (auto _ : state) {
        unsigned char digest[16];
        gcry_md_hash_buffer(GCRY_MD_MD5, digest, message.data(),
                            message.size());
        benchmark::DoNotOptimize(digest);
    }
    CountBytes(state);
}

BENCHMARK(NovuMd5)->Arg(64)->Arg(1 << 10)->Arg(1 << 20);
BENCHMARK(OpenSslMd5)->Arg(64)->Arg(1 << 10)->Arg(1 << 20);
BENCHMARK(GcryptMd5)->Arg(64)->Arg(1 << 10)->Arg(1 << 20);

}  // namespace
