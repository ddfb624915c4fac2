#include "tools/recorder/host/process_figures.h"

#include <fmt/format.h>

#include "tools/recorder/host/module_fault.h"

namespace recorder {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::int64_t kToleranceFactor = 64;
#else
constexpr std::int64_t kToleranceFactor = 1;
#endif

}  // namespace

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
