#include "tools/display/table.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

CTable::CTable(std::span<const SColumn> columns) : mColumns(columns), mLines(1) {
  for (const SColumn& column : columns) mLines.front().emplace_back(column.title);
}

void CTable::Add(std::vector<std::string> cells) {
  cells.resize(mColumns.size());
  mLines.push_back(std::move(cells));
}

std::string CTable::Format() const {
  std::vector<std::size_t> widths(mColumns.size());
  for (const auto& cells : mLines) {
    for (std::size_t i = 0; i < cells.size(); ++i) widths[i] = std::max(widths[i], cells[i].size());
  }
  std::string text;
  for (const auto& cells : mLines) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i)
      line += mColumns[i].isNumber ? fmt::format("{:>{}}  ", cells[i], widths[i])
                                   : fmt::format("{:<{}}  ", cells[i], widths[i]);
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}
