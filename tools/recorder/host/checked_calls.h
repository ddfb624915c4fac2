#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "tools/host_kit/module_library.h"

namespace recorder {

/// Names what the module is doing on this thread until the end of the scope. The name must outlive it.
class InCall {
  public:
    explicit InCall(const char* name);
    InCall(const InCall&) = delete;
    InCall& operator=(const InCall&) = delete;
    ~InCall();

    /// Of this thread; empty outside a call.
    [[nodiscard]] static const char* current();
    /// Of all threads. "IOCTL code 1" is left out if there is another one.
    [[nodiscard]] static std::string in_progress();

  private:
    const char* outer_;
};

/// A module whose entry points are wrapped. Each call gets copies of the records with guard zones around
/// them. It must return 0 in time, throw nothing, and write only to the output record. Memory of records is
/// not reused for a while, and then must be as the call left it. Anything else is thrown as ModuleFault. Only
/// one exists at a time.
class CheckedLibrary {
  public:
    /// A call must return within `limit`, except that of the main loop. Throws CannotLoad.
    CheckedLibrary(const std::filesystem::path& file, std::chrono::nanoseconds limit);
    CheckedLibrary(const CheckedLibrary&) = delete;
    CheckedLibrary& operator=(const CheckedLibrary&) = delete;
    ~CheckedLibrary();

    [[nodiscard]] static host_kit::EntryPoints entry_points();
    /// For a module that ends the process. Runs ahead of the destructors of what the module and the program
    /// made before the call: its other threads still use that.
    static void set_exit_handler(void (*handler)());
    /// Throws ModuleFault if the module wrote to a record of an earlier call.
    static void require_records_left_alone();

  private:
    std::optional<host_kit::ModuleLibrary> library_;
};

}  // namespace recorder
