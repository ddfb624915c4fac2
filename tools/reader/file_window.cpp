#include "tools/reader/file_window.h"

#include <algorithm>
#include <utility>

namespace reader {

FileWindow::FileWindow(std::unique_ptr<platform::InputFile> file) : file_(std::move(file)) {}

bool FileWindow::holds(std::uint64_t position, std::size_t length) const {
    return position >= begin_ && position - begin_ <= filled_ && length <= filled_ - (position - begin_);
}

void FileWindow::move_to(std::uint64_t position) {
    begin_ = position;
    filled_ = file_->read_at(position, bytes_);
}

bool FileWindow::read(std::uint64_t position, std::span<platform::Byte> to) {
    if (position > size() || to.size() > size() - position) return false;
    if (to.size() > kSize) return file_->read_at(position, to) == to.size();
    if (!holds(position, to.size())) move_to(position);
    if (!holds(position, to.size())) return false;
    std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(position - begin_), to.size(), to.begin());
    return true;
}

}  // namespace reader
