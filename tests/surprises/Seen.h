// Seen: what the tests of docs/surprises.md share. The code of each line "Seen"
// of that page stands here word for word, under the id of its entry.

#ifndef NOVU_BASES_TESTS_SURPRISES_SEEN_H_
#define NOVU_BASES_TESTS_SURPRISES_SEEN_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <locale>
#include <string>

#include "tests/support/Concurrency.h"

/// Statements and, at their end, an expression that is true.
#define SEEN(...) EXPECT_TRUE(__extension__({ __VA_ARGS__; }))

namespace NovuTest {

/// Every test begins in the locale "C", whatever the environment says, and with
/// a standard input: a file in its place is one of [fileio-2].
class SurprisesTest : public WithDeadline {
protected:
    SurprisesTest()
        : earlierLocale(std::locale::global(std::locale::classic())) {
        if (::fcntl(STDIN_FILENO, F_GETFD) == -1) {
            ::open("/dev/null", O_RDONLY);  // The lowest that is free.
        }
    }
    ~SurprisesTest() override { std::locale::global(earlierLocale); }

private:
    std::locale earlierLocale;
};

/// Whether `function` throws an `Exception`.
template <typename Exception, typename Function>
bool Throws(Function function) {
    try {
        function();
    } catch (const Exception&) {
        return true;
    }
    return false;
}

/// Whether `function` ends the process, as std::terminate does. It runs in one
/// of its own.
template <typename Function>
bool Ends(Function function) {
    std::fflush(nullptr);  // Or the child prints it again.
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit none{};
        ::setrlimit(RLIMIT_CORE, &none);
        ::dup2(::open("/dev/null", O_WRONLY), STDERR_FILENO);
        ::alarm(20);
        function();
        ::_exit(0);
    }
    int status = 0;
    return child > 0 && ::waitpid(child, &status, 0) == child &&
           WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
}

/// No byte can be written to files: the disk is full, so to speak.
class FullDisk {
public:
    FullDisk() : ignored(::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &earlier);
        const rlimit none{0, earlier.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &none);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &earlier);
        ::signal(SIGXFSZ, ignored);
    }

private:
    rlimit earlier{};
    sighandler_t ignored;
};

/// A signal whose handler lets no call begin anew comes again and again.
class Signals {
public:
    Signals() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        ::sigaction(SIGUSR1, &action, &earlier);
        sigevent event{};
        event.sigev_notify = SIGEV_SIGNAL;
        event.sigev_signo = SIGUSR1;
        made = ::timer_create(CLOCK_MONOTONIC, &event, &timer) == 0;
        const itimerspec interval{{0, 20'000'000}, {0, 20'000'000}};
        EXPECT_TRUE(made && ::timer_settime(timer, 0, &interval, nullptr) == 0);
    }
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    ~Signals() {
        if (made) {
            ::timer_delete(timer);
        }
        ::sigaction(SIGUSR1, &earlier, nullptr);
    }

private:
    struct sigaction earlier {};
    timer_t timer{};
    bool made = false;
};

/// A variable of the environment for the length of a scope.
class Variable {
public:
    Variable(const char* variable, const char* value) : name(variable) {
        if (const char* const now = ::getenv(name); now != nullptr) {
            wasSet = true;
            earlier = now;
        }
        ::setenv(name, value, 1);
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() {
        if (wasSet) {
            ::setenv(name, earlier.c_str(), 1);
        } else {
            ::unsetenv(name);
        }
    }

private:
    const char* name;
    bool wasSet = false;
    std::string earlier;
};

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SURPRISES_SEEN_H_
