#include "tools/recorder/validate/process_check.h"

#include <thread>

#include <fmt/format.h>

#include "platform/process.h"
#include "tools/recorder/host/module_fault.h"

namespace recorder::validate {
namespace {

constexpr double kMaxProcessorSeconds = 10;
constexpr std::int64_t kMaxGrowthOfCase = 96L * 1024;  // clips and expected recordings included

/// A thread disappears from the system's list shortly after it was joined.
ProcessFigures settled_figures(std::uint64_t threads) {
    ProcessFigures figures = process_figures();
    for (int i = 0; i < 100 && figures.threads > threads; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        figures = process_figures();
    }
    return figures;
}

}  // namespace

void ProcessCheck::require_unchanged() const {
    const auto now = settings();
    for (const auto& [name, value] : settings_) {
        const auto found = now.find(name);
        if (found == now.end()) throw ModuleFault(fmt::format("the module removed: {}", name));
        if (found->second != value)
            throw ModuleFault(
                fmt::format("the module changed the {} from '{}' to '{}'", name, value, found->second));
    }
    for (const auto& [name, value] : now) {
        if (!settings_.contains(name))
            throw ModuleFault(fmt::format("the module added the {}: '{}'", name, value));
    }
    require_no_growth(figures_, settled_figures(figures_.threads), kMaxGrowthOfCase);
    if (processor_seconds() > kMaxProcessorSeconds) {
        throw ModuleFault(fmt::format("the case took {:.1f} s of processor time; the limit is {:.0f} s",
                                      processor_seconds(), kMaxProcessorSeconds));
    }
}

double ProcessCheck::processor_seconds() const {
    return std::chrono::duration<double>(processor_time() - processor_time_).count();
}

std::int64_t ProcessCheck::memory_growth() const {
    return recorder::memory_growth(figures_, process_figures());
}

std::map<std::string, std::string> ProcessCheck::settings() {
    return platform::process_settings();
}

std::chrono::nanoseconds ProcessCheck::processor_time() {
    return platform::processor_time();
}

}  // namespace recorder::validate
