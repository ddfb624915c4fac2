#include "tools/model/reference_engine.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <boost/uuid/uuid_io.hpp>
#include <cmath>
#include <exception>
#include <limits>
#include <tuple>

using namespace norvane;
using boost::uuids::to_string;
using fmt::format;

namespace model {
namespace {

constexpr Ticks kBeforeLoss = 10 * platform::kTicksPerSecond;
constexpr Ticks kDay = 86'400 * platform::kTicksPerSecond;

std::string text(Ticks instant) {
    return utc_text(instant / platform::kTicksPerSecond);
}
std::string text(const DeviceKey& device) {
    return format("{} {}", device.devices_id, device.number);
}
std::string text(const Operation& operation) {
    return to_string(operation.guid) + " for device " + text(operation.device);
}

DeviceKey key(std::int32_t devices_id, std::int32_t number) {
    return {static_cast<std::uint32_t>(devices_id), static_cast<std::uint32_t>(number)};
}
ChannelKey channel_zero(const DeviceKey& device) {
    return {.device_number = device.number, .devices_id = device.devices_id};
}

/// Stops at the largest number, because a state file may contain any.
void count_attempt(Operation& operation) {
    operation.attempts += operation.attempts < std::numeric_limits<std::int32_t>::max() ? 1 : 0;
}

bool on_hold(const TrackedOperation& operation) {
    return operation.stage == Stage::kRetry || operation.stage == Stage::kNextStart;
}

template <typename Key>
bool erase_first(std::vector<Key>& keys, const Key& key) {
    const auto found = std::ranges::find(keys, key);
    return found != keys.end() && (keys.erase(found), true);
}

}  // namespace

std::string utc_text(std::int64_t seconds) {
    if (seconds < 0) return std::to_string(seconds);
    return format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(static_cast<std::time_t>(seconds)));
}

ReferenceEngine::ReferenceEngine(ITalServer& server, IPersistentStore& store, const platform::Clock& clock,
                                 const Options& options)
    : server_(server), store_(store), clock_(clock), options_(options) {
    info("reading saved state and loading.");
    EngineState saved;
    std::string problem;
    try {
        store_.LoadEngineState(saved);
    } catch (const std::exception& fault) {
        problem = fault.what();
    }
    adopt(saved);
    try {
        EngineState nothing;
        if (problem.empty()) store_.SaveEngineState(nothing);
    } catch (const std::exception& fault) {
        problem = fault.what();
    }
    if (!problem.empty()) error(format("Error '{}' reading Nor Vane persisted state.", problem));
}

void ReferenceEngine::adopt(const EngineState& saved) {
    for (const DisconnectRecord& loss : saved.gaps) {
        const auto same = std::ranges::find(losses_, loss.channel, &DisconnectRecord::channel);
        if (options_.channels && same != losses_.end()) {
            same->time = std::min(same->time, loss.time);
        } else {
            losses_.push_back(loss);
        }
    }
    for (const OperationState& operation : saved.operations) {
        const bool had_failed = operation.failure.since != 0;
        if (had_failed && failed_too_long_ago(operation.failure)) {
            forget(operation);
            continue;
        }
        operations_.push_back({operation, next_number_++});
        if (!had_failed) continue;
        operations_.back().attempts = 0;
        operations_.back().delay_end = clock_.steady();
        operations_.back().stage = Stage::kRetry;
    }
}

ReferenceEngine::~ReferenceEngine() {
    info("saving state and unloading.");
    if (options_.channels) std::ranges::sort(connected_);
    for (const ChannelKey& channel : connected_) losses_.push_back({store_.CurrentTime(), channel});
    EngineState state{.gaps = losses_, .operations = {operations_.begin(), operations_.end()}};
    try {
        store_.SaveEngineState(state);
    } catch (const std::exception& fault) {
        error(format("Error '{}' writing Nor Vane persisted state.", fault.what()));
    }
}

void ReferenceEngine::OnDeviceSupported(std::int32_t devices_id, std::int32_t number) {
    const DeviceKey device = key(devices_id, number);
    if (std::ranges::count(supported_, device) == 0) supported_.push_back(device);
}

void ReferenceEngine::OnDeviceRemoved(std::int32_t devices_id, std::int32_t number) {
    const DeviceKey device = key(devices_id, number);
    erase_first(supported_, device);
    if (options_.channels) {
        forget_channels(device);
    } else if (!erase_first(connected_, channel_zero(device))) {
        const auto loss = std::ranges::find(losses_, channel_zero(device), &DisconnectRecord::channel);
        if (loss != losses_.end()) losses_.erase(loss);
    }
    const auto operation = waiting();
    if (operation == operations_.end() || operation->device != device) return;
    error(format("operation {} ends, because device {} was removed.", to_string(operation->guid),
                 text(device)));
    end(operation);
}

void ReferenceEngine::forget_channels(const DeviceKey& device) {
    std::erase_if(connected_, [&](const ChannelKey& channel) { return channel.device() == device; });
    std::erase_if(losses_, [&](const DisconnectRecord& loss) { return loss.channel.device() == device; });
}

void ReferenceEngine::connect(const ChannelKey& channel) {
    if (!options_.channels) return connected_.push_back(channel_zero(channel.device()));
    if (std::ranges::count(connected_, channel) == 0) connected_.push_back(channel);
}

void ReferenceEngine::OnChannelState(const ChannelKey* channel, std::int32_t state, const void* /*unused*/,
                                     Ticks time) {
    if (std::ranges::count(supported_, channel->device()) == 0) return;
    const auto loss = std::ranges::find(losses_, *channel, &DisconnectRecord::channel);
    if (loss != losses_.end()) {
        if (state == kConnected) channel_returned(loss, time);
    } else if (state == kDisconnected) {
        channel_lost(*channel, time);
    } else if (state == kConnected) {
        connect(*channel);
    }
}

void ReferenceEngine::channel_returned(std::vector<DisconnectRecord>::iterator loss, Ticks time) {
    if (!has_pending()) {
        info("operation starting.");
        server_.ReportStarted(clock_.now());
    }
    const DeviceKey device = loss->channel.device();
    const Operation operation{device, server_.GenerateGuid(), loss->time, time, 0};
    operations_.push_back({{operation}, next_number_++});
    info("creating operation id " + text(operation));
    connect(loss->channel);
    losses_.erase(loss);
    if (idle_) start_next();
}

void ReferenceEngine::channel_lost(const ChannelKey& channel, Ticks time) {
    const auto of_device = [&](const Operation& operation) { return operation.device == channel.device(); };
    auto operation = waiting();
    if (operation == operations_.end() || !of_device(*operation)) operation = first(of_device);
    // By GUID: a state file may name one operation several times.
    const bool is_current = operation != operations_.end() &&
                            (waits() ? operation == waiting() : operation->guid == operations_.front().guid);
    if (operation != operations_.end())
        info(format("disconnect during {}operation {}", is_current ? "current " : "", text(*operation)));
    erase_first(connected_, options_.channels ? channel : channel_zero(channel.device()));
    losses_.push_back({time - kBeforeLoss, channel});
    if (!is_current) return;
    waiting_.reset();
    start_next();
}

template <typename Predicate>
ReferenceEngine::Position ReferenceEngine::first(Predicate predicate) {
    const auto turn = [](const TrackedOperation& operation) {
        return std::tuple(operation.is_retry, operation.is_retry ? operation.delay_end : 0, operation.number);
    };
    auto found = operations_.end();
    for (auto at = operations_.begin(); at != operations_.end(); ++at) {
        if (on_hold(*at) || !predicate(*at)) continue;
        if (found == operations_.end() || turn(*at) < turn(*found)) found = at;
    }
    return found;
}

ReferenceEngine::Position ReferenceEngine::waiting() {
    if (!waiting_) return operations_.end();
    return std::ranges::find(operations_, *waiting_, &TrackedOperation::number);
}

bool ReferenceEngine::has_pending() const {
    return !std::ranges::all_of(
        operations_, [](Stage stage) { return stage == Stage::kNextStart; }, &TrackedOperation::stage);
}

void ReferenceEngine::start_next() {
    if (!has_pending() || waiting_) return;
    const auto next = first([&](const Operation& operation) {
        return std::ranges::count(connected_, operation.device, &ChannelKey::device) > 0;
    });
    idle_ = next == operations_.end();
    if (idle_) return;
    info(format("requesting device storage info for {} from {} to {}", text(next->device),
                text(next->start_time), text(next->end_time)));
    server_.RequestStorageInfo(next->guid, next->device.devices_id, next->device.number, next->start_time,
                               next->end_time);
    if (!options_.attempts) count_attempt(*next);
    if (waits()) waiting_ = next->number;
    answered(*next);
}

/// The host has the whole time again.
void ReferenceEngine::answered(const TrackedOperation& operation) {
    if (waiting_ != operation.number) return;
    deadline_ = options_.request_timeout > 0 ? clock_.steady() + platform::ticks_of(options_.request_timeout)
                                             : std::numeric_limits<Ticks>::max();
}

void ReferenceEngine::OnStorageInfo(const Guid& guid, std::uint32_t gigabytes) {
    const auto operation = find(guid);
    if (operation == operations_.end()) return error(format("operation {} not found.", to_string(guid)));
    info(format("requesting disk space reservation of {} GB for operation {} device {}", gigabytes,
                to_string(guid), text(operation->device)));
    server_.RequestDiskReservation(guid, gigabytes);
    answered(*operation);
}

void ReferenceEngine::OnReservation(Guid guid, const platform::Path& temporary,
                                    const platform::Path& output) {
    const auto operation = find(guid);
    if (operation == operations_.end())
        return error(format("operation {} in disk space response was not found.", to_string(guid)));
    const DeviceKey device = operation->device;
    info(format("requesting recordings from {} gap start time{} gap end time {}", text(device),
                text(operation->start_time), text(operation->end_time)));
    server_.RequestRecordings(guid, device.devices_id, device.number, operation->start_time,
                              operation->end_time, temporary, output);
    answered(*operation);
}

void ReferenceEngine::OnClipRetrieved(Guid guid, platform::Path clip_file, std::int32_t clip_type,
                                      Ticks start, Ticks stop, std::int32_t /*input_number*/,
                                      std::string input_name) {
    const auto operation = find(guid);
    if (operation == operations_.end()) return;
    server_.ConvertClip(guid, operation->device.devices_id, operation->device.number, clip_file, input_name,
                        start, stop, clip_type);
    answered(*operation);
}

void ReferenceEngine::OnRetrievalDone(Guid guid) {
    const auto operation = find(guid);
    if (operation == operations_.end()) return info("done signal for unknown operation.");
    info("retrieve operation " + text(*operation) + " completed successfully.");
    end(operation);
}

void ReferenceEngine::OnRetrievalFailed(Guid guid, std::int32_t error_code, Ticks failed_clip_start) {
    const auto operation = find(guid);
    if (operation == operations_.end()) return info("operation failed received for unknown operation.");
    error(format("retrieve operation {} completed with error {}", text(*operation), error_code));
    if (on_hold(*operation)) return;
    const bool is_inside =
        operation->start_time <= failed_clip_start && failed_clip_start < operation->end_time;
    fail(operation, FailureReason::kReported, error_code,
         options_.attempts && !is_inside ? operation->start_time : failed_clip_start);
}

bool ReferenceEngine::OnUnusableAnswer(const std::optional<Guid>& guid, const std::string& reason) {
    if (options_.request_timeout <= 0) return false;
    const auto operation = guid ? find(*guid) : operations_.end();
    if (operation == operations_.end()) {
        error(format("unusable answer about an unknown operation: {}.", reason));
        return true;
    }
    error(format("unusable answer about operation {}: {}.", text(*operation), reason));
    if (operation == waiting()) fail(operation, FailureReason::kUnusableAnswer, 0, operation->start_time);
    return true;
}

void ReferenceEngine::OnTick(Ticks now) {
    if (!waits()) return;
    std::vector<TrackedOperation> forgotten;
    for (const TrackedOperation& operation : operations_) {
        if (operation.stage == Stage::kNextStart && failed_too_long_ago(operation.failure))
            forgotten.push_back(operation);
    }
    std::ranges::stable_sort(forgotten, {}, [](const auto& operation) { return operation.failure.since; });
    for (const TrackedOperation& operation : forgotten) {
        forget(operation);
        operations_.erase(std::ranges::find(operations_, operation.number, &TrackedOperation::number));
    }
    for (TrackedOperation& operation : operations_) {
        if (operation.stage != Stage::kRetry || operation.delay_end > now) continue;
        operation.stage = Stage::kTurn;
        operation.is_retry = true;
    }
    if (const auto operation = waiting(); operation != operations_.end() && deadline_ <= now) {
        error(
            format("no answer about operation {} within {} s.", text(*operation), options_.request_timeout));
        fail(operation, FailureReason::kNoAnswer, 0, operation->start_time);
    }
    start_next();
}

void ReferenceEngine::fail(Position operation, FailureReason reason, std::int32_t error_code, Ticks start) {
    if (operation == waiting()) waiting_.reset();
    operation->start_time = start;
    operation->failure.reason = reason;
    operation->failure.error_code = error_code;
    count_attempt(*operation);
    const double attempts_per_failure = options_.attempts ? 1 : 2;
    if (operation->attempts > attempts_per_failure * std::max(options_.retries, 1)) {
        error("operation " + text(*operation) + " exceeded the retry limit.");
        if (options_.retries <= 0 || options_.failed_for <= 0) return end(operation);
        if (operation->failure.since == 0) operation->failure.since = clock_.now();
        operation->stage = Stage::kNextStart;
        server_.ReleaseDiskReservation(operation->guid);
        return end_or_start_next();
    }
    if (options_.retries > 0 || reason != FailureReason::kReported) {
        const double failures = std::max(std::floor(operation->attempts / attempts_per_failure), 1.0);
        const double delay = options_.retries > 0
                                 ? std::max(options_.retry_delay, 0) * std::exp2(std::min(failures - 1, 40.0))
                                 : 0;
        operation->delay_end =
            clock_.steady() + platform::ticks_of(static_cast<std::int32_t>(std::min(delay, 3600.0)));
        operation->stage = Stage::kRetry;
    }
    server_.ReleaseDiskReservation(operation->guid);
    start_next();
}

bool ReferenceEngine::failed_too_long_ago(const Failure& failure) const {
    return clock_.now() - failure.since >= options_.failed_for * kDay;
}

void ReferenceEngine::forget(const Operation& operation) {
    error(format("operation {} is dropped: its retries were used up {} days ago.", text(operation),
                 options_.failed_for));
}

void ReferenceEngine::end(Position operation) {
    if (operation == waiting()) waiting_.reset();
    server_.ReleaseDiskReservation(operation->guid);
    const bool was_pending = operation->stage != Stage::kNextStart;
    operations_.erase(operation);
    if (was_pending) end_or_start_next();
}

void ReferenceEngine::end_or_start_next() {
    if (has_pending()) return start_next();
    idle_ = true;
    server_.ReportStatus(kStatusAllDone, clock_.now());
    info("all operations completed successfully.");
}

}  // namespace model
