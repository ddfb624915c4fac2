#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/reader/verify.h"
#include "tools/recorder/host/host_simulator.h"

namespace recorder {

/// A recording read back, with what it should have shown added to its faults.
[[nodiscard]] reader::Report read_back(const ExpectedRecording& recording);

/// The closing table for a person, with paths below the working directory; a long one is cut in the middle.
[[nodiscard]] std::string summary_table(const std::vector<reader::Report>& reports,
                                        const std::filesystem::path& directory);

/// The same as JSON, whole.
[[nodiscard]] std::string summary_json(const std::vector<reader::Report>& reports);

/// "operations: 3 made, 2 done, ..."
[[nodiscard]] std::string figures(const HostSimulator& simulator, std::uint32_t restarts,
                                  const std::vector<reader::Report>& reports);

}  // namespace recorder
