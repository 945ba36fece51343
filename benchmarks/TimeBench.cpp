// Time values and their fields, and the clock, beside the C library.

#include "Bases/Time.h"

#include <benchmark/benchmark.h>
#include <sys/time.h>

#include <ctime>

#include "benchmarks/Bench.h"

namespace {

const long long kTime = 1709622489045;  // 2024-03-05 07:08:09.045 UTC

const long long kDay = 86400000;

// Whether the fields of some days are those of the C library.
bool HasSameFields(bool (*own)(const long long&, Novu::SysTime&),
                   std::tm* (*peer)(const std::time_t*, std::tm*)) {
    bool same = true;
    for (long long t = kTime; t < kTime + 1000 * kDay; t += kDay) {
        Novu::SysTime st = {};
        std::tm fields = {};
        const std::time_t seconds = t / 1000;
        same = same && own(t, st) && peer(&seconds, &fields) != nullptr &&
               st.year == fields.tm_year + 1900 &&
               st.month == fields.tm_mon + 1 && st.day == fields.tm_mday &&
               st.dayOfWeek == fields.tm_wday && st.hour == fields.tm_hour &&
               st.minute == fields.tm_min && st.second == fields.tm_sec;
    }
    return same;
}

void NovuToFields(benchmark::State& state) {
    long long t = kTime;
    for (auto _ : state) {
        Novu::SysTime st;
        Novu::TimeToSysTime(t, st);
        t += kDay;
        benchmark::DoNotOptimize(st);
    }
}

void LibcToFields(benchmark::State& state) {
    if (!bench::Agrees(state, HasSameFields(&Novu::TimeToSysTime, gmtime_r))) {
        return;
    }
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
        t += kDay;
        benchmark::DoNotOptimize(st);
    }
}

void LibcToLocalFields(benchmark::State& state) {
    if (!bench::Agrees(state,
                       HasSameFields(&Novu::TimeToLocalSysTime, localtime_r))) {
        return;
    }
    std::time_t seconds = kTime / 1000;
    for (auto _ : state) {
        std::tm fields;
        localtime_r(&seconds, &fields);
        seconds += 86400;
        benchmark::DoNotOptimize(fields);
    }
}

const Novu::SysTime kRecord = {124, 2, 2, 5, 7, 8, 9, 45, -1};

void NovuFromFields(benchmark::State& state) {
    for (auto _ : state) {
        long long t = 0;
        Novu::SysTimeToTime(kRecord, t);
        benchmark::DoNotOptimize(t);
    }
}

std::time_t Mktime() {
    std::tm fields = {};
    fields.tm_year = 124;
    fields.tm_mon = 2;
    fields.tm_mday = 5;
    fields.tm_hour = 7;
    fields.tm_min = 8;
    fields.tm_sec = 9;
    fields.tm_isdst = -1;
    return std::mktime(&fields);
}

void LibcFromFields(benchmark::State& state) {
    long long t = 0;
    Novu::SysTimeToTime(kRecord, t);
    if (!bench::Agrees(state, t == Mktime() * 1000LL + 45)) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(Mktime());
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
