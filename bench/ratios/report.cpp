#include "bench/ratios/report.h"

#include <fmt/format.h>

#include <array>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tools/cli/table.h"

namespace bench {
namespace {

/// A shared machine's noise: less than this is not worth a word.
constexpr double kNoise = 1.15;

std::string number(double value) {
    return value < 100 ? fmt::format("{:.2f}", value) : fmt::format("{:.0f}", value);
}

std::vector<std::string> cells(const Figure& figure) {
    return {figure.name,
            number(figure.value),
            number(figure.median),
            number(figure.low) + " to " + number(figure.high),
            number(figure.limit),
            figure.unit,
            figure.value > figure.limit ? "missed" : ""};
}

constexpr std::array kTitles = {"", "figure", "median", "middle half", "at most", "unit", ""};

}  // namespace

std::string text_table(const Figures& figures) {
    using Align = cli::Table::Align;
    std::vector<cli::Table::Column> columns;
    columns.reserve(kTitles.size());
    for (const char* title : kTitles)
        columns.push_back({title, columns.empty() || columns.size() > 4 ? Align::kLeft : Align::kRight});
    cli::Table table(columns);
    for (const Figure& figure : figures) table.add_row(cells(figure));
    return table.text();
}

std::string markdown_table(const Figures& figures) {
    std::string text = fmt::format("| {} |\n|---|--:|--:|--:|--:|---|---|\n", fmt::join(kTitles, " | "));
    for (const Figure& figure : figures) text += fmt::format("| {} |\n", fmt::join(cells(figure), " | "));
    return text;
}

std::string json(const Figures& figures) {
    auto all = nlohmann::ordered_json::array();
    for (const Figure& figure : figures) {
        all.push_back({{"name", figure.name},
                       {"unit", figure.unit},
                       {"value", figure.value},
                       {"median", figure.median},
                       {"low", figure.low},
                       {"high", figure.high},
                       {"limit", figure.limit}});
    }
    return all.dump(1) + "\n";
}

std::string worse_than(const std::filesystem::path& baseline, const Figures& figures) {
    std::ifstream file(baseline);
    if (!file) return {};
    std::string lines;
    for (const auto& before : nlohmann::json::parse(file)) {
        const double value = before.at("value");
        for (const Figure& figure : figures) {
            if (figure.name != before.at("name") || figure.value <= value * kNoise) continue;
            lines += fmt::format("worse: {}: {} {}, was {}\n", figure.name, number(figure.value), figure.unit,
                                 number(value));
        }
    }
    return lines;
}

}  // namespace bench
