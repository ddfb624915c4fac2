// norvanepi-ps repair: a new index from the data file, an incomplete end cut off.

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <vector>

#include "tools/cli/command_line.h"
#include "tools/cli/exit_status.h"
#include "tools/ps/command.h"
#include "tools/ps/each_recording.h"
#include "tools/reader/rebuild.h"

namespace ps_tool {
namespace {

namespace fs = std::filesystem;

struct RepairOptions : CommonOptions {
    bool dry_run = false;
    std::string output;
};

/// What became of one recording.
struct Outcome {
    bool well = false;
    std::string text;
};

/// A file that takes another one's place in three steps: written beside it, the old one kept as .bak, renamed
/// over it. At every moment a whole file stands at the path.
class Replacement {
  public:
    explicit Replacement(const std::string& path) : path_(path) {
        if (fs::exists(backup())) throw cli::CannotRun(backup() + " is in the way");
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement() {
        std::error_code ignored;
        fs::remove(fresh(), ignored);
    }

    [[nodiscard]] std::string fresh() const { return path_ + ".new"; }
    [[nodiscard]] std::string backup() const { return path_ + ".bak"; }

    void put_in_place() const {
        if (fs::exists(path_)) keep_old();
        fs::rename(fresh(), path_);
    }

  private:
    void keep_old() const {
        std::error_code error;
        fs::create_hard_link(path_, backup(), error);
        if (error) fs::rename(path_, backup());  // not every file system has hard links
    }

    std::string path_;
};

void require(bool written, const std::string& path) {
    if (!written) throw cli::CannotRun("cannot write " + path);
}

void write_index(const std::string& path, const std::string& content) {
    const auto file = platform::system_files().create_index(path);
    require(file && file->write_at(0, platform::bytes_of(content)) == content.size(), path);
}

/// The first bytes of the recording's data file, in a file of their own.
void write_data(const std::string& path, reader::Recording& recording, std::uint64_t length) {
    constexpr std::size_t kBlock = std::size_t{1} << 20U;
    const auto file = platform::system_files().create_data(path);
    require(file != nullptr, path);
    std::vector<platform::Byte> block(kBlock);
    for (std::uint64_t at = 0; at < length; at += block.size()) {
        block.resize(std::min<std::uint64_t>(kBlock, length - at));
        if (!recording.read_data(at, block)) throw cli::CannotRun("cannot read " + recording.data_path());
        require(file->append({block}) == static_cast<std::int64_t>(block.size()), path);
    }
}

/// Not under somebody's hands: a conversion may still be writing what looks interrupted.
void require_unchanged(const reader::Recording& recording) {
    if (fs::file_size(recording.data_path()) == recording.data_size()) return;
    throw cli::CannotRun(recording.data_path() + " is being written");
}

void write_beside(const RepairOptions& options, reader::Recording& recording, const reader::Report& report) {
    for (const std::string& path : {options.output, options.output + "i"}) {
        if (fs::exists(path)) throw cli::CannotRun(path + " is there already");
    }
    write_data(options.output, recording, report.whole_end);
    write_index(options.output + "i", reader::rebuilt_index(recording, report));
}

void write_in_place(reader::Recording& recording, const reader::Report& report) {
    const Replacement index(recording.index_path());
    std::optional<Replacement> data;
    if (report.whole_end < report.data_size) data.emplace(recording.data_path());
    write_index(index.fresh(), reader::rebuilt_index(recording, report));
    if (data) write_data(data->fresh(), recording, report.whole_end);
    require_unchanged(recording);
    recording.close();
    if (data) data->put_in_place();
    index.put_in_place();
}

std::string repair_text(const reader::Report& report) {
    const std::uint64_t cut = report.data_size - report.whole_end;
    return fmt::format("index of {} entries rebuilt{}", report.frames,
                       cut > 0 ? fmt::format(", {} bytes cut off the data file", cut) : "");
}

Outcome repair(const RepairOptions& options, reader::Recording& recording) {
    const reader::Report report = reader::verify(recording);
    if (report.verified() && options.output.empty()) return {true, "sound"};
    if (!report.verified() && !report.repairable()) {
        return {false,
                fmt::format("not repaired, {} of {} faults would remain; {}", report.faults.unrepairable(),
                            report.faults.count(), reader::text_of(report.faults.kept().front()))};
    }
    if (options.dry_run) return {false, "would be repaired: " + repair_text(report)};
    options.output.empty() ? write_in_place(recording, report) : write_beside(options, recording, report);
    return {true, repair_text(report)};
}

Outcome repair_or_say_why(const RepairOptions& options, reader::Recording& recording) {
    try {
        return repair(options, recording);
    } catch (const std::exception& error) {  // the next recording is not to suffer for it
        return {false, fmt::format("not repaired: {}", error.what())};
    }
}

int run_repair(const RepairOptions& options) {
    if (!options.output.empty() && cli::recording_paths(options.paths).size() != 1) {
        throw cli::CannotRun("--output takes one recording");
    }
    bool well = true;
    each_recording<Outcome>(
        options, [&](reader::Recording& recording) { return repair_or_say_why(options, recording); },
        [&](const std::string& path, const Outcome& outcome) {
            fmt::print("{}: {}\n", path, outcome.text);
            well &= outcome.well;
        });
    return well ? cli::kSuccess : cli::kFailure;
}

}  // namespace

Command add_repair(CLI::App& program) {
    const auto options = std::make_shared<RepairOptions>();
    CLI::App& command = cli::add_command(
        program, "repair",
        "Makes the index of an interrupted recording anew from its data file and cuts off an incomplete last "
        "packet; the old files are kept as .bak, sound recordings are not touched",
        "norvanepi-ps repair --dry-run recordings/");
    add_paths(command, *options);
    add_jobs(command, *options);
    command.add_flag("--dry-run", options->dry_run, "only say what would be done; exit status 1 if anything");
    command.add_option("--output", options->output, "write the repaired pair there and keep the original")
        ->type_name("FILE");
    return {&command, [options] { return run_repair(*options); }};
}

}  // namespace ps_tool
