// Text conversions, beside the C library's.

#include "Bases/String.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <locale>
#include <string>

namespace {

// `size` bytes of UTF-8: letters, every fourth of them of two bytes.
std::string Mixed(std::size_t size) {
    std::string text;
    while (text.size() < size) {
        text += "abc\xc3\xa9";
    }
    return text;
}

std::string Ascii(std::size_t size) { return std::string(size, 'a'); }

template <typename Convert>
void Run(benchmark::State& state, const std::string& text, Convert convert) {
    std::locale::global(std::locale("C.utf8"));
    for (auto _ : state) {
        benchmark::DoNotOptimize(convert(text));
    }
    state.SetBytesProcessed(state.iterations() *
                            static_cast<int64_t>(text.size()));
}

std::wstring ByFacet(const std::string& text) {
    return Novu::mbs_to_wcs(text, std::locale());
}

std::wstring ByCLibrary(const std::string& text) {
    std::wstring wide(text.size(), L'\0');
    wide.resize(std::mbstowcs(wide.data(), text.c_str(), text.size()));
    return wide;
}

template <std::string (*make)(std::size_t),
          std::wstring (*convert)(const std::string&)>
void Widen(benchmark::State& state) {
    Run(state, make(static_cast<std::size_t>(state.range(0))), convert);
}

BENCHMARK(Widen<Ascii, ByFacet>)->Arg(16)->Arg(1024)->Arg(1 << 20);
BENCHMARK(Widen<Ascii, Novu::utf8_to_wcs>)->Arg(16)->Arg(1024)->Arg(1 << 20);
BENCHMARK(Widen<Ascii, ByCLibrary>)->Arg(16)->Arg(1024)->Arg(1 << 20);
BENCHMARK(Widen<Mixed, ByFacet>)->Arg(16)->Arg(1024)->Arg(1 << 20);
BENCHMARK(Widen<Mixed, Novu::utf8_to_wcs>)->Arg(16)->Arg(1024)->Arg(1 << 20);
BENCHMARK(Widen<Mixed, ByCLibrary>)->Arg(16)->Arg(1024)->Arg(1 << 20);

}  // namespace
