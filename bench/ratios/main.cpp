// Measures the module through its entry points, in turns with programs that do the least possible work.
// scripts/bench runs it; docs/performance.md shows the figures.

#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>
#include <utility>

#include "bench/ratios/report.h"
#include "tools/cli/exit_status.h"
#include "tools/host_kit/module_library.h"

namespace {

constexpr std::pair<const char*, bench::Figures (*)(const bench::Effort&)> kSubjects[] = {
    {"conversion", bench::conversion_figures},
    {"growth", bench::growth_figures},
    {"messages", bench::message_figures},
    {"queue", bench::queue_figures},
    {"state", bench::state_figures}};

int run(int argc, char** argv) {
    bench::Effort effort{.module = host_kit::default_module()};
    std::string only;
    std::string json;
    std::string markdown;
    std::string baseline;
    std::string next_baseline;
    CLI::App app("Measures the module. Works in the current directory.");
    app.add_option("--module", effort.module, "the module");
    app.add_option("--clips", effort.clips, "folder of the clips A to D");
    app.add_option("--only", only, "one subject: conversion, growth, messages, queue or state");
    app.add_flag("--sanity", effort.sanity, "use small inputs and only check that everything works");
    app.add_option("--json", json, "write the figures to this file");
    app.add_option("--markdown", markdown, "write the table to this file");
    app.add_option("--baseline", baseline, "compare with the figures of this file");
    app.add_option("--next-baseline", next_baseline, "write a file for --baseline");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? cli::kSuccess : cli::kCannotRun;
    }
    bench::Figures all;
    for (const auto& [name, measure] : kSubjects) {
        if (!only.empty() && only != name) continue;
        const bench::Figures figures = measure(effort);
        all.insert(all.end(), figures.begin(), figures.end());
    }
    if (!json.empty()) std::ofstream(json) << bench::json(all);
    if (!markdown.empty()) std::ofstream(markdown) << bench::markdown_table(all);
    if (!next_baseline.empty()) std::ofstream(next_baseline) << bench::baseline(all);
    std::cout << bench::markdown_table(all) << bench::regressions(baseline, all);
    return cli::kSuccess;
}

}  // namespace

int main(int argc, char** argv) {
    return cli::run_tool("norvanepi-bench", [&] { return run(argc, argv); });
}
