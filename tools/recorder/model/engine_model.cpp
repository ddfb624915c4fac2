#include "tools/recorder/model/engine_model.h"

#include <algorithm>

#include <fmt/format.h>

#include "host/documents/names.h"
#include "plugin/interfaces/records.h"
#include "tools/recorder/host/message_summary.h"

namespace recorder {
namespace {

constexpr Seconds kBeforeLoss = 10;
constexpr int kMaxAttempts = 2;
constexpr std::string_view kDeclaration = R"(<?xml version="1.0" encoding="UTF-8"?>)";

/// As XML carries it between tags, or inside an attribute's quotes.
std::string escaped(std::string_view text, bool attribute) {
    std::string result;
    for (const char c : text) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += attribute ? "&quot;" : "\"";
                break;
            case '\'':
                result += attribute ? "&apos;" : "'";
                break;
            default:
                result += c;
        }
    }
    return result;
}

/// Identifiers go out as signed numbers.
std::int32_t as_signed(std::uint32_t identifier) {
    return static_cast<std::int32_t>(identifier);
}

/// Twice the size and a half, in gigabytes; the plug-in calculates in 32 bits.
std::uint32_t gigabytes_for(std::int32_t megabytes) {
    const std::uint32_t sum = 2U * static_cast<std::uint32_t>(megabytes) + 512U;
    return sum <= 1024 ? 1 : sum / 1024;
}

}  // namespace

void EngineModel::expect(std::uint32_t message_class, const std::string& content) {
    expected_.push_back(
        {.message_class = message_class, .pattern = fmt::format("{}{}", kDeclaration, content)});
}

void EngineModel::expect_log(int level, const std::string& text) {
    expect(names::kLogClass, fmt::format(R"(<log_msg level="{}">{}</log_msg>)", level, escaped(text, false)));
}

void EngineModel::expect_status(int status) {
    expect(names::kReservationClass,
           fmt::format(R"(<Pavo><NorVane ID="5308416" Status="{}" Time="{}"/></Pavo>)", status,
                       kPresentInstant));
}

void EngineModel::expect_storage_command(const Operation& operation, const char* command,
                                         const std::string& further) {
    expect(
        names::kDeviceClass,
        fmt::format(R"(<Pavo Delta="1"><Devices ID="{}"><Device Number="{}"><Storage GUID="{}" Command="{}" )"
                    R"(Start="{}" Stop="{}"{}/></Device></Devices></Pavo>)",
                    as_signed(operation.device.identifier), operation.device.number,
                    guid_of_operation(operation.number), command, operation.start, operation.end, further));
}

void EngineModel::expect_release(const Operation& operation) {
    expect(names::kReservationClass,
           fmt::format(R"(<Pavo><Storage ID="327680"><Reservation GUID="{}" Command="3"/></Storage></Pavo>)",
                       guid_of_operation(operation.number)));
}

EngineModel::Iterator EngineModel::find(std::size_t number) {
    return std::ranges::find(saved_.operations, number, &Operation::number);
}

const Operation* EngineModel::operation(std::size_t number) const {
    const auto found = std::ranges::find(saved_.operations, number, &Operation::number);
    return found == saved_.operations.end() ? nullptr : &*found;
}

void EngineModel::disconnect(const Device& device) {
    const auto report = std::ranges::find(connected_, device);
    if (report != connected_.end()) connected_.erase(report);
}

void EngineModel::on_open(const std::string& load_error) {
    expect_log(kLogInformation, "NorVane - reading saved state and loading.");
    if (!load_error.empty()) {
        expect_log(kLogError,
                   fmt::format("NorVane - Error '{}' reading Nor Vane persisted state.", load_error));
    }
    expect(
        names::kDeviceClass,
        fmt::format(
            R"(<Pavo Delta="0"><Modules><Module Name="norvanepi" ID="5308416" Version="{}"/></Modules></Pavo>)",
            kAnyText));
    expect(names::kDeviceClass, R"(<Pavo Delta="0"><Norvane ID="5308416"/></Pavo>)");
    idle_ = true;
}

void EngineModel::on_device(const Device& device) {
    supported_.insert(device);
}

void EngineModel::on_channel(const Device& device, bool connected, Seconds time) {
    if (!supported_.contains(device)) return;
    const auto loss = std::ranges::find(saved_.losses, device, &Loss::device);
    if (loss != saved_.losses.end()) {
        if (connected) on_return(loss, time);
    } else if (connected) {
        connected_.push_back(device);
    } else {
        on_lost(device, time);
    }
}

void EngineModel::on_return(std::vector<Loss>::iterator loss, Seconds time) {
    const Operation made{.number = ++saved_.operations_made,
                         .device = loss->device,
                         .start = loss->time.value_or(0),
                         .end = time};
    if (saved_.operations.empty()) {
        expect_log(kLogInformation, "NorVane - operation starting.");
        expect_status(2);
    }
    expect_log(kLogInformation, fmt::format("NorVane - creating operation id {} for device {}",
                                            guid_of_operation(made.number), name_of(made.device)));
    saved_.operations.push_back(made);
    saved_.losses.erase(loss);
    connected_.push_back(made.device);
    if (idle_) start_next();
}

void EngineModel::on_lost(const Device& device, Seconds time) {
    const auto busy = std::ranges::find(saved_.operations, device, &Operation::device);
    const bool is_current = busy != saved_.operations.end() && busy == saved_.operations.begin();
    if (busy != saved_.operations.end()) {
        expect_log(kLogInformation, fmt::format("NorVane - disconnect during {}operation {} for device {}",
                                                is_current ? "current " : "", guid_of_operation(busy->number),
                                                name_of(device)));
    }
    disconnect(device);
    saved_.losses.push_back({device, time - kBeforeLoss});
    if (is_current) start_next();
}

void EngineModel::start_next() {
    if (saved_.operations.empty()) return;
    const auto next = std::ranges::find_if(saved_.operations, [&](const Operation& operation) {
        return std::ranges::find(connected_, operation.device) != connected_.end();
    });
    idle_ = next == saved_.operations.end();
    if (idle_) return;
    expect_log(kLogInformation,
               fmt::format("NorVane - requesting device storage info for {} from {} to {}",
                           name_of(next->device), utc_text(next->start), utc_text(next->end)));
    expect_storage_command(*next, names::kAskStorageInfo, "");
    ++next->attempts;
    requests_.push_back({Request::Kind::kStorageInfo, next->number, next->device});
}

void EngineModel::on_storage_info(std::size_t number, std::int32_t megabytes) {
    const auto operation = find(number);
    if (operation == saved_.operations.end()) {
        expect_log(kLogError, fmt::format("NorVane - operation {} not found.", guid_of_operation(number)));
        return;
    }
    const std::uint32_t gigabytes = gigabytes_for(megabytes);
    expect_log(kLogInformation,
               fmt::format("NorVane - requesting disk space reservation of {} GB for operation {} device {}",
                           gigabytes, guid_of_operation(number), name_of(operation->device)));
    expect(names::kReservationClass,
           fmt::format(
               R"(<Pavo><Storage ID="327680"><Reservation GUID="{}" Command="4" ReserveGB="{}"/></Storage>)"
               "</Pavo>",
               guid_of_operation(number), gigabytes));
    requests_.push_back({Request::Kind::kReservation, number, operation->device});
}

void EngineModel::on_reservation(std::size_t number, const std::string& temporary_directory) {
    const auto operation = find(number);
    if (operation == saved_.operations.end()) {
        expect_log(kLogError, fmt::format("NorVane - operation {} in disk space response was not found.",
                                          guid_of_operation(number)));
        return;
    }
    expect_log(kLogInformation,
               fmt::format("NorVane - requesting recordings from {} gap start time{} gap end time {}",
                           name_of(operation->device), utc_text(operation->start), utc_text(operation->end)));
    expect_storage_command(*operation, names::kAskRecordings,
                           fmt::format(R"( TmpFileDir="{}")", escaped(quoted(temporary_directory), true)));
    requests_.push_back({Request::Kind::kRecordings, number, operation->device});
}

void EngineModel::on_clip(std::size_t number, const std::string& clip, const std::string& recording) {
    if (find(number) == saved_.operations.end()) return;
    expect_log(kLogInformation, fmt::format("Parsing mp4 container - {}.\n", clip));
    // Which boxes a clip has beside those that matter is the camera's choice.
    expect_log(kLogInformation, fmt::format("Unknown box type : {}\n", kAnyText));
    expected_.back().any_number = true;
    expect_log(kLogInformation, fmt::format("Opened (and PSI) {}.\n", recording));
    expect_log(kLogInformation, fmt::format("Processing mp4 container stream - {}.\n", clip));
}

void EngineModel::on_refused_clip(std::size_t number, const std::string& clip) {
    if (find(number) == saved_.operations.end()) return;
    expect_log(kLogError, fmt::format("Unsupported file format - {}.\n", clip));
}

void EngineModel::on_removed(const Device& device) {
    supported_.erase(device);
    disconnect(device);
}

void EngineModel::on_done(std::size_t number) {
    const auto operation = find(number);
    if (operation == saved_.operations.end()) {
        expect_log(kLogInformation, "NorVane - done signal for unknown operation.");
        return;
    }
    expect_log(kLogInformation,
               fmt::format("NorVane - retrieve operation {} for device {} completed successfully.",
                           guid_of_operation(number), name_of(operation->device)));
    ++saved_.operations_done;
    complete(operation);
}

void EngineModel::on_failed(std::size_t number, std::int32_t error, Seconds failed_clip_start) {
    const auto operation = find(number);
    if (operation == saved_.operations.end()) {
        expect_log(kLogInformation, "NorVane - operation failed received for unknown operation.");
        return;
    }
    const std::string guid = guid_of_operation(number);
    expect_log(kLogError, fmt::format("NorVane - retrieve operation {} for device {} completed with error {}",
                                      guid, name_of(operation->device), error));
    if (++operation->attempts <= kMaxAttempts) {
        operation->start = failed_clip_start;
        expect_release(*operation);
        start_next();
        return;
    }
    expect_log(kLogError, fmt::format("NorVane - operation {} for device {} exceeded the retry limit.", guid,
                                      name_of(operation->device)));
    ++saved_.operations_dropped;
    complete(operation);
}

void EngineModel::complete(Iterator operation) {
    expect_release(*operation);
    saved_.operations.erase(operation);
    if (!saved_.operations.empty()) {
        start_next();
        return;
    }
    idle_ = true;
    expect_status(3);
    expect_log(kLogInformation, "NorVane - all operations completed successfully.");
}

void EngineModel::on_close() {
    expect_log(kLogInformation, "NorVane - saving state and unloading.");
    for (const Device& device : connected_) saved_.losses.push_back({device, std::nullopt});
    std::ranges::stable_sort(saved_.losses, {}, &Loss::device);
    saved_.state_file_exists = true;
    supported_.clear();
    connected_.clear();
    requests_.clear();
}

std::string EngineModel::state_file() const {
    std::string text = fmt::format("{}\n", kDeclaration);
    if (saved_.losses.empty() && saved_.operations.empty()) return text + "<Pavo/>\n";
    text += "<Pavo>\n";
    for (std::size_t i = 0; i < saved_.losses.size(); ++i) {
        const Loss& loss = saved_.losses[i];
        const bool opens = i == 0 || saved_.losses[i - 1].device.identifier != loss.device.identifier;
        const bool closes =
            i + 1 == saved_.losses.size() || saved_.losses[i + 1].device.identifier != loss.device.identifier;
        const std::string time = loss.time ? fmt::format("{}", *loss.time) : std::string(kPresentInstant);
        if (opens) text += fmt::format("    <Devices ID=\"{}\">\n", as_signed(loss.device.identifier));
        text += fmt::format("        <Device Number=\"{}\" DisconnectTime=\"{}\"/>\n",
                            as_signed(loss.device.number), time);
        if (closes) text += "    </Devices>\n";
    }
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
