#include "convert/mp4_parser.h"

#include <optional>
#include <utility>

#include "convert/clip_path.h"
#include "convert/existing_recording.h"
#include "convert/frame_improver.h"
#include "mp4/box_walk.h"
#include "mp4/movie_frames.h"
#include "plugin/interfaces/records.h"

namespace norvane {
namespace {

constexpr std::chrono::milliseconds kRemovalWait{2000};

constexpr const char* kNoTables = "No sample tables found in mp4 container.\n";

constexpr std::int32_t kPixelsPerUnit = kMapPixels;

PsStreamDesc describe_video(const ChannelRecord& channel, std::uint32_t slot) {
    PsStreamDesc stream;
    stream.type = static_cast<std::uint8_t>(kVideoType + (channel.codec & 0xFFU));
    stream.id = static_cast<std::uint8_t>((channel.codec != 0 ? kVideoIdWithCodec : kVideoId) + slot);
    stream.width = static_cast<std::uint8_t>(channel.width / kPixelsPerUnit);
    stream.height = static_cast<std::uint8_t>(channel.height / kPixelsPerUnit);
    return stream;
}

PsStreamDesc describe_audio(const ChannelRecord& channel, std::uint32_t slot) {
    PsStreamDesc stream;
    stream.type = static_cast<std::uint8_t>(kAudioType + (channel.codec & 0xFFU));
    stream.id = static_cast<std::uint8_t>(kAudioId + (slot - kVideoSlots));
    stream.value_a = channel.value_a;
    stream.value_b = channel.value_b;
    return stream;
}

}  // namespace

Mp4Parser::Mp4Parser(const StreamRecord& request, ConversionContext context)
    : writer_(std::make_unique<PsWriter>()),
      request_(request),
      context_(std::move(context)),
      time_base_(time_base(request)),
      clip_id_(clip_id(request)) {
    ps_writer_init(*writer_);
}

Mp4Parser::~Mp4Parser() {
    ps_writer_destroy(*writer_);
}

std::int32_t Mp4Parser::parse_container() {
    const std::int32_t result = convert_clip();
    if (may_remove_clip(result)) delete_source_file();
    return result;
}

bool Mp4Parser::may_remove_clip(std::int32_t result) {
    if (!context_.policy.remove_clip) return false;
    if (!other_time_ && (result == kConverted || !context_.options.keep_failed_clips)) return true;
    log_message(kLogError, "NorVane - keeping clip '" + request_.sourceFile + "' after " +
                               std::to_string(frames_) + " frames: " + last_error_);
    return false;
}

/// Closes the clip before it returns, so that the clip can then be removed.
std::int32_t Mp4Parser::convert_clip() {
    const auto clip = context_.files.open_input(request_.sourceFile);
    if (check_file_format(clip.get())) {
        log_message(kLogError, "Unsupported file format - " + request_.sourceFile + ".\n");
        return kNotConverted;
    }
    log_message(kLogInformation, "Parsing mp4 container - " + request_.sourceFile + ".\n");
    BoxReader in(clip.get());
    const bool found = context_.options.all_clips ? find_h264_track(in) : find_tracks(in);
    return found ? process_stream(in) : kNotConverted;
}

bool Mp4Parser::find_tracks(BoxReader& in) {
    tracks_ = gather_tracks(in, [this](const std::string& type) {
        log_message(kLogInformation, "Unknown box type : " + type + "\n");
    });
    in.clear();
    if (tracks_.empty()) {
        log_message(kLogError, kNoTables);
        return false;
    }
    if (context_.options.parameter_sets || context_.options.sample_times) movie_ = read_movie(in);
    in.clear();
    return true;
}

/// Describes the track in tracks_ as far as default times and the stream map need it.
bool Mp4Parser::find_h264_track(BoxReader& in) {
    movie_ = read_movie(in);
    in.clear();
    const MovieTrack* const track = movie_.h264_track();
    if (track == nullptr) {
        const std::string codings = movie_.codings();
        log_message(kLogError, codings.empty() ? kNoTables
                                               : "No H.264 video in mp4 container - " + request_.sourceFile +
                                                     " contains " + codings + ".\n");
        return false;
    }
    if (!StoredSamples(*track, in.file()).next()) {
        log_message(kLogError, kNoTables);
        return false;
    }
    const SampleDescription& description = track->descriptions.front();
    SampleTables tables;
    tables.time_to_sample = track->time_to_sample;
    tables.movie_headers = movie_.headers;
    tables.sample_descriptions = {
        {.format = description.coding, .width = description.width, .height = description.height}};
    tracks_ = {std::move(tables)};
    return true;
}

bool Mp4Parser::check_file_format(platform::InputFile* clip) {
    if (clip == nullptr) return false;
    BoxReader in(clip);
    return !is_mp4(in);
}

std::int32_t Mp4Parser::process_stream(BoxReader& in) {
    init_channel_sample_tables(request_.inputName);
    const std::string path = build_ps_path();
    if (open_ps_file(path) != kPsOk) {
        log_message(kLogError, "Error opening ps file - " + path + " for write\n.");
        return kNotConverted;
    }
    return convert_tracks(in);
}

std::int32_t Mp4Parser::convert_tracks(BoxReader& in) {
    current_duration_ = frame_duration(tracks_.front());
    log_message(kLogInformation, "Processing mp4 container stream - " + request_.sourceFile + ".\n");
    if (context_.options.all_clips) return report(convert_h264_track(in));
    for (const SampleTables& track : tracks_) {
        if (!track.complete()) {
            log_message(kLogError,
                        "Did not receive mandatory sample tables. Aborting parsing of mp4 container.\n");
            return kBadTables;
        }
        if (track.sample_descriptions.front().format == kMp4a) continue;
        const std::int32_t result = report(convert_as_stored(track, in));
        if (result != kConverted) return result;
    }
    return kConverted;
}

/// Logs a failure.
std::int32_t Mp4Parser::report(TrackResult result) {
    switch (result) {
        case TrackResult::kDone:
            return kConverted;
        case TrackResult::kBadFrame:
            log_message(kLogError, "Bad frame size. Aborting parsing of mp4 container.\n");
            return kBadTables;
        case TrackResult::kSinkFailed:
            log_message(kLogError, "Error occured while writing frame to ps file - " + ps_path_ + ".\n");
            return kNotConverted;
    }
    return kNotConverted;
}

bool Mp4Parser::write(const Frame& frame) {
    return write_frame(frame.key_frame, frame.group_counter, static_cast<std::int64_t>(frame.bytes.size()),
                       frame.time, frame.bytes);
}

/// Converts a track of the walk. If the movie has the same track, its frames are improved.
TrackResult Mp4Parser::convert_as_stored(const SampleTables& track, BoxReader& in) {
    const double duration = frame_duration(tracks_.front());
    const auto time_base = static_cast<double>(time_base_);
    const MovieTrack* const same = movie_.track_at(track.chunk_offsets.front());
    if (same == nullptr)
        return convert_track(track, in, time_base, duration,
                             [this](const Frame& frame) { return write(frame); });
    FrameImprover improver(*same, context_.options, time_base, in.size());
    MovieSamples samples(movie_, *same, in.file());
    return convert_track(track, in, time_base, duration, [&](Frame frame) {
        if (const auto sample = samples.next()) {
            improver.improve(frame, *sample);
            current_duration_ = improver.duration_of(*sample).value_or(duration);
        }
        return write(frame);
    });
}

TrackResult Mp4Parser::convert_h264_track(BoxReader& in) {
    const MovieTrack& track = *movie_.h264_track();
    const double duration = frame_duration(tracks_.front());
    FrameImprover improver(track, context_.options, static_cast<double>(time_base_), in.size());
    double offset = 0;
    return convert_movie_track(movie_, track, in, [&](Frame frame, const MovieSample& sample) {
        frame.time = static_cast<double>(time_base_) + offset;
        offset += duration;
        improver.improve(frame, sample);
        current_duration_ = improver.duration_of(sample).value_or(duration);
        return write(frame);
    });
}

void Mp4Parser::init_channel_sample_tables(const std::string& input_name) {
    if (tracks_.empty()) {
        log_message(kLogError, "Unable to initialize channel sample tables is empty.\n");
        return;
    }
    const auto& descriptions = tracks_.front().sample_descriptions;
    const StsdEntry first = descriptions.empty() ? StsdEntry{} : descriptions.front();
    for (ChannelRecord& channel : channels_) {
        channel = {.width = first.width, .height = first.height, .name = input_name};
    }
}

std::string Mp4Parser::build_ps_path() {
    const ClipPath path = clip_path(request_.outputDirectory, time_base_, clip_id_);
    directory_ready_ =
        !context_.files.make_directory(path.directory, platform::FileSystem::Existing::kDirectory);
    ps_path_ = path.full();
    return ps_path_;
}

PsStreamDescs Mp4Parser::stream_descriptions() const {
    PsStreamDescs streams;
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
        const ChannelRecord& channel = channels_[slot];
        streams[slot] = slot < kVideoSlots ? describe_video(channel, slot) : describe_audio(channel, slot);
        streams[slot].first_index_byte = channel.first_index_byte;
        streams[slot].second_index_byte = channel.second_index_byte;
        streams[slot].name = channel.name;
    }
    return streams;
}

bool Mp4Parser::may_create_files() {
    if (context_.options.keep_recordings) {
        const auto existing = context_.files.open_input(ps_path_);
        other_time_ = existing && holds_another_time(*existing, time_base_);
        if (other_time_) {
            log_message(kLogError, "NorVane - '" + ps_path_ + "' is a recording of another time.");
            return false;
        }
    }
    if (context_.policy.replace_recording) return true;
    return !context_.files.open_input(ps_path_) && !context_.files.open_input(ps_path_ + "i");
}

bool Mp4Parser::open_files() {
    ps_close(*writer_);
    if (!directory_ready_ || !may_create_files()) return false;
    writer_->data = context_.files.create_data(ps_path_);
    if (writer_->data == nullptr) return false;
    writer_->index = context_.files.create_index(ps_path_ + "i");
    return writer_->index != nullptr;
}

std::int32_t Mp4Parser::open_ps_file(const std::string& path) {
    if (!open_files()) {
        ps_close(*writer_);
        return kPsNotOpened;
    }
    writer_->open_flag = true;
    PsProgramInfo program;
    program.code[0] = request_.flags2;
    const std::int32_t result = ps_open(*writer_, program, stream_descriptions());
    if (result == kPsOk) log_message(kLogInformation, "Opened (and PSI) " + path + ".\n");
    return result;
}

bool Mp4Parser::write_frame(bool key_frame, std::uint16_t /*group_counter*/, std::int64_t length, double time,
                            std::span<const platform::Byte> buffer) {
    PsFrame frame;
    frame.picture_type = key_frame ? kKeyFrame : kOtherFrame;
    frame.recording_kind = request_.flags;
    frame.payload = buffer.first(static_cast<std::uint32_t>(length));
    const bool written = calendar_.set_time(frame, time) && ps_write_frame(*writer_, frame) == kPsOk;
    if (written) ++frames_;
    return written;
}

void Mp4Parser::log_message(std::int32_t level, const std::string& text) {
    if (level == kLogError) last_error_ = text;
    context_.log(level, text);
}

void Mp4Parser::delete_source_file() {
    if (context_.files.remove_file(request_.sourceFile)) return;
    log_message(kLogError,
                "Error deleting file - " + request_.sourceFile + ". Attempting to delete again.\n");
    context_.sleeper.sleep(kRemovalWait);
    (void)context_.files.remove_file(request_.sourceFile);
}

}  // namespace norvane
