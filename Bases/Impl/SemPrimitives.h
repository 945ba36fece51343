// SemPrimitives (private): the five calls that a port defines for semaphores of
// the process. The rules (what a post leaves, what an interruption means) are
// above them, in Sem_posix.cpp; a port decides nothing.

#ifndef NOVU_BASES_IMPL_SEMPRIMITIVES_H_
#define NOVU_BASES_IMPL_SEMPRIMITIVES_H_

#include <atomic>
#include <cstdint>

namespace Novu {

/// What the threads of a process share of one semaphore.
struct KernelSemaphore {
    /// macOS: the port of the task that made it. Linux: that process.
    std::uint32_t task = 0;

    /// macOS: its port. Linux: what is left of the initial count.
    std::atomic<std::uint32_t> semaphore = 0;

    /// Raised by each post, before KernelSemSignalAll, and odd while the event
    /// that stands on the semaphore is set.
    std::atomic<std::uint32_t> generation = 0;

    /// Linux: the threads that sleep, or are about to.
    std::atomic<std::uint32_t> sleepers = 0;
};

/// The number of posts and sets that led to a generation, modulo 2^31. A post
/// raises it by 2, and a set by 1, to an odd one; a reset, by 1 to an even one,
/// is none of them, also where the generation comes round to 0.
inline std::uint32_t PostsUpTo(std::uint32_t generation) {
    return (generation + 1) / 2;
}

/// How a wait ended.
enum class Waited {
    Taken,        // Something of the initial count, or released by a post.
    Interrupted,  // By a signal handler.
    Failed        // The time is over, or there is no such semaphore.
};

/// Makes the kernel's semaphore with that count; false for a negative one.
bool KernelSemCreate(KernelSemaphore& shared, std::int32_t initialCount);

/// Releases it; false where there is none.
bool KernelSemDestroy(KernelSemaphore& shared);

/// Takes 1 of the initial count, or sleeps until a post. Where the system can,
/// a post that has come since the generation was `since` counts.
///
/// Both waits are cancellation points through which a thread is unwound, so
/// they are not noexcept.
Waited KernelSemWait(KernelSemaphore& shared, std::uint32_t since);

/// As KernelSemWait, for at most that time; where that is none, a post that has
/// come is for the caller to see.
Waited KernelSemTimedWait(KernelSemaphore& shared, std::uint32_t since,
                          std::uint32_t seconds, std::uint32_t nanoseconds);

/// Releases all who sleep and leaves nothing where none does.
void KernelSemSignalAll(KernelSemaphore& shared);

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_SEMPRIMITIVES_H_
