#pragma once

#include <string>
#include <string_view>

namespace cli {

/// Encodes bytes in base64 (RFC 4648, section 4).
[[nodiscard]] std::string base64(std::string_view bytes);

}  // namespace cli
