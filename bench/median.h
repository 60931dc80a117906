#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

/// Of at least one figure.
inline double Median(std::vector<double> figures) {
  const auto middle = figures.begin() + static_cast<std::ptrdiff_t>(figures.size() / 2);
  std::ranges::nth_element(figures, middle);
  return *middle;
}
