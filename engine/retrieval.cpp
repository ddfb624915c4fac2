// The dialog with the host about one operation: storage information, reservation, recordings, clips, then the
// end or a retry. Each event is answered immediately. There are no timeouts by default.

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

/// Requests the storage information of the oldest operation whose device is connected. By default even if an
/// earlier request is still unanswered.
void CNorVane::StartNextOperation() {
    if (queue_.empty() || request_) return;
    idle_ = true;  // stays true if the request throws; otherwise no later operation would start
    const auto next = queue_.first_startable();
    if (!next) return;
    const Operation& operation = queue_.at(*next);
    log_info(log_lines::requesting_storage_info(operation));
    server_.RequestStorageInfo(operation.guid, operation.device.devices_id, operation.device.number,
                               operation.start_time, operation.end_time);
    if (policy_.counts_requests()) queue_.update(*next, count_attempt);
    if (policy_.follows_requests()) request_ = {*next, policy_.deadline(clock_.steady())};
    idle_ = false;
}

void CNorVane::OnStorageInfo(const Guid& guid, std::uint32_t gigabytes) {
    if (const auto position = queue_.find(guid)) {
        ReserveDiskSpace(queue_.at(*position), gigabytes);
        renew_deadline(*position);
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
    renew_deadline(*position);
}

void CNorVane::OnClipRetrieved(Guid guid, platform::Path clip_file, std::int32_t clip_type, Ticks start,
                               Ticks stop, std::int32_t /*input_number*/, std::string input_name) {
    const auto position = queue_.find(guid);
    if (!position) return;
    const Operation& operation = queue_.at(*position);
    server_.ConvertClip(operation.guid, operation.device.devices_id, operation.device.number,
                        std::move(clip_file), std::move(input_name), start, stop, clip_type);
    renew_deadline(*position);  // the conversion may have taken longer than the timeout
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
    if (queue_.is_on_hold(*position)) return;  // a late report about a request that has failed already
    fail(*position, policy_.retry_start(operation, failed_clip_start), false);
}

bool CNorVane::OnUnusableAnswer(const std::optional<Guid>& guid, const std::string& reason) {
    if (!policy_.follows_requests()) return false;
    const auto position = guid ? queue_.find(*guid) : std::nullopt;
    log_error(position ? log_lines::unusable_answer(queue_.at(*position), reason)
                       : log_lines::unusable_answer(reason));
    if (position && is_current(*position)) fail(*position, queue_.at(*position).start_time, true);
    return true;
}

void CNorVane::OnTick(Ticks now) {
    queue_.end_holds(now);
    if (request_ && request_->deadline <= now) {
        const Position unanswered = request_->operation;
        const Operation& operation = queue_.at(unanswered);
        log_error(log_lines::no_answer(operation, options_.request_timeout));
        fail(unanswered, operation.start_time, true);
    }
    StartNextOperation();
}

/// Counts a failure. The operation is retried, at once or after the turn of the others, or dropped.
void CNorVane::fail(Position position, Ticks retry_start, bool others_first) {
    const Operation& operation = queue_.at(position);
    queue_.update(position, [retry_start](Operation& failed) {
        failed.start_time = retry_start;
        count_attempt(failed);
    });
    if (policy_.is_exhausted(operation.attempts)) {
        log_error(log_lines::retry_limit(operation));
        CompleteOperation(position);
        return;
    }
    end_request(position);
    if (others_first) queue_.hold(position, clock_.steady());
    server_.ReleaseDiskReservation(operation.guid);
    StartNextOperation();
}

void CNorVane::end_request(Position position) {
    if (request_ && request_->operation == position) request_.reset();
}

/// After each answer the host has the whole time again.
void CNorVane::renew_deadline(Position position) {
    if (request_ && request_->operation == position) request_->deadline = policy_.deadline(clock_.steady());
}

/// Sends the release for every operation that ends, even if nothing was reserved.
void CNorVane::CompleteOperation(Position position) {
    end_request(position);
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
