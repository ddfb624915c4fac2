#include "tools/recorder/host/process_figures.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace recorder {
namespace {

namespace fs = std::filesystem;

std::uint64_t entries_of(const fs::path& directory) {
    std::error_code not_there;
    const auto entries = fs::directory_iterator(directory, not_there);
    return static_cast<std::uint64_t>(std::distance(fs::begin(entries), fs::end(entries)));
}

std::uint64_t resident_kilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        std::uint64_t kilobytes = 0;
        if (word == "VmRSS:" && status >> kilobytes) return kilobytes;
    }
    return 0;
}

}  // namespace

ProcessFigures process_figures() {
    const std::uint64_t descriptors = entries_of("/proc/self/fd");
    return {
        .resident_kilobytes = resident_kilobytes(),
        .descriptors = descriptors == 0 ? 0 : descriptors - 1,  // without the one that reads the directory
        .threads = entries_of("/proc/self/task")};
}

}  // namespace recorder
