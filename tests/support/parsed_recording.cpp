#include "tests/support/parsed_recording.h"

#include <array>
#include <cstdio>
#include <map>
#include <utility>

namespace {

constexpr std::size_t kPacketsAt = 1978;
constexpr std::size_t kEntriesAt = 1088;
constexpr std::uint32_t kNone = 0xFFFFFFFF;

/// A little-endian integer. Bytes past the end count as 0.
std::uint32_t number(const std::string& bytes, std::size_t at, std::size_t width) {
    std::uint32_t value = 0;
    for (std::size_t i = width; i-- > 0;) {
        value = value << 8 | (at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0U);
    }
    return value;
}

}  // namespace

ParsedRecording::ParsedRecording(std::string data, std::string index)
    : data_(std::move(data)), index_(std::move(index)) {
    const auto get = [this](std::size_t at, std::size_t width) { return number(index_, at, width); };
    claimed_entries_ = get(20, 4);
    std::size_t at = kEntriesAt;
    for (; entries.size() < claimed_entries_ && at + 32 <= index_.size(); at += 32) {
        entries.push_back({get(at, 1), get(at + 2, 1), get(at + 6, 2), get(at + 8, 4), get(at + 24, 2),
                           get(at + 16, 4), get(at + 20, 4), 32 * (get(at + 4, 2) | get(at + 26, 1) << 16),
                           kPacketsAt + 32ULL * get(at + 12, 4)});
    }
    for (; spans.size() < get(40, 4) && at < index_.size(); at += 16) {
        spans.push_back({get(at, 1), get(at + 1, 1), get(at + 8, 4), get(at + 12, 4)});
    }
}

std::string ParsedRecording::payload(std::size_t i) const {
    const std::string whole = packet(i);
    const std::size_t padding = number(whole, 29, 1) & 0x1F;
    return whole.size() < 32 + padding ? "" : whole.substr(32, whole.size() - 32 - padding);
}

std::vector<std::string> ParsedRecording::payloads() const {
    std::vector<std::string> all;
    for (std::size_t i = 0; i < entries.size(); ++i) all.push_back(payload(i));
    return all;
}

std::string ParsedRecording::time(std::size_t i) const {
    const std::uint32_t date = entries[i].date;
    const std::uint32_t ms = entries[i].time_of_day;
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%u-%02u-%02u %02u:%02u:%02u.%03u", 2000 + (date >> 9),
                  date >> 5 & 15, date & 31, ms / 3'600'000, ms / 60'000 % 60, ms / 1000 % 60, ms % 1000);
    return text.data();
}

std::string ParsedRecording::packet_fault(std::size_t i, bool abandoned) const {
    const Entry& entry = entries[i];
    if (entry.position != (i == 0 ? kPacketsAt : entries[i - 1].position + entries[i - 1].size))
        return "position";
    const bool may_be_cut = abandoned && i + 1 == entries.size();
    if (entry.position + entry.size > data_.size()) return may_be_cut ? "" : "packet is cut short";
    const std::string header = packet(i).substr(0, 32);
    const bool same = number(header, 27, 1) == entry.flags && number(header, 30, 2) == entry.date;
    return header.starts_with(std::string("\0\0\1", 3)) && same ? "" : "header and entry differ";
}

std::string ParsedRecording::chain_fault(bool abandoned) const {
    std::map<std::uint32_t, std::uint32_t> last_of_slot;
    for (std::uint32_t i = 0; i < entries.size(); ++i) {
        const auto last = last_of_slot.find(entries[i].slot);
        if (entries[i].previous != (last == last_of_slot.end() ? kNone : last->second))
            return "previous link";
        if (last != last_of_slot.end() && entries[last->second].next != i) return "next link";
        last_of_slot[entries[i].slot] = i;
    }
    for (const auto& [slot, last] : last_of_slot) {
        if (abandoned && entries[last].next == entries.size()) continue;
        if (entries[last].next != kNone) return "end of chain";
        if (number(index_, 64 + 32ULL * slot + 8, 4) != last) return "stream record";
    }
    return "";
}

std::string ParsedRecording::fault(bool abandoned) const {
    if (entries.size() != claimed_entries_) return "entries are missing";
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (const auto found = packet_fault(i, abandoned); !found.empty())
            return found + " of " + std::to_string(i);
    }
    const std::uint64_t end = entries.empty() ? kPacketsAt : entries.back().position + entries.back().size;
    if (!abandoned && data_.size() != end) return "data after the last packet";
    const std::size_t length = kEntriesAt + 32 * entries.size() + 16 * spans.size();
    if (abandoned ? index_.size() < length : index_.size() != length) return "length of the index";
    return chain_fault(abandoned);
}
