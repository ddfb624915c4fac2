#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/file.h"
#include "ps/index_layout.h"

/// The closed spans of a recording, in the order they were closed. Stored in blocks, so that growing neither
/// moves nor doubles the memory: a clip with slow frames has one span per frame.
class SpanList {
  public:
    /// Throws std::bad_alloc and leaves the list unchanged if memory runs out.
    void add(PsiSpan::View span);

    [[nodiscard]] std::uint64_t size() const noexcept { return size_; }
    void clear() noexcept;

    /// Writes all spans at the position, one block per call. Stops and returns false at the first failed
    /// write.
    [[nodiscard]] bool write(platform::IndexFile& file, std::uint64_t position) const;

  private:
    static constexpr std::size_t kBlockSpans = 256;
    using Block = std::array<platform::Byte, kBlockSpans * PsiSpan::size>;

    std::vector<std::unique_ptr<Block>> blocks_;
    std::uint64_t size_ = 0;
};
