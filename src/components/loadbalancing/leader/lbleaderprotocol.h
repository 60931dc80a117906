#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "src/components/loadbalancing/lbprotocolbase.h"
#include "src/components/loadbalancing/leader/lbdiscovery.h"
#include "src/components/loadbalancing/leader/lbgroup.h"
#include "src/components/loadbalancing/leader/lbgroupnews.h"

class CLbReverseUniformAlgorithm;
class IBlackoutProtection;
class IPowerLimitInput;

/// The station that leads its group: finds the others, shares the supply's current out to them and to itself,
/// and tells each its limit before what it was told runs out.
///
/// ```
///   disabled --Enable--> settling --12 s, and no other leader was heard for 24 s--> leading
///   (0 A, silent)        (nobody gets more than   <--another leader is heard--      (everybody gets
///                         its fallback current)                                      its share)
/// ```
class CLbLeaderProtocol final : public CLbProtocolBase {
 public:
  /// What a leader has beyond the other roles. Blackout protection and power-limit input may be empty.
  struct SParts {
    std::shared_ptr<CLbReverseUniformAlgorithm> algorithm;
    std::shared_ptr<IBlackoutProtection> blackoutProtection;
    std::shared_ptr<IPowerLimitInput> powerLimitInput;
    Milliseconds period;  ///< of new distributions, and of looking for new stations
    bool isLine = false;  ///< the medium is one line, on which only one may speak at a time
  };

  /// What a former leader told is not in force any more after that, and another one has been heard.
  static constexpr Milliseconds kTimeToSettle{12000};
  /// Another leader that was not heard for so long is gone: any calls every 10 s, and one call may be lost.
  static constexpr Milliseconds kOtherLeaderGone{24000};
  /// How often it is looked for stations that may soon be found, instead of once per period.
  static constexpr Milliseconds kQuickSearch{2000};
  /// For so long that is done after the start, and after a station fell silent.
  static constexpr Milliseconds kQuickSearchSpan{60000};
  /// Who is missing then is told.
  static constexpr Milliseconds kTimeToFindAll{60000};
  /// How often it is looked at what there is, and at the own vehicle.
  static constexpr Milliseconds kLook{1000};
  /// Requests that wait for an answer at the same time, on a network.
  static constexpr std::uint32_t kMostAsked = 32;

  CLbLeaderProtocol(SSurroundings surroundings, SParts parts);
  ~CLbLeaderProtocol() override;

  /// Returns when the group is being looked for.
  void Enable() override;
  /// Returns at once; 0 A is applied soon, and the others fall back when their limits run out.
  void Disable() override;

 protected:
  void OnMessageReceived(const SLbMessage& message, const std::shared_ptr<Endpoint>& endpoint,
                         std::uint32_t sends) override;
  std::uint32_t StateNumber() const override;
  void OnBytesReceived(const Endpoint& endpoint) override;
  void OnCommunicationUp() override;
  SLbGroupView DescribeRole() override;

 private:
  /// The numbers are part of a log text.
  enum class EState : std::uint32_t { Disabled = 0, Settling = 1, Leading = 2 };

  // On the worker.
  void Begin();
  void Look();
  void MeasureSupply();
  void Settle();
  void Distribute();
  void DistributeSoon();
  /// What the own station gets, as far as there is room for it by now.
  void TellOwn();

  void OnLeadersMessage(const SLbMessage& message, const Endpoint& endpoint);
  /// Of the newest message on a line.
  bool IsEcho(const SLbMessage& message) const;
  /// On the loopback adapter what is sent to everybody comes back.
  bool MayBeOwn(const SLbMessage& message) const;
  void OnDiscoveryAnswer(const LbSerialNumber& serialNumber, const std::shared_ptr<Endpoint>& endpoint);
  void OnAnswer(const SLbMessage& message, const std::shared_ptr<Endpoint>& endpoint, std::uint32_t sends);
  void TakeVersion(CLbMember& member, std::uint8_t version);
  void TakeFallback(CLbMember& member, std::uint32_t said);
  void TakeLoad(CLbMember& member, const SLbLoad& load);
  /// `endpoint`: where it speaks, on a network. Null: there is no place for it.
  CLbMember* Admit(const LbSerialNumber& serialNumber, const Endpoint* endpoint);
  /// False: somebody else speaks in its name.
  bool IsItself(const CLbMember& member, const Endpoint& endpoint);

  /// Sends whatever is due, and is called again when the next is.
  void Pump();
  void GiveUpOverdue(TimePoint now);
  void OnSilent(const CLbMember& member);
  void AskMembers(TimePoint now);
  void Ask(CLbMember& member);
  void CallIfDue(TimePoint now);
  void CloseCall(TimePoint now);
  TimePoint NextPump(TimePoint now) const;
  std::optional<TimePoint> NextOf(const CLbMember& member) const;
  /// Whether one more message may wait for its answer.
  bool MayAsk() const;

  const SParts mParts;
  std::atomic<EState> mState{EState::Disabled};
  /// A call on a line waits for bytes, whatever they are.
  std::atomic<bool> mIsListening{false};

  // On the worker.
  CLbGroup mGroup;
  CLbDiscovery mDiscovery;
  CLbGroupNews mNews;
  SLbMessage mNewestOnLine;
  std::uint32_t mAsked = 0;  ///< members that wait for an answer
  std::size_t mFirstToAsk = 0;
  TimePoint mEnabled{};
  std::optional<TimePoint> mBegan;  ///< none: not since it was enabled, or communication is not set up
  std::optional<TimePoint> mOtherLeaderHeard;
  TimePoint mQuickSearchUntil{};
  TimePoint mNextSearch{};
  TimePoint mNextDistribution{};
  bool mIsDistributionPosted = false;
  CCallHandle mDistributing;
  CCallHandle mLooking;
  CCallHandle mPumping;
};
