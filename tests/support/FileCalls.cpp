// FileCalls, from tests/support/FileCalls.h.

#include "tests/support/FileCalls.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <string>

#include "tests/support/NextSymbol.h"
#include "tests/support/SystemCalls.h"

using NovuTest::Called;
using NovuTest::NextSymbol;
using NovuTest::PassedBuffer;

const void*& NovuTest::PassedBuffer() {
    static const void* buffer = nullptr;
    return buffer;
}

namespace {

std::string WhenceText(int whence) {
    switch (whence) {
        case SEEK_SET:
            return "SEEK_SET";
        case SEEK_CUR:
            return "SEEK_CUR";
        case SEEK_END:
            return "SEEK_END";
        default:
            return std::to_string(whence);
    }
}

}  // namespace

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
    return Called(
        "open", [&] { return NovuTest::OpenText(path, flags, mode); },
        [&] { return next(path, flags, mode); });
}

int close(int fd) {
    static auto* const next = NextSymbol<int(int)>("close");
    return Called(
        "close", [&] { return std::to_string(fd); }, [&] { return next(fd); });
}

ssize_t read(int fd, void* buffer, size_t size) {
    static auto* const next = NextSymbol<ssize_t(int, void*, size_t)>("read");
    return Called(
        "read",
        [&] {
            PassedBuffer() = buffer;
            return std::to_string(fd) + " " + std::to_string(size);
        },
        [&] { return next(fd, buffer, size); });
}

ssize_t write(int fd, const void* buffer, size_t size) {
    static auto* const next =
        NextSymbol<ssize_t(int, const void*, size_t)>("write");
    return Called(
        "write",
        [&] {
            PassedBuffer() = buffer;
            return std::to_string(fd) + " " + std::to_string(size);
        },
        [&] { return next(fd, buffer, size); });
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
    static auto* const next = NextSymbol<off_t(int, off_t, int)>("lseek");
    return Called(
        "lseek",
        [&] {
            return std::to_string(fd) + " " + std::to_string(offset) + " " +
                   WhenceText(whence);
        },
        [&] { return next(fd, offset, whence); });
}

int dup(int fd) noexcept {
    static auto* const next = NextSymbol<int(int)>("dup");
    return Called(
        "dup", [&] { return std::to_string(fd); }, [&] { return next(fd); });
}

}  // extern "C"
