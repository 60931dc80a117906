#include "simulation/stationday.h"

#include <algorithm>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"

namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using EVehicle = SDayPlan::EVehicle;

std::vector<std::string> Texts(const CStationDay::SOutcome& outcome) {
  std::vector<std::string> texts;
  for (const auto& [at, rule, figures] : outcome.violations) {
    texts.push_back(std::to_string(at / 1s) + " s: " + rule + ": " + figures);
  }
  return texts;
}

/// Whole days take long with sanitizers; these hours have all kinds of vehicle, weather, meter and mode in
/// them.
TEST(StationDay, KeepsItsRulesWhateverHappens) {
  const CLogCapture silence(Log::ELogLevel::Critical);
  for (const std::uint64_t seed : {7U, 9U, 10U, 12U, 14U, 27U, 36U, 39U}) {
    SDayPlan plan = SDayPlan::Make(seed);
    const auto most = [](const SLoads& loads) { return *std::ranges::max_element(loads.milliAmpere); };
    EXPECT_GT(most(*std::ranges::max_element(plan.loads, {}, most)), 9000U) << "somebody is at home";
    plan.begin = 9h + seed % 3 * 2h;
    plan.end = plan.begin + 3h;
    EXPECT_THAT(Texts(CStationDay(plan).Play()), IsEmpty())
        << "the whole day: currentcontrolsim --seed " << seed;
  }
}

/// One vehicle from 12:00 on at a house in which nothing else is on, on a three-phase station of 32 A.
SDayPlan Noon(CVehicle::SProperties vehicle, Milliseconds length) {
  SDayPlan plan;
  plan.begin = 12h;
  plan.end = plan.begin + length;
  plan.installationAmpere = 32;
  plan.fuseAmpere = 63;
  plan.isImbalanceLimited = false;
  plan.roof.peakWatt = 0;
  plan.settings.isSolarEnabled = false;
  vehicle.reaction = 1s;
  vehicle.rampMilliAmperePerSecond = 50000;
  plan.visits.push_back({.from = plan.begin, .until = kDay, .vehicle = vehicle});
  return plan;
}

struct SSeen {
  CStationDay::SOutcome outcome;
  std::uint32_t highest = 0;             ///< mA drawn on a phase
  std::optional<Milliseconds> begins{};  ///< to charge, since the start
  std::optional<Milliseconds> ends{};    ///< the last moment of that
};

SSeen Play(const SDayPlan& plan) {
  const CLogCapture silence(Log::ELogLevel::Critical);
  SSeen seen;
  const auto look = [&seen](const SStationMoment& moment) {
    const std::uint32_t draw = *std::ranges::max_element(moment.vehicle);
    seen.highest = std::max(seen.highest, draw);
    if (draw == 0) return;
    if (!seen.begins) seen.begins = moment.at;
    seen.ends = moment.at;
  };
  seen.outcome = CStationDay(plan, look, 1s).Play();
  return seen;
}

TEST(StationDay, StopsWhoTakesTooMuchInTimeAndNobodyElse) {
  struct SCase {
    CVehicle::SProperties vehicle;
    std::uint32_t phaseAmpere;  ///< of imbalance that is allowed; 0: any
    std::uint32_t stops;
    std::uint32_t highest;
    Milliseconds earliest;
    Milliseconds latest;
  };
  const std::vector<SCase> cases{
      {{.maxMilliAmpere = 32000}, 20, 0, 32000, 1490s, 1500s},
      // 1200 s and 5 s, to which the meter's second and five checks come
      {{.maxMilliAmpere = 32000, .excessPercent = 15}, 0, 1, 36800, 1200s, 1207s},
      {{.maxMilliAmpere = 32000, .excessPercent = 26}, 0, 1, 40320, 5s, 12s},
      // (4600 VA - 50 VA) / 230 V, and 15 % more are 632 VA too much
      {{.maxMilliAmpere = 32000, .phases = 1}, 20, 0, 19782, 1480s, 1500s},
      {{.maxMilliAmpere = 32000, .phases = 1, .excessPercent = 15}, 20, 1, 22749, 5s, 66s},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const SCase& now = cases[i];
    SDayPlan plan = Noon(now.vehicle, 25min);
    plan.isImbalanceLimited = now.phaseAmpere > 0;
    const SSeen seen = Play(plan);
    EXPECT_THAT(Texts(seen.outcome), IsEmpty()) << i;
    EXPECT_EQ(seen.outcome.totals.stops, now.stops) << i;
    EXPECT_EQ(seen.highest, now.highest) << i;
    const Milliseconds charged = seen.ends.value() - seen.begins.value();
    EXPECT_GE(charged, now.earliest) << i;
    EXPECT_LE(charged, now.latest) << i;
  }
}

TEST(StationDay, ChargesSoonAfterTheSunComesAndStopsLongAfterItWent) {
  SDayPlan plan = Noon({}, 30min);
  plan.roof.peakWatt = 8000;
  plan.settings.isSolarEnabled = true;
  plan.visits[0].from += 1min;           // by when solar charging holds it
  constexpr std::uint32_t kAll = 20000;  // mA, more than the roof gives
  plan.loads = {{0s, {kAll, kAll, kAll}}, {12h + 5min, {}}, {12h + 10min, {kAll, kAll, kAll}}};
  const SSeen seen = Play(plan);
  EXPECT_THAT(Texts(seen.outcome), IsEmpty());
  // 60 s after the run that sees it, and what the vehicle takes
  EXPECT_GE(seen.begins.value(), 5min + 60s);
  EXPECT_LE(seen.begins.value(), 5min + 80s + 5s);
  EXPECT_GE(seen.ends.value(), 10min + 900s);
  EXPECT_LE(seen.ends.value(), 10min + 920s + 5s);
  EXPECT_GT(seen.outcome.totals.solarWattHours, 300U);
  EXPECT_GT(seen.outcome.totals.chargedWattHours, seen.outcome.totals.solarWattHours);
}

/// What the station protects from happens when it does not, and is found.
TEST(StationDay, FindsWhatNobodyProtectsFrom) {
  const auto rulesBroken = [](const SDayPlan& plan) {
    std::vector<std::string> rules;
    for (const auto& violation : Play(plan).outcome.violations) rules.push_back(violation.rule);
    return rules;
  };
  SDayPlan unwatched = Noon({.maxMilliAmpere = 32000, .excessPercent = 26}, 2min);
  unwatched.hasStationMeter = false;
  EXPECT_THAT(rulesBroken(unwatched), Contains("who draws too much is stopped in time"));
  EXPECT_THAT(rulesBroken(Noon({.maxMilliAmpere = 32000, .phases = 1}, 2min)),
              ElementsAre("imbalance above the limit lasts less than a minute"));
  SDayPlan overloaded = Noon({.maxMilliAmpere = 32000}, 2min);
  overloaded.isFuseProtected = false;
  overloaded.fuseAmpere = 16;
  EXPECT_THAT(rulesBroken(overloaded), Contains("the main fuse holds while vehicles obey"));
}

}  // namespace
