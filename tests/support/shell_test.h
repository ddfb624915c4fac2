#pragma once

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "tests/support/temp_directory.h"

/// A test with a directory in which a POSIX shell runs command lines, in UTC.
class ShellTest : public testing::Test {
  protected:
    /// The exit status, or -1 if a signal ended the shell.
    int run(const std::string& line) const {
        const int ended = std::system(("cd " + directory.path() + " && TZ=UTC " + line).c_str());
        return WIFEXITED(ended) ? WEXITSTATUS(ended) : -1;
    }

    TempDirectory directory;
};
