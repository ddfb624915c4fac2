#pragma once

#include "plugin/interfaces/tal_server.h"

namespace bench {

/// Ignores every request. Counts them, so that a bench can check its result.
class DiscardingServer final : public norvane::ITalServer {
  public:
    std::uint64_t requests = 0;
    norvane::Guid last_guid{};  // a counter

    void SetEventSink(norvane::IEventSink* /*sink*/) override {}
    void RequestDiskReservation(const norvane::Guid& /*guid*/, std::uint32_t /*gigabytes*/) override {
        ++requests;
    }
    void ReleaseDiskReservation(const norvane::Guid& /*guid*/) override { ++requests; }
    norvane::Guid GenerateGuid() override {
        for (auto byte = last_guid.begin(); byte != last_guid.end() && ++*byte == 0; ++byte) {
        }
        return last_guid;
    }
    void RequestStorageInfo(norvane::Guid /*guid*/, std::uint32_t /*devices_id*/,
                            std::uint32_t /*device_number*/, norvane::Ticks /*start*/,
                            norvane::Ticks /*stop*/) override {
        ++requests;
    }
    void RequestRecordings(norvane::Guid /*guid*/, std::uint32_t /*devices_id*/,
                           std::uint32_t /*device_number*/, norvane::Ticks /*start*/, norvane::Ticks /*stop*/,
                           const platform::Path& /*temporary_directory*/,
                           platform::Path /*output_directory*/) override {
        ++requests;
    }
    void ConvertClip(norvane::Guid /*guid*/, std::uint32_t /*devices_id*/, std::uint32_t /*device_number*/,
                     platform::Path /*clip_file*/, std::string /*input_name*/, norvane::Ticks /*start*/,
                     norvane::Ticks /*stop*/, std::int32_t /*clip_type*/) override {}
    void ReportStarted(norvane::Ticks /*now*/) override {}
    void ReportStatus(std::int32_t /*status*/, norvane::Ticks /*now*/) override {}
    void LogInfo(const char* /*text*/) override {}
    void LogError(const char* /*text*/) override {}
};

}  // namespace bench
