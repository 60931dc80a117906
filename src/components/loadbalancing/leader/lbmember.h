#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/worker/scheduler.h"
#include "src/communication/icommunicationlistener.h"
#include "src/components/loadbalancing/lbgroupview.h"
#include "src/components/loadbalancing/leader/lbexposure.h"
#include "src/components/loadbalancing/leader/lbvehicle.h"

/// What a station is told with a limit request.
struct SLbLimit {
  std::uint32_t milliAmpere = 0;
  bool isPhaseDiscovery = false;  ///< the limit is 0 then, and the station allows what is needed for it

  /// What a vehicle may draw there, in mA.
  std::uint32_t Allowed() const;
  friend bool operator==(const SLbLimit&, const SLbLimit&) = default;
};

/// One station of the group as its leader knows it: where it is, what it was asked, told and given, and what
/// it may be drawing. One thread.
class CLbMember {
 public:
  using Endpoint = ICommunicationListener::IEndpoint;

  /// Between two limits that are told to a station that answers; four of them before it falls back.
  static constexpr Milliseconds kRefresh{2000};
  /// At least, also when a limit is to fall or may rise.
  static constexpr Milliseconds kLeastPause{50};
  /// Between two requests for the fallback current, which may have been changed.
  static constexpr Milliseconds kFallbackRefresh{10000};
  /// From a request without an answer to the next one: at first, later, and on a line, where an answer does
  /// not tell to which request it is.
  static constexpr Milliseconds kFirstRetries{500};
  static constexpr Milliseconds kRetries{1000};
  static constexpr Milliseconds kRetriesOnLine{2000};
  /// Between two requests to one that is silent, on a line.
  static constexpr Milliseconds kSearchOnLine{10000};
  /// Requests without an answer before a station is silent. A peer takes none that is more than ten ahead of
  /// the newest one that it got.
  static constexpr std::uint32_t kMostUnanswered = 8;
  /// An answer that comes later may be one to an earlier request.
  static constexpr Milliseconds kLatestAnswer{1000};
  /// A meter shows that much too much at most, in mA.
  static constexpr std::uint32_t kMeterTolerance = 1000;

  /// Of a leader that has none; no other station can have it.
  static constexpr LbSerialNumber kNoSerialNumber{0xff, 0xff, 0xff, 0xff, 0xff, 0xff};

  /// The leader itself.
  CLbMember() : mSerialNumber(kNoSerialNumber), mState(ELbStationState::Leading) {}
  /// One who has answered.
  explicit CLbMember(const LbSerialNumber& serialNumber) : mSerialNumber(serialNumber) {}

  const LbSerialNumber& SerialNumber() const { return mSerialNumber; }
  /// The same station, with whatever it may be drawing, says that it is another one.
  void SetSerialNumber(const LbSerialNumber& serialNumber) { mSerialNumber = serialNumber; }
  ELbStationState State() const { return mState; }
  bool IsOwn() const { return mState == ELbStationState::Leading; }
  /// Whether it takes limits, now or soon.
  bool IsServable() const {
    return IsOwn() || mState == ELbStationState::Joining || mState == ELbStationState::Led;
  }
  /// Whether it has answered something that was meant for it alone.
  bool HasAnswered() const { return mHasAnswered; }
  const std::string& Address() const { return mAddress; }
  Endpoint* Way() const { return mEndpoint.get(); }
  const CLbVehicle& Vehicle() const { return mVehicle; }
  std::optional<Milliseconds> HeardAgo(TimePoint now) const;

  // What it says.

  /// It is reached there from now on.
  void SetWay(const std::shared_ptr<Endpoint>& endpoint);
  bool IsAt(const Endpoint& endpoint) const;
  /// It has answered a discovery: whatever was known of it may have changed.
  void Join(TimePoint now);
  /// It answers with `id`, which came when so many messages had been sent. True when that is to the newest
  /// request.
  bool TakeAnswer(ELbMessage id, std::uint32_t sends, TimePoint now);
  void SetIsVersionKnown() { mIsVersionKnown = true; }
  void Refuse() { mState = ELbStationState::Refused; }
  void SetFallback(std::uint32_t milliAmpere, TimePoint now);
  /// In mA; nothing: it has not said.
  std::optional<std::uint32_t> Fallback() const { return mFallback; }
  /// With the answer to the newest limit. Nothing else is said of the leader's own station.
  void TakeLoad(const SLbLoad& load, TimePoint now);

  // What it is asked.

  bool IsAsked() const { return mIsAsked; }
  ELbMessage NewestRequest() const { return mNewest; }
  /// When the newest request is overdue, or the next one is due; nothing: it is not asked any more.
  std::optional<TimePoint> NextAt(Milliseconds responseTime, bool isLine) const;
  /// What to ask it next.
  ELbMessage NextRequest(TimePoint now) const;
  /// With the message that was the one of that number.
  void Ask(ELbMessage id, std::uint32_t sends, TimePoint now);
  /// True: that was the last one, the station is silent.
  bool GiveUpAnswer(TimePoint now);
  /// It is silent for the leader.
  void Lose(TimePoint now);

  // What it gets.

  void SetShare(const SLbLimit& limit);
  const SLbLimit& Share() const { return mShare; }
  /// Whether it took part in a distribution since it joined, and said what it falls back to.
  bool HasShare() const { return mHasShare; }
  /// What it was told last.
  const SLbLimit& Told() const { return mTold; }
  bool IsToFall() const { return !mIsTold || (mHasShare && mShare.Allowed() < mTold.Allowed()); }
  bool IsToRise() const { return mIsTold && mHasShare && mShare.Allowed() > mTold.Allowed(); }
  /// Whether it may be told so now, before its next limit is due.
  bool IsReadyToRise(TimePoint now) const;
  bool IsTold() const { return mIsTold; }
  void Tell(const SLbLimit& limit, TimePoint now);

  /// The limits that may be in force there on each phase, in mA, besides what it falls back to.
  LbPhaseCurrents Granted(TimePoint now) const;
  /// What it may be drawing, likewise: a vehicle needs some time to follow a limit that was lowered.
  LbPhaseCurrents MayDraw(TimePoint now) const;
  bool MayHaveFallenBack(TimePoint at) const { return !IsOwn() && mExposure.MayHaveFallenBack(at); }

  SLbStationView Describe(TimePoint now) const;

 private:
  void ForgetVehicle(TimePoint now);
  Milliseconds RetryPause(bool isLine) const;

  LbSerialNumber mSerialNumber{};
  ELbStationState mState = ELbStationState::Joining;
  std::shared_ptr<Endpoint> mEndpoint;
  std::string mAddress;
  bool mHasAnswered = false;
  bool mIsVersionKnown = false;
  std::optional<TimePoint> mHeard;
  std::optional<std::uint32_t> mFallback;
  TimePoint mFallbackDue{};  // none is known before
  bool mIsFallbackDue = true;

  bool mIsAsked = false;              // the newest request is not answered yet, and not given up
  ELbMessage mNewest{};               // since it was asked at all
  std::optional<TimePoint> mAskedAt;  // that one
  std::uint32_t mSends = 0;           // with that one
  std::uint32_t mUnanswered = 0;

  SLbLimit mShare;
  bool mHasShare = false;
  SLbLimit mTold;
  bool mIsTold = false;  ///< since it joined
  CLbExposure mExposure;
  CLbVehicle mVehicle;
  LbPhaseCurrents mFormerlyDrawn{};  // before it was lost: the vehicle needs time to follow its fallback
  TimePoint mFormerlyUntil{};
};
