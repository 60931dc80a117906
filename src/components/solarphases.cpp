#include "src/components/solarphases.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/log/log.h"
#include "src/components/currentcontrolconfig.h"
#include "src/components/solarsurplus.h"
#include "src/limitationsources/limits.h"

namespace {

constexpr std::uint8_t kOnePhase = 1;
constexpr std::uint8_t kThreePhases = 3;

constexpr std::int64_t kMilliWattPerWatt = 1000;
/// mW that the surplus must fall, or rise, further before the phases are switched back.
constexpr float kHysteresis = 1e6F;

constexpr float kRunSeconds = std::chrono::duration<float>(CSolarPhases::kRunPeriod).count();
constexpr float kFilterSeconds = 1200.0F;

constexpr auto kForceSinglePhase = "ForceSinglePhase";

/// mW from which on three phases can be served, beside what may come from the grid on each.
std::int64_t EnoughForThree(const SSolarSurplus& surplus, const SSolarStrategy& strategy) {
  constexpr std::int64_t kLeast = std::int64_t{kThreePhases} * kLeastChargingMilliAmpere;
  return (kLeast - strategy.CurrentOffset / kThreePhases) * surplus.volt;
}

/// mW below which the phases that the vehicle uses cannot, beside all that may come from the grid.
std::int64_t LeastToStay(const SSolarSurplus& surplus, const SSolarStrategy& strategy) {
  const int phases = std::max<int>(surplus.measuredPhases, kOnePhase);
  return phases * (std::int64_t{kLeastChargingMilliAmpere} - strategy.CurrentOffset / phases) * surplus.volt;
}

/// Of the newest surplus in the filtered one. Not above 1, which would make the filter swing ever wider.
float Weight(std::uint8_t runs) {
  return std::min(static_cast<float>(runs) * kRunSeconds / kFilterSeconds, 1.0F);
}

}  // namespace

CSolarPhases::CSolarPhases(std::shared_ptr<CCurrentControlConfig> config) : mConfig(std::move(config)) {}

std::uint8_t CSolarPhases::Decide(std::uint8_t wanted, const SSolarStrategy& strategy) {
  if (strategy.Phases == kThreePhases) {
    NoteForced(false);
    return mConfig->IsMultiPhaseAllowed() ? kThreePhases : kOnePhase;
  }
  NoteForced(mConfig->GetSolarPhaseSwitchingMode() == kForceSinglePhase && mConfig->IsSinglePhaseSupported());
  if (mIsForced) return kOnePhase;
  if (wanted == mDesired) return wanted;
  if (wanted > kOnePhase && !mConfig->IsMultiPhaseAllowed()) wanted = kOnePhase;
  wanted = std::clamp(wanted, kOnePhase, kThreePhases);
  if (wanted != mDesired) {
    LOG_DEBUG("On next set limit, updating desired phases to: {}, current desired phases = {}", wanted,
              mDesired);
  }
  return wanted;
}

void CSolarPhases::NoteForced(bool forced) {
  if (forced && !mIsForced) LOG_INFO("Forcing 1 phase");
  mIsForced = forced;
}

std::uint8_t CSolarPhases::DecideBeforeStart(const SSolarSurplus& surplus, const SSolarStrategy& strategy) {
  const std::int64_t available = surplus.watt * kMilliWattPerWatt;
  const std::int64_t enough = EnoughForThree(surplus, strategy);
  const bool isEnough = enough < available;
  mFilteredSurplus = isEnough ? static_cast<float>(enough) + kHysteresis : static_cast<float>(available);
  return Decide(isEnough ? kThreePhases : kOnePhase, strategy);
}

std::uint8_t CSolarPhases::DecideWhileCharging(const SSolarSurplus& surplus, const SSolarStrategy& strategy,
                                               std::uint8_t runs) {
  const auto available = static_cast<float>(surplus.watt * kMilliWattPerWatt);
  mFilteredSurplus += Weight(runs) * (available - mFilteredSurplus);
  if (mDesired == kOnePhase && mFilteredSurplus > static_cast<float>(EnoughForThree(surplus, strategy))) {
    return Switch(kThreePhases, kHysteresis, strategy);
  }
  if (mDesired == kThreePhases && mFilteredSurplus < static_cast<float>(LeastToStay(surplus, strategy))) {
    return Switch(kOnePhase, -kHysteresis, strategy);
  }
  return Decide(mDesired, strategy);
}

std::uint8_t CSolarPhases::Switch(std::uint8_t phases, float hysteresis, const SSolarStrategy& strategy) {
  const std::uint8_t decided = Decide(phases, strategy);
  // Without a switch it would add up, run by run.
  if (decided != mDesired) mFilteredSurplus += hysteresis;
  return decided;
}
