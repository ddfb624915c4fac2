#pragma once

#include <algorithm>
#include <string>

#include <fmt/format.h>

#include "tools/recorder/host/module_fault.h"

namespace recorder {

/// Throws ModuleFault for the first byte that differs.
template <typename Bytes>
void require_record(const std::string& entry_point, const Bytes& found, const Bytes& expected) {
    const auto [is, should] = std::mismatch(found.begin(), found.end(), expected.begin());
    if (is == found.end()) return;
    throw ModuleFault(fmt::format("{} left byte {} of its output record as {:02X}, not {:02X}", entry_point,
                                  is - found.begin(), *is, *should));
}

}  // namespace recorder
