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

std::vector<Correction> compare_fields(FaultList& faults, const Fault& record,
                                       std::span<const platform::Byte> found,
                                       std::span<const platform::Byte> expected,
                                       std::span<const NamedField> fields) {
    std::vector<Correction> corrections;
    for (const NamedField& field : fields) {
        const auto is = found.subspan(field.offset, field.length);
        const auto should = expected.subspan(field.offset, field.length);
        if (std::ranges::equal(is, should)) continue;
        Fault fault = record;
        fault.offset += field.offset;
        fault.text = fmt::format("{}: {} is {}, not {}", record.text, field.name, hex(is), hex(should));
        corrections.push_back({fault.offset, {should.begin(), should.end()}});
        faults.add(std::move(fault));
    }
    return corrections;
}

std::size_t different_fields(std::span<const platform::Byte> found, std::span<const platform::Byte> expected,
                             std::span<const NamedField> fields) {
    return static_cast<std::size_t>(std::ranges::count_if(fields, [&](const NamedField& field) {
        return !std::ranges::equal(found.subspan(field.offset, field.length),
                                   expected.subspan(field.offset, field.length));
    }));
}

void apply_corrections(std::span<const Correction> corrections, std::uint64_t offset,
                       std::span<platform::Byte> record) {
    auto next = std::ranges::lower_bound(corrections, offset, {}, &Correction::offset);
    for (; next != corrections.end() && next->offset < offset + record.size(); ++next) {
        const std::size_t at = next->offset - offset;
        const std::size_t length = std::min(next->bytes.size(), record.size() - at);
        std::copy_n(next->bytes.begin(), length, record.begin() + static_cast<std::ptrdiff_t>(at));
    }
}

bool all_zero(std::span<const platform::Byte> bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](platform::Byte byte) { return byte == 0; });
}

}  // namespace reader
