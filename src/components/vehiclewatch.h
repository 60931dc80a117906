#pragma once

#include <functional>
#include <optional>
#include <string>

#include "ipc/basiccharge2.pb.h"

#include "platform/utility/mutex.h"
#include "platform/worker/deadman.h"
#include "platform/worker/worker.h"

/// Looks at the vehicle once per period while it is enabled. Once the vehicle has to be stopped nobody looks
/// any more until it is unplugged; then it begins anew.
///
/// Any thread, without waiting, unless said otherwise. What it calls it calls on its worker, which ends first
/// if it is the last member of its owner.
class CVehicleWatch {
 public:
  struct SCalls {
    std::function<void()> look;
    /// What was measured is no more to be counted: nobody looked for a while, or the vehicle is gone.
    std::function<void()> forget;
    /// The vehicle that was stopped is unplugged. `HasStopped` is false by then.
    std::function<void()> unplugged;
  };

  /// The worker lives from here to the end.
  CVehicleWatch(IScheduler& scheduler, const std::string& name, Milliseconds period, SCalls calls);

  /// Looks for the first time one period from now, also if it is enabled already.
  void Enable();
  /// Looks and what was measured end; a look that is about to begin may still come.
  void Disable();
  bool IsEnabled() const;
  void SetChargingState(ipc::EChargingState state);
  /// Nobody draws anything then, though the station's meter may not have said so yet. What is measured later
  /// counts again: charge control may have fallen silent, and somebody be plugged by now.
  bool IsVehicleGone() const;

  /// Ends the looks. On the worker only.
  void Stop();
  /// From the stop until the vehicle is unplugged.
  bool HasStopped() const;

  CWorker& Worker() { return mWorker; }

 private:
  // On the worker.
  void Begin();
  void End();
  void OnNoVehicle();

  const IClock& mClock;
  const Milliseconds mPeriod;
  const SCalls mCalls;
  mutable CMutex mMutex;
  bool mIsEnabled GUARDED_BY(mMutex) = false;
  bool mHasStopped GUARDED_BY(mMutex) = false;
  /// Happens when it goes; none while there is one.
  std::optional<CDeadman> mGone GUARDED_BY(mMutex);
  CCallHandle mLooking;
  CWorker mWorker;
};
