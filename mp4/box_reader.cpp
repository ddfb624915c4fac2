#include "mp4/box_reader.h"

#include <algorithm>

using platform::Byte;

namespace {

constexpr std::size_t kFirstFill = 4'096;
constexpr std::size_t kLargestFill = 262'144;

}  // namespace

void BoxReader::read(std::span<Byte> to) {
    std::size_t done = 0;
    while (ok_ && done < to.size()) {
        const auto rest = to.subspan(done);
        std::size_t got = take_from_window(rest);
        // A read longer than a whole window would only be copied through it.
        if (got == 0)
            got = rest.size() >= kLargestFill ? take_from_file(rest) : (refill(), take_from_window(rest));
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

std::size_t BoxReader::take_from_window(std::span<Byte> to) {
    if (position_ < window_at_ || position_ - window_at_ >= window_filled_) return 0;
    const auto at = static_cast<std::size_t>(position_ - window_at_);
    const std::size_t count = std::min(to.size(), window_filled_ - at);
    std::copy_n(window_.begin() + static_cast<std::ptrdiff_t>(at), count, to.begin());
    position_ += count;
    return count;
}

std::size_t BoxReader::take_from_file(std::span<Byte> to) {
    const std::size_t wanted = static_cast<std::size_t>(std::min<std::uint64_t>(to.size(), left()));
    const std::size_t got = wanted == 0 ? 0 : file_->read_at(position_, to.first(wanted));
    position_ += got;
    return got;
}

void BoxReader::refill() {
    const std::uint64_t window_end = window_at_ + window_filled_;
    const bool goes_on = position_ >= window_end && position_ - window_end <= next_fill_;
    next_fill_ = goes_on ? std::clamp(2 * next_fill_, kFirstFill, kLargestFill) : kFirstFill;
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(next_fill_, left()));
    if (window_.size() < wanted) window_.resize(wanted);
    window_at_ = position_;
    window_filled_ = wanted == 0 ? 0 : file_->read_at(position_, std::span(window_).first(wanted));
}
