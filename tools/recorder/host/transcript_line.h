#pragma once

#include <chrono>
#include <string>

#include "tools/recorder/host/conversation.h"

namespace recorder {

/// One message as a line of JSON, without the line break. Bytes that are no UTF-8 are shown replaced; the raw
/// text then stands beside them in base64.
[[nodiscard]] std::string transcript_line(const SentMessage& message,
                                          std::chrono::system_clock::time_point at);
[[nodiscard]] std::string transcript_line(const ReceivedMessage& message, const std::string& kind);

}  // namespace recorder
