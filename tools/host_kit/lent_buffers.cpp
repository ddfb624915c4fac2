#include "tools/host_kit/lent_buffers.h"

#include <algorithm>
#include <utility>

namespace host_kit {
namespace {

/// Overwrites a returned text, so that a module that still reads it is noticed.
constexpr char kStale = '\xDD';

/// Around each text. A module that reads past the end finds no NUL, and no longer a document.
constexpr char kGuard = '<';

bool is_stale(const char* bytes, std::size_t size) {
    return std::all_of(bytes, bytes + size, [](char byte) { return byte == kStale; });
}

}  // namespace

LentBuffer LentBuffers::lend(const std::string& text) {
    const std::size_t size = text.size() + 2 * guard_size();
    auto bytes = std::make_unique<char[]>(size);
    std::fill_n(bytes.get(), size, kGuard);
    std::ranges::copy(text, bytes.get() + guard_size());
    const std::lock_guard lock(mutex_);
    const LentBuffer lent{++last_number_, bytes.get() + guard_size(),
                          static_cast<std::uint32_t>(text.size())};
    lent_.emplace(lent.text, Buffer{lent.number, text, std::move(bytes), size});
    return lent;
}

bool LentBuffers::is_unchanged(const Buffer& buffer) const {
    const std::string guard(guard_size(), kGuard);
    return std::string_view(buffer.bytes.get(), buffer.size) == guard + buffer.text + guard;
}

LentBuffers::Return LentBuffers::take_back(const char* text) {
    const std::lock_guard lock(mutex_);
    const auto found = lent_.find(text);
    if (found == lent_.end()) {
        const auto before = std::ranges::find_if(
            returned_, [&](const Buffer& buffer) { return buffer.bytes.get() + guard_size() == text; });
        if (before == returned_.end()) return {};
        return {Outcome::kReturnedBefore, before->number, {}};
    }
    Buffer buffer = std::move(found->second);
    lent_.erase(found);
    const Outcome outcome = is_unchanged(buffer) ? Outcome::kReturned : Outcome::kChanged;
    Return result{outcome, buffer.number, std::move(buffer.text)};
    std::fill_n(buffer.bytes.get(), buffer.size, kStale);
    returned_.push_back(std::move(buffer));
    if (returned_.size() > kept_) {
        const Buffer& oldest = returned_.front();
        if (!is_stale(oldest.bytes.get(), oldest.size)) changed_after_return_ = oldest.number;
        returned_.pop_front();
    }
    return result;
}

std::uint64_t LentBuffers::changed_after_return() const {
    const std::lock_guard lock(mutex_);
    for (const Buffer& buffer : returned_) {
        if (!is_stale(buffer.bytes.get(), buffer.size)) return buffer.number;
    }
    return changed_after_return_;
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
