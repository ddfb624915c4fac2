#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "tools/cli/progress_bar.h"
#include "tools/cli/terminal_colours.h"
#include "tools/recorder/host/message_queue.h"
#include "tools/recorder/host/message_summary.h"

namespace recorder {

/// A message to the module.
struct SentMessage {
    std::uint64_t number = 0;  // of the lent text
    std::string entry_point;
    std::string kind;
    std::string summary;
    std::string text;
};

struct MessageCounts {
    std::uint64_t sent = 0;
    std::uint64_t received = 0;  // without releases
    std::uint64_t returned = 0;
};

/// Prints each message and writes it to the transcript.
class Conversation {
  public:
    struct Options {
        std::FILE* stream = nullptr;  // not owned
        bool verbose = false;         // also documents and returned texts
        bool quiet = false;           // no messages
        std::optional<std::filesystem::path> transcript;
        bool continued = false;  // append to the transcript of another process
    };

    /// Throws cli::CannotRun if the transcript cannot be written.
    explicit Conversation(const Options& options);

    void sent(const SentMessage& message);
    void received(const ReceivedMessage& message);
    void note(const std::string& text) { print(std::chrono::system_clock::now(), "--", {"", text}, ""); }
    void progress(const std::string& label, double fraction) { bar_.show(label, fraction); }
    void end_progress() { bar_.clear(); }

    [[nodiscard]] const MessageCounts& counts() const { return counts_; }
    void set_counts(const MessageCounts& counts) { counts_ = counts; }

  private:
    void print(std::chrono::system_clock::time_point at, std::string_view arrow, const MessageSummary& line,
               const std::string& document);
    void write(const std::string& line);

    std::FILE* stream_;
    bool verbose_;
    bool quiet_;
    cli::TerminalColours colours_;
    cli::ProgressBar bar_;
    std::ofstream transcript_;
    MessageCounts counts_;
};

}  // namespace recorder
