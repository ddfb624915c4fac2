#pragma once

#include <filesystem>
#include <stdexcept>

#include <boost/dll/shared_library.hpp>

#include "tools/host_kit/module.h"

namespace host_kit {

class CannotLoad : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A module's file, in memory while this object exists.
class ModuleLibrary {
  public:
    /// Throws CannotLoad if the file cannot be loaded or lacks an entry point.
    explicit ModuleLibrary(const std::filesystem::path& file);

    [[nodiscard]] EntryPoints entry_points() const;

  private:
    [[nodiscard]] EntryPoint* entry_point(const char* name) const { return &library_.get<EntryPoint>(name); }

    boost::dll::shared_library library_;
};

/// Whether the module that an entry point belongs to is still in memory.
[[nodiscard]] bool is_in_memory(EntryPoint* entry_point);

/// The module that is installed with the running program; otherwise the one in the program's directory, where
/// the build writes it.
[[nodiscard]] std::filesystem::path default_module();

/// The running program's own file.
[[nodiscard]] std::filesystem::path own_program();

}  // namespace host_kit
