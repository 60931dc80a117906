#include "src/components/phaseconfig.h"

#include <utility>

#include "platform/koconfig/koconfig.h"
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
  return mHwinfo->GetUnsigned(SettingsKeys::kOneOrThreePhase, 1) == 3 ? 3 : 1;
}
