#pragma once

/// The built module as the system's loader has it.
namespace module_file {

/// Throws std::runtime_error with the loader's words.
[[nodiscard]] void* load();
void unload(void* library);
/// Null for a name that the module does not export.
[[nodiscard]] void* symbol(void* library, const char* name);
/// Whether anything in this process still holds it.
[[nodiscard]] bool is_loaded();

}  // namespace module_file
