#include "host/tal_server_impl.h"

#include <exception>
#include <memory>
#include <utility>

#include "convert/container_command.h"
#include "convert/mp4_parser.h"
#include "host/documents/names.h"
#include "host/documents/printable.h"
#include "host/documents/quoted_path.h"

namespace norvane {
namespace {

std::uint8_t recording_flags(std::int32_t clip_type) {
    switch (clip_type) {
        case 1:
            return kRecordingOfType1;
        case 3:
            return kRecordingOfType3;
        default:
            return 0;
    }
}

std::string with_separator(std::string directory) {
    constexpr auto kPreferred = static_cast<char>(platform::Path::preferred_separator);
    if (!directory.empty() && directory.back() != '/' && directory.back() != kPreferred) directory += '/';
    return directory;
}

}  // namespace

void CTalServerImpl::RequestDiskReservation(const Guid& guid, std::uint32_t gigabytes) {
    tinyxml2::XMLDocument document;
    documents::fill_reservation_request(document, guid, gigabytes);
    send_(document, names::kReservationClass);
}

void CTalServerImpl::ReleaseDiskReservation(const Guid& guid) {
    tinyxml2::XMLDocument document;
    documents::fill_reservation_release(document, guid);
    send_(document, names::kReservationClass);
}

Guid CTalServerImpl::GenerateGuid() {
    return guids_();
}

void CTalServerImpl::RequestStorageInfo(Guid guid, std::uint32_t devices_id, std::uint32_t device_number,
                                        Ticks start, Ticks stop) {
    tinyxml2::XMLDocument document;
    documents::fill_storage_info_request(document, {guid, {devices_id, device_number}, start, stop});
    send_(document, names::kDeviceClass);
}

void CTalServerImpl::RequestRecordings(Guid guid, std::uint32_t devices_id, std::uint32_t device_number,
                                       Ticks start, Ticks stop, const platform::Path& temporary_directory,
                                       platform::Path output_directory) {
    const auto error = files_.make_directory(platform::narrow_text(temporary_directory),
                                             platform::FileSystem::Existing::kAnything);
    if (error) {
        const std::string line = std::string("Error '") + error.category().name() + ":" +
                                 std::to_string(error.value()) + "' trying to create directory '" +
                                 documents::quoted(temporary_directory) + "'";
        LogError(line.c_str());
        return;
    }
    tinyxml2::XMLDocument document;
    documents::fill_recordings_request(document, {guid, {devices_id, device_number}, start, stop},
                                       temporary_directory);
    output_directory_ = std::move(output_directory);
    send_(document, names::kDeviceClass);
}

void CTalServerImpl::ConvertClip(Guid /*guid*/, std::uint32_t devices_id, std::uint32_t device_number,
                                 platform::Path clip_file, std::string input_name, Ticks start, Ticks stop,
                                 std::int32_t clip_type) {
    StreamRecord request;
    request.identifier = devices_id;
    request.deviceNumber = device_number;
    request.startSeconds = static_cast<std::uint32_t>(platform::seconds_of(start));
    request.stopSeconds = static_cast<std::uint32_t>(platform::seconds_of(stop));
    request.inputName = std::move(input_name);
    request.sourceFile = platform::narrow_text(clip_file);
    request.outputDirectory = platform::narrow_text(output_directory_);
    if (options_.directory_separator) request.outputDirectory = with_separator(request.outputDirectory);
    request.flags = recording_flags(clip_type);
    convert(request);
}

void CTalServerImpl::convert(const StreamRecord& request) {
    const auto log_error = [&](const char* what) {
        LogError(("NorVane - Error '" + std::string(what) + "' while converting " + request.sourceFile + ".")
                     .c_str());
    };
    try {
        const auto log_line = [this](std::int32_t level, const std::string& text) {
            log(level, text.c_str());
        };
        VideoContainerConverterCommand<Mp4Parser> command(std::make_unique<Mp4Parser>(
            request, ConversionContext{files_, sleeper_, log_line, {}, options_}));
        (void)command.run();  // the command has logged its result
    } catch (const std::exception& error) {
        log_error(error.what());
    } catch (...) {
        log_error("unknown");
    }
}

void CTalServerImpl::ReportStatus(std::int32_t status, Ticks now) {
    tinyxml2::XMLDocument document;
    documents::fill_status(document, status, now);
    send_(document, names::kReservationClass);
}

void CTalServerImpl::LogInfo(const char* text) {
    log(kLogInformation, text);
}

void CTalServerImpl::LogError(const char* text) {
    log(kLogError, text);
}

void CTalServerImpl::log(std::int32_t level, const char* text) {
    tinyxml2::XMLDocument document;
    documents::fill_log_message(document, level,
                                options_.well_formed_log ? documents::printable(text).c_str() : text);
    send_(document, names::kLogClass);
}

}  // namespace norvane
