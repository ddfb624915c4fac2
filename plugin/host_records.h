#pragma once

// Layout of every record that crosses an entry point or the host's callback. All of them are little-endian
// and belong to the side named below; fields that are not listed are neither read nor written.
// docs/host-interface.md shows the same tables.

#include <cstdint>

#include "host/documents/names.h"
#include "platform/bytes.h"

namespace host_records {

template <std::size_t Size>
using HostRecord = platform::Record<Size, std::endian::little>;

/// The module's identifier in records and messages.
inline constexpr std::uint32_t kModuleId{names::kModuleId};

/// The host's function that takes every request of the module; 0 means success. The request, the reply and
/// the data that the request points at live only for the duration of the call.
extern "C" {
using HostCallback = std::int32_t (*)(const void* request, void* reply);
}

/// OWNERSHIP: the host's, for the duration of Load.
struct HostInfo : HostRecord<24> {
    using Callback = Field<std::uint64_t, 16>;
};

/// OWNERSHIP: the host's, for the duration of Load. The meaning of the constants is the host's.
struct ModuleInfo : HostRecord<64> {
    using Identifier = Field<std::uint32_t, 8>;
    using Word12 = Field<std::uint32_t, 12>;
    using Word16 = Field<std::uint32_t, 16>;
    using Word20 = Field<std::uint32_t, 20>;
    using Word24 = Field<std::uint32_t, 24>;
    using Word28 = Field<std::uint32_t, 28>;
    using Word32 = Field<std::uint32_t, 32>;
    using Word36 = Field<std::uint32_t, 36>;
    using Word40 = Field<std::uint32_t, 40>;
    using Word52 = Field<std::uint32_t, 52>;
    using Half56 = Field<std::uint16_t, 56>;
    using Word60 = Field<std::uint32_t, 60>;
};

/// What the module hands to the callback. OWNERSHIP: the module's, for the duration of the call.
struct HostRequest : HostRecord<192> {
    using RecordSize = Field<std::uint32_t, 0>;
    using Word4 = Field<std::uint32_t, 4>;
    using Length = Field<std::uint32_t, 8>;  // bytes at Data, the terminating NUL included; 0 for a release
    using Word12 = Field<std::uint32_t, 12>;
    using Data = Field<std::uint64_t, 16>;  // XML text of a message, or the host buffer that is released
    using Identifier = Field<std::uint32_t, 24>;
    using Word28 = Field<std::uint32_t, 28>;
    using MessageClass = Field<std::uint32_t, 32>;
    using Word36 = Field<std::uint32_t, 36>;  // kMessageWord for a message, 0 for a release
};
inline constexpr std::uint32_t kMessageWord = 0x01000010;

/// What the callback may answer. OWNERSHIP: the module's, for the duration of the call.
struct HostReply : HostRecord<12> {
    using RecordSize = Field<std::uint32_t, 0>;
    using Word4 = Field<std::uint32_t, 4>;
    using Result = Field<std::uint32_t, 8>;
};

/// First argument of Write. OWNERSHIP: the record is the host's for the duration of Write; the text behind
/// Text stays valid until the module releases it with a request of class names::kReleaseClass.
struct WriteRequest : HostRecord<48> {
    using Refused = Field<std::uint8_t, 12>;
    using Length = Field<std::uint32_t, 16>;
    using Text = Field<std::uint64_t, 24>;
    using Identifier = Field<std::uint32_t, 32>;
    using CarriedB = Field<std::uint32_t, 40>;
    using CarriedA = Field<std::uint32_t, 44>;
};

/// Second argument of Write. OWNERSHIP: the host's, for the duration of the call.
struct WriteResult : HostRecord<32> {
    using Status = Field<std::uint32_t, 24>;
    using Count = Field<std::uint32_t, 28>;
};

/// First argument of IOCTL; Length and Text only count for code kQueueMessage, with the ownership of Write.
struct IoctlRequest : HostRecord<40> {
    using Code = Field<std::uint32_t, 8>;
    using Length = Field<std::uint32_t, 24>;
    using Text = Field<std::uint64_t, 32>;
};

/// Second argument of IOCTL. OWNERSHIP: the host's, for the duration of the call.
struct IoctlResult : HostRecord<20> {
    using Status = Field<std::uint32_t, 12>;
    using Count = Field<std::uint32_t, 16>;
};

/// Second argument of Open, Close and Unload, Seek, and Read. OWNERSHIP: the host's, for the call.
struct OpenResult : HostRecord<16> {
    using Status = Field<std::uint64_t, 8>;
};
struct CloseResult : HostRecord<12> {
    using Status = Field<std::uint32_t, 8>;
};
struct SeekResult : HostRecord<12> {
    using Status = Field<std::uint32_t, 8>;
};
struct ReadResult : HostRecord<28> {
    using Count = Field<std::uint32_t, 24>;
};

/// Control codes of IOCTL.
inline constexpr std::uint32_t kRunMainLoop = 1;
inline constexpr std::uint32_t kQueueMessage = 2;
inline constexpr std::uint32_t kNothing = 3;

/// Outcomes in status fields, as the signed 32-bit values 0 and -1.
inline constexpr std::uint32_t kAccepted = 0;
inline constexpr std::uint32_t kRefused = 0xFFFFFFFF;

static_assert(HostInfo::Callback::offset == 16 && ModuleInfo::Identifier::offset == 8);
static_assert(ModuleInfo::Word60::offset + ModuleInfo::Word60::width == ModuleInfo::size);
static_assert(HostRequest::size == 192 && HostRequest::Data::offset == 16 &&
              HostRequest::MessageClass::offset == 32);
static_assert(HostReply::size == 12 &&
              HostReply::Result::offset + HostReply::Result::width == HostReply::size);
static_assert(WriteRequest::CarriedA::offset + WriteRequest::CarriedA::width == WriteRequest::size);
static_assert(WriteResult::Count::offset + WriteResult::Count::width == WriteResult::size);
static_assert(IoctlRequest::Text::offset + IoctlRequest::Text::width == IoctlRequest::size);
static_assert(IoctlResult::Count::offset + IoctlResult::Count::width == IoctlResult::size);

}  // namespace host_records
