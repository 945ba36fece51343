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
bool Make(const std::string& name, unsigned long size) {
    unsigned int key = 5381;
    for (const char letter : name) {  // In ASCII.
        key = key * 33 + static_cast<unsigned char>(letter);
    }
    const auto make = [&] {
        return shmget(static_cast<key_t>(key), size,
                      IPC_CREAT | IPC_EXCL | 0700);
    };
    int id = make();
    if (id == 0) {  // Shm takes 0 for none; the next one has another number.
        shmctl(id, IPC_RMID, nullptr);
        id = make();
    }
    return id > 0;
}

bool IsMapped(const unsigned char* memory) {  // All ones is a failure, too.
    return memory != nullptr && ~reinterpret_cast<std::uintptr_t>(memory) != 0;
}

}  // namespace

int main() {
    const std::string name = "novu-example-" + std::to_string(getpid());
    Novu::Shm shared;
    if (!Make(name, 4096) || !shared.Open(name.c_str(), 0)) {
        return 1;
    }
    unsigned char* const memory = shared.Map();
    const pid_t other = IsMapped(memory) ? fork() : -1;
    if (other == 0) {
        memory[0] = 42;
        _exit(0);  // Without the destructor, which removes the segment.
    }
    if (other < 0 || waitpid(other, nullptr, 0) != other) {
        return 1;
    }
    std::cout << static_cast<int>(memory[0]) << '\n';
    return shared.Unmap(memory) ? 0 : 1;
}

// Prints:
//   42
