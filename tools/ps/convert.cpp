// norvanepi-ps convert: runs the module's conversion without a host.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "convert/clip_path.h"
#include "convert/mp4_parser.h"
#include "plugin/interfaces/records.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/json_list.h"
#include "tools/cli/plural.h"
#include "tools/cli/printable.h"
#include "tools/cli/progress_bar.h"
#include "tools/cli/unusable_inputs.h"
#include "tools/ps/command.h"
#include "tools/ps/diagnosis.h"
#include "tools/ps/staged_files.h"
#include "tools/reader/packet_time.h"

namespace ps_tool {
namespace {

using cli::Json;

/// Counts the frames, and reports when the last one ends.
class TimedParser final : public norvane::Mp4Parser {
  public:
    TimedParser(const StreamRecord& request, norvane::ConversionContext context, cli::ProgressBar& bar)
        : Mp4Parser(request, std::move(context)), bar_(bar), clip_(request.sourceFile) {
        if (const auto file = platform::system_files().open_input(clip_)) clip_size_ = file->size();
    }

    bool write_frame(bool key_frame, std::uint16_t group_counter, std::int64_t length, double time,
                     std::span<const platform::Byte> buffer) override {
        if (!Mp4Parser::write_frame(key_frame, group_counter, length, time, buffer)) return false;
        end_ = time + current_duration();
        ++frames_;
        done_ += static_cast<double>(length);
        bar_.show(clip_, done_ / static_cast<double>(std::max<std::uint64_t>(clip_size_, 1)));
        return true;
    }
    [[nodiscard]] double end() const { return end_; }
    [[nodiscard]] std::uint64_t frames() const { return frames_; }

  private:
    cli::ProgressBar& bar_;
    std::string clip_;
    std::uint64_t clip_size_ = 0;
    std::uint64_t frames_ = 0;
    double done_ = 0;  // bytes
    double end_ = 0;   // seconds since 1970
};

/// What became of one clip.
struct Conversion {
    std::string path;    // of the recording; empty without one
    std::string reason;  // empty if everything was converted
    std::uint64_t frames = 0;
    std::string other_coding;  // of samples that were recorded as H.264; empty if they are H.264
    std::uint32_t end = 0;     // of the clip, and so the start of the next one; seconds since 1970
    int status = cli::kFailure;
    bool unusable = false;  // the clip cannot be opened
};

StreamRecord request_of(const Options& options, const std::string& clip, std::uint32_t start) {
    StreamRecord request;
    request.identifier = options.identifier;
    request.deviceNumber = options.device;
    request.startSeconds = start;
    request.inputName = options.name;
    request.sourceFile = clip;
    request.outputDirectory = options.out + "/";
    request.flags = options.type == 1 ? kRecordingOfType1 : kRecordingOfType3;
    return request;
}

norvane::ConversionContext context_of(const Options& options, StagedFiles& files, std::string& error) {
    return {files,
            platform::system_sleeper(),
            [&error](std::int32_t level, const std::string& text) {
                if (level == kLogError) error = text.substr(0, text.find_last_not_of('\n') + 1);
            },
            {.remove_clip = false, .replace_recording = options.force},
            options.profile == "safe" ? norvane::safe_options() : norvane::Options{}};
}

std::string other_coding_of(const std::vector<SampleTables>& tracks) {
    for (const SampleTables& track : tracks) {
        const BoxType coding = track.sample_descriptions.front().format;
        if (coding != kMp4a && !is_avc(coding)) return name_of(coding);
    }
    return {};
}

/// The recording stays if it has a frame, also if the rest of the clip cannot be converted, but not if it
/// cannot be written completely.
Conversion convert(const Options& options, const std::string& clip, std::uint32_t start,
                   cli::ProgressBar& bar) {
    const StreamRecord request = request_of(options, clip, start);
    const std::string path =
        norvane::clip_path(request.outputDirectory, norvane::time_base(request), norvane::clip_id(request))
            .full();
    Conversion made;
    StagedFiles files;
    if (!options.force && (files.open_input(path) || files.open_input(path + "i"))) {
        made.reason = path + ": already exists; use --force to replace it";
        made.status = cli::kCannotRun;
        return made;
    }
    std::int32_t result = norvane::kNotConverted;
    {
        TimedParser parser(request, context_of(options, files, made.reason), bar);
        result = parser.parse_container();
        made.frames = parser.frames();
        made.end = static_cast<std::uint32_t>(std::llround(parser.end()));
        made.other_coding = other_coding_of(parser.tracks());
    }  // completes the index
    bar.clear();
    if (result == norvane::kConverted) made.reason.clear();
    if (files.error().empty() && (result == norvane::kConverted || made.frames > 0)) {
        try {
            files.complete();
            made.path = path;
            if (result == norvane::kConverted) made.status = cli::kSuccess;
            return made;
        } catch (const cli::CannotRun& failure) {
            made.reason = failure.what();
            made.status = cli::kCannotRun;
        }
    } else if (!files.error().empty()) {
        made.reason = files.error();
        made.status = cli::kCannotRun;
    }
    made.frames = 0;
    return made;
}

const char* result_of(const Conversion& made) {
    if (made.status == cli::kSuccess) return "converted";
    return made.path.empty() ? "not converted" : "converted in part";
}

void print_conversion(const Options& options, const std::string& clip, const Conversion& made) {
    if (!made.path.empty() && !options.json && !options.ndjson) {
        fmt::print("{}\n", made.path);
        cli::flush_output();
    }
    if (!made.path.empty() && !made.other_coding.empty())
        cli::print_message(fmt::format("{}: {}: has '{}' samples, which are recorded as H.264", kProgram,
                                       cli::printable(clip, stderr), made.other_coding));
    if (made.status == cli::kSuccess || made.unusable) return;
    const std::string frames =
        made.path.empty() ? "" : fmt::format(", {}", cli::plural(made.frames, "frame"));
    cli::print_error(kProgram, fmt::format("{}: {}{}: {}", clip, result_of(made), frames, made.reason));
}

Json json_of_conversion(const std::string& clip, const Conversion& made) {
    Json json;
    cli::add_path(json, clip);
    json["result"] = result_of(made);
    json["reason"] = made.reason.empty() ? Json() : Json(made.reason);
    json["recording"] = Json();
    if (!made.path.empty()) cli::add_path(json["recording"], made.path);
    json["frames"] = made.frames;
    return json;
}

/// The format stores a year as its number within 128 years.
void require_storable(std::int64_t start) {
    if (!reader::packet_time_of(start))
        throw cli::CannotRun("--start: a recording can only store the years 2000 to 2127");
}

std::uint32_t seconds_of(std::int64_t milliseconds) {
    const std::int64_t seconds = milliseconds / 1000;
    if (milliseconds % 1000 != 0 || seconds < 0 || seconds > std::numeric_limits<std::uint32_t>::max()) {
        throw cli::CannotRun("--start: must be a whole second after 1970");
    }
    return static_cast<std::uint32_t>(seconds);
}

}  // namespace

int run_convert(const Options& options) {
    std::uint32_t start = seconds_of(options.start);
    require_storable(options.start);
    cli::ProgressBar bar(stderr);
    const auto list = json_list(options, "conversions");
    cli::UnusableInputs unusable(kProgram);
    int status = cli::kSuccess;
    for (const std::string& clip : options.paths) {
        Conversion made;
        if (!platform::system_files().open_input(clip)) {
            made.reason = cli::why_unreadable(clip);
            made.status = cli::kCannotRun;
            made.unusable = true;
            unusable.add(clip, made.reason);
        } else if (status == cli::kSuccess) {
            made = convert(options, clip, start, bar);
            start = made.end;
        } else {
            made.reason =
                "its start is unknown, because a clip before it was not converted completely; use --start";
        }
        if (status == cli::kSuccess) status = made.status;
        print_conversion(options, clip, made);
        if (list) list->add(json_of_conversion(clip, made));
    }
    if (list) list->finish({{"unusable", unusable.json()}});
    return unusable.status(status);
}

}  // namespace ps_tool
