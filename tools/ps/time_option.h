#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>

#include "tools/reader/packet_time.h"

namespace ps_tool {

/// An option that takes a UTC time, in milliseconds since 1970.
inline CLI::Option* add_time(CLI::App& command, const std::string& name, std::int64_t& instant,
                             const std::string& description) {
    const auto take = [&instant](const std::string& text) {
        const auto parsed = reader::parse_instant(text);
        if (parsed) instant = *parsed;
        return parsed.has_value();
    };
    return command
        .add_option_function<std::string>(
            name,
            [take](const std::string& text) {
                if (!take(text)) throw CLI::ValidationError(text + " is no UTC time");
            },
            description)
        ->type_name("TIME");
}

}  // namespace ps_tool
