#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "ipc/basiccharge2.service.h"

#include "platform/utility/mutex.h"
#include "platform/worker/worker.h"

/// Charge control as the current limiter needs it. Any thread.
class IChargeControlService {
 public:
  virtual ~IChargeControlService() = default;

  /// Tells charge control what the vehicle may draw, in mA on 1 or 3 phases. Waits for the answer, at most a
  /// second. Code 1 is failure: the peer refused or could not be reached.
  virtual ipc::MResult SetChargeCurrent(std::uint32_t milliAmpere, std::uint8_t phases) = 0;

  /// Hands the newest setpoint over once more unless charge control has taken it. Code as `SetChargeCurrent`;
  /// 1 when there is no setpoint yet.
  virtual ipc::MResult EnsureTaken() = 0;

  /// Tells charge control to end charging until the vehicle is unplugged. Waits for the answer, at most a
  /// second. Never lost: whoever cannot be reached is told later, unless the vehicle is gone by then.
  virtual void StopCharging() = 0;
};

/// The charge-control peer.
///
/// The arbiter says a setpoint once. A peer that was away, hung or started anew in the meantime would go on
/// with whatever it had, so this link hands the newest setpoint over again until the peer has taken it or
/// refused it. So it does with a stop, which no setpoint takes back.
/// `Connect` and `Disconnect` one at a time; the rest from any thread.
class CChargeControlService final : public IChargeControlService {
 public:
  using TakenCallback = std::function<void(std::uint32_t milliAmpere, std::uint32_t phases)>;

  /// How long an undelivered setpoint or stop waits before the next attempt.
  static constexpr Milliseconds kRetryInterval{2000};

  /// Timeout of the client to be given. Whatever is handed over waits for another attempt to end first; both
  /// together stay below the second that a client of ours waits.
  static constexpr Milliseconds kTimeout{400};

  CChargeControlService(IScheduler& scheduler, const std::shared_ptr<Rpc::CClient>& client);
  ~CChargeControlService() override;

  /// Called with every setpoint that charge control has taken, and with a raised one that it may have taken
  /// without an answer, under this object's lock on the thread that handed it over: must neither wait nor
  /// call back. Set before the first setpoint; an empty one ends it,
  /// and the former one does not run any more then.
  void OnTaken(TakenCallback taken) EXCLUDES(mMutex);

  /// Begins to follow the peer and to retry. `chargingState` is called on a thread of the RPC framework.
  void Connect(std::function<void(ipc::EChargingState)> chargingState);
  /// Ends both; setpoints can still be handed over, each once.
  void Disconnect();

  ipc::MResult SetChargeCurrent(std::uint32_t milliAmpere, std::uint8_t phases) override;
  ipc::MResult EnsureTaken() override;
  void StopCharging() override;

 private:
  /// Never waits: charge control may be the one who keeps a call, and its lock, waiting.
  void OnLink(bool established);
  void OnChargingState(ipc::EChargingState state);
  /// Further attempts, on the worker.
  void HandOverAgain();
  void HandOverStopAgain();
  ipc::MResult HandOver() REQUIRES(mMutex);
  void TellTaken() REQUIRES(mMutex);
  void HandOverStop() REQUIRES(mMutex);

  ipc::CBasicCharge2Client mPeer;
  std::function<void(ipc::EChargingState)> mChargingState;
  CMutex mMutex;
  TakenCallback mTaken GUARDED_BY(mMutex);
  std::optional<ipc::MChargeCurrent> mNewest GUARDED_BY(mMutex);
  /// What charge control did with the newest setpoint, as far as is known. Pending: it may not have heard of
  /// it.
  enum class EDelivery { Pending, Refused, Taken };
  EDelivery mDelivery GUARDED_BY(mMutex) = EDelivery::Pending;
  std::uint32_t mTakenMilliAmpere GUARDED_BY(mMutex) = 0;  ///< as far as was told
  bool mIsStopPending GUARDED_BY(mMutex) = false;
  bool mIsVehicleGone GUARDED_BY(mMutex) = false;  ///< as far as is known

  CWorker mWorker;
  CCallHandle mRetry;
  CCallHandle mStopRetry;
  Rpc::Subscription mSubscription;
};
