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

/// Throws ModuleFault for the first byte that differs.
template <typename Bytes>
void require_record(const std::string& entry_point, const Bytes& found, const Bytes& expected) {
    const auto [is, should] = std::mismatch(found.begin(), found.end(), expected.begin());
    if (is == found.end()) return;
    throw ModuleFault(fmt::format("{} left byte {} of its output record as {:02X}, not {:02X}", entry_point,
                                  is - found.begin(), *is, *should));
}

}  // namespace recorder
