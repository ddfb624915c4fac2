#include <windows.h>

#include <boost/filesystem/operations.hpp>
#include <cfenv>
#include <clocale>
#include <cstdlib>

#include "platform/process.h"

namespace platform {

/// The system's own handles and threads, which GetProcessHandleCount includes, come and go.
Resources resources() {
    return {};
}

std::chrono::nanoseconds processor_time() {
    ::FILETIME created{};
    ::FILETIME ended{};
    ::FILETIME kernel{};
    ::FILETIME user{};
    ::GetProcessTimes(::GetCurrentProcess(), &created, &ended, &kernel, &user);
    const auto ticks = [](const ::FILETIME& time) {  // of 100 ns
        return std::uint64_t{time.dwHighDateTime} << 32U | time.dwLowDateTime;
    };
    return std::chrono::nanoseconds((ticks(kernel) + ticks(user)) * 100);
}

std::uint64_t waits() {
    return 0;
}

std::map<std::string, std::string> process_settings() {
    std::map<std::string, std::string> settings;
    boost::system::error_code ignored;
    settings["current directory"] = boost::filesystem::current_path(ignored).string();
    settings["locale"] = std::setlocale(LC_ALL, nullptr);
    settings["rounding mode"] = std::to_string(std::fegetround());
    for (char** entry = _environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string variable = *entry;
        const std::size_t equals = variable.find('=', 1);
        settings["environment variable " + variable.substr(0, equals)] = variable.substr(equals + 1);
    }
    return settings;
}

void describe_crashes(const char* /*lead*/, const char* (* /*describe*/)()) {
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
}

std::string description_of_end(int native_status) {
    return "exit status " + std::to_string(native_status);
}

void kill_process(std::int64_t id) {
    const ::HANDLE process = ::OpenProcess(PROCESS_TERMINATE, FALSE, static_cast<::DWORD>(id));
    if (process == nullptr) return;
    (void)::TerminateProcess(process, 1);
    (void)::CloseHandle(process);
}

}  // namespace platform
