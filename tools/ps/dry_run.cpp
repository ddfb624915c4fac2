// Converts a clip by the code of the module, without output.

#include <algorithm>

#include "mp4/parameter_sets.h"
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

/// Reads the real clip and discards all output.
class DryRunFiles final : public platform::FileSystem {
  public:
    std::unique_ptr<platform::InputFile> open_input(const std::string& path) override {
        return platform::system_files().open_input(path);
    }
    std::unique_ptr<platform::DataFile> create_data(const std::string& /*path*/) override {
        return std::make_unique<reader::DiscardingDataFile>();
    }
    std::unique_ptr<platform::IndexFile> create_index(const std::string& /*path*/) override {
        return std::make_unique<DiscardingIndexFile>();
    }
    std::unique_ptr<platform::LogFile> open_log(const std::string& /*path*/) override { return nullptr; }
    bool remove_file(const std::string& /*path*/) override { return false; }
    boost::system::error_code make_directory(const std::string& /*path*/, Existing /*enough*/) override {
        return {};
    }
    std::optional<std::string> read_whole(const std::string& /*path*/) override { return std::nullopt; }
    bool replace_whole(const std::string& /*path*/, std::string_view /*content*/) override { return false; }
};

class DryRunParser final : public norvane::Mp4Parser {
  public:
    DryRunParser(const StreamRecord& request, norvane::ConversionContext context, DryRun& dry_run)
        : Mp4Parser(request, std::move(context)), dry_run_(dry_run) {}

    bool write_frame(bool key_frame, std::uint16_t group_counter, std::int64_t length, double time,
                     std::span<const platform::Byte> buffer) override {
        if (!Mp4Parser::write_frame(key_frame, group_counter, length, time, buffer)) return false;
        if (dry_run_.frames++ == 0) dry_run_.parameter_sets_in_samples = h264::has_parameter_sets(buffer);
        if (key_frame) ++dry_run_.key_frames;
        return true;
    }

  private:
    DryRun& dry_run_;
};

}  // namespace

DryRun run_without_output(const std::string& clip) {
    DryRun dry_run;
    DryRunFiles files;
    StreamRecord request;
    request.sourceFile = clip;
    const norvane::ConversionContext context{files,
                                             platform::system_sleeper(),
                                             [](std::int32_t, const std::string&) {},
                                             {.remove_clip = false, .replace_recording = true}};
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
