#pragma once

#include "simulation/dayrule.h"

/// A vehicle that obeys, at or below its new limit within 5 s, is never stopped for drawing too much.
class CObedienceRule final : public CDayRule {
 public:
  explicit CObedienceRule(Report report)
      : CDayRule("a vehicle that obeys is not stopped by overcurrent protection", std::move(report)) {}

  void OnMoment(const SStationMoment& moment, const SDaySituation& situation) override;

 private:
  bool mWasStopped = false;
};
