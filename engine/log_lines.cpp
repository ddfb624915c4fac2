#include "engine/log_lines.h"

#include <boost/uuid/uuid_io.hpp>
#include <utility>

#include "platform/calendar.h"

namespace norvane {
namespace {

std::string text(const Guid& guid) {
    return boost::uuids::to_string(guid);
}

std::string text(const DeviceKey& device) {
    return std::to_string(device.devices_id) + " " + std::to_string(device.number);
}

char digit(unsigned number) {
    return static_cast<char>('0' + number);
}

}  // namespace

std::string FormatUtcTime(Ticks instant) {
    const std::int64_t seconds = instant / platform::kTicksPerSecond;
    const auto utc = seconds < 0 ? std::nullopt : platform::utc_time(seconds);
    if (!utc) return std::to_string(seconds);
    std::string text = std::to_string(utc->year);
    for (const auto& [before, number] :
         {std::pair('-', utc->month), std::pair('-', utc->day), std::pair('T', utc->hour),
          std::pair(':', utc->minute), std::pair(':', utc->second)}) {
        text += {before, digit(number / 10), digit(number % 10)};
    }
    return text + 'Z';
}

namespace log_lines {

std::string load_failed(const char* reason) {
    return std::string("NorVane - Error '") + reason + "' reading Nor Vane persisted state.";
}

std::string save_failed(const char* reason) {
    return std::string("NorVane - Error '") + reason + "' writing Nor Vane persisted state.";
}

std::string creating(const Operation& operation) {
    return "NorVane - creating operation id " + text(operation.guid) + " for device " +
           text(operation.device);
}

std::string disconnect_during(const Operation& operation, bool is_current) {
    return std::string("NorVane - disconnect during ") + (is_current ? "current " : "") + "operation " +
           text(operation.guid) + " for device " + text(operation.device);
}

std::string requesting_storage_info(const Operation& operation) {
    return "NorVane - requesting device storage info for " + text(operation.device) + " from " +
           FormatUtcTime(operation.start_time) + " to " + FormatUtcTime(operation.end_time);
}

std::string requesting_reservation(const Operation& operation, std::uint32_t gigabytes) {
    return "NorVane - requesting disk space reservation of " + std::to_string(gigabytes) +
           " GB for operation " + text(operation.guid) + " device " + text(operation.device);
}

std::string requesting_recordings(const Operation& operation) {
    // No space follows "start time". Hosts rely on this text.
    return "NorVane - requesting recordings from " + text(operation.device) + " gap start time" +
           FormatUtcTime(operation.start_time) + " gap end time " + FormatUtcTime(operation.end_time);
}

std::string completed(const Operation& operation) {
    return "NorVane - retrieve operation " + text(operation.guid) + " for device " + text(operation.device) +
           " completed successfully.";
}

std::string failed(const Operation& operation, std::int32_t error_code) {
    return "NorVane - retrieve operation " + text(operation.guid) + " for device " + text(operation.device) +
           " completed with error " + std::to_string(error_code);
}

std::string retry_limit(const Operation& operation) {
    return "NorVane - operation " + text(operation.guid) + " for device " + text(operation.device) +
           " exceeded the retry limit.";
}

std::string no_answer(const Operation& operation, std::int32_t seconds) {
    return "NorVane - no answer about operation " + text(operation.guid) + " for device " +
           text(operation.device) + " within " + std::to_string(seconds) + " s.";
}

std::string unusable_answer(const Operation& operation, const std::string& reason) {
    return "NorVane - unusable answer about operation " + text(operation.guid) + " for device " +
           text(operation.device) + ": " + reason + ".";
}

std::string unusable_answer(const std::string& reason) {
    return "NorVane - unusable answer about an unknown operation: " + reason + ".";
}

std::string forgotten(const Operation& operation, std::int32_t days) {
    return "NorVane - operation " + text(operation.guid) + " for device " + text(operation.device) +
           " is dropped: its retries were used up " + std::to_string(days) + " days ago.";
}

std::string removed_during(const Operation& operation) {
    return "NorVane - operation " + text(operation.guid) + " ends, because device " + text(operation.device) +
           " was removed.";
}

std::string not_found(const Guid& guid) {
    return "NorVane - operation " + text(guid) + " not found.";
}

std::string not_found_for_reservation(const Guid& guid) {
    return "NorVane - operation " + text(guid) + " in disk space response was not found.";
}

}  // namespace log_lines
}  // namespace norvane
