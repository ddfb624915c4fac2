#pragma once

// The texts that the engine logs. Hosts and operators search for them, so their spelling must not change.

#include <string>

#include "plugin/interfaces/records.h"

namespace norvane {

/// Formats as "2018-06-01T10:00:00Z". An instant before 1970 becomes its signed number of seconds.
[[nodiscard]] std::string FormatUtcTime(Ticks instant);

namespace log_lines {

inline constexpr const char* kLoading = "NorVane - reading saved state and loading.";
inline constexpr const char* kUnloading = "NorVane - saving state and unloading.";
inline constexpr const char* kStarting = "NorVane - operation starting.";
inline constexpr const char* kAllDone = "NorVane - all operations completed successfully.";
inline constexpr const char* kUnknownDone = "NorVane - done signal for unknown operation.";
inline constexpr const char* kUnknownFailed = "NorVane - operation failed received for unknown operation.";

[[nodiscard]] std::string load_failed(const char* reason);
[[nodiscard]] std::string save_failed(const char* reason);
[[nodiscard]] std::string creating(const Operation& operation);
[[nodiscard]] std::string disconnect_during(const Operation& operation, bool is_current);
[[nodiscard]] std::string requesting_storage_info(const Operation& operation);
[[nodiscard]] std::string requesting_reservation(const Operation& operation, std::uint32_t gigabytes);
[[nodiscard]] std::string requesting_recordings(const Operation& operation);
[[nodiscard]] std::string completed(const Operation& operation);
[[nodiscard]] std::string failed(const Operation& operation, std::int32_t error_code);
[[nodiscard]] std::string retry_limit(const Operation& operation);
[[nodiscard]] std::string no_answer(const Operation& operation, std::int32_t seconds);
[[nodiscard]] std::string unusable_answer(const Operation& operation, const std::string& reason);
[[nodiscard]] std::string unusable_answer(const std::string& reason);
[[nodiscard]] std::string forgotten(const Operation& operation, std::int32_t days);
[[nodiscard]] std::string removed_during(const Operation& operation);
[[nodiscard]] std::string not_found(const Guid& guid);
[[nodiscard]] std::string not_found_for_reservation(const Guid& guid);

}  // namespace log_lines
}  // namespace norvane
