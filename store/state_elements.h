#pragma once

// The elements of the state file, which the journal contains too. docs/state-file.md describes them.

#include <tinyxml2.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "plugin/interfaces/records.h"

namespace norvane::state {

/// Prints the records, which must be sorted by devices identifier: a Devices element for each identifier.
void print_records(tinyxml2::XMLPrinter& out, const std::vector<DisconnectRecord>& records,
                   bool with_channels);
/// Prints the element Operations, unless there are none.
void print_operations(tinyxml2::XMLPrinter& out, const std::vector<OperationState>& operations,
                      bool with_stages);

/// What a bad record causes.
enum class BadRecord : std::uint8_t {
    kEndsLoad,   // std::invalid_argument with a fixed text; also for a number or a time below 1
    kIsSkipped,  // only that record is missing; everything that print_records writes is good
};

/// Appends the records of the parent's Devices elements. Those before an exception are kept. Without
/// channels, each record has channel 0. Returns the number of skipped elements.
std::size_t load_records(const tinyxml2::XMLElement& parent, bool with_channels, BadRecord bad,
                         std::vector<DisconnectRecord>& records);
/// Appends the readable operations of the parent's element Operations. Returns the number of the others.
std::size_t load_operations(const tinyxml2::XMLElement& parent, bool with_failures,
                            std::vector<OperationState>& operations);

}  // namespace norvane::state
