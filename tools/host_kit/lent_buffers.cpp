#include "tools/host_kit/lent_buffers.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace recorder {
namespace {

/// Put over a text that came back: a plug-in that reads on does not find its message any more.
constexpr char kStale = '\xDD';
constexpr std::size_t kRemembered = 4096;

std::uint64_t address_of(const std::unique_ptr<char[]>& bytes) {
    return std::bit_cast<std::uintptr_t>(bytes.get());
}

}  // namespace

LentBuffers::Loan LentBuffers::lend(const std::string& text) {
    // Exactly as long as the text: no terminating NUL that a plug-in could rely on.
    auto bytes = std::make_unique<char[]>(text.size());
    std::copy(text.begin(), text.end(), bytes.get());
    const std::lock_guard lock(mutex_);
    const Loan loan{++last_number_, address_of(bytes), static_cast<std::uint32_t>(text.size())};
    lent_.emplace(loan.address, Text{loan.number, loan.address, std::move(bytes), text.size()});
    return loan;
}

LentBuffers::Return LentBuffers::give_back(std::uint64_t address) {
    const std::lock_guard lock(mutex_);
    const auto found = lent_.find(address);
    if (found == lent_.end()) {
        for (const Text& text : returned_) {
            if (text.address == address) return {Outcome::kAgain, text.number};
        }
        return {};
    }
    Text text = std::move(found->second);
    lent_.erase(found);
    std::fill_n(text.bytes.get(), text.length, kStale);
    returned_.push_back(std::move(text));
    if (returned_.size() > kRemembered) returned_.pop_front();
    return {Outcome::kFirstTime, returned_.back().number};
}

std::size_t LentBuffers::outstanding() const {
    const std::lock_guard lock(mutex_);
    return lent_.size();
}

}  // namespace recorder
