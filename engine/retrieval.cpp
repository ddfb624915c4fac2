// The dialog with the host about one operation: storage information, reservation, recordings, clips, then the
// end or a retry. Each event is answered immediately. There are no timeouts.

#include <limits>
#include <utility>

#include "engine/log_lines.h"
#include "engine/nor_vane.h"

namespace norvane {
namespace {

/// The state file may contain any number, so the count stops at the largest one.
void count_attempt(Operation& operation) {
    if (operation.attempts < std::numeric_limits<std::int32_t>::max()) ++operation.attempts;
}

}  // namespace

/// Requests the storage information of the oldest operation whose device is connected, even if an earlier
/// request for it is still unanswered.
void CNorVane::StartNextOperation() {
    if (queue_.empty()) return;
    idle_ = true;  // stays true if the request throws; otherwise no later operation would start
    const auto next = queue_.first_startable();
    if (!next) return;
    const Operation& operation = queue_.at(*next);
    log_info(log_lines::requesting_storage_info(operation));
    server_.RequestStorageInfo(operation.guid, operation.device.devices_id, operation.device.number,
                               operation.start_time, operation.end_time);
    if (policy_.counts_requests()) queue_.update(*next, count_attempt);
    idle_ = false;
}

void CNorVane::OnStorageInfo(const Guid& guid, std::uint32_t gigabytes) {
    if (const auto position = queue_.find(guid)) {
        ReserveDiskSpace(queue_.at(*position), gigabytes);
    } else {
        log_error(log_lines::not_found(guid));
    }
}

void CNorVane::ReserveDiskSpace(const Operation& operation, std::uint32_t gigabytes) {
    log_info(log_lines::requesting_reservation(operation, gigabytes));
    server_.RequestDiskReservation(operation.guid, gigabytes);
}

void CNorVane::OnReservation(Guid guid, const platform::Path& temporary_directory,
                             const platform::Path& output_directory) {
    const auto position = queue_.find(guid);
    if (!position) {
        log_error(log_lines::not_found_for_reservation(guid));
        return;
    }
    const Operation& operation = queue_.at(*position);
    log_info(log_lines::requesting_recordings(operation));
    server_.RequestRecordings(operation.guid, operation.device.devices_id, operation.device.number,
                              operation.start_time, operation.end_time, temporary_directory,
                              output_directory);
}

void CNorVane::OnClipRetrieved(Guid guid, platform::Path clip_file, std::int32_t clip_type, Ticks start,
                               Ticks stop, std::int32_t /*input_number*/, std::string input_name) {
    const auto position = queue_.find(guid);
    if (!position) return;
    const Operation& operation = queue_.at(*position);
    server_.ConvertClip(operation.guid, operation.device.devices_id, operation.device.number,
                        std::move(clip_file), std::move(input_name), start, stop, clip_type);
}

void CNorVane::OnRetrievalDone(Guid guid) {
    const auto position = queue_.find(guid);
    if (!position) {
        server_.LogInfo(log_lines::kUnknownDone);
        return;
    }
    log_info(log_lines::completed(queue_.at(*position)));
    CompleteOperation(*position);
}

void CNorVane::OnRetrievalFailed(Guid guid, std::int32_t error_code, Ticks failed_clip_start) {
    const auto position = queue_.find(guid);
    if (!position) {
        server_.LogInfo(log_lines::kUnknownFailed);
        return;
    }
    const Operation& operation = queue_.at(*position);
    log_error(log_lines::failed(operation, error_code));
    queue_.update(*position, count_attempt);
    if (!policy_.is_exhausted(operation.attempts)) {
        const Ticks start = policy_.retry_start(operation, failed_clip_start);
        queue_.update(*position, [start](Operation& retried) { retried.start_time = start; });
        server_.ReleaseDiskReservation(operation.guid);
        StartNextOperation();
    } else {
        log_error(log_lines::retry_limit(operation));
        CompleteOperation(*position);
    }
}

/// Sends the release for every operation that ends, even if nothing was reserved.
void CNorVane::CompleteOperation(Position position) {
    server_.ReleaseDiskReservation(queue_.at(position).guid);
    queue_.remove(position);
    if (!queue_.empty()) {
        StartNextOperation();
        return;
    }
    idle_ = true;
    server_.ReportStatus(kStatusAllDone, clock_.now());
    server_.LogInfo(log_lines::kAllDone);
}

}  // namespace norvane
