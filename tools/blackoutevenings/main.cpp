#include <algorithm>
#include <cstdint>
#include <iostream>
#include <utility>

#include <fmt/ostream.h>
#include <json/value.h>
#include <unistd.h>

#include "platform/log/log.h"
#include "platform/log/logcapture.h"
#include "platform/utility/jsontext.h"
#include "simulation/blackoutevening.h"
#include "simulation/overloadreaction.h"
#include "tools/blackoutevenings/eveningoptions.h"
#include "tools/display/options.h"

namespace {

enum EExit : int { kAllHeld = 0, kViolated = 1, kWrongUsage = 2 };

struct STotals {
  std::uint64_t evenings = 0;
  std::uint64_t violated = 0;
  std::uint64_t setpoints = 0;
  double highestHeat = 0;
  std::uint64_t hottest = 0;  ///< the evening of that
  Milliseconds longestReturn{0};
};

CBlackoutEvening::SOutcome PlayEvening(std::uint64_t seed, const std::string& meter,
                                       CBlackoutEvening::Observer observer = {}) {
  const CLogCapture silence(Log::ELogLevel::Critical);
  SEveningPlan plan = SEveningPlan::Make(seed);
  plan.meter = meter;
  return CBlackoutEvening(std::move(plan), std::move(observer)).Play();
}

void Report(std::uint64_t seed, const std::string& meter, const CBlackoutEvening::SOutcome& outcome) {
  for (const std::string& violation : outcome.violations) {
    fmt::print(std::cerr, "evening {}: {}\n  again: blackoutevenings --meter {} --seed {} --count 1\n", seed,
               violation, meter, seed);
  }
}

void ShowProgress(const STotals& totals, std::uint64_t count) {
  constexpr std::uint64_t kEvery = 100;
  if (totals.evenings % kEvery != 0 && totals.evenings != count) return;
  const char* const end = isatty(STDERR_FILENO) == 1 && totals.evenings != count ? "\r" : "\n";
  fmt::print(std::cerr, "{} of {} evenings, {} violated{}", totals.evenings, count, totals.violated, end);
}

void Print(const STotals& totals, bool json) {
  const auto seconds = static_cast<double>(totals.longestReturn.count()) / 1000;
  if (!json) {
    fmt::print(
        "{} evenings, {} violated; {} setpoints; the fuse was at most at {:.0f} % of its trip heat, in "
        "evening "
        "{}; full current was back within {:.1f} s\n",
        totals.evenings, totals.violated, totals.setpoints, totals.highestHeat * 100, totals.hottest,
        seconds);
    return;
  }
  Json::Value result(Json::objectValue);
  result["evenings"] = Json::UInt64{totals.evenings};
  result["violated"] = Json::UInt64{totals.violated};
  result["setpoints"] = Json::UInt64{totals.setpoints};
  result["highest_heat"] = totals.highestHeat;
  result["hottest"] = Json::UInt64{totals.hottest};
  result["longest_return_s"] = seconds;
  std::cout << JsonText::ToLine(result) << '\n';
}

EExit Trace(const SEveningOptions& options) {
  fmt::print("seconds,load1,load2,load3,total1,total2,total3,setpoint,heat,measured\n");
  const auto outcome = PlayEvening(options.seed, options.meter, [](const CBlackoutEvening::SMoment& moment) {
    const auto& house = moment.house;
    fmt::print("{:.2f},{},{},{},{},{},{},{},{:.3f},{:d}\n", static_cast<double>(moment.at.count()) / 1000,
               house.load[0], house.load[1], house.load[2], house.total[0], house.total[1], house.total[2],
               moment.setpoint, house.fuse.Heat(), moment.measured);
  });
  Report(options.seed, options.meter, outcome);
  return outcome.violations.empty() ? kAllHeld : kViolated;
}

EExit ShowReaction() {
  const CLogCapture silence(Log::ELogLevel::Critical);
  fmt::print("seconds,total,vehicle,setpoint\n");
  COverloadReaction reaction(COverloadReaction::kSlowest, [](const COverloadReaction::SMoment& moment) {
    fmt::print("{:.2f},{},{},{}\n", static_cast<double>(moment.at.count()) / 1000, moment.total,
               moment.vehicle, moment.setpoint);
  });
  return reaction.Play() ? kAllHeld : kViolated;
}

EExit PlayAll(const SEveningOptions& options) {
  STotals totals;
  for (std::uint64_t i = 0; i < options.count; ++i) {
    const auto outcome = PlayEvening(options.seed + i, options.meter);
    Report(options.seed + i, options.meter, outcome);
    ++totals.evenings;
    if (!outcome.violations.empty()) ++totals.violated;
    totals.setpoints += outcome.setpoints;
    if (outcome.highestHeat > totals.highestHeat) {
      totals.highestHeat = outcome.highestHeat;
      totals.hottest = options.seed + i;
    }
    totals.longestReturn = std::max(totals.longestReturn, outcome.returned.value_or(Milliseconds(0)));
    ShowProgress(totals, options.count);
  }
  Print(totals, options.json);
  return totals.violated == 0 ? kAllHeld : kViolated;
}

}  // namespace

int main(int argc, char* argv[]) {
  try {
    const SEveningOptions options = ReadEveningOptions({argv, static_cast<std::size_t>(argc)});
    if (options.help) {
      std::cout << EveningHelp();
      return kAllHeld;
    }
    if (options.reaction) return ShowReaction();
    return options.trace ? Trace(options) : PlayAll(options);
  } catch (const CUsageError& error) {
    std::cerr << "blackoutevenings: " << error.what() << '\n';
    return kWrongUsage;
  }
}
