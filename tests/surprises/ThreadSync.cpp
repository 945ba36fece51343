// The surprises of Bases/ThreadSync.h.

#include "Bases/ThreadSync.h"

#include "tests/support/SemaphoreName.h"
#include "tests/surprises/Seen.h"

namespace {

using Novu::Mutex;
using Novu::MutexLocker;
using NovuTest::SemaphoreName;
using NovuTest::Signals;
using NovuTest::SurprisesTest;

class ThreadSyncSurprisesTest : public SurprisesTest {
protected:
    const SemaphoreName name;
    Mutex mutex;
};

// [threadsync-1]
TEST_F(ThreadSyncSurprisesTest, threadsync_1) {
    ASSERT_EQ(1, mutex.Create(name));
    SEEN(mutex.Unlock(); mutex.Lock(0) == 1 && mutex.Lock(0) == 1);
}

// [threadsync-2]
TEST_F(ThreadSyncSurprisesTest, threadsync_2) {
    ASSERT_EQ(1, mutex.Create(nullptr));
    SEEN(mutex.Lock(0); mutex.Unlock(); mutex.Lock(0) == 0);
}

// [threadsync-3]
TEST_F(ThreadSyncSurprisesTest, threadsync_3) {
    SEEN(mutex.Open(name) == 1 && name.Exists());
}

// [threadsync-4]
TEST_F(ThreadSyncSurprisesTest, threadsync_4) {
    ASSERT_EQ(1, mutex.Create(name));
    const Signals signals;
    SEEN(mutex.Lock(0); { MutexLocker failed(mutex); } mutex.Lock(0) == 1);
}

// [threadsync-5]
TEST_F(ThreadSyncSurprisesTest, threadsync_5) {
    SEEN(Mutex first(name); first.Lock(0);
         { Mutex second(name); } Mutex third(name); third.Lock(0) == 1);
}

}  // namespace
