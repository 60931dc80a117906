#include <cstdint>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/ostream.h>
#include <json/value.h>
#include <unistd.h>

#include "platform/log/log.h"
#include "platform/log/logcapture.h"
#include "platform/utility/jsontext.h"
#include "simulation/grouprun.h"
#include "simulation/lightstation.h"
#include "tools/display/options.h"
#include "tools/grouptrials/trialoptions.h"

namespace {

constexpr int kMostTold = 2;  ///< of each rule in a group

enum EExit : int { kAllHeld = 0, kViolated = 1, kWrongUsage = 2 };

struct STotals {
  std::uint64_t groups = 0;
  std::vector<std::uint64_t> violated;               ///< their seeds
  std::map<std::string, std::uint64_t> brokenRules;  ///< in how many groups
  CGroupRun::STotals all;
};

SGroupPlan PlanOf(std::uint64_t seed, const STrialOptions& options) {
  return SGroupPlan::Make(seed, std::chrono::minutes(options.minutes));
}

CGroupRun::SOutcome PlayGroup(SGroupPlan plan, CGroupRun::SObservers observers = {}) {
  const auto create = [](SGroupPlace place) { return std::make_unique<CLightStation>(std::move(place)); };
  return CGroupRun(std::move(plan), create, std::move(observers)).Play();
}

std::string Text(Milliseconds at) {
  return fmt::format("{}.{:03d} s", at.count() / 1000, at.count() % 1000);
}

void Report(std::uint64_t seed, const STrialOptions& options, const CGroupRun::SOutcome& outcome) {
  std::map<std::string, int> told;
  for (const SGroupViolation& violation : outcome.violations)
    if (++told[violation.rule] <= kMostTold)
      fmt::print(std::cerr, "group {} at {}: {}: {}\n", seed, Text(violation.at), violation.rule,
                 violation.figures);
  if (!outcome.violations.empty())
    fmt::print(std::cerr, "  {}\n  again: grouptrials --minutes {} --seed {} --told\n",
               PlanOf(seed, options).Summary(), options.minutes, seed);
}

void Add(STotals& totals, std::uint64_t seed, const CGroupRun::SOutcome& outcome) {
  ++totals.groups;
  totals.all.messages += outcome.totals.messages;
  totals.all.limitChanges += outcome.totals.limitChanges;
  totals.all.wattHours += outcome.totals.wattHours;
  if (outcome.violations.empty()) return;
  totals.violated.push_back(seed);
  std::map<std::string, bool> rules;
  for (const SGroupViolation& violation : outcome.violations) rules[violation.rule] = true;
  for (const auto& [rule, isBroken] : rules) ++totals.brokenRules[rule];
}

void ShowProgress(const STotals& totals, std::uint64_t count) {
  constexpr std::uint64_t kEvery = 10;
  if (totals.groups % kEvery != 0 && totals.groups != count) return;
  const char* const end = isatty(STDERR_FILENO) == 1 && totals.groups != count ? "\r" : "\n";
  fmt::print(std::cerr, "{} of {} groups, {} violated{}", totals.groups, count, totals.violated.size(), end);
}

void Print(const STotals& totals, bool json) {
  if (!json) {
    fmt::print("{} groups, {} violated; {} messages, {} changes of limits, {} kWh charged\n", totals.groups,
               totals.violated.size(), totals.all.messages, totals.all.limitChanges,
               totals.all.wattHours / 1000);
    for (const auto& [rule, groups] : totals.brokenRules) fmt::print("  in {}: {}\n", groups, rule);
    return;
  }
  Json::Value result(Json::objectValue);
  result["groups"] = Json::UInt64{totals.groups};
  result["messages"] = Json::UInt64{totals.all.messages};
  result["limit_changes"] = Json::UInt64{totals.all.limitChanges};
  result["charged_wh"] = Json::UInt64{totals.all.wattHours};
  result["violated"] = Json::Value(Json::arrayValue);
  for (const std::uint64_t seed : totals.violated) result["violated"].append(Json::UInt64{seed});
  result["broken_rules"] = Json::Value(Json::objectValue);
  for (const auto& [rule, groups] : totals.brokenRules) result["broken_rules"][rule] = Json::UInt64{groups};
  std::cout << JsonText::ToLine(result) << '\n';
}

EExit Tell(const STrialOptions& options) {
  const SGroupPlan plan = PlanOf(options.seed, options);
  fmt::print("{}\n", plan.Summary());
  for (MediumStation number = 1; number <= plan.Last(); ++number) {
    const SGroupPlan::SStation& station = plan.Station(number);
    fmt::print("  {}: {}, {}, falls back to {} A\n", number, station.serialNumber, station.rotation,
               station.fallbackAmpere);
  }
  CLogCapture log(Log::ELogLevel::Warning);
  CGroupRun::SObservers observers;
  observers.told = [&log](Milliseconds at, const std::string& what) {
    for (const auto& line : log.Lines()) fmt::print("{:>12}   log: {}\n", "", line.text);
    log.Clear();
    fmt::print("{:>12} {}\n", Text(at), what);
  };
  if (options.areMessagesTold)
    observers.sent = [](Milliseconds at, MediumStation from, std::uint8_t id) {
      fmt::print("{:>12}   0x{:02x} from {}\n", Text(at), id, from);
    };
  const auto outcome = PlayGroup(plan, observers);
  return outcome.violations.empty() ? kAllHeld : kViolated;
}

EExit PlayAll(const STrialOptions& options) {
  STotals totals;
  for (std::uint64_t i = 0; i < options.count; ++i) {
    const CLogCapture silence(Log::ELogLevel::Critical);
    const std::uint64_t seed = options.seed + i;
    const auto outcome = PlayGroup(PlanOf(seed, options));
    Report(seed, options, outcome);
    Add(totals, seed, outcome);
    ShowProgress(totals, options.count);
  }
  Print(totals, options.json);
  return totals.violated.empty() ? kAllHeld : kViolated;
}

}  // namespace

int main(int argc, char* argv[]) {
  try {
    const STrialOptions options = ReadTrialOptions({argv, static_cast<std::size_t>(argc)});
    if (options.help) {
      std::cout << TrialHelp();
      return kAllHeld;
    }
    return options.isTold ? Tell(options) : PlayAll(options);
  } catch (const CUsageError& error) {
    std::cerr << "grouptrials: " << error.what() << '\n';
    return kWrongUsage;
  }
}
