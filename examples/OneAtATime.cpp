// One process at a time: a file that is held keeps a second run out; a named
// Mutex has processes that run together take turns.

#include <Bases/ThreadSync.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <string>

namespace {

// -1: another run has it. The system lets go as a process ends, in any way.
int Hold(const std::string& path) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file != -1 && flock(file, LOCK_EX | LOCK_NB) != 0) {
        close(file);
        return -1;
    }
    return file;
}

void Say(Novu::Mutex& turns, const std::string& text) {
    const Novu::MutexLocker locker(turns);  // Until the end.
    std::cout << text << std::flush;
}

}  // namespace

int main() {
    // A program's own is the same in every run, such as "/ledger-turns".
    const std::string name = "/novu-example-" + std::to_string(getpid());
    const std::string path = std::filesystem::temp_directory_path() += name;
    const int held = Hold(path);
    const bool alone = held != -1 && Hold(path) == -1;
    std::filesystem::remove(path);  // A program's own stays there.

    // Made before the others begin, and kept until all of them have ended:
    // the first that closes it removes the name for those who come later.
    Novu::Mutex turns;
    if (turns.Create(name.c_str()) != 1 || turns.Lock(0) != 1) {
        return 1;
    }
    const pid_t other = fork();
    if (other == 0) {
        Novu::Mutex same(name.c_str());
        Say(same, "second\n");
        _exit(0);  // Without the destructor, which would remove the name.
    }
    std::cout << "first\n" << std::flush;
    turns.Unlock();
    return alone && other > 0 && waitpid(other, nullptr, 0) == other ? 0 : 1;
}

// Prints:
//   first
//   second
