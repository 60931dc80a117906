#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

#include "ipc/basiccharge2.service.h"

#include "platform/utility/mutex.h"
#include "platform/worker/scheduler.h"
#include "simulation/chargepoint.h"

/// Charge control: offers to the vehicle what current control asks for, unless told to refuse. Any thread.
class CSimulatedBasicCharge final : public ipc::IBasicCharge2 {
 public:
  /// A setpoint as it arrived, taken or not.
  struct SArrival {
    TimePoint when;
    std::uint32_t milliAmpere = 0;
    std::uint32_t phases = 0;
    bool taken = false;
  };
  using ArrivalCallback = std::function<void(const SArrival&)>;

  CSimulatedBasicCharge(const IClock& clock, CChargePoint& chargePoint);

  /// Called with every setpoint on the thread that brings it. Set before the host starts.
  void OnArrival(ArrivalCallback callback) { mOnArrival = std::move(callback); }
  /// Empty before the first.
  std::optional<SArrival> LastArrival() const;

  /// While it refuses, every setpoint is answered 1 and the vehicle keeps the offer that it has.
  void Refuse(bool refuse) { mRefuse = refuse; }

  /// Notifies the charging state when it is another one than before.
  void TellChargingState(CVehicle::EState state);

  ipc::MResult SetChargeCurrent(const ipc::MChargeCurrent& request) override;
  /// Opens the relay: no current until the plug is pulled.
  ipc::MResult StopCharging(const ipc::MEmpty& request) override;
  Rpc::CNotifier<ipc::MChargingState>& ChargingStateNotifications() override { return mChargingState; }

 private:
  const IClock& mClock;
  CChargePoint& mChargePoint;
  ArrivalCallback mOnArrival;
  std::atomic<bool> mRefuse{false};
  Rpc::CNotifier<ipc::MChargingState> mChargingState;
  mutable CMutex mMutex;
  std::optional<SArrival> mLastArrival GUARDED_BY(mMutex);
  std::optional<ipc::EChargingState> mToldState GUARDED_BY(mMutex);
};
