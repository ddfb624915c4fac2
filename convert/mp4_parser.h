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
#include "mp4/sample_tables.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "plugin/interfaces/stream_record.h"
#include "ps/ps_writer.h"

namespace norvane {

/// What the stream map says of one writer slot.
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

/// What a conversion may do besides writing a recording where none is.
struct ConversionPolicy {
    bool remove_clip = true;        // once it was read, whatever came of it
    bool replace_recording = true;  // one that stands at the path already
};

/// What a conversion works with. Files and waits are not owned and have to outlive the parser.
struct ConversionContext {
    platform::FileSystem& files;
    platform::Sleeper& sleeper;
    std::function<void(std::int32_t level, const std::string& text)> log;
    ConversionPolicy policy = {};
};

/// Results of a conversion.
inline constexpr std::int32_t kConverted = 0;
inline constexpr std::int32_t kNotConverted = 1;  // no MP4 with sample tables, or the output failed
inline constexpr std::int32_t kBadTables = 3;     // a mandatory table missing, or a bad NAL length

/// Converts one downloaded MP4 clip into a recording of the host: joins the clip readers and the writer. The
/// recording's index is completed and its files are closed when the parser is destroyed. Problems are logged;
/// only an allocation failure leaves an operation as an exception, and the source clip then stays.
class Mp4Parser {
  public:
    Mp4Parser(const StreamRecord& request, ConversionContext context);
    Mp4Parser(const Mp4Parser&) = delete;
    Mp4Parser& operator=(const Mp4Parser&) = delete;
    virtual ~Mp4Parser();

    /// Composes the recording's path and makes its directory. The path stands whatever became of the
    /// directory; a failure there makes open_ps_file fail.
    virtual std::string build_ps_path();
    /// Writes one frame; length counts its bytes in the buffer, time is in seconds since 1970. False when it
    /// could not be written, also when the calendar does not reach that far.
    virtual bool write_frame(bool key_frame, std::uint16_t group_counter, std::int64_t length, double time,
                             std::span<const platform::Byte> buffer);
    /// Opens the pair at the path that build_ps_path made: 0, or the writer's code.
    virtual std::int32_t open_ps_file(const std::string& path);
    virtual void log_message(std::int32_t level, const std::string& text);
    /// Removes the source clip; tries once more, 2 seconds later, when it is not to be removed.
    virtual void delete_source_file();

    /// Converts the clip and has it deleted, if the policy says so.
    std::int32_t parse_container();

    /// True when the open clip is no MP4 file. One that could not be opened passes: the walk will find
    /// nothing in it.
    [[nodiscard]] static bool check_file_format(platform::InputFile* clip);

    /// Opens the recording and converts every track but audio, in file order.
    std::int32_t process_stream(BoxReader& in);

    /// Fills the 32 channel records from the first track's first sample description.
    void init_channel_sample_tables(const std::string& input_name);

    [[nodiscard]] std::vector<SampleTables>& tracks() noexcept { return tracks_; }
    [[nodiscard]] const std::array<ChannelRecord, kSlots>& channels() const noexcept { return channels_; }

  private:
    std::int32_t convert_tracks(BoxReader& in);
    std::int32_t convert_clip();
    [[nodiscard]] PsStreamDescs stream_descriptions() const;
    [[nodiscard]] bool open_pair();
    [[nodiscard]] bool may_write_pair();

    std::vector<SampleTables> tracks_;
    std::unique_ptr<PsWriter> writer_;
    FrameCalendar calendar_;
    std::string ps_path_;
    bool directory_ready_ = false;
    StreamRecord request_;
    ConversionContext context_;
    std::int64_t time_base_;
    std::array<ChannelRecord, kSlots> channels_;
    std::uint32_t clip_id_;
};

}  // namespace norvane
