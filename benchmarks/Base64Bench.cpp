// Base64, beside OpenSSL, GLib, nettle and Crypto++. The peers work into memory
// of their caller's, which stays for all calls, but for Crypto++, whose filters
// are made anew for each text. The argument is the number of bytes before
// encoding.

#include "Bases/Base64.h"

#include <benchmark/benchmark.h>
#include <crypto++/base64.h>
#include <crypto++/filters.h>
#include <glib.h>
#include <nettle/base64.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/Bench.h"

namespace {

using Bytes = std::vector<unsigned char>;

const unsigned char* AsBytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// Each of the following is made for a number of bytes, encodes as many, and
// decodes their text. What it answers lasts until the next call.

class NovuBase64 {
public:
    explicit NovuBase64(std::size_t size) : bytes((size + 2) / 3 * 4 + 1) {}

    std::string_view Encode(const std::string& data) {
        base64.Encode(data.data(), data.size(), text);
        return text;
    }
    std::string_view Decode(const std::string& encoded) {
        return {bytes.data(), base64.Decode(encoded.c_str(), bytes.data())};
    }

private:
    Novu::Base64 base64;
    std::string text;
    std::vector<char> bytes;
};

class OpenSslBase64 {
public:
    explicit OpenSslBase64(std::size_t size)
        : text((size + 2) / 3 * 4 + 1), bytes((size + 2) / 3 * 3) {}

    std::string_view Encode(const std::string& data) {
        const int length = ::EVP_EncodeBlock(text.data(), AsBytes(data),
                                             static_cast<int>(data.size()));
        return {reinterpret_cast<const char*>(text.data()),
                static_cast<std::size_t>(length)};
    }
    std::string_view Decode(const std::string& encoded) {
        const int length = ::EVP_DecodeBlock(bytes.data(), AsBytes(encoded),
                                             static_cast<int>(encoded.size()));
        // It counts a byte for each '=', too.
        const auto padding = static_cast<std::size_t>(
            std::count(encoded.end() - 2, encoded.end(), '='));
        return {reinterpret_cast<const char*>(bytes.data()),
                static_cast<std::size_t>(length) - padding};
    }

private:
    Bytes text;
    Bytes bytes;
};

class GlibBase64 {
public:
    explicit GlibBase64(std::size_t size)
        : text((size / 3 + 1) * 4 + 4), bytes((size + 2) / 3 * 3) {}

    std::string_view Encode(const std::string& data) {
        int state = 0;
        int save = 0;
        std::size_t length = ::g_base64_encode_step(AsBytes(data), data.size(),
                                                    /*break_lines=*/0,
                                                    text.data(), &state, &save);
        length += ::g_base64_encode_close(
            /*break_lines=*/0, text.data() + length, &state, &save);
        return {text.data(), length};
    }
    std::string_view Decode(const std::string& encoded) {
        int state = 0;
        unsigned int save = 0;
        const std::size_t length = ::g_base64_decode_step(
            encoded.data(), encoded.size(), bytes.data(), &state, &save);
        return {reinterpret_cast<const char*>(bytes.data()), length};
    }

private:
    std::vector<char> text;
    Bytes bytes;
};

class NettleBase64 {
public:
    explicit NettleBase64(std::size_t size)
        : text((size + 2) / 3 * 4), bytes((size + 2) / 3 * 3 + 3) {}

    std::string_view Encode(const std::string& data) {
        ::nettle_base64_encode_raw(text.data(), data.size(), AsBytes(data));
        return {text.data(), text.size()};
    }
    std::string_view Decode(const std::string& encoded) {
        base64_decode_ctx context;
        ::nettle_base64_decode_init(&context);
        std::size_t length = bytes.size();
        if (::nettle_base64_decode_update(&context, &length, bytes.data(),
                                          encoded.size(),
                                          encoded.data()) != 1 ||
            ::nettle_base64_decode_final(&context) != 1) {
            length = 0;
        }
        return {reinterpret_cast<const char*>(bytes.data()), length};
    }

private:
    std::vector<char> text;
    Bytes bytes;
};

class CryptoPpBase64 {
public:
    explicit CryptoPpBase64(std::size_t size) : room((size + 2) / 3 * 4) {}

    // The filters belong to each other from the outermost on.
    std::string_view Encode(const std::string& data) {
        auto* const sink = new CryptoPP::ArraySink(room.data(), room.size());
        const CryptoPP::ArraySource source(
            AsBytes(data), data.size(), /*pumpAll=*/true,
            new CryptoPP::Base64Encoder(sink, /*insertLineBreaks=*/false));
        return Filled(*sink);
    }
    std::string_view Decode(const std::string& encoded) {
        auto* const sink = new CryptoPP::ArraySink(room.data(), room.size());
        const CryptoPP::ArraySource source(AsBytes(encoded), encoded.size(),
                                           /*pumpAll=*/true,
                                           new CryptoPP::Base64Decoder(sink));
        return Filled(*sink);
    }

private:
    std::string_view Filled(CryptoPP::ArraySink& sink) const {
        return {reinterpret_cast<const char*>(room.data()),
                static_cast<std::size_t>(sink.TotalPutLength())};
    }

    Bytes room;
};

std::string Encoded(const std::string& data) {
    return std::string(NovuBase64(data.size()).Encode(data));
}

template <typename Peer>
void Encode(benchmark::State& state) {
    const std::string data = bench::RandomBytes(bench::Size(state));
    Peer peer(data.size());
    static bench::Agreement agreement;
    if (!agreement.Holds(state, state.range(0),
                         [&] { return peer.Encode(data) == Encoded(data); })) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(peer.Encode(data));
        benchmark::ClobberMemory();
    }
    bench::CountBytes(state);
}

template <typename Peer>
void Decode(benchmark::State& state) {
    const std::string data = bench::RandomBytes(bench::Size(state));
    const std::string text = Encoded(data);
    Peer peer(data.size());
    static bench::Agreement agreement;
    if (!agreement.Holds(state, state.range(0), [&] {
            return peer.Decode(text) == data &&
                   NovuBase64(data.size()).Decode(text) == data;
        })) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(peer.Decode(text));
        benchmark::ClobberMemory();
    }
    bench::CountBytes(state);
}

// With the alphabet that is safe in URLs, while it lives.
class OwnAlphabet {
public:
    OwnAlphabet() { Set("-_"); }
    OwnAlphabet(const OwnAlphabet&) = delete;
    OwnAlphabet& operator=(const OwnAlphabet&) = delete;
    ~OwnAlphabet() { Set("+/"); }

private:
    static void Set(const char* lastTwo) {
        std::copy_n(lastTwo, 2, &Novu::Base64::s_szBase64Alphabet[62]);
    }
};

void EncodeOwnAlphabet(benchmark::State& state) {
    const OwnAlphabet alphabet;
    const std::string data = bench::RandomBytes(bench::Size(state));
    NovuBase64 base64(data.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(base64.Encode(data));
        benchmark::ClobberMemory();
    }
    bench::CountBytes(state);
}

void DecodeOwnAlphabet(benchmark::State& state) {
    const OwnAlphabet alphabet;
    const std::string data = bench::RandomBytes(bench::Size(state));
    const std::string text = Encoded(data);
    NovuBase64 base64(data.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(base64.Decode(text));
        benchmark::ClobberMemory();
    }
    bench::CountBytes(state);
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    for (const int size : {32, 1 << 10, 1 << 16, 1 << 20, 1 << 24}) {
        benchmark->Arg(size);
    }
}

BENCHMARK(Encode<NovuBase64>)->Name("Encode/Novu")->Apply(Sizes);
BENCHMARK(Encode<OpenSslBase64>)->Name("Encode/OpenSSL")->Apply(Sizes);
BENCHMARK(Encode<GlibBase64>)->Name("Encode/GLib")->Apply(Sizes);
BENCHMARK(Encode<NettleBase64>)->Name("Encode/nettle")->Apply(Sizes);
BENCHMARK(Encode<CryptoPpBase64>)->Name("Encode/Crypto++")->Apply(Sizes);
BENCHMARK(Decode<NovuBase64>)->Name("Decode/Novu")->Apply(Sizes);
BENCHMARK(Decode<OpenSslBase64>)->Name("Decode/OpenSSL")->Apply(Sizes);
BENCHMARK(Decode<GlibBase64>)->Name("Decode/GLib")->Apply(Sizes);
BENCHMARK(Decode<NettleBase64>)->Name("Decode/nettle")->Apply(Sizes);
BENCHMARK(Decode<CryptoPpBase64>)->Name("Decode/Crypto++")->Apply(Sizes);
BENCHMARK(EncodeOwnAlphabet)->Name("EncodeOwnAlphabet/Novu")->Apply(Sizes);
BENCHMARK(DecodeOwnAlphabet)->Name("DecodeOwnAlphabet/Novu")->Apply(Sizes);

}  // namespace
