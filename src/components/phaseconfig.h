#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

namespace KoConfig {
class IConfig;
class IReadOnlyConfig;
}  // namespace KoConfig

/// On how many phases the station can charge, and may. Any thread.
///
/// The hardware description says what the board can do: "HwOneOrThreePhase" how many phases it has, and
/// "HwHasPhaseSwitching" whether it can close one of three alone. Boards can, and say nothing, unless a
/// single contactor closes all their poles together. The settings say what the electrician wired:
/// "ConnectedPhases" is a mask of the phases that are connected (1 = L1, 2 = L2, 4 = L3), 0 when nobody said.
class CPhaseConfig {
 public:
  CPhaseConfig(std::shared_ptr<KoConfig::IConfig> settings,
               std::shared_ptr<KoConfig::IReadOnlyConfig> hwinfo);

  /// Whether one phase can be closed alone, and so whether phases can be switched where there are three.
  bool IsSinglePhaseSupported() const;
  bool IsThreePhaseSupported() const;
  /// Whether it makes sense to charge on more than one phase: the board has three and not only one is wired.
  /// A mask that is none counts as not said, with one warning.
  bool IsMultiPhaseAllowed() const;
  /// 1 or 3: as many as the hardware has; 1, and one warning, when its description says neither.
  std::uint8_t DefaultPhaseCount() const;

 private:
  const std::shared_ptr<KoConfig::IConfig> mSettings;
  const std::shared_ptr<KoConfig::IReadOnlyConfig> mHwinfo;
  mutable std::atomic<bool> mIsWarnedOfCount{false};
  mutable std::atomic<bool> mIsWarnedOfMask{false};
};
