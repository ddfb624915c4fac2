#pragma once

// Options that several subcommands share.

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tools/cli/command_line.h"
#include "tools/cli/jobs.h"

namespace ps_tool {

/// The inputs, and how to process them.
struct CommonOptions {
    std::vector<std::string> paths;
    unsigned jobs = cli::default_jobs();
    bool json = false;
};

void add_paths(cli::Command& command, CommonOptions& options);
void add_jobs(cli::Command& command, CommonOptions& options);
void add_json(cli::Command& command, CommonOptions& options);

/// In ms since 1970, UTC. The end is not included.
struct TimeRange {
    std::int64_t from = std::numeric_limits<std::int64_t>::min();
    std::int64_t to = std::numeric_limits<std::int64_t>::max();
};

/// An option for a UTC time, in ms since 1970.
void add_time(cli::Command& command, const std::string& names, std::int64_t& instant,
              const std::string& description, cli::Presence presence = cli::Presence::kOptional);

/// Throws cli::CannotRun unless every clip can be opened.
void require_readable(const std::vector<std::string>& clips);

}  // namespace ps_tool
