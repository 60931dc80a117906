#include "src/components/phaseconfig.h"

#include <bit>
#include <utility>

#include "platform/koconfig/koconfig.h"
#include "platform/log/log.h"
#include "src/components/settingskeys.h"

namespace {

constexpr std::uint32_t kAllPhases = 0b111;

}  // namespace

CPhaseConfig::CPhaseConfig(std::shared_ptr<KoConfig::IConfig> settings,
                           std::shared_ptr<KoConfig::IReadOnlyConfig> hwinfo)
    : mSettings(std::move(settings)), mHwinfo(std::move(hwinfo)) {}

bool CPhaseConfig::IsSinglePhaseSupported() const {
  return DefaultPhaseCount() == 1 || mHwinfo->GetBool(SettingsKeys::kHasPhaseSwitching, true);
}

bool CPhaseConfig::IsThreePhaseSupported() const {
  return DefaultPhaseCount() == 3;
}

bool CPhaseConfig::IsMultiPhaseAllowed() const {
  const std::uint32_t connected = mSettings->GetUnsigned(SettingsKeys::kConnectedPhases, 0);
  if (connected > kAllPhases && !mIsWarnedOfMask.exchange(true)) {
    LOG_WARNING("{} is set to {} in settings.json, no mask of three phases: taken as not said",
                SettingsKeys::kConnectedPhases, connected);
  }
  const bool isOneWired = connected <= kAllPhases && std::popcount(connected) == 1;
  return IsThreePhaseSupported() && !isOneWired;
}

std::uint8_t CPhaseConfig::DefaultPhaseCount() const {
  const std::uint32_t phases = mHwinfo->GetUnsigned(SettingsKeys::kOneOrThreePhase, 1);
  if (phases != 1 && phases != 3 && !mIsWarnedOfCount.exchange(true)) {
    LOG_WARNING("{} is set to {} in hwinfo.json, neither 1 nor 3: charging on one phase",
                SettingsKeys::kOneOrThreePhase, phases);
  }
  return phases == 3 ? 3 : 1;
}
