#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

namespace KoConfig {
class IConfig;
class IReadOnlyConfig;
}  // namespace KoConfig

/// On how many phases the station can charge. Any thread.
///
/// Only "HwOneOrThreePhase" of the hardware description decides: relays for three phases can switch one as
/// well. The settings have no say: "ConnectedPhases", their one key about phases, is a code for how the
/// installation is wired and says how measurements map to phases, not how many there are.
class CPhaseConfig {
 public:
  CPhaseConfig(const std::shared_ptr<KoConfig::IConfig>& settings,
               std::shared_ptr<KoConfig::IReadOnlyConfig> hwinfo);

  bool IsSinglePhaseSupported() const;
  bool IsThreePhaseSupported() const;
  /// 1 or 3: as many as the hardware has; 1, and one warning, when its description says neither.
  std::uint8_t DefaultPhaseCount() const;

 private:
  const std::shared_ptr<KoConfig::IReadOnlyConfig> mHwinfo;
  mutable std::atomic<bool> mIsWarned{false};
};
