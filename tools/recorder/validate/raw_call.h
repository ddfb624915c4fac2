#pragma once

// Entry points called with records made by hand, for what the played host never does.

#include <algorithm>

#include <fmt/format.h>

#include "plugin/host_records.h"
#include "tools/recorder/module_library.h"
#include "tools/recorder/validate/trial.h"

namespace recorder::validate {

inline constexpr platform::Byte kUntouched = 0xA5;

/// A record of which every byte shows whether it was written.
template <typename Layout>
[[nodiscard]] typename Layout::Bytes untouched() {
    typename Layout::Bytes bytes{};
    bytes.fill(kUntouched);
    return bytes;
}

/// The output record that a call leaves, for an input record of zeros when none is given.
template <typename Layout>
[[nodiscard]] typename Layout::Bytes call(ModuleLibrary::EntryPoint* entry_point,
                                          const void* input = nullptr) {
    constexpr std::array<platform::Byte, 256> kZeros{};
    auto output = untouched<Layout>();
    require(entry_point(input == nullptr ? kZeros.data() : input, output.data()) == 0,
            "an entry point returned something else than 0");
    return output;
}

template <typename Bytes>
void require_record(const std::string& what, const Bytes& found, const Bytes& expected) {
    const auto [is, should] = std::mismatch(found.begin(), found.end(), expected.begin());
    if (is == found.end()) return;
    require(false, fmt::format("{} left byte {} of its output record as {:02X}, not {:02X}", what,
                               is - found.begin(), *is, *should));
}

/// A record with one field set.
template <typename Layout, typename Field, typename T>
[[nodiscard]] typename Layout::Bytes with(T value, typename Layout::Bytes bytes = untouched<Layout>()) {
    Field::put(bytes, value);
    return bytes;
}

}  // namespace recorder::validate
