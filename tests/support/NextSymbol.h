// NextSymbol: what a stand-in for a function of the C library stands before.

#ifndef NOVU_BASES_TESTS_SUPPORT_NEXTSYMBOL_H_
#define NOVU_BASES_TESTS_SUPPORT_NEXTSYMBOL_H_

#include <dlfcn.h>

namespace NovuTest {

/// The function `name` that would be called if the test program did not define
/// one of its own. `Function` is its type, as in
///
///     static auto* const next = NextSymbol<decltype(::stat)>("stat");
template <typename Function>
Function* NextSymbol(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_NEXTSYMBOL_H_
