// The contract of Bases/Timer.h. The clock is scripted through the stand-in
// below.

#include "Bases/Timer.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <random>
#include <type_traits>

#include "tests/support/NextSymbol.h"

namespace {

struct Clock {
    timeval now{};
    bool fails = false;
    int reads = 0;
};

thread_local Clock* scripted = nullptr;

// No function of the system sets errno to one of these.
const int kErrorBefore = 12345;
const int kErrorOfCall = 23456;

}  // namespace

extern "C" int gettimeofday(timeval* now, void* zone) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(timeval*, void*)>("gettimeofday");
    if (scripted == nullptr) {
        return next(now, zone);
    }
    ++scripted->reads;
    if (scripted->fails) {
        errno = kErrorOfCall;
        return -1;
    }
    *now = scripted->now;
    return 0;
}

namespace {

using Novu::timer_ms;
using Novu::timer_ns;
using Novu::timer_us;
using Count = unsigned long long;

static_assert(std::is_same_v<decltype(timer_us), Count()>);
static_assert(std::is_same_v<decltype(timer_ms), Count()>);
static_assert(std::is_same_v<decltype(timer_ns), Count()>);
static_assert(sizeof(Count) == 8);

class Script {
public:
    Script() { scripted = &clock; }
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;
    ~Script() { scripted = nullptr; }

    Clock* operator->() { return &clock; }

private:
    Clock clock;
};

const struct CountCase {
    int line;
    timeval now;
    Count us;
    Count ms;
    Count ns;
} kCountCases[] = {
    // line    now     us, ms, ns
    {__LINE__, {0, 0}, 0, 0, 0},
    {__LINE__, {0, 1}, 1, 0, 1000},
    {__LINE__, {0, 999}, 999, 0, 999000},
    {__LINE__, {0, 1000}, 1000, 1, 1000000},
    {__LINE__, {0, 999999}, 999999, 999, 999999000},
    {__LINE__, {1, 0}, 1000000, 1000, 1000000000},
    {__LINE__, {1, 1999}, 1001999, 1001, 1001999000},
    {__LINE__,
     {1709622489, 45678},
     1709622489045678,
     1709622489045,
     1709622489045678000},

    // Beyond 32 bits, and beyond 63 bits of nanoseconds.
    {__LINE__,
     {4294967296, 5},
     4294967296000005,
     4294967296000,
     4294967296000005000},
    {__LINE__,
     {9223372036, 854775},
     9223372036854775,
     9223372036854,
     9223372036854775000},
    {__LINE__,
     {9223372036, 854776},
     9223372036854776,
     9223372036854,
     9223372036854776000U},
    {__LINE__,
     {18446744073, 709551},
     18446744073709551,
     18446744073709,
     18446744073709551000U},
    // What does not fit into 64 bits is cut off.
    {__LINE__, {18446744073, 709552}, 18446744073709552, 18446744073709, 384},
    {__LINE__, {9223372036854, 775808}, 1UL << 63, 9223372036854775, 0},
    {__LINE__,
     {18446744073709, 551615},
     ULLONG_MAX,
     18446744073709551,
     18446744073709550616U},
    {__LINE__, {9223372036854775, 808000}, 0, 1UL << 63, 0},
    {__LINE__,
     {LONG_MAX, 999999},
     ULLONG_MAX,
     ULLONG_MAX,
     18446744073709550616U},
};

TEST(TimerTest, CountsAreThoseOfTheClock) {
    for (const CountCase& row : kCountCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Script script;
        script->now = row.now;
        errno = kErrorBefore;
        EXPECT_EQ(row.us, timer_us());
        EXPECT_EQ(row.ms, timer_ms());
        EXPECT_EQ(row.ns, timer_ns());
        EXPECT_EQ(3, script->reads);
        EXPECT_EQ(kErrorBefore, errno);
    }
}

TEST(TimerTest, CountsOfAnyTime) {
    const std::mt19937_64::result_type seed = 20250320;
    std::mt19937_64 random(seed);
    Script script;
    for (int round = 0; round < 100000; ++round) {
        const Count sec = random() >> (1 + random() % 63);
        const Count usec = random() % 1000000;
        script->now = {static_cast<long>(sec), static_cast<long>(usec)};
        ASSERT_EQ(usec + sec * 1000000, timer_us())
            << "seed " << seed << ": " << sec << ", " << usec;
        ASSERT_EQ(usec / 1000 + sec * 1000, timer_ms())
            << "seed " << seed << ": " << sec << ", " << usec;
        ASSERT_EQ((usec + sec * 1000000) * 1000, timer_ns())
            << "seed " << seed << ": " << sec << ", " << usec;
    }
}

TEST(TimerTest, AFailingClockCountsNothing) {
    Script script;
    script->now = {1709622489, 45678};
    script->fails = true;
    for (const auto timer : {timer_us, timer_ms, timer_ns}) {
        errno = kErrorBefore;
        EXPECT_EQ(0U, timer());
        EXPECT_EQ(kErrorOfCall, errno);
    }
    EXPECT_EQ(3, script->reads);
}

// [timer-1]
TEST(TimerTest, CountsJumpWithTheClockAndAdvanceInMicroseconds) {
    Script script;
    script->now = {1709622489, 45678};
    const Count before = timer_ns();
    script->now = {1709622489, 45679};
    EXPECT_EQ(1000U, timer_ns() - before);
    script->now = {1709618889, 45678};
    EXPECT_EQ(3600000000000U, before - timer_ns());
    EXPECT_EQ(1709618889045678U, timer_us());
    EXPECT_EQ(1709618889045U, timer_ms());
}

TEST(TimerTest, CountsAreThoseOfTheSystemsClock) {
    const auto now = [] {
        return static_cast<Count>(
            std::chrono::duration_cast<std::chrono::microseconds>(
                std::chrono::system_clock::now().time_since_epoch())
                .count());
    };
    const Count before = now();
    const Count us = timer_us();
    const Count ms = timer_ms();
    const Count ns = timer_ns();
    const Count after = now();
    EXPECT_LE(before, us);
    EXPECT_LE(us / 1000, ms);
    EXPECT_LE(ms, ns / 1000000);
    EXPECT_LE(ns, after * 1000);
}

}  // namespace
