// Text conversions, beside the facet and the calls that they are made of: a
// peer does with them, and with a string of its own, what the library does. The
// argument is the size in bytes of UTF-8.

#include "Bases/String.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdlib>
#include <locale>
#include <string>

#include "benchmarks/Bench.h"

namespace {

using Facet = std::codecvt<wchar_t, char, std::mbstate_t>;

std::string Ascii(std::size_t size) { return std::string(size, 'a'); }

// Letters, every fourth of them of two bytes.
std::string Mixed(std::size_t size) {
    std::string text;
    while (text.size() < size) {
        text += "abc\xc3\xa9";
    }
    return text;
}

std::wstring FacetIn(const std::string& text) {
    const std::locale loc;
    std::mbstate_t state{};
    std::wstring wide(text.size(), L'\0');
    const char* textNext = nullptr;
    wchar_t* wideNext = nullptr;
    std::use_facet<Facet>(loc).in(state, text.data(), text.data() + text.size(),
                                  textNext, wide.data(),
                                  wide.data() + wide.size(), wideNext);
    wide.resize(static_cast<std::size_t>(wideNext - wide.data()));
    return wide;
}

std::string FacetOut(const std::wstring& text) {
    const std::locale loc;
    const auto& facet = std::use_facet<Facet>(loc);
    std::mbstate_t state{};
    std::string narrow(
        static_cast<std::size_t>(facet.max_length()) * text.size(), '\0');
    const wchar_t* textNext = nullptr;
    char* narrowNext = nullptr;
    facet.out(state, text.data(), text.data() + text.size(), textNext,
              narrow.data(), narrow.data() + narrow.size(), narrowNext);
    narrow.resize(static_cast<std::size_t>(narrowNext - narrow.data()));
    return narrow;
}

// Measuring first, as the library does.
std::wstring Mbstowcs(const std::string& text) {
    std::wstring wide(std::mbstowcs(nullptr, text.c_str(), 0), L'\0');
    std::mbstowcs(wide.data(), text.c_str(), wide.size());
    return wide;
}

std::string Wcstombs(const std::wstring& text) {
    std::string narrow(std::wcstombs(nullptr, text.c_str(), 0), '\0');
    std::wcstombs(narrow.data(), text.c_str(), narrow.size());
    return narrow;
}

std::wstring NovuMbsToWcs(const std::string& text) {
    return Novu::mbs_to_wcs(text);
}

std::string NovuWcsToMbs(const std::wstring& text) {
    return Novu::wcs_to_mbs(text);
}

template <typename Text, typename Convert, typename Own>
void Run(benchmark::State& state, const Text& text, Convert convert, Own own) {
    if (!bench::Agrees(state, convert(text) == own(text))) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(convert(text));
    }
    bench::CountBytes(state);
}

template <std::string (*make)(std::size_t),
          std::wstring (*convert)(const std::string&)>
void Widen(benchmark::State& state) {
    std::locale::global(std::locale("C.utf8"));
    Run(state, make(bench::Size(state)), convert, NovuMbsToWcs);
}

template <std::string (*make)(std::size_t),
          std::string (*convert)(const std::wstring&)>
void Narrow(benchmark::State& state) {
    std::locale::global(std::locale("C.utf8"));
    Run(state, Mbstowcs(make(bench::Size(state))), convert, NovuWcsToMbs);
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(16)->Arg(1024)->Arg(1 << 20);
}

// Named by the case and the peer.
#define WIDEN(make, convert, name) \
    BENCHMARK(Widen<make, convert>)->Name(name)->Apply(Sizes)
#define NARROW(make, convert, name) \
    BENCHMARK(Narrow<make, convert>)->Name(name)->Apply(Sizes)

WIDEN(Ascii, NovuMbsToWcs, "MbsToWcsAscii/Novu");
WIDEN(Ascii, FacetIn, "MbsToWcsAscii/codecvt");
WIDEN(Mixed, NovuMbsToWcs, "MbsToWcsMixed/Novu");
WIDEN(Mixed, FacetIn, "MbsToWcsMixed/codecvt");

WIDEN(Ascii, Novu::utf8_to_wcs, "Utf8ToWcsAscii/Novu");
WIDEN(Ascii, Mbstowcs, "Utf8ToWcsAscii/mbstowcs");
WIDEN(Mixed, Novu::utf8_to_wcs, "Utf8ToWcsMixed/Novu");
WIDEN(Mixed, Mbstowcs, "Utf8ToWcsMixed/mbstowcs");

NARROW(Ascii, NovuWcsToMbs, "WcsToMbsAscii/Novu");
NARROW(Ascii, FacetOut, "WcsToMbsAscii/codecvt");
NARROW(Ascii, Wcstombs, "WcsToMbsAscii/wcstombs");
NARROW(Mixed, NovuWcsToMbs, "WcsToMbsMixed/Novu");
NARROW(Mixed, FacetOut, "WcsToMbsMixed/codecvt");
NARROW(Mixed, Wcstombs, "WcsToMbsMixed/wcstombs");

#undef WIDEN
#undef NARROW

}  // namespace
