// Bundle: the stand-in for what CoreFoundation knows of the running program,
// and what a test can see and script of it.

#ifndef NOVU_BASES_TESTS_MAC_BUNDLE_H_
#define NOVU_BASES_TESTS_MAC_BUNDLE_H_

#include <string>
#include <vector>

namespace NovuTest {

/// Records the calls of a scope, one line each, such as
/// "CFURLGetFileSystemRepresentation 1 1024" (whether to resolve, and the
/// room). One at a time, and only for one thread.
class BundleCalls {
public:
    BundleCalls();
    BundleCalls(const BundleCalls&) = delete;
    BundleCalls& operator=(const BundleCalls&) = delete;
    ~BundleCalls();

    /// `function` answers null or false.
    void Fail(const std::string& function);

    /// What was recorded since the last time.
    std::vector<std::string> Take();
};

/// URLs that were handed out and not released.
unsigned long BundleUrlsAlive();

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_MAC_BUNDLE_H_
