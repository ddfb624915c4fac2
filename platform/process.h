#pragma once

// This process as a library inside it can use and change it. Only tools need this; the module does not.

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

namespace platform {

/// What this process, with the libraries in it, uses. Zeros on Windows.
struct Resources {
    std::uint64_t resident_kilobytes = 0;
    std::uint64_t descriptors = 0;
    std::uint64_t threads = 0;
};
[[nodiscard]] Resources resources();

/// Processor time of all threads.
[[nodiscard]] std::chrono::nanoseconds processor_time();

/// How often a thread gave up the processor to wait. 0 if the system does not count it.
[[nodiscard]] std::uint64_t waits();

/// Settings of the whole process by name: current directory, environment, locale, umask, signal handlers.
/// Each system lists those that it has.
[[nodiscard]] std::map<std::string, std::string> process_settings();

/// How a process ended, from the status that the system reports: "signal 11 (Segmentation fault)".
[[nodiscard]] std::string description_of_end(int native_status);

/// Kills another process, which gets no chance to react. Its parent still has to wait for it.
void kill_process(std::int64_t id);

/// From here on a crash first writes `lead`, the words that `describe` returns for the crashing thread, and a
/// line end to standard error. On Windows it writes nothing, and no dialog or debugger appears.
void describe_crashes(const char* lead, const char* (*describe)());

}  // namespace platform
