#pragma once

#include <string>
#include <utility>

#include "plugin/interfaces/tal_server.h"
#include "tools/host_kit/host_documents.h"

/// Writes each request as one line of text. GUIDs are numbered in the order of their generation, so a test
/// can name an operation.
class RequestLogServer final : public norvane::ITalServer {
    using Guid = norvane::Guid;
    using Ticks = norvane::Ticks;
    using Path = platform::Path;

  public:
    /// The GUID that the call of GenerateGuid with this number returns, counted from 0.
    [[nodiscard]] static Guid guid(int number) {
        Guid guid{};
        guid.data[15] = static_cast<std::uint8_t>(number);
        return guid;
    }
    /// "#" and the number of the GUID, as in the lines.
    [[nodiscard]] static std::string number_of(const Guid& guid) {
        return "#" + std::to_string(int{guid.data[15]});
    }

    /// The lines since the last call. Log lines begin with "info " or "error ".
    [[nodiscard]] std::string take() { return std::exchange(lines_, {}); }
    /// Adds the test's own lines. Each ends with a line break.
    void add(const std::string& lines) { lines_ += lines; }

    void SetEventSink(norvane::IEventSink* sink) override { note(sink == nullptr ? "no sink" : "sink", {}); }
    void RequestDiskReservation(const Guid& guid, std::uint32_t gigabytes) override {
        note("reserve {} {} GB", {number_of(guid), gigabytes});
    }
    void ReleaseDiskReservation(const Guid& guid) override { note("release {}", {number_of(guid)}); }
    Guid GenerateGuid() override { return guid(next_guid_++); }
    void RequestStorageInfo(Guid guid, std::uint32_t devices_id, std::uint32_t device_number, Ticks start,
                            Ticks stop) override {
        note("storage-info {} {}/{} {}", {number_of(guid), devices_id, device_number, interval(start, stop)});
    }
    void RequestRecordings(Guid guid, std::uint32_t devices_id, std::uint32_t device_number, Ticks start,
                           Ticks stop, const Path& temporary_directory, Path output_directory) override {
        note("recordings {} {}/{} {} {} -> {}",
             {number_of(guid), devices_id, device_number, interval(start, stop),
              platform::narrow_text(temporary_directory), platform::narrow_text(output_directory)});
    }
    void ConvertClip(Guid guid, std::uint32_t devices_id, std::uint32_t device_number, Path clip_file,
                     std::string input_name, Ticks start, Ticks stop, std::int32_t clip_type) override {
        note("convert {} {}/{} {} '{}' {} type {}",
             {number_of(guid), devices_id, device_number, platform::narrow_text(clip_file), input_name,
              interval(start, stop), clip_type});
    }
    void ReportStarted(Ticks now) override { note("started at {}", {platform::seconds_of(now)}); }
    void ReportStatus(std::int32_t status, Ticks now) override {
        note("status {} at {}", {status, platform::seconds_of(now)});
    }
    void LogInfo(const char* text) override { note("info {}", {std::string(text)}); }
    void LogError(const char* text) override { note("error {}", {std::string(text)}); }

  private:
    static std::string interval(Ticks start, Ticks stop) {
        return host_kit::filled("{}..{}", {platform::seconds_of(start), platform::seconds_of(stop)});
    }
    void note(std::string_view form, const std::vector<host_kit::Value>& values) {
        add(host_kit::filled(form, values) + "\n");
    }

    std::string lines_;
    int next_guid_ = 0;
};
