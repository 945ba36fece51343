// SemPrimitives on macOS: a Mach semaphore. It knows no generation, so a post
// between the caller's look and the wait is missed.

#include <mach/mach.h>
#include <mach/semaphore.h>
#include <mach/task.h>

#include "Bases/Impl/SemPrimitives.h"

namespace Novu {

namespace {

// What a record of the semaphore has room for.
static_assert(sizeof(semaphore_t) == sizeof(std::uint32_t) &&
              sizeof(task_t) == sizeof(std::uint32_t));

Waited WaitedFor(kern_return_t result) {
    switch (result) {
        case KERN_SUCCESS:
            return Waited::Taken;
        case KERN_ABORTED:
            return Waited::Interrupted;
        default:
            return Waited::Failed;
    }
}

}  // namespace

bool KernelSemCreate(KernelSemaphore& shared, std::int32_t initialCount) {
    shared.task = ::mach_task_self();
    semaphore_t semaphore = MACH_PORT_NULL;
    if (::semaphore_create(shared.task, &semaphore, SYNC_POLICY_FIFO,
                           initialCount) != KERN_SUCCESS) {
        return false;
    }
    shared.semaphore = semaphore;
    return true;
}

bool KernelSemDestroy(KernelSemaphore& shared) {
    return ::semaphore_destroy(shared.task, shared.semaphore) == KERN_SUCCESS;
}

Waited KernelSemWait(KernelSemaphore& shared, std::uint32_t /*since*/) {
    return WaitedFor(::semaphore_wait(shared.semaphore));
}

Waited KernelSemTimedWait(KernelSemaphore& shared, std::uint32_t /*since*/,
                          std::uint32_t seconds, std::uint32_t nanoseconds) {
    const mach_timespec_t limit = {seconds,
                                   static_cast<clock_res_t>(nanoseconds)};
    return WaitedFor(::semaphore_timedwait(shared.semaphore, limit));
}

void KernelSemSignalAll(KernelSemaphore& shared) {
    ::semaphore_signal_all(shared.semaphore);
}

}  // namespace Novu
