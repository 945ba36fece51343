// The lock, from Lock.h.

#include "Lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "Beside.h"
#include "Failure.h"
#include "Interrupt.h"
#include "Names.h"
#include "Walk.h"

namespace Inventory {

namespace {

constexpr std::string_view kOwner =
    "inventory ";  // And the number of the process.

// What the file holds; its first bytes are enough.
std::string ContentOf(int descriptor) {
    char text[64];
    const ssize_t size = ::pread(descriptor, text, sizeof text, 0);
    return std::string(text, size > 0 ? static_cast<std::size_t>(size) : 0);
}

// Nothing but what a lock holds, or the beginning of it.
bool IsOwners(const std::string& content) {
    const std::size_t same = std::min(content.size(), kOwner.size());
    const std::size_t end = content.find_first_not_of("0123456789", same);
    return content.compare(0, same, kOwner, 0, same) == 0 &&
           (end == std::string::npos ||
            (content[end] == '\n' && end + 1 == content.size()));
}

}  // namespace

Lock::Lock(const std::string& path) : name(Beside(path, ".lock")) {
    try {
        while (!Take(path)) {
            StopIfInterrupted();
        }
    } catch (...) {
        if (descriptor != -1) {
            ::close(descriptor);
        }
        throw;
    }
}

// The name goes while the lock is held: nobody can hold this file meanwhile.
Lock::~Lock() {
    if (HasItsName()) {
        ::unlink(name.c_str());
    }
    ::close(descriptor);
}

bool Lock::Is(const Entry& entry) const { return entry.id == id; }

bool Lock::HasItsName() const {
    struct stat there;
    return ::lstat(name.c_str(), &there) == 0 && IdOf(there) == id;
}

// False where it has to be tried again.
bool Lock::Take(const std::string& document) {
    descriptor = ::open(
        name.c_str(),
        O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC,
        0644);
    struct stat opened;
    if (descriptor == -1 || ::fstat(descriptor, &opened) != 0) {
        throw Failure(Because(name, "the lock cannot be opened"));
    }
    const std::string before = ContentOf(descriptor);
    if (!S_ISREG(opened.st_mode) || !IsOwners(before)) {
        throw Failure(Printable(name) +
                      ": something other than a lock is there");
    }
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) {
            throw Failure(Because(name, "cannot be locked"));
        }
        const std::string holder = ContentOf(descriptor);
        throw Failure(Printable(document) +
                      ": is being written by another inventory" +
                      (IsOwners(holder) && holder.size() > kOwner.size() + 1
                           ? ", process " + holder.substr(kOwner.size(),
                                                          holder.size() -
                                                              kOwner.size() - 1)
                           : ""));
    }
    // The holder before may have taken the name away between the opening and
    // the locking; this then is the lock of a file that nobody else will find.
    id = IdOf(opened);
    if (!HasItsName()) {
        ::close(descriptor);
        descriptor = -1;
        return false;
    }
    // For others to read.
    const std::string owner =
        std::string(kOwner) + std::to_string(::getpid()) + "\n";
    const bool written = ::ftruncate(descriptor, 0) == 0 &&
                         ::pwrite(descriptor, owner.data(), owner.size(), 0) ==
                             static_cast<ssize_t>(owner.size());
    // Where the disk is full, they do without: a part of the number would be
    // that of another process.
    if (!written && ::ftruncate(descriptor, 0) != 0) {
        throw Failure(Because(name, "the lock cannot be written"));
    }
    return true;
}

}  // namespace Inventory
