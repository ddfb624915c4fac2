#ifndef NORVANEPI_H
#define NORVANEPI_H

/*
 * The interface between a host and norvanepi: records, codes, and names in XML documents. Declarations only,
 * for C11 (with GCC and Clang also C99) and for C++11 and later. host-interface.md explains their use,
 * host-checklist.md what a host has to do; examples/minimal_host.c and examples/site_host.c are complete
 * hosts. They are installed in share/doc/norvanepi, or share/doc/norvanepi-dev on Debian.
 *
 * All records are little-endian and have exactly the sizes declared here. The module neither reads nor writes
 * bytes named "reserved". Fields named after their offset ("word12") have a fixed value without a meaning for
 * hosts. The module treats a null record as all zeros.
 *
 * Comments marked OWNERSHIP name the owner of memory. "Valid during the call" means that the other side may
 * access it until that call returns, and not afterwards. Comments marked THREAD name the calling threads.
 */

#include <stddef.h>
#include <stdint.h>

#if UINTPTR_MAX != UINT64_MAX
#error "the records hold 64-bit addresses"
#endif
#if defined(__cplusplus) && __cplusplus < 201103L && !defined(_MSC_VER)
#error "norvanepi.h needs C++11 or later"
#endif

#ifdef __cplusplus
#define NORVANEPI_ASSERT(condition) static_assert(condition, #condition)
extern "C" {
#elif defined(__GNUC__) /* which have it before C11, too */
#define NORVANEPI_ASSERT(condition) __extension__ _Static_assert(condition, #condition)
#else
#define NORVANEPI_ASSERT(condition) _Static_assert(condition, #condition)
#endif
#define NORVANEPI_AT(record, field, offset) NORVANEPI_ASSERT(offsetof(struct record, field) == (offset))
#define NORVANEPI_SIZE(record, size) NORVANEPI_ASSERT(sizeof(struct record) == (size))

/* ---- Codes ---- */

/**
 * Identifies the module in records and documents. The module ignores a Write with this sender: it neither
 * keeps the text nor changes the result record.
 */
#define NORVANEPI_MODULE_ID 0x00510000
/** Identifies the storage in documents that reserve and release disk space. */
#define NORVANEPI_STORAGE_ID 0x00050000

/** Values of a status field. */
#define NORVANEPI_ACCEPTED 0
#define NORVANEPI_REFUSED (-1)

/** Control codes of IOCTL. */
#define NORVANEPI_RUN_MAIN_LOOP 1 /* blocks until Close; needs a thread of its own */
#define NORVANEPI_QUEUE_MESSAGE 2 /* queues a text, like Write */
#define NORVANEPI_NOTHING 3       /* has no effect; the status is NORVANEPI_ACCEPTED */

/** Message classes of requests to the host. */
#define NORVANEPI_CLASS_RESERVATION 4 /* reservations and status */
#define NORVANEPI_CLASS_LOG 64        /* log messages */
#define NORVANEPI_CLASS_DEVICE 256    /* registration, features, device storage commands */
#define NORVANEPI_CLASS_RELEASE 512   /* releases a text of the host; carries no document */

/* ---- The callback ---- */

/** First argument of the callback. OWNERSHIP: the module's; valid during the call. */
struct norvanepi_host_request {
    uint32_t record_size; /* 192 */
    uint32_t word4;       /* 1 */
    uint32_t length;      /* bytes of the document, including its NUL; 0 for a release */
    uint32_t word12;      /* 0 */
    /**
     * An XML document, NUL-terminated. OWNERSHIP: the module's; valid during the call.
     * For NORVANEPI_CLASS_RELEASE: a text that the host passed to Write or IOCTL. OWNERSHIP: the host's; the
     * module does not access it again.
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

/** Second argument of the callback. OWNERSHIP: the module's; the host may write it during the call. */
struct norvanepi_host_reply {
    uint32_t record_size; /* 12 */
    uint32_t word4;       /* 1 */
    uint32_t result;      /* initially 0; for a release, the module logs any other value */
};
NORVANEPI_AT(norvanepi_host_reply, record_size, 0);
NORVANEPI_AT(norvanepi_host_reply, word4, 4);
NORVANEPI_AT(norvanepi_host_reply, result, 8);
NORVANEPI_SIZE(norvanepi_host_reply, 12);

/**
 * The host's function that receives all documents and releases. It returns 0 for success; the module logs any
 * other value if it was a release, and ignores it otherwise.
 *
 * THREAD: one at a time: the one inside Open, the one that runs the main loop (NORVANEPI_RUN_MAIN_LOOP), or,
 * after the loop has ended, the one inside Close, Unload or Load. One exception: Write and IOCTL log an error
 * that they catch, such as a lack of memory, on their own thread at any time; a host that must exclude this
 * takes a lock in the callback. The module holds no lock during the call, so the callback may call Write,
 * IOCTL and Close. It must not throw.
 */
typedef int32_t norvanepi_host_callback(const struct norvanepi_host_request* request,
                                        struct norvanepi_host_reply* reply);

/* ---- Records of the entry points ---- */

/**
 * First argument of Load. OWNERSHIP: the host's; valid during the call. The callback must remain callable
 * until Unload and all calls that began before it have returned.
 */
struct norvanepi_host_info {
    uint8_t reserved0[16];
    norvanepi_host_callback* callback; /* null: the module sends nothing, not even releases */
};
NORVANEPI_AT(norvanepi_host_info, callback, 16);
NORVANEPI_SIZE(norvanepi_host_info, 24);

/**
 * Second argument of Load; the module writes it, unless it catches an error, which is logged. OWNERSHIP: the
 * host's; valid during the call.
 */
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

/** Second argument of Open; the module writes it. OWNERSHIP: the host's; valid during the call. */
struct norvanepi_open_result {
    uint8_t reserved0[8];
    int64_t status; /* NORVANEPI_ACCEPTED; NORVANEPI_REFUSED after an error, which is logged */
};
NORVANEPI_AT(norvanepi_open_result, status, 8);
NORVANEPI_SIZE(norvanepi_open_result, 16);

/** Second argument of Close, Unload; the module writes it. OWNERSHIP: the host's; valid during the call. */
struct norvanepi_close_result {
    uint8_t reserved0[8];
    int32_t status; /* NORVANEPI_ACCEPTED; NORVANEPI_REFUSED after an error, which is logged */
};
NORVANEPI_AT(norvanepi_close_result, status, 8);
NORVANEPI_SIZE(norvanepi_close_result, 12);

/** Second argument of Seek; the module writes it. OWNERSHIP: the host's; valid during the call. */
struct norvanepi_seek_result {
    uint8_t reserved0[8];
    int32_t status; /* always NORVANEPI_REFUSED: the position cannot be changed */
};
NORVANEPI_AT(norvanepi_seek_result, status, 8);
NORVANEPI_SIZE(norvanepi_seek_result, 12);

/** Second argument of Read; the module writes it. OWNERSHIP: the host's; valid during the call. */
struct norvanepi_read_result {
    uint8_t reserved0[24];
    uint32_t count; /* always 0: there is nothing to read */
};
NORVANEPI_AT(norvanepi_read_result, count, 24);
NORVANEPI_SIZE(norvanepi_read_result, 28);

/** First argument of Write. OWNERSHIP: the host's; the record is valid during the call, the text longer. */
struct norvanepi_write_request {
    uint8_t reserved0[12];
    uint8_t refused; /* if not 0, the module refuses the text */
    uint8_t reserved13[3];
    uint32_t length; /* bytes of the text, which needs no NUL; above 2^31 - 1 it is not parsed */
    uint8_t reserved20[4];
    /**
     * An XML document. OWNERSHIP: the host's. An accepted text must remain valid and unchanged until the
     * module releases it with a request of NORVANEPI_CLASS_RELEASE. The module does this exactly once for
     * each accepted text, at the latest inside Close or Unload; if the callback calls them on the main loop's
     * thread, before NORVANEPI_RUN_MAIN_LOOP returns. The module does not keep a refused text. THREAD: only
     * the main loop's thread reads the text.
     */
    const char* text;
    uint32_t identifier; /* of the sender */
    uint8_t reserved36[4];
    uint32_t carried_b; /* copied, not interpreted */
    uint32_t carried_a; /* copied, not interpreted */
};
NORVANEPI_AT(norvanepi_write_request, refused, 12);
NORVANEPI_AT(norvanepi_write_request, length, 16);
NORVANEPI_AT(norvanepi_write_request, text, 24);
NORVANEPI_AT(norvanepi_write_request, identifier, 32);
NORVANEPI_AT(norvanepi_write_request, carried_b, 40);
NORVANEPI_AT(norvanepi_write_request, carried_a, 44);
NORVANEPI_SIZE(norvanepi_write_request, 48);

/** Second argument of Write; the module writes it. OWNERSHIP: the host's; valid during the call. */
struct norvanepi_write_result {
    uint8_t reserved0[24];
    int32_t status; /* NORVANEPI_ACCEPTED or NORVANEPI_REFUSED; see also NORVANEPI_MODULE_ID */
    uint32_t count; /* 1 if accepted, otherwise unchanged */
};
NORVANEPI_AT(norvanepi_write_result, status, 24);
NORVANEPI_AT(norvanepi_write_result, count, 28);
NORVANEPI_SIZE(norvanepi_write_result, 32);

/** First argument of IOCTL. OWNERSHIP: the host's; the record is valid during the call, the text longer. */
struct norvanepi_ioctl_request {
    uint8_t reserved0[8];
    uint32_t code; /* any other than those above is refused */
    uint8_t reserved12[12];
    uint32_t length; /* NORVANEPI_QUEUE_MESSAGE: as in norvanepi_write_request */
    uint8_t reserved28[4];
    const char* text; /* NORVANEPI_QUEUE_MESSAGE: as in norvanepi_write_request */
};
NORVANEPI_AT(norvanepi_ioctl_request, code, 8);
NORVANEPI_AT(norvanepi_ioctl_request, length, 24);
NORVANEPI_AT(norvanepi_ioctl_request, text, 32);
NORVANEPI_SIZE(norvanepi_ioctl_request, 40);

/** Second argument of IOCTL; the module writes it. OWNERSHIP: the host's; valid during the call. */
struct norvanepi_ioctl_result {
    uint8_t reserved0[12];
    int32_t status; /* NORVANEPI_ACCEPTED or NORVANEPI_REFUSED */
    uint32_t count; /* NORVANEPI_QUEUE_MESSAGE: 1 if accepted; otherwise unchanged */
};
NORVANEPI_AT(norvanepi_ioctl_result, status, 12);
NORVANEPI_AT(norvanepi_ioctl_result, count, 16);
NORVANEPI_SIZE(norvanepi_ioctl_result, 20);

/*
 * ---- Entry points ----
 *
 * The exported names are Load, Unload, Open, Close, Read, Write, Seek and IOCTL. Each one always returns 0;
 * the result is in the second record. The first record of Unload, Open, Close, Read and Seek is not read and
 * may be null.
 */

/**
 * Stores the callback and creates a module context. If one exists already, it is closed and replaced, unless
 * its main loop is running. THREAD: any, one at a time.
 */
typedef int32_t norvanepi_load(const struct norvanepi_host_info* host, struct norvanepi_module_info* module);
/** Does what Close does, if Close was not called, and destroys the context. THREAD: as for Close. */
typedef int32_t norvanepi_unload(const void* unused, struct norvanepi_close_result* result);
/**
 * Reads the state file and registers the module with the host. Write is accepted from the registration on.
 * Has no effect if the module is open. THREAD: any, one at a time.
 */
typedef int32_t norvanepi_open(const void* unused, struct norvanepi_open_result* result);
/**
 * Ends the main loop, waits until it has completed its current message, then releases the texts that are
 * still queued and writes the state file. Call Load before the next Open, because the main loop cannot run
 * again. Before dlclose, join the thread that ran the main loop: it may still be returning from IOCTL.
 *
 * A call from the callback on the main loop's thread returns at once, and the loop does the rest after its
 * current message. Join that thread before the next Load, which creates no context while the loop runs.
 *
 * THREAD: any, but not while another thread is inside Open. Of two calls at the same time, one may return
 * before the other has done all of this.
 */
typedef int32_t norvanepi_close(const void* unused, struct norvanepi_close_result* result);
/** Reads nothing. THREAD: any. */
typedef int32_t norvanepi_read(const void* unused, struct norvanepi_read_result* result);
/**
 * Queues a text for the main loop, and returns without waiting for it. Refuses every text before Open and
 * after Close. THREAD: any number of threads at the same time; also inside the callback.
 */
typedef int32_t norvanepi_write(const struct norvanepi_write_request* request,
                                struct norvanepi_write_result* result);
/** Refuses. THREAD: any. */
typedef int32_t norvanepi_seek(const void* unused, struct norvanepi_seek_result* result);
/**
 * Executes a control code. NORVANEPI_RUN_MAIN_LOOP returns after Close. It returns at once before Load, after
 * Close, and if the main loop is already running. THREAD: as for Write.
 */
typedef int32_t norvanepi_ioctl(const struct norvanepi_ioctl_request* request,
                                struct norvanepi_ioctl_result* result);

/* ---- Names and values in XML documents; messages.md describes the documents ---- */

/** Elements. Those of the feature message and of the status report differ only in case. */
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
#define NORVANEPI_ASK_STORAGE_INFO "1"    /* Command attribute of a device's Storage element */
#define NORVANEPI_ASK_RECORDINGS "2"      /* the same attribute */
#define NORVANEPI_RELEASE_RESERVATION "3" /* Command attribute of a Reservation element */
#define NORVANEPI_RESERVE "4"             /* the same attribute */
#define NORVANEPI_RETRIEVAL_DONE 3        /* RetrievalStatus attribute; inside Input/Context: of one clip */
#define NORVANEPI_RETRIEVAL_FAILED 4
#define NORVANEPI_STATUS_STARTED 2  /* Status attribute of the report: operations have started */
#define NORVANEPI_STATUS_ALL_DONE 3 /* no operation is left */
#define NORVANEPI_LEVEL_INFORMATION 25
#define NORVANEPI_LEVEL_ERROR 75

#ifdef __cplusplus
}
#endif

#endif
