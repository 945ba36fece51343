// Calendar arithmetic, beside an inlined std::chrono. The argument is the year.

#include "Bases/Date.h"

#include <benchmark/benchmark.h>

#include <chrono>

#include "benchmarks/Bench.h"

namespace {

using std::chrono::day;
using std::chrono::month;
using std::chrono::sys_days;
using std::chrono::year;
using std::chrono::year_month_day;

// The first 28 days of every month, in a scattered order.
template <typename Answer>
void Run(benchmark::State& state, Answer answer) {
    auto years = static_cast<unsigned long>(state.range(0));
    unsigned long number = 0;
    for (auto _ : state) {
        // Nothing that depends on the year alone is reckoned beforehand.
        benchmark::DoNotOptimize(years);
        number = (number + 37) % 336;
        benchmark::DoNotOptimize(
            answer(years, number / 28 + 1, number % 28 + 1));
    }
}

sys_days ChronoDay(unsigned long years, unsigned long months,
                   unsigned long days) {
    return sys_days(year(static_cast<int>(years)) /
                    month(static_cast<unsigned int>(months)) /
                    day(static_cast<unsigned int>(days)));
}

// Whether a peer has the library's answer for each of those days, and times it
// then.
template <typename Answer, typename Own>
void RunPeer(benchmark::State& state, Answer answer, Own own) {
    const auto years = static_cast<unsigned long>(state.range(0));
    bool same = true;
    for (unsigned long number = 0; number != 336; ++number) {
        const unsigned long months = number / 28 + 1;
        const unsigned long days = number % 28 + 1;
        same =
            same && own(years, months, days) ==
                        static_cast<unsigned long>(answer(years, months, days));
    }
    if (bench::Agrees(state, same)) {
        Run(state, answer);
    }
}

void DayNumber(benchmark::State& state) { Run(state, &Novu::GetDaysSince1980); }

// The first day is 1.
void ChronoDayNumber(benchmark::State& state) {
    const auto number = [](unsigned long years, unsigned long months,
                           unsigned long days) {
        return (ChronoDay(years, months, days) - ChronoDay(1979, 12, 31))
            .count();
    };
    RunPeer(state, number, &Novu::GetDaysSince1980);
}

void Weekday(benchmark::State& state) { Run(state, &Novu::GetDayOfWeek); }

void ChronoWeekday(benchmark::State& state) {
    const auto weekday = [](unsigned long years, unsigned long months,
                            unsigned long days) {
        return std::chrono::weekday(ChronoDay(years, months, days))
            .c_encoding();
    };
    RunPeer(state, weekday, &Novu::GetDayOfWeek);
}

// Through 28 years, again and again.
void NextDay(benchmark::State& state) {
    const auto first = static_cast<unsigned long>(state.range(0));
    unsigned long years = first;
    unsigned long months = 1;
    unsigned long days = 1;
    for (auto _ : state) {
        Novu::GetNextDay(years, months, days);
        years = years == first + 28 ? first : years;
        benchmark::DoNotOptimize(days);
    }
}

// Whether both come to the same days in those years.
bool HasSameDays(year first) {
    sys_days date = first / month(1) / day(1);
    auto years = static_cast<unsigned long>(static_cast<int>(first));
    unsigned long months = 1;
    unsigned long days = 1;
    for (int count = 0; count != 28 * 365; ++count) {
        date += std::chrono::days(1);
        Novu::GetNextDay(years, months, days);
        if (date != ChronoDay(years, months, days)) {
            return false;
        }
    }
    return true;
}

void ChronoNextDay(benchmark::State& state) {
    const year first(static_cast<int>(state.range(0)));
    if (!bench::Agrees(state, HasSameDays(first))) {
        return;
    }
    year_month_day date(first, month(1), day(1));
    for (auto _ : state) {
        date = sys_days(date) + std::chrono::days(1);
        if (date.year() == first + std::chrono::years(28)) {
            date = first / date.month() / date.day();
        }
        benchmark::DoNotOptimize(date);
    }
}

void Years(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(1990)->Arg(2100)->Arg(9999);
}

BENCHMARK(DayNumber)->Name("DayNumber/Novu")->Apply(Years);
BENCHMARK(ChronoDayNumber)->Name("DayNumber/chrono")->Apply(Years);
BENCHMARK(Weekday)->Name("Weekday/Novu")->Apply(Years);
BENCHMARK(ChronoWeekday)->Name("Weekday/chrono")->Apply(Years);
BENCHMARK(NextDay)->Name("NextDay/Novu")->Arg(1990);
BENCHMARK(ChronoNextDay)->Name("NextDay/chrono")->Arg(1990);

}  // namespace
