#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tools/cli/json_list.h"
#include "tools/recorder/validate/cases.h"

namespace recorder::validate {

/// How a case ended.
struct Result {
    std::string finding;  // empty for none
    std::string skipped;  // the reason; empty if it was played
    std::string folder;   // its files
    bool could_not_run = false;
    double seconds = 0;
    double processor_seconds = 0;
    std::int64_t memory_growth = 0;  // kilobytes
};

/// Prints each result at once, as lines or as JSON. Also writes JUnit XML if wanted.
class SuiteReport {
  public:
    SuiteReport(const std::string& module, bool json, std::optional<std::filesystem::path> junit);

    void add(const Case& each, const Result& result);
    /// Returns the exit status. Throws cli::CannotRun if the JUnit file cannot be written.
    int finish();

  private:
    void print(const Case& each, const Result& result);
    void write_junit() const;

    std::string module_;
    std::optional<cli::JsonList> list_;
    std::optional<std::filesystem::path> junit_;
    std::vector<std::pair<Case, Result>> results_;
    int passed_ = 0;
    int found_ = 0;
    int skipped_ = 0;
};

}  // namespace recorder::validate
