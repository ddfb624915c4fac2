#pragma once

#include <array>

#include "platform/random.h"
#include "plugin/interfaces/records.h"

namespace norvane {

/// Random GUIDs of version 4 (RFC 4122, 4.4). Asks the system for the bytes of several at once: a call for
/// each one would cost a quarter of the message that needs it.
class GuidSource {
  public:
    /// Throws std::system_error where the system refuses random bytes; the next call asks again.
    [[nodiscard]] Guid next();

  private:
    static constexpr std::size_t kAtOnce = 32;

    std::array<platform::Byte, kAtOnce * sizeof(Guid)> stock_{};
    std::size_t left_ = 0;  // GUIDs whose bytes are still unused, at the front of the stock
};

}  // namespace norvane
