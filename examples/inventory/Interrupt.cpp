// The signals, from Interrupt.h.

#include "Interrupt.h"

#include <signal.h>

#include <atomic>

#include "Failure.h"

namespace Inventory {

namespace {

// The number of the signal that came, or 0. Not a sig_atomic_t, since it can
// come on any thread.
std::atomic<int> received{0};
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void Receive(int signal) { received = signal; }

// Sets what the signals do, but for one that is ignored.
void Handle(void (*handler)(int)) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action = {};
        if (::sigaction(signal, nullptr, &action) == 0 &&
            action.sa_handler != SIG_IGN) {
            action = {};
            action.sa_handler = handler;  // Without SA_RESTART.
            ::sigaction(signal, &action, nullptr);
        }
    }
}

}  // namespace

void CatchInterrupts() { Handle(Receive); }

void ReleaseInterrupts() {
    Handle(SIG_DFL);
    StopIfInterrupted();
}

bool IsInterrupted() { return received != 0; }

void StopIfInterrupted() {
    if (IsInterrupted()) {
        throw Failure("interrupted");
    }
}

void DieIfInterrupted() {
    const int signal = received;
    if (signal != 0) {
        ::signal(signal, SIG_DFL);
        ::raise(signal);
    }
}

}  // namespace Inventory
