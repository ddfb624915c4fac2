#pragma once

// The index side of the writer: entries chained per slot, and the spans.

#include "ps/ps_writer.h"

/// Adds the entry of the packet with this header to the index and completes the header's previous-size field.
/// The entry is with the system before this returns: an interrupted conversion leaves every packet findable.
[[nodiscard]] std::int32_t ps_index_packet(PsWriter& writer, PesHeader::MutableView header,
                                           std::uint32_t packet_size);

/// Writes header and stream table as they stand in the writer.
[[nodiscard]] std::int32_t ps_write_index_header(PsWriter& writer);

/// Adds a new entry to its slot's open span, closing that first where the run of packets breaks.
void ps_track_span(PsWriter& writer, PsiFrameEntry::View entry);

/// How many spans the recording has: the closed ones, and the one still open in each slot.
[[nodiscard]] std::uint32_t ps_span_count(const PsWriter& writer);

/// Writes the spans behind the entries, the closed ones in the order they were closed, then the open ones in
/// the order of the slots, until one fails: what cannot be written is left as far as it got. Allocates
/// nothing.
void ps_write_spans(PsWriter& writer);
