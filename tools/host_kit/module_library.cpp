#include "tools/host_kit/module_library.h"

#include <boost/dll/runtime_symbol_info.hpp>

namespace host_kit {
namespace {

constexpr const char* kNames[] = {"Load", "Unload", "Open", "Close", "Read", "Write", "Seek", "IOCTL"};

/// The loader's own message, which names the file, without the library's text around it.
std::string reason_of(const std::string& message) {
    constexpr std::string_view kLead = "system message: ";
    const auto begin = message.find(kLead);
    const auto end = message.rfind(')');
    if (begin == std::string::npos || end == std::string::npos || end < begin) return message;
    return message.substr(begin + kLead.size(), end - begin - kLead.size());
}

boost::dll::shared_library load_library(const std::filesystem::path& file) {
    if (!std::filesystem::is_regular_file(file)) throw CannotLoad(file.string() + ": no such file");
    try {
        // Boost appends "/norvanepi.dll", which has no drive, to the current directory.
        return boost::dll::shared_library(
            boost::dll::fs::path(std::filesystem::absolute(file).string()),
            boost::dll::load_mode::rtld_now | boost::dll::load_mode::rtld_local);
    } catch (const boost::system::system_error& error) {
        throw CannotLoad("cannot load the module: " + reason_of(error.what()));
    }
}

}  // namespace

ModuleLibrary::ModuleLibrary(const std::filesystem::path& file) : library_(load_library(file)) {
    for (const char* name : kNames) {
        if (!library_.has(name)) throw CannotLoad(file.string() + ": no entry point " + name);
    }
}

EntryPoints ModuleLibrary::entry_points() const {
    return {entry_point("Load"), entry_point("Unload"), entry_point("Open"), entry_point("Close"),
            entry_point("Read"), entry_point("Write"),  entry_point("Seek"), entry_point("IOCTL")};
}

bool is_in_memory(EntryPoint* entry_point) {
    boost::dll::fs::error_code not_found;
    const auto file = boost::dll::symbol_location_ptr(entry_point, not_found);
    // Windows reports the program for an address that is in no module.
    return !not_found && !file.empty() && file != boost::dll::program_location();
}

std::filesystem::path own_program() {
    return boost::dll::program_location().string();
}

std::filesystem::path default_module() {
    const auto directory = own_program().parent_path();
    const auto name = "norvanepi" + boost::dll::shared_library::suffix().string();
    const auto installed = (directory / MODULE_DIR_FROM_PROGRAMS / name).lexically_normal();
    return std::filesystem::exists(installed) ? installed : directory / name;
}

}  // namespace host_kit
