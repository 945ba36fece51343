// Sem: an event that one process waits for and another one sets, and a
// semaphore that counts.

#include <Bases/Sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iostream>
#include <string>

namespace {

const unsigned int kForever = 0xFFFFFFFF;  // With a name, a limit is not kept.

// Both processes create the event, with the same reset, and one of them sets.
int Tell(const char* name) {
    Novu::NovuEvent ready;
    return ready.Create(0, 0, name) == 1 && ready.Set() == 1 ? 0 : 1;
}

bool Listen(const std::string& name) {
    Novu::NovuEvent ready;
    // Before the other process begins, whose end removes the name.
    if (ready.Create(0, 0, name.c_str()) != 1) {
        return false;
    }
    const pid_t other = fork();
    if (other == 0) {
        _exit(Tell(name.c_str()));
    }
    const bool heard = other > 0 && ready.Wait(kForever) == 1;
    int status = 0;
    return heard && waitpid(other, &status, 0) == other && status == 0;
}

bool Count(const std::string& name) {
    Novu::NovuSemaphore places;  // Named: a post is kept until it is taken.
    const auto two = static_cast<Novu::NovuSemaphore::SemInitState>(2);
    if (places.Create(two, name.c_str(), 0) != 1) {
        return false;
    }
    const bool both = places.Wait(0) == 1 && places.Wait(0) == 1;
    const bool third = places.Wait(0) == 1;
    places.Post();
    return both && !third && places.Wait(0) == 1;
}

}  // namespace

int main() {
    const std::string name = "/novu-example-" + std::to_string(getpid());
    if (!Listen(name + "-event") || !Count(name + "-places")) {
        return 1;
    }
    std::cout << "heard, and counted\n";
}

// Prints:
//   heard, and counted
