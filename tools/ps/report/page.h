#pragma once

#include <string>

#include "tools/cli/json_list.h"

namespace ps_tool {

/// The complete page. It neither needs nor allows network access. Its content security policy names the
/// script and the style by their hashes, so a camera's name cannot inject code.
[[nodiscard]] std::string report_page(const cli::Json& document);

}  // namespace ps_tool
