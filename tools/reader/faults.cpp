#include "tools/reader/faults.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace reader {
namespace {

/// As many bytes as fit into a line that a person reads.
std::string hex(std::span<const platform::Byte> bytes) {
    constexpr std::size_t kShown = 8;
    const auto shown = bytes.first(std::min(bytes.size(), kShown));
    return fmt::format("{:02X}{}", fmt::join(shown, " "), shown.size() < bytes.size() ? " ..." : "");
}

}  // namespace

std::string text_of(const Fault& fault) {
    return fmt::format("{}: offset {}: {}", fault.file, fault.offset, fault.text);
}

void FaultList::add(Fault fault) {
    ++count_;
    if (fault.mending == Repair::kNone) ++lasting_;
    if (kept_.size() < kKept) kept_.push_back(std::move(fault));
}

void compare_parts(FaultList& faults, const Fault& record, std::span<const platform::Byte> found,
                   std::span<const platform::Byte> expected, std::span<const NamedPart> parts) {
    for (const NamedPart& part : parts) {
        const auto is = found.subspan(part.offset, part.length);
        const auto should = expected.subspan(part.offset, part.length);
        if (std::equal(is.begin(), is.end(), should.begin())) continue;
        Fault fault = record;
        fault.offset += part.offset;
        fault.text = fmt::format("{}: {} is {}, not {}", record.text, part.name, hex(is), hex(should));
        faults.add(std::move(fault));
    }
}

bool all_zero(std::span<const platform::Byte> bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](platform::Byte byte) { return byte == 0; });
}

}  // namespace reader
