#pragma once

// The subcommands of norvanepi-ps: each is a file with its action. program.cpp declares their options.

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/cli/json_list.h"
#include "tools/ps/time_argument.h"

namespace ps_tool {

inline constexpr const char* kProgram = "norvanepi-ps";

/// In ms since 1970, UTC. The end is not included.
struct TimeRange {
    std::int64_t from = std::numeric_limits<std::int64_t>::min();
    std::int64_t to = std::numeric_limits<std::int64_t>::max();

    [[nodiscard]] bool is_all() const {
        return from == std::numeric_limits<std::int64_t>::min() &&
               to == std::numeric_limits<std::int64_t>::max();
    }
};

/// The command line. Each subcommand has some of these options.
struct Options {
    std::vector<std::string> paths;  // recordings, directories or clips
    std::string recording;           // the only one of `frames`
    unsigned jobs = 1;
    bool json = false;
    bool ndjson = false;  // JSON, one line per recording
    TimeRange range;
    Zone zone;  // of times without one
    bool csv = false;
    bool deep = false;
    bool strict = false;
    bool payloads = false;
    bool quiet = false;
    bool dry_run = false;
    bool force = false;
    bool no_backup = false;          // of `repair`
    std::string trust = "evidence";  // of `repair`
    std::string out;                 // file, or directory of `convert`
    std::int64_t start = 0;          // of the first clip, ms since 1970
    std::uint32_t identifier = 0;
    std::uint32_t device = 0;
    std::string name;
    std::uint32_t type = 1;
    std::string profile = "default";     // of `convert`
    std::string parameter_sets;          // path of a clip, or empty
    std::vector<std::string> documents;  // output of verify --json
    std::string transcript;
    std::vector<std::string> logs;  // of a host
    std::string period = "day";     // of `report`
    bool watch = false;
    bool zone_given = false;
    bool stills = false;
    std::int64_t stills_every = 600'000;       // ms
    std::uint64_t stills_budget = 20'000'000;  // bytes of all pictures in base64
    std::string camera;                        // id or name, or empty
    std::string output_dir;                    // of `export`, or empty
    std::string format;                        // of `export`; empty: by the extension
    bool hash = false;
    std::int64_t minimum_gap = 5'000;  // ms
    std::int64_t window = 86'400'000;  // ms
    std::string cache;                 // directory, or empty
    std::string state;                 // path of a state file or journal, or empty
};

int run_info(const Options& options);
int run_frames(const Options& options);
int run_verify(const Options& options);
int run_repair(const Options& options);
int run_probe(const Options& options);
int run_convert(const Options& options);
int run_export(const Options& options);
int run_gaps(const Options& options);
int run_report(const Options& options);
int run_coverage(const Options& options);
int run_metrics(const Options& options);

/// The list that --json or --ndjson prints; null without them.
[[nodiscard]] std::unique_ptr<cli::JsonList> json_list(const Options& options, const std::string& name);

/// Runs the subcommand of the command line and returns the exit status.
[[nodiscard]] int run(int argc, const char* const* argv);

}  // namespace ps_tool
