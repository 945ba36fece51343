// <mach/mach.h>, for tests: what Sem_mac.cpp uses of it.

#ifndef NOVU_BASES_TESTS_MAC_MACH_MACH_H_
#define NOVU_BASES_TESTS_MAC_MACH_MACH_H_

using kern_return_t = int;
using mach_port_t = unsigned int;
using task_t = mach_port_t;
using semaphore_t = mach_port_t;
using clock_res_t = int;

struct mach_timespec_t {
    unsigned int tv_sec;
    clock_res_t tv_nsec;
};

const mach_port_t MACH_PORT_NULL = 0;

const kern_return_t KERN_SUCCESS = 0;
const kern_return_t KERN_INVALID_ARGUMENT = 4;
const kern_return_t KERN_RESOURCE_SHORTAGE = 6;
const kern_return_t KERN_ABORTED = 14;
const kern_return_t KERN_NOT_WAITING = 48;
const kern_return_t KERN_OPERATION_TIMED_OUT = 49;

const int SYNC_POLICY_FIFO = 0;

extern "C" mach_port_t mach_task_self_;
#define mach_task_self() mach_task_self_

#endif  // NOVU_BASES_TESTS_MAC_MACH_MACH_H_
