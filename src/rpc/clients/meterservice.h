#pragma once

#include <memory>
#include <optional>

#include "ipc/meter.service.h"

#include "platform/utility/mutex.h"
#include "platform/worker/worker.h"
#include "src/rpc/clients/stationmeter.h"

/// The station's own meter, which measures what the vehicle draws. `Newest` from any thread, `Enable` and
/// `Disable` one at a time.
class CMeterService {
 public:
  struct SSample {
    SStationMeterData values;
    Milliseconds age;
  };

  CMeterService(IScheduler& scheduler, const std::shared_ptr<Rpc::CClient>& client);
  ~CMeterService();

  /// How long a meter that could not be enabled is left alone before the next attempt.
  static constexpr Milliseconds kRetryInterval{5000};

  /// Has the meter deliver values, now and whenever it comes back.
  void Enable();
  void Disable();

  /// The newest values; none before the first and when the meter has fallen silent.
  std::optional<SSample> Newest() const;
  /// The same for those who do not care for the age. Must not outlive this object.
  StationMeter Reader() const;

 private:
  /// On the worker; goes on until the meter agrees or the link is lost.
  void EnablePeer();

  struct SReceived {
    SStationMeterData values;
    TimePoint at;
  };

  const IClock& mClock;
  ipc::CMeterClient mPeer;
  mutable CMutex mMutex;
  std::optional<SReceived> mNewest GUARDED_BY(mMutex);
  bool mIsRefused = false;  // which was told; on the worker
  CCallHandle mRetry;       // on the worker
  CWorker mWorker;
  Rpc::Subscription mSubscription;
};
