#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// A recording, parsed from its documented layout as a player does. Shares no code with the writer.
class ParsedRecording {
  public:
    struct Entry {
        std::uint32_t slot, flags, date, time_of_day, key_distance;  // time of day in ms
        std::uint32_t previous, next;
        std::uint64_t size, position;  // bytes, in the data file
    };
    struct Span {
        std::uint32_t slot, kind, first_time, last_time;
    };

    ParsedRecording(std::string data, std::string index);

    std::vector<Entry> entries;
    std::vector<Span> spans;

    /// A packet with its header and padding, and the bytes of its frame.
    [[nodiscard]] std::string packet(std::size_t i) const {
        return data_.substr(entries[i].position, entries[i].size);
    }
    [[nodiscard]] std::string payload(std::size_t i) const;
    [[nodiscard]] std::vector<std::string> payloads() const;
    /// "2018-06-22 16:05:09.000"
    [[nodiscard]] std::string time(std::size_t i) const;

    /// The first fault found; "" if header, entries, chains, spans and packets agree. In an abandoned
    /// recording, the last packet may be missing and links may point to an entry that was never written.
    [[nodiscard]] std::string fault(bool abandoned = false) const;

  private:
    [[nodiscard]] std::string packet_fault(std::size_t i, bool abandoned) const;
    [[nodiscard]] std::string chain_fault(bool abandoned) const;

    std::string data_;
    std::string index_;
    std::size_t claimed_entries_ = 0;
};
