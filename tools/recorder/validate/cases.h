#pragma once

// The cases of `validate`. Each file covers one subject and has a table of its cases.

#include <span>
#include <vector>

#include "tools/recorder/validate/case_fixture.h"

namespace recorder::validate {

/// One requirement for every build of the module. The body throws ModuleFault with its finding. It has its
/// own process and working directory.
struct Case {
    const char* name;    // subject.case
    const char* checks;  // one line for --list
    void (*body)(CaseFixture& fixture);
};
using Cases = std::span<const Case>;

[[nodiscard]] Cases call_cases();
[[nodiscard]] Cases document_cases();
[[nodiscard]] Cases conversation_cases();
[[nodiscard]] Cases state_cases();
[[nodiscard]] Cases conversion_cases();

/// All cases, in the order above.
[[nodiscard]] std::vector<Case> all_cases();

}  // namespace recorder::validate
