#include "tools/recorder/model/engine_model.h"

#include <algorithm>
#include <array>
#include <boost/algorithm/string/replace.hpp>
#include <charconv>
#include <span>
#include <stdexcept>

#include <fmt/format.h>

#include "host/documents/names.h"

namespace recorder {
namespace {

constexpr std::string_view kDeclaration = R"(<?xml version="1.0" encoding="UTF-8"?>)";
constexpr std::string_view kEngineGuidPrefix = "00000000-0000-0000-0000-";
constexpr std::size_t kEngineGuidDigits = 12;

std::string escaped(std::string text, bool attribute) {
    constexpr std::array<std::array<const char*, 2>, 5> kEntities = {
        {{"&", "&amp;"}, {"<", "&lt;"}, {">", "&gt;"}, {"\"", "&quot;"}, {"'", "&apos;"}}};
    for (const auto& [character, entity] : std::span(kEntities).first(attribute ? 5 : 3))
        boost::replace_all(text, character, entity);
    return text;
}

/// Messages contain identifiers as signed numbers.
std::int32_t as_signed(std::uint32_t identifier) {
    return static_cast<std::int32_t>(identifier);
}

/// Twice the size plus a half, in gigabytes; the module calculates in 32 bits.
std::uint32_t gigabytes_for(std::int32_t megabytes) {
    const std::uint32_t sum = 2U * static_cast<std::uint32_t>(megabytes) + 512U;
    return sum <= 1024 ? 1 : sum / 1024;
}

/// The reference engine's GUID of an operation: its number, big-endian in the last bytes.
norvane::Guid engine_guid(std::size_t number) {
    norvane::Guid guid{};
    for (std::size_t i = 15; i >= 10; --i, number >>= 8U) guid.data[i] = static_cast<std::uint8_t>(number);
    return guid;
}

std::size_t number_of(const norvane::Guid& guid) {
    std::size_t number = 0;
    for (std::size_t i = 10; i < 16; ++i) number = number << 8U | guid.data[i];
    return number;
}

/// Replaces the reference engine's GUID in a log line by the pattern for the module's GUID.
std::string with_guid_pattern(std::string text) {
    const std::size_t at = text.find(kEngineGuidPrefix);
    if (at == std::string::npos) return text;
    const char* digits = text.data() + at + kEngineGuidPrefix.size();
    std::size_t number = 0;
    std::from_chars(digits, digits + kEngineGuidDigits, number, 16);
    return text.replace(at, kEngineGuidPrefix.size() + kEngineGuidDigits, guid_of_operation(number));
}

norvane::Ticks ticks(Seconds seconds) {
    return seconds * platform::kTicksPerSecond;
}
Seconds seconds(norvane::Ticks ticks) {
    return ticks / platform::kTicksPerSecond;
}

norvane::ChannelKey channel_zero(const Device& device) {
    return {.device_number = device.number, .devices_id = device.identifier};
}

Operation operation_of(const norvane::Operation& from) {
    return {number_of(from.guid),
            {from.device.devices_id, from.device.number},
            seconds(from.start_time),
            seconds(from.end_time),
            from.attempts};
}

}  // namespace

void EngineModel::on_open(const std::string& load_error) {
    load_error_ = load_error;
    engine_.emplace(*this, *this, *this);
    const char* registration =
        R"(<Pavo Delta="0"><Modules><Module Name="norvanepi" ID="5308416" Version="{}"/></Modules></Pavo>)";
    expect(names::kDeviceClass, fmt::format(fmt::runtime(registration), kAnyText));
    expect(names::kDeviceClass, R"(<Pavo Delta="0"><Norvane ID="5308416"/></Pavo>)");
}

void EngineModel::on_device(const Device& device) {
    engine_->OnDeviceSupported(as_signed(device.identifier), as_signed(device.number));
}

void EngineModel::on_removed(const Device& device) {
    engine_->OnDeviceRemoved(as_signed(device.identifier), as_signed(device.number));
}

void EngineModel::on_channel(const Device& device, bool connected, Seconds time) {
    const norvane::ChannelKey channel = channel_zero(device);
    engine_->OnChannelState(&channel, connected ? norvane::kConnected : norvane::kDisconnected, nullptr,
                            ticks(time));
}

void EngineModel::on_storage_info(std::size_t operation, std::int32_t megabytes) {
    engine_->OnStorageInfo(engine_guid(operation), gigabytes_for(megabytes));
}

void EngineModel::on_reservation(std::size_t operation, const std::string& temporary_directory) {
    engine_->OnReservation(engine_guid(operation), platform::path_of(temporary_directory), {});
}

void EngineModel::on_done(std::size_t operation) {
    if (this->operation(operation)) ++saved_.operations_done;
    engine_->OnRetrievalDone(engine_guid(operation));
}

void EngineModel::on_failed(std::size_t operation, std::int32_t error, Seconds failed_clip_start) {
    const bool was_known = this->operation(operation).has_value();
    engine_->OnRetrievalFailed(engine_guid(operation), error, ticks(failed_clip_start));
    if (was_known && !this->operation(operation)) ++saved_.operations_dropped;
}

void EngineModel::on_clip(std::size_t operation, const std::string& clip, const std::string& recording) {
    engine_->OnClipRetrieved(engine_guid(operation), platform::path_of(clip), 1, 0, 0, 0, recording);
}

void EngineModel::expect(std::uint32_t message_class, const std::string& content) {
    expected_.push_back(
        {.message_class = message_class, .pattern = fmt::format("{}{}", kDeclaration, content)});
}

void EngineModel::expect_log(int level, const std::string& text) {
    expect(names::kLogClass, fmt::format(R"(<log_msg level="{}">{}</log_msg>)", level,
                                         escaped(with_guid_pattern(text), false)));
}

void EngineModel::expect_storage_command(const Request& request, const char* command, Ticks start, Ticks stop,
                                         const std::string& further) {
    expect(
        names::kDeviceClass,
        fmt::format(R"(<Pavo Delta="1"><Devices ID="{}"><Device Number="{}"><Storage GUID="{}" Command="{}" )"
                    R"(Start="{}" Stop="{}"{}/></Device></Devices></Pavo>)",
                    as_signed(request.device.identifier), request.device.number,
                    guid_of_operation(request.operation), command, seconds(start), seconds(stop), further));
    requests_.push_back(request);
}

void EngineModel::RequestStorageInfo(Guid guid, std::uint32_t devices_id, std::uint32_t device_number,
                                     Ticks start, Ticks stop) {
    expect_storage_command({Request::Kind::kStorageInfo, number_of(guid), {devices_id, device_number}},
                           names::kAskStorageInfo, start, stop, "");
}

void EngineModel::RequestRecordings(Guid guid, std::uint32_t devices_id, std::uint32_t device_number,
                                    Ticks start, Ticks stop, const Path& temporary_directory,
                                    Path /*output_directory*/) {
    const std::string directory = escaped(quoted(platform::narrow_text(temporary_directory)), true);
    expect_storage_command({Request::Kind::kRecordings, number_of(guid), {devices_id, device_number}},
                           names::kAskRecordings, start, stop, fmt::format(R"( TmpFileDir="{}")", directory));
}

void EngineModel::RequestDiskReservation(const Guid& guid, std::uint32_t gigabytes) {
    const std::size_t number = number_of(guid);
    expect(
        names::kReservationClass,
        fmt::format(
            R"(<Pavo><Storage ID="327680"><Reservation GUID="{}" Command="4" ReserveGB="{}"/></Storage></Pavo>)",
            guid_of_operation(number), gigabytes));
    requests_.push_back({Request::Kind::kReservation, number, operation(number).value().device});
}

void EngineModel::ReleaseDiskReservation(const Guid& guid) {
    expect(names::kReservationClass,
           fmt::format(R"(<Pavo><Storage ID="327680"><Reservation GUID="{}" Command="3"/></Storage></Pavo>)",
                       guid_of_operation(number_of(guid))));
}

norvane::Guid EngineModel::GenerateGuid() {
    return engine_guid(++saved_.operations_made);
}

/// The recording's path replaces the input's name. It is empty for a clip that is refused.
void EngineModel::ConvertClip(Guid /*guid*/, std::uint32_t /*devices_id*/, std::uint32_t /*device_number*/,
                              Path clip_file, std::string recording, Ticks /*start*/, Ticks /*stop*/,
                              std::int32_t /*clip_type*/) {
    const std::string clip = platform::narrow_text(clip_file);
    if (recording.empty()) return expect_log(kLogError, fmt::format("Unsupported file format - {}.\n", clip));
    expect_log(kLogInformation, fmt::format("Parsing mp4 container - {}.\n", clip));
    // A camera may add any other boxes to a clip.
    expect_log(kLogInformation, fmt::format("Unknown box type : {}\n", kAnyText));
    expected_.back().any_number = true;
    expect_log(kLogInformation, fmt::format("Opened (and PSI) {}.\n", recording));
    expect_log(kLogInformation, fmt::format("Processing mp4 container stream - {}.\n", clip));
}

void EngineModel::ReportStatus(std::int32_t status, Ticks /*now*/) {
    expect(names::kReservationClass,
           fmt::format(R"(<Pavo><NorVane ID="5308416" Status="{}" Time="{}"/></Pavo>)", status,
                       kPresentInstant));
}

/// The file lists the losses by device.
void EngineModel::SaveState(std::vector<norvane::DisconnectRecord>& records,
                            const std::vector<norvane::Operation>& operations) {
    saved_.losses.clear();
    for (const auto& [time, channel] : records) {
        saved_.losses.push_back({{channel.devices_id, channel.device_number}, seconds(time)});
        if (time == now()) saved_.losses.back().time.reset();
    }
    std::ranges::stable_sort(saved_.losses, {}, &Loss::device);
    saved_.operations.clear();
    std::ranges::transform(operations, std::back_inserter(saved_.operations), operation_of);
    saved_.state_file_exists = true;
}

void EngineModel::LoadState(std::vector<norvane::DisconnectRecord>& records,
                            std::vector<norvane::Operation>& operations) {
    for (const Loss& loss : saved_.losses)
        records.push_back({ticks(loss.time.value_or(0)), channel_zero(loss.device)});
    for (const auto& [number, device, start, end, attempts] : saved_.operations) {
        operations.push_back(
            {{device.identifier, device.number}, engine_guid(number), ticks(start), ticks(end), attempts});
    }
    if (!load_error_.empty()) throw std::invalid_argument(load_error_);
}

std::optional<Operation> EngineModel::operation(std::size_t number) const {
    if (!engine_) return std::nullopt;
    const auto found =
        std::ranges::find(engine_->operations(), engine_guid(number), &norvane::Operation::guid);
    return found == engine_->operations().end() ? std::nullopt : std::optional(operation_of(*found));
}

std::string EngineModel::state_file() const {
    std::string text = fmt::format("{}\n", kDeclaration);
    if (saved_.losses.empty() && saved_.operations.empty()) return text + "<Pavo/>\n";
    text += "<Pavo>\n";
    std::optional<std::uint32_t> open;
    for (const auto& [device, time] : saved_.losses) {
        if (open && open != device.identifier) text += "    </Devices>\n";
        if (open != device.identifier)
            text += fmt::format("    <Devices ID=\"{}\">\n", as_signed(device.identifier));
        open = device.identifier;
        text +=
            fmt::format("        <Device Number=\"{}\" DisconnectTime=\"{}\"/>\n", as_signed(device.number),
                        time ? std::to_string(*time) : std::string(kPresentInstant));
    }
    if (open) text += "    </Devices>\n";
    if (!saved_.operations.empty()) text += "    <Operations>\n";
    for (const Operation& operation : saved_.operations) {
        text += fmt::format(
            R"(        <Operation Devices="{}" Device="{}" GUID="{}" StartTime="{}" EndTime="{}" Attempts="{}"/>)"
            "\n",
            operation.device.identifier, operation.device.number, guid_of_operation(operation.number),
            operation.start, operation.end, operation.attempts);
    }
    if (!saved_.operations.empty()) text += "    </Operations>\n";
    return text + "</Pavo>\n";
}

void EngineModel::set_open_times(const std::vector<Seconds>& times) {
    auto time = times.begin();
    for (Loss& loss : saved_.losses) {
        if (!loss.time && time != times.end()) loss.time = *time++;
    }
}

}  // namespace recorder
