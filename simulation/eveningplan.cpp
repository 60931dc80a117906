#include "simulation/eveningplan.h"

#include <algorithm>
#include <array>
#include <map>

#include "simulation/random.h"
#include "src/limitationsources/limits.h"

namespace {

using std::chrono::duration_cast;
using std::chrono::seconds;

/// mA by which the household stays below the fuse.
constexpr std::int64_t kMargin = 100;
/// mA that are always on, on each phase.
constexpr std::int64_t kMostBase = 1000;

/// By how much the load of each phase changes at a moment, in mA.
using Change = std::array<std::int64_t, CVehicle::kPhases>;
using Changes = std::map<Milliseconds, Change>;

/// Something that is switched on on one phase, or on all three.
struct SAppliance {
  std::size_t phase;  ///< kPhases: all
  std::int64_t milliAmpere;
  Milliseconds begin;
  Milliseconds end;
};

Milliseconds Between(CRandom& random, Milliseconds shortest, Milliseconds longest) {
  return Milliseconds(random.Between(shortest.count(), longest.count()));
}

template <std::size_t kCount>
std::uint32_t OneOf(CRandom& random, const std::array<std::uint32_t, kCount>& values) {
  return values[random.Index(kCount)];
}

void Add(Changes& changes, const SAppliance& appliance, Milliseconds at, std::int64_t milliAmpere) {
  Change& change = changes[at];
  for (std::size_t phase = 0; phase < change.size(); ++phase) {
    if (appliance.phase == phase || appliance.phase == CVehicle::kPhases) change[phase] += milliAmpere;
  }
}

void AddStep(Changes& changes, const SAppliance& appliance) {
  Add(changes, appliance, appliance.begin, appliance.milliAmpere);
  Add(changes, appliance, appliance.end, -appliance.milliAmpere);
}

/// Grows every second until it is at its full current, and goes off at its end.
void AddRamp(CRandom& random, Changes& changes, const SAppliance& appliance) {
  const std::int64_t steps =
      std::min<std::int64_t>(random.Between(5, 60), (appliance.end - appliance.begin) / seconds(1));
  for (std::int64_t i = 0; i < steps; ++i) {
    Add(changes, appliance, appliance.begin + seconds(i), appliance.milliAmpere / steps);
  }
  Add(changes, appliance, appliance.end, -steps * (appliance.milliAmpere / steps));
}

/// On and off, as a hob or a pump.
void AddBursts(CRandom& random, Changes& changes, const SAppliance& appliance) {
  const Milliseconds on = Between(random, Milliseconds(500), seconds(20));
  const Milliseconds off = Between(random, Milliseconds(500), seconds(20));
  for (Milliseconds at = appliance.begin; at + on < appliance.end; at += on + off) {
    AddStep(changes, {appliance.phase, appliance.milliAmpere, at, at + on});
  }
}

void AddAppliance(CRandom& random, Changes& changes, std::uint32_t fuseAmpere) {
  SAppliance appliance{};
  appliance.phase = random.Chance(1, 4) ? CVehicle::kPhases : random.Index(CVehicle::kPhases);
  appliance.milliAmpere = random.Between(500, std::int64_t{fuseAmpere} * kMilliAmperePerAmpere);
  appliance.begin = Between(random, seconds(10), SEveningPlan::kCalm - seconds(10));
  appliance.end = std::min(SEveningPlan::kCalm, appliance.begin + Between(random, seconds(5), seconds(400)));
  switch (random.Below(3)) {
    case 0:
      return AddStep(changes, appliance);
    case 1:
      return AddRamp(random, changes, appliance);
    default:
      return AddBursts(random, changes, appliance);
  }
}

std::vector<SEveningPlan::SLoads> MakeLoads(CRandom& random, std::uint32_t fuseAmpere) {
  Changes changes;
  std::ranges::generate(changes[Milliseconds(0)], [&random] { return random.Between(0, kMostBase); });
  for (std::int64_t count = random.Between(3, 20); count > 0; --count) {
    AddAppliance(random, changes, fuseAmpere);
  }
  const std::int64_t most = std::int64_t{fuseAmpere} * kMilliAmperePerAmpere - kMargin;
  std::vector<SEveningPlan::SLoads> loads;
  Change sum{};
  for (const auto& [at, change] : changes) {
    SEveningPlan::Currents milliAmpere{};
    for (std::size_t phase = 0; phase < sum.size(); ++phase) {
      sum[phase] += change[phase];
      milliAmpere[phase] = static_cast<std::uint32_t>(std::min(sum[phase], most));
    }
    loads.push_back({at, milliAmpere});
  }
  return loads;
}

std::vector<SEveningPlan::STrouble> MakeTroubles(CRandom& random) {
  using ETrouble = SEveningPlan::ETrouble;
  constexpr std::array kTroubles{ETrouble::Reset, ETrouble::ResetAndRefuse, ETrouble::Vanish};
  std::vector<SEveningPlan::STrouble> troubles;
  Milliseconds at = Between(random, seconds(0), seconds(600));
  while (at < SEveningPlan::kCalm - seconds(60) && !random.Chance(1, 5)) {
    troubles.push_back({at, kTroubles[random.Index(kTroubles.size())]});
    at += Between(random, seconds(1), seconds(40));
    troubles.push_back({at, ETrouble::Recover});
    at += Between(random, seconds(60), seconds(600));
  }
  return troubles;
}

std::vector<SEveningPlan::SPlug> MakePlugs(CRandom& random) {
  std::vector<SEveningPlan::SPlug> plugs;
  Milliseconds at = Between(random, seconds(60), seconds(900));
  while (at < SEveningPlan::kCalm - seconds(60) && random.Chance(1, 2)) {
    plugs.push_back({at, false});
    at += Between(random, seconds(1), seconds(59));
    plugs.push_back({at, true});
    at += Between(random, seconds(60), seconds(900));
  }
  return plugs;
}

}  // namespace

SEveningPlan SEveningPlan::Make(std::uint64_t seed) {
  CRandom random(seed);
  SEveningPlan plan;
  plan.fuseAmpere = OneOf<5>(random, {20, 25, 32, 35, 40});
  plan.installationAmpere = OneOf<4>(random, {16, 20, 25, 32});
  plan.stationPhases = random.Chance(1, 4) ? 1 : 3;
  plan.vehicle = {.maxMilliAmpere = static_cast<std::uint32_t>(random.Between(6, 32)) * kMilliAmperePerAmpere,
                  .phases = random.Chance(1, 2) ? 1U : 3U,
                  .reaction = Between(random, Milliseconds(0), CVehicle::kLongestReaction),
                  .rampMilliAmperePerSecond = static_cast<std::uint32_t>(random.Between(1000, 10000))};
  plan.loads = MakeLoads(random, plan.fuseAmpere);
  plan.troubles = MakeTroubles(random);
  plan.plugs = MakePlugs(random);
  return plan;
}
