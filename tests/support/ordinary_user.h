#pragma once

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

/// Runs the check in a child process without privileges, because permissions do not apply to root and tests
/// often run as root. True if the check ran and returned true. Only files that the check creates outlive the
/// child.
inline bool holds_for_ordinary_user(const std::function<bool()>& check) {
    constexpr ::uid_t kNobody = 65534;
    const ::pid_t child = ::fork();
    if (child == 0) {
        const bool root = ::geteuid() == 0;
        const bool demoted =
            !root || (::setgroups(0, nullptr) == 0 && ::setresgid(kNobody, kNobody, kNobody) == 0 &&
                      ::setresuid(kNobody, kNobody, kNobody) == 0);
        ::_exit(demoted && check() ? 0 : 1);
    }
    int status = -1;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}
