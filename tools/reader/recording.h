#pragma once

// Read access to a recording: a data file and its index file. The files are not trusted: counts and offsets
// are compared with the file sizes before use.

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/file.h"
#include "ps/index_layout.h"
#include "ps/stream_layout.h"
#include "tools/reader/file_window.h"
#include "tools/reader/packet_time.h"

namespace reader {

/// One index entry.
struct Entry {
    std::uint32_t number = 0;
    std::uint8_t slot = 0;
    std::uint8_t flags = 0;
    std::uint32_t packet_size = 0;    // bytes
    std::uint64_t packet_offset = 0;  // offset in the data file
    PacketTime time;
    std::uint32_t previous = kNoEntry;
    std::uint32_t next = kNoEntry;
    std::uint16_t key_distance = 0;

    [[nodiscard]] bool is_key() const { return (flags & kPictureTypeBits) == kKeyFrame; }
    [[nodiscard]] std::uint64_t packet_end() const { return packet_offset + packet_size; }
};

/// Consecutive packets without a gap.
struct Span {
    std::uint8_t slot = 0;
    std::uint8_t kind = 0;
    PacketTime first;
    PacketTime last;
};

/// A file of the recording exists and cannot be opened, or both are missing.
class CannotOpen : public std::runtime_error {
  public:
    CannotOpen(std::string path, std::string reason)
        : std::runtime_error(path + ": " + reason), path_(std::move(path)), reason_(std::move(reason)) {}

    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] const std::string& reason() const { return reason_; }

  private:
    std::string path_;
    std::string reason_;
};

class Recording {
  public:
    /// Opens the data file and its index file (the same path plus "i"). A missing file is treated as an empty
    /// one. Throws CannotOpen if both are missing, or if one that exists cannot be opened.
    explicit Recording(const std::string& data_path, platform::FileSystem& files = platform::system_files());

    [[nodiscard]] bool has_data() const { return data_.is_open(); }
    [[nodiscard]] bool has_index() const { return index_.is_open(); }
    [[nodiscard]] const std::string& data_path() const { return data_path_; }
    [[nodiscard]] const std::string& index_path() const { return index_path_; }
    [[nodiscard]] std::uint64_t data_size() const { return data_.size(); }
    [[nodiscard]] std::uint64_t index_size() const { return index_.size(); }

    /// Closes both files, because some systems cannot replace open files. Nothing can be read afterwards.
    void close();

    /// The number of entries and spans according to the header, at most as many as fit into the index file.
    /// For an index that was not completed, the number of entries in the file.
    [[nodiscard]] std::uint32_t entries() const { return entries_; }
    [[nodiscard]] std::uint32_t spans() const { return spans_; }

    /// False if all counts in the header are 0 although entries follow: writing was interrupted or is still
    /// in progress.
    [[nodiscard]] bool completed() const { return completed_; }

    /// Nothing if the number is out of range or the record cannot be read.
    [[nodiscard]] std::optional<Entry> entry(std::uint32_t number);
    [[nodiscard]] std::optional<PsiFrameEntry::Bytes> entry_record(std::uint32_t number);
    [[nodiscard]] std::optional<PsiSpan::Bytes> span_record(std::uint32_t number);
    [[nodiscard]] std::optional<PsiHeader::Bytes> header() { return index_.record<PsiHeader>(0); }
    [[nodiscard]] std::optional<PsiStreamRecord::Bytes> stream_record(std::uint32_t slot);

    [[nodiscard]] std::optional<PackHeader::Bytes> pack_header() { return data_.record<PackHeader>(0); }
    [[nodiscard]] std::optional<StreamMap::Bytes> stream_map() {
        return data_.record<StreamMap>(PackHeader::size);
    }
    [[nodiscard]] std::optional<PesHeader::Bytes> packet_header(std::uint64_t packet_offset) {
        return data_.record<PesHeader>(packet_offset);
    }

    /// Reads bytes of the data file. False if it does not have all of them.
    [[nodiscard]] bool read_data(std::uint64_t position, std::span<platform::Byte> to) {
        return data_.read(position, to);
    }

    [[nodiscard]] std::uint64_t span_at(std::uint32_t number) const {
        return entry_at(entries_) + std::uint64_t{number} * PsiSpan::size;
    }

  private:
    void count_records(const PsiHeader::Bytes& header);

    std::string data_path_;
    std::string index_path_;
    FileWindow data_;
    FileWindow index_;
    FileWindow spans_file_;  // the index again, because spans and entries are read alternately
    bool completed_ = true;
    std::uint32_t entries_ = 0;
    std::uint32_t spans_ = 0;
};

}  // namespace reader
