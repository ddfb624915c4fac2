#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cfenv>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/process.h"

namespace platform {
namespace {

using Settings = std::map<std::string, std::string>;

void add_signals(Settings& settings) {
    ::sigset_t blocked;
    ::sigemptyset(&blocked);
    ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    for (int number = 1; number < NSIG; ++number) {
        struct ::sigaction action {};
        if (::sigaction(number, nullptr, &action) != 0) continue;
        const std::string name = "handler of signal " + std::to_string(number);
        settings[name] = std::to_string(reinterpret_cast<std::uintptr_t>(action.sa_handler));
        settings["blocking of signal " + std::to_string(number)] =
            ::sigismember(&blocked, number) == 1 ? "on" : "off";
    }
}

void add_limits(Settings& settings) {
    constexpr std::pair<decltype(RLIMIT_NOFILE), const char*> kLimits[] = {
        {RLIMIT_NOFILE, "limit of descriptors"},
        {RLIMIT_CORE, "limit of core files"},
        {RLIMIT_AS, "limit of memory"},
        {RLIMIT_FSIZE, "limit of file sizes"}};
    for (const auto& [limit, name] : kLimits) {
        struct ::rlimit value {};
        if (::getrlimit(limit, &value) == 0) settings[name] = std::to_string(value.rlim_cur);
    }
}

std::uint64_t entries_of(const char* directory) {
    boost::system::error_code not_there;
    const boost::filesystem::directory_iterator entries(directory, not_there);
    return static_cast<std::uint64_t>(std::distance(begin(entries), end(entries)));
}

std::uint64_t resident_kilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        std::uint64_t kilobytes = 0;
        if (word == "VmRSS:" && status >> kilobytes) return kilobytes;
    }
    return 0;
}

const char* crash_lead = "";
const char* (*crash_description)() = nullptr;

void write_error(const char* text) {
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text, std::strlen(text));
}

extern "C" void describe_crash(int number) {
    write_error(crash_lead);
    write_error(crash_description());
    write_error("\n");
    (void)::raise(number);  // delivered after the return, with the default action
}

}  // namespace

void describe_crashes(const char* lead, const char* (*describe)()) {
    crash_lead = lead;
    crash_description = describe;
    struct ::sigaction action {};
    action.sa_handler = describe_crash;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP})
        ::sigaction(number, &action, nullptr);
}

Resources resources() {
    const std::uint64_t descriptors = entries_of("/proc/self/fd");
    return {
        .resident_kilobytes = resident_kilobytes(),
        .descriptors = descriptors == 0 ? 0 : descriptors - 1,  // without the one that reads the directory
        .threads = entries_of("/proc/self/task")};
}

std::chrono::nanoseconds processor_time() {
    struct ::timespec time {};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

std::uint64_t waits() {
    struct ::rusage usage {};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::uint64_t>(usage.ru_nvcsw);
}

Settings process_settings() {
    ::tzset();
    Settings settings;
    boost::system::error_code ignored;
    settings["current directory"] = boost::filesystem::current_path(ignored).string();
    // NOLINTNEXTLINE(concurrency-mt-unsafe): a query
    settings["locale"] = std::setlocale(LC_ALL, nullptr);
    settings["rounding mode"] = std::to_string(std::fegetround());
    settings["time zone"] = std::string(::tzname[0]) + "/" + ::tzname[1] + " " + std::to_string(::timezone);
    const ::mode_t mask = ::umask(0);
    ::umask(mask);
    std::ostringstream octal;
    octal << std::oct << mask;
    settings["umask"] = octal.str();
    settings["priority"] = std::to_string(::getpriority(PRIO_PROCESS, 0));
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string variable = *entry;
        const std::size_t equals = variable.find('=');
        settings["environment variable " + variable.substr(0, equals)] = variable.substr(equals + 1);
    }
    add_signals(settings);
    add_limits(settings);
    return settings;
}

std::string description_of_end(int native_status) {
    if (!WIFSIGNALED(native_status)) return "exit status " + std::to_string(WEXITSTATUS(native_status));
    const int number = WTERMSIG(native_status);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the texts of known signals are constant
    return "signal " + std::to_string(number) + " (" + ::strsignal(number) + ")";
}

void kill_process(std::int64_t id) {
    (void)::kill(static_cast<::pid_t>(id), SIGKILL);
}

}  // namespace platform
