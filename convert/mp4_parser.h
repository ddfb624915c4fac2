#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "convert/frame_calendar.h"
#include "mp4/box_reader.h"
#include "mp4/frame_loop.h"
#include "mp4/movie.h"
#include "mp4/sample_tables.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "plugin/interfaces/options.h"
#include "plugin/interfaces/stream_record.h"
#include "ps/ps_writer.h"

namespace norvane {

/// The stream map's description of one writer slot.
struct ChannelRecord {
    std::uint32_t codec = 0;
    std::int32_t width = 0;   // pixels
    std::int32_t height = 0;  // pixels
    std::uint16_t value_a = 0;
    std::uint16_t value_b = 0;
    std::uint8_t second_index_byte = 0;
    std::uint8_t first_index_byte = 0;
    std::string name;
};

struct ConversionPolicy {
    bool remove_clip = true;        // after the conversion, whether it succeeded or not
    bool replace_recording = true;  // overwrite an existing recording
};

/// The environment of a conversion. Files and sleeper are not owned and must outlive the parser.
struct ConversionContext {
    platform::FileSystem& files;
    platform::Sleeper& sleeper;
    std::function<void(std::int32_t level, const std::string& text)> log;
    ConversionPolicy policy = {};
    Options options = {};  // parameter_sets, sample_times and all_clips
};

/// Results of a conversion.
inline constexpr std::int32_t kConverted = 0;
inline constexpr std::int32_t kNotConverted = 1;  // not an MP4 with sample tables, or the output failed
inline constexpr std::int32_t kBadTables = 3;     // a mandatory table is missing, or a NAL length is invalid

/// Converts one downloaded MP4 clip into a recording for the host. The destructor completes the recording's
/// index and closes its files. Problems are logged. The only exception is a failed allocation; the source
/// clip is then kept.
class Mp4Parser {
  public:
    Mp4Parser(const StreamRecord& request, ConversionContext context);
    Mp4Parser(const Mp4Parser&) = delete;
    Mp4Parser& operator=(const Mp4Parser&) = delete;
    virtual ~Mp4Parser();

    /// Builds the recording's path and creates its directory. If that fails, the path is returned anyway, and
    /// open_ps_file fails.
    virtual std::string build_ps_path();
    /// Writes the first `length` bytes of the buffer as one frame; `time` is in seconds since 1970. Returns
    /// false if the write fails or the time is outside the calendar's range.
    virtual bool write_frame(bool key_frame, std::uint16_t group_counter, std::int64_t length, double time,
                             std::span<const platform::Byte> buffer);
    /// Opens both files at the path that build_ps_path returned. Returns 0 or the writer's error code.
    virtual std::int32_t open_ps_file(const std::string& path);
    virtual void log_message(std::int32_t level, const std::string& text);
    /// Removes the source clip. If that fails, tries once more after 2 seconds.
    virtual void delete_source_file();

    /// Converts the clip and removes it if the policy says so.
    std::int32_t parse_container();

    /// True if the open clip is not an MP4 file. False for a clip that could not be opened; its box walk will
    /// find no tables.
    [[nodiscard]] static bool check_file_format(platform::InputFile* clip);

    /// Opens the recording and converts all tracks except audio, in file order. With all_clips, converts the
    /// movie's H.264 track only.
    std::int32_t process_stream(BoxReader& in);

    /// Fills the 32 channel records from the first track's first sample description.
    void init_channel_sample_tables(const std::string& input_name);

    [[nodiscard]] std::vector<SampleTables>& tracks() noexcept { return tracks_; }
    [[nodiscard]] const std::array<ChannelRecord, kSlots>& channels() const noexcept { return channels_; }
    /// Seconds from the frame that is being written to the next one. Valid in write_frame and after it.
    [[nodiscard]] double current_duration() const noexcept { return current_duration_; }

  private:
    std::int32_t convert_tracks(BoxReader& in);
    std::int32_t convert_clip();
    [[nodiscard]] bool find_tracks(BoxReader& in);
    [[nodiscard]] bool find_h264_track(BoxReader& in);
    [[nodiscard]] TrackResult convert_as_stored(const SampleTables& track, BoxReader& in);
    [[nodiscard]] TrackResult convert_h264_track(BoxReader& in);
    [[nodiscard]] bool write(const Frame& frame);
    std::int32_t report(TrackResult result);
    [[nodiscard]] PsStreamDescs stream_descriptions() const;
    [[nodiscard]] bool open_files();
    [[nodiscard]] bool may_create_files();
    [[nodiscard]] bool may_remove_clip(std::int32_t result);

    std::vector<SampleTables> tracks_;
    Movie movie_;  // empty unless an option needs it
    double current_duration_ = 0;
    std::unique_ptr<PsWriter> writer_;
    FrameCalendar calendar_;
    std::string ps_path_;
    bool directory_ready_ = false;
    StreamRecord request_;
    ConversionContext context_;
    std::int64_t time_base_;
    std::array<ChannelRecord, kSlots> channels_;
    std::uint32_t clip_id_;
    std::string last_error_;  // the last error line
    std::uint64_t frames_ = 0;
    bool other_time_ = false;  // a recording of another time has the clip's path
};

}  // namespace norvane
