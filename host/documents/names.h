#pragma once

// Constants for the vocabulary of the XML messages between host and module. norvanepi.h defines the words;
// docs/messages.md describes the documents.

#include <cstdint>

#include "norvanepi.h"

namespace names {

// Elements. The elements of the feature and the status message differ only in the case of one letter.
inline constexpr const char* kPavo = NORVANEPI_ELEMENT_PAVO;
inline constexpr const char* kModules = NORVANEPI_ELEMENT_MODULES;
inline constexpr const char* kModule = NORVANEPI_ELEMENT_MODULE;
inline constexpr const char* kFeature = NORVANEPI_ELEMENT_FEATURE;
inline constexpr const char* kStatusReport = NORVANEPI_ELEMENT_STATUS_REPORT;
inline constexpr const char* kDevices = NORVANEPI_ELEMENT_DEVICES;
inline constexpr const char* kDevice = NORVANEPI_ELEMENT_DEVICE;
inline constexpr const char* kCodec = NORVANEPI_ELEMENT_CODEC;
inline constexpr const char* kEncoder = NORVANEPI_ELEMENT_ENCODER;
inline constexpr const char* kChannel = NORVANEPI_ELEMENT_CHANNEL;
inline constexpr const char* kStorage = NORVANEPI_ELEMENT_STORAGE;
inline constexpr const char* kReservation = NORVANEPI_ELEMENT_RESERVATION;
inline constexpr const char* kInput = NORVANEPI_ELEMENT_INPUT;
inline constexpr const char* kContext = NORVANEPI_ELEMENT_CONTEXT;
inline constexpr const char* kLogMessage = NORVANEPI_ELEMENT_LOG_MESSAGE;

// Attributes.
inline constexpr const char* kDelta = NORVANEPI_ATTRIBUTE_DELTA;
inline constexpr const char* kName = NORVANEPI_ATTRIBUTE_NAME;
inline constexpr const char* kId = NORVANEPI_ATTRIBUTE_ID;
inline constexpr const char* kVersion = NORVANEPI_ATTRIBUTE_VERSION;
inline constexpr const char* kNumber = NORVANEPI_ATTRIBUTE_NUMBER;
inline constexpr const char* kGuid = NORVANEPI_ATTRIBUTE_GUID;
inline constexpr const char* kCommand = NORVANEPI_ATTRIBUTE_COMMAND;
inline constexpr const char* kStart = NORVANEPI_ATTRIBUTE_START;
inline constexpr const char* kStop = NORVANEPI_ATTRIBUTE_STOP;
inline constexpr const char* kTmpFileDir = NORVANEPI_ATTRIBUTE_TMP_FILE_DIR;
inline constexpr const char* kReserveGb = NORVANEPI_ATTRIBUTE_RESERVE_GB;
inline constexpr const char* kStatus = NORVANEPI_ATTRIBUTE_STATUS;
inline constexpr const char* kTime = NORVANEPI_ATTRIBUTE_TIME;
inline constexpr const char* kLevel = NORVANEPI_ATTRIBUTE_LEVEL;
inline constexpr const char* kIpAddress = NORVANEPI_ATTRIBUTE_IP_ADDRESS;
inline constexpr const char* kNorVaneSupported = NORVANEPI_ATTRIBUTE_NOR_VANE_SUPPORTED;
inline constexpr const char* kConnected = NORVANEPI_ATTRIBUTE_CONNECTED;
inline constexpr const char* kRetrievalStatus = NORVANEPI_ATTRIBUTE_RETRIEVAL_STATUS;
inline constexpr const char* kErrorCode = NORVANEPI_ATTRIBUTE_ERROR_CODE;
inline constexpr const char* kFailedClipStartTime = NORVANEPI_ATTRIBUTE_FAILED_CLIP_START_TIME;
inline constexpr const char* kRecordings = NORVANEPI_ATTRIBUTE_RECORDINGS;
inline constexpr const char* kTotalSize = NORVANEPI_ATTRIBUTE_TOTAL_SIZE;
inline constexpr const char* kOldestStart = NORVANEPI_ATTRIBUTE_OLDEST_START;
inline constexpr const char* kNewestEnd = NORVANEPI_ATTRIBUTE_NEWEST_END;
inline constexpr const char* kFileName = NORVANEPI_ATTRIBUTE_FILE_NAME;
inline constexpr const char* kInputNumber = NORVANEPI_ATTRIBUTE_INPUT_NUMBER;
inline constexpr const char* kInputName = NORVANEPI_ATTRIBUTE_INPUT_NAME;
inline constexpr const char* kType = NORVANEPI_ATTRIBUTE_TYPE;
inline constexpr const char* kTmpDir = NORVANEPI_ATTRIBUTE_TMP_DIR;
inline constexpr const char* kOutDir = NORVANEPI_ATTRIBUTE_OUT_DIR;

// Values.
inline constexpr const char* kModuleName = NORVANEPI_MODULE_NAME;
inline constexpr std::int32_t kModuleId = NORVANEPI_MODULE_ID;
inline constexpr std::int32_t kStorageId = NORVANEPI_STORAGE_ID;
inline constexpr const char* kAskStorageInfo = NORVANEPI_ASK_STORAGE_INFO;  // Storage Command
inline constexpr const char* kAskRecordings = NORVANEPI_ASK_RECORDINGS;
inline constexpr const char* kReleaseReservation = NORVANEPI_RELEASE_RESERVATION;  // Reservation Command
inline constexpr const char* kReserve = NORVANEPI_RESERVE;
inline constexpr std::int32_t kRetrievalDone = NORVANEPI_RETRIEVAL_DONE;  // RetrievalStatus
inline constexpr std::int32_t kRetrievalFailed = NORVANEPI_RETRIEVAL_FAILED;

// Message classes of the host's callback.
inline constexpr std::uint32_t kReservationClass = NORVANEPI_CLASS_RESERVATION;  // and status reports
inline constexpr std::uint32_t kLogClass = NORVANEPI_CLASS_LOG;
inline constexpr std::uint32_t kDeviceClass = NORVANEPI_CLASS_DEVICE;    // registration and features too
inline constexpr std::uint32_t kReleaseClass = NORVANEPI_CLASS_RELEASE;  // a host's buffer; no document

}  // namespace names
