// Concurrency: what tests with several threads share.

#ifndef NOVU_BASES_TESTS_SUPPORT_CONCURRENCY_H_
#define NOVU_BASES_TESTS_SUPPORT_CONCURRENCY_H_

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace NovuTest {

const unsigned int kNoLimit = 0xFFFFFFFF;

/// A limit that no test outlives: one that waits for it hangs.
const unsigned int kLongLimit = 0xFFFFFFFE;

/// A test that hangs ends the program.
class WithDeadline : public testing::Test {
protected:
    WithDeadline() { ::alarm(50); }
    ~WithDeadline() override { ::alarm(0); }
};

inline void SleepFor(std::chrono::milliseconds time) {
    std::this_thread::sleep_for(time);
}

/// Whether the condition comes to hold, within 20 seconds.
template <typename Condition>
bool Eventually(Condition holds) {
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        SleepFor(std::chrono::milliseconds(1));
    }
    return true;
}

template <typename Function>
auto OnAnotherThread(Function function) {
    decltype(function()) result{};
    std::thread([&] { result = function(); }).join();
    return result;
}

template <typename Function>
std::chrono::milliseconds TimeOf(Function function) {
    const auto begin = std::chrono::steady_clock::now();
    function();
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - begin);
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_CONCURRENCY_H_
