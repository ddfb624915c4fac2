#include "tools/reader/file_window.h"

#include <algorithm>

namespace reader {

void FileWindow::move_to(std::uint64_t position) {
    const bool sequential = position >= last_end_ && position - last_end_ < kMaxGap;
    fill_ = sequential ? std::min(2 * fill_, kMaxFill) : kSingleFill;
    if (bytes_.size() < fill_) bytes_.resize(fill_);
    begin_ = position;
    filled_ = file_->read_at(position, std::span(bytes_).first(fill_));
}

bool FileWindow::read(std::uint64_t position, std::span<platform::Byte> to) {
    if (position > size() || to.size() > size() - position) return false;
    if (!holds(position, to.size())) {
        if (to.size() > kSingleFill) return file_->read_at(position, to) == to.size();
        move_to(position);
        if (!holds(position, to.size())) return false;
    }
    copy_out(position, to);
    return true;
}

}  // namespace reader
