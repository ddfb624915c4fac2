#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/recorder/host/host_simulator.h"

namespace recorder {

/// What one process leaves to the next so that it can go on with the same story.
struct Handover {
    SimulatorState simulator;
    std::vector<Camera> cameras;
    Seconds time = 0;  // of the story
};

[[nodiscard]] std::string handover_text(const Handover& handover);

/// Throws cli::CannotRun for a text that is no handover.
[[nodiscard]] Handover handover_of(const std::string& text);

}  // namespace recorder
