#include "simulation/dayplan.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <fmt/format.h>

#include "simulation/household.h"
#include "simulation/metersettings.h"
#include "simulation/random.h"
#include "src/components/settingskeys.h"
#include "src/limitationsources/limits.h"

namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using EVehicle = SDayPlan::EVehicle;

/// mA; a vehicle that can take whatever it is offered.
constexpr std::uint32_t kWholeOffer = 32000;
/// The longest that a vehicle takes from nothing to its full current.
constexpr seconds kLongestRamp{26};
constexpr std::size_t kVehicleKinds = static_cast<std::size_t>(EVehicle::SinglePhase) + 1;

template <class TValue, std::size_t kCount>
TValue OneOf(CRandom& random, const std::array<TValue, kCount>& values) {
  return values[random.Index(kCount)];
}

std::uint32_t Number(CRandom& random, std::int64_t low, std::int64_t high) {
  return static_cast<std::uint32_t>(random.Between(low, high));
}

CSolarRoof::SProperties MakeRoof(CRandom& random) {
  using EWeather = CSolarRoof::EWeather;
  constexpr std::array kWeathers{EWeather::Clear, EWeather::BrokenClouds, EWeather::BrokenClouds,
                                 EWeather::Rain};
  CSolarRoof::SProperties roof;
  roof.weather = OneOf(random, kWeathers);
  roof.phases = random.Chance(1, 4) ? 1 : 3;
  roof.peakWatt = Number(random, 3000, roof.phases == 1 ? 4600 : SDayPlan::kMostPeakWatt);
  roof.seed = random.Below(1000000);
  return roof;
}

SDaySettings MakeSettings(CRandom& random) {
  constexpr std::array<std::string_view, 4> kModes{"PureSolar", "OptimizedSolar", "MaxSolar",
                                                   "AdvancedSolar"};
  constexpr std::array<seconds, 3> kStarts{seconds(0), seconds(50), seconds(300)};
  constexpr std::array<seconds, 3> kStops{seconds(60), seconds(310), seconds(1200)};
  SDaySettings settings;
  settings.isSolarEnabled = random.Chance(5, 6);
  settings.mode = OneOf(random, kModes);
  settings.phaseSwitching = random.Chance(1, 8) ? "ForceSinglePhase" : "Automatic";
  settings.advanced.thresholds = {static_cast<std::int32_t>(random.Between(-500, 4000)),
                                  OneOf(random, kStarts), OneOf(random, kStops)};
  settings.advanced.offsetMilliAmpere = static_cast<std::int32_t>(random.Between(-1000, 8000));
  settings.advanced.gainPercent = Number(random, 50, 150);
  settings.advanced.phases = random.Chance(1, 4) ? 3 : 1;
  settings.userAmpere = random.Chance(1, 3) ? Number(random, 6, 32) : 32;
  return settings;
}

/// So that it is down from the most that it takes to nothing within this.
std::uint32_t RampFor(std::uint32_t milliAmpere, Milliseconds span) {
  return static_cast<std::uint32_t>(milliAmpere * 1000LL / span.count()) + 1;
}

CVehicle::SProperties MakeVehicle(CRandom& random, EVehicle kind) {
  CVehicle::SProperties vehicle{
      .maxMilliAmpere = OneOf<std::uint32_t>(random, std::array{16000U, 16000U, 20000U, kWholeOffer}),
      .phases = random.Chance(1, 8) ? 2U : 3U,
      .reaction = random.Between(Milliseconds(0), Milliseconds(1500)),
      .rampMilliAmperePerSecond = 0};
  vehicle.inWholeAmperes = random.Chance(1, 4);
  if (kind == EVehicle::Late || kind == EVehicle::Sluggish) {
    vehicle.reaction = random.Between(seconds(3), Milliseconds(4900));
    vehicle.rampMilliAmperePerSecond = RampFor(vehicle.maxMilliAmpere, kLongestRamp);
  } else {
    vehicle.rampMilliAmperePerSecond = RampFor(vehicle.maxMilliAmpere, Milliseconds(1500));
  }
  if (kind == EVehicle::Late) {
    vehicle.rampDownMilliAmperePerSecond =
        RampFor(vehicle.maxMilliAmpere, CVehicle::kLongestReaction - vehicle.reaction);
  }
  if (kind == EVehicle::TakesMore15) vehicle.excessPercent = 15;
  if (kind == EVehicle::TakesMore26) vehicle.excessPercent = 26;
  if (vehicle.excessPercent > 0) vehicle.maxMilliAmpere = kWholeOffer;
  vehicle.ignoresPhaseCount = kind == EVehicle::IgnoresPhases;
  if (kind == EVehicle::SinglePhase) vehicle.phases = 1;
  return vehicle;
}

SDayPlan::SVisit MakeVisit(CRandom& random, Milliseconds from) {
  constexpr std::array kKinds{EVehicle::Quick,       EVehicle::Quick,         EVehicle::Late,
                              EVehicle::Late,        EVehicle::Sluggish,      EVehicle::TakesMore15,
                              EVehicle::TakesMore26, EVehicle::IgnoresPhases, EVehicle::SinglePhase,
                              EVehicle::SinglePhase};
  constexpr std::array kCables{ipc::EPp32A, ipc::EPp32A, ipc::EPp20A,    ipc::EPp13A,
                               ipc::EPp32A, ipc::EPp20A, ipc::EPp63A70A, ipc::EPpInvalid};
  SDayPlan::SVisit visit;
  visit.from = from;
  visit.until = from + random.Between(minutes(10), hours(9));
  visit.cable = random.Chance(1, 30) ? ipc::EPpError : OneOf(random, kCables);
  visit.kind = OneOf(random, kKinds);
  visit.vehicle = MakeVehicle(random, visit.kind);
  if (random.Chance(1, 3)) visit.full = visit.from + random.Between(minutes(5), hours(6));
  return visit;
}

std::vector<SDayPlan::SVisit> MakeVisits(CRandom& random) {
  std::vector<SDayPlan::SVisit> visits;
  Milliseconds at = random.Between(minutes(1), hours(5));
  while (at < kDay) {
    visits.push_back(MakeVisit(random, at));
    at = visits.back().until + (random.Chance(1, 4) ? random.Between(seconds(2), seconds(59))
                                                    : random.Between(minutes(1), hours(3)));
  }
  return visits;
}

std::vector<SDayPlan::SChange> MakeChanges(CRandom& random) {
  std::vector<SDayPlan::SChange> changes;
  Milliseconds at = random.Between(hours(2), hours(20));
  while (at < kDay) {
    changes.push_back({at, MakeSettings(random)});
    at += random.Chance(1, 3) ? random.Between(minutes(1), hours(1)) : random.Between(hours(2), hours(12));
  }
  return changes;
}

/// Seldom is a meter away for long. Blackout protection falls back then, which the fuse bears for any time.
std::vector<SDayPlan::STrouble> MakeTroubles(CRandom& random, bool hasTransformers) {
  using ETrouble = SDayPlan::ETrouble;
  constexpr std::array kTroubles{ETrouble::MeterAway, ETrouble::MeterGarbled, ETrouble::StationMeterSilent,
                                 ETrouble::TransformersReset, ETrouble::TransformersGone};
  std::vector<SDayPlan::STrouble> troubles;
  Milliseconds at = random.Between(minutes(30), hours(12));
  while (at < kDay) {
    const Milliseconds span = random.Chance(1, 4) ? random.Between(minutes(1), minutes(50))
                                                  : random.Between(seconds(1), seconds(40));
    const ETrouble what = kTroubles[random.Index(hasTransformers ? kTroubles.size() : kTroubles.size() - 2)];
    troubles.push_back({what, at, at + span});
    at += span + random.Between(minutes(2), hours(10));
  }
  return troubles;
}

std::string_view ToText(EVehicle kind) {
  switch (kind) {
    case EVehicle::Quick:
      return "obeys quickly";
    case EVehicle::Late:
      return "obeys late";
    case EVehicle::Sluggish:
      return "sluggish";
    case EVehicle::TakesMore15:
      return "takes 15 % more";
    case EVehicle::TakesMore26:
      return "takes 26 % more";
    case EVehicle::IgnoresPhases:
      return "ignores the phases";
    case EVehicle::SinglePhase:
      return "single-phase";
  }
  return "unknown";
}

std::string_view ToText(CSolarRoof::EWeather weather) {
  switch (weather) {
    case CSolarRoof::EWeather::Clear:
      return "clear";
    case CSolarRoof::EWeather::BrokenClouds:
      return "broken clouds";
    case CSolarRoof::EWeather::Rain:
      return "rain";
  }
  return "unknown";
}

std::string_view Phases(std::uint32_t count) {
  return count == 1 ? "1 phase" : "3 phases";
}

}  // namespace

bool SDayPlan::SVisit::Obeys() const {
  const std::uint32_t ramp = vehicle.rampDownMilliAmperePerSecond.value_or(vehicle.rampMilliAmperePerSecond);
  // A vehicle that is at the least it can draw is at nothing in the next moment.
  const Milliseconds down{(vehicle.maxMilliAmpere - CVehicle::kLeastMilliAmpere) * 1000LL / ramp};
  return vehicle.excessPercent == 0 && vehicle.reaction + down <= CVehicle::kLongestReaction;
}

SDayPlan SDayPlan::Make(std::uint64_t seed) {
  constexpr std::array kMeters{SettingsKeys::kModbusTcp, SettingsKeys::kModbusTcp, SettingsKeys::kModbusRtu,
                               SettingsKeys::kModbusRtu, SettingsKeys::kModbusTcp};
  CRandom random(seed);
  SDayPlan plan;
  plan.stationPhases = random.Chance(1, 4) ? 1 : 3;
  plan.hasSocket = random.Chance(2, 3);
  plan.hardwareAmpere = random.Chance(1, 4) ? 16 : 32;
  plan.installationAmpere = OneOf(random, std::array{16U, 20U, 25U, 32U});
  plan.fuseAmpere = OneOf(random, std::array{25U, 32U, 35U, 40U});
  plan.hasTransformers = random.Chance(1, 3);
  plan.meter = OneOf(random, kMeters);
  plan.isImbalanceLimited = plan.stationPhases == 3;
  plan.imbalanceAmpere = OneOf(random, std::array{10U, 16U, 20U, 20U});
  plan.roof = MakeRoof(random);
  plan.loads = CHousehold(random.Below(1000000)).Behind(plan.fuseAmpere);
  plan.visits = MakeVisits(random);
  plan.settings = MakeSettings(random);
  plan.changes = MakeChanges(random);
  plan.troubles = MakeTroubles(random, plan.hasTransformers);
  return plan;
}

std::string SDayPlan::Summary() const {
  std::string summary =
      fmt::format("{}, roof of {} W on {}, {} on {} at {} A and a fuse of {} A, {}{}", ToText(roof.weather),
                  roof.peakWatt, Phases(roof.phases), hasSocket ? "socket" : "fixed cable",
                  Phases(stationPhases), std::min(hardwareAmpere, installationAmpere), fuseAmpere, meter,
                  hasTransformers ? " and transformers" : "");
  summary += settings.isSolarEnabled ? ", " + settings.mode : ", no solar charging";
  for (std::size_t kind = 0; kind < kVehicleKinds; ++kind) {
    const auto count = std::ranges::count(visits, static_cast<EVehicle>(kind), &SVisit::kind);
    if (count > 0) summary += fmt::format(", {} x {}", count, ToText(static_cast<EVehicle>(kind)));
  }
  return summary;
}

std::string SDayPlan::Hwinfo() const {
  return fmt::format(
      R"({{"HwMaxCurrent": {}, "HwOneOrThreePhase": {}, "HwHasSocket": {}, "HwHasMeter": {}}})",
      hardwareAmpere, stationPhases, hasSocket, hasStationMeter);
}

std::string SDayPlan::Settings(const SDaySettings& inForce) const {
  const std::string parameters = MeterParametersInSettings(meter);
  return fmt::format(R"({{"CurrentCtrlFixedChargeCurrentLimit": {},
"CurrentCtrlBopEnable": {},
"CurrentCtrlBopFuseRating": {},
"CurrentCtrlBopCtType": "C-CT-16",
"BopSource": "{}",
"BopSourceParameters": "{}",
"SolarChargingSource": "{}",
"SolarChargingSourceParameters": "{}",
"VDEPhaseImbalanceEnable": {},
"VDEPhaseImbalanceLimit": {},
{}}})",
                     installationAmpere, isFuseProtected, fuseAmpere,
                     hasTransformers ? SettingsKeys::kCurrentTransformers : std::string_view(meter),
                     hasTransformers ? "" : parameters, meter, parameters, isImbalanceLimited,
                     imbalanceAmpere, inForce.ToJsonMembers());
}
