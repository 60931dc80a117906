#include "tools/currentcontrolsim/groupcsv.h"

#include <iterator>
#include <string>

#include <fmt/ranges.h>

void WriteCsv(std::ostream& out, const SSimulatedGroup& group) {
  std::string row =
      "time_s,capacity_r_ma,capacity_s_ma,capacity_t_ma,at_most_r_ma,at_most_s_ma,at_most_t_ma,"
      "drawn_r_ma,drawn_s_ma,drawn_t_ma";
  for (const auto& station : group.stations)
    fmt::format_to(std::back_inserter(row), ",{0}_limit_ma,{0}_drawn_ma,{0}_state", station.serialNumber);
  out << row << '\n';
  for (const auto& point : group.points) {
    row = fmt::format("{},{},{},{}", point.at.count() / 1000, fmt::join(point.capacity, ","),
                      fmt::join(point.mayDraw, ","), fmt::join(point.drawn, ","));
    for (const auto& station : point.stations) {
      fmt::format_to(std::back_inserter(row), ",{},{},{}", station.limit, station.drawn,
                     SSimulatedGroup::kStates.at(static_cast<std::size_t>(station.state)));
    }
    out << row << '\n';
  }
}
