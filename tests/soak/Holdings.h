// Holdings: what a process holds, of memory and of the system.

#ifndef NOVU_BASES_TESTS_SOAK_HOLDINGS_H_
#define NOVU_BASES_TESTS_SOAK_HOLDINGS_H_

#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <locale>
#include <sstream>
#include <string>
#include <thread>

#include "tests/support/Descriptors.h"

namespace NovuTest {

struct Holdings {
    long heap;      // Bytes of malloc in use.
    long resident;  // Bytes of memory.
    long descriptors;
    long threads;
    long names;     // Of semaphores, that carry the process id.
    long segments;  // Of shared memory, that this process made.
    long files;     // In the folder for temporary ones.
};

inline long CountEntries(const std::filesystem::path& folder,
                         const std::string& prefix = "") {
    long count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        count += entry.path().filename().string().starts_with(prefix) ? 1 : 0;
    }
    return count;
}

// A thread that was joined can still be listed for a moment.
inline long CountThreads() {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::seconds(1);
    long count = CountEntries("/proc/self/task");
    while (count > 1 && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        count = CountEntries("/proc/self/task");
    }
    return count;
}

// The columns begin: key, id, mode, size, process that made it.
inline long CountSegments() {
    std::ifstream table("/proc/sysvipc/shm");
    const std::string self = std::to_string(::getpid());
    long count = 0;
    for (std::string line; std::getline(table, line);) {
        std::istringstream columns(line);
        std::string maker;
        for (int column = 0; column != 5; ++column) {
            columns >> maker;
        }
        count += maker == self ? 1 : 0;
    }
    return count;
}

inline long ResidentBytes() {
    std::ifstream pages("/proc/self/statm");
    pages.imbue(std::locale::classic());  // Has what it needs already.
    long all = 0;
    long resident = 0;
    pages >> all >> resident;
    return resident * ::sysconf(_SC_PAGESIZE);
}

/// While no other thread runs.
inline Holdings Measure(const std::string& names, const std::string& folder) {
    Holdings now{};
    now.threads = CountThreads();
    now.descriptors = static_cast<long>(OpenDescriptors().size());
    now.names = CountEntries("/dev/shm", "sem." + names);
    now.segments = CountSegments();
    now.files = CountEntries(folder);
    ::malloc_trim(0);
    const struct mallinfo2 heap = ::mallinfo2();
    now.heap = static_cast<long>(heap.uordblks + heap.hblkhd);
    now.resident = ResidentBytes();
    return now;
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SOAK_HOLDINGS_H_
