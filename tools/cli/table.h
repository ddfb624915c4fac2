#pragma once

#include <string>
#include <vector>

namespace cli {

/// A table for a person: a heading, a rule, rows; columns as wide as their widest cell.
class Table {
  public:
    enum class Align { kLeft, kRight };
    struct Column {
        std::string title;
        Align align = Align::kLeft;
    };

    explicit Table(std::vector<Column> columns);

    /// Missing cells stay empty, cells beyond the last column are left out.
    void add_row(std::vector<std::string> cells);

    /// Every line ends with a line break and none with blanks.
    [[nodiscard]] std::string text() const;

  private:
    [[nodiscard]] std::vector<std::size_t> widths() const;
    [[nodiscard]] std::string line(const std::vector<std::string>& cells,
                                   const std::vector<std::size_t>& widths) const;

    std::vector<Column> columns_;
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace cli
