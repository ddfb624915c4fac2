#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/bytes.h"
#include "platform/file.h"

/// Bounded big-endian reading of a clip, front to back with jumps. The one place that knows where the clip
/// ends: a value past the end reads as zero bytes, and from then on the reader has failed and yields nothing
/// but zeros until it is cleared. Reads go through a window that starts small after a jump and grows while
/// reading stays sequential, so that scattered small samples do not cost a whole window each.
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

    std::size_t take_from_window(std::span<platform::Byte> to);
    std::size_t take_from_file(std::span<platform::Byte> to);
    void refill();

    platform::InputFile* file_;
    std::uint64_t size_;
    std::uint64_t position_ = 0;
    bool ok_ = true;

    std::vector<platform::Byte> window_;
    std::uint64_t window_at_ = 0;    // offset in the file of the window's first byte
    std::size_t window_filled_ = 0;  // bytes that it holds
    std::size_t next_fill_ = 0;      // bytes to ask for at the next refill
};
