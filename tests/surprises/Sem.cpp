// The surprises of Bases/Sem.h. Those of macOS are in SemMacTest.cpp.

#include "Bases/Sem.h"

#include <semaphore.h>

#include <future>

#include "tests/support/NextSymbol.h"
#include "tests/support/SemaphoreName.h"
#include "tests/surprises/Seen.h"

namespace {

int resets = 0;  // How often the system was asked for a count.

}  // namespace

extern "C" int sem_getvalue(sem_t* handle, int* value) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(sem_t*, int*)>("sem_getvalue");
    ++resets;
    return next(handle, value);
}

namespace {

using Novu::NovuEvent;
using Novu::NovuSemaphore;
using NovuTest::Eventually;
using NovuTest::SemaphoreName;
using NovuTest::Signals;
using NovuTest::SurprisesTest;

const auto kZero = NovuSemaphore::NotSignalled;
const auto kOne = NovuSemaphore::Signalled;

class SemSurprisesTest : public SurprisesTest {
protected:
    const SemaphoreName name;
    NovuSemaphore semaphore;
    NovuSemaphore other;
    NovuEvent event;
    NovuEvent a;
    NovuEvent b;
};

// [sem-1]
TEST_F(SemSurprisesTest, sem_1) {
    ASSERT_EQ(1, semaphore.Create(kZero, nullptr, 0));
    const Signals signals;
    SEEN(semaphore.Wait(0xFFFFFFFF) == 0);
}

// [sem-2]
TEST_F(SemSurprisesTest, sem_2) {
    ASSERT_EQ(1, semaphore.Create(kZero, nullptr, 0));
    SEEN(semaphore.Post(); semaphore.Wait(0) == 0);
}

// [sem-3] That would be 49 days.
TEST_F(SemSurprisesTest, sem_3) {
    ASSERT_EQ(1, semaphore.Create(kZero, name, 0));
    SEEN(semaphore.Wait(0xFFFFFFFE) == 0);
}

// [sem-4]
TEST_F(SemSurprisesTest, sem_4) {
    ASSERT_EQ(1, semaphore.Create(kZero, name, 0));
    ASSERT_EQ(1, other.Create(kZero, name, 0));
    SEEN(other.Destroy(); other.Create(NovuSemaphore::NotSignalled, name, 0);
         semaphore.Post(); other.Wait(0) == 0);
}

// [sem-5]
TEST_F(SemSurprisesTest, sem_5) {
    ASSERT_EQ(1, semaphore.Create(kOne, name, 0));
    SEEN(other.Create(NovuSemaphore::NotSignalled, name, 1);
         other.Wait(0) == 1);
}

// [sem-6]
TEST_F(SemSurprisesTest, sem_6) {
    SEEN(semaphore.Create(NovuSemaphore::Signalled, "", 0) == 0 &&
         semaphore.IsCreated() == 1);
}

// [sem-8]
TEST_F(SemSurprisesTest, sem_8) {
    ASSERT_EQ(1, semaphore.Create(kZero, nullptr, 0));
    int count = 4711;
    SEEN(semaphore.Wait(0); semaphore.Wait(0);
         semaphore.GetSemCounts(count) == 1 && count == -2);
}

// [sem-10]
TEST_F(SemSurprisesTest, sem_10) {
    ASSERT_EQ(1, event.Create(0, 0, nullptr));
    const auto wait = [&] { return event.Wait(0xFFFFFFFF); };
    auto firstWait = std::async(std::launch::async, wait);
    auto secondWait = std::async(std::launch::async, wait);
    EXPECT_TRUE(Eventually([&] {
        int count = 0;
        return event.GetSemaphore()->GetSemCounts(count) == 1 && count == -2;
    }));
    NovuTest::SleepFor(std::chrono::milliseconds(50));
    SEEN(event.Set(); firstWait.get() == 1 && secondWait.get() == 1);
}

// [sem-11]
TEST_F(SemSurprisesTest, sem_11) {
    ASSERT_EQ(1, a.Create(1, 0, name));
    ASSERT_EQ(1, b.Create(1, 0, name));
    SEEN(a.Set(); b.Wait(0) == 1 && b.Wait(0) == 0);
}

// [sem-12]
TEST_F(SemSurprisesTest, sem_12) {
    ASSERT_EQ(1, a.Create(1, 0, name));
    SEEN(b.Open(name); b.Set(); b.Wait(0) == 1 && b.Wait(0) == 0);
}

// [sem-13]
TEST_F(SemSurprisesTest, sem_13) {
    SEEN(event.Set() == 1 && event.Reset() == 0 && event.Wait(0) == 1);
}

// [sem-14]
TEST_F(SemSurprisesTest, sem_14) {
    ASSERT_EQ(1, event.Create(0, 0, name));
    resets = 0;
    SEEN(event.Wait(0) == 0 && resets == 1);
}

// [sem-15]
TEST_F(SemSurprisesTest, sem_15) {
    ASSERT_EQ(1, event.Create(1, 0, nullptr));
    SEEN(event.Set(); event.Close(); event.Wait(0) == 1);
}

// [sem-16]
TEST_F(SemSurprisesTest, sem_16) {
    ASSERT_EQ(1, a.Create(1, 0, name));
    ASSERT_EQ(1, b.Create(0, 0, name));
    SEEN(a.Set(); b.Wait(0) == 1 && a.Set() == 1 && b.Wait(0) == 0);

    // A reset is no way round, where the other side has not woken yet.
    EXPECT_EQ(1, a.Reset());
    EXPECT_EQ(1, a.Set());
    EXPECT_EQ(1, a.Reset());
    EXPECT_EQ(0, b.Wait(0));
}

}  // namespace
