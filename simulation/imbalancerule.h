#pragma once

#include <optional>

#include "simulation/dayrule.h"

/// The apparent power of the phases, from the currents that the station's meter measures at its 230 V, never
/// differs by more than the limit for a minute after the first balancing run that sees it. That run is at
/// most 1 s for the meter and four updates of 1250 ms away, so 66 s in all: the samples of a minute are all
/// above the limit by then, and a run finds their average above it.
class CImbalanceRule final : public CDayRule {
 public:
  static constexpr Milliseconds kLongest{66000};

  explicit CImbalanceRule(Report report)
      : CDayRule("imbalance above the limit lasts less than a minute", std::move(report)) {}

  void OnMoment(const SStationMoment& moment, const SDaySituation& situation) override;

 private:
  std::optional<Milliseconds> mSince;
};
