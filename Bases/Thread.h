// Thread: one thread of the system, started and stopped by its owner.
//
// Units    Timeouts are milliseconds: 0xFFFFFFFF waits without limit, 0 only
//          looks.
// Errors   Results only: 1 for done or true, 0 for failed or false.
// Threads  One thread owns the object: it starts, stops and destroys it.
//          StopThreadEvent, ResumeThread, IsStopThread and IsThreadRunning are
//          for any thread, from StartThread's return until StopThread's
//          beginning; the body may call IsStopThread and GetStopThreadEvent at
//          any time.
// See      docs/surprises.md, "Threads", for what is By design.

#ifndef NOVU_BASES_THREAD_H_
#define NOVU_BASES_THREAD_H_

#include <sys/types.h>

#include "Bases/Export.h"

namespace Novu {

class NovuEvent;
class Thread;

/// What a thread does, for those who do not derive from `Thread`. Each is given
/// the thread that calls it.
///
/// Example (examples/Thread.cpp):
///
///     Greeter greeter;
///     Novu::Thread thread;
///     thread.SetThreadHandler(&greeter);
///     if (thread.StartThread(0) != 1) {
///         return 1;
///     }
class NOVU_API ThreadHandler {
public:
    /// Called on the thread that starts `thread`, before it runs; 0 cancels the
    /// start.
    virtual int OnPreThreadStart(Thread* thread) = 0;

    /// The body. Its result is not used.
    virtual int OnThreadEntry(Thread* thread) = 0;

protected:
    ~ThreadHandler() = default;  // Not virtual: part of the layout.
};

/// A thread that is not running, or running.
///
/// By design [thread-1]: running means started and not stopped. A thread whose
/// body has returned is running until `StopThread`.
///
/// By design [thread-2]: an exception that leaves the body ends the process.
///
/// Example (examples/Thread.cpp):
///
///     int OnThreadEntry() override {
///         do {
///             ++rounds;
///         } while (IsStopThread(10) == 0);  // Asked to stop within 10 ms?
///         return 0;
///     }
class NOVU_API Thread {
public:
    Thread();  ///< Not running, without a handler.

    Thread(const Thread&) = delete;  // Both would stop the thread.
    Thread& operator=(const Thread&) = delete;

    /// As this class's own `StopThread(0xFFFFFFFF, 1)`: it waits for the body,
    /// however long that takes, and cannot be cancelled. A derived class calls
    /// `StopThread` in its own destructor, since its overrides are gone here.
    virtual ~Thread();

    /// Stops the thread, where it is running: asks it to stop, lets it go on
    /// where it was started suspended, and waits for the body to return. If it
    /// does so within the timeout, or if `force` is not 0, the thread has ended
    /// afterwards; otherwise it is running still.
    ///
    /// A forced stop cancels the thread: the body ends at its next cancellation
    /// point (a wait of this library that sleeps, `read`, `usleep`, ...), and
    /// its destructors run. This waits until it has. A body must let the
    /// unwinding pass: no function on the way is noexcept, and a `catch (...)`
    /// throws again. Destructors are noexcept, so one that comes to a
    /// cancellation point (`close`, a wait) ends the process, unless it
    /// disables cancellation (`pthread_setcancelstate`), as those of this
    /// library do. To wait for a `Cs` is no cancellation point.
    ///
    /// Not to be called by the thread itself, whose body is to return, and not
    /// to end the thread in another way.
    ///
    /// By design [thread-12]: nothing tells whether the thread has ended but
    /// `IsThreadRunning`.
    /// By design [thread-13]: a thread that was started suspended and never
    /// resumed runs its body.
    /// By design [thread-3]: without a limit there is no moment at which to
    /// force; a body that ignores the request is waited for, for ever.
    virtual void StopThread(unsigned int timeout, int force);

    /// Called by `StartThread`, on the thread of the caller; 0 cancels the
    /// start. Here the handler's, and 1 without one.
    virtual int OnPreThreadStart();

    /// The body. Its result is not used. Here the handler's.
    virtual int OnThreadEntry();

    void SetThreadHandler(ThreadHandler* newHandler);  ///< Not owned.

    /// Starts the thread; with `suspended` not 0, its body waits for
    /// `ResumeThread` or `StopThread`. 0 where `OnPreThreadStart` refuses.
    ///
    /// By design [thread-4]: a thread that is running is first stopped, by
    /// `StopThread(0xFFFFFFFF, 1)`.
    /// By design [thread-5]: also 1, and running, where the system has no
    /// thread to give. The body then never runs, and `StopThread` does not wait
    /// for it.
    /// By design [thread-6]: where one of its three events cannot be made,
    /// which does not happen on Linux, this and every later start answers 0.
    /// By design [thread-7]: takes 100 microseconds more than it would, in
    /// which the thread begins.
    ///
    /// Example (examples/Thread.cpp):
    ///
    ///     if (worker.StartThread(0) != 1) {
    ///         return 1;
    ///     }
    ///     worker.StopThread(0xFFFFFFFF, 0);  // Until the round ends.
    int StartThread(int suspended);

    int IsThreadRunning() const;  ///< 1 from a start until the stop.

    /// 1 when a stop is asked for within the timeout.
    /// By design [thread-11]: also 1, at once, when not running.
    int IsStopThread(unsigned int timeout) const;

    void StopThreadEvent();  ///< Asks a running thread to stop; does not wait.
    int ResumeThread();      ///< Lets a suspended one go on; 0: not running.

    /// By design [thread-15]: it is the calling thread that sleeps, and gives
    /// way in `YieldThread`.
    /// By design [thread-8]: the microseconds are counted with 32 bits, so from
    /// 4,294,968 milliseconds on it sleeps for what is left of them.
    void SleepThread(unsigned int milliseconds);

    int YieldThread();  ///< Gives way, the calling thread.

    /// By design [thread-9]: a number that is kept for the caller, 15 at first.
    /// The system does not learn of it.
    int GetThreadPriority() const;
    void SetThreadPriority(int newPriority);

    pthread_t* GetHandle() const;           ///< Null when not running.
    NovuEvent* GetStopThreadEvent() const;  ///< Owned by the thread.

    /// By design [thread-14]: the first word of the system's thread object, and
    /// not the number that the system knows it by; 0 when not running, and
    /// where the system made none ([thread-5]).
    unsigned long long GetThreadId() const;

    /// By design [thread-10]: all threads that are not running are equal; one
    /// that is running equals itself alone.
    int operator==(const Thread& other) const;
    int operator!=(const Thread& other) const;

private:
    struct Start;

    [[gnu::visibility("hidden")]] static void* ThreadEntryProc(void* record);

    ThreadHandler* handler;  // Not owned; null for none.
    pthread_t* handle;       // Owned; null when not running.

    // Owned. Created by StartThread, closed by StopThread.
    NovuEvent* stopEvent;    // Set when the body is to return.
    NovuEvent* exitEvent;    // Set when it has.
    NovuEvent* resumeEvent;  // Set when a suspended thread may go on.

    [[maybe_unused]] int reserved;  // 0; part of the layout.
    int priority;                   // Kept for the caller.
};

}  // namespace Novu

#endif  // NOVU_BASES_THREAD_H_
