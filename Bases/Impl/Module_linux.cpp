// ProgramDirectory on Linux: the link /proc/self/exe, which the system keeps
// for the program even when its file is gone or its user has changed.

#include <unistd.h>

#include <climits>
#include <cstring>
#include <string_view>

#include "Bases/Impl/ProgramDirectory.h"

namespace Novu {

bool ProgramDirectory(char* buf, unsigned long size) {
    char path[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0) {
        return false;
    }
    const std::string_view program(path, static_cast<std::size_t>(length));
    const std::size_t slash = program.rfind('/');
    if (slash == std::string_view::npos) {
        return false;
    }
    const std::string_view directory =
        program.substr(0, slash == 0 ? 1 : slash);
    if (directory.size() >= size) {
        return false;
    }
    std::memcpy(buf, directory.data(), directory.size());
    buf[directory.size()] = '\0';
    return true;
}

}  // namespace Novu
