#include "tools/currentcontrolsim/groupsummary.h"

#include <algorithm>
#include <array>

#include <fmt/ranges.h>

#include "tools/display/limitstable.h"
#include "tools/display/table.h"

namespace {

using ReportSummary::SFact;
using SExtreme = SSimulatedGroup::SExtreme;

constexpr std::array<CTable::SColumn, 7> kColumns{{{"STATION"},
                                                   {"SERIAL"},
                                                   {"FALLBACK", true},
                                                   {"CHARGED", true},
                                                   {"CHARGING", true},
                                                   {"LONGEST WAIT", true},
                                                   {"FROM", true}}};

std::string Ampere(std::int64_t milliAmpere) {
  return fmt::format("{:.1f} A", static_cast<double>(milliAmpere) / 1000);
}

std::uint64_t ChargedWattHours(const SSimulatedGroup& group) {
  std::uint64_t sum = 0;
  for (const auto& station : group.stations) sum += station.wattHours;
  return sum;
}

SFact WaitFact(const SSimulatedGroup& group) {
  const auto& station =
      *std::ranges::max_element(group.stations, {}, &SSimulatedGroup::SStation::longestWait);
  if (station.longestWait == Milliseconds{0}) return {"Longest wait", "none", "every vehicle could charge"};
  return {"Longest wait", FormatSpan(station.longestWait),
          fmt::format("at {} from {}", station.serialNumber, FormatSpan(station.longestWaitAt))};
}

std::string FormatStations(const std::vector<SSimulatedGroup::SStation>& stations) {
  CTable table(kColumns);
  for (std::size_t i = 0; i < stations.size(); ++i) {
    const auto& station = stations[i];
    const bool hasWaited = station.longestWait > Milliseconds{0};
    table.Add({i == 0 ? "1, leader" : std::to_string(i + 1), station.serialNumber,
               Ampere(station.fallbackMilliAmpere), ReportSummary::KiloWattHours(station.wattHours),
               FormatSpan(station.charging), hasWaited ? FormatSpan(station.longestWait) : "-",
               hasWaited ? FormatSpan(station.longestWaitAt) : "-"});
  }
  return table.Format();
}

Json::Value ToJson(const SExtreme& extreme) {
  Json::Value entry(Json::objectValue);
  entry["milliampere"] = extreme.milliAmpere;
  entry["capacity_milliampere"] = extreme.capacity;
  entry["phase"] = std::string(1, "RST"[extreme.phase]);
  entry["seconds"] = Json::Int64{extreme.at.count() / 1000};
  return entry;
}

}  // namespace

std::vector<SFact> GroupSummary::Facts(const SSimulatedGroup& group) {
  const SExtreme& drawn = group.mostDrawn;
  const SExtreme& left = group.leastLeft;
  return {
      {"Charged", ReportSummary::KiloWattHours(ChargedWattHours(group)),
       fmt::format("by {} stations", group.stations.size())},
      {"Highest draw", Ampere(drawn.milliAmpere),
       fmt::format("on {} at {}, of {}", "RST"[drawn.phase], FormatSpan(drawn.at), Ampere(drawn.capacity))},
      {"Least left", Ampere(left.Left()),
       fmt::format("on {} at {}, had all drawn what they might: {} of {}", "RST"[left.phase],
                   FormatSpan(left.at), Ampere(left.milliAmpere), Ampere(left.capacity))},
      WaitFact(group),
      {"Failures", std::to_string(group.troubles.size()), "of the network, stations and settings"},
      {"Limits", std::to_string(group.totals.limitChanges),
       fmt::format("that changed, in {} messages", group.totals.messages)},
      ReportSummary::RulesFact(group.violations, "checked at every message")};
}

std::string GroupSummary::ToText(const SSimulatedGroup& group) {
  std::string text = fmt::format("{}\n{}\n", group.title, group.about);
  text += ReportSummary::ToText(Facts(group));
  text += FormatStations(group.stations);
  for (const auto& trouble : group.troubles) {
    text += fmt::format(
        "  {} to {} {}{}\n", FormatSpan(trouble.from), FormatSpan(trouble.until),
        trouble.stations.empty() ? "" : fmt::format("{}: ", fmt::join(trouble.stations, ", ")), trouble.what);
  }
  return text + ReportSummary::ToText(group.violations);
}

Json::Value GroupSummary::ToJson(const std::vector<SSimulatedGroup::SStation>& stations) {
  Json::Value list(Json::arrayValue);
  for (const auto& station : stations) {
    Json::Value& entry = list.append(Json::objectValue);
    entry["serial_number"] = station.serialNumber;
    entry["fallback_milliampere"] = station.fallbackMilliAmpere;
    entry["charged_watt_hours"] = Json::UInt64{station.wattHours};
    entry["charging_seconds"] = Json::Int64{station.charging.count() / 1000};
    entry["longest_wait_seconds"] = Json::Int64{station.longestWait.count() / 1000};
    entry["longest_wait_at_seconds"] = Json::Int64{station.longestWaitAt.count() / 1000};
  }
  return list;
}

Json::Value GroupSummary::ToJson(const std::vector<SSimulatedGroup::STrouble>& troubles) {
  Json::Value list(Json::arrayValue);
  for (const auto& trouble : troubles) {
    Json::Value& entry = list.append(Json::objectValue);
    entry["from_seconds"] = Json::Int64{trouble.from.count() / 1000};
    entry["until_seconds"] = Json::Int64{trouble.until.count() / 1000};
    entry["what"] = trouble.what;
    entry["stations"] = Json::arrayValue;
    for (const MediumStation station : trouble.stations) entry["stations"].append(station);
  }
  return list;
}

Json::Value GroupSummary::ToJson(const SSimulatedGroup& group) {
  Json::Value result(Json::objectValue);
  result["title"] = group.title;
  result["about"] = group.about;
  result["charged_watt_hours"] = Json::UInt64{ChargedWattHours(group)};
  result["highest_draw"] = ::ToJson(group.mostDrawn);
  result["least_left"] = ::ToJson(group.leastLeft);
  result["messages"] = Json::UInt64{group.totals.messages};
  result["limit_changes"] = Json::UInt64{group.totals.limitChanges};
  result["stations"] = ToJson(group.stations);
  result["failures"] = ToJson(group.troubles);
  result["violations"] = ReportSummary::ToJson(group.violations);
  return result;
}
