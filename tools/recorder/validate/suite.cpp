#include "tools/recorder/validate/suite.h"

#include <algorithm>
#include <chrono>
#include <sstream>

#include <fmt/format.h>
#include <boost/process/args.hpp>
#include <boost/process/child.hpp>
#include <boost/process/exe.hpp>
#include <boost/process/io.hpp>

#include "tools/cli/exit_status.h"
#include "tools/cli/jobs.h"
#include "tools/cli/json_list.h"
#include "tools/cli/table.h"
#include "tools/host_kit/module_library.h"
#include "tools/recorder/host/module_fault.h"
#include "tools/recorder/options.h"
#include "tools/recorder/validate/cases.h"

namespace recorder::validate {
namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

constexpr const char* kConversation = "conversation.txt";
constexpr const char* kFinding = "finding.txt";

struct Result {
    std::string finding;  // empty for none
    bool could_not_run = false;
    double seconds = 0;
};

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

/// The error message of the case. If there is none, the exit status and the first line with ERROR, such as a
/// sanitizer's.
std::string finding_in(const fs::path& errors, int status) {
    const std::string text = text_of_file(errors).value_or("");
    const std::string lead = fmt::format("{}: error: ", kProgram);
    if (const auto at = text.find(lead); at != std::string::npos) {
        const std::size_t begin = at + lead.size();
        return text.substr(begin, text.find('\n', begin) - begin);
    }
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line) && line.find("ERROR") == std::string::npos) {
    }
    return fmt::format("the process ended with {}{}{}", status, line.empty() ? "" : ": ", line);
}

Result run_in_process(const Options& options, const fs::path& directory, const Case& each) {
    namespace process = boost::process;
    const fs::path own = directory / each.name;
    fs::create_directories(own);
    // The output streams do not truncate files of an earlier run.
    for (const char* file : {kConversation, kFinding}) fs::remove(own / file);
    const std::vector<std::string> arguments = {
        kOneCase,
        options.module.string(),
        fmt::format("--filter={}", each.name),
        "--out=" + own.string(),
        fmt::format("--patience={}", options.patience),
    };
    const auto begin = steady_clock::now();
    process::child child(process::exe = host_kit::own_program().string(), process::args = arguments,
                         process::std_in<process::null, process::std_out>(own / kConversation).string(),
                         process::std_err > (own / kFinding).string());
    child.wait();
    Result result;
    result.seconds = std::chrono::duration<double>(steady_clock::now() - begin).count();
    const int status = child.exit_code();
    result.could_not_run = status == cli::kCannotRun;
    if (status != cli::kSuccess) result.finding = finding_in(own / kFinding, child.native_exit_code());
    return result;
}

/// Prints each result at once.
class Printer {
  public:
    explicit Printer(bool json) {
        if (json) list_.emplace(stdout, "cases");
    }

    void add(const Case& each, const Result& result) {
        ++(result.finding.empty() ? passed_ : found_);
        if (list_) {
            list_->add({{"name", each.name},
                        {"checks", each.checks},
                        {"conformant", result.finding.empty()},
                        {"finding", result.finding.empty() ? cli::Json() : cli::Json(result.finding)},
                        {"seconds", result.seconds}});
        } else if (result.finding.empty()) {
            fmt::print("ok       {}\n", each.name);
        } else {
            fmt::print("FINDING  {}: {}\n", each.name, result.finding);
        }
    }

    /// Returns the exit status.
    int finish() {
        if (list_) {
            list_->finish({{"passed", passed_}, {"found", found_}});
        } else {
            fmt::print("{} cases, {} with a finding\n", passed_ + found_, found_);
        }
        return found_ == 0 ? cli::kSuccess : cli::kFailure;
    }

  private:
    std::optional<cli::JsonList> list_;
    int passed_ = 0;
    int found_ = 0;
};

}  // namespace

std::vector<Case> all_cases() {
    std::vector<Case> cases;
    for (const Cases table :
         {call_cases(), document_cases(), conversation_cases(), state_cases(), conversion_cases()}) {
        cases.insert(cases.end(), table.begin(), table.end());
    }
    return cases;
}

int run_suite(const Options& options) {
    const std::vector<Case> cases = chosen_cases(options.filters);
    if (options.list) return list(cases);
    require_loadable(options.module);
    const WorkingDirectory directory(options.directory);
    Printer printer(options.json);
    const auto work = [&](std::size_t i) { return run_in_process(options, directory.path(), cases[i]); };
    const auto deliver = [&](std::size_t i, const Result& result) {
        if (result.could_not_run) throw cli::CannotRun(fmt::format("{}: {}", cases[i].name, result.finding));
        printer.add(cases[i], result);
    };
    cli::run_in_order<Result>(cases.size(), options.jobs, work, deliver);
    if (!options.directory) {
        fs::current_path("/");
        fs::remove_all(directory.path());
    }
    return printer.finish();
}

int run_case(const Options& options) {
    const std::chrono::seconds patience(options.patience);
    const std::vector<Case> cases = all_cases();
    const auto chosen =
        std::ranges::find_if(cases, [&](const Case& each) { return each.name == options.filters.at(0); });
    if (chosen == cases.end()) throw cli::CannotRun("no such case");
    Watchdog watchdog(patience);
    try {
        CaseFixture fixture(options.module, patience, options.directory.value());
        watchdog.guard(chosen->name, [&] {
            chosen->body(fixture);
            fixture.end();
        });
        return cli::kSuccess;
    } catch (const ModuleFault& fault) {
        // Print and exit now: closing a faulty module may hang.
        cli::print_error(kProgram, fault.what());
        (void)std::fflush(nullptr);
        std::_Exit(cli::kFailure);
    }
}

}  // namespace recorder::validate
