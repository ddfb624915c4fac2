#include "tools/recorder/validate/suite_report.h"

#include <fstream>
#include <utility>

#include <tinyxml2.h>

#include <fmt/format.h>

#include "tools/cli/exit_status.h"
#include "tools/recorder/host/options.h"

namespace recorder::validate {
namespace {

cli::Json text_or_null(const std::string& text) {
    return text.empty() ? cli::Json() : cli::Json(text);
}

/// A finding can contain any bytes, for example a part of a character. XML 1.0 permits only characters.
std::string printable(std::string text) {
    for (char& c : text) {
        if (c < ' ' || c > '~') c = '?';
    }
    return text;
}

}  // namespace

SuiteReport::SuiteReport(const std::string& module, bool json, std::optional<std::filesystem::path> junit)
    : module_(module), junit_(std::move(junit)) {
    if (json) list_.emplace(stdout, "cases");
}

void SuiteReport::add(const Case& each, const Result& result) {
    ++(!result.finding.empty() ? found_ : !result.skipped.empty() ? skipped_ : passed_);
    results_.emplace_back(each, result);
    if (!list_) return print(each, result);
    list_->add({{"name", each.name},
                {"checks", each.checks},
                {"time_zone", each.zone},
                {"conformant", result.finding.empty()},
                {"finding", text_or_null(result.finding)},
                {"skipped", text_or_null(result.skipped)},
                {"folder", result.finding.empty() ? cli::Json() : cli::Json(result.folder)},
                {"seconds", result.seconds},
                {"processor_seconds", result.processor_seconds},
                {"memory_growth", result.memory_growth}});
}

void SuiteReport::print(const Case& each, const Result& result) {
    if (!result.finding.empty()) {
        fmt::print("FINDING  {}: {}\n         {}\n", each.name, result.finding, result.folder);
    } else if (!result.skipped.empty()) {
        fmt::print("skipped  {}: {}\n", each.name, result.skipped);
    } else {
        fmt::print("ok       {}\n", each.name);
    }
}

int SuiteReport::finish() {
    if (list_) {
        list_->finish({{"module", module_}, {"passed", passed_}, {"found", found_}, {"skipped", skipped_}});
    } else {
        fmt::print("{} cases, {} with a finding{}\n", results_.size(), found_,
                   skipped_ == 0 ? "" : fmt::format(", {} skipped", skipped_));
    }
    if (junit_) write_junit();
    return found_ == 0 ? cli::kSuccess : cli::kFailure;
}

void SuiteReport::write_junit() const {
    tinyxml2::XMLPrinter out;
    out.PushDeclaration(R"(xml version="1.0" encoding="UTF-8")");
    out.OpenElement("testsuite");
    out.PushAttribute("name", fmt::format("{} validate {}", kProgram, module_).c_str());
    out.PushAttribute("tests", static_cast<std::int64_t>(results_.size()));
    out.PushAttribute("failures", found_);
    out.PushAttribute("skipped", skipped_);
    for (const auto& [each, result] : results_) {
        const std::string name = each.name;
        out.OpenElement("testcase");
        out.PushAttribute("classname", name.substr(0, name.find('.')).c_str());
        out.PushAttribute("name", name.c_str());
        out.PushAttribute("time", fmt::format("{:.3f}", result.seconds).c_str());
        if (!result.finding.empty()) {
            out.OpenElement("failure");
            out.PushAttribute("message", printable(result.finding).c_str());
            out.PushText(fmt::format("{}\nfiles: {}", each.checks, result.folder).c_str());
            out.CloseElement();
        } else if (!result.skipped.empty()) {
            out.OpenElement("skipped");
            out.PushAttribute("message", result.skipped.c_str());
            out.CloseElement();
        }
        out.CloseElement();
    }
    out.CloseElement();
    std::ofstream file(*junit_, std::ios::binary);
    file << out.CStr() << '\n';
    if (!file.flush()) throw cli::CannotRun(junit_->string() + ": cannot write");
}

}  // namespace recorder::validate
