#include "tools/reader/recording.h"

#include <algorithm>
#include <system_error>

#include "tools/reader/faults.h"

namespace reader {
namespace {

/// The number of records that fit between the offset and the end of the file.
std::uint32_t room_for(std::uint64_t file_size, std::uint64_t offset, std::size_t record_size) {
    const std::uint64_t room = file_size < offset ? 0 : (file_size - offset) / record_size;
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(room, kNoEntry));
}

std::unique_ptr<platform::InputFile> open_or_missing(const std::string& path, platform::FileSystem& files) {
    auto file = files.open_input(path);
    if (file) return file;
    if (auto problem = platform::open_problem(path)) throw CannotOpen(path, std::move(*problem));
    return nullptr;
}

bool counts_nothing(const PsiHeader::Bytes& header) {
    constexpr std::size_t kCountsAt = PsiHeader::Entries::offset;
    constexpr std::size_t kCountsEnd = PsiHeader::SpanSize::offset;
    return all_zero(std::span(header).subspan<kCountsAt, kCountsEnd - kCountsAt>()) &&
           PsiHeader::Spans::get(header) == 0;
}

}  // namespace

Recording::Recording(const std::string& data_path, platform::FileSystem& files)
    : data_path_(data_path),
      index_path_(data_path + "i"),
      data_(open_or_missing(data_path_, files)),
      index_(open_or_missing(index_path_, files)),
      spans_file_(files.open_input(index_path_)) {
    if (!has_data() && !has_index())
        throw CannotOpen(data_path_, std::make_error_code(std::errc::no_such_file_or_directory).message());
    if (const auto bytes = header()) count_records(*bytes);
}

void Recording::close() {
    data_ = FileWindow();
    index_ = FileWindow();
    spans_file_ = FileWindow();
}

void Recording::count_records(const PsiHeader::Bytes& header) {
    const std::uint32_t room = room_for(index_size(), kEntriesAt, PsiFrameEntry::size);
    completed_ = room == 0 || !counts_nothing(header);
    entries_ = completed_ ? std::min(PsiHeader::Entries::get(header), room) : room;
    spans_ =
        std::min(PsiHeader::Spans::get(header), room_for(index_size(), entry_at(entries_), PsiSpan::size));
}

std::optional<PsiFrameEntry::Bytes> Recording::entry_record(std::uint32_t number) {
    if (number >= entries_) return std::nullopt;
    return index_.record<PsiFrameEntry>(entry_at(number));
}

std::optional<Entry> Recording::entry(std::uint32_t number) {
    const auto bytes = entry_record(number);
    if (!bytes) return std::nullopt;
    const std::uint32_t units =
        PsiFrameEntry::SizeUnits::get(*bytes) | std::uint32_t{PsiFrameEntry::SizeHigh::get(*bytes)} << 16U;
    return Entry{
        .number = number,
        .slot = PsiFrameEntry::Slot::get(*bytes),
        .flags = PsiFrameEntry::Flags::get(*bytes),
        .packet_size = units * kPacketUnit,
        .packet_offset = kPacketsAt + std::uint64_t{PsiFrameEntry::Position::get(*bytes)} * kPacketUnit,
        .time = {PsiFrameEntry::Date::get(*bytes), PsiFrameEntry::TimeOfDay::get(*bytes)},
        .previous = PsiFrameEntry::Previous::get(*bytes),
        .next = PsiFrameEntry::Next::get(*bytes),
        .key_distance = PsiFrameEntry::KeyDistance::get(*bytes)};
}

std::optional<PsiSpan::Bytes> Recording::span_record(std::uint32_t number) {
    if (number >= spans_) return std::nullopt;
    return spans_file_.record<PsiSpan>(span_at(number));
}

std::optional<PsiStreamRecord::Bytes> Recording::stream_record(std::uint32_t slot) {
    if (slot >= kSlots) return std::nullopt;
    return index_.record<PsiStreamRecord>(stream_record_at(slot));
}

}  // namespace reader
