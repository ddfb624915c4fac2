#pragma once

// Loads the libraries of FFmpeg at run time: only `export` and `report --stills` need them, and few recorders
// have them installed. Only for systems with dlopen.

#include <dlfcn.h>
#include <fmt/format.h>

#include <boost/dll/shared_library.hpp>
#include <string>

#include "tools/cli/exit_status.h"

namespace ps_tool {

/// Loads "lib{name}.so.{version}". Throws cli::CannotRun with the remedy if it is not installed.
inline boost::dll::shared_library load_av_library(const char* name, int version, const char* remedy) {
    // The library stays loaded, because its dependencies allocate memory that they never free.
    constexpr auto kStays = static_cast<boost::dll::load_mode::type>(RTLD_NODELETE);
    const std::string file = fmt::format("lib{}.so.{}", name, version);
    boost::system::error_code error;
    boost::dll::shared_library library(boost::dll::fs::path(file), error,
                                       boost::dll::load_mode::search_system_folders | kStays);
    if (error) throw cli::CannotRun(fmt::format("{}: not installed; {}", file, remedy));
    return library;
}

/// Converts to a pointer to a function of the library or of its dependencies.
struct AvSymbol {
    const boost::dll::shared_library& library;
    const char* name;

    template <typename Function>
    operator Function*() const {
        return &library.get<Function>(name);
    }
};

}  // namespace ps_tool
