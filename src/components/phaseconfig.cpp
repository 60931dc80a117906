#include "src/components/phaseconfig.h"

#include <utility>

#include "platform/koconfig/koconfig.h"
#include "platform/log/log.h"
#include "src/components/settingskeys.h"

CPhaseConfig::CPhaseConfig(const std::shared_ptr<KoConfig::IConfig>& /*settings*/,
                           std::shared_ptr<KoConfig::IReadOnlyConfig> hwinfo)
    : mHwinfo(std::move(hwinfo)) {}

bool CPhaseConfig::IsSinglePhaseSupported() const {
  return true;
}

bool CPhaseConfig::IsThreePhaseSupported() const {
  return DefaultPhaseCount() == 3;
}

std::uint8_t CPhaseConfig::DefaultPhaseCount() const {
  const std::uint32_t phases = mHwinfo->GetUnsigned(SettingsKeys::kOneOrThreePhase, 1);
  if (phases != 1 && phases != 3 && !mIsWarned.exchange(true)) {
    LOG_WARNING("{} is set to {} in hwinfo.json, neither 1 nor 3: charging on one phase",
                SettingsKeys::kOneOrThreePhase, phases);
  }
  return phases == 3 ? 3 : 1;
}
