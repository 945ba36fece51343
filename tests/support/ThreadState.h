// ThreadState: what Linux says of a thread of this process.

#ifndef NOVU_BASES_TESTS_SUPPORT_THREADSTATE_H_
#define NOVU_BASES_TESTS_SUPPORT_THREADSTATE_H_

#include <sys/types.h>

#include <cstddef>
#include <fstream>
#include <string>

namespace NovuTest {

/// 'R' for running, 'S' for asleep, ...; '?' where there is no such thread.
inline char StateOf(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(file, text);
    // Behind the name, which may hold anything.
    const std::size_t end = text.rfind(") ");
    return end == std::string::npos ? '?' : text[end + 2];
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_THREADSTATE_H_
