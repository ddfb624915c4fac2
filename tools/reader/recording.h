#pragma once

// A recording as its index shows it: a data file and the index file beside it, opened for reading only. The
// pair may come from anywhere: nothing that it says is believed before it was compared with the sizes of the
// files.

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "platform/file.h"
#include "ps/index_layout.h"
#include "ps/stream_layout.h"
#include "tools/reader/file_window.h"
#include "tools/reader/packet_time.h"

namespace reader {

/// What one index entry says about its packet.
struct Entry {
    std::uint32_t number = 0;
    std::uint8_t slot = 0;
    std::uint8_t flags = 0;
    std::uint8_t program = 0;
    std::uint32_t packet_size = 0;  // bytes
    std::uint64_t packet_at = 0;    // offset in the data file
    PacketTime moment;
    std::uint32_t previous = kNoEntry;
    std::uint32_t next = kNoEntry;
    std::uint16_t key_distance = 0;

    [[nodiscard]] std::uint8_t picture_type() const { return flags & kPictureTypeBits; }
    [[nodiscard]] std::uint8_t kind() const { return flags & kRecordingKindBits; }
    [[nodiscard]] bool is_key() const { return picture_type() == kKeyFrame; }
    [[nodiscard]] std::uint64_t packet_end() const { return packet_at + packet_size; }
};

/// A run of packets without a gap.
struct Span {
    std::uint8_t slot = 0;
    std::uint8_t kind = 0;
    PacketTime first;
    PacketTime last;

    bool operator==(const Span&) const = default;
};

/// Neither of the two files could be opened.
class CannotOpen : public std::runtime_error {
  public:
    explicit CannotOpen(const std::string& path);
};

class Recording {
  public:
    /// Opens the data file and the index file beside it ("i" appended). One of them may be missing: it is
    /// then an empty one, and nothing can be read from it. Throws CannotOpen when both are.
    explicit Recording(const std::string& data_path, platform::FileSystem& files = platform::system_files());

    [[nodiscard]] bool has_data() const { return data_.has_value(); }
    [[nodiscard]] bool has_index() const { return index_.has_value(); }
    [[nodiscard]] const std::string& data_path() const { return data_path_; }
    [[nodiscard]] const std::string& index_path() const { return index_path_; }
    [[nodiscard]] std::uint64_t data_size() const { return data_ ? data_->size() : 0; }
    [[nodiscard]] std::uint64_t index_size() const { return index_ ? index_->size() : 0; }

    /// Lets go of both files, so that others can take their places: not every system allows that before.
    /// Nothing can be read any more.
    void close();

    /// Entries and spans as the header counts them, and no more than the index file has room for. An index
    /// that was not completed has as many entries as stand in it.
    [[nodiscard]] std::uint32_t entries() const { return entries_; }
    [[nodiscard]] std::uint32_t spans() const { return spans_; }

    /// False where the header counts nothing at all although entries follow: whoever wrote this pair was
    /// interrupted, or is still at it.
    [[nodiscard]] bool completed() const { return completed_; }

    /// Nothing for numbers that are out of range and for what cannot be read.
    [[nodiscard]] std::optional<Entry> entry(std::uint32_t number);
    [[nodiscard]] std::optional<Span> span(std::uint32_t number);
    [[nodiscard]] std::optional<PsiFrameEntry::Bytes> entry_record(std::uint32_t number);
    [[nodiscard]] std::optional<PsiSpan::Bytes> span_record(std::uint32_t number);
    [[nodiscard]] std::optional<PsiHeader::Bytes> header() { return record<PsiHeader>(index_, 0); }
    [[nodiscard]] std::optional<PsiStreamRecord::Bytes> stream_record(std::uint32_t slot);

    [[nodiscard]] std::optional<PackHeader::Bytes> pack_header() { return record<PackHeader>(data_, 0); }
    [[nodiscard]] std::optional<StreamMap::Bytes> stream_map() {
        return record<StreamMap>(data_, PackHeader::size);
    }
    [[nodiscard]] std::optional<PesHeader::Bytes> packet_header(std::uint64_t packet_at) {
        return record<PesHeader>(data_, packet_at);
    }

    /// Any bytes of the data file; false when it does not hold them all.
    [[nodiscard]] bool read_data(std::uint64_t position, std::span<platform::Byte> to) {
        return data_ && data_->read(position, to);
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
    template <typename Layout>
    static std::optional<typename Layout::Bytes> record(std::optional<FileWindow>& file,
                                                        std::uint64_t position) {
        return file ? file->record<Layout>(position) : std::nullopt;
    }
    void count_records(const PsiHeader::Bytes& header);

    std::string data_path_;
    std::string index_path_;
    std::optional<FileWindow> data_;
    std::optional<FileWindow> index_;
    std::optional<FileWindow> spans_file_;  // the index again: spans are read in between the entries
    bool completed_ = true;
    std::uint32_t entries_ = 0;
    std::uint32_t spans_ = 0;
};

}  // namespace reader
