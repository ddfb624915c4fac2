#pragma once

#include <cstdint>
#include <exception>

/// Logs an exception that an entry point caught. Does not throw.
void report(const char* entry_point, const char* what) noexcept;

/// Runs the body of an entry point and stops every exception. It reports the exception and calls set_failed,
/// which writes the entry point's failure status and must not throw. Returns 0, as every entry point does;
/// the result is in the output record.
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
