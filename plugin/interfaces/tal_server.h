#pragma once

#include <string>

#include "platform/text.h"
#include "plugin/interfaces/records.h"

namespace norvane {

class IEventSink;

/// The engine's requests to the host. Each request is sent before the function returns. The host's answers
/// arrive later, through IEventSink.
class ITalServer {
  public:
    ITalServer() = default;
    ITalServer(const ITalServer&) = delete;
    ITalServer& operator=(const ITalServer&) = delete;

    /// Sets the receiver of the host's events; null for none. The server does not own it.
    virtual void SetEventSink(IEventSink* sink) = 0;
    virtual void RequestDiskReservation(const Guid& guid, std::uint32_t gigabytes) = 0;
    virtual void ReleaseDiskReservation(const Guid& guid) = 0;
    [[nodiscard]] virtual Guid GenerateGuid() = 0;
    /// Asks how much the device has recorded in the interval.
    virtual void RequestStorageInfo(Guid guid, std::uint32_t devices_id, std::uint32_t device_number,
                                    Ticks start, Ticks stop) = 0;
    /// Asks the host to download the interval's recordings to the temporary directory, which is created if it
    /// does not exist. Later calls of ConvertClip write to this output directory.
    virtual void RequestRecordings(Guid guid, std::uint32_t devices_id, std::uint32_t device_number,
                                   Ticks start, Ticks stop, const platform::Path& temporary_directory,
                                   platform::Path output_directory) = 0;
    /// Converts a downloaded clip and returns when it is done.
    virtual void ConvertClip(Guid guid, std::uint32_t devices_id, std::uint32_t device_number,
                             platform::Path clip_file, std::string input_name, Ticks start, Ticks stop,
                             std::int32_t clip_type) = 0;
    virtual void ReportStarted(Ticks now) = 0;
    virtual void ReportStatus(std::int32_t status, Ticks now) = 0;
    virtual void LogInfo(const char* text) = 0;
    virtual void LogError(const char* text) = 0;
    virtual ~ITalServer() = default;
};

/// Values of ReportStatus.
inline constexpr std::int32_t kStatusStarted = 2;
inline constexpr std::int32_t kStatusAllDone = 3;

}  // namespace norvane
