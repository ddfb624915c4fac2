#pragma once

#include <string>

#include "plugin/interfaces/tal_server.h"

/// Writes each request as one line of text. GUIDs are numbered in the order of their generation, so a test
/// can name an operation.
class RequestLogServer final : public norvane::ITalServer {
  public:
    /// The GUID that the call of GenerateGuid with this number returns, counted from 0.
    [[nodiscard]] static norvane::Guid guid(int number);
    /// "#" and the number of the GUID, as in the lines.
    [[nodiscard]] static std::string number_of(const norvane::Guid& guid);

    /// The lines since the last call. Log lines begin with "info " or "error ".
    [[nodiscard]] std::string take();
    /// Adds the test's own lines. Each ends with a line break.
    void add(const std::string& lines) { lines_ += lines; }

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

  private:
    void note(const std::string& line) { add(line + "\n"); }

    std::string lines_;
    int next_guid_ = 0;
};
