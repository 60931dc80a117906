#pragma once

#include "src/components/loadbalancing/ilbphasehandler.h"
#include "src/rpc/clients/stationmeter.h"

/// Watches the station's meter for the group, each second while phases are being found.
class CLbPhaseHandler final : public ILbPhaseHandler {
 public:
  /// More is drawing.
  static constexpr std::int32_t kDrawingMilliAmpere = 1000;
  /// For so long without a break the vehicle has to draw.
  static constexpr Milliseconds kDiscoverySpan{10000};

  CLbPhaseHandler(IScheduler& scheduler, StationMeter meter);
  ~CLbPhaseHandler() override;

  void SetLimit(std::uint32_t milliAmpere, bool isPhaseDiscovery) override;
  std::uint8_t GetReport() override;
};
