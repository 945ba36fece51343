// What holds for Bases/Sem.h on Linux alone: when it calls the system, what
// ends a sleep, and that no post is missed.
//
// Threads sleep in futex calls, which the library makes through syscall. While
// a Futexes lives, the stand-in below counts them, and may answer in the
// kernel's place; another has the clock say what a test wants. The last part
// runs calls an instruction at a time, to let another thread in between any two
// of them.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>
#include <linux/futex.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#if defined(__x86_64__)
#include <x86intrin.h>
#endif

#include "Bases/Sem.h"
#include "tests/support/Concurrency.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/ObjectBytes.h"
#include "tests/support/SemaphoreName.h"
#include "tests/support/ThreadState.h"
#include "tests/support/Umask.h"

namespace {

using Clock = std::chrono::steady_clock;

// Futex calls

const int kKernel = -1;  // An answer: what the kernel answers.

// Answers a sleep with 0, an errno or kKernel. The time, of the monotonic
// clock, is null for a sleep without a limit.
using Answer = std::function<int(const timespec* until)>;

class Futexes;
Futexes* futexes = nullptr;

// The futex calls of a scope. One at a time, made before the threads that call
// and destroyed after them.
class Futexes {
public:
    explicit Futexes(Answer sleepsAnswer = nullptr)
        : answer(std::move(sleepsAnswer)) {
        futexes = this;
    }
    Futexes(const Futexes&) = delete;
    Futexes& operator=(const Futexes&) = delete;
    ~Futexes() { futexes = nullptr; }

    int Sleep(const timespec* until) {
        ++sleeps;
        return answer ? answer(until) : kKernel;
    }

    std::atomic<int> sleeps = 0;
    std::atomic<int> sleeping = 0;  // In the kernel, or about to be.
    std::atomic<int> wakes = 0;
    std::atomic<int> others = 0;

private:
    const Answer answer;
};

// What the clock of this thread says; null for the time.
thread_local const timespec* clockSays = nullptr;

}  // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* out) noexcept {
    using Function = int(clockid_t, timespec*);
    static std::atomic<Function*> found = nullptr;
    if (clockSays != nullptr) {
        *out = *clockSays;
        return 0;
    }
    Function* next = found;
    if (next == nullptr) {
        next = NovuTest::NextSymbol<Function>("clock_gettime");
        found = next;
    }
    return next(clock, out);
}

extern "C" long syscall(long number, ...) noexcept {
    // No static local: its guard may itself call syscall.
    using Function = long(long, ...);
    static std::atomic<Function*> found = nullptr;
    Function* next = found;
    if (next == nullptr) {
        next = NovuTest::NextSymbol<Function>("syscall");
        found = next;
    }

    std::array<long, 6> a{};
    va_list list;
    va_start(list, number);
    for (long& argument : a) {
        argument = va_arg(list, long);
    }
    va_end(list);
    const auto pass = [&] {
        return next(number, a[0], a[1], a[2], a[3], a[4], a[5]);
    };

    if (futexes == nullptr) {
        return pass();
    }
    const int command =
        number == SYS_futex ? static_cast<int>(a[1]) & FUTEX_CMD_MASK : -1;
    if (command != FUTEX_WAIT_BITSET) {
        ++(command == FUTEX_WAKE ? futexes->wakes : futexes->others);
        return pass();
    }
    const int answer = futexes->Sleep(reinterpret_cast<const timespec*>(a[3]));
    if (answer == kKernel) {
        ++futexes->sleeping;
        const long result = pass();
        --futexes->sleeping;
        return result;
    }
    errno = answer;
    return answer == 0 ? 0 : -1;
}

namespace {

using Novu::NovuEvent;
using Novu::NovuSemaphore;
using NovuTest::FieldAt;
using NovuTest::kLongLimit;
using NovuTest::kNoLimit;
using NovuTest::SemaphoreName;

// Threads that wait

template <typename Condition>
bool Await(Condition condition) {
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (Clock::now() > deadline) {
            return false;
        }
        // No yield: it would slow down the thread that is waited for.
        std::this_thread::sleep_for(std::chrono::microseconds(30));
    }
    return true;
}

// A thread in one call, which sleeps on `semaphore`. While a Futexes lives, it
// is asleep in such a call; else anywhere.
class Caller {
public:
    Caller(NovuSemaphore& semaphore, std::function<int()> its)
        : sleepsOn(semaphore),
          call(std::move(its)),
          thread([this] { Run(); }) {}
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;
    ~Caller() {
        if (thread.joinable()) {
            Result();
        }
    }

    bool HasEnded() const { return ended; }

    bool IsAsleep() const {
        return (futexes == nullptr || futexes->sleeping != 0) &&
               NovuTest::StateOf(id) == 'S';
    }

    bool AwaitAsleep() {
        return Await([&] { return IsAsleep(); });
    }

    void Signal() {
        EXPECT_EQ(0, ::pthread_kill(thread.native_handle(), SIGUSR1));
    }

    // Of the call, which must end: where it does not, posts end it, and its
    // result is -1.
    int Result() {
        const bool ends = Await([&] { return HasEnded(); });
        EXPECT_TRUE(ends) << "it still waits";
        while (!HasEnded()) {
            sleepsOn.Post();
            std::this_thread::yield();
        }
        thread.join();
        return ends ? result : -1;
    }

private:
    void Run() {
        id = ::gettid();
        result = call();
        ended = true;
    }

    NovuSemaphore& sleepsOn;
    const std::function<int()> call;
    std::atomic<pid_t> id = 0;
    int result = -1;
    std::atomic<bool> ended = false;
    std::thread thread;  // The last: it uses the others.
};

// The function of the C library itself. A sanitizer's does work of its own
// around it, and runs signal handlers later.
template <typename Function>
Function* InCLibrary(const char* name) {
    return reinterpret_cast<Function*>(
        ::dlsym(::dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD), name));
}

// A signal handler of a scope.
class Handler {
public:
    Handler(int handledSignal, void (*handler)(int, siginfo_t*, void*),
            int flags = 0)
        : signal(handledSignal) {
        struct sigaction action {};
        action.sa_sigaction = handler;
        action.sa_flags = SA_SIGINFO | flags;
        EXPECT_EQ(0, change(signal, &action, &before));
    }
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;
    ~Handler() { EXPECT_EQ(0, change(signal, &before, nullptr)); }

private:
    using Function = int(int, const struct sigaction*, struct sigaction*);

    const int signal;
    Function* const change = InCLibrary<Function>("sigaction");
    struct sigaction before {};
};

// Native operations in the handlers, which run outside the sanitizers' view.
int interruptions = 0;

int Interruptions() {
    return __atomic_load_n(&interruptions, __ATOMIC_SEQ_CST);
}

[[gnu::no_sanitize_address, gnu::no_sanitize_thread]] void NoteInterruption(
    int /*signal*/, siginfo_t* /*info*/, void* /*context*/) {
    __atomic_add_fetch(&interruptions, 1, __ATOMIC_SEQ_CST);
}

int CountOf(NovuSemaphore& semaphore) {
    int count = 4711;
    EXPECT_EQ(1, semaphore.GetSemCounts(count));
    return count;
}

class PlainSemaphore : public NovuSemaphore {
public:
    explicit PlainSemaphore(unsigned int count = 0) {
        EXPECT_EQ(1, Create(static_cast<SemInitState>(count), nullptr, 0));
    }
};

class PlainEvent : public NovuEvent {
public:
    explicit PlainEvent(int manualReset) {
        EXPECT_EQ(1, Create(manualReset, 0, nullptr));
    }
};

const void* ImplementationOf(const NovuSemaphore& semaphore) {
    return FieldAt<const void*>(&semaphore, sizeof(void*));
}

// Layout

TEST(SemLinuxTest, TheImplementationHoldsTheProcessAndWhatIsLeft) {
    PlainSemaphore semaphore(5);
    const auto word = [&](std::size_t offset) {
        return FieldAt<std::uint32_t>(ImplementationOf(semaphore), offset);
    };
    EXPECT_EQ(static_cast<std::uint32_t>(::getpid()), word(16));
    EXPECT_EQ(5U, word(20));
    EXPECT_EQ(1, semaphore.Wait(0));
    EXPECT_EQ(1, semaphore.Wait(1000));
    EXPECT_EQ(1, semaphore.Wait(kNoLimit));
    EXPECT_EQ(2U, word(20));
    semaphore.Post();
    EXPECT_EQ(2U, word(20));
}

// Wakes

TEST(SemLinuxTest, OnePostWakesAllWhoSleepByOneCall) {
    for (const int sleepers : {1, 5}) {
        Futexes calls;
        PlainSemaphore semaphore;
        std::vector<std::unique_ptr<Caller>> callers;
        for (int i = 0; i < sleepers; ++i) {
            const unsigned int timeout = i % 2 == 0 ? kNoLimit : 60000;
            callers.push_back(std::make_unique<Caller>(
                semaphore, [&, timeout] { return semaphore.Wait(timeout); }));
        }
        for (const auto& caller : callers) {
            EXPECT_TRUE(caller->AwaitAsleep());
        }
        // All of them, not one that another is taken for.
        EXPECT_TRUE(Await([&] { return calls.sleeping == sleepers; }));
        for (const auto& caller : callers) {
            EXPECT_TRUE(caller->AwaitAsleep());
        }
        EXPECT_EQ(0, calls.wakes);
        semaphore.Post();
        EXPECT_EQ(1, calls.wakes);
        for (const auto& caller : callers) {
            EXPECT_EQ(1, caller->Result());
        }
        EXPECT_EQ(sleepers, calls.sleeps);
        EXPECT_EQ(0, calls.others);
    }
}

// However the last sleep ended.
TEST(SemLinuxTest, APostWithoutASleeperWakesNobody) {
    for (const int answer : {0, EINTR, ETIMEDOUT}) {
        NovuSemaphore* toPost = nullptr;
        Futexes calls([&](const timespec* /*until*/) {
            if (answer == 0) {
                toPost->Post();
            }
            return answer;
        });
        PlainSemaphore semaphore;
        toPost = &semaphore;
        EXPECT_EQ(answer == 0 ? 1 : 0, semaphore.Wait(1000));
        const int wakes = answer == 0 ? 1 : 0;  // Of the sleeper's own post.
        EXPECT_EQ(wakes, calls.wakes);
        semaphore.Post();
        EXPECT_EQ(wakes, calls.wakes);
        EXPECT_EQ(0, calls.others);
    }
}

// What sleeps answer
//
// A letter for each: w woken, a the kernel sees another generation, i
// interrupted, t the time is over, n the kernel cannot. Capital where there is
// a post meanwhile.

int AnswerOf(char letter) {
    switch (letter) {
        case 'w':
        case 'W':
            return 0;
        case 'a':
        case 'A':
            return EAGAIN;
        case 'i':
        case 'I':
            return EINTR;
        case 't':
        case 'T':
            return ETIMEDOUT;
        default:
            return ENOSYS;
    }
}

struct SleepRow {
    int line;
    unsigned int timeout;
    std::string sleeps;
    int result;
};

const std::vector<SleepRow>& SleepRows() {
    static const std::vector<SleepRow> rows = {
        {__LINE__, kNoLimit, "W", 1},
        {__LINE__, kNoLimit, "A", 1},
        {__LINE__, 1000, "W", 1},
        // Interruptions, and a post that is found at one.
        {__LINE__, kNoLimit, "i", 0},
        {__LINE__, kNoLimit, "I", 1},
        {__LINE__, 1000, "ii", 0},
        {__LINE__, 1000, "iW", 1},
        {__LINE__, 1000, "I", 1},
        {__LINE__, 1000, "iI", 1},
        {__LINE__, 1000, "it", 0},
        // The end of the time, and a post that is found at it.
        {__LINE__, 1000, "t", 0},
        {__LINE__, 1000, "T", 1},
        {__LINE__, 1000, "iT", 1},
        // Woken for nothing.
        {__LINE__, kNoLimit, "wwW", 1},
        {__LINE__, kNoLimit, "aA", 1},
        {__LINE__, kNoLimit, "wi", 0},
        {__LINE__, 1000, "wwt", 0},
        {__LINE__, 1000, "wW", 1},
        {__LINE__, 1000, "wiwi", 0},
        {__LINE__, kNoLimit, "n", 0},
        {__LINE__, 1000, "n", 0},
    };
    return rows;
}

// Runs a call whose sleeps answer the letters; `post` is done at the capitals.
template <typename Call, typename Post>
int RunAnswered(const SleepRow& row, Call call, Post post) {
    std::size_t slept = 0;
    Futexes calls([&](const timespec* until) {
        EXPECT_EQ(row.timeout == kNoLimit, until == nullptr);
        if (slept == row.sleeps.size()) {
            ADD_FAILURE() << "a sleep too many";
            post();
            return EINTR;
        }
        const char letter = row.sleeps[slept++];
        if (letter >= 'A' && letter <= 'Z') {
            post();
        }
        return AnswerOf(letter);
    });
    const int result = call();
    EXPECT_EQ(row.sleeps.size(), slept);
    return result;
}

// [sem-1]
TEST(SemLinuxTest, AWaitEndsByWhatItsSleepsAnswer) {
    for (const SleepRow& row : SleepRows()) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        PlainSemaphore semaphore;
        EXPECT_EQ(row.result,
                  RunAnswered(
                      row, [&] { return semaphore.Wait(row.timeout); },
                      [&] { semaphore.Post(); }));
        // Lowered once, and 0 after a post.
        EXPECT_EQ(row.result == 1 ? 0 : -1, CountOf(semaphore));
        EXPECT_EQ(0, semaphore.Wait(0));
    }
}

// [sem-1]
TEST(SemLinuxTest, AnEventsWaitEndsByWhatItsSleepsAnswer) {
    for (const SleepRow& row : SleepRows()) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        for (const int manualReset : {0, 1}) {
            PlainEvent event(manualReset);
            EXPECT_EQ(row.result,
                      RunAnswered(
                          row, [&] { return event.Wait(row.timeout); },
                          [&] { EXPECT_EQ(1, event.Set()); }));
            EXPECT_EQ(row.result * manualReset, event.Wait(0));
        }
    }
}

timespec Now() {
    timespec now{};
    EXPECT_EQ(0, ::clock_gettime(CLOCK_MONOTONIC, &now));
    return now;
}

std::int64_t Nanoseconds(const timespec& time) {
    return std::int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

// The whole limit from where each sleep begins; the same end for one that is
// woken for nothing.
TEST(SemLinuxTest, ASleepEndsWhenTheLimitIsOver) {
    const unsigned int limits[] = {1,    10,    999,        1000,      1001,
                                   1999, 60000, 2147483648, 4294967294};
    for (const unsigned int limit : limits) {
        for (int round = 0; round < 50; ++round) {
            std::vector<timespec> untils;
            std::vector<std::int64_t> times;  // Those at which sleeps began.
            Futexes calls([&](const timespec* until) {
                untils.push_back(*until);
                times.push_back(Nanoseconds(Now()));
                static const int kAnswers[] = {0, EINTR, 0, ETIMEDOUT};
                return kAnswers[untils.size() - 1];
            });
            PlainSemaphore semaphore;
            const std::int64_t start = Nanoseconds(Now());
            EXPECT_EQ(0, semaphore.Wait(limit));
            ASSERT_EQ(4U, untils.size());
            for (const timespec& until : untils) {
                EXPECT_LE(0, until.tv_nsec);
                EXPECT_GT(1000000000, until.tv_nsec);
            }
            const std::int64_t length = std::int64_t{limit} * 1000000;
            EXPECT_LE(start + length, Nanoseconds(untils[0]));
            EXPECT_GE(times[0] + length, Nanoseconds(untils[0]));
            EXPECT_EQ(Nanoseconds(untils[0]), Nanoseconds(untils[1]));
            EXPECT_LE(times[1] + length, Nanoseconds(untils[2]));
            EXPECT_GE(times[2] + length, Nanoseconds(untils[2]));
            EXPECT_EQ(Nanoseconds(untils[2]), Nanoseconds(untils[3]));
        }
    }
}

TEST(SemLinuxTest, ASleepEndsAtATimeThatTheKernelTakes) {
    const struct {
        int line;
        timespec now;
        unsigned int limit;
        timespec until;
    } rows[] = {
        {__LINE__, {7, 998999999}, 1, {7, 999999999}},
        {__LINE__, {7, 999000000}, 1, {8, 0}},
        {__LINE__, {7, 999000001}, 1, {8, 1}},
        {__LINE__, {7, 999999999}, 1, {8, 999999}},
        {__LINE__, {7, 999999999}, 1999, {9, 998999999}},
        {__LINE__, {7, 0}, 1000, {8, 0}},
        {__LINE__, {7, 1000000}, 999, {8, 0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        timespec until{-1, -1};
        Futexes calls([&](const timespec* asked) {
            until = *asked;
            return ETIMEDOUT;
        });
        PlainSemaphore semaphore;
        clockSays = &row.now;
        const int result = semaphore.Wait(row.limit);
        clockSays = nullptr;
        EXPECT_EQ(0, result);
        EXPECT_EQ(1, calls.sleeps);
        EXPECT_EQ(row.until.tv_sec, until.tv_sec);
        EXPECT_EQ(row.until.tv_nsec, until.tv_nsec);
    }
}

// Signals

// [sem-1]
TEST(SemLinuxTest, AHandlerEndsAWaitWithoutALimitUnlessItRestarts) {
    for (const int flags : {0, SA_RESTART}) {
        SCOPED_TRACE(flags);
        const Handler handler(SIGUSR1, NoteInterruption, flags);
        Futexes calls;
        PlainSemaphore semaphore;
        Caller caller(semaphore, [&] { return semaphore.Wait(kNoLimit); });
        ASSERT_TRUE(caller.AwaitAsleep());
        const int before = Interruptions();
        caller.Signal();
        EXPECT_TRUE(Await([&] { return Interruptions() == before + 1; }));
        if (flags == SA_RESTART) {
            EXPECT_TRUE(caller.AwaitAsleep());
            semaphore.Post();
            EXPECT_EQ(1, caller.Result());
        } else {
            EXPECT_EQ(0, caller.Result());
            EXPECT_EQ(-1, CountOf(semaphore));
        }
        EXPECT_EQ(1, calls.sleeps);
    }
}

// [sem-1]
TEST(SemLinuxTest, AnEventsWaitIsInterruptedLikeASemaphores) {
    const Handler handler(SIGUSR1, NoteInterruption);
    for (const int manualReset : {0, 1}) {
        Futexes calls;
        PlainEvent event(manualReset);
        Caller caller(*event.GetSemaphore(),
                      [&] { return event.Wait(kNoLimit); });
        ASSERT_TRUE(caller.AwaitAsleep());
        caller.Signal();
        EXPECT_EQ(0, caller.Result());
        EXPECT_EQ(1, event.Set());
        EXPECT_EQ(1, event.Wait(kNoLimit));
    }
}

// [sem-1]
TEST(SemLinuxTest, AWaitWithALimitBeginsAgainWithAllOfItOnce) {
    for (const int flags : {0, SA_RESTART}) {
        SCOPED_TRACE(flags);
        const Handler handler(SIGUSR1, NoteInterruption, flags);
        const auto limit = std::chrono::milliseconds(200);
        {
            Futexes calls;
            PlainSemaphore semaphore;
            Caller caller(semaphore, [&] { return semaphore.Wait(200); });
            ASSERT_TRUE(caller.AwaitAsleep());
            std::this_thread::sleep_for(limit / 4);
            const auto interrupted = Clock::now();
            caller.Signal();
            EXPECT_EQ(0, caller.Result());
            // Unless the signal came too late, on a machine under load.
            if (calls.sleeps == 2) {
                EXPECT_LE(limit, Clock::now() - interrupted);
            }
        }
        Futexes calls;
        PlainSemaphore semaphore;
        Caller caller(semaphore, [&] { return semaphore.Wait(kLongLimit); });
        ASSERT_TRUE(caller.AwaitAsleep());
        caller.Signal();
        EXPECT_TRUE(Await([&] { return calls.sleeps == 2; }));
        ASSERT_TRUE(caller.AwaitAsleep());
        EXPECT_FALSE(caller.HasEnded());
        caller.Signal();
        EXPECT_EQ(0, caller.Result());
        EXPECT_EQ(2, calls.sleeps);
        EXPECT_EQ(-1, CountOf(semaphore));
    }
}

// [sem-1]
TEST(SemLinuxTest, AHandlerEndsANamedOnesWaitUnlessItRestarts) {
    for (const int flags : {0, SA_RESTART}) {
        SCOPED_TRACE(flags);
        const Handler handler(SIGUSR1, NoteInterruption, flags);
        const SemaphoreName name;
        NovuSemaphore semaphore;
        EXPECT_EQ(1, semaphore.Create(NovuSemaphore::NotSignalled, name, 0));
        Caller caller(semaphore, [&] { return semaphore.Wait(kNoLimit); });
        ASSERT_TRUE(caller.AwaitAsleep());
        // It may sleep on its way there: then the next one interrupts it.
        const int before = Interruptions();
        EXPECT_TRUE(Await([&] {
            caller.Signal();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return caller.HasEnded() ||
                   (flags == SA_RESTART && Interruptions() > before + 10);
        }));
        EXPECT_LT(before, Interruptions());
        if (flags == SA_RESTART) {
            ASSERT_TRUE(caller.AwaitAsleep());
            semaphore.Post();
        }
        EXPECT_EQ(flags == SA_RESTART ? 1 : 0, caller.Result());
    }
}

// What comes before the sleep

TEST(SemLinuxTest, APostBeforeTheSleepIsNotMissed) {
    for (const unsigned int timeout : {kNoLimit, kLongLimit}) {
        NovuSemaphore* toPost = nullptr;
        Futexes calls([&](const timespec* /*until*/) {
            toPost->Post();
            return kKernel;
        });
        PlainSemaphore semaphore;
        toPost = &semaphore;
        Caller caller(semaphore, [&] { return semaphore.Wait(timeout); });
        EXPECT_EQ(1, caller.Result());
        EXPECT_EQ(1, calls.sleeps);
    }
}

TEST(SemLinuxTest, ASetBetweenTheLookAndTheSleepIsNotMissed) {
    for (const unsigned int timeout : {kNoLimit, kLongLimit}) {
        for (const int manualReset : {0, 1}) {
            NovuEvent* toSet = nullptr;
            Futexes calls([&](const timespec* /*until*/) {
                EXPECT_EQ(1, toSet->Set());
                return kKernel;
            });
            PlainEvent event(manualReset);
            toSet = &event;
            Caller caller(*event.GetSemaphore(),
                          [&] { return event.Wait(timeout); });
            EXPECT_EQ(1, caller.Result());
            EXPECT_EQ(1, calls.sleeps);
        }
    }
}

// Also where the generation, which is behind what is left of the initial count,
// comes round from the largest number to 0.
TEST(SemLinuxTest, AResetBeforeTheSleepIsNoPost) {
    for (const std::uint32_t generation : {0U, 0xFFFFFFFEU}) {
        PlainEvent event(1);
        NovuSemaphore& semaphore = *event.GetSemaphore();
        NovuTest::SetFieldAt(const_cast<void*>(ImplementationOf(semaphore)), 24,
                             generation);
        EXPECT_EQ(1, event.Set());
        Futexes calls([&](const timespec* /*until*/) {
            EXPECT_EQ(1, event.Reset());
            return ETIMEDOUT;
        });
        EXPECT_EQ(0, semaphore.Wait(1000));
        EXPECT_EQ(1, calls.sleeps);
    }
}

// Two threads take turns; a wake-up that is lost stops both.
TEST(SemLinuxTest, TurnsAreTakenWithoutALoss) {
    const int rounds = 10000;
    Futexes calls;
    PlainEvent ping(0);
    PlainEvent pong(0);
    std::atomic<int> taken = 0;
    std::atomic<bool> stop = false;
    const auto take = [&](NovuEvent& mine, NovuEvent& others) {
        int wins = 0;
        for (int i = 0; i < rounds && !stop; ++i) {
            wins += mine.Wait(kNoLimit);
            ++taken;
            others.Set();
        }
        return wins;
    };
    Caller first(*ping.GetSemaphore(), [&] { return take(ping, pong); });
    Caller second(*pong.GetSemaphore(), [&] { return take(pong, ping); });
    ping.Set();
    for (int seen = 0; seen < 2 * rounds && !stop;) {
        if (Await([&] { return taken != seen; })) {
            seen = taken;
        } else {
            ADD_FAILURE() << "both wait after " << seen << " turns";
            stop = true;
        }
    }
    EXPECT_EQ(rounds, first.Result());
    EXPECT_EQ(rounds, second.Result());
}

// Named ones

TEST(SemLinuxTest, APostToANamedOneReleasesOne) {
    const SemaphoreName name;
    NovuSemaphore semaphore;
    EXPECT_EQ(1, semaphore.Create(NovuSemaphore::NotSignalled, name, 0));
    std::vector<std::unique_ptr<Caller>> callers;
    for (int i = 0; i < 3; ++i) {
        callers.push_back(std::make_unique<Caller>(
            semaphore, [&] { return semaphore.Wait(kNoLimit); }));
        EXPECT_TRUE(callers.back()->AwaitAsleep());
    }
    const auto ended = [&] {
        return std::count_if(
            callers.begin(), callers.end(),
            [](const auto& caller) { return caller->HasEnded(); });
    };
    for (int posts = 1; posts <= 3; ++posts) {
        EXPECT_EQ(posts - 1, ended());
        semaphore.Post();
        EXPECT_TRUE(Await([&] { return ended() == posts; }));
    }
    EXPECT_EQ(0, semaphore.Wait(0));
}

TEST(SemLinuxTest, TheUmaskAppliesToANamedOnesMode) {
    for (const mode_t mask : {0000U, 0022U, 0077U}) {
        const NovuTest::Umask umask(mask);
        const SemaphoreName name;
        NovuSemaphore semaphore;
        EXPECT_EQ(1, semaphore.Create(NovuSemaphore::NotSignalled, name, 0));
        const std::string file =
            std::string("/dev/shm/sem.") + (static_cast<const char*>(name) + 1);
        struct stat status {};
        ASSERT_EQ(0, ::stat(file.c_str(), &status));
        EXPECT_EQ(0777U & ~mask, status.st_mode & 0777U);
    }
}

// [sem-4]
TEST(SemLinuxTest, AForgottenHandleIsStillOpen) {
    for (const bool byDestructor : {false, true}) {
        const SemaphoreName name;
        auto semaphore = std::make_unique<NovuSemaphore>();
        EXPECT_EQ(1, semaphore->Create(
                         static_cast<NovuSemaphore::SemInitState>(5), name, 0));
        auto* const handle = reinterpret_cast<sem_t*>(
            FieldAt<std::uintptr_t>(ImplementationOf(*semaphore), 8));
        if (byDestructor) {
            semaphore.reset();
        } else {
            EXPECT_EQ(1, semaphore->Destroy());
        }
        EXPECT_FALSE(name.Exists());
        auto* const page = reinterpret_cast<void*>(
            reinterpret_cast<std::uintptr_t>(handle) & ~std::uintptr_t{4095});
        ASSERT_EQ(0, ::msync(page, 1, MS_ASYNC)) << "it is not mapped";
        EXPECT_EQ(0, ::sem_post(handle));
        int value = 4711;
        EXPECT_EQ(0, ::sem_getvalue(handle, &value));
        EXPECT_EQ(6, value);
        EXPECT_EQ(0, ::sem_close(handle));
    }
}

#if defined(__x86_64__)  // Of which the trap flag and the breakpoint are.

// An instruction at a time
//
// A call is run once with the trap flag, and the addresses of the library's
// instructions are noted. Then it is run again for each of them, with a
// breakpoint there, at which it stands still while another thread does
// something that must not be missed.

const greg_t kTrapFlag = 0x100;
const unsigned char kBreakpoint = 0xCC;
const unsigned char kSystemCall[] = {0x0F, 0x05};

// What the handler of the traps works with. It is outside the sanitizers' view,
// and so are these plain numbers.
struct {
    std::uintptr_t begin = 0;  // The library's code.
    std::uintptr_t end = 0;
    int (*sleep)(const timespec*, timespec*) = nullptr;
    int count = 0;  // Of the steps.
    // Of the run with the trap flag:
    bool isNoting = false;
    std::uintptr_t entry = 0;  // Of the function that makes the call.
    std::uintptr_t stack = 0;  // There; 0 outside the call.
    std::uintptr_t trace[20000] = {};
    std::size_t length = 0;
    int systemCalls = 0;
    // Of a run with a breakpoint:
    unsigned char* breakpoint = nullptr;
    unsigned char replaced = 0;  // What was there.
    long passes = 0;             // Before it stands still.
    int standsStill = 0;
    int goesOn = 0;
} steps;

[[gnu::no_sanitize_address, gnu::no_sanitize_thread]] void Note(
    std::uintptr_t at, std::uintptr_t stack) {
    if (at == steps.entry) {
        steps.stack = stack;
    }
    if (stack > steps.stack) {
        steps.stack = 0;
        return;
    }
    const auto* const next = reinterpret_cast<const unsigned char*>(at);
    if (next[0] == kSystemCall[0] && next[1] == kSystemCall[1]) {
        ++steps.systemCalls;
    }
    // One that repeats itself (rep) traps each time.
    const bool isRepeated =
        steps.length != 0 && steps.trace[steps.length - 1] == at;
    if (at >= steps.begin && at < steps.end && !isRepeated &&
        steps.length < sizeof steps.trace / sizeof steps.trace[0]) {
        steps.trace[steps.length++] = at;
    }
}

[[gnu::no_sanitize_address, gnu::no_sanitize_thread]] void AtTrap(
    int /*signal*/, siginfo_t* /*info*/, void* context) {
    greg_t* const registers =
        static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    if (steps.isNoting) {
        Note(static_cast<std::uintptr_t>(registers[REG_RIP]),
             static_cast<std::uintptr_t>(registers[REG_RSP]));
        return;
    }
    if ((registers[REG_EFL] & kTrapFlag) != 0) {  // It has been passed.
        registers[REG_EFL] &= ~kTrapFlag;
        *steps.breakpoint = kBreakpoint;
        return;
    }
    *steps.breakpoint = steps.replaced;
    registers[REG_RIP] = reinterpret_cast<greg_t>(steps.breakpoint);
    if (steps.passes != 0) {
        --steps.passes;
        registers[REG_EFL] |= kTrapFlag;
        return;
    }
    __atomic_store_n(&steps.standsStill, 1, __ATOMIC_SEQ_CST);
    const timespec moment = {0, 30000};
    while (__atomic_load_n(&steps.goesOn, __ATOMIC_SEQ_CST) == 0) {
        steps.sleep(&moment, nullptr);
    }
}

void SetTrapFlag(bool on) {
    const auto flag = static_cast<unsigned long long>(kTrapFlag);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    __writeeflags(on ? __readeflags() | flag : __readeflags() & ~flag);
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

// Both runs call here. A library that is linked into the program lies in one
// module with them, and what they do around the call is none of its steps.
template <typename Call>
[[gnu::noinline]] int Run(Call& call) {
    return call();
}

// The call with the trap flag.
template <typename Call>
int RunNoting(Call call) {
    int (*const run)(Call&) = &Run<Call>;
    steps.entry = reinterpret_cast<std::uintptr_t>(run);
    steps.stack = 0;
    steps.length = 0;
    steps.systemCalls = 0;
    steps.isNoting = true;
    SetTrapFlag(true);
    const int result = run(call);
    SetTrapFlag(false);
    steps.isNoting = false;
    return result;
}

[[gnu::no_sanitize_address, gnu::no_sanitize_thread]] void SetBreakpoint(
    std::uintptr_t at) {
    steps.breakpoint = reinterpret_cast<unsigned char*>(at);
    steps.replaced = *steps.breakpoint;
    *steps.breakpoint = kBreakpoint;
}

[[gnu::no_sanitize_address, gnu::no_sanitize_thread]] void RemoveBreakpoint() {
    if (steps.breakpoint != nullptr) {
        *steps.breakpoint = steps.replaced;
        steps.breakpoint = nullptr;
    }
}

// The call with a breakpoint before that step.
template <typename Call>
int RunUpTo(int step, Call call) {
    const std::uintptr_t at = steps.trace[step];
    steps.passes = std::count(steps.trace, steps.trace + step, at);
    SetBreakpoint(at);
    return Run(call);
}

// The steps before the first: runs without and with the trap flag.
const int kUnstepped = -2;  // Which binds the functions that are called.
const int kNoting = -1;

// A Caller that stands still before a step of its call.
class SteppedCaller : public Caller {
public:
    template <typename Call>
    SteppedCaller(NovuSemaphore& semaphore, int before, Call its)
        : Caller(semaphore, Stepped(before, its)), step(before) {}
    SteppedCaller(const SteppedCaller&) = delete;
    SteppedCaller& operator=(const SteppedCaller&) = delete;
    ~SteppedCaller() { GoOn(); }

    // Until it stands still; before the first step, until it is over or asleep.
    bool AwaitHalt() {
        if (step >= 0) {
            return Await([] {
                return __atomic_load_n(&steps.standsStill, __ATOMIC_SEQ_CST) !=
                       0;
            });
        }
        const bool halts = Await([&] { return HasEnded() || IsAsleep(); });
        steps.count = step == kNoting ? static_cast<int>(steps.length) : 0;
        return halts;
    }

    void GoOn() { __atomic_store_n(&steps.goesOn, 1, __ATOMIC_SEQ_CST); }

    int Result() {
        GoOn();
        return Caller::Result();
    }

private:
    template <typename Call>
    static std::function<int()> Stepped(int step, Call its) {
        steps.standsStill = 0;
        steps.goesOn = 0;
        return [=] {
            return step == kUnstepped ? its()
                   : step == kNoting  ? RunNoting(its)
                                      : RunUpTo(step, its);
        };
    }

    const int step;
};

// Finds the code of the module in which the address lies.
int FindCode(dl_phdr_info* module, std::size_t /*size*/, void* address) {
    const std::uintptr_t inside = *static_cast<std::uintptr_t*>(address);
    for (int i = 0; i < module->dlpi_phnum; ++i) {
        const auto& part = module->dlpi_phdr[i];
        const std::uintptr_t begin = module->dlpi_addr + part.p_vaddr;
        const std::uintptr_t end = begin + part.p_memsz;
        if (part.p_type == PT_LOAD && inside >= begin && inside < end) {
            steps.begin = begin;
            steps.end = end;
            return 1;
        }
    }
    return 0;
}

class SemLinuxStepTest : public testing::Test {
protected:
    SemLinuxStepTest() {
        steps.sleep = InCLibrary<int(const timespec*, timespec*)>("nanosleep");
        PlainSemaphore semaphore;
        // What the implementation's first slot calls is the library's.
        const void* const implementation = ImplementationOf(semaphore);
        auto code =
            FieldAt<std::uintptr_t>(FieldAt<const void*>(implementation, 0), 0);
        EXPECT_EQ(1, ::dl_iterate_phdr(FindCode, &code));
        Protect(PROT_READ | PROT_WRITE | PROT_EXEC);
    }
    ~SemLinuxStepTest() override {
        RemoveBreakpoint();  // Which a test that failed may have left.
        Protect(PROT_READ | PROT_EXEC);
    }

private:
    static void Protect(int protection) {
        const std::uintptr_t page = steps.begin & ~std::uintptr_t{4095};
        EXPECT_EQ(0, ::mprotect(reinterpret_cast<void*>(page), steps.end - page,
                                protection));
    }

    const Handler handler{SIGTRAP, AtTrap};
};

int SystemCallsOf(const std::function<int()>& call) {
    call();  // What it does the first time only.
    RunNoting(call);
    return steps.systemCalls;
}

TEST_F(SemLinuxStepTest, WhatNeedNotSleepOrWakeMakesNoSystemCall) {
    PlainSemaphore semaphore;
    PlainSemaphore filled(1000);
    PlainEvent manual(1);
    PlainEvent automatic(0);
    int count = 0;
    const struct {
        int line;
        std::function<int()> call;
        int result;
    } rows[] = {
        {__LINE__, [&] { return semaphore.Wait(0); }, 0},
        {__LINE__, [&] { return semaphore.Post(), 1; }, 1},
        {__LINE__, [&] { return semaphore.IsCreated(); }, 1},
        {__LINE__, [&] { return semaphore.GetSemCounts(count); }, 1},
        {__LINE__, [&] { return filled.Wait(0); }, 1},
        {__LINE__, [&] { return filled.Wait(1000); }, 1},
        {__LINE__, [&] { return filled.Wait(kNoLimit); }, 1},
        {__LINE__, [&] { return manual.Wait(0); }, 0},
        {__LINE__, [&] { return automatic.Wait(0); }, 0},
        {__LINE__, [&] { return manual.Set(); }, 1},
        {__LINE__, [&] { return manual.Wait(0); }, 1},
        {__LINE__, [&] { return manual.Wait(1000); }, 1},
        {__LINE__, [&] { return manual.Wait(kNoLimit); }, 1},
        {__LINE__, [&] { return manual.Reset(); }, 1},
        {__LINE__, [&] { return automatic.Set() + automatic.Wait(1000); }, 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        int result = -1;
        EXPECT_EQ(0, SystemCallsOf([&] { return result = row.call(); }));
        EXPECT_EQ(row.result, result);
    }
}

TEST_F(SemLinuxStepTest, ASetForASleeperIsOneSystemCall) {
    Futexes calls;
    PlainEvent event(1);
    Caller caller(*event.GetSemaphore(), [&] { return event.Wait(kNoLimit); });
    ASSERT_TRUE(caller.AwaitAsleep());
    EXPECT_EQ(1, RunNoting([&] { return event.Set(); }));
    EXPECT_EQ(1, steps.systemCalls);
    EXPECT_EQ(1, calls.wakes);
    EXPECT_EQ(1, caller.Result());
}

const int kLeast = 15;  // Steps that any of the calls has.

TEST_F(SemLinuxStepTest, ASetBetweenAnyTwoStepsOfAWaitIsNotMissed) {
    for (const int manualReset : {0, 1}) {
        for (int step = kUnstepped; step < steps.count; ++step) {
            Futexes calls;
            PlainEvent event(manualReset);
            SteppedCaller waiter(*event.GetSemaphore(), step,
                                 [&] { return event.Wait(kNoLimit); });
            ASSERT_TRUE(waiter.AwaitHalt()) << "step " << step;
            ASSERT_FALSE(waiter.HasEnded()) << "step " << step;
            EXPECT_EQ(1, event.Set());
            ASSERT_EQ(1, waiter.Result()) << "set before step " << step;
            ASSERT_EQ(manualReset, event.Wait(0)) << "step " << step;
        }
        EXPECT_LT(kLeast, steps.count);
    }
}

// It is met by that wait or by the next; with automatic reset not by both.
TEST_F(SemLinuxStepTest, ASetBetweenAnyTwoStepsOfATryIsNotMissed) {
    for (const int manualReset : {0, 1}) {
        for (int step = kUnstepped; step < steps.count; ++step) {
            Futexes calls;
            PlainEvent event(manualReset);
            SteppedCaller waiter(*event.GetSemaphore(), step,
                                 [&] { return event.Wait(0); });
            ASSERT_TRUE(waiter.AwaitHalt()) << "step " << step;
            EXPECT_EQ(1, event.Set());
            const int first = waiter.Result();
            const int next = event.Wait(0);
            ASSERT_EQ(manualReset == 0 ? 1 - first : 1, next)
                << "set before step " << step;
        }
        EXPECT_LT(kLeast, steps.count);
    }
}

TEST_F(SemLinuxStepTest, TwoTriesDoNotTakeTheSame) {
    for (int step = kUnstepped; step < steps.count; ++step) {
        Futexes calls;
        PlainSemaphore semaphore(1);
        SteppedCaller first(semaphore, step, [&] { return semaphore.Wait(0); });
        ASSERT_TRUE(first.AwaitHalt()) << "step " << step;
        const int second = semaphore.Wait(0);
        ASSERT_EQ(1, first.Result() + second) << "tried before step " << step;
        ASSERT_EQ(-1, CountOf(semaphore)) << "step " << step;
    }
    EXPECT_LT(kLeast, steps.count);
}

TEST_F(SemLinuxStepTest, AWaitBetweenAnyTwoStepsOfASetMissesNothing) {
    for (const int manualReset : {0, 1}) {
        for (int step = kUnstepped; step < steps.count; ++step) {
            Futexes calls;
            PlainEvent event(manualReset);
            NovuSemaphore& semaphore = *event.GetSemaphore();
            SteppedCaller setter(semaphore, step, [&] { return event.Set(); });
            ASSERT_TRUE(setter.AwaitHalt()) << "step " << step;
            Caller waiter(semaphore, [&] { return event.Wait(kNoLimit); });
            EXPECT_TRUE(
                Await([&] { return waiter.HasEnded() || waiter.IsAsleep(); }));
            EXPECT_EQ(step < 0, setter.HasEnded()) << "step " << step;
            EXPECT_EQ(1, setter.Result());
            ASSERT_EQ(1, waiter.Result()) << "begun before step " << step;
            event.Close();  // Which keeps whether it is set.
            ASSERT_EQ(manualReset, event.Wait(0)) << "step " << step;
        }
        EXPECT_LT(kLeast, steps.count);
    }
}

// It is met by the reset, or stays; and a Close, which keeps what there is,
// finds the same.
TEST_F(SemLinuxStepTest, ASetBetweenAnyTwoStepsOfAResetIsMetOrStays) {
    int stayed = 0;
    for (int step = kUnstepped; step < steps.count; ++step) {
        Futexes calls;
        PlainEvent event(1);
        EXPECT_EQ(1, event.Set());
        SteppedCaller resetter(*event.GetSemaphore(), step,
                               [&] { return event.Reset(); });
        ASSERT_TRUE(resetter.AwaitHalt()) << "step " << step;
        EXPECT_EQ(1, event.Set());
        ASSERT_EQ(1, resetter.Result()) << "set before step " << step;
        const int isSet = event.Wait(0);
        stayed += isSet;
        event.Close();
        ASSERT_EQ(isSet, event.Wait(0)) << "set before step " << step;
    }
    // Of one before the reset nothing stays, of one after it all does.
    EXPECT_LT(2, stayed);
    EXPECT_GT(steps.count, stayed);
    EXPECT_LT(kLeast, steps.count);
}

// From when it is counted on; before, the post may come too early for it.
TEST_F(SemLinuxStepTest, APostBetweenAnyTwoStepsOfACountedWaitIsNotMissed) {
    bool isCounted = false;
    for (int step = kUnstepped; step < steps.count; ++step) {
        Futexes calls;
        PlainSemaphore semaphore;
        SteppedCaller waiter(semaphore, step,
                             [&] { return semaphore.Wait(kNoLimit); });
        ASSERT_TRUE(waiter.AwaitHalt()) << "step " << step;
        ASSERT_FALSE(waiter.HasEnded()) << "step " << step;
        isCounted = CountOf(semaphore) == -1;
        semaphore.Post();
        if (!isCounted) {
            waiter.GoOn();
            EXPECT_TRUE(
                Await([&] { return waiter.HasEnded() || waiter.IsAsleep(); }));
            semaphore.Post();
        }
        ASSERT_EQ(1, waiter.Result()) << "posted before step " << step;
    }
    EXPECT_TRUE(isCounted);
    EXPECT_LT(kLeast, steps.count);
}

#endif

}  // namespace
