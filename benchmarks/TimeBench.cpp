// Time values and their fields, and the clock, beside the C library.

#include "Bases/Time.h"

#include <benchmark/benchmark.h>
#include <sys/time.h>

#include <ctime>

namespace {

const long long kTime = 1709622489045;  // 2024-03-05 07:08:09.045 UTC

void NovuToFields(benchmark::State& state) {
    long long t = kTime;
    for (auto _ : state) {
        Novu::SysTime st;
        Novu::TimeToSysTime(t, st);
        t += 86400000;
        benchmark::DoNotOptimize(st);
    }
}

void LibcToFields(benchmark::State& state) {
    std::time_t seconds = kTime / 1000;
    for (auto _ : state) {
        std::tm fields;
        gmtime_r(&seconds, &fields);
        seconds += 86400;
        benchmark::DoNotOptimize(fields);
    }
}

void NovuToLocalFields(benchmark::State& state) {
    long long t = kTime;
    for (auto _ : state) {
        Novu::SysTime st;
        Novu::TimeToLocalSysTime(t, st);
        t += 86400000;
        benchmark::DoNotOptimize(st);
    }
}

void LibcToLocalFields(benchmark::State& state) {
    std::time_t seconds = kTime / 1000;
    for (auto _ : state) {
        std::tm fields;
        localtime_r(&seconds, &fields);
        seconds += 86400;
        benchmark::DoNotOptimize(fields);
    }
}

void NovuFromFields(benchmark::State& state) {
    const Novu::SysTime st = {124, 2, 2, 5, 7, 8, 9, 45, -1};
    for (auto _ : state) {
        long long t = 0;
        Novu::SysTimeToTime(st, t);
        benchmark::DoNotOptimize(t);
    }
}

void LibcFromFields(benchmark::State& state) {
    for (auto _ : state) {
        std::tm fields = {};
        fields.tm_year = 124;
        fields.tm_mon = 2;
        fields.tm_mday = 5;
        fields.tm_hour = 7;
        fields.tm_min = 8;
        fields.tm_sec = 9;
        fields.tm_isdst = -1;
        benchmark::DoNotOptimize(std::mktime(&fields));
    }
}

void NovuClock(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(Novu::GetCurLocalTime());
    }
}

void LibcClock(benchmark::State& state) {
    for (auto _ : state) {
        timeval now;
        gettimeofday(&now, nullptr);
        benchmark::DoNotOptimize(now);
    }
}

BENCHMARK(NovuToFields)->Name("ToFields/Novu");
BENCHMARK(LibcToFields)->Name("ToFields/gmtime_r");
BENCHMARK(NovuToLocalFields)->Name("ToLocalFields/Novu");
BENCHMARK(LibcToLocalFields)->Name("ToLocalFields/localtime_r");
BENCHMARK(NovuFromFields)->Name("FromFields/Novu");
BENCHMARK(LibcFromFields)->Name("FromFields/mktime");
BENCHMARK(NovuClock)->Name("Clock/Novu");
BENCHMARK(LibcClock)->Name("Clock/gettimeofday");

}  // namespace
