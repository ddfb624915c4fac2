#pragma once

// The vocabulary of the state file and its error texts. docs/state-file.md describes the file.

#include <array>

namespace norvane::state {

inline constexpr const char* kFileName = "norvanepi_state.xml";
inline constexpr const char* kDeclaration = "xml version=\"1.0\" encoding=\"UTF-8\"";

// Elements.
inline constexpr const char* kPavo = "Pavo";
inline constexpr const char* kDevices = "Devices";
inline constexpr const char* kDevice = "Device";
inline constexpr const char* kOperations = "Operations";
inline constexpr const char* kOperation = "Operation";

// Attributes. Devices and Device are both an element and an attribute of Operation.
inline constexpr const char* kId = "ID";
inline constexpr const char* kNumber = "Number";
inline constexpr const char* kDisconnectTime = "DisconnectTime";
inline constexpr const char* kChannel = "Channel";  // only with the option `channels`
inline constexpr const char* kGuid = "GUID";
inline constexpr const char* kStartTime = "StartTime";
inline constexpr const char* kEndTime = "EndTime";
inline constexpr const char* kAttempts = "Attempts";
// Only with the option `retries`.
inline constexpr const char* kFailedTime = "FailedTime";
inline constexpr const char* kReason = "Reason";
inline constexpr const char* kErrorCode = "ErrorCode";

// Values of Reason, in the order of FailureReason.
inline constexpr std::array kReasons = {"unknown", "reported", "no answer", "unusable answer"};

// Only in the journal.
inline constexpr const char* kStage = "Stage";

// Values of Stage, in the order of Stage.
inline constexpr std::array kStages = {"waiting", "storage information", "reservation", "recordings",
                                       "retry",   "next start"};

// Error texts.
inline constexpr const char* kUnreadable = "error opening or parsing norvanepi.xml";
inline constexpr const char* kBadPlugInId = "invalid or missing plug-in id";
inline constexpr const char* kBadDeviceNumber = "invalid or missing device number";
inline constexpr const char* kBadDisconnectTime = "invalid or missing disconnect time";

}  // namespace norvane::state
