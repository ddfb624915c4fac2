// norvanepi-ps export: writes recordings to a file for common players.

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "tools/cli/exit_status.h"
#include "tools/cli/recording_paths.h"
#include "tools/ps/command.h"
#include "tools/ps/export/export_sink.h"
#include "tools/reader/recording.h"

namespace ps_tool {
namespace {

/// Writes the byte stream format (ITU-T H.264, annex B). "-" is standard output.
class ElementarySink final : public ExportSink {
  public:
    explicit ElementarySink(const std::string& path)
        : path_(path == "-" ? "standard output" : path),
          end_(path == "-" ? &std::fflush : &std::fclose),
          file_(path == "-" ? stdout : std::fopen(path.c_str(), "wb"), end_) {
        if (file_ == nullptr) throw std::runtime_error(path_ + ": cannot be written");
    }

    void write(const ExportFrame& /*frame*/, std::span<platform::Byte> bytes) override { put(bytes); }
    void put(std::span<const platform::Byte> bytes) {
        check(std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size());
    }
    void finish() override { check(end_(file_.release()) == 0); }

  private:
    using End = int(std::FILE*);

    void check(bool done) const {
        if (!done) throw std::runtime_error(path_ + ": cannot be written completely");
    }

    std::string path_;
    End* end_;
    std::unique_ptr<std::FILE, End*> file_;
};

std::unique_ptr<ExportSink> make_sink(const std::string& out, const Selection& selection) {
    if (out != "-" && std::filesystem::path(out).extension() != ".h264")
        return make_container_sink(out, selection);
    auto sink = std::make_unique<ElementarySink>(out);
    if (!selection.parameter_sets_in_stream) sink->put(selection.head);
    return sink;
}

void check_output(const Options& options) {
    const std::string extension = std::filesystem::path(options.out).extension().string();
    if (options.out != "-" && extension != ".h264" && extension != ".mp4" && extension != ".mkv")
        throw cli::CannotRun(options.out + ": unknown extension; use .h264, .mp4 or .mkv");
    if (options.out != "-" && !options.force && std::filesystem::exists(options.out))
        throw cli::CannotRun(options.out + ": already exists; use --force to replace it");
}

void write_frames(const Selection& selection, ExportSink& sink) {
    std::unique_ptr<reader::Recording> recording;
    std::size_t opened = selection.recordings.size();
    std::vector<platform::Byte> bytes;
    for (const ExportFrame& frame : selection.frames) {
        if (!recording || opened != frame.recording) {
            opened = frame.recording;
            recording = std::make_unique<reader::Recording>(selection.recordings.at(opened));
        }
        bytes.assign(frame.size + kReadPadding, 0);
        const auto payload = std::span(bytes).first(frame.size);
        if (!recording->read_data(frame.payload_at, payload))
            throw std::runtime_error(recording->data_path() + ": changed during the export");
        sink.write(frame, payload);
    }
    sink.finish();
}

/// Removes an incomplete file.
void write_file(const Selection& selection, const std::string& out) {
    const auto sink = make_sink(out, selection);
    try {
        write_frames(selection, *sink);
    } catch (...) {
        std::error_code ignored;
        if (out != "-") std::filesystem::remove(out, ignored);
        throw;
    }
    if (out != "-") fmt::print("{}\n", out);
}

}  // namespace

int run_export(const Options& options) {
    check_output(options);
    try {
        const ParameterSetUnits given =
            options.parameter_sets.empty() ? ParameterSetUnits() : parameter_sets_of(options.parameter_sets);
        cli::UnusableInputs unusable(kProgram);
        Selection selection =
            select_frames(cli::recording_paths(options.paths, unusable), options.range, given);
        set_presentation_times(selection.frames);
        write_file(selection, options.out);
        for (const std::string& warning : selection.warnings)
            fmt::print(stderr, "{}: {}\n", kProgram, warning);
        return unusable.status(cli::kSuccess);
    } catch (const reader::CannotOpen& error) {
        throw cli::CannotRun(error.what());
    } catch (const ExportRefused& refusal) {
        cli::print_error(kProgram, refusal.what());
        return cli::kFailure;
    }
}

}  // namespace ps_tool
