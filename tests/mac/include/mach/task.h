// <mach/task.h>, for tests: what Sem_mac.cpp uses of it.

#ifndef NOVU_BASES_TESTS_MAC_MACH_TASK_H_
#define NOVU_BASES_TESTS_MAC_MACH_TASK_H_

#include <mach/mach.h>

extern "C" {

kern_return_t semaphore_create(task_t task, semaphore_t* semaphore, int policy,
                               int value);
kern_return_t semaphore_destroy(task_t task, semaphore_t semaphore);

}  // extern "C"

#endif  // NOVU_BASES_TESTS_MAC_MACH_TASK_H_
