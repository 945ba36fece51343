// Processes and the program's directory, from Bases/Module.h.

#include "Bases/Module.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "Bases/Impl/ProgramDirectory.h"

namespace Novu {

// Processes

// As an unsigned int, no process has the number of another.
static_assert(sizeof(pid_t) == sizeof(unsigned int));

bool IsExistProcess(unsigned int pid) {
    return ::kill(static_cast<pid_t>(pid), 0) == 0 || errno != ESRCH;
}

unsigned int GetProcessId() { return static_cast<unsigned int>(::getpid()); }

// The program's directory

bool GetProcessDir(char* buf, unsigned long size) {
    return buf != nullptr && size != 0 && ProgramDirectory(buf, size);
}

bool GetModuleDir(char* buf, unsigned long size) {
    return GetProcessDir(buf, size);
}

bool GetModulePath(char* buf, unsigned long size) {
    return GetProcessDir(buf, size);
}

void GetModulePath(std::string& path) {
    char directory[1024] = {};
    GetProcessDir(directory, sizeof directory);
    path = directory;
}

void GetModuleDir(std::string& dir) { GetModulePath(dir); }

}  // namespace Novu
