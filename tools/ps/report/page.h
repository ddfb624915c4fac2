#pragma once

#include <string>

#include "tools/cli/json_list.h"

namespace ps_tool {

/// The whole page: one file that needs no network and allows none. Its policy names script and style by their
/// hashes, so that nothing else runs, whatever a camera calls itself.
[[nodiscard]] std::string report_page(const cli::Json& document);

}  // namespace ps_tool
