#pragma once

// The vocabulary of the XML messages between host and module: every element and attribute name, every
// constant. docs/host-interface.md describes the documents.

#include <cstdint>

#include "plugin/interfaces/log_level.h"

namespace names {

// Elements. The feature message's element and the status message's element differ in one letter's case.
inline constexpr const char* kPavo = "Pavo";
inline constexpr const char* kModules = "Modules";
inline constexpr const char* kModule = "Module";
inline constexpr const char* kFeature = "Norvane";
inline constexpr const char* kStatusReport = "NorVane";
inline constexpr const char* kDevices = "Devices";
inline constexpr const char* kDevice = "Device";
inline constexpr const char* kCodec = "Codec";
inline constexpr const char* kEncoder = "Encoder";
inline constexpr const char* kChannel = "Channel";
inline constexpr const char* kStorage = "Storage";
inline constexpr const char* kReservation = "Reservation";
inline constexpr const char* kInput = "Input";
inline constexpr const char* kContext = "Context";
inline constexpr const char* kLogMessage = "log_msg";

// Attributes.
inline constexpr const char* kDelta = "Delta";
inline constexpr const char* kName = "Name";
inline constexpr const char* kId = "ID";
inline constexpr const char* kVersion = "Version";
inline constexpr const char* kNumber = "Number";
inline constexpr const char* kGuid = "GUID";
inline constexpr const char* kCommand = "Command";
inline constexpr const char* kStart = "Start";
inline constexpr const char* kStop = "Stop";
inline constexpr const char* kTmpFileDir = "TmpFileDir";
inline constexpr const char* kReserveGb = "ReserveGB";
inline constexpr const char* kStatus = "Status";
inline constexpr const char* kTime = "Time";
inline constexpr const char* kLevel = "level";
inline constexpr const char* kIpAddress = "ipAddress";
inline constexpr const char* kNorVaneSupported = "NorVaneSupported";
inline constexpr const char* kConnected = "Connected";
inline constexpr const char* kRetrievalStatus = "RetrievalStatus";
inline constexpr const char* kErrorCode = "ErrorCode";
inline constexpr const char* kFailedClipStartTime = "FailedClipStartTime";
inline constexpr const char* kRecordings = "Recordings";
inline constexpr const char* kTotalSize = "TotalSize";
inline constexpr const char* kOldestStart = "OldestStart";
inline constexpr const char* kNewestEnd = "NewestEnd";
inline constexpr const char* kFileName = "FileName";
inline constexpr const char* kInputNumber = "InputNumber";
inline constexpr const char* kInputName = "InputName";
inline constexpr const char* kType = "Type";
inline constexpr const char* kTmpDir = "TmpDir";
inline constexpr const char* kOutDir = "OutDir";

// Values.
inline constexpr const char* kModuleName = "norvanepi";
inline constexpr std::int32_t kModuleId = 0x00510000;
inline constexpr std::int32_t kStorageId = 0x00050000;
inline constexpr const char* kAskStorageInfo = "1";  // Storage Command
inline constexpr const char* kAskRecordings = "2";
inline constexpr std::int32_t kReleaseReservation = 3;  // Reservation Command
inline constexpr std::int32_t kReserve = 4;
inline constexpr std::int32_t kRetrievalDone = 3;  // RetrievalStatus
inline constexpr std::int32_t kRetrievalFailed = 4;
inline constexpr std::int32_t kInformation = kLogInformation;  // level
inline constexpr std::int32_t kError = kLogError;

// Message classes of the host's callback.
inline constexpr std::uint32_t kReservationClass = 4;  // reservations and status reports
inline constexpr std::uint32_t kLogClass = 64;
inline constexpr std::uint32_t kDeviceClass = 256;   // registration, features, device storage commands
inline constexpr std::uint32_t kReleaseClass = 512;  // gives a host buffer back; carries no document

}  // namespace names
