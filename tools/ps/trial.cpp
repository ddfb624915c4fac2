#include "tools/ps/trial.h"

#include <algorithm>

#include "tools/reader/discarding_data_file.h"
#include "tools/reader/nal_scan.h"

namespace ps_tool {
namespace {

class DiscardingIndexFile final : public platform::IndexFile {
  public:
    std::size_t write_at(std::uint64_t /*position*/, std::span<const platform::Byte> bytes) override {
        return bytes.size();
    }
};

/// The clip is real, everything else goes nowhere.
class TrialFiles final : public platform::FileSystem {
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
    bool remove_file(const std::string& /*path*/) override { return false; }
    boost::system::error_code make_directory(const std::string& /*path*/, Existing /*enough*/) override {
        return {};
    }
    std::optional<std::string> read_whole(const std::string& /*path*/) override { return std::nullopt; }
    bool replace_whole(const std::string& /*path*/, std::string_view /*content*/) override { return false; }
};

class TrialParser final : public norvane::Mp4Parser {
  public:
    TrialParser(const StreamRecord& request, norvane::ConversionContext context, Trial& trial)
        : Mp4Parser(request, std::move(context)), trial_(trial) {}

    bool write_frame(bool key_frame, std::uint16_t group_counter, std::int64_t length, double time,
                     std::span<const platform::Byte> buffer) override {
        if (!Mp4Parser::write_frame(key_frame, group_counter, length, time, buffer)) return false;
        if (trial_.frames++ == 0) trial_.parameter_sets_in_samples = reader::has_parameter_sets(buffer);
        if (key_frame) ++trial_.key_frames;
        return true;
    }

  private:
    Trial& trial_;
};

}  // namespace

bool Trial::parameter_sets_in_description() const {
    return std::any_of(tracks.begin(), tracks.end(), [](const SampleTables& track) {
        const StsdEntry& entry = track.sample_descriptions.front();
        return entry.sequence_parameter_sets > 0 && entry.picture_parameter_sets > 0;
    });
}

Trial try_conversion(const std::string& clip) {
    Trial trial;
    TrialFiles files;
    StreamRecord request;
    request.sourceFile = clip;
    const norvane::ConversionContext context{files,
                                             platform::system_sleeper(),
                                             [](std::int32_t, const std::string&) {},
                                             {.remove_clip = false, .replace_recording = true}};
    TrialParser parser(request, context, trial);
    trial.result = parser.parse_container();
    trial.tracks = std::move(parser.tracks());
    if (!trial.tracks.empty()) trial.frame_duration = frame_duration(trial.tracks.front());
    return trial;
}

}  // namespace ps_tool
