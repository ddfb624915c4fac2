#pragma once

#include <span>

#include "platform/bytes.h"

namespace platform {

/// Fills the span from the system's source of random bytes. Throws std::system_error where the system
/// refuses.
void fill_random(std::span<Byte> to);

}  // namespace platform
