#include <windows.h>

#include <stdexcept>
#include <string>

#include "tests/support/module_file.h"

namespace module_file {

void* load() {
    HMODULE library = ::LoadLibraryA(NORVANEPI_MODULE);
    if (library == nullptr) throw std::runtime_error("error " + std::to_string(::GetLastError()));
    return library;
}

void unload(void* library) {
    ::FreeLibrary(static_cast<HMODULE>(library));
}

void* symbol(void* library, const char* name) {
    return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(library), name));
}

bool is_loaded() {
    return ::GetModuleHandleA(NORVANEPI_MODULE) != nullptr;
}

}  // namespace module_file
