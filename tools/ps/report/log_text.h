#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "plugin/interfaces/records.h"
#include "tools/ps/coverage/timeline.h"

namespace ps_tool {

/// What a log text of the module says about lost time.
struct LogText {
    enum class Kind : std::uint8_t {
        kOther,        // nothing
        kCreated,      // an operation exists, because a channel has returned
        kInterrupted,  // a channel was lost during an operation
        kRequested,    // storage information or recordings of an interval
        kReserved,     // disk space was requested
        kDone,
        kFailed,
        kGivenUp,      // the operation, after its failures
        kAllDone,      // no operation is left
        kClipOpened,   // the following texts are about this clip
        kClipRefused,  // or its conversion stopped early
    };
    Kind kind = Kind::kOther;
    std::string guid = {};  // of the operation, or empty
    std::optional<norvane::DeviceKey> device = {};
    Interval requested = {};  // a time that is not known is 0
    std::string clip = {};    // path, or empty
    std::string reason = {};  // of kFailed, kGivenUp and kClipRefused
};

/// Nothing if the module does not log such a text.
[[nodiscard]] std::optional<LogText> parse_log_text(std::string_view text);

/// Where a text of the module begins in a line of a host's log, or nothing.
[[nodiscard]] std::optional<std::string_view> find_log_text(std::string_view line);

/// A GUID in the module's form. Empty for a text that is not a GUID.
[[nodiscard]] std::string canonical_guid(std::string_view text);

}  // namespace ps_tool
