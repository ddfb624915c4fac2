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

/// Runs a command line in a directory, with nothing to read, in UTC and with the variables given. There is no
/// shell: spaces part the words, and "" keep a word together. What it prints stays there in the files `out`
/// and `err`. For any thread.
[[nodiscard]] Outcome run_program(const std::string& line, const std::string& directory,
                                  const std::map<std::string, std::string>& variables = {});

/// A path of the build as it holds in every directory.
[[nodiscard]] std::string full_path(const std::string& path);

/// A test in whose directory programs run.
class ProgramTest : public testing::Test {
  protected:
    Outcome run(const std::string& line, const std::map<std::string, std::string>& variables = {}) const {
        return run_program(line, directory_.path(), variables);
    }

    TempDirectory directory_;
};
