#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

/// Ends the process: a fuzzer keeps the input, and a replay fails.
[[noreturn]] inline void fail(const std::string& what) {
    (void)std::fprintf(stderr, "property violated: %s\n", what.c_str());
    std::abort();
}

/// States a property that holds for every input.
inline void require(bool holds, const char* what) {
    if (!holds) fail(what);
}
