// <mach/semaphore.h>, for tests: what Sem_mac.cpp uses of it.

#ifndef NOVU_BASES_TESTS_MAC_MACH_SEMAPHORE_H_
#define NOVU_BASES_TESTS_MAC_MACH_SEMAPHORE_H_

#include <mach/mach.h>

extern "C" {

kern_return_t semaphore_wait(semaphore_t semaphore);
kern_return_t semaphore_timedwait(semaphore_t semaphore,
                                  mach_timespec_t wait_time);
kern_return_t semaphore_signal_all(semaphore_t semaphore);

}  // extern "C"

#endif  // NOVU_BASES_TESTS_MAC_MACH_SEMAPHORE_H_
