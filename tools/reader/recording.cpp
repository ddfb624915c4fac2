#include "tools/reader/recording.h"

#include <algorithm>

#include <fmt/format.h>

#include "tools/reader/faults.h"

namespace reader {
namespace {

FileWindow open(const std::string& path, platform::FileSystem& files) {
    auto file = files.open_input(path);
    if (!file) throw CannotOpen(path);
    return FileWindow(std::move(file));
}

/// The count as claimed, cut to the records that fit between the offset and the end of the file.
std::uint32_t fitting(std::uint32_t claimed, std::uint64_t file_size, std::uint64_t offset,
                      std::size_t record_size) {
    const std::uint64_t room = file_size < offset ? 0 : (file_size - offset) / record_size;
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(claimed, room));
}

std::uint32_t year_of(std::uint16_t date) {
    return 2000U + (date >> 9U);
}
std::uint32_t month_of(std::uint16_t date) {
    return (date >> 5U) & 15U;
}
std::uint32_t day_of(std::uint16_t date) {
    return date & 31U;
}

}  // namespace

bool Moment::plausible() const {
    return month_of(date) >= 1 && month_of(date) <= 12 && day_of(date) >= 1 &&
           milliseconds < kMillisecondsPerDay;
}

std::string text_of(const Moment& moment) {
    const std::uint32_t seconds = moment.milliseconds / 1000;
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}", year_of(moment.date),
                       month_of(moment.date), day_of(moment.date), seconds / 3600, seconds / 60 % 60,
                       seconds % 60, moment.milliseconds % 1000);
}

CannotOpen::CannotOpen(const std::string& path) : std::runtime_error("cannot open " + path) {}

Recording::Recording(const std::string& data_path, platform::FileSystem& files)
    : data_path_(data_path),
      index_path_(data_path + "i"),
      data_(open(data_path_, files)),
      index_(open(index_path_, files)) {
    if (const auto bytes = header()) {
        entries_ = fitting(PsiHeader::Entries::get(*bytes), index_.size(), kEntriesAt, PsiFrameEntry::size);
        spans_ = fitting(PsiHeader::Spans::get(*bytes), index_.size(), entry_at(entries_), PsiSpan::size);
    }
}

std::optional<Entry> Recording::entry(std::uint32_t number) {
    if (number >= entries_) return std::nullopt;
    const auto bytes = index_.record<PsiFrameEntry>(entry_at(number));
    if (!bytes) return std::nullopt;
    const std::uint32_t units =
        PsiFrameEntry::SizeUnits::get(*bytes) | std::uint32_t{PsiFrameEntry::SizeHigh::get(*bytes)} << 16U;
    return Entry{.number = number,
                 .slot = PsiFrameEntry::Slot::get(*bytes),
                 .flags = PsiFrameEntry::Flags::get(*bytes),
                 .program = PsiFrameEntry::Program::get(*bytes),
                 .packet_size = units * kPacketUnit,
                 .packet_at = kPacketsAt + std::uint64_t{PsiFrameEntry::Position::get(*bytes)} * kPacketUnit,
                 .moment = {PsiFrameEntry::Date::get(*bytes), PsiFrameEntry::TimeOfDay::get(*bytes)},
                 .previous = PsiFrameEntry::Previous::get(*bytes),
                 .next = PsiFrameEntry::Next::get(*bytes),
                 .key_distance = PsiFrameEntry::KeyDistance::get(*bytes),
                 .reserved_clear = bytes->at(1) == 0 && all_zero(std::span(*bytes).subspan<27>())};
}

std::optional<Span> Recording::span(std::uint32_t number) {
    if (number >= spans_) return std::nullopt;
    const auto bytes = index_.record<PsiSpan>(span_at(number));
    if (!bytes) return std::nullopt;
    return Span{.slot = PsiSpan::Slot::get(*bytes),
                .kind = PsiSpan::Kind::get(*bytes),
                .first = {PsiSpan::FirstDate::get(*bytes), PsiSpan::FirstTime::get(*bytes)},
                .last = {PsiSpan::LastDate::get(*bytes), PsiSpan::LastTime::get(*bytes)},
                .reserved_clear = all_zero(std::span(*bytes).subspan<2, 2>())};
}

std::optional<PsiStreamRecord::Bytes> Recording::stream_record(std::uint32_t slot) {
    if (slot >= kSlots) return std::nullopt;
    return index_.record<PsiStreamRecord>(stream_record_at(slot));
}

std::optional<PesHeader::Bytes> Recording::packet_header(const Entry& entry) {
    return data_.record<PesHeader>(entry.packet_at);
}

}  // namespace reader
