// GlobalLocale: the global locale for the length of a scope.

#ifndef NOVU_BASES_TESTS_SUPPORT_GLOBALLOCALE_H_
#define NOVU_BASES_TESTS_SUPPORT_GLOBALLOCALE_H_

#include <locale>

namespace NovuTest {

/// Installs the locale `name` for C and C++ alike and puts the earlier one
/// back.
class GlobalLocale {
public:
    explicit GlobalLocale(const char* name)
        : earlier(std::locale::global(std::locale(name))) {}
    GlobalLocale(const GlobalLocale&) = delete;
    GlobalLocale& operator=(const GlobalLocale&) = delete;
    ~GlobalLocale() { std::locale::global(earlier); }

private:
    std::locale earlier;
};

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_GLOBALLOCALE_H_
