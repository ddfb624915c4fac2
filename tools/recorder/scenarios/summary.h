#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/reader/verify.h"
#include "tools/recorder/host/host_simulator.h"

namespace recorder {

/// Reads a recording back. Differences from the expected content are added to its faults.
[[nodiscard]] reader::Report read_back(const ExpectedRecording& recording);

/// A table for the terminal, with paths relative to the working directory. The middle of a long table is left
/// out.
[[nodiscard]] std::string summary_table(const std::vector<reader::Report>& reports,
                                        const std::filesystem::path& directory);

/// Prints all reports to standard output (docs/schemas/norvanepi-recorder.schema.json).
void print_json(const std::vector<reader::Report>& reports);

/// "operations: 3 created, 2 done, ..."
[[nodiscard]] std::string figures(const HostSimulator& simulator, std::uint32_t restarts,
                                  const std::vector<reader::Report>& reports);

}  // namespace recorder
