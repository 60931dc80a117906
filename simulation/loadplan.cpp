#include "simulation/loadplan.h"

#include <algorithm>

namespace {

using std::chrono::seconds;

constexpr std::int64_t kMilliAmperePerAmpere = 1000;
constexpr std::int64_t kMarginMilliAmpere = 100;

}  // namespace

void CLoadPlan::AddStep(const SAppliance& appliance) {
  Add(appliance, appliance.begin, appliance.milliAmpere);
  Add(appliance, appliance.end, -appliance.milliAmpere);
}

void CLoadPlan::AddRamp(const SAppliance& appliance, std::int64_t steps) {
  steps = std::min<std::int64_t>(steps, (appliance.end - appliance.begin) / seconds(1));
  for (std::int64_t i = 0; i < steps; ++i) {
    Add(appliance, appliance.begin + seconds(i), appliance.milliAmpere / steps);
  }
  Add(appliance, appliance.end, -steps * (appliance.milliAmpere / steps));
}

void CLoadPlan::AddBursts(const SAppliance& appliance, Milliseconds on, Milliseconds off) {
  for (Milliseconds at = appliance.begin; at + on < appliance.end; at += on + off) {
    AddStep({appliance.phase, appliance.milliAmpere, at, at + on});
  }
}

void CLoadPlan::Add(const SAppliance& appliance, Milliseconds at, std::int64_t milliAmpere) {
  Change& change = mChanges[at];
  for (std::size_t phase = 0; phase < change.size(); ++phase) {
    if (appliance.phase == phase || appliance.phase == CVehicle::kPhases) change[phase] += milliAmpere;
  }
}

std::vector<SLoads> CLoadPlan::Behind(std::uint32_t fuseAmpere) const {
  const std::int64_t most = fuseAmpere * kMilliAmperePerAmpere - kMarginMilliAmpere;
  std::vector<SLoads> loads;
  Change sum{};
  for (const auto& [at, change] : mChanges) {
    CVehicle::Currents milliAmpere{};
    for (std::size_t phase = 0; phase < sum.size(); ++phase) {
      sum[phase] += change[phase];
      milliAmpere[phase] = static_cast<std::uint32_t>(std::min(sum[phase], most));
    }
    loads.push_back({at, milliAmpere});
  }
  return loads;
}
