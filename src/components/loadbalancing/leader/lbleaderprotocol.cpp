#include "src/components/loadbalancing/leader/lbleaderprotocol.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

#include "platform/log/log.h"
#include "src/components/iblackoutprotection.h"
#include "src/components/loadbalancing/leader/ipowerlimitinput.h"
#include "src/components/loadbalancing/leader/lbreverseuniformalgorithm.h"
#include "src/components/loadbalancing/loadbalancingconfig.h"

namespace {

constexpr auto kClassName = "CLbLeaderProtocol";
/// After the reset, so that no station answers before it.
constexpr Milliseconds kFirstSearch{100};
/// What several stations tell at the same time is one reason to share out anew.
constexpr Milliseconds kGather{100};
/// A discovery answer is overtaken by others by so much at most.
constexpr Milliseconds kOvertaken{1000};
/// Before a station that was refused is asked again who it is.
constexpr Milliseconds kRefusalLasts{60000};

/// Another answer to a discovery changes nothing before: it was on its way, or the station was refused.
Milliseconds StaysFor(ELbStationState state) {
  switch (state) {
    case ELbStationState::Led:
      return kOvertaken;
    case ELbStationState::Refused:
      return kRefusalLasts;
    default:
      return Milliseconds{0};
  }
}

bool IsLeaders(ELbMessage id) {
  switch (id) {
    case ELbMessage::Reset:
    case ELbMessage::Discovery:
    case ELbMessage::InfoRequest:
    case ELbMessage::FallbackRequest:
    case ELbMessage::LimitRequest:
      return true;
    default:
      return false;
  }
}

}  // namespace

CLbLeaderProtocol::CLbLeaderProtocol(SSurroundings surroundings, SParts parts)
    : CLbProtocolBase(std::move(surroundings)),
      mParts(std::move(parts)),
      mGroup(mParts.algorithm),
      mDiscovery(mParts.isLine) {
  LOG_ENTRY(kClassName);
}

CLbLeaderProtocol::~CLbLeaderProtocol() {
  LOG_ENTRY(kClassName);
  Stop();
}

void CLbLeaderProtocol::Enable() {
  LOG_ENTRY(kClassName);
  Worker().BlockingCall([this] {
    if (mState != EState::Disabled) return;
    mState = EState::Settling;
    mEnabled = Now();
    mGroup.Own().SetSerialNumber(OwnSerialNumber().value_or(CLbMember::kNoSerialNumber));
    PhaseRotation();  // a wrong one is told now
    if (IsCommunicationUp()) Begin();
    mLooking = Worker().AddCall([this] { Look(); }, Milliseconds{0}, kLook);
  });
}

void CLbLeaderProtocol::Disable() {
  LOG_ENTRY(kClassName);
  Worker().NonBlockingCall([this] {
    mLooking.Cancel();
    mPumping.Cancel();
    mBegan.reset();
    mIsListening = false;
    mState = EState::Disabled;
    for (CLbMember* const member : mGroup.Members()) {
      if (member->IsServable() && !member->IsOwn()) member->Lose(Now());
    }
    mGroup.Own().SetShare({});
    TellOwn();
    ApplyLimit(0);  // also when it was that before
  });
}

std::uint32_t CLbLeaderProtocol::StateNumber() const {
  return static_cast<std::uint32_t>(mState.load());
}

void CLbLeaderProtocol::OnCommunicationUp() {
  if (mState != EState::Disabled) Begin();
}

void CLbLeaderProtocol::Begin() {
  const TimePoint now = Now();
  LOG_INFO("Looking for the stations of the group; for {} s nobody gets more than its fallback current.",
           kTimeToSettle.count() / 1000);
  mBegan = now;
  mOtherLeaderHeard.reset();
  mQuickSearchUntil = now + kQuickSearchSpan;
  mNextSearch = now + kFirstSearch;
  BroadcastMessage(LbMessages::Reset());
  Pump();
}

void CLbLeaderProtocol::Look() {
  const TimePoint now = Now();
  CLbMember& own = mGroup.Own();
  TakeLoad(own, ReadLoad());
  Settle();
  MeasureSupply();
  const LbPhaseCurrents mayDraw = mGroup.MayDraw(now);
  const bool isTooMuch = !std::ranges::equal(mayDraw, mGroup.Supply().milliAmpere, std::ranges::less_equal());
  if (now >= mNextDistribution) {
    Distribute();
  } else if (isTooMuch) {
    mGroup.Distribute(CLbGroup::EChange::Fall, now);
  }
  Pump();
}

void CLbLeaderProtocol::Settle() {
  const TimePoint now = Now();
  if (mOtherLeaderHeard && now - *mOtherLeaderHeard >= kOtherLeaderGone) {
    LOG_INFO("No other leader was heard for {} s.", kOtherLeaderGone.count() / 1000);
    mOtherLeaderHeard.reset();
  }
  const bool isSettled = mBegan && now - *mBegan >= kTimeToSettle && !mOtherLeaderHeard;
  const EState state = isSettled ? EState::Leading : EState::Settling;
  if (mState.exchange(state) == state) return;
  LOG_INFO("{}", isSettled ? "The group is settled: everybody gets a share of what there is."
                           : "The group settles: nobody gets more than its fallback current.");
  mNextDistribution = now;
}

void CLbLeaderProtocol::MeasureSupply() {
  const auto& limitInput = mParts.powerLimitInput;
  const std::uint32_t supply = ReadSupply();
  const std::int32_t size = Config().GetGroupSize();
  const std::uint32_t mostStations = 1 + MostStations();
  const LbPhaseCurrents capacity = mParts.algorithm->Capacity(
      supply, limitInput ? limitInput->GetLimit() : std::nullopt, mGroup.Drawn(), Now());
  mGroup.SetSupply(
      {.milliAmpere = capacity,
       .forRises = mParts.algorithm->MomentaryCapacity(),
       .size = std::min(static_cast<std::uint32_t>(std::max(size, 0)), mostStations),
       .ownFallback = ReadFallback(),
       .isSettling = mState != EState::Leading,
       // What a former run told the others may be in force, and it may have left nothing for itself.
       .isOwnHeld = Now() - mEnabled < CLbExposure::kHold + CLbExposure::kLongestWay});
  mNews.TellSupply(supply);
  mNews.TellWrongSize(size, mostStations);
  const auto& house = mParts.blackoutProtection;
  mNews.TellHouse(house && house->IsInError() ? std::optional(house->GetFallbackCurrent()) : std::nullopt);
}

void CLbLeaderProtocol::Distribute() {
  const TimePoint now = Now();
  mNextDistribution = now + mParts.period;
  mGroup.Distribute(CLbGroup::EChange::All, now);
  if (mState == EState::Leading) mNews.TellFallbacks(mGroup);
  if (mBegan && now - *mBegan >= kTimeToFindAll) mNews.TellSize(mGroup);
}

void CLbLeaderProtocol::DistributeSoon() {
  if (std::exchange(mIsDistributionPosted, true)) return;
  mDistributing = Worker().AddCall(
      [this] {
        mIsDistributionPosted = false;
        if (mState == EState::Disabled) return;
        Distribute();
        Pump();
      },
      kGather);
}

void CLbLeaderProtocol::TellOwn() {
  CLbMember& own = mGroup.Own();
  const TimePoint now = Now();
  if (!own.IsToFall() && !(own.IsToRise() && mGroup.Affords(own, own.Share(), mGroup.MayDraw(now), now)))
    return;
  own.Tell(own.Share(), now);
  ApplyLimit(own.Told().Allowed());
}

void CLbLeaderProtocol::OnBytesReceived(const Endpoint& endpoint) {
  if (endpoint.IsNetworkEndpoint() || !mIsListening.exchange(false)) return;
  Worker().NonBlockingCall([this] {
    mDiscovery.TakeAnswer(Now());
    Pump();
  });
}

void CLbLeaderProtocol::OnMessageReceived(const SLbMessage& message,
                                          const std::shared_ptr<Endpoint>& endpoint, std::uint32_t sends) {
  if (mState == EState::Disabled) return;
  const auto id = static_cast<ELbMessage>(message.Id());
  if (IsLeaders(id)) {
    OnLeadersMessage(message, *endpoint);
  } else if (id != ELbMessage::DiscoveryAnswer) {
    OnAnswer(message, endpoint, sends);
  } else if (endpoint->IsNetworkEndpoint()) {
    OnDiscoveryAnswer(LbMessages::SerialNumberOf(message), endpoint);
  }
  Pump();
}

void CLbLeaderProtocol::OnLeadersMessage(const SLbMessage& message, const Endpoint& endpoint) {
  if (IsEcho(message)) return mNews.TellEcho();
  if (MayBeOwn(message)) return;
  const bool isNew = !mOtherLeaderHeard;
  mOtherLeaderHeard = Now();
  if (!isNew) return;
  mNews.TellOtherLeader(endpoint);
  mNextSearch = Now();  // so that it hears this one, too
  Settle();
  MeasureSupply();
  Distribute();
}

bool CLbLeaderProtocol::IsEcho(const SLbMessage& message) const {
  if (!mParts.isLine || message.Id() != mNewestOnLine.Id()) return false;
  // Below the root the calls of two leaders may be alike.
  const bool isCall = static_cast<ELbMessage>(message.Id()) == ELbMessage::Discovery;
  if (isCall && LbMessages::ReadDiscovery(message).prefixBits != 0) return false;
  const auto checksum = LbMessageSize(*FindLbMessageKind(message.Id()), false) - 1;  // which is the parser's
  return std::equal(message.bytes.begin(), message.bytes.begin() + checksum, mNewestOnLine.bytes.begin());
}

/// A search begins with a call to everybody, which holds the leader's own serial number; what follows does
/// not tell whose it is.
bool CLbLeaderProtocol::MayBeOwn(const SLbMessage& message) const {
  switch (static_cast<ELbMessage>(message.Id())) {
    case ELbMessage::Reset:
      return true;
    case ELbMessage::Discovery: {
      const auto discovery = LbMessages::ReadDiscovery(message);
      return discovery.prefixBits != 0 || discovery.prefix == mGroup.Own().SerialNumber();
    }
    default:
      return false;
  }
}

void CLbLeaderProtocol::OnDiscoveryAnswer(const LbSerialNumber& serialNumber,
                                          const std::shared_ptr<Endpoint>& endpoint) {
  const TimePoint now = Now();
  mDiscovery.TakeAnswer(now);
  if (serialNumber == mGroup.Own().SerialNumber()) return mNews.TellOwnSerialNumber(endpoint->ToString());
  CLbMember* member = mGroup.Find(serialNumber);
  if (member != nullptr) {
    if (!IsItself(*member, *endpoint)) return;
    const auto heardAgo = member->HeardAgo(now);
    if (heardAgo && *heardAgo < StaysFor(member->State())) return;
  } else {
    member = Admit(serialNumber, endpoint.get());
    if (member == nullptr) return;
  }
  mNews.SolveElsewhere(*member);
  member->SetWay(endpoint);
  member->Join(now);
  DistributeSoon();
}

/// One that has been heard lately is where it was heard.
bool CLbLeaderProtocol::IsItself(const CLbMember& member, const Endpoint& endpoint) {
  const bool isElsewhere = endpoint.IsNetworkEndpoint() && !member.IsAt(endpoint);
  if (!isElsewhere) return true;
  const auto heardAgo = member.HeardAgo(Now());
  if (member.State() == ELbStationState::Silent || !heardAgo || *heardAgo > CLbExposure::kHold) return true;
  mNews.TellElsewhere(member, endpoint);
  return false;
}

CLbMember* CLbLeaderProtocol::Admit(const LbSerialNumber& serialNumber, const Endpoint* endpoint) {
  if (CLbMember* const former = endpoint != nullptr ? mGroup.FindAt(*endpoint) : nullptr; former != nullptr) {
    mNews.TellRenamed(*former, serialNumber);
    mNews.Forget(*former);
    mGroup.Rename(*former, serialNumber);
    return former;
  }
  if (mGroup.Followers() < MostStations()) return &mGroup.Add(serialNumber);
  const bool mayBeNoise = endpoint == nullptr;
  if (!mayBeNoise && mGroup.AddSurplus(serialNumber)) mNews.TellSurplus(serialNumber, MostStations());
  return nullptr;
}

void CLbLeaderProtocol::OnAnswer(const SLbMessage& message, const std::shared_ptr<Endpoint>& endpoint,
                                 std::uint32_t sends) {
  CLbMember* const member = mGroup.Find(LbMessages::SerialNumberOf(message));
  if (member == nullptr || !IsItself(*member, *endpoint)) return;
  member->SetWay(endpoint);
  const auto id = static_cast<ELbMessage>(message.Id());
  if (!member->TakeAnswer(id, sends, Now())) return;
  if (id == ELbMessage::InfoAnswer) {
    TakeVersion(*member, LbMessages::ReadInfoAnswer(message));
  } else if (id == ELbMessage::FallbackAnswer) {
    TakeFallback(*member, LbMessages::ReadFallbackAnswer(message));
  } else {
    TakeLoad(*member, LbMessages::ReadLimitAnswer(message).load);
  }
}

void CLbLeaderProtocol::TakeVersion(CLbMember& member, std::uint8_t version) {
  mNews.TellVersion(member, version, mGroup.FallbackOf(member));
  if (version == kLbProtocolVersion) return member.SetIsVersionKnown();
  member.Refuse();
  DistributeSoon();
}

void CLbLeaderProtocol::TakeFallback(CLbMember& member, std::uint32_t said) {
  const std::uint32_t milliAmpere = std::min(said, CLbVehicle::kNonsenseMilliAmpere);
  mNews.TellFallback(member, said, milliAmpere);
  const bool isNew = member.Fallback() != milliAmpere;
  member.SetFallback(milliAmpere, Now());
  if (isNew) DistributeSoon();
}

void CLbLeaderProtocol::TakeLoad(CLbMember& member, const SLbLoad& load) {
  const bool wasLed = member.IsOwn() || member.State() == ELbStationState::Led;
  const auto wish = member.Vehicle().Wish();
  const LbPhases phases = member.Vehicle().Phases();
  const LbPhaseCurrents overdrawn = member.Vehicle().Overdrawn();
  member.TakeLoad(load, Now());
  mNews.TellVehicle(member);
  if (!wasLed) mNews.TellLed(member);
  if (!wasLed || wish != member.Vehicle().Wish() || phases != member.Vehicle().Phases() ||
      overdrawn != member.Vehicle().Overdrawn())
    DistributeSoon();
}

void CLbLeaderProtocol::Pump() {
  if (mState == EState::Disabled) return;
  TellOwn();  // which may wait for charge control
  const TimePoint now = Now();
  CloseCall(now);
  GiveUpOverdue(now);
  if (mBegan) {
    AskMembers(now);
    CallIfDue(now);
  }
  const auto pause = std::chrono::ceil<Milliseconds>(NextPump(now) - now);
  mPumping = Worker().AddCall([this] { Pump(); }, std::max(pause, Milliseconds{1}));
}

void CLbLeaderProtocol::CloseCall(TimePoint now) {
  const auto until = mDiscovery.AnswersUntil();
  if (!until || *until > now) return;
  mIsListening = false;
  const auto found = mDiscovery.Close();
  if (!found || mGroup.Find(*found) != nullptr) return;
  if (*found == mGroup.Own().SerialNumber()) return mNews.TellOwnSerialNumber("a station on the line");
  CLbMember* const member = Admit(*found, nullptr);
  if (member != nullptr) member->Join(now);
}

void CLbLeaderProtocol::GiveUpOverdue(TimePoint now) {
  std::vector<CLbMember*> noise;
  for (CLbMember* const member : mGroup.Members()) {
    if (!member->IsAsked() || *NextOf(*member) > now || !member->GiveUpAnswer(now)) continue;
    OnSilent(*member);
    if (mParts.isLine && !member->HasAnswered()) noise.push_back(member);
  }
  for (const CLbMember* const member : noise) {
    mNews.Forget(*member);
    mGroup.Remove(*member);
  }
}

void CLbLeaderProtocol::OnSilent(const CLbMember& member) {
  mQuickSearchUntil = Now() + kQuickSearchSpan;
  mNextSearch = std::min(mNextSearch, Now() + kQuickSearch);
  DistributeSoon();
  if (member.HasAnswered()) mNews.TellSilent(member, mGroup.FallbackOf(member));
}

void CLbLeaderProtocol::AskMembers(TimePoint now) {
  const auto& members = mGroup.Members();
  mAsked = static_cast<std::uint32_t>(std::ranges::count_if(members, &CLbMember::IsAsked));
  std::optional<LbPhaseCurrents> mayDraw;
  const auto mayRise = [&](const CLbMember& member) {
    if (!member.IsReadyToRise(now)) return false;
    if (!mayDraw) mayDraw = mGroup.MayDraw(now);
    return mGroup.Affords(member, member.Share(), *mayDraw, now);
  };
  const std::size_t first = mFirstToAsk;
  for (std::size_t i = 0; i < members.size() && MayAsk(); ++i) {
    const std::size_t index = (first + i) % members.size();
    CLbMember& member = *members[index];
    const auto due = NextOf(member);
    if (member.IsAsked() || ((!due || *due > now) && !mayRise(member))) continue;
    Ask(member);
    mayDraw.reset();
    mFirstToAsk = index + 1;
  }
}

bool CLbLeaderProtocol::MayAsk() const {
  return mParts.isLine ? mAsked == 0 && !mDiscovery.AnswersUntil() : mAsked < kMostAsked;
}

std::optional<TimePoint> CLbLeaderProtocol::NextOf(const CLbMember& member) const {
  if (member.IsOwn()) return std::nullopt;
  // A limit is answered when the station's charge control has taken it.
  return member.NextAt(ResponseTime(member.NewestRequest() == ELbMessage::LimitRequest), mParts.isLine);
}

void CLbLeaderProtocol::Ask(CLbMember& member) {
  const TimePoint now = Now();
  const ELbMessage id = member.NextRequest(now);
  SLbMessage message;
  if (id == ELbMessage::InfoRequest) {
    message = LbMessages::InfoRequest(member.SerialNumber());
  } else if (id == ELbMessage::FallbackRequest) {
    message = LbMessages::FallbackRequest(member.SerialNumber());
  } else {
    const SLbLimit limit = mGroup.NextLimit(member, now);
    member.Tell(limit, now);
    message = LbMessages::Write(
        LbMessages::SLimitRequest{.serialNumber = member.SerialNumber(),
                                  .milliAmpere = limit.milliAmpere,
                                  .flags = limit.isPhaseDiscovery ? kLbPhaseDiscoveryFlag : std::uint8_t{0}});
  }
  const std::uint32_t sends = Sends() + 1;
  if (mParts.isLine) {
    mNewestOnLine = message;
    BroadcastMessage(message);
  } else {
    SendMessage(message, *member.Way());
  }
  member.Ask(id, sends, now);
  ++mAsked;
}

void CLbLeaderProtocol::CallIfDue(TimePoint now) {
  if (now >= mNextSearch) {
    mDiscovery.Begin();
    mNextSearch = now + (now < mQuickSearchUntil || mOtherLeaderHeard ? kQuickSearch : mParts.period);
  }
  if (!mDiscovery.IsToCall() || !MayAsk()) return;
  auto discovery = mDiscovery.Call(now, ResponseTime(false));
  if (discovery.prefixBits == 0) discovery.prefix = mGroup.Own().SerialNumber();
  mIsListening = mParts.isLine;
  mNewestOnLine = LbMessages::Write(discovery);
  BroadcastMessage(mNewestOnLine);
}

TimePoint CLbLeaderProtocol::NextPump(TimePoint now) const {
  TimePoint next = now + kLook;
  if (const auto until = mDiscovery.AnswersUntil()) next = std::min(next, *until);
  if (!mBegan) return next;
  next = std::min(next, mNextSearch);
  const bool mayAsk = MayAsk();
  for (const CLbMember* const member : mGroup.Members()) {
    const auto due = mayAsk || member->IsAsked() ? NextOf(*member) : std::nullopt;
    next = std::min(next, due.value_or(next));
  }
  return next;
}

SLbGroupView CLbLeaderProtocol::DescribeRole() {
  const TimePoint now = Now();
  SLbGroupView view{.isLeader = true,
                    .isSettling = mState == EState::Settling,
                    .milliAmpere = mGroup.Supply().milliAmpere,
                    .mostMilliAmpere = mGroup.MayDraw(now),
                    .unheard = mGroup.Unheard()};
  for (const CLbMember* const member : mGroup.Members()) {
    view.stations.push_back(member->Describe(now));
    view.stations.back().fallbackMilliAmpere = mGroup.FallbackOf(*member);
  }
  return view;
}
