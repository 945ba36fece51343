// Bases: start-up and shut-down of the library's process-wide surroundings.
//
// Errors   BasesInit lets the exception of an unknown locale pass.
// Threads  Both calls belong to the time when the host has one thread.
// See      docs/surprises.md, "Start-up", for what is By design.
//
// Example (examples/Bases.cpp):
//
//     try {
//         Novu::BasesInit();  // Once, before threads are started.
//     } catch (const std::runtime_error&) {
//         std::cerr << "LC_ALL or LANG names a locale that is not installed\n";
//         return 1;
//     }

#ifndef NOVU_BASES_BASES_H_
#define NOVU_BASES_BASES_H_

#include "Bases/Export.h"

/// All of the library but the plain names of Seed.h and tchar.h.
namespace Novu {

/// Prepares the process; called once, before any other use of the library and
/// before threads are started. In this order it lets the runtime set up its
/// UTC conversion, installs the environment's locale (`std::locale("")`) as
/// the global one, for C and C++ alike, and initialises libxml2's parser.
///
/// Answers 1, always.
/// By design [bases-3]: a locale that the environment names and the system does
/// not have lets the `std::runtime_error` of `std::locale` pass; then neither
/// the global locale nor libxml2 has been touched.
///
/// By design [bases-1]: the locale is installed without a switch to skip it,
/// because the text and XML services convert from and to its character set.
/// By design [bases-2]: calls are not counted; a second call repeats the steps.
NOVU_API int BasesInit();

/// Releases libxml2's parser (`xmlCleanupParser`), and nothing else; called
/// once, after the last use of the XML classes. Harmless without `BasesInit`.
///
/// By design [bases-1]: the earlier locale does not come back.
/// By design [bases-2]: one call is enough, however many `BasesInit` there
/// were, and it clears libxml2 for everybody in the process.
NOVU_API void BasesRelease();

}  // namespace Novu

#endif  // NOVU_BASES_BASES_H_
