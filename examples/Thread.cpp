// Thread: a thread that works until it is asked to stop, and a handler for
// those who do not derive.

#include <Bases/Thread.h>

#include <iostream>

namespace {

class Worker final : public Novu::Thread {
public:
    ~Worker() override { StopThread(5000, 1); }  // 5 s, and then by force.

    int OnThreadEntry() override {
        do {
            ++rounds;
        } while (IsStopThread(10) == 0);  // Asked to stop within 10 ms?
        return 0;
    }

    unsigned long rounds = 0;  // To be read when the thread has stopped.
};

class Greeter final : public Novu::ThreadHandler {
public:
    int OnPreThreadStart(Novu::Thread* /*thread*/) override { return 1; }

    int OnThreadEntry(Novu::Thread* /*thread*/) override {
        std::cout << "Hello from the thread.\n";
        return 0;
    }
};

}  // namespace

int main() {
    Worker worker;
    if (worker.StartThread(0) != 1) {
        return 1;
    }
    worker.StopThread(0xFFFFFFFF, 0);  // Until the round ends.
    std::cout << (worker.rounds > 0 ? "worked" : "idle") << '\n';

    Greeter greeter;
    Novu::Thread thread;
    thread.SetThreadHandler(&greeter);
    if (thread.StartThread(0) != 1) {
        return 1;
    }
    thread.StopThread(0xFFFFFFFF, 0);
}

// Prints:
//   worked
//   Hello from the thread.
