// Starts and stops of Bases/Thread.h, many times.

#include <gtest/gtest.h>
#include <unistd.h>

#include <random>

#include "Bases/Sem.h"
#include "Bases/Thread.h"
#include "tests/stress/Stress.h"

namespace {

using NovuTest::Crew;
using NovuTest::kNoLimit;

// How long a body takes: not at all, for a while, or until it is asked to stop,
// by one of the two ways to learn of that.
enum class Length { Zero, Random, UntilPolled, UntilSet };

class Worker : public Novu::Thread {
public:
    Worker() = default;
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker() override { StopThread(kNoLimit, 1); }

    int OnThreadEntry() override {
        switch (length) {
            case Length::Zero:
                break;
            case Length::Random:
                while (steps != 0 && IsStopThread(0) == 0) {
                    --steps;
                }
                break;
            case Length::UntilPolled:
                while (IsStopThread(0) == 0) {
                    YieldThread();
                }
                break;
            case Length::UntilSet:
                failures += GetStopThreadEvent()->Wait(kNoLimit) == 1 ? 0U : 1U;
                break;
        }
        ++bodies;
        return 0;
    }

    // Of the owner while the body does not run, of the body while it does.
    Length length = Length::Zero;
    unsigned int steps = 0;
    unsigned int bodies = 0;
    unsigned int failures = 0;
};

void StartAndStop(unsigned int rounds, std::mt19937::result_type seed) {
    std::mt19937 random(seed);
    Worker worker;
    for (unsigned int i = 0; i < rounds; ++i) {
        worker.length = static_cast<Length>(random() % 4);
        worker.steps = static_cast<unsigned int>(random() % 20000);
        const int suspended = random() % 4 == 0 ? 1 : 0;
        ASSERT_EQ(1, worker.StartThread(suspended));
        if (suspended != 0 && random() % 2 == 0) {
            ASSERT_EQ(1, worker.ResumeThread());
        }
        if (random() % 8 == 0) {
            worker.StopThreadEvent();
        }
        worker.StopThread(kNoLimit, static_cast<int>(random() % 2));
        ASSERT_EQ(0, worker.IsThreadRunning());
        ASSERT_EQ(i + 1, worker.bodies);
    }
    EXPECT_EQ(0U, worker.failures);
}

TEST(ThreadStress, StartsAndStops) { StartAndStop(40000, 1); }

TEST(ThreadStress, StartsAndStopsOfFourOwnersAtOnce) {
    Crew crew;
    for (unsigned int owner = 0; owner < 4; ++owner) {
        crew.Add([owner] { StartAndStop(2500, owner + 2); });
    }
}

}  // namespace
