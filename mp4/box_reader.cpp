#include "mp4/box_reader.h"

#include <algorithm>
#include <utility>

using platform::Byte;

namespace {

constexpr std::size_t kFirstFill = 4'096;
constexpr std::size_t kMaxFillSize = 262'144;

}  // namespace

void BoxReader::read(std::span<Byte> to) {
    std::size_t done = 0;
    while (ok_ && done < to.size()) {
        if (in_window() == 0) refill(1, 1);
        const std::size_t got = take_from_window(to.subspan(done));
        if (got == 0) ok_ = false;
        done += got;
    }
    std::fill(to.begin() + static_cast<std::ptrdiff_t>(done), to.end(), Byte{0});
}

void BoxReader::skip(std::uint64_t bytes) {
    if (ok_) position_ += std::min(bytes, left());
}

void BoxReader::seek(std::uint64_t position) {
    if (ok_) position_ = position;
}

std::span<Byte> BoxReader::peek(std::size_t count, std::size_t limit) {
    if (!ok_) return {};
    if (in_window() < count) refill(count, limit);
    const std::size_t there = std::min(count, in_window());
    if (there < count) ok_ = false;
    if (there == 0) return {};
    return {window_.get() + (position_ - window_at_), there};
}

void BoxReader::consume(std::size_t count) noexcept {
    position_ += count;
    window_from_ = std::max(window_from_, position_);  // nothing peeked at may be far from the window
}

std::size_t BoxReader::in_window() const noexcept {
    const bool inside = position_ >= window_from_ && position_ < window_end_;
    return inside ? static_cast<std::size_t>(window_end_ - position_) : 0;
}

std::size_t BoxReader::take_from_window(std::span<Byte> to) {
    const std::size_t count = std::min(to.size(), in_window());
    if (count == 0) return 0;
    std::copy_n(window_.get() + (position_ - window_at_), count, to.begin());
    position_ += count;
    return count;
}

/// Brings count bytes from the position on into the window, and more while reading is sequential. What the
/// window has of them already is kept.
void BoxReader::refill(std::size_t count, std::size_t limit) {
    const std::size_t kept = in_window();
    const bool goes_on = kept > 0 || (position_ >= window_end_ && position_ - window_end_ <= next_fill_);
    next_fill_ = goes_on ? std::clamp(2 * next_fill_, kFirstFill, kMaxFillSize) : kFirstFill;
    const std::size_t wanted = std::max(count, std::min(kept + next_fill_, kMaxFillSize));
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(wanted, left()));
    make_room(kept, size, limit);
    const std::uint64_t from = position_ + kept;
    const std::size_t got =
        size > kept ? file_->read_at(from, std::span(window_.get() + kept, size - kept)) : 0;
    window_at_ = position_;
    window_from_ = position_;
    window_end_ = from + got;
}

/// Moves the bytes that are kept to the front of a window of at least that size.
void BoxReader::make_room(std::size_t kept, std::size_t size, std::size_t limit) {
    const Byte* const from = kept > 0 ? window_.get() + (position_ - window_at_) : window_.get();
    if (size <= capacity_) {
        std::copy_n(from, kept, window_.get());  // towards the front, so the ranges may overlap
        return;
    }
    const std::size_t capacity = std::max(size, std::min(2 * capacity_, std::max(limit, kMaxFillSize)));
    auto window = std::make_unique_for_overwrite<Byte[]>(capacity);
    std::copy_n(from, kept, window.get());
    window_ = std::move(window);
    capacity_ = capacity;
}
