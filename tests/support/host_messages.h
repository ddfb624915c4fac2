#pragma once

#include "tools/host_kit/host_documents.h"

inline constexpr host_kit::Device kCamera{458'752, 3};

/// Messages about one device that keeps recordings of its own: with the given content; that its only channel
/// is connected or not; that its clips are downloaded.
inline std::string about_device(const std::string& content, std::uint64_t number = kCamera.number) {
    return host_kit::about_device({kCamera.devices_id, static_cast<std::uint32_t>(number)}, content,
                                  R"( NorVaneSupported="1")");
}
inline std::string about_channel(bool connected, std::uint64_t seconds,
                                 std::uint64_t number = kCamera.number) {
    return about_device(
        host_kit::filled(host_kit::contents::kChannel, {0, 0, connected, static_cast<std::int64_t>(seconds)}),
        number);
}
inline std::string retrieval_done(const std::string& guid) {
    return about_device(host_kit::filled(host_kit::contents::kDone, {guid, NORVANEPI_RETRIEVAL_DONE}));
}
inline constexpr const char* kUnknownGuid = "00000000-0000-0000-0000-000000000001";
