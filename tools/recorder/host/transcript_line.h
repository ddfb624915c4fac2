#pragma once

#include <chrono>
#include <string>

#include "tools/recorder/host/conversation.h"

namespace recorder {

/// One message as a line of JSON, without the line break. If the text is not valid UTF-8, the line contains
/// replacement characters and also the original bytes in base64.
[[nodiscard]] std::string transcript_line(const SentMessage& message,
                                          std::chrono::system_clock::time_point at);
[[nodiscard]] std::string transcript_line(const ReceivedMessage& message, const std::string& kind);

}  // namespace recorder
