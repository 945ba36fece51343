// <CoreFoundation/CoreFoundation.h>, for checks and tests away from macOS: what
// Module_mac.cpp uses of it.

#ifndef NOVU_BASES_TESTS_MAC_COREFOUNDATION_H_
#define NOVU_BASES_TESTS_MAC_COREFOUNDATION_H_

extern "C" {

typedef const void* CFTypeRef;
typedef struct CFBundleObject* CFBundleRef;
typedef const struct CFUrlObject* CFURLRef;
typedef signed long CFIndex;
typedef unsigned char UInt8;
typedef unsigned char Boolean;

CFBundleRef CFBundleGetMainBundle(void);
CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle);
Boolean CFURLGetFileSystemRepresentation(CFURLRef url,
                                         Boolean resolveAgainstBase,
                                         UInt8* buffer, CFIndex maxBufLen);
void CFRelease(CFTypeRef cf);

}  // extern "C"

#endif  // NOVU_BASES_TESTS_MAC_COREFOUNDATION_H_
