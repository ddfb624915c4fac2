#pragma once

// Builds the documents that the module sends. docs/messages.md shows them.

#include <tinyxml2.h>

#include <cstdint>
#include <functional>

#include "platform/text.h"
#include "plugin/interfaces/records.h"

namespace documents {

/// Sends a finished document with its message class (names.h).
using Send = std::function<void(const tinyxml2::XMLDocument&, std::uint32_t)>;

/// A storage command to a device for an interval.
struct DeviceStorageCommand {
    norvane::Guid guid{};
    norvane::DeviceKey device;
    norvane::Ticks start = 0;
    norvane::Ticks stop = 0;
};

void fill_registration(tinyxml2::XMLDocument& document);
void fill_features(tinyxml2::XMLDocument& document);
void fill_storage_info_request(tinyxml2::XMLDocument& document, const DeviceStorageCommand& command);
void fill_recordings_request(tinyxml2::XMLDocument& document, const DeviceStorageCommand& command,
                             const platform::Path& temporary_directory);
void fill_reservation_request(tinyxml2::XMLDocument& document, const norvane::Guid& guid,
                              std::uint32_t gigabytes);
void fill_reservation_release(tinyxml2::XMLDocument& document, const norvane::Guid& guid);
void fill_status(tinyxml2::XMLDocument& document, std::int32_t status, norvane::Ticks now);

/// level is kLogInformation or kLogError; the text is NUL-terminated.
void fill_log_message(tinyxml2::XMLDocument& document, std::int32_t level, const char* text);

}  // namespace documents
