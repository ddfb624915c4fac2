#pragma once

#include <cstdint>
#include <exception>

/// Tells the host what an entry point caught. Raises nothing.
void report(const char* entry_point, const char* what) noexcept;

/// Runs an entry point's body. Nothing thrown gets past it: what is caught is reported, and set_failed, which
/// must not throw, writes that entry point's failing status. Every entry point returns 0; its outcome is in
/// its record.
template <typename Body, typename SetFailed>
std::int32_t guard(const char* entry_point, Body body, SetFailed set_failed) noexcept {
    try {
        body();
    } catch (const std::exception& error) {
        report(entry_point, error.what());
        set_failed();
    } catch (...) {
        report(entry_point, "unknown");
        set_failed();
    }
    return 0;
}
