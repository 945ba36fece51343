// Sem: counting semaphores, and events that are built on them.
//
// Shape    Without a name a semaphore belongs to the process; with one it is
//          the system's, found by that name (POSIX sem_open).
// Units    Timeouts are milliseconds: 0xFFFFFFFF waits without limit, 0 only
//          tries.
// Cost     On Linux and without a name, a wait calls the system only to sleep,
//          and a post or set only where somebody sleeps.
// Errors   Results only: 1 for done or true, 0 for failed or false.
// Threads  Any may wait, post, set and reset at once. Create, Destroy, Close
//          and destruction are for when no other thread's call is under way; a
//          wait may return before the post or set that ended it.
// See      docs/surprises.md, "Semaphores and events", for what is By design.
//
// A wait that sleeps is a cancellation point: a forced stop of a thread
// (Thread.h) ends it.
//
// By design [sem-1]: a signal handler ends a wait without limit early, with the
// result 0, unless it was installed with SA_RESTART. A wait with a limit begins
// once more, with the whole limit, and ends at the second interruption. A post
// is not missed by either.

#ifndef NOVU_BASES_SEM_H_
#define NOVU_BASES_SEM_H_

#include <atomic>

#include "Bases/Export.h"

namespace Novu {

/// A semaphore that is not created, of the process, or named.
///
///             | of the process           | named
///   ----------|--------------------------|-------------------------------
///   Wait      | takes from the initial   | takes from the system's count
///             | count, or waits for a    |
///             | post                     |
///   Post      | releases all who wait    | adds 1 to the system's count
///   limits    | are kept                 | fail at once [sem-3]
///
/// By design [sem-2]: without a name, a post when nobody waits leaves nothing
/// behind. `NovuEvent` remembers what a semaphore forgets.
///
/// By design [sem-3]: with a name, a wait with a limit tries once and fails at
/// once, since its limit is compared with the time since 1970.
///
/// @warning By design [sem-4]: `Destroy` and the destructor remove a name for
/// everyone, whoever made it. They never close the system's semaphore: a
/// process that makes some 65,000 of them has no mappings left.
///
/// Example (examples/Sem.cpp):
///
///     Novu::NovuSemaphore places;  // Named: a post is kept until it is taken.
///     const auto two = static_cast<Novu::NovuSemaphore::SemInitState>(2);
///     if (places.Create(two, name.c_str(), 0) != 1) {
///         return false;
///     }
///     const bool both = places.Wait(0) == 1 && places.Wait(0) == 1;
class NOVU_API NovuSemaphore {
public:
    /// The initial count; any other number may be cast to it.
    enum SemInitState : unsigned int { NotSignalled = 0, Signalled = 1 };

    NovuSemaphore();  ///< Not created.

    NovuSemaphore(const NovuSemaphore&) = delete;  // Both would release it.
    NovuSemaphore& operator=(const NovuSemaphore&) = delete;

    virtual ~NovuSemaphore();  ///< As `Destroy`.

    /// Makes the semaphore: of the process where `name` is null, and the
    /// system's of that name otherwise, which keeps its count if there is one.
    /// Refused while one is attached, for an empty name, for one that the
    /// system refuses (a second slash, say), and without a name for a count of
    /// 2^31 and more. "n" and "/n" are the same name on Linux; the umask
    /// applies to the permissions, 0777.
    /// By design [sem-5]: `flag` has no effect.
    /// By design [sem-6]: what fails stays attached: `IsCreated` answers 1 and
    /// another `Create` 0 until `Destroy`.
    /// By design [sem-7]: the system's failure is known by a null handle, which
    /// macOS does not give: there every name but the empty one answers 1.
    int Create(SemInitState state, const char* name, int flag);

    int Destroy();  ///< Always 1; not created afterwards.

    /// 1 when the semaphore was taken, or a post came, within the timeout.
    int Wait(unsigned int timeout);

    /// Of the process: lets all who wait at this moment go on. Named: adds 1 to
    /// the system's count. Does nothing where there is no semaphore.
    void Post();

    int IsCreated();  ///< 1 also after a `Create` that failed.

    /// The count; 0, and `count` as it was, where there is none. For a named
    /// semaphore it is the system's, which macOS does not tell.
    /// By design [sem-8]: otherwise it is one that is kept beside: the initial
    /// count, less 1 for every wait (also those that fail), down to -2^30, and
    /// 0 after a post.
    int GetSemCounts(int& count);

private:
    friend class NovuEvent;

    class SemImpl;
    class SemNamed;
    class SemUnnamed;

    [[gnu::visibility("hidden")]] SemUnnamed* Unnamed() const;

    SemImpl* implementation;  // Owned; null until Create.
};

/// Something that has happened, or has not yet.
///
///                     | manual reset            | automatic reset
///   ------------------|-------------------------|---------------------------
///   Set               | releases all who wait, and those who come later
///   Wait              | leaves the event as it is | resets it, also in vain
///   unset by          | Reset                   | Reset, Wait
///
/// The event is a flag in this object; the semaphore is what waiting threads
/// sleep on. Who sets before or while another begins to wait is not missed.
/// By design [sem-9]: on macOS the system's semaphores leave a moment between
/// the look at the flag and the sleep in which a `Set` is missed.
///
/// By design [sem-10]: a `Set` releases all who wait, with automatic reset too.
///
/// By design [sem-11]: objects of one name share the system's count and not
/// the flag: a `Set` lets one wait of the others through, and a second one none
/// [sem-16]. For more than one signal, name a `NovuSemaphore`.
///
/// Example (examples/Sem.cpp):
///
///     Novu::NovuEvent ready;
///     return ready.Create(0, 0, name) == 1 && ready.Set() == 1 ? 0 : 1;
class NOVU_API NovuEvent {
public:
    NovuEvent();  ///< Manual reset, not set, not opened.

    NovuEvent(const NovuEvent&) = delete;  // Both would release the semaphore.
    NovuEvent& operator=(const NovuEvent&) = delete;

    /// Releases the semaphore. @warning By design [sem-4]: removes a name for
    /// everyone.
    ~NovuEvent();

    /// Makes the semaphore of an event that is set where `initialState` is not
    /// 0. Where that fails ([sem-6]), neither state nor reset change.
    int Create(int manualReset, int initialState, const char* name);

    /// By design [sem-12]: as `Create` of an event whose reset is automatic,
    /// whatever its maker chose; whether it is set stays as it was.
    int Open(const char* name);

    int IsOpened();  ///< As `NovuSemaphore::IsCreated`.

    /// 1, after which the event is set.
    /// By design [sem-16]: where it was set already, nothing is posted.
    /// By design [sem-13]: also 1 for an event that is not opened, whose next
    /// `Wait` then answers 1.
    int Set();

    /// Takes what the semaphore's count says is there, and unsets the event. 0,
    /// with the event as it was, where there is no count.
    int Reset();

    /// 1 at once where the event is set; as `NovuSemaphore::Wait` otherwise.
    /// By design [sem-14]: with automatic reset the event is then reset, also
    /// by a wait in vain.
    int Wait(unsigned int timeout);

    /// Releases the semaphore. Manual reset afterwards.
    /// By design [sem-15]: an event that was set stays set.
    void Close();

    /// Owned by the event, which alone creates and destroys it.
    NovuSemaphore* GetSemaphore();

private:
    [[gnu::visibility("hidden")]] int CreateSemaphore(unsigned int state,
                                                      const char* name);
    [[gnu::visibility("hidden")]] int ResetAndTell(bool& wasSet);
    [[gnu::visibility("hidden")]] int WaitByFlag(unsigned int timeout);

    std::atomic<int> signalled;  // Not 0: set.
    std::atomic<int> manual;     // 0: every Wait resets.
    NovuSemaphore* semaphore;    // Owned.
};

}  // namespace Novu

#endif  // NOVU_BASES_SEM_H_
