#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "tests/support/temp_directory.h"

/// How a program ended and what it printed.
struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

/// Runs a command line in a directory, with an empty standard input, in UTC, with the given environment
/// variables. No shell is used: spaces separate words, and "" keep a word together. The output remains in
/// the directory's files `out` and `err`. Thread-safe.
[[nodiscard]] Outcome run_program(const std::string& line, const std::string& directory,
                                  const std::map<std::string, std::string>& variables = {});

/// The absolute form of a path of the build.
[[nodiscard]] std::string full_path(const std::string& path);

/// A test with a directory in which its programs run.
class ProgramTest : public testing::Test {
  protected:
    Outcome run(const std::string& line, const std::map<std::string, std::string>& variables = {}) const {
        return run_program(line, directory_.path(), variables);
    }

    TempDirectory directory_;
};
