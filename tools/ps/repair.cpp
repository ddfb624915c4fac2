// norvanepi-ps repair: rebuilds the index from the data file and cuts off an incomplete last packet.

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <vector>

#include "tools/cli/exit_status.h"
#include "tools/ps/command.h"
#include "tools/ps/for_each_recording.h"
#include "tools/reader/verify.h"

namespace ps_tool {
namespace {

namespace fs = std::filesystem;

struct Outcome {
    bool ok = false;
    std::string text;
};

/// Replaces a file: the new content is written next to it, the old file is kept as .bak, and the new one is
/// renamed over it. A complete file exists at the path at all times.
class Replacement {
  public:
    explicit Replacement(const std::string& path) : path_(path) {
        if (fs::exists(backup_path()))
            throw cli::CannotRun(backup_path() + ": already exists; move it away to repair again");
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement() {
        std::error_code ignored;
        fs::remove(new_path(), ignored);
    }

    [[nodiscard]] std::string new_path() const { return path_ + ".new"; }
    [[nodiscard]] std::string backup_path() const { return path_ + ".bak"; }

    void commit() const {
        if (fs::exists(path_)) {
            std::error_code error;
            fs::create_hard_link(path_, backup_path(), error);
            if (error) fs::rename(path_, backup_path());  // not every file system has hard links
        }
        fs::rename(new_path(), path_);
    }

  private:
    std::string path_;
};

void require(bool written, const std::string& path) {
    if (!written) throw cli::CannotRun(path + ": cannot be written");
}

void write_index(const std::string& path, const std::string& content) {
    const auto file = platform::system_files().create_index(path);
    require(file && file->write_at(0, platform::bytes_of(content)) == content.size(), path);
}

/// Copies the first `length` bytes of the recording's data file.
void write_data(const std::string& path, reader::Recording& recording, std::uint64_t length) {
    constexpr std::size_t kBlock = std::size_t{1} << 20U;
    const auto file = platform::system_files().create_data(path);
    require(file != nullptr, path);
    std::vector<platform::Byte> block(kBlock);
    for (std::uint64_t at = 0; at < length; at += block.size()) {
        block.resize(std::min<std::uint64_t>(kBlock, length - at));
        if (!recording.read_data(at, block)) throw cli::CannotRun(recording.data_path() + ": cannot be read");
        require(file->append({block}) == static_cast<std::int64_t>(block.size()), path);
    }
}

/// What looks interrupted may be a conversion that is still running.
void require_unchanged(const reader::Recording& recording) {
    if (fs::file_size(recording.data_path()) == recording.data_size()) return;
    throw cli::CannotRun(recording.data_path() + ": is still being written");
}

void write_to_output(const Options& options, reader::Recording& recording, const reader::Report& report) {
    for (const std::string& path : {options.out, options.out + "i"}) {
        if (fs::exists(path)) throw cli::CannotRun(path + ": already exists");
    }
    write_data(options.out, recording, report.whole_end);
    write_index(options.out + "i", reader::rebuilt_index(recording, report));
}

void write_in_place(reader::Recording& recording, const reader::Report& report) {
    const Replacement index(recording.index_path());
    std::optional<Replacement> data;
    if (report.whole_end < report.data_size) data.emplace(recording.data_path());
    write_index(index.new_path(), reader::rebuilt_index(recording, report));
    if (data) write_data(data->new_path(), recording, report.whole_end);
    require_unchanged(recording);
    recording.close();
    if (data) data->commit();
    index.commit();
}

std::string repair_text(const reader::Report& report) {
    const std::uint64_t cut = report.data_size - report.whole_end;
    return fmt::format("index of {} entries rebuilt{}", report.frames,
                       cut > 0 ? fmt::format(", {} bytes cut off the data file", cut) : "");
}

Outcome repair(const Options& options, reader::Recording& recording) {
    const reader::Report report = reader::verify(recording);
    if (report.verified() && options.out.empty()) return {true, "no faults"};
    if (!report.verified() && !report.repairable()) {
        return {false, fmt::format("not repaired, {} of {} faults cannot be repaired; {}",
                                   report.faults.unrepairable(), report.faults.count(),
                                   reader::text_of(report.faults.kept().front()))};
    }
    if (options.dry_run) return {false, "would be repaired: " + repair_text(report)};
    options.out.empty() ? write_in_place(recording, report) : write_to_output(options, recording, report);
    return {true, repair_text(report)};
}

Outcome repair_or_explain(const Options& options, reader::Recording& recording) {
    try {
        return repair(options, recording);
    } catch (const std::exception& error) {  // the other recordings are still repaired
        return {false, fmt::format("not repaired: {}", error.what())};
    }
}

}  // namespace

int run_repair(const Options& options) {
    cli::UnusableInputs unusable(kProgram);
    if (!options.out.empty() && cli::recording_paths(options.paths, unusable).size() != 1) {
        throw cli::CannotRun("--output: can only be used with one recording");
    }
    bool ok = true;
    for_each_recording<Outcome>(
        options, unusable,
        [&](reader::Recording& recording) { return repair_or_explain(options, recording); },
        [&](const std::string& path, const Outcome& outcome) {
            fmt::print("{}: {}\n", path, outcome.text);
            ok &= outcome.ok;
        });
    return unusable.status(ok ? cli::kSuccess : cli::kFailure);
}

}  // namespace ps_tool
