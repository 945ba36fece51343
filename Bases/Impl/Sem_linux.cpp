// SemPrimitives on Linux: a futex on the generation.
//
// What is left of the initial count is a number of its own, since a post
// neither touches it nor adds to it.

#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <ctime>

#include "Bases/Impl/SemPrimitives.h"

namespace Novu {

namespace {

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t) &&
              std::atomic<std::uint32_t>::is_always_lock_free);

bool TakeInitial(KernelSemaphore& shared) {
    std::uint32_t left = shared.semaphore;
    while (left != 0) {
        if (shared.semaphore.compare_exchange_weak(left, left - 1)) {
            return true;
        }
    }
    return false;
}

// A sleeper from before the look at the generation until after the sleep.
class Sleeper {
public:
    explicit Sleeper(KernelSemaphore& of) : shared(of) { ++shared.sleepers; }
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;
    ~Sleeper() { --shared.sleepers; }

private:
    KernelSemaphore& shared;
};

// The system call alone, as a cancellation point. A futex is none by itself, so
// the thread lets itself be cancelled at any instruction of this function,
// asynchronously, which is safe since it has nothing to clean up; and being a
// function of its own that may throw, it is one whose callers are unwound.
// Counters for coverage would bring something to clean up, so it has none.
// Answers 0, or errno.
[[gnu::noinline, gnu::no_profile_instrument_function]] int SleepWhile(
    std::atomic<std::uint32_t>& word, std::uint32_t expected,
    const timespec* until) {
    int before = 0;
    // NOLINTNEXTLINE(cert-pos47-c,concurrency-thread-canceltype-asynchronous)
    ::pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, &before);
    const long result =
        ::syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word),
                  FUTEX_WAIT_BITSET_PRIVATE, expected, until, nullptr,
                  FUTEX_BITSET_MATCH_ANY);
    const int error = result == 0 ? 0 : errno;
    int during = 0;
    ::pthread_setcanceltype(before, &during);
    return error;
}

// `until` is a time of the monotonic clock; null for no limit.
Waited Sleep(KernelSemaphore& shared, std::uint32_t since,
             const timespec* until) {
    const Sleeper sleeper(shared);
    int error = 0;
    for (;;) {
        const std::uint32_t generation = shared.generation;
        if (PostsUpTo(generation) != PostsUpTo(since)) {
            return Waited::Taken;
        }
        if (error == EINTR) {
            return Waited::Interrupted;
        }
        if (error != 0 && error != EAGAIN) {
            return Waited::Failed;
        }
        error = SleepWhile(shared.generation, generation, until);
    }
}

timespec After(std::uint32_t seconds, std::uint32_t nanoseconds) {
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    time.tv_sec += seconds;
    time.tv_nsec += nanoseconds;
    if (time.tv_nsec >= 1000000000) {
        time.tv_nsec -= 1000000000;
        ++time.tv_sec;
    }
    return time;
}

// Out of line, so that a try need not set up for it.
[[gnu::noinline]] Waited SleepFor(KernelSemaphore& shared, std::uint32_t since,
                                  std::uint32_t seconds,
                                  std::uint32_t nanoseconds) {
    const timespec until = After(seconds, nanoseconds);
    return Sleep(shared, since, &until);
}

}  // namespace

bool KernelSemCreate(KernelSemaphore& shared, std::int32_t initialCount) {
    if (initialCount < 0) {
        return false;
    }
    shared.task = static_cast<std::uint32_t>(::getpid());
    shared.semaphore = static_cast<std::uint32_t>(initialCount);
    return true;
}

bool KernelSemDestroy(KernelSemaphore& shared) {
    if (shared.task == 0) {
        return false;
    }
    shared.task = 0;
    return true;
}

Waited KernelSemWait(KernelSemaphore& shared, std::uint32_t since) {
    return TakeInitial(shared) ? Waited::Taken : Sleep(shared, since, nullptr);
}

Waited KernelSemTimedWait(KernelSemaphore& shared, std::uint32_t since,
                          std::uint32_t seconds, std::uint32_t nanoseconds) {
    if (TakeInitial(shared)) {
        return Waited::Taken;
    }
    if (seconds == 0 && nanoseconds == 0) {
        return Waited::Failed;
    }
    return SleepFor(shared, since, seconds, nanoseconds);
}

void KernelSemSignalAll(KernelSemaphore& shared) {
    if (shared.sleepers != 0) {
        ::syscall(SYS_futex,
                  reinterpret_cast<std::uint32_t*>(&shared.generation),
                  FUTEX_WAKE_PRIVATE, INT_MAX);
    }
}

}  // namespace Novu
