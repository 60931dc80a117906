#include "src/components/loadbalancing/leader/lbleaderprotocol.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "platform/log/log.h"
#include "src/components/iblackoutprotection.h"
#include "src/components/loadbalancing/leader/ipowerlimitinput.h"
#include "src/components/loadbalancing/leader/lbreverseuniformalgorithm.h"
#include "src/components/loadbalancing/loadbalancingconfig.h"
#include "src/limitationsources/limits.h"

namespace {

constexpr auto kClassName = "CLbLeaderProtocol";
/// After the reset, so that no station answers before it.
constexpr Milliseconds kFirstSearch{100};
/// What several stations tell at the same time is one reason to share out anew.
constexpr Milliseconds kGather{100};
/// Before a station that was refused is asked again who it is.
constexpr Milliseconds kRefusalLasts{60000};

double Ampere(std::uint64_t milliAmpere) {
  return static_cast<double>(milliAmpere) / kMilliAmperePerAmpere;
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
    if (Config().GetGroupSize() <= 0)
      LOG_WARNING(
          "GroupLoadBalancingGroupSize is not defined in settings.json: stations of the group that were "
          "never "
          "heard do not count, though they may charge with their fallback current");
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
  mTold.Solved("leader");
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
  if (now >= mNextDistribution || isTooMuch) Distribute();
  Pump();
}

void CLbLeaderProtocol::Settle() {
  const TimePoint now = Now();
  if (mOtherLeaderHeard && now - *mOtherLeaderHeard >= kOtherLeaderGone) {
    LOG_INFO("No other leader was heard for {} s.", kOtherLeaderGone.count() / 1000);
    mOtherLeaderHeard.reset();
    mTold.Solved("leader");
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
  mGroup.SetSupply(
      {.milliAmpere = mParts.algorithm->Capacity(
           ReadSupply(), limitInput ? limitInput->GetLimit() : std::nullopt, mGroup.Drawn(), Now()),
       .size = static_cast<std::uint32_t>(std::max(Config().GetGroupSize(), 0)),
       .ownFallback = ReadFallback(),
       .isSettling = mState != EState::Leading,
       // What a former run told the others may be in force, and it may have left nothing for itself.
       .isOwnHeld = Now() - mEnabled < CLbExposure::kHold + CLbExposure::kLongestWay});
  TellOfHouse();
}

void CLbLeaderProtocol::Distribute() {
  const TimePoint now = Now();
  mNextDistribution = now + mParts.period;
  mGroup.Distribute(now);
  TellOfFallbacks();
  TellOfMissing();
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
  if (MayBeOwn(message)) return;
  mOtherLeaderHeard = Now();
  if (!mTold.IsNew("leader", "")) return;
  mNextSearch = Now();  // so that it hears this one, too
  LOG_WARNING(
      "{:s} leads this group, too: while it is heard nobody gets more than the fallback current. Give one of "
      "the two the GroupLoadBalancingRole \"Follower\" in settings.json",
      endpoint.ToString());
  Settle();
  MeasureSupply();
  Distribute();
}

/// A search begins with a call to everybody, which holds the leader's own serial number; what follows does
/// not tell whose it is.
bool CLbLeaderProtocol::MayBeOwn(const SLbMessage& message) const {
  switch (static_cast<ELbMessage>(message.Id())) {
    case ELbMessage::Reset:
      return true;
    case ELbMessage::Discovery: {
      const auto discovery = LbMessages::ReadDiscovery(message);
      return discovery.prefixBits != 0 || discovery.prefix == OwnSerialNumber();
    }
    default:
      return false;
  }
}

void CLbLeaderProtocol::OnDiscoveryAnswer(const LbSerialNumber& serialNumber,
                                          const std::shared_ptr<Endpoint>& endpoint) {
  const TimePoint now = Now();
  mDiscovery.TakeAnswer(now);
  if (serialNumber == mGroup.Own().SerialNumber()) {
    if (mTold.IsNew("own", ""))
      LOG_WARNING("{:s} has this station's own MainboardSn {}, and is not led", endpoint->ToString(),
                  ToText(serialNumber));
    return;
  }
  CLbMember* member = mGroup.Find(serialNumber);
  if (member != nullptr && !IsItself(*member, *endpoint)) return;
  if (member == nullptr) member = Admit(serialNumber, endpoint.get());
  if (member == nullptr) return;
  const bool isRefused = member->State() == ELbStationState::Refused;
  if (isRefused && member->HeardAgo(now) < kRefusalLasts) return;
  mTold.Solved(KeyOf("elsewhere", *member));
  member->SetWay(endpoint);
  member->Join(now);
  DistributeSoon();
}

/// One that has been heard lately is where it was heard.
bool CLbLeaderProtocol::IsItself(const CLbMember& member, const Endpoint& endpoint) {
  const bool isElsewhere = endpoint.IsNetworkEndpoint() && !member.IsAt(endpoint);
  if (!isElsewhere) return true;
  const auto heardAgo = member.HeardAgo(Now());
  if (member.State() == ELbStationState::Silent || heardAgo > CLbExposure::kHold) return true;
  if (mTold.IsNew(KeyOf("elsewhere", member), ""))
    LOG_WARNING("{:s} says that it is {}, which is {:s}: it is not heeded", endpoint.ToString(),
                NameOf(member), member.Address());
  return false;
}

CLbMember* CLbLeaderProtocol::Admit(const LbSerialNumber& serialNumber, const Endpoint* endpoint) {
  if (CLbMember* const former = endpoint != nullptr ? mGroup.FindAt(*endpoint) : nullptr; former != nullptr) {
    Rename(*former, serialNumber);
    return former;
  }
  if (mGroup.Followers() < Capacity()) return &mGroup.Add(serialNumber);
  // What a line brings may be noise.
  if (endpoint != nullptr && mGroup.AddSurplus(serialNumber))
    LOG_WARNING(
        "A group has at most {} stations besides its leader: {} and all further ones are not led, and charge "
        "with their fallback current, which is kept for them",
        Capacity(), ToText(serialNumber));
  return nullptr;
}

void CLbLeaderProtocol::Rename(CLbMember& member, const LbSerialNumber& serialNumber) {
  if (mTold.IsNew("renamed " + member.Address(), ""))
    LOG_WARNING("{:s} was {} and says that it is {} now", member.Address(), NameOf(member),
                ToText(serialNumber));
  ForgetTold(member);
  mGroup.Rename(member, serialNumber);
}

/// What is told of a station that is not there any more takes no memory.
void CLbLeaderProtocol::ForgetTold(const CLbMember& member) {
  for (const std::string_view problem : {"version", "elsewhere", "fallback"}) {
    mTold.Solved(KeyOf(problem, member));
  }
  mVehicleTold.erase(member.SerialNumber());
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
  const std::string problem = KeyOf("version", member);
  if (version == kLbProtocolVersion) {
    mTold.Solved(problem);
    return member.SetIsVersionKnown();
  }
  member.Refuse();
  DistributeSoon();
  if (mTold.IsNew(problem, std::to_string(version)))
    LOG_WARNING(
        "{} speaks version {} of the group's language, and not {}: it is not led, and {} A are kept for it",
        NameOf(member), version, kLbProtocolVersion, Ampere(mGroup.FallbackOf(member)));
}

void CLbLeaderProtocol::TakeFallback(CLbMember& member, std::uint32_t said) {
  const std::uint32_t milliAmpere = std::min(said, CLbVehicle::kNonsenseMilliAmpere);
  const std::string problem = KeyOf("fallback", member);
  if (said == milliAmpere) {
    mTold.Solved(problem);
  } else if (mTold.IsNew(problem, "")) {
    LOG_WARNING("{} says that it falls back to {} A, which no station can have: it counts with {} A",
                NameOf(member), Ampere(said), Ampere(milliAmpere));
  }
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
  TellOfVehicle(member);
  if (!wasLed) LOG_INFO("{} is led.", NameOf(member));
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
    ForgetTold(*member);
    mGroup.Remove(*member);
  }
}

void CLbLeaderProtocol::OnSilent(const CLbMember& member) {
  mQuickSearchUntil = Now() + kQuickSearchSpan;
  mNextSearch = std::min(mNextSearch, Now() + kQuickSearch);
  DistributeSoon();
  if (member.HasAnswered())
    LOG_WARNING("{} does not answer any more: {} A are kept for it", NameOf(member),
                Ampere(mGroup.FallbackOf(member)));
}

void CLbLeaderProtocol::AskMembers(TimePoint now) {
  const auto& members = mGroup.Members();
  mAsked = static_cast<std::uint32_t>(std::ranges::count_if(members, &CLbMember::IsAsked));
  std::optional<LbPhaseCurrents> mayDraw;
  const auto mayRise = [&](const CLbMember& member) {
    if (!member.IsReadyToRise()) return false;
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
  if (mParts.isLine) {
    BroadcastMessage(message);
  } else {
    SendMessage(message, *member.Way());
  }
  member.Ask(id, Sends(), now);
  ++mAsked;
}

void CLbLeaderProtocol::CallIfDue(TimePoint now) {
  if (now >= mNextSearch) {
    mDiscovery.Begin();
    mNextSearch = now + (now < mQuickSearchUntil || mOtherLeaderHeard ? kQuickSearch : mParts.period);
  }
  if (!mDiscovery.IsToCall() || !MayAsk()) return;
  auto discovery = mDiscovery.Call(now, ResponseTime(false));
  if (discovery.prefixBits == 0 && OwnSerialNumber()) discovery.prefix = *OwnSerialNumber();
  mIsListening = mParts.isLine;
  BroadcastMessage(LbMessages::Write(discovery));
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

void CLbLeaderProtocol::TellOfHouse() {
  const auto& blackoutProtection = mParts.blackoutProtection;
  if (!blackoutProtection || !blackoutProtection->IsInError()) return mTold.Solved("house");
  if (mTold.IsNew("house", ""))
    LOG_WARNING("The currents of the house are not known: the group shares {} A until they are",
                Ampere(std::ranges::max(mGroup.Supply().milliAmpere)));
}

void CLbLeaderProtocol::TellOfMissing() {
  const std::uint32_t size = mGroup.Supply().size;
  const auto heard = static_cast<std::uint32_t>(1 + mGroup.Followers());
  if (size == heard) mTold.Solved("size");
  if (size == 0 || size == heard || !mBegan || Now() - *mBegan < kTimeToFindAll ||
      !mTold.IsNew("size", std::to_string(heard)))
    return;
  if (size < heard) {
    LOG_WARNING("The group has {} stations, but GroupLoadBalancingGroupSize in settings.json is {}", heard,
                size);
  } else {
    LOG_WARNING("Of the {} stations of the group only {} were heard: {} A are kept for each of the others",
                size, heard, Ampere(ReadFallback()));
  }
}

/// Once for the same stations and currents: what a house leaves comes and goes.
void CLbLeaderProtocol::TellOfFallbacks() {
  if (mGroup.DoFallbacksFit() || mState != EState::Leading) return;
  constexpr std::size_t kMostNamed = 8;
  std::vector<std::string> names;
  std::uint64_t sum = std::uint64_t{mGroup.Unheard()} * mGroup.Supply().ownFallback;
  for (const CLbMember* const member : mGroup.Members()) {
    if (member->IsOwn()) continue;
    sum += mGroup.FallbackOf(*member);
    if (names.size() < kMostNamed)
      names.push_back(fmt::format("{} {} A", NameOf(*member), Ampere(mGroup.FallbackOf(*member))));
  }
  const std::string list = fmt::format("{}", fmt::join(names, ", "));
  if (!mTold.IsNew("fallbacks", fmt::format("{} {}", sum, list))) return;
  LOG_WARNING(
      "The fallback currents of the group's {} other stations, {} A together, do not fit into the {} A that "
      "there are: {}{}. When they lose their leader they may draw too much: lower "
      "GroupLoadBalancingFallbackCurrent in their settings.json",
      mGroup.Followers() + mGroup.Unheard(), Ampere(sum),
      Ampere(std::ranges::min(mGroup.Supply().milliAmpere)), list,
      mGroup.Followers() > kMostNamed ? " and others" : "");
}

void CLbLeaderProtocol::TellOfVehicle(const CLbMember& member) {
  const CLbVehicle& vehicle = member.Vehicle();
  const std::uint32_t overdrawn = std::ranges::max(vehicle.Overdrawn());
  if (!vehicle.IsNonsense() && overdrawn == 0) {
    mVehicleTold.erase(member.SerialNumber());
    return;
  }
  if (!mVehicleTold.insert(member.SerialNumber()).second) return;
  if (vehicle.IsNonsense()) {
    LOG_WARNING("{} says that it draws more than any station can: it counts with all that it may draw",
                NameOf(member));
  } else {
    LOG_WARNING("{} draws {} A where it may draw {} A: what it draws is kept for it", NameOf(member),
                Ampere(overdrawn), Ampere(member.Told().Allowed()));
  }
}

std::string CLbLeaderProtocol::KeyOf(std::string_view problem, const CLbMember& member) {
  return fmt::format("{} {}", problem, ToText(member.SerialNumber()));
}

std::string CLbLeaderProtocol::NameOf(const CLbMember& member) {
  return member.IsOwn() ? "This station" : fmt::format("Station {}", ToText(member.SerialNumber()));
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
