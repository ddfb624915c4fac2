#pragma once

#include <string>

namespace bench {

/// The least that any program does: every byte once through memory, into a new file.
void plain_copy(const std::string& from, const std::string& to);

/// How much at once.
inline constexpr std::size_t kCopyWindow = 262'144;

}  // namespace bench
