#pragma once

// Reads the facts about recordings that coverage and metrics need.

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ps/index_layout.h"
#include "tools/cli/unusable_inputs.h"
#include "tools/ps/coverage/coverage.h"
#include "tools/reader/recording.h"
#include "tools/reader/verify.h"

namespace ps_tool {

/// Turns the times of frames into spans. A frame lasts until the next one. The last frame of a span lasts as
/// long as the median of the distances between the span's frames; a span of one frame uses the median of all
/// distances, or 1 ms without any.
class FrameTimes {
  public:
    /// Times are in ms since 1970, in the order of the file.
    void add(std::uint32_t slot, std::int64_t time);

    /// The spans of all slots together, by their first frames. They do not overlap.
    [[nodiscard]] std::vector<FrameSpan> spans();

  private:
    /// How often each distance in ms occurs, up to the one that ends a span.
    using Distances = std::array<std::uint32_t, kSpanGap + 1>;
    struct Slot {
        FrameSpan span;
        bool open = false;
        Distances distances{};
    };

    void end_span(Slot& slot);

    std::array<std::unique_ptr<Slot>, kVideoSlots> slots_;  // null without a frame
    std::unique_ptr<Distances> all_ = std::make_unique<Distances>();
    std::vector<FrameSpan> ended_;
};

/// Gathers the facts while a recording is verified. Frames more than two days away from the time in the path
/// are left out: their dates are damaged.
class FactsBuilder {
  public:
    void add(const reader::Packet& packet);
    [[nodiscard]] RecordingFacts facts(const reader::Report& report);

  private:
    FrameTimes times_;
};

/// Verifies the recording without its payloads.
[[nodiscard]] RecordingFacts facts_of(reader::Recording& recording);

struct FactsOptions {
    std::vector<std::string> paths;
    unsigned jobs = 1;
    std::string cache_directory;  // empty: no cache
};

/// Reads the recordings below the paths, in their order, except those in the cache. Reports on standard error
/// if the cache cannot be written.
[[nodiscard]] std::vector<RecordingFacts> read_facts(const FactsOptions& options,
                                                     cli::UnusableInputs& unusable);

}  // namespace ps_tool
