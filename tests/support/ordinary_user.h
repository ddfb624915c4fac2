#pragma once

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

/// Runs the check in a child process that has given up every privilege, so that permissions count; tests
/// often run as root, to whom none do. True when it ran and held. The child can leave nothing but files
/// behind.
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
