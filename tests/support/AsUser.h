// AsUser: a part of a test that runs without the rights of root.

#ifndef NOVU_BASES_TESTS_SUPPORT_ASUSER_H_
#define NOVU_BASES_TESTS_SUPPORT_ASUSER_H_

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ostream>

#include "tests/support/TempDir.h"

namespace NovuTest {

/// How a body that ran in a child process ended. The values are the child's
/// exit codes.
enum class Outcome {
    Held = 0,         ///< Every expectation was met.
    Failed = 10,      ///< Some was not; the child has printed which.
    Threw = 11,       ///< The body threw.
    KeptRights = 12,  ///< Root could not become an ordinary user; no body ran.
    NoChild = 13,     ///< There was no fork, or no waiting for it.
    Died = 14         ///< A signal or another exit code ended the child.
};

inline std::ostream& operator<<(std::ostream& out, Outcome outcome) {
    switch (outcome) {
        case Outcome::Held:
            return out << "Held";
        case Outcome::Failed:
            return out << "Failed";
        case Outcome::Threw:
            return out << "Threw";
        case Outcome::KeptRights:
            return out << "KeptRights";
        case Outcome::NoChild:
            return out << "NoChild";
        case Outcome::Died:
            break;
    }
    return out << "Died";
}

const uid_t kUnprivileged = 65534;  // "nobody", as user and as group.

/// The user that AsUser's bodies run as.
inline uid_t UserOfAsUser() {
    return ::geteuid() == 0 ? kUnprivileged : ::geteuid();
}

/// Lets every user write to `directory`, as an AsUser body may have to.
inline bool OpenToAll(const TempDir& directory) {
    std::error_code error;
    std::filesystem::permissions(directory.Path(), std::filesystem::perms::all,
                                 error);
    return !error;
}

namespace AsUserDetail {

inline int FailuresSoFar() {
    const testing::TestInfo* const test =
        testing::UnitTest::GetInstance()->current_test_info();
    int failures = 0;
    for (int part = 0;
         test != nullptr && part < test->result()->total_part_count(); ++part) {
        failures += test->result()->GetTestPartResult(part).failed() ? 1 : 0;
    }
    return failures;
}

inline bool DropRights() {
    if (::geteuid() != 0) {
        return true;
    }
    return ::setgroups(0, nullptr) == 0 && ::setgid(kUnprivileged) == 0 &&
           ::setuid(kUnprivileged) == 0 && ::setuid(0) != 0;
}

template <typename Body>
Outcome RunBody(Body& body) {
    if (!DropRights()) {
        return Outcome::KeptRights;
    }
    const int before = FailuresSoFar();
    try {
        body();
    } catch (...) {
        return Outcome::Threw;
    }
    return FailuresSoFar() == before ? Outcome::Held : Outcome::Failed;
}

}  // namespace AsUserDetail

/// Runs `body`, which takes nothing, in a forked child: as user and group 65534
/// without other groups when the caller is root, else as the caller. The body
/// uses EXPECT_ and ASSERT_ as a test does, and nothing that it changes in
/// memory reaches the caller:
///
///     EXPECT_EQ(Outcome::Held, AsUser([&] { EXPECT_FALSE(Forbidden()); }));
///
/// The directory of a TempDir is its maker's alone until OpenToAll. The child
/// may not look into /proc/self. No other thread may run.
template <typename Body>
Outcome AsUser(Body body) {
    std::fflush(nullptr);  // Or the child prints it again.
    const pid_t child = ::fork();
    if (child < 0) {
        return Outcome::NoChild;
    }
    if (child == 0) {
        const Outcome outcome = AsUserDetail::RunBody(body);
        std::fflush(nullptr);
        ::_exit(static_cast<int>(outcome));
    }
    int status = 0;
    pid_t ended = -1;
    do {
        ended = ::waitpid(child, &status, 0);
    } while (ended < 0 && errno == EINTR);
    if (ended != child) {
        return Outcome::NoChild;
    }
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    for (const Outcome outcome : {Outcome::Held, Outcome::Failed,
                                  Outcome::Threw, Outcome::KeptRights}) {
        if (code == static_cast<int>(outcome)) {
            return outcome;
        }
    }
    return Outcome::Died;
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_ASUSER_H_
