#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

#include <boost/dll/shared_library.hpp>

#include "platform/bytes.h"

namespace recorder {

/// A loaded plug-in: its eight entry points, each taking an input and an output record.
class ModuleLibrary {
  public:
    /// Throws cli::CannotRun when the file cannot be loaded or lacks an entry point.
    explicit ModuleLibrary(const std::filesystem::path& file);

    using EntryPoint = std::int32_t(const void* input, void* output);

    EntryPoint* load = nullptr;
    EntryPoint* unload = nullptr;
    EntryPoint* open = nullptr;
    EntryPoint* close = nullptr;
    EntryPoint* read = nullptr;
    EntryPoint* write = nullptr;
    EntryPoint* seek = nullptr;
    EntryPoint* ioctl = nullptr;

  private:
    [[nodiscard]] EntryPoint* entry_point(const char* name) const;

    boost::dll::shared_library library_;
};

/// The plug-in where the build leaves it: beside the running program.
[[nodiscard]] std::filesystem::path default_module();

/// The running program's own file.
[[nodiscard]] std::filesystem::path own_program();

}  // namespace recorder
