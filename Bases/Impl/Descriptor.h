// Descriptor (private): owns a file descriptor.

#ifndef NOVU_BASES_IMPL_DESCRIPTOR_H_
#define NOVU_BASES_IMPL_DESCRIPTOR_H_

#include <unistd.h>

#include <cerrno>

#include "Bases/Impl/CancellationDisabled.h"

namespace Novu {

/// Closes its descriptor in the end, and leaves errno to what happened before.
class Descriptor {
public:
    explicit Descriptor(int opened) : fd(opened) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (fd >= 0) {
            const CancellationDisabled disabled;
            const int error = errno;
            ::close(fd);
            errno = error;
        }
    }

    int Get() const { return fd; }

private:
    int fd;  // Negative when the system refused one.
};

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_DESCRIPTOR_H_
