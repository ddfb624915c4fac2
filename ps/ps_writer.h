#pragma once

// Writes the host's recordings: a program-stream data file and the index file beside it. One context record,
// plain functions that take it first, signed results, no exceptions. docs/recording-format.md describes both
// files.

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
inline constexpr std::int32_t kPsRefused = -1;      // not open, bad slot or size, broken chain, index full
inline constexpr std::int32_t kPsNotOpened = -2;    // for callers: a file could not be opened
inline constexpr std::int32_t kPsSeekFailed = -3;   // a position query
inline constexpr std::int32_t kPsWriteFailed = -5;  // a short or failed write to either file

/// What the map says of the whole program. Copied, not interpreted.
struct PsProgramInfo {
    std::array<std::uint8_t, 4> code{};  // the first is the program code of every packet
    std::array<std::uint8_t, 16> further{};
    std::string name;  // at most 32 characters count; empty for none
};

/// What the map says of one slot's stream.
struct PsStreamDesc {
    std::uint8_t type = 0;
    std::uint8_t id = 0;
    std::uint8_t width = 0;   // in 16-pixel units, for ids with a bit of 0x30
    std::uint8_t height = 0;  // likewise
    std::uint8_t first_index_byte = 0;
    std::string name;  // at most 32 characters count
    std::uint8_t second_index_byte = 0;
    std::uint16_t value_a = 0;  // for the other ids
    std::uint16_t value_b = 0;
};
using PsStreamDescs = std::array<PsStreamDesc, kSlots>;

/// One frame to be written.
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
    std::uint8_t recording_kind = 0;  // top six bits to the packet, top three classify it in the index
    std::span<const platform::Byte> payload;
};

/// The writer's context. Closed: no files, open_flag false. Open: both files set, open_flag set by the caller
/// and ps_open returned 0; it stays open across failed writes too.
struct PsWriter {
    std::unique_ptr<platform::IndexFile> index;
    std::unique_ptr<platform::DataFile> data;
    std::int64_t data_start = 0;  // offset of the first packet
    std::int64_t data_end = 0;    // where the next one goes; nobody else writes to the file
    bool open_flag = false;

    PsiHeader::Bytes header{};
    std::array<PsiStreamRecord::Bytes, kSlots> streams{};
    std::array<PsiFrameEntry::Bytes, kSlots> last_entries{};  // each slot's last one, as it stands on disk
    std::array<std::uint16_t, kSlots> key_distance{};
    std::uint32_t previous_size = 0;  // of the packet before, kNoSize for none; set by ps_writer_init
    std::uint8_t program_code = 0;
    std::array<std::uint8_t, kSlots> id_of_slot{};
    std::array<PsiSpan::Bytes, kSlots> open_spans{};
    SpanList closed_spans;
};

/// Makes a fresh writer of it. Call it once, before anything else.
void ps_writer_init(PsWriter& writer);

/// ps_close, and gives back what memory the writer holds.
void ps_writer_destroy(PsWriter& writer);

/// Writes the fixed beginning of both files. The caller has opened them into the writer and set the open
/// flag; every failure closes the writer.
[[nodiscard]] std::int32_t ps_open(PsWriter& writer, const PsProgramInfo& program,
                                   const PsStreamDescs& streams);

/// Indexes one frame and writes its packet, frames of a slot in the order of presentation. When it fails,
/// indexing has left nothing in the data file; a failed data write leaves an entry whose packet is
/// incomplete.
[[nodiscard]] std::int32_t ps_write_frame(PsWriter& writer, const PsFrame& frame);

/// Completes the index (spans, counts, first and last times) and closes both files; the writer can then take
/// a new pair. Does nothing to a closed writer.
void ps_close(PsWriter& writer);

/// Appends the parts to the data file in one write, which is not resumed: the count of bytes written, or -1
/// for none.
[[nodiscard]] std::int64_t ps_write_all(PsWriter& writer, const platform::DataFile::Parts& parts);
