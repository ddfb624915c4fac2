#pragma once

// The data that the engine, the store and the host's server exchange.

#include <boost/uuid/uuid.hpp>
#include <compare>
#include <cstdint>
#include <tuple>
#include <vector>

#include "norvanepi.h"
#include "platform/clock.h"

/// Levels of log messages.
inline constexpr std::int32_t kLogInformation = NORVANEPI_LEVEL_INFORMATION;
inline constexpr std::int32_t kLogError = NORVANEPI_LEVEL_ERROR;

namespace norvane {

using platform::Ticks;
using Guid = boost::uuids::uuid;

/// One device of the host.
struct DeviceKey {
    std::uint32_t devices_id = 0;  // ID of the Devices element that lists the device
    std::uint32_t number = 0;

    friend auto operator<=>(const DeviceKey&, const DeviceKey&) = default;
};

/// One channel of a device.
struct ChannelKey {
    std::uint32_t channel = 0;   // 0xFFFFFFFF if the host's message has no channel number
    std::uint32_t reserved = 0;  // always 0
    std::uint32_t device_number = 0;
    std::uint32_t devices_id = 0;

    [[nodiscard]] DeviceKey device() const noexcept { return {devices_id, device_number}; }
    friend bool operator==(const ChannelKey&, const ChannelKey&) = default;
    /// Sorts the channels of one device next to each other.
    friend auto operator<=>(const ChannelKey& one, const ChannelKey& other) noexcept {
        return std::tie(one.devices_id, one.device_number, one.channel, one.reserved) <=>
               std::tie(other.devices_id, other.device_number, other.channel, other.reserved);
    }
};

/// A gap starts this long before a channel was lost, because the last seconds are rarely recorded completely.
inline constexpr Ticks kGapMargin = 10 * platform::kTicksPerSecond;

/// A channel that is disconnected.
struct DisconnectRecord {
    Ticks time = 0;  // start of the gap
    ChannelKey channel;

    friend bool operator==(const DisconnectRecord&, const DisconnectRecord&) = default;
};

/// Retrieval of a device's own recordings of one interval.
struct Operation {
    DeviceKey device;
    Guid guid{};
    Ticks start_time = 0;  // moves forward when a failed retrieval is retried
    Ticks end_time = 0;
    std::int32_t attempts = 0;

    friend bool operator==(const Operation&, const Operation&) = default;
};

/// What an operation waits for.
enum class Stage : std::uint8_t {
    kTurn,         // its turn, and the connection of its device
    kStorageInfo,  // the host's answer to this request
    kReservation,
    kRecordings,
    kRetry,      // the end of a delay
    kNextStart,  // its retries are used up, so it counts as failed until the next start of the host
};

/// Why a request failed.
enum class FailureReason : std::uint8_t { kNone, kReported, kNoAnswer, kUnusableAnswer };

/// The last failure of an operation.
struct Failure {
    FailureReason reason = FailureReason::kNone;
    std::int32_t error_code = 0;  // of kReported, as the host gave it
    Ticks since = 0;              // when the retries were used up for the first time; 0: never

    friend bool operator==(const Failure&, const Failure&) = default;
};

/// An operation, and what the engine knows about it beyond the record. Without options all of this keeps its
/// default value.
struct OperationState : Operation {
    Stage stage = Stage::kTurn;
    Failure failure = {};

    friend bool operator==(const OperationState&, const OperationState&) = default;
};

/// Everything that the engine must not forget.
struct EngineState {
    std::vector<DisconnectRecord> gaps = {};
    std::vector<OperationState> operations = {};
    std::vector<ChannelKey> connected = {};  // without the option `channels`, channel 0 for each report

    friend bool operator==(const EngineState&, const EngineState&) = default;
};

}  // namespace norvane
