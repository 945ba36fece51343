// The surprises of Bases/Shm.h.

#include "Bases/Shm.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <string>

#include "tests/support/AsUser.h"
#include "tests/support/NextSymbol.h"
#include "tests/surprises/Seen.h"

namespace {

bool answersZero = false;  // shmget, to everything.

}  // namespace

extern "C" int shmget(key_t key, size_t size, int flags) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(key_t, size_t, int)>("shmget");
    return answersZero ? 0 : next(key, size, flags);
}

namespace {

using Novu::Shm;
using NovuTest::AsUser;
using NovuTest::Outcome;
using NovuTest::SurprisesTest;

const auto* const allOnes = reinterpret_cast<unsigned char*>(-1);

class ShmSurprisesTest : public SurprisesTest {
protected:
    // The system's first segment has the identifier 0: see [shm-3].
    ShmSurprisesTest() : first(::shmget(IPC_PRIVATE, 1, 0600)) {}
    ShmSurprisesTest(const ShmSurprisesTest&) = delete;
    ShmSurprisesTest& operator=(const ShmSurprisesTest&) = delete;
    ~ShmSurprisesTest() override { ::shmctl(first, IPC_RMID, nullptr); }

    const std::string text = "novu-seen-" + std::to_string(::getpid());
    const char* const name = text.c_str();
    Shm a;
    Shm b;

private:
    const int first;
};

// [shm-1]
TEST_F(ShmSurprisesTest, shm_1) {
    SEEN(a.Create(100, name, 1, 0); b.Open(name, 1); b.Close();
         a.Map() == allOnes);
}

// [shm-2]
TEST_F(ShmSurprisesTest, shm_2) {
    EXPECT_EQ(Outcome::Held, AsUser([&] {
                  Shm mine;
                  SEEN(mine.Create(100, name, 0, 0) && mine.Map() == allOnes);
              }));
}

// [shm-3]
TEST_F(ShmSurprisesTest, shm_3) {
    answersZero = true;
    SEEN(a.Create(100, name, 1, 0) && !a.IsOpened() && a.Map() == nullptr);
    answersZero = false;
}

// [shm-4]
TEST_F(ShmSurprisesTest, shm_4) {
    ASSERT_TRUE(a.Create(100, name, 1, 0));
    SEEN(!b.Create(100, name, 1, 0) && b.IsOpened() && !b.Open(name, 1));
}

// [shm-5]
TEST_F(ShmSurprisesTest, shm_5) { SEEN(a.Open(name, 1) && a.Map() == allOnes); }

// [shm-6]
TEST_F(ShmSurprisesTest, shm_6) {
    SEEN(a.Open(name, 1); a.Map() != nullptr && a.Map() == allOnes);
}

// [shm-7]
TEST_F(ShmSurprisesTest, shm_7) {
    const std::string key = text;
    SEEN(a.Create(100, (key + "aB").c_str(), 1, 0) &&
         !b.Create(100, (key + "b!").c_str(), 1, 0));
}

}  // namespace
