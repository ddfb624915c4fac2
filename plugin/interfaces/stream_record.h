#pragma once

#include <cstdint>
#include <string>

/// A queued host message, or the request to convert one clip. Each field names which of the two uses it.
struct StreamRecord {
    std::uint32_t word0 = 0;
    std::int32_t length = 0;         // message: bytes of text; 0 if it is not to be parsed
    const char* text = nullptr;      // message: OWNERSHIP: the host's; valid until released
    std::uint32_t carriedA = 0;      // message: copied, not interpreted
    std::uint32_t carriedB = 0;      // message: copied, not interpreted
    std::uint32_t identifier = 0;    // message: sender; clip: devices identifier
    std::uint32_t inputBase = 0;     // clip: part of the clip id
    std::uint32_t word8 = 0;         // clip: part of the clip id
    std::uint32_t startSeconds = 0;  // clip: since 1970-01-01 UTC
    std::uint32_t stopSeconds = 0;
    std::uint32_t deviceNumber = 0;
    std::string sourceFile;       // clip: path of the downloaded file
    std::string string2;          // empty
    std::string inputName;        // clip: name of the camera input
    std::string outputDirectory;  // clip: root of the output tree, with a trailing separator
    std::string string5;          // empty
    std::uint8_t flags = 0;       // message: kQueuedMessage; clip: recording kind
    std::uint8_t flags2 = 0;      // clip: program code
};

/// Values of StreamRecord::flags.
inline constexpr std::uint8_t kQueuedMessage = 0x80;
inline constexpr std::uint8_t kRecordingOfType1 = 0x80;
inline constexpr std::uint8_t kRecordingOfType3 = 0x40;
