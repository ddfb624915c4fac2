#include "tools/recorder/host/process_figures.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <fmt/format.h>

#include "tools/recorder/host/module_fault.h"

namespace recorder {
namespace {

namespace fs = std::filesystem;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::int64_t kToleranceFactor = 64;
#else
constexpr std::int64_t kToleranceFactor = 1;
#endif

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

std::int64_t memory_growth(const ProcessFigures& before, const ProcessFigures& after) {
    return static_cast<std::int64_t>(after.resident_kilobytes) -
           static_cast<std::int64_t>(before.resident_kilobytes);
}

void require_no_growth(const ProcessFigures& before, const ProcessFigures& after, std::int64_t kilobytes) {
    if (after.threads > before.threads)
        throw ModuleFault(fmt::format("{} threads remained", after.threads - before.threads));
    if (after.descriptors > before.descriptors)
        throw ModuleFault(
            fmt::format("{} descriptors remained open", after.descriptors - before.descriptors));
    const std::int64_t limit = kilobytes * kToleranceFactor;
    if (memory_growth(before, after) > limit) {
        throw ModuleFault(
            fmt::format("memory grew by {} KB; the limit is {} KB", memory_growth(before, after), limit));
    }
}

}  // namespace recorder
