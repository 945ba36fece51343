// Shm: memory that two processes share, found by a name.

#include <Bases/Shm.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <iostream>
#include <string>

namespace {

// Makes a segment that its owner can write to; one of Shm::Create's is for the
// privileged alone. The key is Shm's for that name.
int Make(const std::string& name, unsigned long size) {
    unsigned int hash = 5381;
    for (const char letter : name) {  // In ASCII.
        hash = hash * 33 + static_cast<unsigned char>(letter);
    }
    const auto key = static_cast<key_t>(hash);
    int id = shmget(key, size, IPC_CREAT | IPC_EXCL | 0700);
    if (id == 0) {  // Shm takes 0 for none; the next one has another number.
        shmctl(id, IPC_RMID, nullptr);
        id = shmget(key, size, IPC_CREAT | IPC_EXCL | 0700);
    }
    return id;
}

}  // namespace

int main() {
    const std::string name = "novu-example-" + std::to_string(getpid());
    const int id = Make(name, 4096);
    if (id == -1) {
        return 1;
    }
    Novu::Shm shared;
    unsigned char* memory = nullptr;
    if (shared.Open(name.c_str(), 0)) {
        memory = shared.Map();
        if (~reinterpret_cast<std::uintptr_t>(memory) == 0) {
            memory = nullptr;  // All ones is a failure, too.
        }
    }
    const pid_t other = memory == nullptr ? -1 : fork();
    if (other == 0) {
        memory[0] = 42;
        _exit(0);  // Without the destructor, which removes the segment.
    }
    if (other < 0 || waitpid(other, nullptr, 0) != other) {
        shmctl(id, IPC_RMID, nullptr);  // Where the destructor knows of none.
        return 1;
    }
    std::cout << static_cast<int>(memory[0]) << '\n';
    return shared.Unmap(memory) ? 0 : 1;
}

// Prints:
//   42
