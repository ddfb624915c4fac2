#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file.h"
#include "plugin/interfaces/persistent_store.h"

namespace norvane {

/// Keeps a state in norvanepi_journal in the working directory, line by line. Each line has a checksum and
/// adds to the lines before it. A group of lines ends with the time at which the module was alive; a group
/// without its end was interrupted and has no effect. docs/state-file.md shows the lines.
class Journal {
  public:
    using Log = std::function<void(std::int32_t level, const std::string& text)>;

    static constexpr const char* kFileName = "norvanepi_journal";

    /// The files are not owned and must outlive the journal.
    Journal(platform::FileSystem& files, Log log) : files_(files), log_(std::move(log)) {}

    struct Recovered {
        EngineState state;
        Ticks alive = 0;  // of the last complete group
    };
    struct Content {
        std::optional<Recovered> recovered;  // nothing without a complete group
        bool damaged = false;                // a line besides the last, unfinished one is not readable
    };
    [[nodiscard]] static Content parse(std::string_view text);

    /// What the last process left; nothing if it removed its journal or wrote no complete group. A damaged
    /// file is copied to norvanepi_journal.damaged and reported, and its intact lines are used. A file that
    /// cannot be read gets that name.
    [[nodiscard]] std::optional<Recovered> read();

    /// Appends what changed since the last update, and that the module is alive. On the disk when it returns.
    /// A failure is reported once, until an update succeeds; the next update then writes everything.
    bool update(EngineState state, Ticks now);

    /// Removes the file, because the state is saved elsewhere.
    void remove();

  private:
    [[nodiscard]] bool write(const EngineState& state, const std::string& alive);
    [[nodiscard]] bool rewrite(const EngineState& state, const std::string& alive);

    platform::FileSystem& files_;
    Log log_;
    std::unique_ptr<platform::LogFile> file_;  // null until the first update, and after a failure
    EngineState written_;
    std::size_t size_ = 0;      // bytes of the file
    std::size_t max_size_ = 0;  // a larger file is rewritten
    bool failed_ = false;
};

}  // namespace norvane
