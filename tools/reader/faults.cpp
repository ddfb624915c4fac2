#include "tools/reader/faults.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace reader {
namespace {

/// The first bytes in hexadecimal.
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
    if (fault.repair == Repair::kNone) ++unrepairable_;
    if (kept_.size() < kKept) kept_.push_back(std::move(fault));
}

void compare_fields(FaultList& faults, const Fault& record, std::span<const platform::Byte> found,
                    std::span<const platform::Byte> expected, std::span<const NamedField> fields) {
    for (const NamedField& field : fields) {
        const auto is = found.subspan(field.offset, field.length);
        const auto should = expected.subspan(field.offset, field.length);
        if (std::equal(is.begin(), is.end(), should.begin())) continue;
        Fault fault = record;
        fault.offset += field.offset;
        fault.text = fmt::format("{}: {} is {}, not {}", record.text, field.name, hex(is), hex(should));
        faults.add(std::move(fault));
    }
}

bool all_zero(std::span<const platform::Byte> bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](platform::Byte byte) { return byte == 0; });
}

}  // namespace reader
