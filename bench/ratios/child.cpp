#include "bench/ratios/child.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "bench/ratios/measure.h"
#include "tools/host_kit/module_library.h"

namespace bench {
namespace {

double seconds_of(const ::timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double status_bytes(const std::string& field) {
    std::ifstream status("/proc/self/status");
    double kilobytes = 0;
    for (std::string word; status >> word;) {
        if (word == field) status >> kilobytes;
    }
    return kilobytes * 1024;
}

}  // namespace

double run_program(const std::vector<std::string>& words, const std::string& output_file) {
    std::vector<std::string> copies = words;
    std::vector<char*> arguments;
    arguments.reserve(copies.size() + 1);
    for (std::string& word : copies) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    ::posix_spawn_file_actions_t actions{};
    ::posix_spawn_file_actions_init(&actions);
    if (!output_file.empty()) {
        ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output_file.c_str(),
                                           O_WRONLY | O_CREAT | O_TRUNC, 0644);
    }
    ::pid_t process = 0;
    const int error = ::posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), ::environ);
    ::posix_spawn_file_actions_destroy(&actions);
    require(error == 0, "cannot run " + words[0]);
    int status = 0;
    ::rusage usage{};
    require(::wait4(process, &status, 0, &usage) == process && status == 0, words[0] + " failed");
    return seconds_of(usage.ru_utime) + seconds_of(usage.ru_stime);
}

double run_self(const std::vector<std::string>& options) {
    std::vector<std::string> words = {host_kit::own_program().string()};
    words.insert(words.end(), options.begin(), options.end());
    run_program(words, "printed");
    double number = 0;
    require(static_cast<bool>(std::ifstream("printed") >> number), "nothing was printed");
    return number;
}

double resident_bytes() {
    return status_bytes("VmRSS:");
}

double peak_resident_bytes() {
    return status_bytes("VmHWM:");
}

void reset_peak() {
    std::ofstream("/proc/self/clear_refs") << 5;
}

}  // namespace bench
