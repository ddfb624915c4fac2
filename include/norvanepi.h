#ifndef NORVANEPI_H
#define NORVANEPI_H

/*
 * norvanepi for a host: the records, codes and texts of its interface, in C11 and in C++, without code.
 * docs/host-interface.md says what they are for; minimal_host.c is a host that uses them.
 *
 * Every record is little-endian and of the size that it has here. Bytes named "reserved" are neither read nor
 * written. What a comment calls "for the call" may be touched until that call returns and never after it.
 */

#include <stddef.h>
#include <stdint.h>

#if UINTPTR_MAX != UINT64_MAX
#error "the records hold 64-bit addresses"
#endif

#ifdef __cplusplus
#define NORVANEPI_ASSERT(condition) static_assert(condition, #condition)
extern "C" {
#else
#define NORVANEPI_ASSERT(condition) _Static_assert(condition, #condition)
#endif
#define NORVANEPI_AT(record, field, offset) NORVANEPI_ASSERT(offsetof(struct record, field) == (offset))
#define NORVANEPI_SIZE(record, size) NORVANEPI_ASSERT(sizeof(struct record) == (size))

/* ---- Codes ---- */

/** The module, in records and documents. A Write with this sender is the module's own message: ignored. */
#define NORVANEPI_MODULE_ID 0x00510000
/** The storage, in documents that reserve and release its space. */
#define NORVANEPI_STORAGE_ID 0x00050000

/** Status of a record. */
#define NORVANEPI_ACCEPTED 0
#define NORVANEPI_REFUSED (-1)

/** Control codes of IOCTL. */
#define NORVANEPI_RUN_MAIN_LOOP 1 /* blocks until Close: call it on a thread of its own */
#define NORVANEPI_QUEUE_MESSAGE 2 /* what Write does */
#define NORVANEPI_NOTHING 3

/** Message classes of the callback. */
#define NORVANEPI_CLASS_RESERVATION 4 /* reservations and status */
#define NORVANEPI_CLASS_LOG 64
#define NORVANEPI_CLASS_DEVICE 256  /* registration, features, device storage commands */
#define NORVANEPI_CLASS_RELEASE 512 /* no document: gives a text back */

/* ---- The callback ---- */

/** OWNERSHIP: record and text are the module's, for the call. */
struct norvanepi_host_request {
    uint32_t record_size; /* 192 */
    uint32_t word4;       /* 1 */
    uint32_t length;      /* of a document's text, its NUL counted; 0 for a release */
    uint32_t word12;      /* 0 */
    /**
     * A document, to be copied by who needs it longer; for NORVANEPI_CLASS_RELEASE the text that the host
     * handed to Write or IOCTL, which is wholly the host's again from here on.
     */
    const char* data;
    uint32_t identifier; /* NORVANEPI_MODULE_ID */
    uint32_t word28;     /* 0 */
    uint32_t message_class;
    uint32_t word36; /* 0x01000010 for a document, 0 for a release */
    uint8_t zeros[152];
};
NORVANEPI_AT(norvanepi_host_request, record_size, 0);
NORVANEPI_AT(norvanepi_host_request, word4, 4);
NORVANEPI_AT(norvanepi_host_request, length, 8);
NORVANEPI_AT(norvanepi_host_request, word12, 12);
NORVANEPI_AT(norvanepi_host_request, data, 16);
NORVANEPI_AT(norvanepi_host_request, identifier, 24);
NORVANEPI_AT(norvanepi_host_request, word28, 28);
NORVANEPI_AT(norvanepi_host_request, message_class, 32);
NORVANEPI_AT(norvanepi_host_request, word36, 36);
NORVANEPI_AT(norvanepi_host_request, zeros, 40);
NORVANEPI_SIZE(norvanepi_host_request, 192);

/** OWNERSHIP: the module's, for the call. The host may set the result; it counts for releases only. */
struct norvanepi_host_reply {
    uint32_t record_size; /* 12 */
    uint32_t word4;       /* 1 */
    uint32_t result;      /* 0, when the host has nothing to say */
};
NORVANEPI_AT(norvanepi_host_reply, record_size, 0);
NORVANEPI_AT(norvanepi_host_reply, word4, 4);
NORVANEPI_AT(norvanepi_host_reply, result, 8);
NORVANEPI_SIZE(norvanepi_host_reply, 12);

/**
 * The host's function that takes everything the module says; 0 is success. THREAD: the one inside Open, the
 * one inside IOCTL code 1 and the one inside Close, never two of them at once. It may call Write. Nothing may
 * be thrown out of it.
 */
typedef int32_t norvanepi_host_callback(const struct norvanepi_host_request* request,
                                        struct norvanepi_host_reply* reply);

/* ---- Records of the entry points ---- */

/** First argument of Load. OWNERSHIP: the host's, for the call; the callback is called until Unload. */
struct norvanepi_host_info {
    uint8_t reserved0[16];
    norvanepi_host_callback* callback; /* null: nothing is said */
};
NORVANEPI_AT(norvanepi_host_info, callback, 16);
NORVANEPI_SIZE(norvanepi_host_info, 24);

/** Second argument of Load, written. OWNERSHIP: the host's, for the call. */
struct norvanepi_module_info {
    uint8_t reserved0[8];
    uint32_t identifier; /* NORVANEPI_MODULE_ID */
    uint32_t word12;     /* 0x08000310 */
    uint32_t word16;     /* 0 */
    uint32_t word20;     /* 0x03000010 */
    uint32_t word24;     /* 0 */
    uint32_t word28;     /* 0 */
    uint32_t word32;     /* 0x08000310 */
    uint32_t word36;     /* 0 */
    uint32_t word40;     /* 0 */
    uint8_t reserved44[8];
    uint32_t word52; /* 0x01010001 */
    uint16_t half56; /* 0 */
    uint8_t reserved58[2];
    uint32_t word60; /* 0 */
};
NORVANEPI_AT(norvanepi_module_info, identifier, 8);
NORVANEPI_AT(norvanepi_module_info, word12, 12);
NORVANEPI_AT(norvanepi_module_info, word16, 16);
NORVANEPI_AT(norvanepi_module_info, word20, 20);
NORVANEPI_AT(norvanepi_module_info, word24, 24);
NORVANEPI_AT(norvanepi_module_info, word28, 28);
NORVANEPI_AT(norvanepi_module_info, word32, 32);
NORVANEPI_AT(norvanepi_module_info, word36, 36);
NORVANEPI_AT(norvanepi_module_info, word40, 40);
NORVANEPI_AT(norvanepi_module_info, word52, 52);
NORVANEPI_AT(norvanepi_module_info, half56, 56);
NORVANEPI_AT(norvanepi_module_info, word60, 60);
NORVANEPI_SIZE(norvanepi_module_info, 64);

/** Second argument of Open, written. OWNERSHIP: the host's, for the call. */
struct norvanepi_open_result {
    uint8_t reserved0[8];
    int64_t status;
};
NORVANEPI_AT(norvanepi_open_result, status, 8);
NORVANEPI_SIZE(norvanepi_open_result, 16);

/** Second argument of Close and of Unload, written. OWNERSHIP: the host's, for the call. */
struct norvanepi_close_result {
    uint8_t reserved0[8];
    int32_t status;
};
NORVANEPI_AT(norvanepi_close_result, status, 8);
NORVANEPI_SIZE(norvanepi_close_result, 12);

/** Second argument of Seek, written: always NORVANEPI_REFUSED. OWNERSHIP: the host's, for the call. */
struct norvanepi_seek_result {
    uint8_t reserved0[8];
    int32_t status;
};
NORVANEPI_AT(norvanepi_seek_result, status, 8);
NORVANEPI_SIZE(norvanepi_seek_result, 12);

/** Second argument of Read, written: always 0. OWNERSHIP: the host's, for the call. */
struct norvanepi_read_result {
    uint8_t reserved0[24];
    uint32_t count;
};
NORVANEPI_AT(norvanepi_read_result, count, 24);
NORVANEPI_SIZE(norvanepi_read_result, 28);

/** First argument of Write. OWNERSHIP: the record is the host's, for the call. */
struct norvanepi_write_request {
    uint8_t reserved0[12];
    uint8_t refused; /* not 0: the record is refused */
    uint8_t reserved13[3];
    uint32_t length; /* of the text; no NUL is needed */
    uint8_t reserved20[4];
    /**
     * OWNERSHIP: the host's. Once accepted it has to stay where it is, unchanged, until the module gives it
     * back with a request of NORVANEPI_CLASS_RELEASE, exactly once, at the latest inside Close. THREAD: it is
     * read on the main loop's. A text that was refused is not kept.
     */
    const char* text;
    uint32_t identifier; /* of the sender */
    uint8_t reserved36[4];
    uint32_t carried_b; /* carried, not interpreted */
    uint32_t carried_a;
};
NORVANEPI_AT(norvanepi_write_request, refused, 12);
NORVANEPI_AT(norvanepi_write_request, length, 16);
NORVANEPI_AT(norvanepi_write_request, text, 24);
NORVANEPI_AT(norvanepi_write_request, identifier, 32);
NORVANEPI_AT(norvanepi_write_request, carried_b, 40);
NORVANEPI_AT(norvanepi_write_request, carried_a, 44);
NORVANEPI_SIZE(norvanepi_write_request, 48);

/** Second argument of Write, written. OWNERSHIP: the host's, for the call. */
struct norvanepi_write_result {
    uint8_t reserved0[24];
    int32_t status;
    uint32_t count; /* 1 when accepted, else left as it was */
};
NORVANEPI_AT(norvanepi_write_result, status, 24);
NORVANEPI_AT(norvanepi_write_result, count, 28);
NORVANEPI_SIZE(norvanepi_write_result, 32);

/** First argument of IOCTL. OWNERSHIP: the record is the host's, for the call. */
struct norvanepi_ioctl_request {
    uint8_t reserved0[8];
    uint32_t code;
    uint8_t reserved12[12];
    uint32_t length; /* NORVANEPI_QUEUE_MESSAGE: as for Write */
    uint8_t reserved28[4];
    const char* text; /* likewise; OWNERSHIP and THREAD as for Write */
};
NORVANEPI_AT(norvanepi_ioctl_request, code, 8);
NORVANEPI_AT(norvanepi_ioctl_request, length, 24);
NORVANEPI_AT(norvanepi_ioctl_request, text, 32);
NORVANEPI_SIZE(norvanepi_ioctl_request, 40);

/** Second argument of IOCTL, written. OWNERSHIP: the host's, for the call. */
struct norvanepi_ioctl_result {
    uint8_t reserved0[12];
    int32_t status;
    uint32_t count; /* NORVANEPI_QUEUE_MESSAGE: 1 when accepted */
};
NORVANEPI_AT(norvanepi_ioctl_result, status, 12);
NORVANEPI_AT(norvanepi_ioctl_result, count, 16);
NORVANEPI_SIZE(norvanepi_ioctl_result, 20);

/* ---- The entry points, as dlsym finds them; each returns 0, its outcome is in the second record ---- */

/** THREAD: any, one at a time. */
typedef int32_t norvanepi_load(const struct norvanepi_host_info* host, struct norvanepi_module_info* module);
/** THREAD: any, one at a time, behind Close. The first argument is not read and may be null. */
typedef int32_t norvanepi_unload(const void* unused, struct norvanepi_close_result* result);
/** THREAD: any, one at a time; reads the state file and calls the callback. */
typedef int32_t norvanepi_open(const void* unused, struct norvanepi_open_result* result);
/** THREAD: any; returns when the main loop has ended, calls the callback and writes the state file. */
typedef int32_t norvanepi_close(const void* unused, struct norvanepi_close_result* result);
/** THREAD: any. */
typedef int32_t norvanepi_read(const void* unused, struct norvanepi_read_result* result);
/** THREAD: any, many at once, also from inside the callback. Never waits for work. */
typedef int32_t norvanepi_write(const struct norvanepi_write_request* request,
                                struct norvanepi_write_result* result);
/** THREAD: any. */
typedef int32_t norvanepi_seek(const void* unused, struct norvanepi_seek_result* result);
/** THREAD: any; NORVANEPI_RUN_MAIN_LOOP keeps its thread until Close. */
typedef int32_t norvanepi_ioctl(const struct norvanepi_ioctl_request* request,
                                struct norvanepi_ioctl_result* result);

/* ---- Texts of the documents ---- */

/** Elements. The features' and the status report's differ in one letter's case. */
#define NORVANEPI_ELEMENT_PAVO "Pavo"
#define NORVANEPI_ELEMENT_MODULES "Modules"
#define NORVANEPI_ELEMENT_MODULE "Module"
#define NORVANEPI_ELEMENT_FEATURE "Norvane"
#define NORVANEPI_ELEMENT_STATUS_REPORT "NorVane"
#define NORVANEPI_ELEMENT_DEVICES "Devices"
#define NORVANEPI_ELEMENT_DEVICE "Device"
#define NORVANEPI_ELEMENT_CODEC "Codec"
#define NORVANEPI_ELEMENT_ENCODER "Encoder"
#define NORVANEPI_ELEMENT_CHANNEL "Channel"
#define NORVANEPI_ELEMENT_STORAGE "Storage"
#define NORVANEPI_ELEMENT_RESERVATION "Reservation"
#define NORVANEPI_ELEMENT_INPUT "Input"
#define NORVANEPI_ELEMENT_CONTEXT "Context"
#define NORVANEPI_ELEMENT_LOG_MESSAGE "log_msg"

/** Attributes. */
#define NORVANEPI_ATTRIBUTE_DELTA "Delta"
#define NORVANEPI_ATTRIBUTE_NAME "Name"
#define NORVANEPI_ATTRIBUTE_ID "ID"
#define NORVANEPI_ATTRIBUTE_VERSION "Version"
#define NORVANEPI_ATTRIBUTE_NUMBER "Number"
#define NORVANEPI_ATTRIBUTE_GUID "GUID"
#define NORVANEPI_ATTRIBUTE_COMMAND "Command"
#define NORVANEPI_ATTRIBUTE_START "Start"
#define NORVANEPI_ATTRIBUTE_STOP "Stop"
#define NORVANEPI_ATTRIBUTE_TMP_FILE_DIR "TmpFileDir"
#define NORVANEPI_ATTRIBUTE_RESERVE_GB "ReserveGB"
#define NORVANEPI_ATTRIBUTE_STATUS "Status"
#define NORVANEPI_ATTRIBUTE_TIME "Time"
#define NORVANEPI_ATTRIBUTE_LEVEL "level"
#define NORVANEPI_ATTRIBUTE_IP_ADDRESS "ipAddress"
#define NORVANEPI_ATTRIBUTE_NOR_VANE_SUPPORTED "NorVaneSupported"
#define NORVANEPI_ATTRIBUTE_CONNECTED "Connected"
#define NORVANEPI_ATTRIBUTE_RETRIEVAL_STATUS "RetrievalStatus"
#define NORVANEPI_ATTRIBUTE_ERROR_CODE "ErrorCode"
#define NORVANEPI_ATTRIBUTE_FAILED_CLIP_START_TIME "FailedClipStartTime"
#define NORVANEPI_ATTRIBUTE_RECORDINGS "Recordings"
#define NORVANEPI_ATTRIBUTE_TOTAL_SIZE "TotalSize"
#define NORVANEPI_ATTRIBUTE_OLDEST_START "OldestStart"
#define NORVANEPI_ATTRIBUTE_NEWEST_END "NewestEnd"
#define NORVANEPI_ATTRIBUTE_FILE_NAME "FileName"
#define NORVANEPI_ATTRIBUTE_INPUT_NUMBER "InputNumber"
#define NORVANEPI_ATTRIBUTE_INPUT_NAME "InputName"
#define NORVANEPI_ATTRIBUTE_TYPE "Type"
#define NORVANEPI_ATTRIBUTE_TMP_DIR "TmpDir"
#define NORVANEPI_ATTRIBUTE_OUT_DIR "OutDir"

/** Values. */
#define NORVANEPI_MODULE_NAME "norvanepi"
#define NORVANEPI_ASK_STORAGE_INFO "1" /* Command of a device's Storage */
#define NORVANEPI_ASK_RECORDINGS "2"
#define NORVANEPI_RELEASE_RESERVATION 3 /* Command of Reservation */
#define NORVANEPI_RESERVE 4
#define NORVANEPI_RETRIEVAL_DONE 3 /* RetrievalStatus; of a clip: it was downloaded */
#define NORVANEPI_RETRIEVAL_FAILED 4
#define NORVANEPI_STATUS_STARTED 2 /* Status: operations have begun */
#define NORVANEPI_STATUS_ALL_DONE 3
#define NORVANEPI_LEVEL_INFORMATION 25
#define NORVANEPI_LEVEL_ERROR 75

#ifdef __cplusplus
}
#endif

#endif
