#include <dlfcn.h>

#include <stdexcept>

#include "tests/support/module_file.h"

namespace module_file {

void* load() {
    void* library = ::dlopen(NORVANEPI_MODULE, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw std::runtime_error(::dlerror());
    return library;
}

void unload(void* library) {
    ::dlclose(library);
}

void* symbol(void* library, const char* name) {
    return ::dlsym(library, name);
}

bool is_loaded() {
    void* library = ::dlopen(NORVANEPI_MODULE, RTLD_NOW | RTLD_NOLOAD);
    if (library != nullptr) ::dlclose(library);
    return library != nullptr;
}

}  // namespace module_file
