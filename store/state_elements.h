#pragma once

// The elements of the state file, which the journal contains too. docs/state-file.md describes them.

#include <tinyxml2.h>

#include <vector>

#include "plugin/interfaces/records.h"

namespace norvane::state {

/// Prints the records, which must be sorted by devices identifier: a Devices element for each identifier.
void print_records(tinyxml2::XMLPrinter& out, const std::vector<DisconnectRecord>& records,
                   bool with_channels);
/// Prints the element Operations, unless there are none.
void print_operations(tinyxml2::XMLPrinter& out, const std::vector<OperationState>& operations,
                      bool with_stages);

/// Appends the records of the parent's Devices elements. Throws std::invalid_argument with a fixed text after
/// a bad record; the records before it are kept. Without channels, each record has channel 0.
void load_records(const tinyxml2::XMLElement& parent, bool with_channels,
                  std::vector<DisconnectRecord>& records);
/// Appends the readable operations of the parent's element Operations.
void load_operations(const tinyxml2::XMLElement& parent, bool with_failures,
                     std::vector<OperationState>& operations);

}  // namespace norvane::state
