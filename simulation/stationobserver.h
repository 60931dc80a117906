#pragma once

#include <cstdint>
#include <optional>

#include "ipc/currentcontrol.service.h"

#include "simulation/stationmoment.h"
#include "simulation/virtualstation.h"

/// Looks at a station that runs in virtual time. It asks the service itself who decides, whenever there is a
/// new setpoint. One thread.
class CStationObserver {
 public:
  explicit CStationObserver(CVirtualStation& station);

  SStationMoment Look();
  /// The limit, in mA, that the service has stored for a source; none: there is no such limit.
  std::optional<std::int32_t> LimitOf(ipc::ECurrentControlSource source);

 private:
  void NoteSetpoint(SStationMoment& moment);

  CVirtualStation& mStation;
  ipc::CCurrentControlClient mCurrentControl;
  std::optional<TimePoint> mExplained;  ///< the setpoint whose sources are known, by its arrival
  ipc::ECurrentControlSource mSource{};
  ipc::ECurrentControlSource mPhaseSource{};
};
