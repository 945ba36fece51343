// Timestamps as text, beside strftime and snprintf.

#include "Bases/DateTimeFormat.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdio>
#include <ctime>
#include <string>

namespace {

const std::string kPattern = "yyyy-MM-dd HH:mm:ss.fff";
const Novu::SysTime kRecord = {2024, 3, 2, 5, 7, 8, 9, 45, -1};
const long long kTime = 1709622489045;  // The same in UTC.

void NovuRecord(benchmark::State& state) {
    std::string text;
    for (auto _ : state) {
        Novu::GetDateTimeFormat(text, kPattern, kRecord);
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
    for (auto _ : state) {
        Snprintf(text, sizeof text, kRecord);
        benchmark::DoNotOptimize(text);
    }
}

// strftime has no milliseconds: snprintf adds them.
void StrftimeRecord(benchmark::State& state) {
    std::tm fields = {};
    fields.tm_year = 124;
    fields.tm_mon = 2;
    fields.tm_mday = 5;
    fields.tm_hour = 7;
    fields.tm_min = 8;
    fields.tm_sec = 9;
    char text[64];
    for (auto _ : state) {
        const std::size_t length =
            std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &fields);
        std::snprintf(text + length, sizeof text - length, ".%03d", 45);
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

void StrftimeTimeValue(benchmark::State& state) {
    char text[64];
    for (auto _ : state) {
        const std::time_t seconds = kTime / 1000;
        std::tm fields;
        localtime_r(&seconds, &fields);
        const std::size_t length =
            std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &fields);
        std::snprintf(text + length, sizeof text - length, ".%03d",
                      static_cast<int>(kTime % 1000));
        benchmark::DoNotOptimize(text);
    }
}

BENCHMARK(NovuRecord);
BENCHMARK(SnprintfRecord);
BENCHMARK(StrftimeRecord);
BENCHMARK(NovuTimeValue);
BENCHMARK(StrftimeTimeValue);

}  // namespace
