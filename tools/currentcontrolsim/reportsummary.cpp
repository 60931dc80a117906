#include "tools/currentcontrolsim/reportsummary.h"

#include <fmt/format.h>

#include "tools/display/limitstable.h"

namespace {

using ReportSummary::SFact;
using EState = SFact::EState;

std::string Ampere(std::int64_t milliAmpere) {
  return fmt::format("{:.2f} A", static_cast<double>(milliAmpere) / 1000);
}

SFact PeakFact(const SSimulatedRun& run) {
  return {"Highest house current", Ampere(run.peak.milliAmpere),
          fmt::format("on L{} at {}; the fuse is for {} A", run.peak.phase, FormatSpan(run.peak.at),
                      run.peak.fuseMilliAmpere / 1000)};
}

SFact FuseFact(const SSimulatedRun& run) {
  const std::string heat =
      fmt::format("at most at {:.0f} % of the heat that trips it", 100 * run.totals.highestHeat);
  if (run.hasFuseTripped) return {"Main fuse", "tripped", heat, EState::Violated};
  return {"Main fuse", "held", heat, EState::Held};
}

}  // namespace

std::vector<SFact> ReportSummary::Facts(const SSimulatedRun& run) {
  const SRunTotals& totals = run.totals;
  std::vector<SFact> facts{
      {"Charged", KiloWattHours(totals.chargedWattHours),
       fmt::format("of which from the roof {}", KiloWattHours(totals.solarWattHours))},
      PeakFact(run),
      FuseFact(run),
      {"Setpoints", std::to_string(totals.setpoints), "that charge control took"},
      {"Phase switches", std::to_string(totals.phaseSwitches), "between 1 and 3"},
      {"Stops", std::to_string(totals.stops), "of vehicles that drew what they may not"}};
  if (run.hasRules) facts.push_back(RulesFact(run.violations, "checked every second"));
  return facts;
}

SFact ReportSummary::RulesFact(const std::vector<SDayViolation>& violations, std::string_view howChecked) {
  if (violations.empty()) return {"Rules", "all held", std::string(howChecked), EState::Held};
  return {"Rules", fmt::format("broken {}×", violations.size()),
          fmt::format("first at {}: {}", FormatSpan(violations.front().at), violations.front().rule),
          EState::Violated};
}

std::string ReportSummary::KiloWattHours(std::uint64_t wattHours) {
  return fmt::format("{:.2f} kWh", static_cast<double>(wattHours) / 1000);
}

std::string ReportSummary::ToText(const SSimulatedRun& run) {
  std::string text = run.title + "\n";
  if (!run.about.empty()) text += run.about + "\n";
  return text + ToText(Facts(run)) + ToText(run.violations);
}

std::string ReportSummary::ToText(const std::vector<SFact>& facts) {
  std::string text;
  for (const SFact& fact : facts)
    text += fmt::format("  {:<22} {:>10}  {}\n", fact.name, fact.value, fact.detail);
  return text;
}

std::string ReportSummary::ToText(const std::vector<SDayViolation>& violations) {
  std::string text;
  for (const auto& [at, rule, figures] : violations)
    text += fmt::format("  {} {}: {}\n", FormatSpan(at), rule, figures);
  return text;
}

Json::Value ReportSummary::ToJson(const std::vector<SDayViolation>& violations) {
  Json::Value list(Json::arrayValue);
  for (const auto& violation : violations) {
    Json::Value& entry = list.append(Json::objectValue);
    entry["seconds"] = Json::Int64{violation.at.count() / 1000};
    entry["rule"] = violation.rule;
    entry["figures"] = violation.figures;
  }
  return list;
}

Json::Value ReportSummary::ToJson(const SSimulatedRun& run) {
  Json::Value peak(Json::objectValue);
  peak["milliampere"] = run.peak.milliAmpere;
  peak["phase"] = run.peak.phase;
  peak["seconds"] = Json::Int64{run.peak.at.count() / 1000};
  peak["fuse_milliampere"] = run.peak.fuseMilliAmpere;

  Json::Value result(Json::objectValue);
  result["title"] = run.title;
  result["about"] = run.about;
  result["charged_watt_hours"] = Json::UInt64{run.totals.chargedWattHours};
  result["solar_watt_hours"] = Json::UInt64{run.totals.solarWattHours};
  result["highest_house_current"] = std::move(peak);
  result["highest_fuse_heat"] = run.totals.highestHeat;
  result["fuse_tripped"] = run.hasFuseTripped;
  result["setpoints"] = run.totals.setpoints;
  result["phase_switches"] = run.totals.phaseSwitches;
  result["stops"] = run.totals.stops;
  result["rules_checked"] = run.hasRules;
  result["warnings"] = Json::arrayValue;
  for (const std::string& warning : run.warnings) result["warnings"].append(warning);
  result["violations"] = ToJson(run.violations);
  return result;
}
