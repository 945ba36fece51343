// Sem, from Bases/Sem.h: every rule of both kinds of semaphore, and the event.
// The kernel's part of the unnamed kind is behind SemPrimitives.h.
//
// On Linux no wake-up is lost, though nothing is locked. Whether an event is
// set, and which post is the latest, are one word, the generation: odd while
// the event is set, 1 more for each set and each reset that changes something,
// and 2 more for each post. A wait reads it once, and the kernel does not let a
// thread sleep on a word that has changed since. So a set comes before the
// reading, or ends the wait; and none ends two waits of one thread. On macOS
// the kernel does not look at the word.
//
// The generation and the sleepers are sequentially consistent, for either the
// one who sets sees a sleeper or the sleeper sees the set. The count and the
// flag of such an event order nothing: whoever reads them is told by the
// generation, or content with a number that was right a moment ago. So a set
// and a reset write them in relaxed order, which costs a tenth of the other.

#include "Bases/Sem.h"

#include <fcntl.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/time.h>

#include <cstdint>
#include <string>
#include <typeinfo>

#include "Bases/Impl/SemPrimitives.h"
#include "Bases/Impl/Timeouts.h"

namespace Novu {

namespace {

std::uint64_t MicrosecondsSince1970() {
    timeval now{};
    ::gettimeofday(&now, nullptr);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000U +
           static_cast<std::uint64_t>(now.tv_usec);
}

}  // namespace

// Two kinds

class [[gnu::visibility("hidden")]] NovuSemaphore::SemImpl {
public:
    SemImpl() = default;
    SemImpl(const SemImpl&) = delete;
    SemImpl& operator=(const SemImpl&) = delete;
    virtual ~SemImpl() = default;

    virtual int Create(SemInitState state) = 0;
    virtual int Destroy() = 0;
    virtual int Wait() = 0;
    virtual int TryWait() = 0;
    virtual int TimedWait(unsigned int milliseconds) = 0;
    virtual void Post() = 0;
    virtual int GetSemCounts(int& count) = 0;
};

class [[gnu::visibility("hidden")]] NovuSemaphore::SemNamed final
    : public SemImpl {
public:
    explicit SemNamed(const char* newName) : handle(nullptr), name(newName) {}

    ~SemNamed() override { SemNamed::Destroy(); }

    int Create(SemInitState state) override {
        if (name.empty()) {
            return 0;
        }
        // By design [sem-7]: compared with null, not with SEM_FAILED.
        handle = ::sem_open(name.c_str(), O_CREAT, mode_t{0777},
                            static_cast<unsigned int>(state));
        return handle != nullptr ? 1 : 0;
    }

    int Destroy() override {
        if (handle == nullptr) {
            return 1;
        }
        ::sem_unlink(name.c_str());
        handle = nullptr;  // By design [sem-4]: not closed.
        return 1;
    }

    int Wait() override {
        return handle != nullptr && ::sem_wait(handle) == 0 ? 1 : 0;
    }

    int TryWait() override {
        return handle != nullptr && ::sem_trywait(handle) == 0 ? 1 : 0;
    }

    int TimedWait(unsigned int milliseconds) override {
        if (handle == nullptr) {
            return 0;
        }
        if (::sem_trywait(handle) == 0) {
            return 1;
        }
        // By design [sem-3]: the limit is the timeout itself, which only a
        // clock that stands in early 1970 has not reached.
        const std::uint64_t limit = std::uint64_t{milliseconds} * 1000U;
        while (MicrosecondsSince1970() < limit) {
            if (::sem_trywait(handle) == 0) {
                return 1;
            }
            ::sched_yield();
        }
        return 0;
    }

    void Post() override {
        if (handle != nullptr) {
            ::sem_post(handle);
        }
    }

    // macOS deprecates sem_getvalue, which always fails there.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    int GetSemCounts(int& count) override {
        return handle != nullptr && ::sem_getvalue(handle, &count) == 0 ? 1 : 0;
    }
#pragma GCC diagnostic pop

private:
    sem_t* handle;  // Null while not open.
    std::string name;
};

class [[gnu::visibility("hidden")]] NovuSemaphore::SemUnnamed final
    : public SemImpl {
public:
    SemUnnamed() = default;

    ~SemUnnamed() override { SemUnnamed::Destroy(); }

    int Create(SemInitState state) override {
        if (created != 0) {
            return 1;
        }
        const auto initialCount = static_cast<std::int32_t>(state);
        count = initialCount;
        if (!KernelSemCreate(kernel, initialCount)) {
            return 0;
        }
        created = 1;
        return 1;
    }

    int Destroy() override {
        if (!KernelSemDestroy(kernel)) {
            return 0;
        }
        created = 0;
        return 1;
    }

    int Wait() override { return WaitSince(kernel.generation, kNoLimit); }

    int TryWait() override { return TimedWait(0); }

    int TimedWait(unsigned int milliseconds) override {
        return WaitSince(kernel.generation, milliseconds);
    }

    void Post() override {
        if (created != 0) {
            count = 0;
            kernel.generation += 2;
            KernelSemSignalAll(kernel);
        }
    }

    int GetSemCounts(int& out) override {
        if (created == 0) {
            return 0;
        }
        out = count;
        return 1;
    }

    // For the event that stands on this semaphore.

    bool IsEventSet() const { return IsSet(kernel.generation); }

    /// Before anybody else knows the event.
    void InitialiseEvent(bool set) { kernel.generation = set ? 1 : 0; }

    bool IsCreated() const { return created != 0; }

    /// Answers whether it was unset.
    bool SetEvent() {
        // Written in any case, so that what was done before this call is seen
        // by the thread that resets the event.
        if (IsSet(kernel.generation.fetch_or(1))) {
            return false;
        }
        if (created != 0) {
            count.store(0, std::memory_order_relaxed);
            KernelSemSignalAll(kernel);
        }
        return true;
    }

    int WaitForEvent(unsigned int timeout) {
        const std::uint32_t generation = kernel.generation;
        return IsSet(generation) ? 1 : WaitSince(generation, timeout);
    }

    /// A wait without time where there is nothing to take, which leaves an
    /// event that is not set as it is, whatever its reset. Answers whether it
    /// was one. What is set after the look is for the next wait.
    bool LooksInVain() {
        if (IsSet(kernel.generation) || kernel.semaphore != 0 || created == 0) {
            return false;
        }
        CountAWait();
        return true;
    }

    /// Takes what the count says is there, and unsets the event. Answers
    /// whether it was set, which is all that a wait in vain asks: it has left
    /// no count.
    bool ResetEvent() {
        if (count.load(std::memory_order_relaxed) > 0) {
            TakeCount();
        }
        std::uint32_t generation = kernel.generation;
        while (IsSet(generation)) {
            if (kernel.generation.compare_exchange_weak(generation,
                                                        generation + 1)) {
                return true;
            }
        }
        return false;
    }

private:
    static bool IsSet(std::uint32_t generation) { return generation % 2 != 0; }

    // Not below a number that nobody reaches by waiting in earnest: looks in
    // vain are so quick that they would come round to INT_MAX in half a minute.
    // Far enough above INT_MIN for all threads that pass the test together.
    void CountAWait() {
        if (count.load(std::memory_order_relaxed) > kLowestCount) {
            --count;
        }
    }

    // What is not done at every wait for an event is kept out of line: the rest
    // is a few instructions.

    [[gnu::noinline]] void TakeCount() {
        for (std::int32_t left = count; left > 0; --left) {
            SemUnnamed::TryWait();
        }
    }

    // A wait for which everything counts that has come since `generation`, also
    // together with the end of the time, or with a signal.
    [[gnu::noinline]] int WaitSince(std::uint32_t generation,
                                    unsigned int timeout) {
        if (created == 0) {
            return 0;
        }
        CountAWait();
        const Waited waited = timeout == kNoLimit
                                  ? KernelSemWait(kernel, generation)
                                  : TimedWaitSince(generation, timeout);
        return waited == Waited::Taken ||
                       PostsUpTo(kernel.generation) != PostsUpTo(generation)
                   ? 1
                   : 0;
    }

    Waited TimedWaitSince(std::uint32_t generation, unsigned int milliseconds) {
        const std::uint32_t seconds = milliseconds / 1000;
        const std::uint32_t nanoseconds = milliseconds % 1000 * 1000000;
        const Waited waited =
            KernelSemTimedWait(kernel, generation, seconds, nanoseconds);
        return waited == Waited::Interrupted
                   ? KernelSemTimedWait(kernel, generation, seconds,
                                        nanoseconds)
                   : waited;
    }

    static const std::int32_t kLowestCount = -0x40000000;

    std::int32_t created = 0;  // 1 once the kernel's exists.
    std::atomic<std::int32_t> count =
        0;  // By design [sem-8]: not the kernel's.
    KernelSemaphore kernel;
};

// NovuSemaphore

NovuSemaphore::NovuSemaphore() : implementation(nullptr) {}

NovuSemaphore::~NovuSemaphore() { delete implementation; }

int NovuSemaphore::Create(SemInitState state, const char* name, int flag) {
    if (implementation != nullptr) {
        return 0;
    }
    if (name != nullptr) {
        implementation = new SemNamed(name);
        if (flag != 0) {
            implementation->Destroy();  // By design [sem-5]: nothing is open.
        }
    } else {
        implementation = new SemUnnamed;
    }
    return implementation->Create(state);
}

int NovuSemaphore::Destroy() {
    delete implementation;
    implementation = nullptr;
    return 1;
}

int NovuSemaphore::Wait(unsigned int timeout) {
    if (implementation == nullptr) {
        return 0;
    }
    switch (timeout) {
        case kNoLimit:
            return implementation->Wait();
        case 0:
            return implementation->TryWait();
        default:
            return implementation->TimedWait(timeout);
    }
}

void NovuSemaphore::Post() {
    if (implementation != nullptr) {
        implementation->Post();
    }
}

int NovuSemaphore::IsCreated() { return implementation != nullptr ? 1 : 0; }

int NovuSemaphore::GetSemCounts(int& count) {
    return implementation != nullptr ? implementation->GetSemCounts(count) : 0;
}

// The one that has generations, or null. By its type, since the slots of the
// virtual functions are part of the layout; and by typeid, which is a
// comparison of pointers where dynamic_cast is a search.
inline NovuSemaphore::SemUnnamed* NovuSemaphore::Unnamed() const {
    return implementation != nullptr &&
                   typeid(*implementation) == typeid(SemUnnamed)
               ? static_cast<SemUnnamed*>(implementation)
               : nullptr;
}

// NovuEvent
//
// Whether the event is set is said by an unnamed semaphore's generation, and by
// the flag where there is no such semaphore. The flag follows the generation,
// and outlives it.

static_assert(sizeof(std::atomic<int>) == sizeof(int));

NovuEvent::NovuEvent()
    : signalled(0), manual(1), semaphore(new NovuSemaphore) {}

NovuEvent::~NovuEvent() { delete semaphore; }

int NovuEvent::Create(int manualReset, int initialState, const char* name) {
    const auto state = initialState != 0 ? NovuSemaphore::Signalled
                                         : NovuSemaphore::NotSignalled;
    if (CreateSemaphore(state, name) == 0) {
        return 0;
    }
    signalled = initialState;
    manual = manualReset;
    if (NovuSemaphore::SemUnnamed* const unnamed = semaphore->Unnamed()) {
        unnamed->InitialiseEvent(initialState != 0);
    }
    return 1;
}

int NovuEvent::Open(const char* name) {
    if (CreateSemaphore(NovuSemaphore::Signalled, name) == 0) {
        return 0;
    }
    manual = 0;
    return 1;
}

// The event is set or not as before, also where the semaphore failed and stays.
int NovuEvent::CreateSemaphore(unsigned int state, const char* name) {
    if (semaphore->IsCreated() != 0) {
        return 0;
    }
    const int result = semaphore->Create(
        static_cast<NovuSemaphore::SemInitState>(state), name, 1);
    if (NovuSemaphore::SemUnnamed* const unnamed = semaphore->Unnamed()) {
        unnamed->InitialiseEvent(signalled != 0);
    }
    return result;
}

int NovuEvent::IsOpened() { return semaphore->IsCreated(); }

int NovuEvent::Set() {
    if (NovuSemaphore::SemUnnamed* const unnamed = semaphore->Unnamed()) {
        if (unnamed->SetEvent()) {
            signalled.store(1, std::memory_order_relaxed);
        }
        return 1;
    }
    int seen = signalled;  // Written in any case, as by SetEvent.
    while (!signalled.compare_exchange_weak(seen, seen != 0 ? seen : 1)) {
    }
    if (seen == 0) {
        semaphore->Post();
    }
    return 1;
}

int NovuEvent::Reset() {
    if (NovuSemaphore::SemUnnamed* const unnamed = semaphore->Unnamed()) {
        if (!unnamed->IsCreated()) {
            return 0;
        }
        unnamed->ResetEvent();
        signalled.store(0, std::memory_order_relaxed);
        return 1;
    }
    bool wasSet = false;
    return ResetAndTell(wasSet);
}

// Where the flag says whether the event is set.
int NovuEvent::ResetAndTell(bool& wasSet) {
    int count = 0;
    if (semaphore->GetSemCounts(count) == 0) {
        return 0;
    }
    for (; count > 0; --count) {
        wasSet = semaphore->Wait(0) != 0 || wasSet;
    }
    wasSet = signalled.exchange(0) != 0 || wasSet;
    return 1;
}

int NovuEvent::Wait(unsigned int timeout) {
    // With automatic reset, nobody else learns of a set that came when the time
    // was over.
    if (NovuSemaphore::SemUnnamed* const unnamed = semaphore->Unnamed()) {
        if (timeout == 0 && unnamed->LooksInVain()) {
            return 0;
        }
        int result = unnamed->WaitForEvent(timeout);
        if (manual == 0 && unnamed->IsCreated()) {
            if (unnamed->ResetEvent()) {
                result = 1;
            }
            signalled.store(0, std::memory_order_relaxed);
        }
        return result;
    }
    return WaitByFlag(timeout);
}

// Out of line, so that the usual wait need not set up for it.
[[gnu::noinline]] int NovuEvent::WaitByFlag(unsigned int timeout) {
    int result = signalled != 0 ? 1 : semaphore->Wait(timeout);
    if (manual == 0) {
        bool wasSet = false;
        ResetAndTell(wasSet);
        if (wasSet) {
            result = 1;
        }
    }
    return result;
}

void NovuEvent::Close() {
    if (NovuSemaphore::SemUnnamed* const unnamed = semaphore->Unnamed()) {
        // Threads that set and reset at once may have left it behind.
        if (unnamed->IsEventSet() != (signalled != 0)) {
            signalled = unnamed->IsEventSet() ? 1 : 0;
        }
    }
    semaphore->Destroy();
    manual = 1;
}

NovuSemaphore* NovuEvent::GetSemaphore() { return semaphore; }

}  // namespace Novu
