#pragma once

#include <boost/uuid/random_generator.hpp>

#include "host/documents/outgoing.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "plugin/interfaces/options.h"
#include "plugin/interfaces/stream_record.h"
#include "plugin/interfaces/tal_server.h"

namespace norvane {

/// Sends the engine's requests to the host as documents, creates the temporary download directory and
/// converts downloaded clips. Only the worker calls it, so it takes no lock.
class CTalServerImpl final : public ITalServer {
  public:
    /// Files and sleeper are not owned and must outlive the adapter.
    CTalServerImpl(documents::Send send, platform::FileSystem& files, platform::Sleeper& sleeper,
                   const Options& options = {})
        : send_(std::move(send)), files_(files), sleeper_(sleeper), options_(options) {}

    void SetEventSink(IEventSink* sink) override { event_sink_ = sink; }
    /// The receiver of the host's messages, null until SetEventSink.
    [[nodiscard]] IEventSink* event_sink() const noexcept { return event_sink_; }

    void RequestDiskReservation(const Guid& guid, std::uint32_t gigabytes) override;
    void ReleaseDiskReservation(const Guid& guid) override;
    /// A random GUID of version 4 (RFC 4122, 4.4). Throws if the system refuses random bytes.
    [[nodiscard]] Guid GenerateGuid() override;
    void RequestStorageInfo(Guid guid, std::uint32_t devices_id, std::uint32_t device_number, Ticks start,
                            Ticks stop) override;
    void RequestRecordings(Guid guid, std::uint32_t devices_id, std::uint32_t device_number, Ticks start,
                           Ticks stop, const platform::Path& temporary_directory,
                           platform::Path output_directory) override;
    /// Blocks for the whole conversion. Throws nothing: an error ends the clip with a log line.
    void ConvertClip(Guid guid, std::uint32_t devices_id, std::uint32_t device_number,
                     platform::Path clip_file, std::string input_name, Ticks start, Ticks stop,
                     std::int32_t clip_type) override;
    void ReportStarted(Ticks now) override { ReportStatus(kStatusStarted, now); }
    void ReportStatus(std::int32_t status, Ticks now) override;
    void LogInfo(const char* text) override;
    void LogError(const char* text) override;

  private:
    void log(std::int32_t level, const char* text);
    void convert(const StreamRecord& request);

    documents::Send send_;
    platform::FileSystem& files_;
    platform::Sleeper& sleeper_;
    Options options_;
    boost::uuids::random_generator guids_{};
    IEventSink* event_sink_ = nullptr;
    platform::Path output_directory_;  // of the last recordings request; clips are converted into it
};

}  // namespace norvane
