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
    if (policy_.follows_requests()) request_ = {*next, 0};
    await(*next, Stage::kStorageInfo);
    idle_ = false;
}

void CNorVane::OnStorageInfo(const Guid& guid, std::uint32_t gigabytes) {
    if (const auto position = queue_.find(guid)) {
        ReserveDiskSpace(queue_.at(*position), gigabytes);
        await(*position, Stage::kReservation);
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
    await(*position, Stage::kRecordings);
}

void CNorVane::OnClipRetrieved(Guid guid, platform::Path clip_file, std::int32_t clip_type, Ticks start,
                               Ticks stop, std::int32_t /*input_number*/, std::string input_name) {
    const auto position = queue_.find(guid);
    if (!position) return;
    const Operation& operation = queue_.at(*position);
    server_.ConvertClip(operation.guid, operation.device.devices_id, operation.device.number,
                        std::move(clip_file), std::move(input_name), start, stop, clip_type);
    await(*position, Stage::kRecordings);  // the conversion may have taken longer than the timeout
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
    fail(*position, {.reason = FailureReason::kReported, .error_code = error_code},
         policy_.retry_start(operation, failed_clip_start));
}

bool CNorVane::OnUnusableAnswer(const std::optional<Guid>& guid, const std::string& reason) {
    if (options_.request_timeout <= 0) return false;
    const auto position = guid ? queue_.find(*guid) : std::nullopt;
    log_error(position ? log_lines::unusable_answer(queue_.at(*position), reason)
                       : log_lines::unusable_answer(reason));
    if (position && is_current(*position))
        fail(*position, {.reason = FailureReason::kUnusableAnswer}, queue_.at(*position).start_time);
    return true;
}

void CNorVane::OnTick(Ticks now) {
    if (!policy_.follows_requests()) return;
    forget_failed();
    queue_.end_holds(now);
    if (request_ && request_->deadline <= now) {
        const Position unanswered = request_->operation;
        const Operation& operation = queue_.at(unanswered);
        log_error(log_lines::no_answer(operation, options_.request_timeout));
        fail(unanswered, {.reason = FailureReason::kNoAnswer}, operation.start_time);
    }
    StartNextOperation();
}

/// Counts a failure. The operation is retried, at once or later, or has used its retries.
void CNorVane::fail(Position position, const Failure& failure, Ticks retry_start) {
    end_request(position);
    const OperationState& operation = queue_.at(position);
    queue_.update(position, [&](OperationState& failed) {
        failed.start_time = retry_start;
        failed.failure = {failure.reason, failure.error_code, failed.failure.since};
        count_attempt(failed);
    });
    if (policy_.is_exhausted(operation.attempts)) {
        log_error(log_lines::retry_limit(operation));
        policy_.keeps_failed() ? keep_failed(position) : CompleteOperation(position);
        return;
    }
    // An operation whose request the host did not understand or answer lets others go first.
    const bool others_first = failure.reason != FailureReason::kReported;
    if (const auto delay = policy_.delay(operation.attempts, others_first))
        queue_.hold(position, clock_.steady() + *delay);
    server_.ReleaseDiskReservation(operation.guid);
    StartNextOperation();
}

/// The operation counts as failed until the next start. What the host still reports about it takes effect.
void CNorVane::keep_failed(Position position) {
    const OperationState& operation = queue_.at(position);
    queue_.set_failed(position, operation.failure.since != 0 ? operation.failure.since : clock_.now());
    server_.ReleaseDiskReservation(operation.guid);
    CompleteRemaining();
}

void CNorVane::forget_failed() {
    while (const auto failed = queue_.first_failed()) {
        const OperationState& operation = queue_.at(*failed);
        if (!policy_.is_forgotten(operation.failure, clock_.now())) return;
        log_error(log_lines::forgotten(operation, options_.failed_for));
        queue_.remove(*failed);
    }
}

/// The next answer that the operation waits for. After each answer the host has the whole time again.
void CNorVane::await(Position position, Stage answer) {
    if (!request_ || request_->operation != position) return;
    request_->deadline = policy_.deadline(clock_.steady());
    queue_.update(position, [answer](OperationState& operation) { operation.stage = answer; });
}

void CNorVane::end_request(Position position) {
    if (!request_ || request_->operation != position) return;
    request_.reset();
    queue_.update(position, [](OperationState& operation) { operation.stage = Stage::kTurn; });
}

/// Sends the release for every operation that ends, even if nothing was reserved.
void CNorVane::CompleteOperation(Position position) {
    end_request(position);
    server_.ReleaseDiskReservation(queue_.at(position).guid);
    const bool was_pending = queue_.at(position).stage != Stage::kNextStart;
    queue_.remove(position);
    if (was_pending) CompleteRemaining();
}

void CNorVane::CompleteRemaining() {
    if (!queue_.empty()) {
        StartNextOperation();
        return;
    }
    idle_ = true;
    server_.ReportStatus(kStatusAllDone, clock_.now());
    server_.LogInfo(log_lines::kAllDone);
}

}  // namespace norvane
