#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/recorder/host/host_simulator.h"
#include "tools/recorder/host/process_figures.h"

namespace recorder {

/// Limits of a soak run; 0 means no limit.
struct SoakSettings {
    std::uint64_t operations = 0;  // finished
    std::uint32_t minutes = 0;

    [[nodiscard]] bool wanted() const { return operations > 0 || minutes > 0; }
};

/// Watches a long run. After every thousand operations it measures the resources of the process and the
/// response times, and checks and removes the recordings, so that only a fault makes anything grow.
class Soak {
  public:
    Soak(HostSimulator& simulator, const SoakSettings& settings);

    /// Called between two steps. Throws ModuleFault for a recording with a fault.
    void watch();
    /// True if a limit is reached.
    [[nodiscard]] bool enough() const;
    void add_restart();

    /// A table with the first and the last thousand operations and the maximum of all.
    [[nodiscard]] std::string figures() const;

  private:
    using Times = std::vector<std::chrono::nanoseconds>;
    struct Sample {
        ProcessFigures process;
        std::uint64_t state_file_bytes = 0;  // maximum
        std::uint64_t texts_held = 0;        // while the module is idle
        std::chrono::nanoseconds duration{};
        Times idle;  // from sending a message to its return while the module is idle
        Times busy;  // from the return of a long message to the return of a short one queued meanwhile
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
    Times close_durations_;
    std::uint64_t recordings_checked_ = 0;
};

}  // namespace recorder
