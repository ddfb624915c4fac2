#include "tools/host_kit/lent_buffers.h"

#include <algorithm>
#include <utility>

namespace host_kit {

LentBuffer LentBuffers::lend(const std::string& text) {
    auto bytes = std::make_unique<char[]>(text.size());
    std::ranges::copy(text, bytes.get());
    const std::lock_guard lock(mutex_);
    const LentBuffer lent{++last_number_, bytes.get(), static_cast<std::uint32_t>(text.size())};
    lent_.emplace(lent.text, Buffer{lent.number, std::move(bytes), text.size()});
    return lent;
}

LentBuffers::Return LentBuffers::take_back(const char* text) {
    const std::lock_guard lock(mutex_);
    const auto found = lent_.find(text);
    if (found == lent_.end()) {
        const auto before =
            std::ranges::find_if(returned_, [&](const Buffer& buffer) { return buffer.bytes.get() == text; });
        if (before == returned_.end()) return {};
        return {Outcome::kReturnedBefore, before->number, {}};
    }
    Buffer buffer = std::move(found->second);
    lent_.erase(found);
    Return result{Outcome::kReturned, buffer.number, std::string(buffer.bytes.get(), buffer.length)};
    // Overwritten, so that a module that still reads it is noticed.
    std::fill_n(buffer.bytes.get(), buffer.length, '\xDD');
    returned_.push_back(std::move(buffer));
    if (returned_.size() > kept_) returned_.pop_front();
    return result;
}

std::vector<std::uint64_t> LentBuffers::numbers() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::uint64_t> numbers;
    for (const auto& [text, buffer] : lent_) numbers.push_back(buffer.number);
    return numbers;
}

std::size_t LentBuffers::count() const {
    const std::lock_guard lock(mutex_);
    return lent_.size();
}

}  // namespace host_kit
