#pragma once

// The cases of `validate`. Each file covers one subject and has a table of its cases.

#include <span>
#include <vector>

#include "tools/recorder/validate/case_fixture.h"

namespace recorder::validate {

/// A time zone with a clock change, in the form of TZ that every system reads. Its date differs from that of
/// UTC for some hours of each day.
inline constexpr const char* kZoneWithClockChange = "EST5EDT,M3.2.0,M11.1.0";
inline constexpr const char* kUtc = "UTC0";

/// One requirement for every build of the module. The body throws ModuleFault with its finding. It has its
/// own process and working directory.
struct Case {
    const char* name = nullptr;    // subject.case
    const char* checks = nullptr;  // one line for --list
    void (*body)(CaseFixture& fixture) = nullptr;
    const char* zone = kZoneWithClockChange;
};
using Cases = std::span<const Case>;

[[nodiscard]] Cases call_cases();
[[nodiscard]] Cases order_cases();
[[nodiscard]] Cases process_cases();
[[nodiscard]] Cases document_cases();
[[nodiscard]] Cases conversation_cases();
[[nodiscard]] Cases state_cases();
[[nodiscard]] Cases conversion_cases();

/// All cases, in the order above.
[[nodiscard]] std::vector<Case> all_cases();

/// Loads and unloads the library. The suite plays it before all others.
inline constexpr const char* kFirstCase = "module.load";

}  // namespace recorder::validate
