#include "ps/span_list.h"

#include <algorithm>

void SpanList::add(PsiSpan::View span) {
    const auto in_block = static_cast<std::size_t>(size_ % kBlockSpans);
    if (in_block == 0) blocks_.push_back(std::make_unique<Block>());
    std::ranges::copy(span, blocks_.back()->begin() + static_cast<std::ptrdiff_t>(in_block * span.size()));
    ++size_;
}

void SpanList::clear() noexcept {
    blocks_.clear();
    size_ = 0;
}

bool SpanList::write(platform::IndexFile& file, std::uint64_t position) const {
    std::uint64_t left = size_ * PsiSpan::size;
    for (const auto& block : blocks_) {
        const auto part =
            std::span(*block).first(static_cast<std::size_t>(std::min<std::uint64_t>(left, block->size())));
        if (file.write_at(position, part) != part.size()) return false;
        position += part.size();
        left -= part.size();
    }
    return true;
}
