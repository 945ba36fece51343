// Faults, from tests/soak/Faults.h, and the functions of the system that fail.

#include "tests/soak/Faults.h"

#include <dirent.h>
#include <fcntl.h>
#include <iconv.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "tests/support/NextSymbol.h"

using NovuTest::NextSymbol;

namespace {

// Of this thread.
thread_local unsigned int untilFailure = 0;  // 0: none fails.
thread_local bool failed = false;
thread_local int failure = 0;

bool Fails() {
    if (untilFailure == 0 || --untilFailure != 0) {
        return false;
    }
    failed = true;
    errno = failure;
    return true;
}

}  // namespace

namespace NovuTest {

Faults::Faults(Random& random) {
    static const std::array<int, 6> kFailures = {EIO,    EINTR,  EACCES,
                                                 EMFILE, ENOMEM, ENOSPC};
    failure = kFailures.at(Pick(random, kFailures.size()));
    untilFailure = Pick(random, 3) == 0 ? 1 + Pick(random, 8) : 0;
    if (Pick(random, 3) == 0) {
        allocation.emplace(1 + Pick(random, 20));
    }
}

Faults::~Faults() { untilFailure = 0; }

bool Faults::SystemFailed() { return failed; }

void Faults::Forget() { failed = false; }

}  // namespace NovuTest

extern "C" {

int open(const char* path, int flags, ...) {
    static auto* const next = NextSymbol<int(const char*, int, ...)>("open");
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list list;
        va_start(list, flags);
        mode = va_arg(list, mode_t);
        va_end(list);
    }
    return Fails() ? -1 : next(path, flags, mode);
}

ssize_t read(int fd, void* buffer, size_t size) {
    static auto* const next = NextSymbol<ssize_t(int, void*, size_t)>("read");
    return Fails() ? -1 : next(fd, buffer, size);
}

ssize_t write(int fd, const void* buffer, size_t size) {
    static auto* const next =
        NextSymbol<ssize_t(int, const void*, size_t)>("write");
    return Fails() ? -1 : next(fd, buffer, size);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
    static auto* const next = NextSymbol<off_t(int, off_t, int)>("lseek");
    return Fails() ? -1 : next(fd, offset, whence);
}

int dup(int fd) noexcept {
    static auto* const next = NextSymbol<int(int)>("dup");
    return Fails() ? -1 : next(fd);
}

DIR* opendir(const char* path) {
    static auto* const next = NextSymbol<DIR*(const char*)>("opendir");
    return Fails() ? nullptr : next(path);
}

dirent* readdir(DIR* stream) {
    static auto* const next = NextSymbol<dirent*(DIR*)>("readdir");
    return Fails() ? nullptr : next(stream);
}

int stat(const char* path, struct stat* out) noexcept {
    static auto* const next =
        NextSymbol<int(const char*, struct stat*)>("stat");
    return Fails() ? -1 : next(path, out);
}

int mkdir(const char* path, mode_t mode) noexcept {
    static auto* const next = NextSymbol<int(const char*, mode_t)>("mkdir");
    return Fails() ? -1 : next(path, mode);
}

int rmdir(const char* path) noexcept {
    static auto* const next = NextSymbol<int(const char*)>("rmdir");
    return Fails() ? -1 : next(path);
}

int rename(const char* from, const char* to) noexcept {
    static auto* const next =
        NextSymbol<int(const char*, const char*)>("rename");
    return Fails() ? -1 : next(from, to);
}

int remove(const char* path) noexcept {
    static auto* const next = NextSymbol<int(const char*)>("remove");
    return Fails() ? -1 : next(path);
}

int fsync(int fd) {
    static auto* const next = NextSymbol<int(int)>("fsync");
    return Fails() ? -1 : next(fd);
}

int statvfs(const char* path, struct statvfs* out) noexcept {
    static auto* const next =
        NextSymbol<int(const char*, struct statvfs*)>("statvfs");
    return Fails() ? -1 : next(path, out);
}

ssize_t readlink(const char* path, char* out, size_t size) noexcept {
    static auto* const next =
        NextSymbol<ssize_t(const char*, char*, size_t)>("readlink");
    return Fails() ? -1 : next(path, out, size);
}

FILE* fopen(const char* path, const char* mode) {
    static auto* const next =
        NextSymbol<FILE*(const char*, const char*)>("fopen");
    return Fails() ? nullptr : next(path, mode);
}

size_t fwrite(const void* bytes, size_t size, size_t count, FILE* file) {
    static auto* const next =
        NextSymbol<size_t(const void*, size_t, size_t, FILE*)>("fwrite");
    return Fails() ? 0 : next(bytes, size, count, file);
}

int gettimeofday(timeval* now, void* zone) noexcept {
    static auto* const next = NextSymbol<int(timeval*, void*)>("gettimeofday");
    return Fails() ? -1 : next(now, zone);
}

int pthread_create(pthread_t* id, const pthread_attr_t* attributes,
                   void* (*entry)(void*), void* argument) noexcept {
    static auto* const next =
        NextSymbol<int(pthread_t*, const pthread_attr_t*, void* (*)(void*),
                       void*)>("pthread_create");
    return Fails() ? EAGAIN : next(id, attributes, entry, argument);
}

int shmget(key_t key, size_t size, int flags) noexcept {
    static auto* const next = NextSymbol<int(key_t, size_t, int)>("shmget");
    return Fails() ? -1 : next(key, size, flags);
}

void* shmat(int id, const void* address, int flags) noexcept {
    static auto* const next = NextSymbol<void*(int, const void*, int)>("shmat");
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the system's failure value.
    return Fails() ? reinterpret_cast<void*>(-1) : next(id, address, flags);
}

sem_t* sem_open(const char* name, int flags, ...) noexcept {
    static auto* const next =
        NextSymbol<sem_t*(const char*, int, ...)>("sem_open");
    mode_t mode = 0;
    unsigned int count = 0;
    if ((flags & O_CREAT) != 0) {
        va_list list;
        va_start(list, flags);
        mode = va_arg(list, mode_t);
        count = va_arg(list, unsigned int);
        va_end(list);
    }
    return Fails() ? SEM_FAILED : next(name, flags, mode, count);
}

iconv_t iconv_open(const char* to, const char* from) {
    static auto* const next =
        NextSymbol<iconv_t(const char*, const char*)>("iconv_open");
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the system's failure value.
    return Fails() ? reinterpret_cast<iconv_t>(-1) : next(to, from);
}

size_t iconv(iconv_t converter, char** in, size_t* inLeft, char** out,
             size_t* outLeft) {
    static auto* const next =
        NextSymbol<size_t(iconv_t, char**, size_t*, char**, size_t*)>("iconv");
    return Fails() ? static_cast<size_t>(-1)
                   : next(converter, in, inLeft, out, outLeft);
}

}  // extern "C"
