#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Lines of cells below their titles, each column as wide as its widest cell.
class CTable {
 public:
  struct SColumn {
    std::string_view title;
    bool isNumber = false;  ///< stands at the right
  };

  /// The columns outlive the table.
  explicit CTable(std::span<const SColumn> columns);

  /// A cell for each column.
  void Add(std::vector<std::string> cells);
  /// Without blanks at the end of a line; ends with a line end.
  std::string Format() const;

 private:
  const std::span<const SColumn> mColumns;
  std::vector<std::vector<std::string>> mLines;
};
