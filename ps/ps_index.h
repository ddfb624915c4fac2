#pragma once

// The index side of the writer: entries chained per slot, and the spans.

#include "ps/ps_writer.h"

/// Adds the entry of the packet with this header to the index and completes the header's previous-size field.
/// The entry is with the system before this returns: an interrupted conversion leaves every packet findable.
[[nodiscard]] std::int32_t ps_index_packet(PsWriter& writer, PesHeader::MutableView header,
                                           std::uint32_t packet_size);

/// Writes header and stream table as they stand in the writer.
[[nodiscard]] std::int32_t ps_write_index_header(PsWriter& writer);

/// Positions the index file at an entry, unless it is there already.
[[nodiscard]] std::int32_t ps_seek_index_entry(PsWriter& writer, std::uint32_t entry);

/// Adds a new entry to its slot's open span, closing that first where the run of packets breaks.
void ps_track_span(PsWriter& writer, PsiFrameEntry::View entry);

/// Closes every open span, in order of the slots.
void ps_flush_spans(PsWriter& writer);
