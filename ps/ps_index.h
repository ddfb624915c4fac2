#pragma once

// The index side of the writer: entries linked per slot, and the spans.

#include "ps/ps_writer.h"

/// Adds the entry of the packet with this header to the index and sets the header's PreviousSize. The entry
/// has been written to the file when this returns, so that an interrupted conversion leaves no packet without
/// one.
[[nodiscard]] std::int32_t ps_index_packet(PsWriter& writer, PesHeader::MutableView header,
                                           std::uint32_t packet_size);

/// Writes the writer's current header and stream table.
[[nodiscard]] std::int32_t ps_write_index_header(PsWriter& writer);

/// Adds a new entry to its slot's open span. If the entry does not continue that span, closes it first and
/// opens a new one.
void ps_track_span(PsWriter& writer, PsiFrameEntry::View entry);

/// The number of spans: the closed ones and one open span per slot that has one.
[[nodiscard]] std::uint32_t ps_span_count(const PsWriter& writer);

/// Writes the spans after the entries: first the closed ones in the order they were closed, then the open
/// ones in slot order. Stops at the first failed write and does not undo anything. Allocates nothing.
void ps_write_spans(PsWriter& writer);
