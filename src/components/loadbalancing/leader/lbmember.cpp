#include "src/components/loadbalancing/leader/lbmember.h"

#include <algorithm>
#include <chrono>

namespace {

ELbMessage RequestOf(ELbMessage answer) {
  switch (answer) {
    case ELbMessage::InfoAnswer:
      return ELbMessage::InfoRequest;
    case ELbMessage::FallbackAnswer:
      return ELbMessage::FallbackRequest;
    default:
      return ELbMessage::LimitRequest;
  }
}

}  // namespace

std::uint32_t SLbLimit::Allowed() const {
  return isPhaseDiscovery ? kLbPhaseDiscoveryMilliAmpere : milliAmpere;
}

std::optional<Milliseconds> CLbMember::HeardAgo(TimePoint now) const {
  if (!mHeard) return std::nullopt;
  return std::chrono::duration_cast<Milliseconds>(now - *mHeard);
}

void CLbMember::SetWay(const std::shared_ptr<Endpoint>& endpoint) {
  if (mEndpoint == endpoint) return;
  mEndpoint = endpoint;
  mAddress = endpoint->ToString();
}

bool CLbMember::IsAt(const Endpoint& endpoint) const {
  return mEndpoint.get() == &endpoint || (mEndpoint && mAddress == endpoint.ToString());
}

void CLbMember::Join(TimePoint now) {
  mState = ELbStationState::Joining;
  mHeard = now;
  mIsVersionKnown = false;
  mIsFallbackDue = true;
  mIsTold = false;
  mHasShare = false;
  mIsAsked = false;
  mUnanswered = 0;
  mExposure.FellBack();
  ForgetVehicle(now);
}

void CLbMember::ForgetVehicle(TimePoint now) {
  if (std::ranges::max(mVehicle.Drawn()) != 0) {
    mFormerlyDrawn = mVehicle.Drawn();
    mFormerlyUntil = now + CLbVehicle::kTimeToFollow;
  }
  mVehicle.Forget();
}

bool CLbMember::TakeAnswer(ELbMessage id, std::uint32_t sends, TimePoint now) {
  mHeard = now;
  const bool isLater = static_cast<std::int32_t>(sends - mSends) >= 0;  // numbers begin anew
  if (!mAskedAt || mNewest != RequestOf(id) || !isLater || now - *mAskedAt > kLatestAnswer) return false;
  mHasAnswered = true;
  mIsAsked = false;
  if (mUnanswered != 0) mIsFallbackDue = true;  // one that changes it leaves a request unanswered
  mUnanswered = 0;
  return true;
}

void CLbMember::SetFallback(std::uint32_t milliAmpere, TimePoint now) {
  if (mFallback != milliAmpere) mHasShare = false;  // which was made for another one
  mFallback = milliAmpere;
  mIsFallbackDue = false;
  mFallbackDue = now + kFallbackRefresh;
}

void CLbMember::TakeLoad(const SLbLoad& load, TimePoint now) {
  if (!IsOwn()) {
    mState = ELbStationState::Led;
    mExposure.Acknowledged();
  }
  mVehicle.Take(load, mTold.Allowed(), now);
}

std::optional<TimePoint> CLbMember::NextAt(Milliseconds responseTime, bool isLine) const {
  constexpr TimePoint kAtOnce{};
  if (mIsAsked) return *mAskedAt + responseTime;
  switch (mState) {
    case ELbStationState::Joining:
    case ELbStationState::Led:
      break;
    case ELbStationState::Silent:
      // On a network its place in the sequence may be lost, and it is found again by a discovery.
      return isLine ? std::optional(mAskedAt.value_or(kAtOnce) + kSearchOnLine) : std::nullopt;
    default:
      return std::nullopt;
  }
  if (mUnanswered != 0) return *mAskedAt + RetryPause(isLine);
  if (!mAskedAt || mState == ELbStationState::Joining) return kAtOnce;
  return *mAskedAt + (IsToFall() ? kLeastPause : kRefresh);
}

Milliseconds CLbMember::RetryPause(bool isLine) const {
  constexpr std::uint32_t kQuickRetries = 2;
  if (isLine) return kRetriesOnLine;
  return mUnanswered <= kQuickRetries ? kFirstRetries : kRetries;
}

ELbMessage CLbMember::NextRequest(TimePoint now) const {
  if (mState != ELbStationState::Silent && !mIsVersionKnown) return ELbMessage::InfoRequest;
  const bool isDue = mIsFallbackDue || now >= mFallbackDue;
  // A limit that is to fall goes first, and so does the one that keeps a station from falling back.
  const bool canWait = mState == ELbStationState::Led && (IsToFall() || mUnanswered != 0);
  return isDue && !canWait && mState != ELbStationState::Silent ? ELbMessage::FallbackRequest
                                                                : ELbMessage::LimitRequest;
}

void CLbMember::Ask(ELbMessage id, std::uint32_t sends, TimePoint now) {
  mSends = sends;
  mIsAsked = true;
  mNewest = id;
  mAskedAt = now;
}

bool CLbMember::GiveUpAnswer(TimePoint now) {
  mIsAsked = false;
  ++mUnanswered;
  if (mUnanswered < kMostUnanswered || mState == ELbStationState::Silent) return false;
  Lose(now);
  return true;
}

void CLbMember::Lose(TimePoint now) {
  mState = ELbStationState::Silent;
  mIsAsked = false;
  mIsTold = false;
  mHasShare = false;
  ForgetVehicle(now);
}

bool CLbMember::IsReadyToRise(TimePoint now) const {
  return mState == ELbStationState::Led && mUnanswered == 0 && IsToRise() && now - *mAskedAt >= kLeastPause;
}

void CLbMember::SetShare(const SLbLimit& limit) {
  mShare = limit;
  mHasShare = true;
}

void CLbMember::Tell(const SLbLimit& limit, TimePoint now) {
  mTold = limit;
  mIsTold = true;
  mExposure.Told(limit.Allowed(), now);
}

LbPhaseCurrents CLbMember::Granted(TimePoint now) const {
  const std::uint32_t told = IsOwn() ? mTold.Allowed() : mExposure.Highest(now);
  LbPhaseCurrents granted{};
  for (std::size_t phase = 0; phase < granted.size(); ++phase) {
    if (HasLbPhase(mVehicle.Phases(), phase)) granted[phase] = told;
  }
  return granted;
}

LbPhaseCurrents CLbMember::MayDraw(TimePoint now) const {
  LbPhaseCurrents most = Granted(now);
  for (std::size_t phase = 0; phase < most.size(); ++phase) {
    const std::uint32_t formerly = now < mFormerlyUntil ? mFormerlyDrawn[phase] : 0;
    const std::uint32_t drawn = std::max(mVehicle.Drawn()[phase], formerly);
    if (drawn > most[phase] && drawn - most[phase] > kMeterTolerance) most[phase] = drawn;
  }
  return most;
}

SLbStationView CLbMember::Describe(TimePoint now) const {
  return {.serialNumber = mSerialNumber,
          .address = mAddress,
          .state = mState,
          .isOwn = IsOwn(),
          .phases = mVehicle.ArePhasesKnown() ? mVehicle.Phases() : LbPhases{0},
          .isPhaseDiscovery = mTold.isPhaseDiscovery,
          .limitMilliAmpere = mTold.Allowed(),
          .drawnMilliAmpere = mVehicle.Drawn(),
          .fallbackMilliAmpere = mFallback.value_or(0),
          .heardAgo = HeardAgo(now)};
}
