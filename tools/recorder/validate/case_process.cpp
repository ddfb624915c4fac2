// One case in a process of its own. The process writes its finding to standard error as an error message, and
// a result file when everything has ended as it must.

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <fstream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "platform/process.h"
#include "tools/cli/exit_status.h"
#include "tools/host_kit/module_library.h"
#include "tools/recorder/host/checked_calls.h"
#include "tools/recorder/host/module_fault.h"
#include "tools/recorder/validate/cases.h"
#include "tools/recorder/validate/process_check.h"
#include "tools/recorder/validate/suite.h"

namespace recorder::validate {
namespace {

bool completed = false;

std::string place() {
    const std::string call = InCall::current();
    return call.empty() ? "outside a call" : "in " + call;
}

/// Prints and exits at once: closing a faulty module may hang.
[[noreturn]] void end_with(const std::string& finding) {
    cli::print_error(kProgram, finding);
    (void)std::fflush(nullptr);
    std::_Exit(cli::kFailure);
}

/// For an exception on a thread of the module, or in a destructor.
[[noreturn]] void on_terminate() {
    const std::exception_ptr exception = std::current_exception();
    if (exception == nullptr) std::abort();
    try {
        std::rethrow_exception(exception);
    } catch (const std::exception& error) {
        end_with(fmt::format("exception {}: {}", place(), error.what()));
    } catch (...) {
        end_with("exception " + place());
    }
}

void on_exit() {
    if (!completed) end_with(fmt::format("{} {}", kEndedByModule, place()));
}

/// The reason if the case was skipped.
std::string play(const Case& chosen, CaseFixture& fixture) {
    try {
        chosen.body(fixture);
        fixture.end();
    } catch (const Skipped& skipped) {
        return skipped.what();
    }
    return {};
}

Case case_named(const std::string& name) {
    for (const Case& each : all_cases()) {
        if (each.name == name) return each;
    }
    throw cli::CannotRun("no such case");
}

}  // namespace

int run_case(const Options& options) {
    const std::chrono::seconds patience(options.patience);
    const Case chosen = case_named(options.filters.at(0));
    const std::string lead = fmt::format("{}: error: crashed in ", kProgram);
    platform::describe_crashes(lead.c_str(), InCall::current);
    std::set_terminate(on_terminate);
    CaseFixture fixture(options.module, patience, options.directory.value(),
                        options.profile.value_or(Profile::kDefault));
    Watchdog watchdog(patience);
    try {
        const ProcessCheck process;
        CheckedLibrary::set_exit_handler(on_exit);
        const std::string skipped = watchdog.guard(chosen.name, [&] { return play(chosen, fixture); });
        process.require_unchanged();
        if (skipped.empty()) fixture.require_only_known_files();  // otherwise the module may still be open
        std::ofstream(options.directory.value() / kResultFile)
            << nlohmann::json{{"skipped", skipped},
                              {"processor_seconds", process.processor_seconds()},
                              {"memory_growth", process.memory_growth()}};
    } catch (const ModuleFault& fault) {
        end_with(fault.what());
    } catch (const host_kit::CannotLoad& error) {
        completed = true;
        throw cli::CannotRun(error.what());
    }
    completed = true;
    return cli::kSuccess;
}

}  // namespace recorder::validate
