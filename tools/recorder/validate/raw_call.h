#pragma once

// Entry points called with records made by hand, for what the played host never does.

#include <array>

#include "plugin/interfaces/host_records.h"
#include "tools/host_kit/module_library.h"
#include "tools/recorder/validate/record_check.h"
#include "tools/recorder/validate/trial.h"

namespace recorder::validate {

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

}  // namespace recorder::validate
