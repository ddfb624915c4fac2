// norvanepi-ps convert: runs the module's conversion without a host.

#include <fmt/format.h>

#include <cmath>
#include <limits>
#include <memory>

#include "convert/clip_path.h"
#include "convert/mp4_parser.h"
#include "plugin/interfaces/records.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/unusable_inputs.h"
#include "tools/ps/command.h"

namespace ps_tool {
namespace {

/// Reports when the last frame of the clip ends.
class TimedParser final : public norvane::Mp4Parser {
  public:
    using Mp4Parser::Mp4Parser;

    bool write_frame(bool key_frame, std::uint16_t group_counter, std::int64_t length, double time,
                     std::span<const platform::Byte> buffer) override {
        end_ = time + current_duration();
        return Mp4Parser::write_frame(key_frame, group_counter, length, time, buffer);
    }
    [[nodiscard]] double end() const { return end_; }

  private:
    double end_ = 0;  // seconds since 1970
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

norvane::ConversionContext context_of(const Options& options) {
    return {platform::system_files(),
            platform::system_sleeper(),
            [](std::int32_t level, const std::string& text) {
                if (level == kLogError) cli::print_error(kProgram, text);
            },
            {.remove_clip = false, .replace_recording = options.force},
            options.profile == "safe" ? norvane::safe_options() : norvane::Options{}};
}

/// Converts one clip. Returns its end, which is the start of the next clip, or nullopt if it was not fully
/// converted.
std::optional<std::uint32_t> convert(const Options& options, const std::string& clip, std::uint32_t start) {
    const StreamRecord request = request_of(options, clip, start);
    const std::string path =
        norvane::clip_path(request.outputDirectory, norvane::time_base(request), norvane::clip_id(request))
            .full();
    auto& files = platform::system_files();
    if (!options.force && (files.open_input(path) || files.open_input(path + "i"))) {
        cli::print_error(kProgram, path + ": already exists; use --force to replace it");
        return std::nullopt;
    }
    TimedParser parser(request, context_of(options));
    if (parser.parse_container() != norvane::kConverted) return std::nullopt;
    fmt::print("{}\n", path);
    return static_cast<std::uint32_t>(std::llround(parser.end()));
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
    std::optional<std::uint32_t> start = seconds_of(options.start);
    for (const std::string& clip : options.paths)
        if (!platform::system_files().open_input(clip))
            throw cli::CannotRun(clip + ": " + cli::why_unreadable(clip));
    for (const std::string& clip : options.paths) {
        start = convert(options, clip, *start);
        if (!start) return cli::kFailure;  // the start of the next clip is unknown
    }
    return cli::kSuccess;
}

}  // namespace ps_tool
