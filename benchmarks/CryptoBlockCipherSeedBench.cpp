// The cipher SEED, beside OpenSSL and libgcrypt. All of them work without
// chaining (ECB) and into memory of their caller's, but for this library, which
// gives out a new buffer at each call.

#include "Bases/CryptoBlockCipherSeed.h"

#include <benchmark/benchmark.h>
#include <gcrypt.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

const Bytes kKey = {0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07,
                    0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F};

enum class Direction { kEncrypt, kDecrypt };

Bytes Message(benchmark::State& state) {
    return Bytes(static_cast<std::size_t>(state.range(0)), 'x');
}

void CountBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

template <Direction direction>
void NovuSeed(benchmark::State& state) {
    Bytes message = Message(state);
    Novu::CryptoBlockCipherSeed seed;
    seed.Create();
    seed.SetUserSecretKey(kKey.data());
    for (auto _ : state) {
        unsigned long consumed = 0;
        unsigned long length = 0;
        unsigned char* output = nullptr;
        if (direction == Direction::kEncrypt) {
            seed.Encrypt(message.data(), message.size(), consumed, output,
                         length);
        } else {
            seed.Decrypt(message.data(), message.size(), consumed, output,
                         length);
        }
        benchmark::DoNotOptimize(output);
        delete[] output;
    }
    CountBytes(state);
}

// SEED is one of the ciphers that OpenSSL has set apart as legacy.
bool LoadLegacy() {
    static OSSL_PROVIDER* const provider =
        OSSL_PROVIDER_load(nullptr, "legacy");
    return provider != nullptr;
}

template <Direction direction>
void OpenSslSeed(benchmark::State& state) {
    if (!LoadLegacy()) {
        state.SkipWithError("OpenSSL has no legacy provider");
        return;
    }
    const Bytes message = Message(state);
    Bytes output(message.size() + 16);
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>
        context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    int length = 0;
    if (EVP_CipherInit_ex(context.get(), EVP_seed_ecb(), nullptr, kKey.data(),
                          nullptr,
                          direction == Direction::kEncrypt ? 1 : 0) != 1 ||
        EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1 ||
        EVP_CipherUpdate(context.get(), output.data(), &length, message.data(),
                         static_cast<int>(message.size())) != 1 ||
        length != static_cast<int>(message.size())) {
        state.SkipWithError("OpenSSL refuses SEED");
        return;
    }
    for (auto _ : state) {
        EVP_CipherUpdate(context.get(), output.data(), &length, message.data(),
                         static_cast<int>(message.size()));
        benchmark::DoNotOptimize(output.data());
        benchmark::ClobberMemory();
    }
    CountBytes(state);
}

template <Direction direction>
void GcryptSeed(benchmark::State& state) {
    const Bytes message = Message(state);
    Bytes output(message.size());
    gcry_check_version(nullptr);
    gcry_cipher_hd_t handle = nullptr;
    if (gcry_cipher_open(&handle, GCRY_CIPHER_SEED, GCRY_CIPHER_MODE_ECB, 0) !=
        0) {
        state.SkipWithError("libgcrypt has no SEED");
        return;
    }
    if (gcry_cipher_setkey(handle, kKey.data(), kKey.size()) != 0 ||
        gcry_cipher_encrypt(handle, output.data(), output.size(),
                            message.data(), message.size()) != 0) {
        state.SkipWithError("libgcrypt refuses SEED");
    }
    for (auto _ : state) {
        if (direction == Direction::kEncrypt) {
            gcry_cipher_encrypt(handle, output.data(), output.size(),
                                message.data(), message.size());
        } else {
            gcry_cipher_decrypt(handle, output.data(), output.size(),
                                message.data(), message.size());
        }
        benchmark::DoNotOptimize(output.data());
        benchmark::ClobberMemory();
    }
    gcry_cipher_close(handle);
    CountBytes(state);
}

// The key schedule

void NovuSeedKey(benchmark::State& state) {
    Novu::CryptoBlockCipherSeed seed;
    seed.Create();
    for (auto _ : state) {
        benchmark::DoNotOptimize(seed.SetUserSecretKey(kKey.data()));
        benchmark::ClobberMemory();
    }
}

void OpenSslSeedKey(benchmark::State& state) {
    if (!LoadLegacy()) {
        state.SkipWithError("OpenSSL has no legacy provider");
        return;
    }
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>
        context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    if (EVP_CipherInit_ex(context.get(), EVP_seed_ecb(), nullptr, kKey.data(),
                          nullptr, 1) != 1) {
        state.SkipWithError("OpenSSL refuses SEED");
        return;
    }
    for (auto _ : state) {
        EVP_CipherInit_ex(context.get(), nullptr, nullptr, kKey.data(), nullptr,
                          1);
        benchmark::ClobberMemory();
    }
}

void GcryptSeedKey(benchmark::State& state) {
    gcry_check_version(nullptr);
    gcry_cipher_hd_t handle = nullptr;
    if (gcry_cipher_open(&handle, GCRY_CIPHER_SEED, GCRY_CIPHER_MODE_ECB, 0) !=
        0) {
        state.SkipWithError("libgcrypt has no SEED");
        return;
    }
    for (auto _ : state) {
        gcry_cipher_setkey(handle, kKey.data(), kKey.size());
        benchmark::ClobberMemory();
    }
    gcry_cipher_close(handle);
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(16)->Arg(1 << 10)->Arg(1 << 20)->Arg(1 << 24);
}

BENCHMARK(NovuSeed<Direction::kEncrypt>)->Apply(Sizes);
BENCHMARK(OpenSslSeed<Direction::kEncrypt>)->Apply(Sizes);
BENCHMARK(GcryptSeed<Direction::kEncrypt>)->Apply(Sizes);
BENCHMARK(NovuSeed<Direction::kDecrypt>)->Apply(Sizes);
BENCHMARK(OpenSslSeed<Direction::kDecrypt>)->Apply(Sizes);
BENCHMARK(GcryptSeed<Direction::kDecrypt>)->Apply(Sizes);
BENCHMARK(NovuSeedKey);
BENCHMARK(OpenSslSeedKey);
BENCHMARK(GcryptSeedKey);

}  // namespace
