// ProgramDirectory (private): where the platforms differ about Bases/Module.h.
// A port defines it.

#ifndef NOVU_BASES_IMPL_PROGRAMDIRECTORY_H_
#define NOVU_BASES_IMPL_PROGRAMDIRECTORY_H_

namespace Novu {

/// Writes the directory of the running program, terminated, into `buf`, which
/// has room for `size` bytes, at least 1. False where the platform does not say
/// or the room does not suffice; what `buf` holds then is the platform's
/// business.
bool ProgramDirectory(char* buf, unsigned long size);

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_PROGRAMDIRECTORY_H_
