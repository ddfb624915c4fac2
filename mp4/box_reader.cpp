#include "mp4/box_reader.h"

#include <algorithm>
#include <utility>

using platform::Byte;

namespace {

constexpr std::size_t kMinFillSize = 4'096;

}  // namespace

void BoxReader::read(std::span<Byte> to) {
    std::size_t done = 0;
    while (ok_ && done < to.size()) {
        if (in_window() == 0) refill(1, 1, true);
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
    if (in_window() < count) refill(count, limit, true);
    const std::size_t available = std::min(count, in_window());
    if (available < count) ok_ = false;
    if (available == 0) return {};
    return {window_.get() + (position_ - window_offset_), available};
}

void BoxReader::load(std::size_t count, std::size_t limit) {
    if (ok_ && in_window() < count) refill(count, limit, false);
}

void BoxReader::consume(std::size_t count) noexcept {
    position_ += count;
    valid_begin_ = std::max(valid_begin_, position_);  // the consumed bytes may be overwritten
}

std::size_t BoxReader::in_window() const noexcept {
    const bool inside = position_ >= valid_begin_ && position_ < valid_end_;
    return inside ? static_cast<std::size_t>(valid_end_ - position_) : 0;
}

std::size_t BoxReader::take_from_window(std::span<Byte> to) {
    const std::size_t count = std::min(to.size(), in_window());
    if (count == 0) return 0;
    std::copy_n(window_.get() + (position_ - window_offset_), count, to.begin());
    position_ += count;
    return count;
}

/// Loads at least `count` bytes from the position on, and with `read_ahead` more while reading is sequential.
/// Keeps those that the window already has.
void BoxReader::refill(std::size_t count, std::size_t limit, bool read_ahead) {
    const std::size_t kept = in_window();
    const bool sequential = kept > 0 || (position_ >= valid_end_ && position_ - valid_end_ <= fill_size_);
    fill_size_ = sequential ? std::clamp(2 * fill_size_, kMinFillSize, kMaxFillSize) : kMinFillSize;
    const std::size_t ahead = read_ahead ? std::min(kept + fill_size_, kMaxFillSize) : 0;
    const std::size_t wanted = std::max(count, ahead);
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(wanted, left()));
    make_room(kept, size, limit);
    const std::uint64_t from = position_ + kept;
    const std::size_t got =
        size > kept ? file_->read_at(from, std::span(window_.get() + kept, size - kept)) : 0;
    window_offset_ = position_;
    valid_begin_ = position_;
    valid_end_ = from + got;
}

/// Moves the kept bytes to the front and grows the window to at least `size` bytes.
void BoxReader::make_room(std::size_t kept, std::size_t size, std::size_t limit) {
    const Byte* const from = kept > 0 ? window_.get() + (position_ - window_offset_) : window_.get();
    if (size <= capacity_) {
        std::copy_n(from, kept, window_.get());  // copies forward, so the ranges may overlap
        return;
    }
    const std::size_t capacity = std::max(size, std::min(2 * capacity_, std::max(limit, kMaxFillSize)));
    auto window = std::make_unique_for_overwrite<Byte[]>(capacity);
    std::copy_n(from, kept, window.get());
    window_ = std::move(window);
    capacity_ = capacity;
}
