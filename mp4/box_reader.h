#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "platform/bytes.h"
#include "platform/file.h"

/// Bounded big-endian reading of a clip, front to back with jumps. The one place that knows where the clip
/// ends: a value past the end reads as zero bytes, and from then on the reader has failed and yields nothing
/// but zeros until it is cleared. Reads go through a window that starts small after a jump and grows while
/// reading stays sequential, so that scattered small samples do not cost a whole window each; what is peeked
/// at is lent out of the window and so never copied.
class BoxReader {
  public:
    /// The file is not owned and may be null, which reads as an empty one.
    explicit BoxReader(platform::InputFile* file) : file_(file), size_(file == nullptr ? 0 : file->size()) {}

    [[nodiscard]] std::uint8_t u8() { return integer<std::uint8_t>(); }
    [[nodiscard]] std::uint16_t u16() { return integer<std::uint16_t>(); }
    [[nodiscard]] std::uint32_t u32() { return integer<std::uint32_t>(); }
    [[nodiscard]] std::uint64_t u64() { return integer<std::uint64_t>(); }

    /// Fills the span; what the clip does not hold becomes zero and the reader fails.
    void read(std::span<platform::Byte> to);

    /// The next count bytes where they stand in the window, fewer where the clip ends before (the reader has
    /// then failed) or none of a failed reader. Does not move on. Valid until the reader is used again, but
    /// for consume. A window that has to grow for it grows to `limit` bytes at most, or to what every clip
    /// gets.
    [[nodiscard]] std::span<platform::Byte> peek(std::size_t count, std::size_t limit);
    [[nodiscard]] std::span<platform::Byte> peek(std::size_t count) { return peek(count, count); }

    /// Moves past bytes that were peeked at and gives them away: whoever has them may overwrite them, and
    /// they are read from the file again if somebody comes back.
    void consume(std::size_t count) noexcept;

    /// Moves forward, to the end of the clip at most. Nothing to a failed reader.
    void skip(std::uint64_t bytes);

    /// Moves to an offset from the start of the file, which may lie past its end.
    void seek(std::uint64_t position);

    [[nodiscard]] bool ok() const noexcept { return ok_; }
    void clear() noexcept { ok_ = true; }

    [[nodiscard]] std::uint64_t position() const noexcept { return position_; }
    [[nodiscard]] std::uint64_t size() const noexcept { return size_; }
    /// Bytes from the position to the end of the clip.
    [[nodiscard]] std::uint64_t left() const noexcept { return position_ < size_ ? size_ - position_ : 0; }

  private:
    template <typename T>
    T integer() {
        std::array<platform::Byte, sizeof(T)> bytes{};
        read(bytes);
        return platform::load<std::endian::big, T>(bytes);
    }

    [[nodiscard]] std::size_t in_window() const noexcept;
    std::size_t take_from_window(std::span<platform::Byte> to);
    void refill(std::size_t count, std::size_t limit);
    void make_room(std::size_t kept, std::size_t size, std::size_t limit);

    platform::InputFile* file_;
    std::uint64_t size_;
    std::uint64_t position_ = 0;
    bool ok_ = true;

    std::unique_ptr<platform::Byte[]> window_;
    std::size_t capacity_ = 0;
    std::uint64_t window_at_ = 0;    // offset in the file of the window's first byte
    std::uint64_t window_from_ = 0;  // from here on it still holds what the file has
    std::uint64_t window_end_ = 0;   // and up to here
    std::size_t next_fill_ = 0;      // bytes to ask for at the next refill
};
