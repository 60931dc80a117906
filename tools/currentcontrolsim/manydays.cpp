#include "tools/currentcontrolsim/manydays.h"

#include <fmt/ostream.h>

#include "tools/currentcontrolsim/reportsummary.h"
#include "tools/display/limitstable.h"

void CManyDays::Add(std::uint64_t seed, const SSimulatedRun& run) {
  ++mDays;
  mAreRulesChecked = mAreRulesChecked && run.hasRules;
  if (run.totals.highestHeat > mTotal.highestHeat) mHottest = seed;
  mTotal.Add(run.totals);
  if (!run.IsGood()) {
    Json::Value& entry = mBroken.append(Json::objectValue);
    entry["seed"] = Json::UInt64{seed};
    entry["fuse_tripped"] = run.hasFuseTripped;
    entry["violations"] = ReportSummary::ToJson(run.violations);
    std::string first = "the main fuse tripped";
    if (!run.violations.empty()) {
      const auto& violation = run.violations.front();
      first = fmt::format("{} {}: {}", FormatSpan(violation.at), violation.rule, violation.figures);
    }
    fmt::print(mNews, "day {}: {}; again: currentcontrolsim --seed {}\n", seed, first, seed);
  }
  ShowProgress();
}

void CManyDays::ShowProgress() {
  constexpr std::uint64_t kEvery = 10;
  constexpr std::uint64_t kSeldom = 100;
  if (mDays % (mIsTerminal ? kEvery : kSeldom) != 0 && mDays != mCount) return;
  const char* const end = mIsTerminal && mDays != mCount ? "\r" : "\n";
  fmt::print(mNews, "{} of {} days, {} with a broken rule{}", mDays, mCount, mBroken.size(), end);
  mNews.flush();
}

std::string CManyDays::ToText() const {
  return fmt::format(
      "{} days, {} {}; charged {} kWh, of which from the roof {} kWh; {} setpoints, "
      "{} phase switches, {} stops; the fuse was at most at {:.0f} % of the heat that trips it, on day {}\n",
      mDays, mBroken.size(),
      mAreRulesChecked ? "with a broken rule"
                       : "on which the fuse tripped (no rules are checked at another station)",
      mTotal.chargedWattHours / 1000, mTotal.solarWattHours / 1000, mTotal.setpoints, mTotal.phaseSwitches,
      mTotal.stops, 100 * mTotal.highestHeat, mHottest);
}

Json::Value CManyDays::ToJson() const {
  Json::Value result(Json::objectValue);
  result["days"] = Json::UInt64{mDays};
  result["rules_checked"] = mAreRulesChecked;
  result["broken"] = mBroken;
  result["charged_watt_hours"] = Json::UInt64{mTotal.chargedWattHours};
  result["solar_watt_hours"] = Json::UInt64{mTotal.solarWattHours};
  result["setpoints"] = mTotal.setpoints;
  result["phase_switches"] = mTotal.phaseSwitches;
  result["stops"] = mTotal.stops;
  result["highest_fuse_heat"] = mTotal.highestHeat;
  result["hottest_day"] = Json::UInt64{mHottest};
  return result;
}
