#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "src/components/loadbalancing/lbprotocolbase.h"

class CDiagnosticsSignal;

/// A station that takes its current from the leader of its group, and the fallback current from the settings
/// while there is none.
///
/// ```
///   disabled --Enable--> undiscovered --limit request--> discovered
///   (0 A)                (fallback)  <--8 s of silence-- (what the leader said last)
///                            ^  reset by the leader, or the fallback current was changed
/// ```
class CLbFollowerProtocol final : public CLbProtocolBase {
 public:
  /// The signal is true while no leader has found the station.
  CLbFollowerProtocol(SSurroundings surroundings, std::shared_ptr<CDiagnosticsSignal> undiscovered);
  ~CLbFollowerProtocol() override;

  /// Returns when the fallback current is applied.
  void Enable() override;
  /// Returns at once; 0 A is applied soon.
  void Disable() override;

 protected:
  void OnMessageReceived(const SLbMessage& message, const std::shared_ptr<Endpoint>& endpoint,
                         std::uint32_t sends) override;
  std::uint32_t StateNumber() const override;
  SLbGroupView DescribeRole() override;

 private:
  /// The numbers are part of a log text.
  enum class EState : std::uint32_t { Disabled = 0, Undiscovered = 1, Discovered = 2 };

  // On the worker.
  void EnterUndiscovered();
  void EnterDiscovered();
  void Reset();
  void OnCommunicationTimeout();
  /// True: it was changed, and the station is undiscovered again.
  bool HasFallbackChanged();
  bool IsOwn(const SLbMessage& message) const;

  void OnDiscovery(const SLbMessage& message, Endpoint& endpoint);
  void OnLimitRequest(const SLbMessage& message, Endpoint& endpoint);

  const std::shared_ptr<CDiagnosticsSignal> mUndiscovered;
  std::atomic<EState> mState{EState::Disabled};
  // On the worker.
  std::uint32_t mFallback = 0;      ///< mA
  std::string mLeader;              ///< where the newest limit came from
  std::optional<TimePoint> mHeard;  ///< that limit
  CCallHandle mTimeout;
};
