#pragma once

// Writes recordings for the host: a program-stream data file and an index file with the same name plus "i".
// Plain functions take the writer's context first and return a code; they report no error by exception.
// docs/recording-format.md describes both files.

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/file.h"
#include "ps/index_layout.h"
#include "ps/span_list.h"
#include "ps/stream_layout.h"

/// Results of the ps_ functions.
inline constexpr std::int32_t kPsOk = 0;
inline constexpr std::int32_t kPsRefused = -1;      // not open, bad slot or size, broken links, index full
inline constexpr std::int32_t kPsNotOpened = -2;    // for the caller's use: a file could not be opened
inline constexpr std::int32_t kPsSeekFailed = -3;   // a position query
inline constexpr std::int32_t kPsWriteFailed = -5;  // a short or failed write to either file

/// The map's description of the whole program. Copied, not interpreted.
struct PsProgramInfo {
    std::array<std::uint8_t, 4> code{};  // the first one is also in every packet
    std::array<std::uint8_t, 16> extra{};
    std::string name;  // cut to 32 bytes
};

/// The map's description of one slot's stream.
struct PsStreamDesc {
    std::uint8_t type = 0;
    std::uint8_t id = 0;
    std::uint8_t width = 0;   // video only, in units of kMapPixels
    std::uint8_t height = 0;  // video only, in units of kMapPixels
    std::uint8_t first_index_byte = 0;
    std::string name;  // cut to 32 bytes
    std::uint8_t second_index_byte = 0;
    std::uint16_t value_a = 0;  // audio only
    std::uint16_t value_b = 0;  // audio only
};
using PsStreamDescs = std::array<PsStreamDesc, kSlots>;

/// One frame to write.
struct PsFrame {
    std::uint16_t slot = 0;
    std::uint8_t picture_type = 0;  // kKeyFrame or kOtherFrame
    std::uint16_t year = 0;
    std::uint16_t month = 0;  // 1 to 12
    std::uint16_t day = 0;
    std::uint32_t hour = 0;
    std::uint32_t minute = 0;
    std::uint32_t second = 0;
    std::uint32_t millisecond = 0;
    std::uint8_t recording_kind = 0;  // the top six bits go into the packet, the top three into the index
    std::span<const platform::Byte> payload;
};

/// The writer's context. Closed: no files, open_flag false. Open: the caller has set both files and
/// open_flag, and ps_open has returned kPsOk. A failed write does not close it.
struct PsWriter {
    std::unique_ptr<platform::IndexFile> index;
    std::unique_ptr<platform::DataFile> data;
    std::int64_t data_start = 0;  // offset of the first packet
    std::int64_t data_end = 0;    // offset of the next packet; no one else may write to the file
    bool open_flag = false;

    PsiHeader::Bytes header{};
    std::array<PsiStreamRecord::Bytes, kSlots> streams{};
    std::array<PsiFrameEntry::Bytes, kSlots> last_entries{};  // the last one of each slot, as in the file
    std::array<std::uint16_t, kSlots> key_distance{};
    std::uint32_t previous_size = 0;  // of the previous packet; kNoSize before the first
    std::uint8_t program_code = 0;
    std::array<std::uint8_t, kSlots> id_of_slot{};
    std::array<PsiSpan::Bytes, kSlots> open_spans{};
    SpanList closed_spans;
};

/// Initializes a writer. Call it once, before any other function.
void ps_writer_init(PsWriter& writer);

/// Calls ps_close and releases the writer's memory.
void ps_writer_destroy(PsWriter& writer);

/// Writes the fixed beginning of both files. The caller has opened them, stored them in the writer and set
/// open_flag. Any failure closes the writer.
[[nodiscard]] std::int32_t ps_open(PsWriter& writer, const PsProgramInfo& program,
                                   const PsStreamDescs& streams);

/// Adds one frame to the index, then writes its packet. If the index write fails, the data file is unchanged.
/// If the data write fails, the index has an entry whose packet is incomplete.
[[nodiscard]] std::int32_t ps_write_frame(PsWriter& writer, const PsFrame& frame);

/// Completes the index (spans, counts, first and last times) and closes both files. The writer can then be
/// opened again. Does nothing to a closed writer.
void ps_close(PsWriter& writer);

/// Appends the parts to the data file in one write and returns the number of bytes written, -1 for none. A
/// short write is not resumed.
[[nodiscard]] std::int64_t ps_write_all(PsWriter& writer, const platform::DataFile::Parts& parts);
