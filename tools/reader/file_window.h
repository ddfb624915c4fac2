#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/bytes.h"
#include "platform/file.h"

namespace reader {

/// Reads a file at positions through one buffer. Small records in a row are fetched many at a time; a record
/// that lies far behind the one before is fetched alone, so that what lies between them is never read. Not
/// mapped into memory, on purpose: a file that shrinks while it is read gives a short read here, which is a
/// finding, and a signal that ends the program there. Nothing beyond the length that the file had at opening
/// is ever asked for.
class FileWindow {
  public:
    explicit FileWindow(std::unique_ptr<platform::InputFile> file);

    [[nodiscard]] std::uint64_t size() const { return file_->size(); }

    /// Fills the whole span or answers false.
    [[nodiscard]] bool read(std::uint64_t position, std::span<platform::Byte> to);

    /// One record of a layout table, nothing when the file does not hold all of it.
    template <typename Layout>
    [[nodiscard]] std::optional<typename Layout::Bytes> record(std::uint64_t position) {
        typename Layout::Bytes bytes{};
        if (holds(position, bytes.size())) {  // the usual case, with a length that the compiler knows
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

    static constexpr std::size_t kSize = 65536;
    static constexpr std::size_t kAlone = 512;  // fetched around a record that stands alone
    static constexpr std::size_t kNear = 4096;  // a gap that costs less to read than a call of its own

    std::unique_ptr<platform::InputFile> file_;
    std::vector<platform::Byte> bytes_;  // as many as were ever asked for
    std::uint64_t begin_ = 0;            // of the buffer, in the file
    std::size_t filled_ = 0;
    std::size_t fill_ = kAlone;   // how much was asked for last
    std::uint64_t last_end_ = 0;  // of the last record that was read
};

}  // namespace reader
