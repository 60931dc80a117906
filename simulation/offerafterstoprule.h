#pragma once

#include "simulation/dayrule.h"

/// After a stop nothing is offered and nothing flows until the vehicle is unplugged.
class COfferAfterStopRule final : public CDayRule {
 public:
  explicit COfferAfterStopRule(Report report)
      : CDayRule("after a stop nothing is offered until the vehicle is unplugged", std::move(report)) {}

  void OnMoment(const SStationMoment& moment, const SDaySituation& situation) override;

 private:
  bool mIsBroken = false;
};
