#pragma once

#include "simulation/dayrule.h"

/// The setpoint is never above what hardware, installation and user allow, nor above the rating of the cable
/// that is plugged in at a socket. A second is left to tell of another cable or setting.
class COfferedCurrentRule final : public CDayRule {
 public:
  explicit COfferedCurrentRule(Report report)
      : CDayRule("the setpoint is within hardware, installation, user's limit and cable", std::move(report)) {
  }

  void OnSetpoint(Milliseconds at, std::uint32_t milliAmpere, std::uint32_t phases) override;
  void OnMoment(const SStationMoment& moment, const SDaySituation& situation) override;

 private:
  std::uint32_t mHighest = 0;        ///< mA of the setpoints since the last moment
  std::uint32_t mAllowedBefore = 0;  ///< mA, at that moment
  bool mIsBroken = false;
};
