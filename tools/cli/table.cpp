#include "tools/cli/table.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace cli {
namespace {

constexpr std::string_view kColumnGap = "  ";

/// Counts characters: a continuation byte of UTF-8 adds no width.
std::size_t width_of(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

}  // namespace

Table::Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

void Table::add_row(std::vector<std::string> cells) {
    cells.resize(columns_.size());
    rows_.push_back(std::move(cells));
}

std::vector<std::size_t> Table::widths() const {
    std::vector<std::size_t> widths;
    for (const Column& column : columns_) widths.push_back(width_of(column.title));
    for (const auto& row : rows_) {
        for (std::size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], width_of(row[i]));
    }
    return widths;
}

std::string Table::line(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) const {
    std::string line;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        const std::string blanks(widths[i] - width_of(cells[i]), ' ');
        if (i > 0) line += kColumnGap;
        line += columns_[i].align == Align::kRight ? blanks + cells[i] : cells[i] + blanks;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line + '\n';
}

std::string Table::text() const {
    const std::vector<std::size_t> widths = this->widths();
    std::vector<std::string> titles;
    for (const Column& column : columns_) titles.push_back(column.title);
    const std::size_t gaps = columns_.empty() ? 0 : (columns_.size() - 1) * kColumnGap.size();

    std::string text = line(titles, widths);
    text += std::string(std::accumulate(widths.begin(), widths.end(), gaps), '-') + '\n';
    for (const auto& row : rows_) text += line(row, widths);
    return text;
}

}  // namespace cli
