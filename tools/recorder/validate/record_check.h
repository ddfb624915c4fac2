#pragma once

// Output records as the host hands them to an entry point, and as they have to come back.

#include <algorithm>
#include <string>

#include <fmt/format.h>

#include "platform/bytes.h"
#include "tools/host_kit/module_fault.h"

namespace recorder {

inline constexpr platform::Byte kUntouched = 0xA5;

/// A record of which every byte shows whether it was written.
template <typename Layout>
[[nodiscard]] constexpr typename Layout::Bytes untouched() {
    typename Layout::Bytes bytes{};
    bytes.fill(kUntouched);
    return bytes;
}

/// A record with one field set.
template <typename Layout, typename Field, typename T>
[[nodiscard]] typename Layout::Bytes with(T value, typename Layout::Bytes bytes = untouched<Layout>()) {
    Field::put(bytes, value);
    return bytes;
}

/// Throws ModuleFault for the first byte that is not as expected.
template <typename Bytes>
void require_record(const std::string& entry_point, const Bytes& found, const Bytes& expected) {
    const auto [is, should] = std::mismatch(found.begin(), found.end(), expected.begin());
    if (is == found.end()) return;
    throw ModuleFault(fmt::format("{} left byte {} of its output record as {:02X}, not {:02X}", entry_point,
                                  is - found.begin(), *is, *should));
}

}  // namespace recorder
