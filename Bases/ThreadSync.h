// ThreadSync: locks, their guards, and events.
//
// Units    Timeouts are milliseconds: 0xFFFFFFFF waits without limit, 0 only
//          tries.
// Errors   Results only: 1 for done or true, 0 for failed or false.
// Threads  Any may lock and unlock, set, reset and wait at once. Making,
//          Create, Open, Close and destruction are for when nobody else uses
//          the object.
// See      docs/surprises.md, "Locks", for what is By design.

#ifndef NOVU_BASES_THREADSYNC_H_
#define NOVU_BASES_THREADSYNC_H_

#include <sys/types.h>

#include <string>

#include "Bases/Export.h"

namespace Novu {

class NovuEvent;
class NovuSemaphore;

/// A lock within the process. The thread that has it may lock it again, and
/// unlocks it as often. Destroying a locked one is the caller's error.
///
/// To wait here is no cancellation point: a thread that is forced to stop
/// (Thread.h) while it waits goes on until it has the lock, and ends at its
/// next cancellation point.
///
/// Example (examples/ThreadSync.cpp):
///
///     Novu::Cs lock;
///     int balance = 0;  // Under lock.
class NOVU_API Cs {
public:
    Cs();  ///< Not locked.

    Cs(const Cs&) = delete;  // A copied mutex is none.
    Cs& operator=(const Cs&) = delete;

    ~Cs();  ///< Of a lock that nobody has.

    void Lock() const;    ///< Waits until no other thread has it.
    void Unlock() const;  ///< By the thread that has it.
    int TryLock() const;  ///< 0 where another thread has it.

private:
    mutable pthread_mutex_t mutex;  // Recursive.
};

/// Has a `Cs` locked for a scope.
///
/// Example (examples/ThreadSync.cpp):
///
///     void Pay(int amount) {
///         const Novu::CsLocker locker(lock);  // Until the end of the scope.
///         balance += amount;
///     }
class NOVU_API CsLocker {
public:
    CsLocker(const Cs& toLock);  ///< Locks it; it has to outlive this.

    CsLocker(const CsLocker&) = delete;  // A copy would unlock twice.
    CsLocker& operator=(const CsLocker&) = delete;

    virtual ~CsLocker();  ///< Unlocks it.

private:
    const Cs* locked;  // Not owned.
};

/// A semaphore whose count begins with 1: of the process, or the system's where
/// it has a name.
///
/// By design [threadsync-1]: it has no owner. A thread that has it waits when
/// it locks it again; any thread may unlock it. With a name, each `Unlock` too
/// many lets one more in.
///
/// @warning By design [threadsync-2]: without a name, `Unlock` lets in all who
/// wait, and where nobody does, nothing is given back: the next `Lock` waits
/// for another `Unlock`. Use `Cs` within a process.
///
/// @warning By design [threadsync-5]: a name does not keep a second run of a
/// program out, since that removes it on its way out ([sem-4]), and a holder
/// that is killed leaves it taken. Hold a file with flock(2) instead.
///
/// Example (examples/OneAtATime.cpp):
///
///     // Made before the others begin, and kept until all of them have ended:
///     // the first that closes it removes the name for those who come later.
///     Novu::Mutex turns;
///     if (turns.Create(name.c_str()) != 1 || turns.Lock(0) != 1) {
///         return 1;
///     }
class NOVU_API Mutex {
public:
    Mutex();                  ///< Not created.
    Mutex(const char* name);  ///< Tries `Create`.

    Mutex(const Mutex&) = delete;  // Both would release the semaphore.
    Mutex& operator=(const Mutex&) = delete;

    /// As `Close`. @warning By design [sem-4]: removes a name for everyone.
    ~Mutex();

    /// 0 where it is created already, and where the system refuses; null is for
    /// one of the process. As `NovuSemaphore::Create` with a count of 1.
    int Create(const char* name);

    /// By design [threadsync-3]: as `Create`, which also opens.
    int Open(const char* name);

    /// 1 when locked within the timeout.
    /// By design [sem-3]: with a name, a limit is not waited for.
    int Lock(unsigned int timeout);

    void Unlock();   ///< As `NovuSemaphore::Post`.
    int IsOpened();  ///< As `NovuSemaphore::IsCreated`.

    /// Always 1; not created afterwards.
    /// By design [sem-4]: removes a name for everyone.
    int Close();

    NovuSemaphore* GetHandle();  ///< Owned by the mutex.

private:
    NovuSemaphore* semaphore;             // Owned.
    [[maybe_unused]] std::string unused;  // Part of the layout.
};

/// Waits for a `Mutex` without limit, and unlocks it at the end of the scope.
/// By design [threadsync-4]: it also does the latter where the wait failed, as
/// it does on a mutex that is not created.
///
/// Example (examples/OneAtATime.cpp):
///
///     void Say(Novu::Mutex& turns, const std::string& text) {
///         const Novu::MutexLocker locker(turns);  // Until the end.
///         std::cout << text << std::flush;
///     }
class NOVU_API MutexLocker {
public:
    MutexLocker(Mutex& toLock);  ///< Waits for it; it has to outlive this.

    MutexLocker(const MutexLocker&) = delete;  // A copy would unlock twice.
    MutexLocker& operator=(const MutexLocker&) = delete;

    virtual ~MutexLocker();  ///< Unlocks it.

private:
    Mutex* locked;  // Not owned.
};

/// A `NovuEvent` (Sem.h, which has the rules), under a public name.
///
/// Example (examples/ThreadSync.cpp):
///
///     Novu::Event paid;
///     if (paid.Create(1, 0, nullptr) != 1 || paid.Wait(10) != 0) {
///         return 1;  // Not created, or set although nobody did.
///     }
class NOVU_API Event {
public:
    Event();  ///< Manual reset, not set, not opened.

    Event(const Event&) = delete;  // Both would release the event.
    Event& operator=(const Event&) = delete;

    /// As `Close`. @warning By design [sem-4]: removes a name for everyone.
    ~Event();

    /// Makes an event that is set where `initialState` is not 0: of the process
    /// where `name` is null. 0 where it is opened already, and where the system
    /// refuses; neither state nor reset change then.
    int Create(int manualReset, int initialState, const char* name);

    int Open(const char* name);      ///< By design [sem-12]: automatic reset.
    int IsOpened();                  ///< As `NovuEvent::IsOpened`.
    int Set();                       ///< Always 1; lets all who wait go on.
    int Reset();                     ///< As `NovuEvent::Reset`.
    int Wait(unsigned int timeout);  ///< 1 when set within the timeout.
    void Close();                    ///< As `NovuEvent::Close`.

    NovuEvent* GetHandle();  ///< Owned by the event.

private:
    NovuEvent* event;                     // Owned.
    [[maybe_unused]] std::string unused;  // Part of the layout.
};

}  // namespace Novu

#endif  // NOVU_BASES_THREADSYNC_H_
