// FileCalls: stand-ins for open, close, read, write, lseek and dup. A test
// program that is linked with FileCalls.cpp has its calls of them recorded by
// SystemCalls: "lseek 7 -5 SEEK_END", "read 7 1024", "open p O_RDONLY".

#ifndef NOVU_BASES_TESTS_SUPPORT_FILECALLS_H_
#define NOVU_BASES_TESTS_SUPPORT_FILECALLS_H_

namespace NovuTest {

/// The buffer of the last recorded read or write.
const void*& PassedBuffer();

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_FILECALLS_H_
