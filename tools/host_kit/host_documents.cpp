#include "tools/host_kit/host_documents.h"

#include <array>
#include <boost/algorithm/string/replace.hpp>
#include <span>

namespace host_kit {

std::string device_element(const std::string& number, const std::string& content,
                           const std::string& attributes) {
    const std::string end = content.empty() ? "/>" : ">" + content + "</Device>";
    return R"(<Device Number=")" + number + '"' + attributes + end;
}

std::string about_device(const Device& device, const std::string& content, const std::string& attributes) {
    return filled(R"(<Pavo><Devices ID="{}">{}</Devices></Pavo>)",
                  {device.devices_id, device_element(std::to_string(device.number), content, attributes)});
}

std::string name_of(const Device& device) {
    return filled("{} {}", {device.devices_id, device.number});
}

std::string quoted(const std::string& path) {
    std::string text = "\"";
    for (const char c : path) {
        if (c == '"' || c == '&') text += '&';
        text += c;
    }
    return text + '"';
}

std::string escaped(std::string text, bool attribute) {
    constexpr std::array<std::array<const char*, 2>, 5> kEntities = {
        {{"&", "&amp;"}, {"<", "&lt;"}, {">", "&gt;"}, {"\"", "&quot;"}, {"'", "&apos;"}}};
    for (const auto& [character, entity] : std::span(kEntities).first(attribute ? 5 : 3))
        boost::replace_all(text, character, entity);
    return text;
}

std::string device_document(const Device& device, const std::string& address) {
    return about_device(device, "", filled(R"( ipAddress="{}" NorVaneSupported="1")", {escaped(address)}));
}

/// Always channel 0: the module restores a loss under that number after a restart.
std::string channel_document(const Device& device, bool connected, Seconds time, std::uint32_t channel) {
    return about_device(device, filled(contents::kChannel, {0, channel, connected, time}));
}

std::string storage_info_document(const Device& device, const std::string& guid, const StorageInfo& info) {
    if (info.recordings <= 0) return about_device(device, filled(contents::kNothingStored, {guid}));
    return about_device(device, filled(contents::kStorageInfo, {guid, 0, info.recordings, info.megabytes,
                                                                info.oldest, info.newest, std::string()}));
}

std::string reservation_document(const std::string& guid, const std::string& temporary_directory,
                                 const std::string& output_directory) {
    return filled(
        "<Pavo>{}</Pavo>",
        {filled(contents::kReservation, {guid, escaped(temporary_directory), escaped(output_directory)})});
}

std::string clip_document(const Device& device, const std::string& guid, const ClipNotice& clip) {
    return about_device(
        device, filled(contents::kClip, {guid, NORVANEPI_RETRIEVAL_DONE, escaped(quoted(clip.file)),
                                         clip.start, clip.stop, 1, escaped(clip.input_name), clip.type}));
}

std::string done_document(const Device& device, const std::string& guid) {
    return about_device(device, filled(contents::kDone, {guid, NORVANEPI_RETRIEVAL_DONE}));
}

std::string failed_document(const Device& device, const std::string& guid, std::int32_t error,
                            Seconds failed_clip_start) {
    return about_device(
        device, filled(contents::kFailed, {guid, NORVANEPI_RETRIEVAL_FAILED, error, failed_clip_start}));
}

}  // namespace host_kit
