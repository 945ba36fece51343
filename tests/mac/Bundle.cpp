// CoreFoundation's calls over /proc/self/exe, from Bundle.h. As a program that
// is no bundle has it, the bundle is the directory that the program lies in.

#include "tests/mac/Bundle.h"

#include <CoreFoundation/CoreFoundation.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <set>
#include <string_view>
#include <utility>

// One at a time, and not allocated: the tests count the library's allocations.
struct CFUrlObject {
    char path[PATH_MAX];
};

struct CFBundleObject {};

namespace {

struct State {
    bool recording = false;
    std::vector<std::string> log;
    std::set<std::string> failing;
    CFUrlObject url{};
    unsigned long urls = 0;  // Handed out.
};

State state;
CFBundleObject mainBundle;

// Whether the call is to go on.
bool Called(const char* function, const std::string& arguments = "") {
    if (!state.recording) {
        return true;
    }
    state.log.push_back(function + arguments);
    return !state.failing.contains(function);
}

}  // namespace

extern "C" {

CFBundleRef CFBundleGetMainBundle() {
    return Called("CFBundleGetMainBundle") ? &mainBundle : nullptr;
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef /*bundle*/) {
    if (!Called("CFBundleCopyBundleURL")) {
        return nullptr;
    }
    char program[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", program, PATH_MAX);
    const std::string_view text(
        program, length > 0 ? static_cast<std::size_t>(length) : 0);
    const std::size_t slash = text.rfind('/');
    if (slash == std::string_view::npos) {
        return nullptr;
    }
    const std::string_view directory = text.substr(0, slash == 0 ? 1 : slash);
    directory.copy(state.url.path, directory.size());
    state.url.path[directory.size()] = '\0';
    ++state.urls;
    return &state.url;
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url,
                                         Boolean resolveAgainstBase,
                                         UInt8* buffer, CFIndex maxBufLen) {
    if (!Called("CFURLGetFileSystemRepresentation",
                state.recording ? " " + std::to_string(resolveAgainstBase) +
                                      " " + std::to_string(maxBufLen)
                                : "")) {
        return 0;
    }
    const std::size_t room = std::strlen(url->path) + 1;
    if (maxBufLen < 0 || room > static_cast<std::size_t>(maxBufLen)) {
        return 0;
    }
    std::memcpy(buffer, url->path, room);
    return 1;
}

void CFRelease(CFTypeRef /*cf*/) {
    Called("CFRelease");
    --state.urls;
}

}  // extern "C"

namespace NovuTest {

BundleCalls::BundleCalls() { state.recording = true; }

BundleCalls::~BundleCalls() {
    state.recording = false;
    state.log.clear();
    state.failing.clear();
}

void BundleCalls::Fail(const std::string& function) {
    state.failing.insert(function);
}

std::vector<std::string> BundleCalls::Take() {
    return std::exchange(state.log, {});
}

unsigned long BundleUrlsAlive() { return state.urls; }

}  // namespace NovuTest
