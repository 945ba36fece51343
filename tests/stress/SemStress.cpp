// Events and semaphores of Bases/Sem.h, many times. What a wait hands over is a
// plain number, so that the thread sanitizer sees whether the event orders it.

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <random>

#include "Bases/Sem.h"
#include "tests/stress/Stress.h"
#include "tests/support/SemaphoreName.h"

namespace {

using Novu::NovuEvent;
using Novu::NovuSemaphore;
using NovuTest::Crew;
using NovuTest::kNoLimit;
using NovuTest::SemaphoreName;

const unsigned int kRoundTrips = 200000;

// Two threads in turn: each waits for its event and sets the other's. A set
// that is lost hangs them, one that is met twice puts them out of step.
void PingPong(int manualReset) {
    NovuEvent ping;
    NovuEvent pong;
    ASSERT_EQ(1, ping.Create(manualReset, 0, nullptr));
    ASSERT_EQ(1, pong.Create(manualReset, 0, nullptr));
    unsigned int ball = 0;
    unsigned int failures = 0;

    Crew crew;
    crew.Add([&] {
        for (unsigned int i = 0; i < kRoundTrips; ++i) {
            failures += ping.Wait(kNoLimit) == 1 ? 0U : 1U;
            if (manualReset != 0) {
                ping.Reset();
            }
            failures += ball == 2 * i + 1 ? 0U : 1U;
            ++ball;
            pong.Set();
        }
    });
    for (unsigned int i = 0; i < kRoundTrips; ++i) {
        ++ball;
        ping.Set();
        failures += pong.Wait(kNoLimit) == 1 ? 0U : 1U;
        if (manualReset != 0) {
            pong.Reset();
        }
        failures += ball == 2 * i + 2 ? 0U : 1U;
    }
    crew.Join();
    EXPECT_EQ(0U, failures);
    EXPECT_EQ(2 * kRoundTrips, ball);
}

TEST(SemStress, PingPongWithAutomaticReset) { PingPong(0); }

TEST(SemStress, PingPongWithManualReset) { PingPong(1); }

// The waiting thread gives up again and again, at any moment of a set, and
// loses none by it.
TEST(SemStress, SetsAreNotLostOnWaitsThatTimeOut) {
    const unsigned int rounds = 5000;
    const std::mt19937::result_type seed = 1;
    NovuEvent event;
    NovuEvent taken;
    ASSERT_EQ(1, event.Create(0, 0, nullptr));
    ASSERT_EQ(1, taken.Create(0, 0, nullptr));

    Crew crew;
    crew.Add([&] {
        for (unsigned int i = 0; i < rounds; ++i) {
            while (event.Wait(1) == 0) {
            }
            taken.Set();
        }
    });
    std::mt19937 random(seed);
    for (unsigned int i = 0; i < rounds; ++i) {
        ::usleep(static_cast<useconds_t>(random() % 1500));
        event.Set();
        ASSERT_EQ(1, taken.Wait(kNoLimit));
    }
}

TEST(SemStress, PollsMissNoSet) {
    const unsigned int rounds = 50000;
    NovuEvent event;
    NovuEvent taken;
    ASSERT_EQ(1, event.Create(0, 0, nullptr));
    ASSERT_EQ(1, taken.Create(0, 0, nullptr));

    Crew crew;
    crew.Add([&] {
        for (unsigned int i = 0; i < rounds; ++i) {
            while (event.Wait(0) == 0) {
                ::sched_yield();
            }
            taken.Set();
        }
    });
    for (unsigned int i = 0; i < rounds; ++i) {
        event.Set();
        ASSERT_EQ(1, taken.Wait(kNoLimit));
    }
}

TEST(SemStress, ASetReleasesAllWhoWait) {
    const unsigned int rounds = 5000;
    const unsigned int waiters = 6;
    NovuEvent gates[2];  // In turn, since a gate is shut while all are away.
    NovuEvent allThere;
    for (NovuEvent& gate : gates) {
        ASSERT_EQ(1, gate.Create(1, 0, nullptr));
    }
    ASSERT_EQ(1, allThere.Create(0, 0, nullptr));
    std::atomic<unsigned int> there = 0;

    Crew crew;
    for (unsigned int waiter = 0; waiter < waiters; ++waiter) {
        crew.Add([&] {
            for (unsigned int i = 0; i < rounds; ++i) {
                if (++there == waiters) {
                    allThere.Set();
                }
                EXPECT_EQ(1, gates[i % 2].Wait(kNoLimit));
            }
        });
    }
    for (unsigned int i = 0; i < rounds; ++i) {
        ASSERT_EQ(1, allThere.Wait(kNoLimit));
        there = 0;
        gates[(i + 1) % 2].Reset();
        gates[i % 2].Set();
    }
}

TEST(SemStress, NamedSemaphoresBetweenTwoProcesses) {
    const unsigned int rounds = 50000;
    const SemaphoreName pingName;
    const SemaphoreName pongName;
    NovuSemaphore ping;
    NovuSemaphore pong;
    ASSERT_EQ(1, ping.Create(NovuSemaphore::NotSignalled, pingName, 0));
    ASSERT_EQ(1, pong.Create(NovuSemaphore::NotSignalled, pongName, 0));

    const pid_t child = ::fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        ::alarm(250);  // Alone, where the test has failed.
        // Opened anew, by name. Never released: that would remove the names.
        NovuSemaphore& childPing = *new NovuSemaphore;
        NovuSemaphore& childPong = *new NovuSemaphore;
        bool good =
            childPing.Create(NovuSemaphore::Signalled, pingName, 0) == 1 &&
            childPong.Create(NovuSemaphore::Signalled, pongName, 0) == 1;
        for (unsigned int i = 0; good && i < rounds; ++i) {
            good = childPing.Wait(kNoLimit) == 1;
            childPong.Post();
        }
        ::_exit(good ? 0 : 1);
    }
    for (unsigned int i = 0; i < rounds; ++i) {
        ping.Post();
        ASSERT_EQ(1, pong.Wait(kNoLimit));
    }
    int status = -1;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
    int count = -1;
    EXPECT_EQ(1, ping.GetSemCounts(count));
    EXPECT_EQ(0, count);
    EXPECT_EQ(1, pong.GetSemCounts(count));
    EXPECT_EQ(0, count);
}

}  // namespace
