#pragma once

#include <string>
#include <vector>

#include "platform/file.h"
#include "plugin/interfaces/options.h"

/// The operator's choices for the module.
struct Configuration {
    norvane::Options options;         // the defaults without a file
    std::string summary;              // names the options that are on; empty without a file
    std::vector<std::string> faults;  // each names file, line and key; the other keys apply
};

/// Reads the file that the environment variable NORVANEPI_CONF names, or norvanepi.conf in the working
/// directory. Only the variable's file must exist.
[[nodiscard]] Configuration read_configuration(platform::FileSystem& files);

/// Parses the text of a configuration file: INI without sections. The profile applies first, wherever its
/// line is; every other key overrides it. Of repeated keys, the last one applies.
[[nodiscard]] Configuration parse_configuration(const std::string& file, const std::string& text);
