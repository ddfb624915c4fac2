#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

/// Ends the run: the fuzzer keeps the input, a replay fails.
[[noreturn]] inline void fail(const std::string& what) {
    (void)std::fprintf(stderr, "does not hold: %s\n", what.c_str());
    std::abort();
}

/// For what always has to hold.
inline void require(bool holds, const char* what) {
    if (!holds) fail(what);
}
