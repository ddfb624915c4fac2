#include "tools/reader/faults.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace reader {
namespace {

/// As many bytes as fit into a line that a person reads.
std::string hex(std::span<const platform::Byte> bytes) {
    constexpr std::size_t kShown = 8;
    const auto shown = bytes.first(std::min(bytes.size(), kShown));
    return fmt::format("{:02X}{}", fmt::join(shown, " "), shown.size() < bytes.size() ? " ..." : "");
}

}  // namespace

void FaultList::add(const std::string& file, std::uint64_t offset, std::string text) {
    ++count_;
    if (kept_.size() < kKept) kept_.push_back({file, offset, std::move(text)});
}

void compare_parts(FaultList& faults, const std::string& file, std::uint64_t record_at,
                   std::string_view record_name, std::span<const platform::Byte> found,
                   std::span<const platform::Byte> expected, std::span<const NamedPart> parts) {
    for (const NamedPart& part : parts) {
        const auto is = found.subspan(part.offset, part.length);
        const auto should = expected.subspan(part.offset, part.length);
        if (std::equal(is.begin(), is.end(), should.begin())) continue;
        faults.add(file, record_at + part.offset,
                   fmt::format("{}: {} is {}, not {}", record_name, part.name, hex(is), hex(should)));
    }
}

bool all_zero(std::span<const platform::Byte> bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](platform::Byte byte) { return byte == 0; });
}

}  // namespace reader
