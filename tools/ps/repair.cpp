// norvanepi-ps repair: corrects wrong fields of the data file, rebuilds the index from it and cuts off an
// incomplete last packet. With --output it also saves what is intact in a recording that cannot be repaired.

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "tools/cli/exit_status.h"
#include "tools/cli/json_list.h"
#include "tools/cli/plural.h"
#include "tools/cli/printable.h"
#include "tools/ps/command.h"
#include "tools/ps/for_each_recording.h"
#include "tools/ps/repair_files.h"
#include "tools/reader/salvage.h"
#include "tools/reader/verify.h"

namespace ps_tool {
namespace {

namespace fs = std::filesystem;

struct RepairOutcome {
    std::string result;  // as in the JSON
    std::string text = {};
    int status = cli::kSuccess;
    std::uint32_t frames = 0;
    bool index_rebuilt = false;
    std::size_t corrected_fields = 0;
    std::uint32_t missing_frames = 0;  // listed in the old index only
    std::uint64_t cut_bytes = 0;
    std::uint64_t dropped_bytes = 0;
    std::optional<std::uint32_t> dropped_frames = 0;
    std::vector<std::string> backups = {};
};

reader::Trust trust_of(const Options& options) {
    if (options.trust == "data") return reader::Trust::kData;
    return options.trust == "index" ? reader::Trust::kIndex : reader::Trust::kEvidence;
}

/// What looks interrupted may be a conversion that is still running.
void require_unchanged(const reader::Recording& recording) {
    if (fs::file_size(recording.data_path()) == recording.data_size()) return;
    throw cli::CannotRun(recording.data_path() + ": is still being written");
}

bool is_same_file(const std::string& one, const std::string& other) {
    std::error_code ignored;
    return fs::equivalent(one, other, ignored);
}

void require_output(const Options& options, const reader::Recording& recording) {
    for (const std::string& path : {options.out, options.out + "i"}) {
        if (is_same_file(path, recording.data_path()) || is_same_file(path, recording.index_path()))
            throw cli::CannotRun(path + ": is the recording itself; use another path");
        if (fs::is_directory(path)) throw cli::CannotRun(path + ": is a directory");
        if (!options.force && fs::exists(fs::symlink_status(path)))
            throw cli::CannotRun(path + ": already exists; use --force to replace it");
    }
}

/// Gives the new data file, which `write` writes, its index. Both appear at their paths when they are
/// complete.
void write_pair(const std::string& path, const std::function<void(WrittenFile&)>& write) {
    NewContent data(path);
    NewContent index(path + "i");
    write(data.file());
    data.finish(path);
    reader::Recording written(data.new_path());  // its index is not there: it would be "PATH.newi"
    const reader::Report report = reader::verify(written);
    if (report.faults.unrepairable() > 0 || !report.corrections.empty() ||
        report.whole_end != report.data_size)
        throw cli::CannotRun(path + ": not written: " + reader::text_of(report.faults.kept().front()));
    index.file().write_at(0, platform::bytes_of(reader::rebuilt_index(written, report)));
    index.finish(path + "i");
    written.close();
    data.commit();
    index.commit();
}

void write_to_output(const Options& options, reader::Recording& recording, const reader::Report& report) {
    write_pair(options.out, [&](WrittenFile& file) {
        copy_data(recording, 0, report.whole_end, file, 0);
        for (const reader::Correction& correction : report.corrections)
            file.write_at(correction.offset, correction.bytes);
    });
}

void write_salvage(const std::string& path, reader::Recording& recording, const reader::Salvage& salvage) {
    write_pair(path, [&](WrittenFile& file) {
        file.write_at(0, kPackHeader);
        file.write_at(PackHeader::size, salvage.map);
        std::uint64_t at = kPacketsAt;
        for (const reader::Salvage::Range& range : salvage.ranges) {
            copy_data(recording, range.begin, range.end, file, at);
            at += range.end - range.begin;
        }
        for (const reader::Correction& correction : salvage.corrections)
            file.write_at(correction.offset, correction.bytes);
    });
}

/// Writes the corrections and cuts off the tail. Both are on the disk before this returns.
void change_data(WrittenFile& file, const reader::Report& report) {
    for (const reader::Correction& correction : report.corrections)
        file.write_at(correction.offset, correction.bytes);
    file.flush();
    if (report.whole_end == report.data_size) return;
    file.resize(report.whole_end);
    file.flush();
}

/// The data file, if the repair changes it.
std::optional<WrittenFile> open_changed_data(const reader::Recording& recording,
                                             const reader::Report& report) {
    std::optional<WrittenFile> data;
    if (report.whole_end < report.data_size || !report.corrections.empty())
        data.emplace(recording.data_path(), platform::Edit::kExisting);
    return data;
}

/// Writes the index to PATH.new, with the owner and mode of the one that it replaces.
void write_new_index(NewContent& index, const reader::Recording& recording, const std::string& content) {
    index.file().write_at(0, platform::bytes_of(content));
    index.finish(recording.has_index() ? recording.index_path() : recording.data_path());
}

/// An index with another name is kept there: an interrupted repair has linked it to its backup.
bool is_rewritten_in_place(const reader::Recording& recording) {
    return recording.has_index() && fs::hard_link_count(recording.index_path()) == 1;
}

/// Needs no space if the index exists: what the data file loses, or the old index, makes room for the new
/// one. An interruption leaves a data file from which another repair builds the index.
void write_without_backup(reader::Recording& recording, const reader::Report& report,
                          const std::optional<std::string>& new_index) {
    std::optional<WrittenFile> data = open_changed_data(recording, report);
    std::optional<WrittenFile> old_index;
    if (new_index && is_rewritten_in_place(recording))
        old_index.emplace(recording.index_path(), platform::Edit::kExisting);
    require_unchanged(recording);
    recording.close();
    if (data) change_data(*data, report);
    if (old_index) {
        old_index->resize(0);
        old_index->write_at(0, platform::bytes_of(*new_index));
        old_index->flush();
    } else if (new_index) {
        NewContent index(recording.index_path());
        write_new_index(index, recording, *new_index);
        index.commit();
    }
}

/// Nothing is changed before the backups and the new index are on the disk. An interruption after that leaves
/// a recording that another repair finishes. Returns the names of the backups.
std::vector<std::string> write_in_place(reader::Recording& recording, const reader::Report& report,
                                        const std::optional<std::string>& new_index) {
    const bool cut = report.whole_end < report.data_size;
    std::optional<NewContent> index;
    if (new_index) {
        index.emplace(recording.index_path());
        write_new_index(*index, recording, *new_index);
    }
    std::optional<WrittenFile> data = open_changed_data(recording, report);
    std::vector<std::string> backups;
    try {
        if (!report.corrections.empty()) backups.push_back(save_fields(recording, report));
        if (cut) backups.push_back(save_tail(recording, report.whole_end));
        require_unchanged(recording);
    } catch (...) {
        std::error_code ignored;
        for (const std::string& backup : backups) fs::remove(backup, ignored);
        throw;
    }
    recording.close();
    if (data) change_data(*data, report);
    if (!index) return backups;
    if (std::string backup = keep_backup(recording.index_path()); !backup.empty())
        backups.push_back(std::move(backup));
    index->commit();
    return backups;
}

std::string repair_text(const RepairOutcome& outcome) {
    std::vector<std::string> parts;
    if (outcome.index_rebuilt) parts.push_back(fmt::format("index of {} entries rebuilt", outcome.frames));
    if (outcome.corrected_fields > 0)
        parts.push_back(cli::plural(outcome.corrected_fields, "field") + " corrected in the data file");
    if (outcome.missing_frames > 0)
        parts.push_back(cli::plural(outcome.missing_frames, "frame") +
                        " of the old index not in the data file");
    if (outcome.cut_bytes > 0)
        parts.push_back(fmt::format("{} bytes cut off the data file", outcome.cut_bytes));
    return fmt::format("{}", fmt::join(parts, ", "));
}

std::string salvage_text(const RepairOutcome& outcome, bool map_rebuilt) {
    const std::string frames = outcome.dropped_frames ? cli::plural(*outcome.dropped_frames, "frame")
                                                      : std::string("an unknown number of frames");
    return fmt::format("{} saved{}, {} and {} dropped", cli::plural(outcome.frames, "frame"),
                       map_rebuilt ? ", pack header and map rebuilt" : "",
                       cli::plural(outcome.dropped_bytes, "byte"), frames);
}

/// The first fault that cannot be repaired, if it was kept.
const reader::Fault& obstacle(const reader::Report& report) {
    const std::vector<reader::Fault>& faults = report.faults.kept();
    const auto found = std::ranges::find(faults, reader::Repair::kNone, &reader::Fault::repair);
    return found == faults.end() ? faults.front() : *found;
}

RepairOutcome refusal(const reader::Report& report, const std::string& advice) {
    return {.result = "refused",
            .text = fmt::format("not repaired, {} of {} cannot be repaired; {}; {}",
                                report.faults.unrepairable(), cli::plural(report.faults.count(), "fault"),
                                reader::text_of(obstacle(report)), advice),
            .status = cli::kFailure};
}

/// What can be done about a recording that cannot be repaired.
std::string advice_for(reader::Recording& recording, const reader::Salvage& saved) {
    if (saved.frames > 0) return "--output FILE saves what is intact";
    const char* const remains = recording.has_data() ? "no packet is intact" : "the index contains no frames";
    return fmt::format("{}; restore the data file from a copy", remains);
}

RepairOutcome salvage(const Options& options, reader::Recording& recording, const reader::Report& report) {
    const reader::Salvage saved = reader::salvage(recording, report);
    if (saved.frames == 0 || options.out.empty()) return refusal(report, advice_for(recording, saved));
    RepairOutcome outcome{.result = options.dry_run ? "would be salvaged" : "salvaged",
                          .frames = saved.frames,
                          .index_rebuilt = true,
                          .dropped_bytes = saved.dropped_bytes,
                          .dropped_frames = saved.dropped_frames};
    outcome.text = (options.dry_run ? "would be salvaged: " : "") + salvage_text(outcome, saved.map_rebuilt);
    outcome.status = options.dry_run ? cli::kFailure : cli::kSuccess;
    if (!options.dry_run) write_salvage(options.out, recording, saved);
    return outcome;
}

void change_recording(const Options& options, reader::Recording& recording, const reader::Report& report,
                      const std::optional<std::string>& index, RepairOutcome& outcome) {
    if (options.no_backup) return write_without_backup(recording, report, index);
    const bool has_index = recording.has_index();
    try {
        outcome.backups = write_in_place(recording, report, index);
    } catch (const DiskFull& full) {
        if (!has_index) throw;
        throw cli::CannotRun(std::string(full.what()) + "; --no-backup needs no space, but keeps nothing");
    }
}

RepairOutcome repair_recording(const Options& options, reader::Recording& recording,
                               const reader::Report& report) {
    std::optional<std::string> index = reader::rebuilt_index(recording, report);
    const bool in_place = options.out.empty();
    const std::uint32_t listed = recording.completed() ? recording.entries() : 0;
    if (in_place && platform::system_files().read_whole(recording.index_path()) == index) index.reset();
    RepairOutcome outcome{.result = options.dry_run ? "would be repaired" : "repaired",
                          .frames = report.frames,
                          .index_rebuilt = index.has_value(),
                          .corrected_fields = report.corrections.size(),
                          .missing_frames = listed - std::min(listed, report.frames),
                          .cut_bytes = report.data_size - report.whole_end};
    outcome.text = (options.dry_run ? "would be repaired: " : "") + repair_text(outcome);
    if (options.dry_run) {
        outcome.status = cli::kFailure;
    } else if (in_place) {
        change_recording(options, recording, report, index, outcome);
    } else {
        write_to_output(options, recording, report);
    }
    return outcome;
}

RepairOutcome repair(const Options& options, reader::Recording& recording) {
    if (!options.out.empty()) require_output(options, recording);
    const reader::Report report = reader::verify(
        recording, reader::VerifyDepth::kHeaders, [](const reader::Packet&) {}, trust_of(options));
    if (report.verified() && options.out.empty())
        return {.result = "no faults", .text = "no faults", .frames = report.frames};
    if (report.undecided) return refusal(report, "--trust data or --trust index decides");
    if (!report.verified() && !report.repairable()) return salvage(options, recording, report);
    return repair_recording(options, recording, report);
}

RepairOutcome repair_or_explain(const Options& options, reader::Recording& recording) {
    try {
        return repair(options, recording);
    } catch (const std::exception& error) {  // the other recordings are still repaired
        return {.result = "failed",
                .text = fmt::format("not repaired: {}", error.what()),
                .status = cli::kCannotRun};
    }
}

cli::Json json_of_repair(const std::string& path, const RepairOutcome& outcome) {
    cli::Json json;
    cli::add_path(json, path);
    json.update(
        {{"result", outcome.result},
         {"text", outcome.text},
         {"frames", outcome.frames},
         {"index_rebuilt", outcome.index_rebuilt},
         {"corrected_fields", outcome.corrected_fields},
         {"cut_bytes", outcome.cut_bytes},
         {"dropped_bytes", outcome.dropped_bytes},
         {"dropped_frames", outcome.dropped_frames ? cli::Json(*outcome.dropped_frames) : cli::Json()},
         {"backups", outcome.backups}});
    return json;
}

}  // namespace

int run_repair(const Options& options) {
    cli::UnusableInputs unusable(kProgram);
    if (!options.out.empty() && cli::recording_paths(options.paths, unusable).size() != 1) {
        throw cli::CannotRun("--output: can only be used with one recording");
    }
    if (!options.out.empty() && fs::path(options.out).extension() != ".ps")
        throw cli::CannotRun(options.out + ": unknown extension; use .ps");
    if (options.force && options.out.empty()) throw cli::CannotRun("--force: can only be used with --output");
    int status = cli::kSuccess;
    const auto json = json_list(options, "recordings");
    for_each_recording<RepairOutcome>(
        options, unusable,
        [&](reader::Recording& recording) { return repair_or_explain(options, recording); },
        [&](const std::string& path, const RepairOutcome& outcome) {
            if (json) {
                json->add(json_of_repair(path, outcome));
            } else {
                fmt::print("{}: {}\n", cli::printable(path), cli::printable(outcome.text));
            }
            status = std::max(status, outcome.status);
        });
    if (json) json->finish({{"unusable", unusable.json()}});
    return unusable.status(status);
}

}  // namespace ps_tool
