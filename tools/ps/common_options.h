#pragma once

// Options that several subcommands share.

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "tools/cli/jobs.h"

namespace ps_tool {

/// Which recordings, and how to go through them.
struct CommonOptions {
    std::vector<std::string> paths;
    unsigned jobs = cli::default_jobs();
    bool json = false;
};

inline void add_paths(CLI::App& command, CommonOptions& options) {
    command.add_option("PATH", options.paths, "recordings, and directories of them")
        ->required()
        ->type_name("PATH");
}

inline void add_jobs(CLI::App& command, CommonOptions& options) {
    command.add_option("--jobs", options.jobs, "recordings at once (default: one a processor)")
        ->type_name("N")
        ->check(CLI::Range(1U, 1024U));
}

inline void add_json(CLI::App& command, CommonOptions& options) {
    command.add_flag("--json", options.json, "the result as JSON on standard output");
}

}  // namespace ps_tool
