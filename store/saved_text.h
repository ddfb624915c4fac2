#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "plugin/interfaces/records.h"

namespace norvane {

/// What a state file holds.
struct SavedLists {
    std::vector<DisconnectRecord> records;
    std::vector<Operation> operations;
};

/// The lists of a text that stands exactly as SaveState prints it, every value in its range: what nearly
/// every start finds, read without a document in a tenth of the time. Nothing for any other text, which may
/// still be a state file: the library tells.
[[nodiscard]] std::optional<SavedLists> read_saved(std::string_view text);

/// A GUID in its 36-character form, in either case, and in no other.
[[nodiscard]] std::optional<Guid> parse_guid(std::string_view text);

}  // namespace norvane
