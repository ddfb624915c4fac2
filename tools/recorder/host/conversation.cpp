#include "tools/recorder/host/conversation.h"

#include <algorithm>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "host/documents/names.h"
#include "tools/cli/exit_status.h"
#include "tools/recorder/host/transcript_line.h"

namespace recorder {
namespace {

constexpr std::size_t kKindWidth = 12;

/// Local time of day.
std::string clock_text(std::chrono::system_clock::time_point at) {
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(at.time_since_epoch()).count();
    return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(static_cast<std::time_t>(milliseconds / 1000)),
                       milliseconds % 1000);
}

/// Replaces control characters, because each message is one line.
std::string on_one_line(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    return text;
}

}  // namespace

Conversation::Conversation(const Options& options)
    : stream_(options.stream),
      verbose_(options.verbose),
      quiet_(options.quiet),
      colours_(options.stream),
      bar_(options.stream) {
    if (!options.transcript) return;
    transcript_.open(*options.transcript, options.continued ? std::ios::app : std::ios::trunc);
    if (!transcript_) throw cli::CannotRun(fmt::format("cannot write {}", options.transcript->string()));
}

void Conversation::print(std::chrono::system_clock::time_point at, std::string_view arrow,
                         const MessageSummary& line, const std::string& document) {
    if (quiet_) return;
    bar_.clear();
    fmt::print(stream_, "{}  {} {}{} {}\n", colours_(cli::Colour::kFaint, clock_text(at)), arrow,
               colours_(line.colour, line.kind),
               std::string(kKindWidth - std::min(kKindWidth, line.kind.size()), ' '), on_one_line(line.text));
    if (verbose_ && !document.empty()) {
        fmt::print(stream_, "{}\n",
                   colours_(cli::Colour::kFaint, "                 " + on_one_line(document)));
    }
    (void)std::fflush(stream_);
}

void Conversation::write(const std::string& line) {
    if (!(transcript_ << line << std::endl)) throw cli::CannotRun("cannot write the transcript");
}

void Conversation::sent(const SentMessage& message) {
    ++counts_.sent;
    const auto now = std::chrono::system_clock::now();
    if (transcript_.is_open()) write(transcript_line(message, now));
    print(now, "->", {message.kind, message.summary, cli::Colour::kBlue}, message.text);
}

void Conversation::received(const ReceivedMessage& message) {
    const bool returned = message.message_class == names::kReleaseClass;
    const MessageSummary summary =
        returned ? MessageSummary{"given back", fmt::format("message {}", message.returned_number),
                                  cli::Colour::kFaint}
                 : summarise(message.text);
    ++(returned ? counts_.returned : counts_.received);
    if (transcript_.is_open()) write(transcript_line(message, summary.kind));
    if (!returned || verbose_) print(message.at, "<-", summary, message.text);
}

}  // namespace recorder
