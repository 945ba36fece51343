// The surprises of Bases/Module.h.

#include "Bases/Module.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "tests/support/NextSymbol.h"
#include "tests/surprises/Seen.h"

namespace {

// Where a link leads to, instead of where it does; nowhere where it is empty.
std::string target;

}  // namespace

ssize_t readlink(const char* path, char* out, size_t size) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<ssize_t(const char*, char*, size_t)>("readlink");
    if (target.empty()) {
        return next(path, out, size);
    }
    const size_t length = std::min(size, target.size());
    std::copy_n(target.data(), length, out);
    return static_cast<ssize_t>(length);
}

namespace {

namespace fs = std::filesystem;

using Novu::GetModulePath;
using Novu::GetProcessDir;
using Novu::IsExistProcess;
using NovuTest::SurprisesTest;

// [module-1]
TEST_F(SurprisesTest, module_1) { SEEN(IsExistProcess(0)); }

// [module-2]
TEST_F(SurprisesTest, module_2) {
    std::string path;
    SEEN(GetModulePath(path); fs::is_directory(path));
}

// [module-3] A program that lies deep.
TEST_F(SurprisesTest, module_3) {
    char buffer[2000];
    std::string path = "x";
    target = "/" + std::string(1024, 'a') + "/program";
    SEEN(GetProcessDir(buffer, 2000); GetModulePath(path); path.empty());
    target.clear();
}

}  // namespace
