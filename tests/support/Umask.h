// Umask: the mode bits that new files go without, for the length of a scope.

#ifndef NOVU_BASES_TESTS_SUPPORT_UMASK_H_
#define NOVU_BASES_TESTS_SUPPORT_UMASK_H_

#include <sys/stat.h>
#include <sys/types.h>

namespace NovuTest {

class Umask {
public:
    explicit Umask(mode_t mask) : before(::umask(mask)) {}
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;
    ~Umask() { ::umask(before); }

private:
    mode_t before;
};

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_UMASK_H_
