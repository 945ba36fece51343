// SemaphoreName: a name for a semaphore of the system, gone in the end.

#ifndef NOVU_BASES_TESTS_SUPPORT_SEMAPHORENAME_H_
#define NOVU_BASES_TESTS_SUPPORT_SEMAPHORENAME_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <semaphore.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace NovuTest {

/// One that no other process uses, and no other object of this one.
class SemaphoreName {
public:
    SemaphoreName() {
        static int last = 0;
        text = "/novu-test-" + std::to_string(::getpid()) + "-" +
               std::to_string(++last);
    }
    SemaphoreName(const SemaphoreName&) = delete;
    SemaphoreName& operator=(const SemaphoreName&) = delete;
    ~SemaphoreName() { ::sem_unlink(text.c_str()); }

    operator const char*() const { return text.c_str(); }

    bool Exists() const {
        sem_t* const semaphore = ::sem_open(text.c_str(), 0);
        if (semaphore == SEM_FAILED) {
            EXPECT_EQ(ENOENT, errno);
            return false;
        }
        ::sem_close(semaphore);
        return true;
    }

private:
    std::string text;
};

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_SEMAPHORENAME_H_
