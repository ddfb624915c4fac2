#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/recorder/host/host_simulator.h"
#include "tools/recorder/host/process_figures.h"

namespace recorder {

/// How long a story goes on; 0 sets no bound.
struct SoakSettings {
    std::uint64_t operations = 0;  // that have ended
    std::uint32_t minutes = 0;

    [[nodiscard]] bool wanted() const { return operations > 0 || minutes > 0; }
};

/// Watches a story that goes on for long: after every thousand operations it notes what the process holds,
/// measures how quickly messages come back, checks the recordings and clears them away, so that nothing grows
/// but by a fault.
class Soak {
  public:
    Soak(HostSimulator& simulator, const SoakSettings& settings);

    /// Called between the steps of the story; throws ModuleFault for a recording with a fault.
    void watch();
    /// Whether the story may end.
    [[nodiscard]] bool enough() const;
    void note_restart();

    /// The first and the last thousand operations beside each other.
    [[nodiscard]] std::string figures() const;

  private:
    using Times = std::vector<std::chrono::nanoseconds>;
    struct Sample {
        ProcessFigures process;
        std::uint64_t state_file_bytes = 0;  // the largest one
        std::uint64_t texts_held = 0;        // by a plug-in that has nothing to do
        std::chrono::nanoseconds duration{};
        Times idle;  // a message to a plug-in that has nothing to do
        Times busy;  // from the end of another message's work to the end of that of one that waited
    };

    [[nodiscard]] std::uint64_t ended() const;
    void probe();
    void check_recordings();

    HostSimulator& simulator_;
    SoakSettings settings_;
    std::uint64_t every_;  // operations between two samples
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point sample_begin_ = begin_;
    Sample current_;
    std::vector<Sample> samples_;
    Times closings_;
    std::uint64_t recordings_checked_ = 0;
};

}  // namespace recorder
