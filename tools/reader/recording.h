#pragma once

// A recording as its index shows it: a data file and the index file beside it, opened for reading only. The
// pair may come from anywhere: nothing that it says is believed before it was compared with the sizes of the
// files.

#include <compare>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "platform/file.h"
#include "ps/index_layout.h"
#include "ps/stream_layout.h"
#include "tools/reader/file_window.h"

namespace reader {

inline constexpr std::uint32_t kMillisecondsPerDay = 86'400'000;

/// An instant in UTC as packets carry it. The packed date sorts like the date.
struct Moment {
    std::uint16_t date = 0;          // date16; 0 names no date
    std::uint32_t milliseconds = 0;  // since midnight

    auto operator<=>(const Moment&) const = default;
    [[nodiscard]] bool plausible() const;
};

/// "2018-06-22 16:05:09.000"
[[nodiscard]] std::string text_of(const Moment& moment);

/// What one index entry says about its packet.
struct Entry {
    std::uint32_t number = 0;
    std::uint8_t slot = 0;
    std::uint8_t flags = 0;
    std::uint8_t program = 0;
    std::uint32_t packet_size = 0;  // bytes
    std::uint64_t packet_at = 0;    // offset in the data file
    Moment moment;
    std::uint32_t previous = kNoEntry;
    std::uint32_t next = kNoEntry;
    std::uint16_t key_distance = 0;
    bool reserved_clear = true;

    [[nodiscard]] std::uint8_t picture_type() const { return flags & kPictureTypeBits; }
    [[nodiscard]] std::uint8_t kind() const { return flags & kRecordingKindBits; }
    [[nodiscard]] bool is_key() const { return picture_type() == kKeyPicture; }
    [[nodiscard]] std::uint64_t packet_end() const { return packet_at + packet_size; }
};

/// A run of packets without a gap.
struct Span {
    std::uint8_t slot = 0;
    std::uint8_t kind = 0;
    Moment first;
    Moment last;
    bool reserved_clear = true;

    bool operator==(const Span&) const = default;
};

/// The file that could not be opened.
class CannotOpen : public std::runtime_error {
  public:
    explicit CannotOpen(const std::string& path);
};

class Recording {
  public:
    /// Opens the data file and the index file beside it ("i" appended); throws CannotOpen.
    explicit Recording(const std::string& data_path, platform::FileSystem& files = platform::system_files());

    [[nodiscard]] const std::string& data_path() const { return data_path_; }
    [[nodiscard]] const std::string& index_path() const { return index_path_; }
    [[nodiscard]] std::uint64_t data_size() const { return data_.size(); }
    [[nodiscard]] std::uint64_t index_size() const { return index_.size(); }

    /// Entries and spans as the header counts them, and no more than the index file has room for.
    [[nodiscard]] std::uint32_t entries() const { return entries_; }
    [[nodiscard]] std::uint32_t spans() const { return spans_; }

    /// Nothing for numbers that are out of range and for what cannot be read.
    [[nodiscard]] std::optional<Entry> entry(std::uint32_t number);
    [[nodiscard]] std::optional<Span> span(std::uint32_t number);
    [[nodiscard]] std::optional<PsiHeader::Bytes> header() { return index_.record<PsiHeader>(0); }
    [[nodiscard]] std::optional<PsiStreamRecord::Bytes> stream_record(std::uint32_t slot);

    [[nodiscard]] std::optional<PackHeader::Bytes> pack_header() { return data_.record<PackHeader>(0); }
    [[nodiscard]] std::optional<StreamMap::Bytes> stream_map() {
        return data_.record<StreamMap>(PackHeader::size);
    }
    [[nodiscard]] std::optional<PesHeader::Bytes> packet_header(const Entry& entry);

    /// Any bytes of the data file; false when it does not hold them all.
    [[nodiscard]] bool read_data(std::uint64_t position, std::span<platform::Byte> to) {
        return data_.read(position, to);
    }

    [[nodiscard]] static constexpr std::uint64_t stream_record_at(std::uint32_t slot) {
        return kStreamTableAt + std::uint64_t{slot} * PsiStreamRecord::size;
    }
    [[nodiscard]] static constexpr std::uint64_t entry_at(std::uint32_t number) {
        return kEntriesAt + std::uint64_t{number} * PsiFrameEntry::size;
    }
    [[nodiscard]] std::uint64_t span_at(std::uint32_t number) const {
        return entry_at(entries_) + std::uint64_t{number} * PsiSpan::size;
    }

  private:
    std::string data_path_;
    std::string index_path_;
    FileWindow data_;
    FileWindow index_;
    std::uint32_t entries_ = 0;
    std::uint32_t spans_ = 0;
};

}  // namespace reader
