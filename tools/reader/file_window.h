#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "platform/bytes.h"
#include "platform/file.h"

namespace reader {

/// Random access to a file, or to an empty one if it is null, through one buffer. Reads ahead for sequential
/// small records. A record that is far from the previous one is read alone, so that the data in between is
/// never read. Not memory-mapped: if a file shrinks while it is read, a short read can be reported, but a
/// signal would end the program. Never reads past the size that the file had when it was opened.
class FileWindow {
  public:
    explicit FileWindow(std::unique_ptr<platform::InputFile> file = nullptr) : file_(std::move(file)) {}

    [[nodiscard]] bool is_open() const { return file_ != nullptr; }
    [[nodiscard]] std::uint64_t size() const { return file_ ? file_->size() : 0; }

    /// Fills the whole span, or returns false.
    [[nodiscard]] bool read(std::uint64_t position, std::span<platform::Byte> to);

    /// Reads one record. Nothing if the file ends before the end of the record.
    template <typename Layout>
    [[nodiscard]] std::optional<typename Layout::Bytes> record(std::uint64_t position) {
        typename Layout::Bytes bytes{};
        if (holds(position, bytes.size())) {  // the usual case; the length is known at compile time
            copy_out(position, std::span(bytes));
        } else if (!read(position, bytes)) {
            return std::nullopt;
        }
        return bytes;
    }

  private:
    [[nodiscard]] bool holds(std::uint64_t position, std::size_t length) const {
        return position >= begin_ && position - begin_ <= filled_ && length <= filled_ - (position - begin_);
    }
    template <std::size_t Length>
    void copy_out(std::uint64_t position, std::span<platform::Byte, Length> to) {
        std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(position - begin_), to.size(), to.begin());
        last_end_ = position + to.size();
    }
    void move_to(std::uint64_t position);

    static constexpr std::size_t kMaxFill = 65536;
    static constexpr std::size_t kSingleFill = 512;  // bytes read for an isolated record
    static constexpr std::size_t kMaxGap = 4096;  // reading a gap of this size is cheaper than another call

    std::unique_ptr<platform::InputFile> file_;
    std::vector<platform::Byte> bytes_;  // as large as the largest fill so far
    std::uint64_t begin_ = 0;            // file offset of the buffer
    std::size_t filled_ = 0;
    std::size_t fill_ = kSingleFill;  // bytes requested by the last fill
    std::uint64_t last_end_ = 0;      // end of the last record
};

}  // namespace reader
