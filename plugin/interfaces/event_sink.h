#pragma once

#include <optional>
#include <string>

#include "platform/text.h"
#include "plugin/interfaces/records.h"

namespace norvane {

/// Receives the host's events, on the main loop's thread and in the order of the host's messages. Bad input
/// is not an error: an event about an unknown device or operation is ignored or only logged.
class IEventSink {
  public:
    IEventSink() = default;
    IEventSink(const IEventSink&) = delete;
    IEventSink& operator=(const IEventSink&) = delete;

    /// The device stores recordings that the module can retrieve.
    virtual void OnDeviceSupported(std::int32_t devices_id, std::int32_t device_number) = 0;
    /// The device has recordings of the operation's interval, which need `gigabytes` of disk space.
    virtual void OnStorageInfo(const Guid& guid, std::uint32_t gigabytes) = 0;
    /// `state` is kConnected, kDisconnected or another value, which means neither. `unused` is always null.
    virtual void OnChannelState(const ChannelKey* channel, std::int32_t state, const void* unused,
                                Ticks time) = 0;
    /// A clip of the operation has been downloaded.
    virtual void OnClipRetrieved(Guid guid, platform::Path clip_file, std::int32_t clip_type, Ticks start,
                                 Ticks stop, std::int32_t input_number, std::string input_name) = 0;
    /// All clips of the operation have been downloaded, or the device has none.
    virtual void OnRetrievalDone(Guid guid) = 0;
    virtual void OnRetrievalFailed(Guid guid, std::int32_t error_code, Ticks failed_clip_start) = 0;
    /// The host has reserved the requested disk space.
    virtual void OnReservation(Guid guid, const platform::Path& temporary_directory,
                               const platform::Path& output_directory) = 0;
    virtual void OnDeviceRemoved(std::int32_t devices_id, std::int32_t device_number) = 0;
    /// An answer that is not an event, because parts of it are missing or malformed. Without a GUID its
    /// operation is unknown. False if such answers are ignored, as by default.
    virtual bool OnUnusableAnswer(const std::optional<Guid>& /*guid*/, const std::string& /*reason*/) {
        return false;
    }
    /// Time has passed. Everything that the host sent before `now`, an instant of Clock::steady(), has been
    /// reported.
    virtual void OnTick(Ticks /*now*/) {}
    virtual ~IEventSink() = default;
};

/// States of OnChannelState.
inline constexpr std::int32_t kConnected = 1;
inline constexpr std::int32_t kDisconnected = 2;

}  // namespace norvane
