// ProgramDirectory on macOS: where the main bundle is.

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <climits>

#include "Bases/Impl/ProgramDirectory.h"

namespace Novu {

bool ProgramDirectory(char* buf, unsigned long size) {
    const CFBundleRef bundle = ::CFBundleGetMainBundle();  // Not ours.
    if (bundle == nullptr) {
        return false;
    }
    const CFURLRef url = ::CFBundleCopyBundleURL(bundle);
    if (url == nullptr) {
        return false;
    }
    const bool written =
        ::CFURLGetFileSystemRepresentation(
            url, /*resolveAgainstBase=*/1, reinterpret_cast<UInt8*>(buf),
            static_cast<CFIndex>(std::min<unsigned long>(size, LONG_MAX))) != 0;
    if (!written) {
        // The URL is left alone, which costs one object.
        // NOLINTNEXTLINE(clang-analyzer-osx.cocoa.RetainCount): as meant.
        return false;
    }
    ::CFRelease(url);
    return true;
}

}  // namespace Novu
