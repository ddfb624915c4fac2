#pragma once

// The records of the entry points and of the host's callback, as fields over bytes, because a host may pass
// them at any address. norvanepi.h defines each field's offset and owner. This file adds the field's type; a
// type of another width than in norvanepi.h does not compile.

#include <cstdint>

#include "norvanepi.h"
#include "platform/bytes.h"

namespace host_records {

template <typename Struct>
struct HostRecord : platform::Record<sizeof(Struct), std::endian::little> {
    using Host = Struct;

    template <typename T, std::size_t Offset, std::size_t Width>
    requires(sizeof(T) == Width) using FieldAt = typename HostRecord::template Field<T, Offset>;
};
#define HOST_FIELD(type, member) FieldAt<type, offsetof(Host, member), sizeof(Host::member)>

/// The module's identifier in records and messages.
inline constexpr std::uint32_t kModuleId = NORVANEPI_MODULE_ID;

/// The host's callback. It receives the bytes of a HostRequest and a HostReply.
extern "C" {
using HostCallback = std::int32_t (*)(const void* request, void* reply);
}

struct HostInfo : HostRecord<norvanepi_host_info> {
    using Callback = HOST_FIELD(std::uint64_t, callback);
};

struct ModuleInfo : HostRecord<norvanepi_module_info> {
    using Identifier = HOST_FIELD(std::uint32_t, identifier);
    using Word12 = HOST_FIELD(std::uint32_t, word12);
    using Word16 = HOST_FIELD(std::uint32_t, word16);
    using Word20 = HOST_FIELD(std::uint32_t, word20);
    using Word24 = HOST_FIELD(std::uint32_t, word24);
    using Word28 = HOST_FIELD(std::uint32_t, word28);
    using Word32 = HOST_FIELD(std::uint32_t, word32);
    using Word36 = HOST_FIELD(std::uint32_t, word36);
    using Word40 = HOST_FIELD(std::uint32_t, word40);
    using Word52 = HOST_FIELD(std::uint32_t, word52);
    using Half56 = HOST_FIELD(std::uint16_t, half56);
    using Word60 = HOST_FIELD(std::uint32_t, word60);
};

struct HostRequest : HostRecord<norvanepi_host_request> {
    using RecordSize = HOST_FIELD(std::uint32_t, record_size);
    using Word4 = HOST_FIELD(std::uint32_t, word4);
    using Length = HOST_FIELD(std::uint32_t, length);
    using Word12 = HOST_FIELD(std::uint32_t, word12);
    using Data = HOST_FIELD(std::uint64_t, data);
    using Identifier = HOST_FIELD(std::uint32_t, identifier);
    using Word28 = HOST_FIELD(std::uint32_t, word28);
    using MessageClass = HOST_FIELD(std::uint32_t, message_class);
    using Word36 = HOST_FIELD(std::uint32_t, word36);
};
inline constexpr std::uint32_t kMessageWord = 0x01000010;  // of Word36, for a document

struct HostReply : HostRecord<norvanepi_host_reply> {
    using RecordSize = HOST_FIELD(std::uint32_t, record_size);
    using Word4 = HOST_FIELD(std::uint32_t, word4);
    using Result = HOST_FIELD(std::uint32_t, result);
};

struct WriteRequest : HostRecord<norvanepi_write_request> {
    using Refused = HOST_FIELD(std::uint8_t, refused);
    using Length = HOST_FIELD(std::uint32_t, length);
    using Text = HOST_FIELD(std::uint64_t, text);
    using Identifier = HOST_FIELD(std::uint32_t, identifier);
    using CarriedB = HOST_FIELD(std::uint32_t, carried_b);
    using CarriedA = HOST_FIELD(std::uint32_t, carried_a);
};

struct WriteResult : HostRecord<norvanepi_write_result> {
    using Status = HOST_FIELD(std::uint32_t, status);
    using Count = HOST_FIELD(std::uint32_t, count);
};

struct IoctlRequest : HostRecord<norvanepi_ioctl_request> {
    using Code = HOST_FIELD(std::uint32_t, code);
    using Length = HOST_FIELD(std::uint32_t, length);
    using Text = HOST_FIELD(std::uint64_t, text);
};

struct IoctlResult : HostRecord<norvanepi_ioctl_result> {
    using Status = HOST_FIELD(std::uint32_t, status);
    using Count = HOST_FIELD(std::uint32_t, count);
};

struct OpenResult : HostRecord<norvanepi_open_result> {
    using Status = HOST_FIELD(std::uint64_t, status);
};
struct CloseResult : HostRecord<norvanepi_close_result> {
    using Status = HOST_FIELD(std::uint32_t, status);
};
struct SeekResult : HostRecord<norvanepi_seek_result> {
    using Status = HOST_FIELD(std::uint32_t, status);
};
struct ReadResult : HostRecord<norvanepi_read_result> {
    using Count = HOST_FIELD(std::uint32_t, count);
};

/// Control codes of IOCTL.
inline constexpr std::uint32_t kRunMainLoop = NORVANEPI_RUN_MAIN_LOOP;
inline constexpr std::uint32_t kQueueMessage = NORVANEPI_QUEUE_MESSAGE;
inline constexpr std::uint32_t kNothing = NORVANEPI_NOTHING;

/// Values of status fields, which hosts read as the signed integers 0 and -1.
inline constexpr std::uint32_t kAccepted = NORVANEPI_ACCEPTED;
inline constexpr std::uint32_t kRefused = static_cast<std::uint32_t>(NORVANEPI_REFUSED);

#undef HOST_FIELD

}  // namespace host_records
