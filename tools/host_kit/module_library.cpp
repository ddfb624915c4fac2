#include "tools/host_kit/module_library.h"

#include <fmt/format.h>
#include <boost/dll/runtime_symbol_info.hpp>

#include "tools/cli/exit_status.h"

namespace recorder {
namespace {

/// The loader's own words out of what the library makes of them; they name the file.
std::string reason_of(const std::string& message) {
    constexpr std::string_view kLead = "system message: ";
    const auto begin = message.find(kLead);
    const auto end = message.rfind(')');
    if (begin == std::string::npos || end == std::string::npos || end < begin) return message;
    return message.substr(begin + kLead.size(), end - begin - kLead.size());
}

boost::dll::shared_library load_library(const std::filesystem::path& file) {
    if (!std::filesystem::is_regular_file(file)) {
        throw cli::CannotRun(fmt::format("no plug-in at {}", file.string()));
    }
    try {
        return boost::dll::shared_library(
            boost::dll::fs::path(file.string()),
            boost::dll::load_mode::rtld_now | boost::dll::load_mode::rtld_local);
    } catch (const boost::system::system_error& error) {
        throw cli::CannotRun("not a plug-in that can be loaded: " + reason_of(error.what()));
    }
}

}  // namespace

ModuleLibrary::ModuleLibrary(const std::filesystem::path& file) : library_(load_library(file)) {
    load = entry_point("Load");
    unload = entry_point("Unload");
    open = entry_point("Open");
    close = entry_point("Close");
    read = entry_point("Read");
    write = entry_point("Write");
    seek = entry_point("Seek");
    ioctl = entry_point("IOCTL");
}

ModuleLibrary::EntryPoint* ModuleLibrary::entry_point(const char* name) const {
    if (!library_.has(name)) {
        throw cli::CannotRun(
            fmt::format("{} is no plug-in: it has no entry point {}", library_.location().string(), name));
    }
    return &library_.get<EntryPoint>(name);
}

std::filesystem::path own_program() {
    return boost::dll::program_location().string();
}

std::filesystem::path default_module() {
    return own_program().parent_path() / ("norvanepi" + boost::dll::shared_library::suffix().string());
}

}  // namespace recorder
