#include "tests/support/recording_view.h"

#include <array>
#include <cstdio>
#include <map>
#include <utility>

namespace {

constexpr std::size_t kPacketsAt = 1978;
constexpr std::size_t kEntriesAt = 1088;
constexpr std::uint32_t kNone = 0xFFFFFFFF;

/// A little-endian integer; what lies past the end counts as 0.
std::uint32_t number(const std::string& bytes, std::size_t at, std::size_t width) {
    std::uint32_t value = 0;
    for (std::size_t i = width; i-- > 0;) {
        value = value << 8 | (at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0U);
    }
    return value;
}

}  // namespace

RecordingView::RecordingView(std::string data, std::string index)
    : data_(std::move(data)), index_(std::move(index)) {
    claimed_entries_ = number(index_, 20, 4);
    for (std::size_t at = kEntriesAt; entries.size() < claimed_entries_ && at + 32 <= index_.size();
         at += 32) {
        const std::uint64_t units = number(index_, at + 4, 2) | number(index_, at + 26, 1) << 16;
        entries.push_back({number(index_, at, 1), number(index_, at + 2, 1), number(index_, at + 6, 2),
                           number(index_, at + 8, 4), number(index_, at + 24, 2), number(index_, at + 16, 4),
                           number(index_, at + 20, 4), units * 32,
                           kPacketsAt + 32ULL * number(index_, at + 12, 4)});
    }
    const std::size_t claimed_spans = number(index_, 40, 4);
    for (std::size_t at = kEntriesAt + 32 * claimed_entries_;
         spans.size() < claimed_spans && at < index_.size(); at += 16) {
        spans.push_back({number(index_, at, 1), number(index_, at + 1, 1), number(index_, at + 4, 2),
                         number(index_, at + 6, 2), number(index_, at + 8, 4), number(index_, at + 12, 4)});
    }
}

std::string RecordingView::payload(std::size_t i) const {
    const std::string whole = packet(i);
    const std::size_t padding = number(whole, 29, 1) & 0x1F;
    return whole.size() < 32 + padding ? "" : whole.substr(32, whole.size() - 32 - padding);
}

std::string RecordingView::time(std::size_t i) const {
    const Entry& entry = entries[i];
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%u-%02u-%02u %02u:%02u:%02u.%03u", 2000 + (entry.date >> 9),
                  entry.date >> 5 & 15, entry.date & 31, entry.time_of_day / 3'600'000,
                  entry.time_of_day / 60'000 % 60, entry.time_of_day / 1000 % 60, entry.time_of_day % 1000);
    return text.data();
}

std::string RecordingView::entry_fault(std::size_t i, bool abandoned) const {
    const Entry& entry = entries[i];
    const std::uint64_t expected_at = i == 0 ? kPacketsAt : entries[i - 1].position + entries[i - 1].size;
    if (entry.position != expected_at) return "position";
    const bool last = i + 1 == entries.size();
    if (entry.position + entry.size > data_.size()) return abandoned && last ? "" : "packet is cut short";
    const std::string header = packet(i).substr(0, 32);
    if (header.substr(0, 3) != std::string("\0\0\1", 3)) return "start code";
    if (number(header, 27, 1) != entry.flags || number(header, 30, 2) != entry.date)
        return "header and entry differ";
    return "";
}

std::string RecordingView::chain_fault(bool abandoned) const {
    std::map<std::uint32_t, std::uint32_t> last_of_slot;
    for (std::uint32_t i = 0; i < entries.size(); ++i) {
        const auto last = last_of_slot.find(entries[i].slot);
        if (entries[i].previous != (last == last_of_slot.end() ? kNone : last->second))
            return "previous link";
        if (last != last_of_slot.end() && entries[last->second].next != i) return "next link";
        last_of_slot[entries[i].slot] = i;
    }
    for (const auto& [slot, last] : last_of_slot) {
        const std::uint32_t next = entries[last].next;
        if (next != kNone && !(abandoned && next == entries.size())) return "end of chain";
        const bool goes_on = next != kNone;
        if (!goes_on && number(index_, 64 + 32ULL * slot + 8, 4) != last) return "stream record";
    }
    return "";
}

std::string RecordingView::fault(bool abandoned) const {
    if (entries.size() != claimed_entries_) return "entries are missing";
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (const auto found = entry_fault(i, abandoned); !found.empty())
            return found + " of " + std::to_string(i);
    }
    if (const auto found = chain_fault(abandoned); !found.empty()) return found;
    const std::uint64_t end = entries.empty() ? kPacketsAt : entries.back().position + entries.back().size;
    if (!abandoned && data_.size() != end) return "data behind the last packet";
    const std::size_t length = kEntriesAt + 32 * entries.size() + 16 * spans.size();
    const bool fits = abandoned ? index_.size() >= length : index_.size() == length;
    return fits ? "" : "length of the index";
}
