#pragma once

#include <algorithm>
#include <stdexcept>
#include <string>

#include <fmt/format.h>

namespace recorder {

/// The module did something that it must not do. The run or case ends.
class ModuleFault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] inline void throw_module_fault(const char* fault) {
    throw ModuleFault(fault);
}

/// The name of the field at an offset in the output record of an entry point, or in the callback's "request"
/// or "reply".
[[nodiscard]] std::string field_at(const std::string& record, std::size_t offset);

/// Throws ModuleFault with the name of the first field that differs.
template <typename Bytes>
void require_record(const std::string& entry_point, const Bytes& found, const Bytes& expected) {
    const auto [is, should] = std::mismatch(found.begin(), found.end(), expected.begin());
    if (is == found.end()) return;
    const auto offset = static_cast<std::size_t>(is - found.begin());
    throw ModuleFault(fmt::format("{} left {} (byte {} of its output record) as {:02X}, not {:02X}",
                                  entry_point, field_at(entry_point, offset), offset, *is, *should));
}

}  // namespace recorder
