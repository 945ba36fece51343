// FileIo, from Bases/FileIo.h.

#include "Bases/FileIo.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <type_traits>

#include "Bases/Impl/CancellationDisabled.h"
#include "Bases/Impl/Descriptor.h"

namespace Novu {

namespace {

const unsigned int kReadAccess = 0x80000000;
const unsigned int kWriteAccess = 0x40000000;
const unsigned int kShareBoth = 3;
const unsigned int kCreateNew = 1;
const unsigned int kCreateAlways = 2;
const unsigned int kOpenExisting = 4;

const mode_t kMode = 0600;

// Positions and sizes pass through as they are.
static_assert(sizeof(off_t) == sizeof(long long) && std::is_signed_v<off_t>);

// The position after a seek; 0 for a failure.
long long SeekTo(int fd, long long offset, int whence) {
    return std::max<long long>(::lseek(fd, offset, whence), 0);
}

}  // namespace

const int FileIo::InvalidFileIoHandle;

// Lifetime

FileIo::FileIo() : invalidPosition(-1), fd(InvalidFileIoHandle) {}

FileIo::~FileIo() {
    const CancellationDisabled disabled;
    Close();
}

bool FileIo::Open(const std::string& name, unsigned int access,
                  unsigned int share, unsigned int creation) {
    Close();

    int flags = 0;
    if ((creation & kCreateNew) != 0) {
        flags = O_CREAT | O_EXCL;
    }
    if ((creation & kCreateAlways) != 0) {
        flags = O_CREAT | O_TRUNC;
    }
    const bool existing = (creation & kOpenExisting) != 0;
    if (flags == 0 && !existing) {
        errno = EOPNOTSUPP;
        return false;
    }
    if ((creation & kCreateNew) != 0 && existing) {
        flags |= O_TRUNC;
    }

    if ((access & kWriteAccess) != 0) {
        flags |= (access & kReadAccess) != 0 ? O_RDWR : O_WRONLY;
    } else if ((access & kReadAccess) != 0) {
        flags |= O_RDONLY;
    } else {
        return false;
    }

    int opened = ::open(name.c_str(), flags, kMode);
    if (!existing && opened <= 0) {
        // Descriptor 0 stays taken meanwhile, so that it is not given again.
        const Descriptor refused(opened);
        const bool shared = (share & kShareBoth) == kShareBoth;
        opened = ::open(name.c_str(), flags | O_CREAT | (shared ? 0 : O_EXCL),
                        kMode);
    }
    if (opened < 0) {
        return false;
    }
    fd = opened;
    return true;
}

void FileIo::Close() {
    if (IsOpened()) {
        ::close(fd);
        fd = InvalidFileIoHandle;
    }
    path.clear();
}

bool FileIo::IsOpened() { return fd != InvalidFileIoHandle; }

void FileIo::GetPath(std::string& out) { out = path; }

std::string FileIo::GetPath() { return path; }

// Contents

unsigned int FileIo::Read(void* buf, unsigned int len) {
    if (!IsOpened()) {
        return 0;
    }
    const ssize_t count = ::read(fd, buf, len);
    return count < 0 ? 0 : static_cast<unsigned int>(count);
}

// The interface is fixed. NOLINTNEXTLINE(readability-non-const-parameter)
unsigned int FileIo::Write(void* buf, unsigned int len) {
    if (!IsOpened()) {
        return 0;
    }
    const ssize_t count = ::write(fd, buf, len);
    return count < 0 ? 0 : static_cast<unsigned int>(count);
}

bool FileIo::Flush() { return IsOpened() && ::fsync(fd) == 0; }

// Position

long long FileIo::Seek(long long offset, unsigned int origin) {
    if (!IsOpened()) {
        return invalidPosition;
    }
    // One by one, since systems know more origins than these.
    switch (origin) {
        case 0:
            return SeekTo(fd, offset, SEEK_SET);
        case 1:
            return SeekTo(fd, offset, SEEK_CUR);
        case 2:
            return SeekTo(fd, offset, SEEK_END);
        default:
            return 0;
    }
}

long long FileIo::SeekFromBegin(long long offset) {
    return SeekTo(fd, offset, SEEK_SET);
}

long long FileIo::SeekToBegin() { return SeekTo(fd, 0, SEEK_SET); }

long long FileIo::SeekFromEnd(long long offset) {
    // Unsigned, for the one value that has no negative.
    const auto back =
        static_cast<long long>(0 - static_cast<unsigned long long>(offset));
    return SeekTo(fd, back, SEEK_END);
}

long long FileIo::SeekToEnd() { return SeekTo(fd, 0, SEEK_END); }

long long FileIo::Tell() { return IsOpened() ? SeekTo(fd, 0, SEEK_CUR) : 0; }

// Size

long long FileIo::GetFileSize() {
    if (!IsOpened()) {
        return 0;
    }
    const Descriptor duplicate(::dup(fd));
    if (duplicate.Get() < 0 || ::lseek(duplicate.Get(), 0, SEEK_SET) < 0) {
        return 0;
    }
    return SeekTo(duplicate.Get(), 0, SEEK_END);
}

bool FileIo::SetEndOfFile() {
    return IsOpened() && ::lseek(fd, 0, SEEK_END) >= 0;
}

bool FileIo::SetFileSize(long long size) {
    return IsOpened() && ::lseek(fd, size, SEEK_SET) >= 0 &&
           ::lseek(fd, 0, SEEK_END) >= 0;
}

}  // namespace Novu
