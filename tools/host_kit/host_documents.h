#pragma once

// The documents that a host sends: without white space and XML declaration.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "plugin/interfaces/records.h"

namespace host_kit {

/// Seconds since 1970-01-01 00:00:00 UTC.
using Seconds = std::int64_t;

/// The host's identifier of a camera.
using Device = norvane::DeviceKey;

/// Replaces each {} of a form by the next value, in order.
template <typename Next>
[[nodiscard]] std::string filled_by(std::string_view form, Next next) {
    std::string text;
    for (auto at = form.find("{}"); at != form.npos; at = form.find("{}")) {
        text.append(form.substr(0, at)).append(next());
        form.remove_prefix(at + 2);
    }
    return text.append(form);
}

/// A value as text.
struct Value {
    Value(std::string escaped) : text(std::move(escaped)) {}
    Value(std::int64_t number) : text(std::to_string(number)) {}
    std::string text;
};
[[nodiscard]] inline std::string filled(std::string_view form, const std::vector<Value>& values) {
    auto value = values.begin();
    return filled_by(form, [&] { return (value++)->text; });
}

/// The contents of documents as forms. Each {} is the value of an attribute; the last one of kStorageInfo is
/// for more contexts.
namespace contents {
inline constexpr const char* kChannel =
    R"(<Codec><Encoder Number="{}"><Channel Number="{}" Connected="{}" Time="{}"/></Encoder></Codec>)";
inline constexpr const char* kNothingStored =
    R"(<Storage GUID="{}"><Input><Context Number="0" Recordings="0"/></Input></Storage>)";
inline constexpr const char* kStorageInfo =
    R"(<Storage GUID="{}"><Input><Context Number="{}" Recordings="{}" TotalSize="{}" OldestStart="{}" )"
    R"(NewestEnd="{}"/>{}</Input></Storage>)";
inline constexpr const char* kReservation =
    R"(<Storage><Reservation GUID="{}" TmpDir="{}" OutDir="{}"/></Storage>)";
inline constexpr const char* kClip =
    R"(<Input><Context><Storage GUID="{}" RetrievalStatus="{}" FileName="{}" Start="{}" Stop="{}" )"
    R"(InputNumber="{}" InputName="{}" Type="{}"/></Context></Input>)";
inline constexpr const char* kDone = R"(<Storage GUID="{}" RetrievalStatus="{}"/>)";
inline constexpr const char* kFailed =
    R"(<Storage GUID="{}" RetrievalStatus="{}" ErrorCode="{}" FailedClipStartTime="{}"/>)";
}  // namespace contents

/// A Device element. The attributes begin with a space.
[[nodiscard]] std::string device_element(const std::string& number, const std::string& content,
                                         const std::string& attributes = "");
[[nodiscard]] std::string about_device(const Device& device, const std::string& content,
                                       const std::string& attributes = "");

/// The form used in log lines.
[[nodiscard]] std::string name_of(const Device& device);

/// A path in the form of FileName and TmpFileDir: in quotes, with & before every quote and & inside.
[[nodiscard]] std::string quoted(const std::string& path);

/// Text as XML, or as the value of an attribute.
[[nodiscard]] std::string escaped(std::string text, bool attribute = true);

[[nodiscard]] std::string device_document(const Device& device, const std::string& address);
[[nodiscard]] std::string channel_document(const Device& device, bool connected, Seconds time,
                                           std::uint32_t channel = 0);

/// The recordings that the camera has for an operation; 0 if there is nothing to retrieve.
struct StorageInfo {
    std::int32_t recordings = 0;
    std::int32_t megabytes = 0;
    Seconds oldest = 0;
    Seconds newest = 0;
};
[[nodiscard]] std::string storage_info_document(const Device& device, const std::string& guid,
                                                const StorageInfo& info);

[[nodiscard]] std::string reservation_document(const std::string& guid,
                                               const std::string& temporary_directory,
                                               const std::string& output_directory);

struct ClipNotice {
    std::string file = {};
    Seconds start = 0;
    Seconds stop = 0;
    std::string input_name = {};
    std::int32_t type = 1;
};
[[nodiscard]] std::string clip_document(const Device& device, const std::string& guid,
                                        const ClipNotice& clip);

[[nodiscard]] std::string done_document(const Device& device, const std::string& guid);
[[nodiscard]] std::string failed_document(const Device& device, const std::string& guid, std::int32_t error,
                                          Seconds failed_clip_start);

}  // namespace host_kit
