#pragma once

#include <optional>
#include <string>

#include "plugin/interfaces/records.h"

namespace ps_tool {

/// What the module has still to fetch, as read from its state file or its journal.
struct StateContents {
    norvane::EngineState state;
    std::optional<platform::Ticks> alive;  // of a journal: its last sign of life
    bool journal = false;
    std::string fault;  // what is wrong with the file
};

/// Nothing if the file cannot be read.
[[nodiscard]] std::optional<StateContents> read_state(const std::string& path);

}  // namespace ps_tool
