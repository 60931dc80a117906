#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "ipc/adac.pb.h"

#include "src/components/limiter.h"

class IAdacService;

/// The limit of the charging cable that the user has plugged, by the resistor that the proximity pilot
/// measures in its plug. 0 mA while no cable is known to be there.
///
/// Notifications come on a thread of the RPC framework; `GetLimit` from any thread.
class CUserCableLimit final : public ILimiter {
 public:
  /// Replaces whoever listened to the proximity pilot before.
  explicit CUserCableLimit(std::shared_ptr<IAdacService> adac);
  ~CUserCableLimit() override;

  /// Called with every notification, whether or not the limit is another one, on that thread. Set before the
  /// first: a notification that finds none throws std::bad_function_call.
  void OnLimitChanged(std::function<void()> limitChanged);

  /// The cable limits whether or not the service is enabled.
  void Disable() override {}
  void Enable() override {}
  SLimit GetLimit() override;

 private:
  void OnPpState(const ipc::MPpState& state);

  const std::shared_ptr<IAdacService> mAdac;
  std::function<void()> mLimitChanged;
  std::optional<ipc::EPpState> mState;   ///< of the last notification
  std::atomic<std::uint32_t> mLimit{0};  ///< mA
};
