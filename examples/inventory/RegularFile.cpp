// A file that is open to be read, from RegularFile.h.

#include "RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "Failure.h"
#include "Walk.h"

namespace Inventory {

namespace {

void RequireFile(int result, const struct stat& info) {
    if (result != 0) {
        throw Failure(std::generic_category().message(errno));
    }
    if (!S_ISREG(info.st_mode)) {
        throw Failure("no longer a file");
    }
}

// The descriptor of the file at `path`.
int OpenWithoutWaiting(const std::string& path) {
    struct stat info;
    // A look first, since opening alone has effects on some devices.
    RequireFile(::lstat(path.c_str(), &info), info);
    const int opened = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY |
                                                O_NOFOLLOW | O_CLOEXEC);
    if (opened == -1) {
        throw Failure(std::generic_category().message(errno));
    }
    return opened;
}

}  // namespace

// The delegation makes the object complete before this can throw, so that the
// destructor then closes the descriptor.
RegularFile::RegularFile(const std::string& path)
    : RegularFile(OpenWithoutWaiting(path)) {
    struct stat info;
    RequireFile(::fstat(descriptor, &info), info);
    if (!io.Open(Name(), /*access=*/0x80000000, /*share=*/0, /*creation=*/4)) {
        throw Failure(Name() + ": " + std::generic_category().message(errno));
    }
}

RegularFile::RegularFile(int opened) : descriptor(opened) {}

RegularFile::~RegularFile() { ::close(descriptor); }

std::string RegularFile::Name() const {
    return "/dev/fd/" + std::to_string(descriptor);
}

bool RegularFile::IsAsListed(const Entry& listed) const {
    struct stat info;
    if (::fstat(descriptor, &info) != 0) {
        return false;
    }
    Entry now;
    TakeStatus(info, now);
    return now.size == listed.size && now.modified == listed.modified &&
           now.changed == listed.changed;
}

std::size_t ReadBlock(Novu::FileIo& file, char* block, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        errno = 0;  // FileIo does not tell a failure from the end.
        const unsigned int got =
            file.Read(block + done, static_cast<unsigned int>(count - done));
        if (got == 0) {
            break;
        }
        done += got;
    }
    return done;
}

}  // namespace Inventory
