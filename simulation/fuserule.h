#pragma once

#include "simulation/dayrule.h"

/// The main fuse holds, whoever charges, as long as the vehicle obeys.
class CFuseRule final : public CDayRule {
 public:
  explicit CFuseRule(Report report)
      : CDayRule("the main fuse holds while vehicles obey", std::move(report)) {}

  void OnMoment(const SStationMoment& moment, const SDaySituation& situation) override;

 private:
  bool mHadTripped = false;
};
