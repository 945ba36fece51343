// Timestamps as text, beside fmt, snprintf and strftime.

#include "Bases/DateTimeFormat.h"

#include <benchmark/benchmark.h>
#include <fmt/compile.h>
#include <fmt/format.h>

#include <cstddef>
#include <cstdio>
#include <ctime>
#include <iterator>
#include <string>

#include "benchmarks/Bench.h"

namespace {

const std::string kPattern = "yyyy-MM-dd HH:mm:ss.fff";
const long long kTime = 1709622489045;  // 2024-03-05 07:08:09.045 in UTC.

// Not a constant, so that nothing is formatted beforehand.
Novu::SysTime Record() {
    Novu::SysTime st = {2024, 3, 2, 5, 7, 8, 9, 45, -1};
    benchmark::DoNotOptimize(st);
    return st;
}

// Of the record or the time value.
template <typename Moment>
std::string Formatted(const Moment& moment) {
    std::string text;
    Novu::GetDateTimeFormat(text, kPattern, moment);
    return text;
}

void NovuRecord(benchmark::State& state) {
    std::string text;
    Novu::SysTime st = Record();
    for (auto _ : state) {
        benchmark::DoNotOptimize(st);
        Novu::GetDateTimeFormat(text, kPattern, st);
        benchmark::DoNotOptimize(text.data());
    }
}

// With the format compiled beforehand, which a pattern of the library is not.
void FmtCompiled(char* text, const Novu::SysTime& st) {
    *fmt::format_to(text,
                    FMT_COMPILE("{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}"),
                    st.year, st.month, st.day, st.hour, st.minute, st.second,
                    st.milliseconds) = '\0';
}

void FmtCompiledRecord(benchmark::State& state) {
    char text[64];
    Novu::SysTime st = Record();
    FmtCompiled(text, st);
    if (!bench::Agrees(state, text == Formatted(st))) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(st);
        FmtCompiled(text, st);
        benchmark::DoNotOptimize(text);
    }
}

void Fmt(std::string& text, const Novu::SysTime& st) {
    text.clear();
    fmt::format_to(std::back_inserter(text),
                   "{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}", st.year,
                   st.month, st.day, st.hour, st.minute, st.second,
                   st.milliseconds);
}

void FmtRecord(benchmark::State& state) {
    std::string text;
    Novu::SysTime st = Record();
    Fmt(text, st);
    if (!bench::Agrees(state, text == Formatted(st))) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(st);
        Fmt(text, st);
        benchmark::DoNotOptimize(text.data());
    }
}

void Snprintf(char* text, std::size_t size, const Novu::SysTime& st) {
    std::snprintf(text, size, "%04d-%02d-%02d %02d:%02d:%02d.%03d", st.year,
                  st.month, st.day, st.hour, st.minute, st.second,
                  st.milliseconds);
}

void SnprintfRecord(benchmark::State& state) {
    char text[64];
    Novu::SysTime st = Record();
    Snprintf(text, sizeof text, st);
    if (!bench::Agrees(state, text == Formatted(st))) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(st);
        Snprintf(text, sizeof text, st);
        benchmark::DoNotOptimize(text);
    }
}

// strftime has no milliseconds: snprintf adds them.
void Strftime(char* text, std::size_t size, const std::tm& fields,
              int milliseconds) {
    const std::size_t length =
        std::strftime(text, size, "%Y-%m-%d %H:%M:%S", &fields);
    std::snprintf(text + length, size - length, ".%03d", milliseconds);
}

void StrftimeRecord(benchmark::State& state) {
    std::tm fields = {};
    fields.tm_year = 124;
    fields.tm_mon = 2;
    fields.tm_mday = 5;
    fields.tm_hour = 7;
    fields.tm_min = 8;
    fields.tm_sec = 9;
    char text[64];
    Strftime(text, sizeof text, fields, 45);
    if (!bench::Agrees(state, text == Formatted(Record()))) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(fields);
        Strftime(text, sizeof text, fields, 45);
        benchmark::DoNotOptimize(text);
    }
}

void NovuTimeValue(benchmark::State& state) {
    std::string text;
    for (auto _ : state) {
        Novu::GetDateTimeFormat(text, kPattern, kTime);
        benchmark::DoNotOptimize(text.data());
    }
}

std::tm LocalFields(long long t) {
    const std::time_t seconds = t / 1000;
    std::tm fields;
    localtime_r(&seconds, &fields);
    return fields;
}

void Fmt(std::string& text, long long t) {
    const std::tm fields = LocalFields(t);
    text.clear();
    fmt::format_to(std::back_inserter(text),
                   "{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}",
                   fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday,
                   fields.tm_hour, fields.tm_min, fields.tm_sec, t % 1000);
}

void FmtTimeValue(benchmark::State& state) {
    std::string text;
    Fmt(text, kTime);
    if (!bench::Agrees(state, text == Formatted(kTime))) {
        return;
    }
    for (auto _ : state) {
        Fmt(text, kTime);
        benchmark::DoNotOptimize(text.data());
    }
}

void Strftime(char* text, std::size_t size, long long t) {
    Strftime(text, size, LocalFields(t), static_cast<int>(t % 1000));
}

void StrftimeTimeValue(benchmark::State& state) {
    char text[64];
    Strftime(text, sizeof text, kTime);
    if (!bench::Agrees(state, text == Formatted(kTime))) {
        return;
    }
    for (auto _ : state) {
        Strftime(text, sizeof text, kTime);
        benchmark::DoNotOptimize(text);
    }
}

BENCHMARK(NovuRecord)->Name("Record/Novu");
BENCHMARK(FmtRecord)->Name("Record/fmt");
BENCHMARK(FmtCompiledRecord)->Name("Record/fmt_compiled");
BENCHMARK(SnprintfRecord)->Name("Record/snprintf");
BENCHMARK(StrftimeRecord)->Name("Record/strftime");
BENCHMARK(NovuTimeValue)->Name("TimeValue/Novu");
BENCHMARK(FmtTimeValue)->Name("TimeValue/fmt");
BENCHMARK(StrftimeTimeValue)->Name("TimeValue/strftime");

}  // namespace
