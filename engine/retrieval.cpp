// How one operation is carried out with the host: storage information, reservation, recordings, clips, end or
// retry. Every step follows an event at once; nothing waits and nothing times out.

#include <utility>

#include "engine/log_lines.h"
#include "engine/nor_vane.h"

namespace norvane {
namespace {

/// A failed operation is retried while its attempts are at most this. Both a storage-info request and a
/// failure count one: an operation that fails each time is tried twice.
constexpr std::int32_t kMaxAttempts = 2;

/// Wraps instead of overflowing: the number may come from a state file that says anything.
void count_attempt(Operation& operation) {
    operation.attempts = static_cast<std::int32_t>(static_cast<std::uint32_t>(operation.attempts) + 1);
}

}  // namespace

/// Takes the first operation whose device is connected, whether or not a request of it is outstanding
/// already.
void CNorVane::StartNextOperation() {
    if (queue_.empty()) return;
    idle_ = true;  // until the request is out: one that fails must not keep the others waiting for ever
    const auto next = queue_.first_startable();
    if (!next) return;
    Operation& operation = queue_.at(*next);
    log_info(log_lines::requesting_storage_info(operation));
    server_.RequestStorageInfo(operation.guid, operation.device.devices_id, operation.device.number,
                               operation.start_time, operation.end_time);
    count_attempt(operation);
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
    Operation& operation = queue_.at(*position);
    log_error(log_lines::failed(operation, error_code));
    count_attempt(operation);
    if (operation.attempts <= kMaxAttempts) {
        // Clips before the failing one have been converted: only the rest is fetched again.
        operation.start_time = failed_clip_start;
        server_.ReleaseDiskReservation(operation.guid);
        StartNextOperation();
    } else {
        log_error(log_lines::retry_limit(operation));
        CompleteOperation(*position);
    }
}

/// The release is sent for every operation that ends, also when nothing was reserved.
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
