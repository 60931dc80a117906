#include "tools/grouplead/groupview.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "platform/utility/jsontext.h"
#include "src/components/loadbalancing/lbserialnumber.h"
#include "src/limitationsources/limits.h"
#include "tools/display/limitstable.h"

namespace {

using SRow = CScriptedLeader::SRow;
using EState = CScriptedLeader::EState;

constexpr auto kNothing = "-";
constexpr std::uint32_t kTenths = 10;

struct SColumn {
  const char* title;
  bool isNumber = false;
};
constexpr std::array<SColumn, 11> kColumns{{{"STATION"},
                                            {"ADDRESS"},
                                            {"STATE"},
                                            {"TOLD"},
                                            {"R", true},
                                            {"S", true},
                                            {"T", true},
                                            {"REPORT"},
                                            {"HEARD", true},
                                            {"FALLBACK", true},
                                            {"ITS OWN SETPOINT"}}};
using Cells = std::array<std::string, kColumns.size()>;

/// In A, with one decimal; rounded down, as nobody is told more than there is.
std::string Short(std::uint32_t milliAmpere) {
  return fmt::format("{}.{}", milliAmpere / kMilliAmperePerAmpere,
                     milliAmpere % kMilliAmperePerAmpere * kTenths / kMilliAmperePerAmpere);
}

std::string FormatAge(Milliseconds age) {
  constexpr std::int64_t kMillisecondsPerSecond = 1000;
  return fmt::format("{}.{} s", age.count() / kMillisecondsPerSecond,
                     age.count() % kMillisecondsPerSecond * kTenths / kMillisecondsPerSecond);
}

/// Whether the newest answer still tells what is so.
bool IsAnswering(const SRow& row) {
  return row.drawnMilliAmpere && row.state == EState::Led;
}

std::string FormatDrawn(const SRow& row, std::size_t phase) {
  return IsAnswering(row) ? Short((*row.drawnMilliAmpere)[phase]) : kNothing;
}

Cells CellsOf(const SGroupView::SStation& station) {
  const SRow& row = station.row;
  return {ToText(row.serialNumber),
          row.address.empty() ? kNothing : row.address,
          FormatState(row.state),
          FormatTold(row, ""),
          FormatDrawn(row, 0),
          FormatDrawn(row, 1),
          FormatDrawn(row, 2),
          IsAnswering(row) ? fmt::format("0x{:02x}", row.report) : kNothing,
          row.heardAgo ? FormatAge(*row.heardAgo) : kNothing,
          row.fallbackMilliAmpere ? Short(*row.fallbackMilliAmpere) : kNothing,
          station.isWatched ? FormatOwn(station) : ""};
}

/// Each column as wide as its widest cell.
std::string Align(const std::vector<Cells>& lines) {
  std::array<std::size_t, kColumns.size()> widths{};
  for (const Cells& cells : lines) {
    for (std::size_t i = 0; i < cells.size(); ++i) widths[i] = std::max(widths[i], cells[i].size());
  }
  std::string text;
  for (const Cells& cells : lines) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i)
      line += kColumns[i].isNumber ? fmt::format("{:>{}}  ", cells[i], widths[i])
                                   : fmt::format("{:<{}}  ", cells[i], widths[i]);
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

Json::Value ToJson(const SGroupView::SStation& station) {
  const SRow& row = station.row;
  Json::Value json;
  json["serial"] = ToText(row.serialNumber);
  json["address"] = row.address;
  json["state"] = FormatState(row.state);
  if (row.heardAgo) json["heard_ms_ago"] = Json::Int64{row.heardAgo->count()};
  if (row.toldMilliAmpere) json["told_milliampere"] = *row.toldMilliAmpere;
  json["phase_discovery"] = row.isPhaseDiscovery;
  if (row.drawnMilliAmpere) {
    for (const std::uint32_t drawn : *row.drawnMilliAmpere) json["drawn_milliampere"].append(drawn);
    json["report"] = row.report;
  }
  if (row.fallbackMilliAmpere) json["fallback_milliampere"] = *row.fallbackMilliAmpere;
  if (station.limits) {
    json["setpoint_milliampere"] = station.limits->setpoint().limit();
    json["setpoint_phases"] = station.limits->setpoint().number_of_phases();
    json["current_source"] = FormatSource(station.limits->current_source());
  }
  return json;
}

}  // namespace

std::string FormatState(EState state) {
  switch (state) {
    case EState::Missing:
      return "missing";
    case EState::Found:
      return "found";
    case EState::Led:
      return "led";
    case EState::Silent:
      return "silent";
    case EState::LeftAlone:
      break;
  }
  return "left alone";
}

std::string FormatTold(const SRow& row, std::string_view unit) {
  if (!row.toldMilliAmpere) return kNothing;
  return fmt::format("{}{}{}", Short(*row.toldMilliAmpere), unit,
                     row.isPhaseDiscovery ? ", to find phases" : "");
}

std::string FormatOwn(const SGroupView::SStation& station) {
  if (!station.limits) return "does not answer";
  const auto& setpoint = station.limits->setpoint();
  if (setpoint.limit() < 0) return "none yet";
  return fmt::format("{} x {} by {}", setpoint.number_of_phases(),
                     Short(static_cast<std::uint32_t>(setpoint.limit())),
                     FormatSource(station.limits->current_source()));
}

std::string FormatGroup(const SGroupView& view) {
  Cells titles;
  std::ranges::transform(kColumns, titles.begin(), &SColumn::title);
  std::vector<Cells> lines{titles};
  for (const SGroupView::SStation& station : view.stations) lines.push_back(CellsOf(station));
  return fmt::format("{}, {}; currents in A\n{}{}", FormatSpan(view.time), view.medium, Align(lines),
                     view.stations.empty() ? "no station has been found yet\n" : "");
}

std::string GroupToJson(const SGroupView& view) {
  Json::Value json;
  json["time_ms"] = Json::Int64{view.time.count()};
  json["stations"] = Json::arrayValue;
  for (const SGroupView::SStation& station : view.stations) json["stations"].append(ToJson(station));
  return JsonText::ToLine(json);
}
