// The figures that docs/performance.md promises: the module measured through its entry points, in turns with
// programs that do the least possible work. scripts/bench runs it.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>

#include "bench/ratios/report.h"
#include "bench/ratios/subjects.h"
#include "tools/cli/exit_status.h"
#include "tools/host_kit/module_library.h"

namespace {

struct Options {
    bench::Effort effort{.module = host_kit::default_module(), .clips = {}, .work = {}};
    std::string subject;
    std::string clip;
    std::string json;
    std::string markdown;
    std::string baseline;
    bool memory_of_state = false;
};

using Measure = bench::Figures (*)(const bench::Effort&);
struct Subject {
    const char* name;
    Measure measure;
};
constexpr Subject kSubjects[] = {
    {"conversion", bench::conversion_figures}, {"growth", bench::growth_figures},
    {"messages", bench::message_figures},      {"queue", bench::queue_figures},
    {"state", bench::state_figures},           {"verify", bench::verify_figures}};

int measure(const Options& options) {
    bench::Figures all;
    for (const Subject& subject : kSubjects) {
        if (!options.subject.empty() && options.subject != subject.name) continue;
        const auto figures = subject.measure(options.effort);
        all.insert(all.end(), figures.begin(), figures.end());
    }
    if (!options.json.empty()) std::ofstream(options.json) << bench::json(all);
    if (!options.markdown.empty()) std::ofstream(options.markdown) << bench::markdown_table(all);
    std::cout << bench::text_table(all) << bench::worse_than(options.baseline, all);
    return cli::kSuccess;
}

int print(double number) {
    std::printf("%.0f\n", number);
    return cli::kSuccess;
}

int run(const CLI::App& app, const Options& options) {
    const auto& module = options.effort.module;
    if (app.count("--convert") > 0) return print(bench::conversion_memory(module, options.clip));
    if (options.memory_of_state) return print(bench::state_memory(module));
    return measure(options);
}

}  // namespace

int main(int argc, char** argv) {
    return cli::run_tool("norvanepi-bench", [&] {
        Options options;
        CLI::App app("Measures the module. Works in the current directory.");
        app.add_option("--module", options.effort.module, "the module");
        app.add_option("--clips", options.effort.clips, "folder of the clips A to D");
        app.add_option("--only", options.subject,
                       "one subject: conversion, growth, messages, queue, state or verify");
        app.add_flag("--sanity", options.effort.sanity, "only show that everything works");
        app.add_option("--json", options.json, "write the figures to this file");
        app.add_option("--markdown", options.markdown, "write the table to this file");
        app.add_option("--baseline", options.baseline, "figures of an earlier run to compare with");
        app.add_option("--convert", options.clip)->group("");
        app.add_flag("--state", options.memory_of_state)->group("");
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            return app.exit(error) == 0 ? cli::kSuccess : cli::kCannotRun;
        }
        return run(app, options);
    });
}
