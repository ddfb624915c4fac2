#include "tests/support/allocations.h"

#include <malloc.h>

#include <cstdlib>
#include <new>

namespace allocations {

constinit std::atomic<std::int64_t> live_blocks{0};
constinit std::atomic<std::int64_t> live_bytes{0};
constinit std::atomic<std::int64_t> peak_bytes{0};

}  // namespace allocations

namespace {

using allocations::live_blocks, allocations::live_bytes, allocations::peak_bytes;

thread_local allocations::Fault* the_fault = nullptr;

void* allocate(std::size_t size) noexcept {
    if (the_fault != nullptr && the_fault->fails_next()) return nullptr;
    void* const block =
        std::malloc(size == 0 ? 1 : size);  // NOLINT(cppcoreguidelines-no-malloc): this is new itself
    if (block == nullptr) return nullptr;
    ++live_blocks;
    const std::int64_t now = live_bytes += static_cast<std::int64_t>(::malloc_usable_size(block));
    for (std::int64_t most = peak_bytes; most < now && !peak_bytes.compare_exchange_weak(most, now);)
        continue;
    return block;
}

void* allocate_or_throw(std::size_t size) {
    if (void* const block = allocate(size)) return block;
    throw std::bad_alloc();
}

void release(void* block) noexcept {
    if (block == nullptr) return;
    --live_blocks;
    live_bytes -= static_cast<std::int64_t>(::malloc_usable_size(block));
    std::free(block);  // NOLINT(cppcoreguidelines-no-malloc)
}

}  // namespace

namespace allocations {

Fault::Fault(std::uint64_t at, bool from_then_on, bool (*counts)())
    : at_(at), from_then_on_(from_then_on), counts_(counts) {
    the_fault = this;
}

Fault::~Fault() {
    the_fault = nullptr;
}

bool Fault::fails_next() {
    if (!counts_()) return false;
    ++made_;
    const bool now = made_ == at_ || (from_then_on_ && made_ > at_);
    failed_one_ = failed_one_ || now;
    return now;
}

}  // namespace allocations

// NOLINTBEGIN(misc-new-delete-overloads): all forms of both are defined here
#define REPLACED __attribute__((visibility("default")))

REPLACED void* operator new(std::size_t size) {
    return allocate_or_throw(size);
}
REPLACED void* operator new[](std::size_t size) {
    return allocate_or_throw(size);
}
REPLACED void* operator new(std::size_t size, const std::nothrow_t& /*nothrow*/) noexcept {
    return allocate(size);
}
REPLACED void* operator new[](std::size_t size, const std::nothrow_t& /*nothrow*/) noexcept {
    return allocate(size);
}
REPLACED void operator delete(void* block) noexcept {
    release(block);
}
REPLACED void operator delete[](void* block) noexcept {
    release(block);
}
REPLACED void operator delete(void* block, std::size_t /*size*/) noexcept {
    release(block);
}
REPLACED void operator delete[](void* block, std::size_t /*size*/) noexcept {
    release(block);
}
REPLACED void operator delete(void* block, const std::nothrow_t& /*nothrow*/) noexcept {
    release(block);
}
REPLACED void operator delete[](void* block, const std::nothrow_t& /*nothrow*/) noexcept {
    release(block);
}
// NOLINTEND(misc-new-delete-overloads)
