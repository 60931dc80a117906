#include "tools/currentcontrolsim/simulategroup.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "platform/log/logcapture.h"
#include "simulation/wholestation.h"
#include "tools/currentcontrolsim/grouprecorder.h"
#include "tools/currentcontrolsim/grouptroubles.h"

namespace {

std::string About(const SGroupPlan& plan) {
  const auto [least, most] =
      std::ranges::minmax_element(plan.stations, {}, &SGroupPlan::SStation::fallbackAmpere);
  const std::uint32_t lowest = least->fallbackAmpere;
  const std::uint32_t highest = most->fallbackAmpere;
  return fmt::format(
      "{} stations on {}, {} A for them{}; without a leader each may draw {} A", plan.stations.size(),
      plan.medium == SGroupPlan::EMedium::Line ? "a serial line" : "a network", plan.capacityAmpere,
      plan.fuseAmpere == 0 ? "" : fmt::format(" behind a main fuse of {} A with the house", plan.fuseAmpere),
      lowest == highest ? std::to_string(highest) : fmt::format("{} to {}", lowest, highest));
}

}  // namespace

SSimulatedGroup Simulate::Group(const SGroupPlan& plan, Milliseconds step,
                                const std::function<void(std::int64_t hours)>& progress) {
  SSimulatedGroup group{.title = fmt::format("A made-up day of a group, seed {}", plan.seed),
                        .about = About(plan),
                        .troubles = TroublesOf(plan)};
  const CLogCapture silence(Log::ELogLevel::Critical);
  CWholeStation* leader = nullptr;
  CGroupRecorder recorder(group, plan, step, [&leader] { return leader->Describe().isSettling; });
  const auto observe = [&](const SGroupMoment& moment) {
    recorder.Take(moment);
    if (progress && moment.at % std::chrono::hours(1) == Milliseconds{0})
      progress(moment.at / std::chrono::hours(1));
  };
  const auto create = [&leader](SGroupPlace place) {
    const bool isLeader = place.number == 1;
    auto station = std::make_unique<CWholeStation>(std::move(place));
    if (isLeader) leader = station.get();
    return station;
  };
  CGroupRun run(plan, create, {.moment = observe, .told = {}});
  const CGroupRun::SOutcome outcome = run.Play();
  group.totals = outcome.totals;
  for (const SGroupViolation& violation : outcome.violations)
    group.violations.push_back({violation.at, violation.rule, violation.figures});
  return group;
}
