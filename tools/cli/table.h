#pragma once

#include <string>
#include <vector>

namespace cli {

/// A plain-text table: a heading, a rule and rows. A column is as wide as its widest cell.
class Table {
  public:
    enum class Align { kLeft, kRight };
    struct Column {
        std::string title;
        Align align = Align::kLeft;
    };

    explicit Table(std::vector<Column> columns);

    /// Missing cells are empty; cells beyond the last column are dropped.
    void add_row(std::vector<std::string> cells);

    /// Each line ends with a line break, without trailing blanks.
    [[nodiscard]] std::string text() const;

  private:
    std::vector<Align> alignments_;
    std::vector<std::vector<std::string>> rows_;  // the first one is the heading
};

}  // namespace cli
