// Converts a clip by the code of the module, without output.

#include <algorithm>

#include "mp4/parameter_sets.h"
#include "plugin/interfaces/records.h"
#include "tools/ps/diagnosis.h"
#include "tools/reader/discarding_data_file.h"

namespace ps_tool {
namespace {

class DiscardingIndexFile final : public platform::IndexFile {
  public:
    std::size_t write_at(std::uint64_t /*position*/, std::span<const platform::Byte> bytes) override {
        return bytes.size();
    }
};

/// Reads the real clip and discards all output. No recording exists.
class DryRunFiles final : public platform::FileSystem {
  public:
    explicit DryRunFiles(const std::string& clip) : clip_(clip) {}

    std::unique_ptr<platform::InputFile> open_input(const std::string& path) override {
        return path == clip_ ? platform::system_files().open_input(path) : nullptr;
    }
    std::unique_ptr<platform::DataFile> create_data(const std::string& /*path*/) override {
        return std::make_unique<reader::DiscardingDataFile>();
    }
    std::unique_ptr<platform::IndexFile> create_index(const std::string& /*path*/) override {
        return std::make_unique<DiscardingIndexFile>();
    }
    std::unique_ptr<platform::LogFile> open_log(const std::string& /*path*/) override { return nullptr; }
    bool rename_file(const std::string& /*from*/, const std::string& /*to*/) override { return false; }
    bool remove_file(const std::string& /*path*/) override { return false; }
    boost::system::error_code make_directory(const std::string& /*path*/, Existing /*enough*/) override {
        return {};
    }
    std::optional<std::string> read_whole(const std::string& /*path*/) override { return std::nullopt; }
    bool replace_whole(const std::string& /*path*/, std::string_view /*content*/) override { return false; }

  private:
    const std::string& clip_;
};

/// Of the clip. The real one is unknown; an edit list may begin with frames that precede it.
constexpr std::uint32_t kStart = 1'000'000'000;

/// Limits memory use for a clip whose chunks repeat: eleven hours at 25 frames per second.
constexpr std::size_t kMaxTimes = 1'000'000;

class DryRunParser final : public norvane::Mp4Parser {
  public:
    DryRunParser(const StreamRecord& request, norvane::ConversionContext context, DryRun& dry_run)
        : Mp4Parser(request, std::move(context)), dry_run_(dry_run) {}

    std::string build_ps_path() override { return path_ = Mp4Parser::build_ps_path(); }

    bool write_frame(bool key_frame, std::uint16_t group_counter, std::int64_t length, double time,
                     std::span<const platform::Byte> buffer) override {
        if (!Mp4Parser::write_frame(key_frame, group_counter, length, time, buffer)) return false;
        const bool first = dry_run_.frames++ == 0;
        dry_run_.end = time + current_duration() - kStart;
        if (dry_run_.times.size() < kMaxTimes) dry_run_.times.push_back(time);
        if (!first && !key_frame) return true;
        const bool has_sets = h264::has_parameter_sets(buffer);
        if (first) dry_run_.parameter_sets_in_samples = has_sets;
        if (key_frame) ++dry_run_.key_frames;
        if (key_frame && has_sets) ++dry_run_.key_frames_with_parameter_sets;
        return true;
    }

    void log_message(std::int32_t level, const std::string& text) override {
        Mp4Parser::log_message(level, text);
        if (level != kLogError) return;
        dry_run_.error = text.ends_with('\n') ? text.substr(0, text.size() - 1) : text;
        const std::string path = " - " + path_;
        const std::size_t at = path_.empty() ? std::string::npos : dry_run_.error.rfind(path);
        if (at != std::string::npos) dry_run_.error.erase(at, path.size());
    }

  private:
    DryRun& dry_run_;
    std::string path_;  // of the recording that the module would write
};

}  // namespace

DryRun run_without_output(const std::string& clip, const norvane::Options& options) {
    DryRun dry_run;
    DryRunFiles files(clip);
    StreamRecord request;
    request.sourceFile = clip;
    request.startSeconds = kStart;
    const norvane::ConversionContext context{files,
                                             platform::system_sleeper(),
                                             [](std::int32_t, const std::string&) {},
                                             {.remove_clip = false, .replace_recording = true},
                                             options};
    DryRunParser parser(request, context, dry_run);
    dry_run.result = parser.parse_container();
    dry_run.tracks = std::move(parser.tracks());
    dry_run.parameter_sets_in_description =
        std::ranges::any_of(dry_run.tracks, [](const SampleTables& track) {
            const StsdEntry& entry = track.sample_descriptions.front();
            return entry.sequence_parameter_sets > 0 && entry.picture_parameter_sets > 0;
        });
    if (!dry_run.tracks.empty()) dry_run.frame_duration = frame_duration(dry_run.tracks.front());
    return dry_run;
}

}  // namespace ps_tool
