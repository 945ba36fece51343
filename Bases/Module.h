// Module: processes, and the directory of the running program.
//
// Shape    The directory is that of the executable (on macOS, of its bundle):
//          absolute, without a "/" at its end unless it is "/" itself.
// Units    `size` is the room in bytes, the terminating zero counted.
// Errors   Results only; errno is left as the system set it.
// Threads  Any; nothing is shared.
// See      docs/surprises.md, "Processes", for what is By design.
//
// Example (examples/Module.cpp):
//
//     // The folder of the program, whoever asks.
//     std::string folder;
//     Novu::GetModuleDir(folder);
//     if (folder.empty()) {
//         return 1;
//     }

#ifndef NOVU_BASES_MODULE_H_
#define NOVU_BASES_MODULE_H_

#include <string>

#include "Bases/Export.h"

namespace Novu {

/// Whether there is such a process, whoever owns it. One that has ended counts
/// until its parent has waited for it.
/// By design [module-1]: true for 0, which stands for the caller's group, and
/// for what stands for other groups, or all processes, from 0x80000000 on.
NOVU_API bool IsExistProcess(unsigned int pid);

NOVU_API unsigned int GetProcessId();  ///< Of this process.

/// The directory of the program. False for a null `buf`, a `size` of 0, too
/// little room, and where the system does not tell; on Linux the buffer is
/// untouched then.
NOVU_API bool GetProcessDir(char* buf, unsigned long size);

/// The same.
/// By design [module-2]: these tell about the program, not the library that
/// asks, and `GetModulePath` gives the directory, too, never a file.
NOVU_API bool GetModuleDir(char* buf, unsigned long size);
NOVU_API bool GetModulePath(char* buf, unsigned long size);

/// The same as strings.
/// By design [module-3]: empty where the system does not tell, and where it is
/// longer than 1023 characters.
NOVU_API void GetModulePath(std::string& path);
NOVU_API void GetModuleDir(std::string& dir);

}  // namespace Novu

#endif  // NOVU_BASES_MODULE_H_
