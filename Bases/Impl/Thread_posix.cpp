// Thread, from Bases/Thread.h.

#include "Bases/Thread.h"

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <memory>

#include "Bases/Impl/CancellationDisabled.h"
#include "Bases/Impl/Timeouts.h"
#include "Bases/Sem.h"

namespace Novu {

namespace {

// What a handle holds where the system made no thread. On both systems a handle
// is the address of the thread object.
const pthread_t kNoThread{};

const useconds_t kTimeToBegin = 100;  // Microseconds.

// Closes events at the end of its scope, unless they are kept.
class EventsCloser {
public:
    EventsCloser(NovuEvent& first, NovuEvent& second, NovuEvent& third)
        : events{&first, &second, &third} {}
    EventsCloser(const EventsCloser&) = delete;
    EventsCloser& operator=(const EventsCloser&) = delete;
    ~EventsCloser() {
        if (closing) {
            for (NovuEvent* const event : events) {
                event->Close();
            }
        }
    }

    void Keep() { closing = false; }

private:
    NovuEvent* events[3];
    bool closing = true;
};

// For all of the time, whatever signal handlers interrupt it.
bool WaitFor(NovuEvent& event, unsigned int timeout) {
    using std::chrono::milliseconds;
    using std::chrono::steady_clock;
    const auto begin = steady_clock::now();
    unsigned int left = timeout;
    while (event.Wait(left) == 0) {
        if (timeout != kNoLimit) {
            const auto passed = std::chrono::duration_cast<milliseconds>(
                steady_clock::now() - begin);
            if (passed >= milliseconds(timeout)) {
                return false;
            }
            left = timeout - static_cast<unsigned int>(passed.count());
        }
    }
    return true;
}

}  // namespace

// What the new thread is given, and frees.
struct [[gnu::visibility("hidden")]] Thread::Start {
    NovuEvent* exitEvent;
    NovuEvent* resumeEvent;  // Null unless started suspended.
    Thread* thread;
};

// Lifetime

Thread::Thread()
    : handler(nullptr),
      handle(nullptr),
      stopEvent(nullptr),
      exitEvent(nullptr),
      resumeEvent(nullptr),
      reserved(0),
      priority(15) {
    auto stop = std::make_unique<NovuEvent>();
    auto exit = std::make_unique<NovuEvent>();
    resumeEvent = new NovuEvent;
    exitEvent = exit.release();
    stopEvent = stop.release();
}

Thread::~Thread() {
    {
        const CancellationDisabled disabled;
        Thread::StopThread(kNoLimit, 1);
    }
    delete stopEvent;
    delete exitEvent;
    delete resumeEvent;
}

void Thread::SetThreadHandler(ThreadHandler* newHandler) {
    handler = newHandler;
}

int Thread::OnPreThreadStart() {
    return handler != nullptr ? handler->OnPreThreadStart(this) : 1;
}

int Thread::OnThreadEntry() {
    return handler != nullptr ? handler->OnThreadEntry(this) : 0;
}

// Start

int Thread::StartThread(int suspended) {
    if (handle != nullptr) {
        StopThread(kNoLimit, 1);
    }
    if (OnPreThreadStart() == 0) {
        return 0;
    }

    if (stopEvent->Create(1, 0, nullptr) == 0) {
        return 0;
    }
    EventsCloser closer(*stopEvent, *exitEvent, *resumeEvent);
    if (exitEvent->Create(1, 0, nullptr) == 0) {
        closer.Keep();
        exitEvent->Close();  // By design [thread-6]: this one only.
        return 0;
    }
    if (resumeEvent->Create(1, 0, nullptr) == 0) {
        closer.Keep();
        stopEvent->Close();  // By design [thread-6]: these two only.
        exitEvent->Close();
        return 0;
    }
    auto newHandle = std::make_unique<pthread_t>(kNoThread);
    auto start = std::make_unique<Start>(
        Start{exitEvent, suspended != 0 ? resumeEvent : nullptr, this});

    handle = newHandle.release();  // Now, since the body asks for it.
    Start* const given = start.release();
    const int result =
        ::pthread_create(handle, nullptr, ThreadEntryProc, given);
    if (result != 0) {
        delete given;
    }
    if (result < 0) {
        delete handle;
        handle = nullptr;
        return 0;
    }
    closer.Keep();
    if (result > 0) {
        // By design [thread-5]: started, and its body over.
        *handle = kNoThread;
        exitEvent->Set();
    }
    ::usleep(kTimeToBegin);
    return 1;
}

void* Thread::ThreadEntryProc(void* record) {
    if (record == nullptr) {
        return nullptr;
    }
    // Freed first, since a forced stop does not come back here.
    Start* const given = static_cast<Start*>(record);
    const Start start = *given;
    delete given;

    if (start.resumeEvent != nullptr) {
        WaitFor(*start.resumeEvent, kNoLimit);
    }
    if (start.exitEvent != nullptr) {
        start.exitEvent->Wait(0);
    }
    if (start.thread != nullptr) {
        int before = 0;
        ::pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &before);
        start.thread->OnThreadEntry();
    }
    if (start.exitEvent != nullptr) {
        start.exitEvent->Set();
    }
    return nullptr;
}

// Stop

void Thread::StopThread(unsigned int timeout, int force) {
    if (handle == nullptr) {
        return;
    }
    stopEvent->Set();
    resumeEvent->Set();
    const bool ended = WaitFor(*exitEvent, timeout);
    if (!ended && force == 0) {
        return;
    }
    if (*handle != kNoThread) {
        if (!ended) {
            ::pthread_cancel(*handle);
            exitEvent->Set();  // For whoever stops it if this is cancelled now.
        }
        ::pthread_join(*handle, nullptr);
    }
    stopEvent->Close();
    exitEvent->Close();
    resumeEvent->Close();
    delete handle;
    handle = nullptr;
}

void Thread::StopThreadEvent() {
    if (handle != nullptr) {
        stopEvent->Set();
    }
}

int Thread::ResumeThread() {
    return handle != nullptr ? resumeEvent->Set() : 0;
}

// State

int Thread::IsThreadRunning() const { return handle != nullptr ? 1 : 0; }

int Thread::IsStopThread(unsigned int timeout) const {
    return handle != nullptr ? stopEvent->Wait(timeout) : 1;
}

pthread_t* Thread::GetHandle() const { return handle; }

NovuEvent* Thread::GetStopThreadEvent() const { return stopEvent; }

unsigned long long Thread::GetThreadId() const {
    if (handle == nullptr || *handle == kNoThread) {
        return 0;
    }
    unsigned long long word = 0;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): glibc's handle is an address.
    std::memcpy(&word, reinterpret_cast<const void*>(*handle), sizeof(word));
    return word;
}

int Thread::operator==(const Thread& other) const {
    return handle == other.handle ? 1 : 0;
}

int Thread::operator!=(const Thread& other) const {
    return handle != other.handle ? 1 : 0;
}

int Thread::GetThreadPriority() const { return priority; }

void Thread::SetThreadPriority(int newPriority) { priority = newPriority; }

// The calling thread

void Thread::SleepThread(unsigned int milliseconds) {
    ::usleep(milliseconds * 1000U);  // By design [thread-8].
}

int Thread::YieldThread() { return ::sched_yield() == 0 ? 1 : 0; }

}  // namespace Novu
