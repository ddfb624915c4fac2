#pragma once

#include <cstdint>
#include <string>

/// Messages about one device: with the given content; that its only channel is connected or not; that its
/// clips are downloaded.
inline std::string about_device(const std::string& inside, std::uint64_t number = 3) {
    return "<Pavo><Devices ID='458752'><Device Number='" + std::to_string(number) +
           "' NorVaneSupported='1'>" + inside + "</Device></Devices></Pavo>";
}
inline std::string about_channel(bool connected, std::uint64_t seconds, std::uint64_t number = 3) {
    return about_device("<Codec><Encoder Number='0'><Channel Number='0' Connected='" +
                            std::to_string(int{connected}) + "' Time='" + std::to_string(seconds) +
                            "'/></Encoder></Codec>",
                        number);
}
inline std::string retrieval_done(const std::string& guid) {
    return about_device("<Storage RetrievalStatus='3' GUID='" + guid + "'/>");
}
inline constexpr const char* kUnknownGuid = "00000000-0000-0000-0000-000000000001";
