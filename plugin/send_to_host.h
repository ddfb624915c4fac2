#pragma once

#include <tinyxml2.h>

#include <cstdint>
#include <initializer_list>

#include "plugin/interfaces/host_records.h"

/// The host's callback, module-wide from Load on; null sends nothing. Any thread may ask.
void set_host_callback(host_records::HostCallback callback) noexcept;

/// Prints the document and hands it to the host with the message class (names.h). Synchronous; whether the
/// host took it is not asked.
void SendToHost(const tinyxml2::XMLDocument& document, std::uint32_t message_class);

/// A log message of the given level (names.h).
void LogToHost(std::int32_t level, const char* text);

/// An error line put together from pieces, where nothing may be thrown: without memory for it the line is
/// lost.
void try_log_error(std::initializer_list<const char*> pieces) noexcept;

/// Outcome of a release as the host's callback and its reply give it.
struct ReleaseOutcome {
    std::int32_t returned = 0;
    std::int32_t result = 0;
};

/// Tells the host that its buffer is no longer used.
[[nodiscard]] ReleaseOutcome RequestRelease(const char* text);
