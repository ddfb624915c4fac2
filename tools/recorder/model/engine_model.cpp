#include "tools/recorder/model/engine_model.h"

#include <algorithm>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <stdexcept>

#include <fmt/format.h>

#include "host/documents/names.h"

namespace recorder {
namespace {

constexpr std::string_view kDeclaration = R"(<?xml version="1.0" encoding="UTF-8"?>)";

/// Twice the size plus a half, in gigabytes; the module calculates in 32 bits.
std::uint32_t gigabytes_for(std::int32_t megabytes) {
    const std::uint32_t sum = 2U * static_cast<std::uint32_t>(megabytes) + 512U;
    return sum <= 1024 ? 1 : sum / 1024;
}

std::string instant(norvane::Ticks time) {
    return time == kPresent ? std::string(kPresentInstant) : std::to_string(seconds(time));
}

/// Of an operation whose retries are used up. The recorder's cameras fail only by a report.
std::string attributes(const norvane::Failure& failure) {
    if (failure.since == 0) return {};
    return fmt::format(R"( FailedTime="{}" Reason="reported" ErrorCode="{}")", instant(failure.since),
                       failure.error_code);
}

/// Messages contain identifiers as signed numbers.
std::int32_t as_signed(std::uint32_t identifier) {
    return static_cast<std::int32_t>(identifier);
}

}  // namespace

std::size_t number_of(const norvane::Guid& guid) {
    return std::stoull(to_string(guid).substr(kGuidBegin.size()), nullptr, 16);
}

norvane::Guid guid_of(std::size_t operation) {
    return boost::uuids::string_generator()(guid_of_operation(operation));
}

void EngineModel::on_open(const std::string& load_error) {
    load_error_ = load_error;
    if (options_ != norvane::Options{})
        expect_log(kLogInformation, fmt::format("NorVane - options of 'norvanepi.conf': {}", kAnyText));
    engine_.emplace(*this, *this, *this, options_);
    const char* registration =
        R"(<Pavo Delta="0"><Modules><Module Name="norvanepi" ID="5308416" Version="{}"/></Modules></Pavo>)";
    expect(names::kDeviceClass, fmt::format(fmt::runtime(registration), kAnyText));
    expect(names::kDeviceClass, R"(<Pavo Delta="0"><Norvane ID="5308416"/></Pavo>)");
}

void EngineModel::on_pass() {
    if (engine_) engine_->OnTick(++steady_);
}

void EngineModel::on_device(const Device& device) {
    engine_->OnDeviceSupported(as_signed(device.devices_id), as_signed(device.number));
}

void EngineModel::on_removed(const Device& device) {
    engine_->OnDeviceRemoved(as_signed(device.devices_id), as_signed(device.number));
}

void EngineModel::on_channel(const Device& device, bool connected, Seconds time) {
    const norvane::ChannelKey channel{.device_number = device.number, .devices_id = device.devices_id};
    engine_->OnChannelState(&channel, connected ? norvane::kConnected : norvane::kDisconnected, nullptr,
                            ticks(time));
}

void EngineModel::on_storage_info(std::size_t operation, std::int32_t megabytes) {
    engine_->OnStorageInfo(guid_of(operation), gigabytes_for(megabytes));
}

void EngineModel::on_done(std::size_t operation) {
    if (this->operation(operation)) ++saved_.operations_done;
    engine_->OnRetrievalDone(guid_of(operation));
}

void EngineModel::on_failed(std::size_t operation, std::int32_t error, Seconds failed_clip_start) {
    const bool was_known = this->operation(operation).has_value();
    ++steady_;
    engine_->OnRetrievalFailed(guid_of(operation), error, ticks(failed_clip_start));
    if (was_known && !this->operation(operation)) ++saved_.operations_dropped;
}

void EngineModel::expect(std::uint32_t message_class, const std::string& content) {
    expected_.push_back(
        {.message_class = message_class, .pattern = fmt::format("{}{}", kDeclaration, content)});
}

void EngineModel::expect_log(int level, const std::string& text) {
    expect(names::kLogClass, fmt::format(R"(<log_msg level="{}">{}</log_msg>)", level, escaped(text, false)));
}

void EngineModel::expect_request(Request::Kind kind, const Guid& guid, const Device& device, Ticks start,
                                 Ticks stop, const std::string& further) {
    expect(
        names::kDeviceClass,
        fmt::format(R"(<Pavo Delta="1"><Devices ID="{}"><Device Number="{}"><Storage GUID="{}" Command="{}" )"
                    R"(Start="{}" Stop="{}"{}/></Device></Devices></Pavo>)",
                    as_signed(device.devices_id), device.number, to_string(guid),
                    kind == Request::Kind::kRecordings ? names::kAskRecordings : names::kAskStorageInfo,
                    seconds(start), seconds(stop), further));
    requests_.push_back({kind, number_of(guid), device});
}

void EngineModel::RequestRecordings(Guid guid, std::uint32_t devices_id, std::uint32_t device_number,
                                    Ticks start, Ticks stop, const Path& temporary_directory,
                                    Path /*output_directory*/) {
    const std::string directory = escaped(quoted(platform::narrow_text(temporary_directory)));
    expect_request(Request::Kind::kRecordings, guid, {devices_id, device_number}, start, stop,
                   fmt::format(R"( TmpFileDir="{}")", directory));
}

void EngineModel::RequestDiskReservation(const Guid& guid, std::uint32_t gigabytes) {
    expect_reservation(guid, fmt::format(R"(Command="4" ReserveGB="{}")", gigabytes));
    const std::size_t number = number_of(guid);
    requests_.push_back({Request::Kind::kReservation, number, operation(number).value().device});
}

void EngineModel::expect_reservation(const Guid& guid, const std::string& command) {
    expect(names::kReservationClass,
           fmt::format(R"(<Pavo><Storage ID="327680"><Reservation GUID="{}" {}/></Storage></Pavo>)",
                       to_string(guid), command));
}

void EngineModel::expect_refusal(const std::string& clip) {
    const std::string reason = fmt::format("Unsupported file format - {}.\n", clip);
    expect_log(kLogError, reason);
    if (options_.keep_failed_clips) expect_kept_clip(clip, reason);
}

void EngineModel::expect_kept_clip(const std::string& clip, const std::string& reason) {
    expect_log(kLogError,
               fmt::format("NorVane - keeping clip '{}' after {} frames: {}", clip, kAnyText, reason));
}

std::string EngineModel::no_h264_text(const std::string& clip) {
    return fmt::format("No H.264 video in mp4 container - {} contains {}.\n", clip, kAnyText);
}

void EngineModel::expect_parsing(const std::string& clip) {
    expect_log(kLogInformation, fmt::format("Parsing mp4 container - {}.\n", clip));
    // A camera may add any other boxes to a clip.
    expect_log(kLogInformation, fmt::format("Unknown box type : {}\n", kAnyText));
    expected_.back().any_number = true;
}

/// The recording's path replaces the input's name. It is empty for a clip that is not MP4.
void EngineModel::ConvertClip(Guid /*guid*/, std::uint32_t /*devices_id*/, std::uint32_t /*device_number*/,
                              Path clip_file, std::string recording, Ticks /*start*/, Ticks /*stop*/,
                              std::int32_t /*clip_type*/) {
    const std::string clip = platform::narrow_text(clip_file);
    if (recording.empty()) return expect_refusal(clip);
    expect_parsing(clip);
    if (recording.starts_with(kNoRecording)) {
        const std::string reason = recording.substr(1);
        expect_log(kLogError, reason);
        if (options_.keep_failed_clips) expect_kept_clip(clip, reason);
        return;
    }
    expect_log(kLogInformation, fmt::format("Opened (and PSI) {}.\n", recording));
    expect_log(kLogInformation, fmt::format("Processing mp4 container stream - {}.\n", clip));
}

void EngineModel::ReportStatus(std::int32_t status, Ticks /*now*/) {
    expect(names::kReservationClass,
           fmt::format(R"(<Pavo><NorVane ID="5308416" Status="{}" Time="{}"/></Pavo>)", status,
                       kPresentInstant));
}

/// The file lists the losses by device.
void EngineModel::SaveEngineState(norvane::EngineState& state) {
    std::ranges::stable_sort(state.gaps, {}, [](const auto& loss) { return loss.channel.device(); });
    saved_.losses = state.gaps;
    saved_.operations = state.operations;
    saved_.state_file_exists = true;
}

void EngineModel::LoadEngineState(norvane::EngineState& state) {
    state.gaps = saved_.losses;
    state.operations = saved_.operations;
    if (!load_error_.empty()) throw std::invalid_argument(load_error_);
}

std::optional<Operation> EngineModel::operation(std::size_t number) const {
    if (!engine_) return std::nullopt;
    const auto found = std::ranges::find(engine_->operations(), guid_of(number), &Operation::guid);
    return found == engine_->operations().end() ? std::nullopt : std::optional(*found);
}

std::string EngineModel::state_file() const {
    std::string text = fmt::format("{}\n", kDeclaration);
    if (saved_.losses.empty() && saved_.operations.empty()) return text + "<Pavo/>\n";
    text += "<Pavo>\n";
    std::optional<std::uint32_t> open;
    for (const auto& [time, channel] : saved_.losses) {
        if (open && open != channel.devices_id) text += "    </Devices>\n";
        if (open != channel.devices_id)
            text += fmt::format("    <Devices ID=\"{}\">\n", as_signed(channel.devices_id));
        open = channel.devices_id;
        text +=
            fmt::format("        <Device Number=\"{}\" DisconnectTime=\"{}\"{}/>\n",
                        as_signed(channel.device_number), instant(time),
                        options_.channels ? fmt::format(" Channel=\"{}\"", as_signed(channel.channel)) : "");
    }
    if (open) text += "    </Devices>\n";
    if (!saved_.operations.empty()) text += "    <Operations>\n";
    for (const norvane::OperationState& operation : saved_.operations) {
        text += fmt::format(
            R"(        <Operation Devices="{}" Device="{}" GUID="{}" StartTime="{}" EndTime="{}" Attempts="{}"{}/>)"
            "\n",
            operation.device.devices_id, operation.device.number, to_string(operation.guid),
            seconds(operation.start_time), seconds(operation.end_time), operation.attempts,
            attributes(operation.failure));
    }
    if (!saved_.operations.empty()) text += "    </Operations>\n";
    return text + "</Pavo>\n";
}

void EngineModel::set_open_times(const std::vector<Seconds>& times) {
    auto time = times.begin();
    for (auto& [loss_time, channel] : saved_.losses) {
        if (loss_time == kPresent && time != times.end()) loss_time = ticks(*time++);
    }
}

}  // namespace recorder
