#pragma once

#include <string>

#include "plugin/interfaces/tal_server.h"

/// A host that writes down what is asked of it, one short line a request. GUIDs are numbered in the order
/// they are made, so that a test can name an operation.
class RecordingServer final : public norvane::ITalServer {
  public:
    /// The n-th GUID from 0, as GenerateGuid makes it, and as logs and lines show it.
    [[nodiscard]] static norvane::Guid guid(int number);
    [[nodiscard]] static std::string guid_text(int number);

    /// What was asked since the last call. Log lines come as "info ..." and "error ...".
    [[nodiscard]] std::string take();

    void SetEventSink(norvane::IEventSink* sink) override;
    void RequestDiskReservation(const norvane::Guid& guid, std::uint32_t gigabytes) override;
    void ReleaseDiskReservation(const norvane::Guid& guid) override;
    norvane::Guid GenerateGuid() override;
    void RequestStorageInfo(norvane::Guid guid, std::uint32_t devices_id, std::uint32_t device_number,
                            norvane::Ticks start, norvane::Ticks stop) override;
    void RequestRecordings(norvane::Guid guid, std::uint32_t devices_id, std::uint32_t device_number,
                           norvane::Ticks start, norvane::Ticks stop,
                           const platform::Path& temporary_directory,
                           platform::Path output_directory) override;
    void ConvertClip(norvane::Guid guid, std::uint32_t devices_id, std::uint32_t device_number,
                     platform::Path clip_file, std::string input_name, norvane::Ticks start,
                     norvane::Ticks stop, std::int32_t clip_type) override;
    void ReportStarted(norvane::Ticks now) override;
    void ReportStatus(std::int32_t status, norvane::Ticks now) override;
    void LogInfo(const char* text) override;
    void LogError(const char* text) override;

    /// Left out of take() while false: most tests are about requests.
    bool keep_logs = true;

  private:
    void note(const std::string& line) { lines_ += line + "\n"; }

    std::string lines_;
    int next_guid_ = 0;
};
