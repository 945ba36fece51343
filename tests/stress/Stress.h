// Stress: what the stress programs share. A round that hangs is ended by the
// deadline of ctest.

#ifndef NOVU_BASES_TESTS_STRESS_STRESS_H_
#define NOVU_BASES_TESTS_STRESS_STRESS_H_

#include <thread>
#include <vector>

#include "tests/support/Concurrency.h"

namespace NovuTest {

/// Threads that are joined at the end of their scope.
class Crew {
public:
    Crew() = default;
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;
    ~Crew() { Join(); }

    template <typename Body>
    void Add(Body body) {
        threads.emplace_back(body);
    }

    void Join() {
        for (std::thread& thread : threads) {
            thread.join();
        }
        threads.clear();
    }

private:
    std::vector<std::thread> threads;
};

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_STRESS_STRESS_H_
