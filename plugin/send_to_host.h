#pragma once

#include <tinyxml2.h>

#include <cstdint>
#include <initializer_list>

#include "plugin/interfaces/host_records.h"

/// Sets the callback for the whole module. With null, nothing is sent. Any thread may call this.
void set_host_callback(host_records::HostCallback callback) noexcept;

/// Prints the document and passes it to the host's callback with a message class of names.h. Returns after
/// the callback, whose result is ignored.
void SendToHost(const tinyxml2::XMLDocument& document, std::uint32_t message_class);

/// Sends a log message of the given level (plugin/interfaces/records.h).
void LogToHost(std::int32_t level, const char* text);

/// Sends the concatenated pieces as one error log message. Does not throw: if that fails, the message is
/// lost.
void try_log_error(std::initializer_list<const char*> pieces) noexcept;

/// How the host answered a release. Both values are 0 for success.
struct ReleaseOutcome {
    std::int32_t returned = 0;  // return value of the callback
    std::int32_t result = 0;    // of the HostReply
};

/// Releases a host's text. Afterwards the module must not access it.
[[nodiscard]] ReleaseOutcome RequestRelease(const char* text);
