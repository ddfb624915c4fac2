#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/file.h"
#include "ps/index_layout.h"

/// The closed spans of a recording, in the order they were closed. Kept in blocks: a clip of slow frames has
/// a span for every frame, and growing must neither move nor double them.
class SpanList {
  public:
    /// Throws only when memory is short, and is then as it was.
    void add(PsiSpan::View span);

    [[nodiscard]] std::uint64_t size() const noexcept { return size_; }
    void clear() noexcept;

    /// Writes all of them from a position on, a block at a time; false at the first that cannot be written.
    [[nodiscard]] bool write(platform::IndexFile& file, std::uint64_t position) const;

  private:
    static constexpr std::size_t kBlockSpans = 256;
    using Block = std::array<platform::Byte, kBlockSpans * PsiSpan::size>;

    std::vector<std::unique_ptr<Block>> blocks_;
    std::uint64_t size_ = 0;
};
