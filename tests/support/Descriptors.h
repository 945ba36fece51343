// Descriptors: which file descriptors are open.

#ifndef NOVU_BASES_TESTS_SUPPORT_DESCRIPTORS_H_
#define NOVU_BASES_TESTS_SUPPORT_DESCRIPTORS_H_

#include <fcntl.h>

#include <cerrno>
#include <vector>

namespace NovuTest {

/// Those of this process below 1024, which is more than a test ever has; errno
/// is left alone. It opens none of its own, and works in a child that has
/// changed its user.
inline std::vector<int> OpenDescriptors() {
    const int error = errno;
    std::vector<int> open;
    for (int fd = 0; fd < 1024; ++fd) {
        if (::fcntl(fd, F_GETFD) != -1) {
            open.push_back(fd);
        }
    }
    errno = error;
    return open;
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_DESCRIPTORS_H_
