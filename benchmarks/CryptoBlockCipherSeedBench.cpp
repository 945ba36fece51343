// The cipher SEED without chaining (ECB), beside OpenSSL, libgcrypt, Botan and
// Crypto++. The peers work into memory of their caller's; the library gives out
// a new buffer at each call. OpenSSL's functions below EVP are taken, since
// what EVP costs at each call is no part of the cipher.

#define OPENSSL_SUPPRESS_DEPRECATED  // What is below EVP.

#include "Bases/CryptoBlockCipherSeed.h"

#include <benchmark/benchmark.h>
#include <botan/block_cipher.h>
#include <crypto++/modes.h>
#include <crypto++/seed.h>
#include <gcrypt.h>
#include <openssl/seed.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "Bases/Seed.h"
#include "benchmarks/Bench.h"

namespace {

using Bytes = std::vector<unsigned char>;

const std::size_t kBlock = 16;

enum class Direction { kEncrypt, kDecrypt };

// The library reads words in the host's byte order, [seed-1]; the peers get
// each word of key and message reversed, and so is each of what they give.
Bytes WithWordsReversed(Bytes bytes) {
    for (auto word = bytes.begin(); word != bytes.end(); word += 4) {
        std::reverse(word, word + 4);
    }
    return bytes;
}

Bytes Random(std::size_t size) {
    const std::string bytes = bench::RandomBytes(size);
    return {bytes.begin(), bytes.end()};
}

const Bytes& OwnKey() {
    static const Bytes key = Random(16);
    return key;
}

const Bytes& PeersKey() {
    static const Bytes key = WithWordsReversed(OwnKey());
    return key;
}

// Each of the following is made for a direction and a size, and transforms
// messages of that size; what it answers lasts until the next one. One that
// could not be made is not ready.

class NovuSeed {
public:
    NovuSeed(Direction wanted, std::size_t /*size*/) : direction(wanted) {
        cipher.Create();
        cipher.SetUserSecretKey(OwnKey().data());
    }
    bool IsReady() const { return true; }

    const unsigned char* Transform(Bytes& message) {
        unsigned long consumed = 0;
        unsigned long length = 0;
        unsigned char* made = nullptr;
        if (direction == Direction::kEncrypt) {
            cipher.Encrypt(message.data(), message.size(), consumed, made,
                           length);
        } else {
            cipher.Decrypt(message.data(), message.size(), consumed, made,
                           length);
        }
        output.reset(made);
        return made;
    }

private:
    Novu::CryptoBlockCipherSeed cipher;
    Direction direction;
    std::unique_ptr<unsigned char[]> output;
};

class OpenSslSeed {
public:
    OpenSslSeed(Direction direction, std::size_t size)
        : encrypts(direction == Direction::kEncrypt ? 1 : 0), output(size) {
        ::SEED_set_key(PeersKey().data(), &schedule);
    }
    bool IsReady() const { return true; }

    const unsigned char* Transform(const Bytes& message) {
        for (std::size_t at = 0; at < message.size(); at += kBlock) {
            ::SEED_ecb_encrypt(&message[at], &output[at], &schedule, encrypts);
        }
        return output.data();
    }

private:
    SEED_KEY_SCHEDULE schedule;
    int encrypts;
    Bytes output;
};

class GcryptSeed {
public:
    GcryptSeed(Direction wanted, std::size_t size)
        : direction(wanted), output(size) {
        ::gcry_check_version(nullptr);
        ready = ::gcry_cipher_open(&handle, GCRY_CIPHER_SEED,
                                   GCRY_CIPHER_MODE_ECB, 0) == 0 &&
                ::gcry_cipher_setkey(handle, PeersKey().data(),
                                     PeersKey().size()) == 0;
    }
    GcryptSeed(const GcryptSeed&) = delete;
    GcryptSeed& operator=(const GcryptSeed&) = delete;
    ~GcryptSeed() { ::gcry_cipher_close(handle); }

    bool IsReady() const { return ready; }

    const unsigned char* Transform(const Bytes& message) {
        if (direction == Direction::kEncrypt) {
            ::gcry_cipher_encrypt(handle, output.data(), output.size(),
                                  message.data(), message.size());
        } else {
            ::gcry_cipher_decrypt(handle, output.data(), output.size(),
                                  message.data(), message.size());
        }
        return output.data();
    }

    void SetKey() {
        ::gcry_cipher_setkey(handle, PeersKey().data(), PeersKey().size());
    }

private:
    gcry_cipher_hd_t handle = nullptr;
    bool ready = false;
    Direction direction;
    Bytes output;
};

class BotanSeed {
public:
    BotanSeed(Direction wanted, std::size_t size)
        : cipher(Botan::BlockCipher::create("SEED")),
          direction(wanted),
          output(size) {
        if (cipher) {
            cipher->set_key(PeersKey());
        }
    }
    bool IsReady() const { return cipher != nullptr; }

    const unsigned char* Transform(const Bytes& message) {
        if (direction == Direction::kEncrypt) {
            cipher->encrypt_n(message.data(), output.data(),
                              message.size() / kBlock);
        } else {
            cipher->decrypt_n(message.data(), output.data(),
                              message.size() / kBlock);
        }
        return output.data();
    }

    void SetKey() { cipher->set_key(PeersKey()); }

private:
    std::unique_ptr<Botan::BlockCipher> cipher;
    Direction direction;
    Bytes output;
};

class CryptoPpSeed {
public:
    CryptoPpSeed(Direction direction, std::size_t size) : output(size) {
        using Mode = CryptoPP::ECB_Mode<CryptoPP::SEED>;
        if (direction == Direction::kEncrypt) {
            cipher = std::make_unique<Mode::Encryption>();
        } else {
            cipher = std::make_unique<Mode::Decryption>();
        }
        cipher->SetKey(PeersKey().data(), PeersKey().size());
    }
    bool IsReady() const { return true; }

    const unsigned char* Transform(const Bytes& message) {
        cipher->ProcessData(output.data(), message.data(), message.size());
        return output.data();
    }

private:
    std::unique_ptr<CryptoPP::SymmetricCipher> cipher;
    Bytes output;
};

// Whole messages

template <typename Peer, Direction direction>
void Message(benchmark::State& state) {
    const std::size_t size = bench::Size(state);
    Peer peer(direction, size);
    if (!peer.IsReady()) {
        state.SkipWithError("this build of the peer has no SEED");
        return;
    }
    Bytes message = Random(size);
    if constexpr (!std::is_same_v<Peer, NovuSeed>) {
        NovuSeed own(direction, size);
        static bench::Agreement agreement;
        if (!agreement.Holds(state, state.range(0), [&] {
                const unsigned char* const expected = own.Transform(message);
                Bytes reversed = WithWordsReversed(message);
                const unsigned char* const given = peer.Transform(reversed);
                return WithWordsReversed({given, given + size}) ==
                       Bytes(expected, expected + size);
            })) {
            return;
        }
        message = WithWordsReversed(message);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(peer.Transform(message));
        benchmark::ClobberMemory();
    }
    bench::CountBytes(state);
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    for (const int size : {16, 64, 256, 1 << 10, 1 << 12, 1 << 16, 1 << 20}) {
        benchmark->Arg(size);
    }
    benchmark->Arg(1 << 24);
}

BENCHMARK(Message<NovuSeed, Direction::kEncrypt>)
    ->Name("Encrypt/Novu")
    ->Apply(Sizes);
BENCHMARK(Message<OpenSslSeed, Direction::kEncrypt>)
    ->Name("Encrypt/OpenSSL")
    ->Apply(Sizes);
BENCHMARK(Message<GcryptSeed, Direction::kEncrypt>)
    ->Name("Encrypt/libgcrypt")
    ->Apply(Sizes);
BENCHMARK(Message<BotanSeed, Direction::kEncrypt>)
    ->Name("Encrypt/Botan")
    ->Apply(Sizes);
BENCHMARK(Message<CryptoPpSeed, Direction::kEncrypt>)
    ->Name("Encrypt/Crypto++")
    ->Apply(Sizes);
BENCHMARK(Message<NovuSeed, Direction::kDecrypt>)
    ->Name("Decrypt/Novu")
    ->Apply(Sizes);
BENCHMARK(Message<OpenSslSeed, Direction::kDecrypt>)
    ->Name("Decrypt/OpenSSL")
    ->Apply(Sizes);
BENCHMARK(Message<GcryptSeed, Direction::kDecrypt>)
    ->Name("Decrypt/libgcrypt")
    ->Apply(Sizes);
BENCHMARK(Message<BotanSeed, Direction::kDecrypt>)
    ->Name("Decrypt/Botan")
    ->Apply(Sizes);
BENCHMARK(Message<CryptoPpSeed, Direction::kDecrypt>)
    ->Name("Decrypt/Crypto++")
    ->Apply(Sizes);

// One block by the function for it

class NovuBlock {
public:
    NovuBlock() { SeedRoundKey(roundKeys, OwnKey().data()); }
    void Encrypt(Bytes& block) { SeedEncrypt(block.data(), roundKeys); }

private:
    std::uint32_t roundKeys[32];
};

class OpenSslBlock {
public:
    OpenSslBlock() { ::SEED_set_key(PeersKey().data(), &schedule); }
    void Encrypt(Bytes& block) {
        ::SEED_encrypt(block.data(), block.data(), &schedule);
    }

private:
    SEED_KEY_SCHEDULE schedule;
};

class BotanBlock {
public:
    BotanBlock() { cipher->set_key(PeersKey()); }
    void Encrypt(Bytes& block) {
        cipher->encrypt_n(block.data(), block.data(), 1);
    }

private:
    std::unique_ptr<Botan::BlockCipher> cipher =
        Botan::BlockCipher::create_or_throw("SEED");
};

class CryptoPpBlock {
public:
    void Encrypt(Bytes& block) { cipher.ProcessBlock(block.data()); }

private:
    CryptoPP::SEED::Encryption cipher{PeersKey().data(), PeersKey().size()};
};

template <typename Peer>
void Block(benchmark::State& state) {
    Peer peer;
    Bytes block = Random(kBlock);
    if constexpr (!std::is_same_v<Peer, NovuBlock>) {
        static bench::Agreement agreement;
        if (!agreement.Holds(state, 0, [&] {
                Bytes expected = block;
                NovuBlock().Encrypt(expected);
                Bytes given = WithWordsReversed(block);
                peer.Encrypt(given);
                return WithWordsReversed(given) == expected;
            })) {
            return;
        }
    }
    // It is encrypted over and over, so that no call can begin before the one
    // before it has ended.
    for (auto _ : state) {
        peer.Encrypt(block);
        benchmark::ClobberMemory();
    }
}

BENCHMARK(Block<NovuBlock>)->Name("Block/Novu");
BENCHMARK(Block<OpenSslBlock>)->Name("Block/OpenSSL");
BENCHMARK(Block<BotanBlock>)->Name("Block/Botan");
BENCHMARK(Block<CryptoPpBlock>)->Name("Block/Crypto++");

// The key schedule

void KeyNovu(benchmark::State& state) {
    std::uint32_t roundKeys[32];
    for (auto _ : state) {
        SeedRoundKey(roundKeys, OwnKey().data());
        benchmark::DoNotOptimize(roundKeys);
        benchmark::ClobberMemory();
    }
}

void KeyOpenSsl(benchmark::State& state) {
    SEED_KEY_SCHEDULE schedule;
    for (auto _ : state) {
        ::SEED_set_key(PeersKey().data(), &schedule);
        benchmark::DoNotOptimize(schedule);
        benchmark::ClobberMemory();
    }
}

template <typename Peer>
void Key(benchmark::State& state) {
    Peer peer(Direction::kEncrypt, kBlock);
    if (!peer.IsReady()) {
        state.SkipWithError("this build of the peer has no SEED");
        return;
    }
    for (auto _ : state) {
        peer.SetKey();
        benchmark::ClobberMemory();
    }
}

void KeyCryptoPp(benchmark::State& state) {
    CryptoPP::SEED::Encryption cipher;
    for (auto _ : state) {
        cipher.SetKey(PeersKey().data(), PeersKey().size());
        benchmark::ClobberMemory();
    }
}

BENCHMARK(KeyNovu)->Name("KeySchedule/Novu");
BENCHMARK(KeyOpenSsl)->Name("KeySchedule/OpenSSL");
BENCHMARK(Key<GcryptSeed>)->Name("KeySchedule/libgcrypt");
BENCHMARK(Key<BotanSeed>)->Name("KeySchedule/Botan");
BENCHMARK(KeyCryptoPp)->Name("KeySchedule/Crypto++");

}  // namespace
