#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "platform/bytes.h"
#include "platform/file.h"

/// Reads big-endian values and bytes of a clip. Only this class checks bounds: bytes past the end read as
/// zero, and the reader then stays in a failed state, where every read yields zeros, until clear() is called.
///
/// Reads go through a buffer, the window. It starts small after a seek and grows while reading is sequential,
/// so that scattered small samples do not each load a full window. peek() returns a view into the window
/// without copying.
class BoxReader {
  public:
    /// Bytes that are read at once, unless a caller needs more.
    static constexpr std::size_t kMaxFillSize = 262'144;

    /// Does not own the file. A null file reads as an empty one.
    explicit BoxReader(platform::InputFile* file) : file_(file), size_(file == nullptr ? 0 : file->size()) {}

    [[nodiscard]] std::uint8_t u8() { return integer<std::uint8_t>(); }
    [[nodiscard]] std::uint16_t u16() { return integer<std::uint16_t>(); }
    [[nodiscard]] std::uint32_t u32() { return integer<std::uint32_t>(); }
    [[nodiscard]] std::uint64_t u64() { return integer<std::uint64_t>(); }

    /// Fills the span. If the clip ends earlier, the rest becomes zero and the reader fails.
    void read(std::span<platform::Byte> to);

    /// A view of the next `count` bytes, without moving past them. Shorter if the clip ends earlier, in which
    /// case the reader fails; empty if it has already failed. Valid until the next call other than consume().
    /// If the window must grow, it grows to at most `limit` bytes or the usual maximum, whichever is larger.
    [[nodiscard]] std::span<platform::Byte> peek(std::size_t count, std::size_t limit);
    [[nodiscard]] std::span<platform::Byte> peek(std::size_t count) { return peek(count, count); }

    /// Loads the next `count` bytes, and no more, unless the window already has them. For a caller that knows
    /// where the bytes end that it will peek at. `limit` as for peek().
    void load(std::size_t count, std::size_t limit);

    /// Moves past `count` peeked bytes. The caller may overwrite them from now on: seeking back reads them
    /// from the file again.
    void consume(std::size_t count) noexcept;

    /// Moves forward, at most to the end of the clip. Does nothing in the failed state.
    void skip(std::uint64_t bytes);

    /// Moves to an offset from the start of the file, which may be past its end. Does nothing in the failed
    /// state.
    void seek(std::uint64_t position);

    [[nodiscard]] bool ok() const noexcept { return ok_; }
    void clear() noexcept { ok_ = true; }

    [[nodiscard]] std::uint64_t position() const noexcept { return position_; }
    [[nodiscard]] std::uint64_t size() const noexcept { return size_; }
    [[nodiscard]] platform::InputFile* file() const noexcept { return file_; }
    /// Bytes from the position to the end of the window, 0 outside it.
    [[nodiscard]] std::size_t in_window() const noexcept;
    /// Bytes from the position to the end of the clip.
    [[nodiscard]] std::uint64_t left() const noexcept { return position_ < size_ ? size_ - position_ : 0; }

  private:
    template <typename T>
    T integer() {
        std::array<platform::Byte, sizeof(T)> bytes{};
        read(bytes);
        return platform::load<std::endian::big, T>(bytes);
    }

    std::size_t take_from_window(std::span<platform::Byte> to);
    void refill(std::size_t count, std::size_t limit, bool read_ahead);
    void make_room(std::size_t kept, std::size_t size, std::size_t limit);

    platform::InputFile* file_;
    std::uint64_t size_;
    std::uint64_t position_ = 0;
    bool ok_ = true;

    std::unique_ptr<platform::Byte[]> window_;
    std::size_t capacity_ = 0;
    std::uint64_t window_offset_ = 0;  // file offset of the window's first byte
    std::uint64_t valid_begin_ = 0;    // file offsets between which the window
    std::uint64_t valid_end_ = 0;      // is identical to the file
    std::size_t fill_size_ = 0;        // bytes that the last refill was to read ahead
};
