#pragma once

#include <optional>

#include "platform/utility/mutex.h"
#include "platform/worker/worker.h"
#include "src/components/loadbalancing/ilbphasehandler.h"
#include "src/components/loadbalancing/lbmessage.h"
#include "src/rpc/clients/stationmeter.h"

/// Watches the station's meter for the group, each second while phases are being found.
class CLbPhaseHandler final : public ILbPhaseHandler {
 public:
  /// A phase draws when its current is above this, in mA.
  static constexpr std::int32_t kDrawingMilliAmpere{kLbDrawingMilliAmpere};
  /// The phases are found when the vehicle has drawn without a break for this time, in ms.
  static constexpr Milliseconds kDiscoverySpan{10000};

  CLbPhaseHandler(IScheduler& scheduler, StationMeter meter);
  ~CLbPhaseHandler() override;

  void SetLimit(std::uint32_t milliAmpere, bool isPhaseDiscovery) override;
  std::uint8_t GetReport() override;

 private:
  enum class EDiscovery { None, Running, Done };

  /// The phases that draw now, as bits of the report.
  std::uint8_t DrawingPhases() const;
  void StartSampling();
  void Sample();
  EDiscovery Advance(bool isDrawing);

  const IClock& mClock;
  const StationMeter mMeter;
  CMutex mMutex;
  bool mIsAsked GUARDED_BY(mMutex) = false;
  EDiscovery mDiscovery GUARDED_BY(mMutex) = EDiscovery::None;
  std::optional<TimePoint> mDrawingSince GUARDED_BY(mMutex);  // of the discovery that is running
  CCallHandle mSampling;                                      // the worker's
  CWorker mWorker;
};
