// The kernel's semaphores of macOS over a mutex and condition variables, from
// MachSemaphores.h.

#include "tests/mac/MachSemaphores.h"

#include <mach/mach.h>
#include <mach/semaphore.h>
#include <mach/task.h>
#include <pthread.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <map>
#include <new>
#include <utility>

namespace {

struct Semaphore {
    mach_port_t port = MACH_PORT_NULL;  // Null: free.
    pthread_cond_t released = PTHREAD_COND_INITIALIZER;
    int count = 0;               // Of which a wait takes one.
    unsigned long waiting = 0;   // Threads that sleep.
    unsigned long releases = 0;  // How often all of them were released.
};

struct Kernel {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    mach_port_t lastPort = 0x1000;
    Semaphore semaphores[1024];

    bool recording = false;
    std::vector<std::string> log;
    std::map<std::string, std::deque<int>> scripted;
    std::map<std::string, std::function<void()>> before;
};

// Never destroyed: threads may outlive the end of main. Nor allocated: tests
// count what is.
Kernel& TheKernel() {
    alignas(Kernel) static char room[sizeof(Kernel)];
    static Kernel& kernel = *new (room) Kernel;
    return kernel;
}

class Locker {
public:
    Locker() { ::pthread_mutex_lock(&TheKernel().mutex); }
    Locker(const Locker&) = delete;
    Locker& operator=(const Locker&) = delete;
    ~Locker() { ::pthread_mutex_unlock(&TheKernel().mutex); }
};

// What a test has put before a call.
void DoBefore(const char* function) {
    std::function<void()> action;
    {
        const Locker locker;
        if (TheKernel().recording) {
            action.swap(TheKernel().before[function]);
        }
    }
    if (action) {
        action();
    }
}

// Under the lock. True where the script answers instead of the kernel. Without
// one nothing is allocated, since tests make that fail.
bool IsScripted(const char* function, const char* arguments,
                kern_return_t& result) {
    Kernel& kernel = TheKernel();
    if (!kernel.recording) {
        return false;
    }
    kernel.log.push_back(std::string(function) + arguments);
    std::deque<int>& results = kernel.scripted[function];
    if (results.empty()) {
        return false;
    }
    result = results.front();
    results.pop_front();
    return true;
}

// One that is created; or, for null, room for another.
Semaphore* Find(mach_port_t port) {
    for (Semaphore& semaphore : TheKernel().semaphores) {
        if (semaphore.port == port) {
            return &semaphore;
        }
    }
    return nullptr;
}

Semaphore* FindCreated(semaphore_t port) {
    return port != MACH_PORT_NULL ? Find(port) : nullptr;
}

// One who sleeps, also when it is cancelled there.
class Sleeper {
public:
    explicit Sleeper(Semaphore& on) : semaphore(on) { ++semaphore.waiting; }
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;
    ~Sleeper() { --semaphore.waiting; }

private:
    Semaphore& semaphore;
};

// Under the lock; `until` is null for no limit.
kern_return_t WaitUntil(semaphore_t port, const timespec* until) {
    Semaphore* const semaphore = FindCreated(port);
    if (semaphore == nullptr) {
        return KERN_INVALID_ARGUMENT;
    }
    if (semaphore->count > 0) {
        --semaphore->count;
        return KERN_SUCCESS;
    }
    const Sleeper sleeper(*semaphore);
    const unsigned long before = semaphore->releases;
    while (semaphore->releases == before) {
        const int error =
            until == nullptr
                ? ::pthread_cond_wait(&semaphore->released, &TheKernel().mutex)
                : ::pthread_cond_clockwait(&semaphore->released,
                                           &TheKernel().mutex, CLOCK_MONOTONIC,
                                           until);
        if (error == ETIMEDOUT) {
            return KERN_OPERATION_TIMED_OUT;
        }
    }
    return KERN_SUCCESS;
}

}  // namespace

extern "C" {

mach_port_t mach_task_self_ = 0x103;

kern_return_t semaphore_create(task_t task, semaphore_t* semaphore, int policy,
                               int value) {
    char arguments[32];
    std::snprintf(arguments, sizeof arguments, " %d %d", policy, value);
    const Locker locker;
    kern_return_t result = KERN_SUCCESS;
    if (IsScripted("semaphore_create", arguments, result)) {
        return result;
    }
    if (task != mach_task_self_ || value < 0) {
        return KERN_INVALID_ARGUMENT;
    }
    Semaphore* const made = Find(MACH_PORT_NULL);
    if (made == nullptr) {
        return KERN_RESOURCE_SHORTAGE;
    }
    made->port = ++TheKernel().lastPort;
    made->count = value;
    *semaphore = made->port;
    return KERN_SUCCESS;
}

kern_return_t semaphore_destroy(task_t task, semaphore_t semaphore) {
    const Locker locker;
    kern_return_t result = KERN_SUCCESS;
    if (IsScripted("semaphore_destroy", "", result)) {
        return result;
    }
    Semaphore* const found = FindCreated(semaphore);
    if (task != mach_task_self_ || found == nullptr) {
        return KERN_INVALID_ARGUMENT;
    }
    found->port = MACH_PORT_NULL;
    return KERN_SUCCESS;
}

kern_return_t semaphore_wait(semaphore_t semaphore) {
    DoBefore("semaphore_wait");
    const Locker locker;
    kern_return_t result = KERN_SUCCESS;
    return IsScripted("semaphore_wait", "", result)
               ? result
               : WaitUntil(semaphore, nullptr);
}

kern_return_t semaphore_timedwait(semaphore_t semaphore,
                                  mach_timespec_t wait_time) {
    char limit[32];
    std::snprintf(limit, sizeof limit, " %u.%09d", wait_time.tv_sec,
                  wait_time.tv_nsec);
    DoBefore("semaphore_timedwait");
    const Locker locker;
    kern_return_t result = KERN_SUCCESS;
    if (IsScripted("semaphore_timedwait", limit, result)) {
        return result;
    }
    timespec until{};
    ::clock_gettime(CLOCK_MONOTONIC, &until);
    until.tv_sec += wait_time.tv_sec;
    until.tv_nsec += wait_time.tv_nsec;
    if (until.tv_nsec >= 1000000000) {
        until.tv_nsec -= 1000000000;
        ++until.tv_sec;
    }
    return WaitUntil(semaphore, &until);
}

kern_return_t semaphore_signal_all(semaphore_t semaphore) {
    DoBefore("semaphore_signal_all");
    const Locker locker;
    kern_return_t result = KERN_SUCCESS;
    if (IsScripted("semaphore_signal_all", "", result)) {
        return result;
    }
    Semaphore* const found = FindCreated(semaphore);
    if (found == nullptr) {
        return KERN_INVALID_ARGUMENT;
    }
    if (found->waiting == 0) {
        return KERN_NOT_WAITING;
    }
    ++found->releases;
    ::pthread_cond_broadcast(&found->released);
    return KERN_SUCCESS;
}

}  // extern "C"

namespace NovuTest {

MachCalls::MachCalls() {
    const Locker locker;
    TheKernel().recording = true;
}

MachCalls::~MachCalls() {
    const Locker locker;
    TheKernel().recording = false;
    TheKernel().log.clear();
    TheKernel().scripted.clear();
    TheKernel().before.clear();
}

void MachCalls::Script(const std::string& function, std::deque<int> results) {
    const Locker locker;
    TheKernel().scripted[function] = std::move(results);
}

void MachCalls::Before(const std::string& function,
                       std::function<void()> action) {
    const Locker locker;
    TheKernel().before[function] = std::move(action);
}

std::vector<std::string> MachCalls::Take() {
    const Locker locker;
    return std::exchange(TheKernel().log, {});
}

unsigned long MachSleepers() {
    const Locker locker;
    unsigned long sleepers = 0;
    for (const Semaphore& semaphore : TheKernel().semaphores) {
        sleepers += semaphore.waiting;
    }
    return sleepers;
}

unsigned long MachSemaphoresAlive() {
    const Locker locker;
    unsigned long alive = 0;
    for (const Semaphore& semaphore : TheKernel().semaphores) {
        alive += semaphore.port != MACH_PORT_NULL ? 1 : 0;
    }
    return alive;
}

}  // namespace NovuTest
