#pragma once

// Metrics about cameras as text. It is valid in OpenMetrics 1.0 and in the text format of Prometheus, which
// the node exporter's textfile collector reads: all metrics are gauges, and only OpenMetrics gives "# EOF" a
// meaning.

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "tools/ps/coverage/coverage.h"

namespace ps_tool {

/// What the module has still to fetch from one camera.
struct PendingWork {
    std::uint64_t open_gaps = 0;
    std::uint64_t operations = 0;  // that have not failed
    std::uint64_t failed_operations = 0;
};

struct MetricsInput {
    Coverage coverage;
    std::int64_t minimum_gap = 0;  // ms
    std::size_t unreadable = 0;    // inputs
    /// By clip id. Nothing without a state file.
    std::optional<std::map<std::string, PendingWork>> pending;
    bool state_fault = false;
    double duration = 0;       // of the check, in seconds
    std::int64_t checked = 0;  // when the check ended, in ms since 1970
};

/// The first bytes of the text.
inline constexpr const char* kMetricsStart = "# HELP norvanepi_";

[[nodiscard]] std::string metrics_text(const MetricsInput& input);

}  // namespace ps_tool
