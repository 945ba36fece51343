// Forced stops of Bases/Thread.h, many times.

#include <gtest/gtest.h>
#include <unistd.h>

#include <random>

#include "Bases/Sem.h"
#include "Bases/Thread.h"
#include "tests/stress/Stress.h"

namespace {

using NovuTest::kNoLimit;

class Noting {
public:
    explicit Noting(unsigned int& where) : count(where) {}
    Noting(const Noting&) = delete;
    Noting& operator=(const Noting&) = delete;
    ~Noting() { ++count; }

private:
    unsigned int& count;
};

// Never looks for a stop; waits for what does not come.
class Stubborn : public Novu::Thread {
public:
    Stubborn() { never.Create(1, 0, nullptr); }
    Stubborn(const Stubborn&) = delete;
    Stubborn& operator=(const Stubborn&) = delete;
    ~Stubborn() override { StopThread(0, 1); }

    int OnThreadEntry() override {
        const Noting noting(left);
        ++entered;
        switch (way % 4) {
            case 0:
                never.Wait(kNoLimit);
                break;
            case 1:
                never.Wait(1000000);
                break;
            case 2:
                for (;;) {
                    never.Wait(1);
                }
            default:
                for (;;) {
                    ::usleep(1);
                }
        }
        return 0;
    }

    unsigned int way = 0;
    unsigned int entered = 0;
    unsigned int left = 0;

private:
    Novu::NovuEvent never;
};

TEST(ThreadForcedStopStress, EveryForcedStopEndsTheThread) {
    const std::mt19937::result_type seed = 1;
    std::mt19937 random(seed);
    Stubborn stubborn;
    for (unsigned int i = 0; i < 10000; ++i) {
        stubborn.way = i;
        ASSERT_EQ(1, stubborn.StartThread(0));
        if (random() % 4 == 0) {
            ::usleep(static_cast<useconds_t>(random() % 200));
        }
        stubborn.StopThread(0, 1);
        ASSERT_EQ(0, stubborn.IsThreadRunning());
        // Forced before its body began, a thread has nothing to leave.
        ASSERT_EQ(stubborn.entered, stubborn.left);
    }
    EXPECT_GT(stubborn.entered, 0U);
}

}  // namespace
