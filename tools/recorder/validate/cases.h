#pragma once

// The cases of the conformance suite: a file a subject, each with a table like these.

#include <span>
#include <vector>

#include "tools/recorder/validate/trial.h"

namespace recorder::validate {

/// One thing that every build of the module has to do. The body throws ModuleFault with what it found; it has
/// a process and a working directory of its own.
struct Case {
    const char* name;    // subject.case
    const char* checks;  // a line for the list
    void (*body)(Trial& trial);
};
using Cases = std::span<const Case>;

[[nodiscard]] Cases record_cases();
[[nodiscard]] Cases order_cases();
[[nodiscard]] Cases buffer_cases();
[[nodiscard]] Cases document_cases();
[[nodiscard]] Cases conversation_cases();
[[nodiscard]] Cases state_cases();
[[nodiscard]] Cases conversion_cases();

/// All of them, in that order.
[[nodiscard]] std::vector<Case> all_cases();

}  // namespace recorder::validate
