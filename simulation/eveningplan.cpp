#include "simulation/eveningplan.h"

#include <algorithm>
#include <array>

#include "simulation/random.h"
#include "src/limitationsources/limits.h"

namespace {

using std::chrono::seconds;

/// mA that are always on, on each phase.
constexpr std::int64_t kMostBase = 1000;

template <std::size_t kCount>
std::uint32_t OneOf(CRandom& random, const std::array<std::uint32_t, kCount>& values) {
  return values[random.Index(kCount)];
}

void AddAppliance(CRandom& random, CLoadPlan& loads, std::uint32_t fuseAmpere) {
  SAppliance appliance{};
  appliance.phase = random.Chance(1, 4) ? CVehicle::kPhases : random.Index(CVehicle::kPhases);
  appliance.milliAmpere = random.Between(500, std::int64_t{fuseAmpere} * kMilliAmperePerAmpere);
  appliance.begin = random.Between(seconds(10), SEveningPlan::kCalm - seconds(10));
  appliance.end = std::min(SEveningPlan::kCalm, appliance.begin + random.Between(seconds(5), seconds(400)));
  const std::uint64_t kind = random.Below(3);
  if (kind == 0) return loads.AddStep(appliance);
  if (kind == 1) return loads.AddRamp(appliance, random.Between(5, 60));
  const Milliseconds on = random.Between(Milliseconds(500), seconds(20));
  const Milliseconds off = random.Between(Milliseconds(500), seconds(20));
  loads.AddBursts(appliance, on, off);
}

std::vector<SLoads> MakeLoads(CRandom& random, std::uint32_t fuseAmpere) {
  CLoadPlan::Change base{};
  std::ranges::generate(base, [&random] { return random.Between(0, kMostBase); });
  CLoadPlan loads(base);
  for (std::int64_t count = random.Between(3, 20); count > 0; --count) {
    AddAppliance(random, loads, fuseAmpere);
  }
  return loads.Behind(fuseAmpere);
}

std::vector<SEveningPlan::STrouble> MakeTroubles(CRandom& random) {
  using ETrouble = SEveningPlan::ETrouble;
  constexpr std::array kTroubles{ETrouble::Reset, ETrouble::ResetAndRefuse, ETrouble::Vanish};
  std::vector<SEveningPlan::STrouble> troubles;
  Milliseconds at = random.Between(seconds(0), seconds(600));
  while (at < SEveningPlan::kCalm - seconds(60) && !random.Chance(1, 5)) {
    troubles.push_back({at, kTroubles[random.Index(kTroubles.size())]});
    at += random.Between(seconds(1), seconds(40));
    troubles.push_back({at, ETrouble::Recover});
    at += random.Between(seconds(60), seconds(600));
  }
  return troubles;
}

std::vector<SEveningPlan::SPlug> MakePlugs(CRandom& random) {
  std::vector<SEveningPlan::SPlug> plugs;
  Milliseconds at = random.Between(seconds(60), seconds(900));
  while (at < SEveningPlan::kCalm - seconds(60) && random.Chance(1, 2)) {
    plugs.push_back({at, false});
    at += random.Between(seconds(1), seconds(59));
    plugs.push_back({at, true});
    at += random.Between(seconds(60), seconds(900));
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
                  .reaction = random.Between(Milliseconds(0), CVehicle::kLongestReaction),
                  .rampMilliAmperePerSecond = static_cast<std::uint32_t>(random.Between(1000, 10000))};
  plan.loads = MakeLoads(random, plan.fuseAmpere);
  plan.troubles = MakeTroubles(random);
  plan.plugs = MakePlugs(random);
  return plan;
}
