// MD5, beside OpenSSL, libgcrypt, Botan and Crypto++. OpenSSL's functions below
// EVP are taken, since what EVP costs at each call is no part of the digest.

#define CRYPTOPP_ENABLE_NAMESPACE_WEAK 1
#define OPENSSL_SUPPRESS_DEPRECATED  // What is below EVP.

#include "Bases/CryptoHashMd5.h"

#include <benchmark/benchmark.h>
#include <botan/hash.h>
#include <botan/hex.h>
#include <crypto++/md5.h>
#include <gcrypt.h>
#include <openssl/md5.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "benchmarks/Bench.h"

namespace {

using Digest = std::array<unsigned char, 16>;

// For peers that have no digits of their own, or in upper case only.
std::string Hex(const Digest& digest) {
    const char* const digits = "0123456789abcdef";
    std::string text(2 * digest.size(), '\0');
    char* out = text.data();
    for (const unsigned int byte : digest) {
        *out++ = digits[byte >> 4U];
        *out++ = digits[byte & 15U];
    }
    return text;
}

class NovuMd5 {
public:
    void Sum(const std::string& message, Digest& digest) {
        Novu::CryptoHashMd5::MD5Digest_struct made;
        md5.MD5Sum(message.data(), message.size(), &made);
        std::copy_n(made.bytes, digest.size(), digest.begin());
    }
    std::string Text(const std::string& message) {
        return md5.MD5String(message);
    }

private:
    Novu::CryptoHashMd5 md5;
};

class OpenSslMd5 {
public:
    void Sum(const std::string& message, Digest& digest) {
        MD5_CTX context;
        ::MD5_Init(&context);
        ::MD5_Update(&context, message.data(), message.size());
        ::MD5_Final(digest.data(), &context);
    }
    std::string Text(const std::string& message) {
        Digest digest;
        Sum(message, digest);
        return Hex(digest);
    }
};

class GcryptMd5 {
public:
    GcryptMd5() { ::gcry_check_version(nullptr); }

    void Sum(const std::string& message, Digest& digest) {
        ::gcry_md_hash_buffer(GCRY_MD_MD5, digest.data(), message.data(),
                              message.size());
    }
    std::string Text(const std::string& message) {
        Digest digest;
        Sum(message, digest);
        return Hex(digest);
    }
};

class BotanMd5 {
public:
    void Sum(const std::string& message, Digest& digest) {
        md5->update(message);
        md5->final(digest.data());
    }
    std::string Text(const std::string& message) {
        Digest digest;
        Sum(message, digest);
        return Botan::hex_encode(digest.data(), digest.size(),
                                 /*uppercase=*/false);
    }

private:
    std::unique_ptr<Botan::HashFunction> md5 =
        Botan::HashFunction::create_or_throw("MD5");
};

class CryptoPpMd5 {
public:
    void Sum(const std::string& message, Digest& digest) {
        md5.CalculateDigest(
            digest.data(),
            reinterpret_cast<const unsigned char*>(message.data()),
            message.size());
    }
    std::string Text(const std::string& message) {
        Digest digest;
        Sum(message, digest);
        return Hex(digest);
    }

private:
    CryptoPP::Weak::MD5 md5;
};

template <typename Peer>
void Sum(benchmark::State& state) {
    const std::string message = bench::RandomBytes(bench::Size(state));
    Peer peer;
    static bench::Agreement agreement;
    if (!agreement.Holds(state, state.range(0), [&] {
            Digest own;
            Digest given;
            NovuMd5().Sum(message, own);
            peer.Sum(message, given);
            return own == given;
        })) {
        return;
    }
    for (auto _ : state) {
        Digest digest;
        peer.Sum(message, digest);
        benchmark::DoNotOptimize(digest);
    }
    bench::CountBytes(state);
}

template <typename Peer>
void Text(benchmark::State& state) {
    const std::string message = bench::RandomBytes(bench::Size(state));
    Peer peer;
    static bench::Agreement agreement;
    if (!agreement.Holds(state, state.range(0), [&] {
            return NovuMd5().Text(message) == peer.Text(message);
        })) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(peer.Text(message));
    }
    bench::CountBytes(state);
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    for (const int size : {0, 64, 1 << 10, 1 << 16, 1 << 20}) {
        benchmark->Arg(size);
    }
}

BENCHMARK(Sum<NovuMd5>)->Name("Digest/Novu")->Apply(Sizes);
BENCHMARK(Sum<OpenSslMd5>)->Name("Digest/OpenSSL")->Apply(Sizes);
BENCHMARK(Sum<GcryptMd5>)->Name("Digest/libgcrypt")->Apply(Sizes);
BENCHMARK(Sum<BotanMd5>)->Name("Digest/Botan")->Apply(Sizes);
BENCHMARK(Sum<CryptoPpMd5>)->Name("Digest/Crypto++")->Apply(Sizes);
BENCHMARK(Text<NovuMd5>)->Name("HexText/Novu")->Arg(43);
BENCHMARK(Text<OpenSslMd5>)->Name("HexText/OpenSSL")->Arg(43);
BENCHMARK(Text<GcryptMd5>)->Name("HexText/libgcrypt")->Arg(43);
BENCHMARK(Text<BotanMd5>)->Name("HexText/Botan")->Arg(43);
BENCHMARK(Text<CryptoPpMd5>)->Name("HexText/Crypto++")->Arg(43);

}  // namespace
