#include "tools/recorder/validate/suite.h"

#include <algorithm>
#include <chrono>
#include <sstream>

#include <fmt/format.h>
#include <boost/process/args.hpp>
#include <boost/process/child.hpp>
#include <boost/process/env.hpp>
#include <boost/process/environment.hpp>
#include <boost/process/exe.hpp>
#include <boost/process/io.hpp>

#include "platform/process.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/jobs.h"
#include "tools/cli/table.h"
#include "tools/host_kit/module_library.h"
#include "tools/recorder/host/options.h"
#include "tools/recorder/host/working_directory.h"
#include "tools/recorder/model/pattern.h"
#include "tools/recorder/validate/cases.h"
#include "tools/recorder/validate/suite_report.h"

namespace recorder::validate {
namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

/// The cases whose name contains one of the words; all cases if there are no words.
std::vector<Case> chosen_cases(const std::vector<std::string>& words) {
    std::vector<Case> cases = all_cases();
    if (words.empty()) return cases;
    std::erase_if(cases, [&](const Case& each) {
        return std::ranges::none_of(words, [&](const std::string& word) {
            return std::string_view(each.name).find(word) != std::string_view::npos;
        });
    });
    if (cases.empty()) throw cli::CannotRun("--filter: no case has a matching name; --list shows all names");
    return cases;
}

int list(const std::vector<Case>& cases) {
    cli::Table table({{"case"}, {"checks"}});
    for (const Case& each : cases) table.add_row({each.name, each.checks});
    fmt::print("{}", table.text());
    return cli::kSuccess;
}

/// The error message of a case's process; empty without one.
std::string error_in(const std::string& text) {
    const std::string lead = fmt::format("{}: error: ", kProgram);
    const auto at = text.find(lead);
    if (at == std::string::npos) return {};
    const std::size_t begin = at + lead.size();
    return text.substr(begin, text.find('\n', begin) - begin);
}

/// The first line with ERROR, such as a sanitizer's; otherwise the first line.
std::string first_error(const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line) && line.find("ERROR") == std::string::npos) {
    }
    return line.empty() ? text.substr(0, text.find('\n')) : line;
}

/// Empty if the process ended as it must. Without a result file the case did not reach its end.
std::string finding_in(const fs::path& folder, int status, int native_status) {
    const std::string errors = text_of_file(folder / kFindingFile).value_or("");
    const std::string printed = text_of_file(folder / kPrintedFile).value_or("");
    std::string error = error_in(errors);
    const bool complete = fs::exists(folder / kResultFile);
    if (error.starts_with("crashed"))
        return fmt::format("{}: {}", error, platform::description_of_end(native_status));
    if (!error.empty()) return error;
    if (status != cli::kSuccess || !complete) {
        const std::string line = first_error(errors);
        return fmt::format("the process ended {} its case: {}{}{}", complete ? "after" : "before",
                           platform::description_of_end(native_status), line.empty() ? "" : ": ", line);
    }
    if (!printed.empty()) return "the module wrote to standard output: " + shortened(printed);
    if (!errors.empty()) return "the module wrote to standard error: " + shortened(errors);
    return {};
}

void read_result(const fs::path& folder, Result& result) {
    const auto json = nlohmann::json::parse(text_of_file(folder / kResultFile).value_or(""), nullptr, false);
    if (json.is_discarded()) return;
    result.skipped = json.at("skipped");
    result.processor_seconds = json.at("processor_seconds");
    result.memory_growth = json.at("memory_growth");
}

Result run_in_process(const Options& options, const fs::path& directory, const Case& each) {
    namespace process = boost::process;
    const fs::path own = directory / each.name;
    fs::create_directories(own / kHomeFolder);
    // The output streams do not truncate files of an earlier run.
    for (const char* file : {kPrintedFile, kFindingFile, kResultFile}) fs::remove(own / file);
    std::vector<std::string> arguments = {
        kOneCase,
        options.module.string(),
        fmt::format("--filter={}", each.name),
        "--out=" + own.string(),
        fmt::format("--patience={}", options.patience),
    };
    if (options.profile) arguments.push_back(fmt::format("--profile={}", name_of(*options.profile)));
    process::environment variables = boost::this_process::environment();
    // Not with operator[]: in Boost 1.74 it reads past the end of shorter variables.
    variables.set("TZ", each.zone);
    for (const char* name : {"HOME", "TMPDIR"}) variables.set(name, (own / kHomeFolder).string());
    const auto begin = steady_clock::now();
    process::child child(process::exe = host_kit::own_program().string(), process::args = arguments,
                         process::env = variables,
                         process::std_in<process::null, process::std_out>(own / kPrintedFile).string(),
                         process::std_err > (own / kFindingFile).string());
    child.wait();
    Result result;
    result.seconds = std::chrono::duration<double>(steady_clock::now() - begin).count();
    result.folder = own.string();
    result.finding = finding_in(own, child.exit_code(), child.native_exit_code());
    const std::string error = error_in(text_of_file(own / kFindingFile).value_or(""));
    result.could_not_run =
        child.exit_code() == cli::kCannotRun && !error.empty() && !error.starts_with(kEndedByModule);
    read_result(own, result);
    return result;
}

/// Throws cli::CannotRun if the module is not a library with the entry points.
void require_loadable_elsewhere(const Options& options, const fs::path& directory,
                                const std::vector<Case>& all) {
    if (!fs::is_regular_file(options.module))
        throw cli::CannotRun(options.module.string() + ": no such file");
    const auto first = std::ranges::find(all, std::string_view(kFirstCase), &Case::name);
    const Result result = run_in_process(options, directory, *first);
    if (result.could_not_run) throw cli::CannotRun(result.finding);
}

}  // namespace

std::vector<Case> all_cases() {
    std::vector<Case> cases;
    for (const Cases table : {call_cases(), order_cases(), process_cases(), document_cases(),
                              conversation_cases(), state_cases(), conversion_cases()}) {
        cases.insert(cases.end(), table.begin(), table.end());
    }
    return cases;
}

int run_suite(const Options& options) {
    const std::vector<Case> cases = chosen_cases(options.filters);
    if (options.list) return list(cases);
    const fs::path start = fs::current_path();
    const WorkingDirectory directory(options.directory);
    require_loadable_elsewhere(options, directory.path(), all_cases());
    SuiteReport report(options.module.string(), options.json, options.junit);
    const auto work = [&](std::size_t i) { return run_in_process(options, directory.path(), cases[i]); };
    const auto deliver = [&](std::size_t i, const Result& result) {
        if (result.could_not_run) throw cli::CannotRun(fmt::format("{}: {}", cases[i].name, result.finding));
        report.add(cases[i], result);
        std::error_code in_use;  // on Windows, for a moment after the process has ended
        if (result.finding.empty() && !options.directory) fs::remove_all(result.folder, in_use);
    };
    cli::run_in_order<Result>(cases.size(), options.jobs, work, deliver);
    const int status = report.finish();
    if (status == cli::kSuccess && !options.directory) {
        fs::current_path(start);
        std::error_code in_use;
        fs::remove_all(directory.path(), in_use);
    }
    return status;
}

}  // namespace recorder::validate
