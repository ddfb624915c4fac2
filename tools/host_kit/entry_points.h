#pragma once

#include <cstdint>

namespace host_kit {

/// Takes an input and an output record and returns 0. The result is in the output record.
using EntryPoint = std::int32_t(const void* input, void* output);

/// The module's eight functions: loaded from a file (module_library.h) or linked into the program.
struct EntryPoints {
    EntryPoint* load = nullptr;
    EntryPoint* unload = nullptr;
    EntryPoint* open = nullptr;
    EntryPoint* close = nullptr;
    EntryPoint* read = nullptr;
    EntryPoint* write = nullptr;
    EntryPoint* seek = nullptr;
    EntryPoint* ioctl = nullptr;
};

}  // namespace host_kit
