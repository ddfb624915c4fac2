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

Table::Table(std::vector<Column> columns) : rows_(1) {
    for (Column& column : columns) {
        alignments_.push_back(column.align);
        rows_.front().push_back(std::move(column.title));
    }
}

void Table::add_row(std::vector<std::string> cells) {
    cells.resize(alignments_.size());
    rows_.push_back(std::move(cells));
}

std::string Table::text() const {
    std::vector<std::size_t> widths(alignments_.size());
    for (const auto& row : rows_) {
        for (std::size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], width_of(row[i]));
    }
    const std::size_t gaps = widths.empty() ? 0 : (widths.size() - 1) * kColumnGap.size();
    const std::string rule(std::accumulate(widths.begin(), widths.end(), gaps), '-');
    std::string text;
    for (const auto& row : rows_) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string blanks(widths[i] - width_of(row[i]), ' ');
            if (i > 0) line += kColumnGap;
            line += alignments_[i] == Align::kRight ? blanks + row[i] : row[i] + blanks;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + '\n';
        if (&row == &rows_.front()) text += rule + '\n';
    }
    return text;
}

}  // namespace cli
