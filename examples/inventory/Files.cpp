// Whole files, from Files.h.

#include "Files.h"

#include <Bases/FileIo.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "Failure.h"
#include "Interrupt.h"
#include "Names.h"
#include "Walk.h"

namespace Inventory {

namespace {

// A file that is gone at the end, unless it was renamed.
class TemporaryFile {
public:
    // Made in the folder of `path`, so that a rename can put it there.
    explicit TemporaryFile(const std::string& path)
        : name(path.substr(0, path.rfind('/') + 1) + ".inventory-XXXXXX"),
          descriptor(::mkstemp(name.data())) {
        if (descriptor == -1) {
            throw Failure(Because(path, "no file can be made there"));
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        ::close(descriptor);
        if (!name.empty()) {
            ::unlink(name.c_str());
        }
    }

    const std::string& Name() const { return name; }
    int Descriptor() const { return descriptor; }

    bool RenameTo(const std::string& path) {
        if (std::rename(name.c_str(), path.c_str()) != 0) {
            return false;
        }
        name.clear();
        return true;
    }

private:
    std::string name;  // Empty once renamed.
    int descriptor;
};

// The permissions of the file that is replaced, or else of a new one: mkstemp
// gives the owner's alone.
mode_t ModeOf(const std::string& path) {
    struct stat info;
    if (::lstat(path.c_str(), &info) == 0) {
        return info.st_mode & 0777;
    }
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

}  // namespace

std::string ReadFile(const std::string& path, std::size_t most,
                     const std::string& whenMore) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        std::fopen(path.c_str(), "rb"), std::fclose);
    if (file == nullptr) {
        throw Failure(std::generic_category().message(errno));
    }
    std::string bytes;
    char block[65536];
    std::size_t count;
    while ((count = std::fread(block, 1, sizeof block, file.get())) != 0) {
        bytes.append(block, count);
        if (bytes.size() > most) {
            throw Failure(whenMore);
        }
    }
    if (std::ferror(file.get()) != 0) {
        throw Failure(std::generic_category().message(errno));
    }
    return bytes;
}

void RequireReplaceable(const std::string& path) {
    struct stat info;
    if (::lstat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
        throw Failure(Printable(path) +
                      ": something other than a file is there");
    }
}

void RequireOtherFile(const std::string& target, const std::string& path,
                      const std::string& problem) {
    struct stat a;
    struct stat b;
    const bool isThere = ::stat(target.c_str(), &a) == 0;
    // Where nothing is yet, the names alone can tell.
    const bool isSame =
        isThere ? ::stat(path.c_str(), &b) == 0 && IdOf(a) == IdOf(b)
                : std::filesystem::path(target).lexically_normal() ==
                      std::filesystem::path(path).lexically_normal();
    if (isSame) {
        throw Failure(Printable(target) + ": " + problem);
    }
}

void PutAt(const std::string& path, unsigned long size, const Writing& write) {
    TemporaryFile file(path);
    struct stat info;
    if (!write(file.Name()) || ::fstat(file.Descriptor(), &info) != 0) {
        throw Failure(Because(path));
    }
    // XmlWriter's Save does not tell of a disk that is full.
    if (static_cast<unsigned long>(info.st_size) != size) {
        throw Failure(Printable(path) + ": only " +
                      std::to_string(info.st_size) + " of " +
                      std::to_string(size) + " bytes could be written");
    }
    if (::fsync(file.Descriptor()) != 0 ||
        ::fchmod(file.Descriptor(), ModeOf(path)) != 0) {
        throw Failure(Because(path));
    }
    StopIfInterrupted();
    if (!file.RenameTo(path)) {
        throw Failure(Because(path));
    }
}

void PutAt(const std::string& path, std::string bytes) {
    PutAt(path, bytes.size(), [&bytes](const std::string& name) {
        Novu::FileIo file;
        if (!file.Open(name, /*access=*/0x40000000, /*share=*/0,
                       /*creation=*/4)) {
            return false;
        }
        std::size_t done = 0;
        while (done < bytes.size()) {
            // Write counts in 32 bits.
            const auto count = static_cast<unsigned int>(
                std::min<std::size_t>(bytes.size() - done, 1U << 30));
            const unsigned int written = file.Write(bytes.data() + done, count);
            if (written == 0) {
                return false;
            }
            done += written;
        }
        return true;
    });
}

}  // namespace Inventory
