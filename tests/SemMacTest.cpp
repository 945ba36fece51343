// Bases/Sem.h on macOS: the calls of its kernel, over a stand-in that records
// them, such as "semaphore_timedwait 1.500000000" (seconds).

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "Bases/Sem.h"
#include "tests/mac/MachSemaphores.h"
#include "tests/support/Concurrency.h"
#include "tests/support/ObjectBytes.h"

extern "C" unsigned int mach_task_self_;

namespace {

using Novu::NovuEvent;
using Novu::NovuSemaphore;
using NovuTest::FieldAt;
using NovuTest::kNoLimit;
using NovuTest::MachCalls;
using NovuTest::MachSemaphoresAlive;
using NovuTest::Slot;

using Calls = std::vector<std::string>;

const int kSuccess = 0;
const int kInvalidArgument = 4;
const int kAborted = 14;
const int kTimedOut = 49;

const char kWait[] = "semaphore_wait";
const char kTimedWait[] = "semaphore_timedwait";
const char kSignalAll[] = "semaphore_signal_all";
const char kDestroy[] = "semaphore_destroy";

using SemMacTest = NovuTest::WithDeadline;

TEST_F(SemMacTest, CreateAsksForFirstInFirstOutAndTheCount) {
    const struct {
        int line;
        NovuSemaphore::SemInitState state;
        const char* call;
    } rows[] = {
        {__LINE__, NovuSemaphore::NotSignalled, "semaphore_create 0 0"},
        {__LINE__, NovuSemaphore::Signalled, "semaphore_create 0 1"},
        {__LINE__, static_cast<NovuSemaphore::SemInitState>(7),
         "semaphore_create 0 7"},
        {__LINE__, static_cast<NovuSemaphore::SemInitState>(0x7FFFFFFF),
         "semaphore_create 0 2147483647"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        MachCalls calls;
        NovuSemaphore semaphore;
        EXPECT_EQ(1, semaphore.Create(row.state, nullptr, 0));
        EXPECT_EQ(Calls{row.call}, calls.Take());
        EXPECT_EQ(1UL, MachSemaphoresAlive());
        EXPECT_EQ(1, semaphore.Destroy());
        EXPECT_EQ(Calls{kDestroy}, calls.Take());
        EXPECT_EQ(0UL, MachSemaphoresAlive());
    }
}

TEST_F(SemMacTest, ACreateThatFailsLeavesASemaphoreOnWhichNothingWorks) {
    MachCalls calls;
    calls.Script("semaphore_create", {kInvalidArgument});
    NovuSemaphore semaphore;
    EXPECT_EQ(0, semaphore.Create(NovuSemaphore::Signalled, nullptr, 0));
    EXPECT_EQ(1, semaphore.IsCreated());
    calls.Take();

    int count = 4711;
    EXPECT_EQ(0, semaphore.Wait(kNoLimit));
    EXPECT_EQ(0, semaphore.Wait(0));
    EXPECT_EQ(0, semaphore.Wait(5));
    semaphore.Post();
    EXPECT_EQ(0, semaphore.GetSemCounts(count));
    EXPECT_EQ(4711, count);
    EXPECT_EQ(0, semaphore.Create(NovuSemaphore::Signalled, nullptr, 0));
    EXPECT_EQ(Calls{}, calls.Take());

    // Destroyed all the same, whatever the kernel thinks of it.
    EXPECT_EQ(1, semaphore.Destroy());
    EXPECT_EQ(Calls{kDestroy}, calls.Take());
    EXPECT_EQ(0, semaphore.IsCreated());
    EXPECT_EQ(1, semaphore.Create(NovuSemaphore::Signalled, nullptr, 0));
}

TEST_F(SemMacTest, TheDestructorDestroys) {
    MachCalls calls;
    {
        NovuSemaphore semaphore;
        ASSERT_EQ(1, semaphore.Create(NovuSemaphore::Signalled, nullptr, 0));
        calls.Take();
    }
    EXPECT_EQ(Calls{kDestroy}, calls.Take());
    {
        NovuEvent event;
        ASSERT_EQ(1, event.Create(1, 0, nullptr));
        calls.Take();
    }
    EXPECT_EQ(Calls{kDestroy}, calls.Take());
    EXPECT_EQ(0UL, MachSemaphoresAlive());
}

TEST_F(SemMacTest, ATimeoutIsPassedOnInSecondsAndNanoseconds) {
    const struct {
        int line;
        unsigned int timeout;
        const char* limit;
    } rows[] = {
        {__LINE__, 0, "0.000000000"},
        {__LINE__, 1, "0.001000000"},
        {__LINE__, 999, "0.999000000"},
        {__LINE__, 1000, "1.000000000"},
        {__LINE__, 61500, "61.500000000"},
        {__LINE__, 0xFFFFFFFE, "4294967.294000000"},
    };
    MachCalls calls;
    NovuSemaphore semaphore;
    ASSERT_EQ(1, semaphore.Create(NovuSemaphore::NotSignalled, nullptr, 0));
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        calls.Take();
        calls.Script(kTimedWait, {kTimedOut});
        EXPECT_EQ(0, semaphore.Wait(row.timeout));
        EXPECT_EQ(Calls{std::string(kTimedWait) + " " + row.limit},
                  calls.Take());
    }
}

// Each attempt has the whole limit, and the count falls once for both.
TEST_F(SemMacTest, AnInterruptedTimedWaitIsTriedOnceMore) {
    const struct {
        int line;
        std::deque<int> results;
        int result;
        unsigned int attempts;
    } rows[] = {
        {__LINE__, {kSuccess}, 1, 1},
        {__LINE__, {kTimedOut}, 0, 1},
        {__LINE__, {kInvalidArgument}, 0, 1},
        {__LINE__, {kAborted, kSuccess}, 1, 2},
        {__LINE__, {kAborted, kTimedOut}, 0, 2},
        {__LINE__, {kAborted, kInvalidArgument}, 0, 2},
        {__LINE__, {kAborted, kAborted, kSuccess}, 0, 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        for (const unsigned int timeout : {0U, 1500U}) {
            MachCalls calls;
            NovuSemaphore semaphore;
            ASSERT_EQ(1,
                      semaphore.Create(NovuSemaphore::Signalled, nullptr, 0));
            calls.Take();
            calls.Script(kTimedWait, row.results);
            EXPECT_EQ(row.result, semaphore.Wait(timeout));
            EXPECT_EQ(Calls(row.attempts, std::string(kTimedWait) +
                                              (timeout == 0 ? " 0.000000000"
                                                            : " 1.500000000")),
                      calls.Take());
            int count = 4711;
            EXPECT_EQ(1, semaphore.GetSemCounts(count));
            EXPECT_EQ(0, count);
        }
    }
}

TEST_F(SemMacTest, AWaitWithoutLimitIsTriedOnce) {
    for (const int failure : {kAborted, kInvalidArgument}) {
        MachCalls calls;
        NovuSemaphore semaphore;
        ASSERT_EQ(1, semaphore.Create(NovuSemaphore::NotSignalled, nullptr, 0));
        calls.Take();
        calls.Script(kWait, {failure, kSuccess});
        EXPECT_EQ(0, semaphore.Wait(kNoLimit));
        EXPECT_EQ(Calls{kWait}, calls.Take());
        EXPECT_EQ(1, semaphore.Wait(kNoLimit));
        int count = 4711;
        EXPECT_EQ(1, semaphore.GetSemCounts(count));
        EXPECT_EQ(-2, count);
    }
}

TEST_F(SemMacTest, APostSignalsAllAndClearsTheCountWhateverTheKernelAnswers) {
    for (const int result : {kSuccess, kInvalidArgument}) {
        MachCalls calls;
        NovuSemaphore semaphore;
        ASSERT_EQ(1, semaphore.Create(NovuSemaphore::Signalled, nullptr, 0));
        calls.Take();
        calls.Script(kSignalAll, {result});
        semaphore.Post();
        EXPECT_EQ(Calls{kSignalAll}, calls.Take());
        int count = 4711;
        EXPECT_EQ(1, semaphore.GetSemCounts(count));
        EXPECT_EQ(0, count);
    }
}

TEST_F(SemMacTest, AnEventIsPostedOncePerSet) {
    MachCalls calls;
    NovuEvent event;
    ASSERT_EQ(1, event.Create(1, 0, nullptr));
    calls.Take();
    EXPECT_EQ(1, event.Set());
    EXPECT_EQ(Calls{kSignalAll}, calls.Take());
    EXPECT_EQ(1, event.Set());
    EXPECT_EQ(1, event.Wait(kNoLimit));
    EXPECT_EQ(Calls{}, calls.Take());
}

// A post that is found when the wait has failed counts.
TEST_F(SemMacTest, ASetThatCameBeforeTheSleepCountsAtTheEndOfTheTime) {
    NovuEvent event;
    ASSERT_EQ(1, event.Create(1, 0, nullptr));
    MachCalls calls;
    calls.Script(kTimedWait, {kTimedOut});
    calls.Before(kTimedWait, [&] { event.Set(); });
    EXPECT_EQ(1, event.Wait(1000));
}

// [sem-9] Between the look and the sleep nobody is there to be woken.
TEST_F(SemMacTest, ASetBeforeTheSleepDoesNotEndIt) {
    NovuEvent event;
    ASSERT_EQ(1, event.Create(1, 0, nullptr));
    MachCalls calls;
    calls.Before(kWait, [&] { event.Set(); });
    int result = -1;
    std::thread waiter([&] { result = event.Wait(kNoLimit); });
    EXPECT_TRUE(
        NovuTest::Eventually([] { return NovuTest::MachSleepers() == 1; }));

    // Asleep on an event that is set; only a post wakes it.
    EXPECT_EQ(1, event.Set());
    EXPECT_EQ(1UL, NovuTest::MachSleepers());
    event.GetSemaphore()->Post();
    waiter.join();
    EXPECT_EQ(1, result);
}

// Nobody who is released sees the count as it was.
TEST_F(SemMacTest, TheCountIsClearedBeforeTheSignal) {
    NovuEvent event;
    ASSERT_EQ(1, event.Create(1, 0, nullptr));
    NovuSemaphore& semaphore = *event.GetSemaphore();
    for (const bool sets : {false, true}) {
        EXPECT_EQ(0, event.Wait(0));
        int count = 4711;
        EXPECT_EQ(1, semaphore.GetSemCounts(count));
        EXPECT_EQ(-1, count);
        MachCalls calls;
        calls.Before(kSignalAll, [&] { semaphore.GetSemCounts(count); });
        if (sets) {
            EXPECT_EQ(1, event.Set());
        } else {
            semaphore.Post();
        }
        EXPECT_EQ(0, count);
    }
}

// The implementation's fields, and its operation Destroy, which is behind the
// two slots of the destructor and Create.

const void* ImplementationOf(const NovuSemaphore& semaphore) {
    return FieldAt<const void*>(&semaphore, 8);
}

std::int32_t CreatedOf(const NovuSemaphore& semaphore) {
    return FieldAt<std::int32_t>(ImplementationOf(semaphore), 8);
}

int DestroyOnly(const NovuSemaphore& semaphore) {
    const void* const object = ImplementationOf(semaphore);
    return Slot<int(const void*)>(object, 3)(object);
}

// A try is a wait of no time, and stands beside the one with a limit.
TEST_F(SemMacTest, TheImplementationsWaitsHaveTheirSlots) {
    NovuSemaphore semaphore;
    ASSERT_EQ(1, semaphore.Create(NovuSemaphore::NotSignalled, nullptr, 0));
    const void* const object = ImplementationOf(semaphore);
    MachCalls calls;
    calls.Script(kTimedWait, {kTimedOut, kTimedOut});
    EXPECT_EQ(0, Slot<int(const void*)>(object, 5)(object));
    EXPECT_EQ(0, (Slot<int(const void*, unsigned int)>(object, 6)(object, 10)));
    const std::string wait = kTimedWait;
    EXPECT_EQ((Calls{wait + " 0.000000000", wait + " 0.010000000"}),
              calls.Take());
}

TEST_F(SemMacTest, TheImplementationHoldsTheTaskAndThePort) {
    NovuSemaphore first;
    NovuSemaphore second;
    std::uint32_t ports[2] = {};
    std::size_t made = 0;
    for (NovuSemaphore* const semaphore : {&first, &second}) {
        ASSERT_EQ(1, semaphore->Create(NovuSemaphore::Signalled, nullptr, 0));
        const void* const object = ImplementationOf(*semaphore);
        EXPECT_EQ(mach_task_self_, FieldAt<std::uint32_t>(object, 16));
        ports[made++] = FieldAt<std::uint32_t>(object, 20);
    }
    EXPECT_NE(0U, ports[0]);
    EXPECT_NE(ports[0], ports[1]);
}

TEST_F(SemMacTest, ACreateThatFailsHasStoredTheCount) {
    const auto state = static_cast<NovuSemaphore::SemInitState>(0x80000000U);
    MachCalls calls;
    NovuSemaphore semaphore;
    EXPECT_EQ(0, semaphore.Create(state, nullptr, 0));
    EXPECT_EQ(Calls{"semaphore_create 0 -2147483648"}, calls.Take());
    EXPECT_EQ(0, CreatedOf(semaphore));
    EXPECT_EQ(INT32_MIN,
              FieldAt<std::int32_t>(ImplementationOf(semaphore), 12));
}

TEST_F(SemMacTest, ItIsDestroyedWhereTheKernelSaysSo) {
    NovuSemaphore semaphore;
    ASSERT_EQ(1, semaphore.Create(NovuSemaphore::Signalled, nullptr, 0));
    {
        MachCalls calls;
        calls.Script(kDestroy, {kInvalidArgument});
        EXPECT_EQ(0, DestroyOnly(semaphore));
        EXPECT_EQ(Calls{kDestroy}, calls.Take());
    }
    EXPECT_EQ(1, CreatedOf(semaphore));
    EXPECT_EQ(1UL, MachSemaphoresAlive());
    EXPECT_EQ(1, semaphore.Wait(0));
    EXPECT_EQ(1, DestroyOnly(semaphore));
    EXPECT_EQ(0, CreatedOf(semaphore));
    EXPECT_EQ(0UL, MachSemaphoresAlive());
    EXPECT_EQ(0, semaphore.Wait(0));

    // The kernel is asked again, and by the destructor.
    MachCalls calls;
    EXPECT_EQ(0, DestroyOnly(semaphore));
    EXPECT_EQ(Calls{kDestroy}, calls.Take());
    EXPECT_EQ(1, semaphore.Destroy());
    EXPECT_EQ(Calls{kDestroy}, calls.Take());
}

}  // namespace
