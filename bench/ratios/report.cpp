#include "bench/ratios/report.h"

#include <fmt/format.h>

#include <fstream>
#include <nlohmann/json.hpp>

namespace bench {
namespace {

constexpr double kNoise = 1.15;  // of a shared machine

std::string number(double value) {
    return fmt::format("{:.{}f}", value, value < 100 ? 2 : 0);
}

}  // namespace

std::string markdown_table(const Figures& figures) {
    std::string text = "|  | figure | middle half | at most | unit |  |\n|---|--:|--:|--:|---|---|\n";
    for (const auto& [name, unit, value, low, high, limit] : figures)
        text += fmt::format("| {} | {} | {} to {} | {} | {} | {} |\n", name, number(value), number(low),
                            number(high), limit ? number(*limit) : "", unit,
                            limit && value > *limit ? "missed" : "");
    return text;
}

std::string json(const Figures& figures) {
    auto all = nlohmann::ordered_json::array();
    for (const auto& [name, unit, value, low, high, limit] : figures) {
        all.push_back({{"name", name}, {"unit", unit}, {"value", value}, {"low", low}, {"high", high}});
        if (limit) all.back()["limit"] = *limit;
    }
    return all.dump(1) + "\n";
}

std::string baseline(const Figures& figures) {
    nlohmann::ordered_json values;
    for (const Figure& figure : figures) values[figure.name] = figure.value;
    return values.dump(1) + "\n";
}

std::string regressions(const std::filesystem::path& baseline, const Figures& figures) {
    std::ifstream file(baseline);
    if (!file) return {};
    const auto before = nlohmann::json::parse(file);
    std::string lines;
    for (const auto& [name, unit, value, low, high, limit] : figures) {
        const double earlier = before.value(name, value);
        if (value > earlier * kNoise)
            lines += fmt::format("worse: {}: {} {}, was {}\n", name, number(value), unit, number(earlier));
    }
    return lines;
}

}  // namespace bench
