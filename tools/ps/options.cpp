#include "tools/ps/options.h"

#include "platform/file.h"
#include "tools/cli/exit_status.h"
#include "tools/reader/packet_time.h"

namespace ps_tool {

void add_paths(cli::Command& command, CommonOptions& options) {
    command.texts("PATH", "PATH", options.paths, "recordings, or directories with recordings",
                  cli::Presence::kRequired);
}

void add_jobs(cli::Command& command, CommonOptions& options) {
    command.number("--jobs", options.jobs, "number of files to process at once (default: one per processor)",
                   {.least = 1, .most = 1024});
}

void add_json(cli::Command& command, CommonOptions& options) {
    command.flag("--json", options.json, "print the result as JSON");
}

void add_time(cli::Command& command, const std::string& names, std::int64_t& instant,
              const std::string& description, cli::Presence presence) {
    const auto read = [&instant](const std::string& text) {
        const auto parsed = reader::parse_instant(text);
        instant = parsed.value_or(0);
        return parsed.has_value();
    };
    command.parsed(names, "TIME", read, "a UTC time like 2018-06-22T16:05:09Z", description, presence);
}

void require_readable(const std::vector<std::string>& clips) {
    for (const std::string& clip : clips) {
        if (!platform::system_files().open_input(clip)) throw cli::CannotRun(clip + ": cannot be opened");
    }
}

}  // namespace ps_tool
