#include "tests/support/request_log_server.h"

#include <utility>

namespace {

std::string device(std::uint32_t devices_id, std::uint32_t device_number) {
    return std::to_string(devices_id) + "/" + std::to_string(device_number);
}

std::string interval(norvane::Ticks start, norvane::Ticks stop) {
    return std::to_string(platform::seconds_of(start)) + ".." + std::to_string(platform::seconds_of(stop));
}

}  // namespace

norvane::Guid RequestLogServer::guid(int number) {
    norvane::Guid guid{};
    guid.data[15] = static_cast<std::uint8_t>(number);
    return guid;
}

std::string RequestLogServer::number_of(const norvane::Guid& guid) {
    return "#" + std::to_string(int{guid.data[15]});
}

std::string RequestLogServer::take() {
    return std::exchange(lines_, {});
}

void RequestLogServer::SetEventSink(norvane::IEventSink* sink) {
    note(sink == nullptr ? "no sink" : "sink");
}

void RequestLogServer::RequestDiskReservation(const norvane::Guid& guid, std::uint32_t gigabytes) {
    note("reserve " + number_of(guid) + " " + std::to_string(gigabytes) + " GB");
}

void RequestLogServer::ReleaseDiskReservation(const norvane::Guid& guid) {
    note("release " + number_of(guid));
}

norvane::Guid RequestLogServer::GenerateGuid() {
    return guid(next_guid_++);
}

void RequestLogServer::RequestStorageInfo(norvane::Guid guid, std::uint32_t devices_id,
                                          std::uint32_t device_number, norvane::Ticks start,
                                          norvane::Ticks stop) {
    note("storage-info " + number_of(guid) + " " + device(devices_id, device_number) + " " +
         interval(start, stop));
}

void RequestLogServer::RequestRecordings(norvane::Guid guid, std::uint32_t devices_id,
                                         std::uint32_t device_number, norvane::Ticks start,
                                         norvane::Ticks stop, const platform::Path& temporary_directory,
                                         platform::Path output_directory) {
    note("recordings " + number_of(guid) + " " + device(devices_id, device_number) + " " +
         interval(start, stop) + " " + platform::narrow_text(temporary_directory) + " -> " +
         platform::narrow_text(output_directory));
}

void RequestLogServer::ConvertClip(norvane::Guid guid, std::uint32_t devices_id, std::uint32_t device_number,
                                   platform::Path clip_file, std::string input_name, norvane::Ticks start,
                                   norvane::Ticks stop, std::int32_t clip_type) {
    note("convert " + number_of(guid) + " " + device(devices_id, device_number) + " " +
         platform::narrow_text(clip_file) + " '" + input_name + "' " + interval(start, stop) + " type " +
         std::to_string(clip_type));
}

void RequestLogServer::ReportStarted(norvane::Ticks now) {
    note("started at " + std::to_string(platform::seconds_of(now)));
}

void RequestLogServer::ReportStatus(std::int32_t status, norvane::Ticks now) {
    note("status " + std::to_string(status) + " at " + std::to_string(platform::seconds_of(now)));
}

void RequestLogServer::LogInfo(const char* text) {
    note(std::string("info ") + text);
}

void RequestLogServer::LogError(const char* text) {
    note(std::string("error ") + text);
}
