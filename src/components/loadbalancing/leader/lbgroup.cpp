#include "src/components/loadbalancing/leader/lbgroup.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "src/components/loadbalancing/leader/lbreverseuniformalgorithm.h"

namespace {

std::uint32_t Clamped(std::uint64_t milliAmpere) {
  return static_cast<std::uint32_t>(
      std::min<std::uint64_t>(milliAmpere, std::numeric_limits<std::uint32_t>::max()));
}

std::uint32_t Less(std::uint32_t milliAmpere, std::uint64_t taken) {
  return taken >= milliAmpere ? 0 : static_cast<std::uint32_t>(milliAmpere - taken);
}

}  // namespace

CLbGroup::CLbGroup(std::shared_ptr<CLbReverseUniformAlgorithm> algorithm)
    : mAlgorithm(std::move(algorithm)), mMembers{&mOwn} {}

CLbMember* CLbGroup::Find(const LbSerialNumber& serialNumber) {
  const auto found = mFollowers.find(serialNumber);
  return found != mFollowers.end() ? &found->second : nullptr;
}

CLbMember* CLbGroup::FindAt(const ICommunicationListener::IEndpoint& endpoint) const {
  const auto found = std::ranges::find_if(
      mMembers, [&](const CLbMember* member) { return !member->IsOwn() && member->IsAt(endpoint); });
  return found != mMembers.end() ? *found : nullptr;
}

CLbMember& CLbGroup::Add(const LbSerialNumber& serialNumber) {
  mSurplus.erase(serialNumber);
  CLbMember& member = mFollowers.try_emplace(serialNumber, serialNumber).first->second;
  mMembers.push_back(&member);
  return member;
}

void CLbGroup::Remove(const CLbMember& member) {
  std::erase(mMembers, &member);
  mFollowers.erase(member.SerialNumber());
}

void CLbGroup::Rename(CLbMember& member, const LbSerialNumber& serialNumber) {
  auto node = mFollowers.extract(member.SerialNumber());
  node.key() = serialNumber;
  node.mapped().SetSerialNumber(serialNumber);
  mFollowers.insert(std::move(node));
  mSurplus.erase(serialNumber);
}

bool CLbGroup::AddSurplus(const LbSerialNumber& serialNumber) {
  const bool isFirst = mSurplus.empty();
  if (mSurplus.size() < kMostSurplus) mSurplus.insert(serialNumber);
  return isFirst;
}

std::uint32_t CLbGroup::FallbackOf(const CLbMember& member) const {
  return member.IsOwn() ? mSupply.ownFallback : member.Fallback().value_or(mSupply.ownFallback);
}

std::uint32_t CLbGroup::Unheard() const {
  const std::size_t missing = mSupply.size > Heard() ? mSupply.size - Heard() : 0;
  return static_cast<std::uint32_t>(missing + mSurplus.size());
}

std::uint64_t CLbGroup::KeptForUnheard() const {
  return std::uint64_t{Unheard()} * mSupply.ownFallback;
}

std::uint64_t CLbGroup::KeptForOthers(TimePoint now) const {
  std::uint64_t kept = KeptForUnheard();
  for (const CLbMember* const member : mMembers) {
    if (!member->IsServable()) kept += std::ranges::max(CountOf(*member, now));
  }
  return kept;
}

std::uint64_t CLbGroup::Fallbacks() const {
  std::uint64_t sum = KeptForUnheard();
  for (const CLbMember* const member : mMembers) {
    if (!member->IsOwn()) sum += FallbackOf(*member);
  }
  return sum;
}

std::uint32_t CLbGroup::ReserveOf(const CLbMember& member, TimePoint now) const {
  const bool counts = !member.IsOwn() && (mDoFallbacksFit || member.MayHaveFallenBack(now + kMakeRoom));
  return counts ? FallbackOf(member) : 0;
}

LbPhaseCurrents CLbGroup::CountOf(const CLbMember& member, TimePoint now) const {
  LbPhaseCurrents most = member.MayDraw(now);
  const std::uint32_t reserve = ReserveOf(member, now);
  for (std::uint32_t& each : most) each = std::max(each, reserve);
  return most;
}

LbPhaseCurrents CLbGroup::MayDraw(TimePoint now) const {
  Sums sums{};
  sums.fill(KeptForUnheard());
  for (const CLbMember* const member : mMembers) {
    const LbPhaseCurrents most = CountOf(*member, now);
    for (std::size_t phase = 0; phase < sums.size(); ++phase) sums[phase] += most[phase];
  }
  return {Clamped(sums[0]), Clamped(sums[1]), Clamped(sums[2])};
}

bool CLbGroup::Affords(const CLbMember& member, const SLbLimit& limit, const LbPhaseCurrents& mayDraw,
                       TimePoint now) const {
  const std::uint32_t reserve = mDoFallbacksFit ? ReserveOf(member, now) : 0;
  const LbPhaseCurrents granted = member.Granted(now);
  const LbPhaseCurrents counted = CountOf(member, now);
  for (std::size_t phase = 0; phase < counted.size(); ++phase) {
    const bool isRise =
        HasLbPhase(member.Vehicle().Phases(), phase) && limit.Allowed() > std::max(granted[phase], reserve);
    if (!isRise) continue;
    // What its vehicle draws by now beyond its limit is no grant.
    const std::uint64_t others = mayDraw[phase] - counted[phase];
    if (others + std::max(counted[phase], limit.Allowed()) > mSupply.forRises[phase]) return false;
  }
  return true;
}

SLbLimit CLbGroup::NextLimit(const CLbMember& member, TimePoint now) const {
  const LbPhaseCurrents mayDraw = MayDraw(now);
  if (member.HasShare() && Affords(member, member.Share(), mayDraw, now)) return member.Share();
  if (member.IsTold() && Affords(member, member.Told(), mayDraw, now)) return member.Told();
  // What is kept for it anyway is there.
  const std::uint32_t reserve = ReserveOf(member, now);
  return {.milliAmpere = reserve >= kLbLeastMilliAmpere ? reserve : 0};
}

LbPhaseCurrents CLbGroup::Drawn() const {
  return SumOfDrawn([](const CLbVehicle&) { return true; });
}

LbPhaseCurrents CLbGroup::DrawnUnevenly() const {
  return SumOfDrawn([](const CLbVehicle& vehicle) { return vehicle.Phases() != kLbAllPhases; });
}

template <typename Predicate>
LbPhaseCurrents CLbGroup::SumOfDrawn(Predicate counts) const {
  Sums sums{};
  for (const CLbMember* const member : mMembers) {
    const CLbVehicle& vehicle = member->Vehicle();
    if (!counts(vehicle)) continue;
    for (std::size_t phase = 0; phase < sums.size(); ++phase) sums[phase] += vehicle.Drawn()[phase];
  }
  return {Clamped(sums[0]), Clamped(sums[1]), Clamped(sums[2])};
}

void CLbGroup::SetSupply(const SSupply& supply) {
  mSupply = supply;
  mDoFallbacksFit = Fallbacks() <= std::ranges::min(mSupply.milliAmpere);
}

void CLbGroup::Distribute(EChange change, TimePoint now) {
  mDoFallbacksFit = Fallbacks() <= std::ranges::min(mSupply.milliAmpere);
  mPlaces.clear();
  for (const CLbMember* const member : mMembers) {
    if (!member->IsServable()) continue;
    mPlaces.push_back({.serialNumber = member->SerialNumber(),
                       .wish = member->Vehicle().Wish(),
                       .isServed = member->Share().Allowed() >= kLbLeastMilliAmpere,
                       .isKept = mDoFallbacksFit && ReserveOf(*member, now) >= kLbLeastMilliAmpere});
  }
  mTurns.Arrange(mPlaces, now);
  mRequests.clear();
  mInOrder.clear();
  for (const CLbTurns::SStation& place : mPlaces) {
    CLbMember* const member = Find(place.serialNumber);
    mInOrder.push_back(member != nullptr ? member : &mOwn);
    mRequests.push_back(RequestOf(*mInOrder.back(), place, now));
  }
  LbPhaseCurrents left{};
  std::ranges::transform(mSupply.milliAmpere, left.begin(),
                         [kept = KeptForOthers(now)](std::uint32_t each) { return Less(each, kept); });
  mAlgorithm->Distribute(left, DrawnUnevenly(), mRequests);
  for (std::size_t i = 0; i < mInOrder.size(); ++i) SetShare(*mInOrder[i], mRequests[i], change);
}

SLbShareRequest CLbGroup::RequestOf(const CLbMember& member, const CLbTurns::SStation& place,
                                    TimePoint now) const {
  const std::uint32_t reserve = ReserveOf(member, now);
  SLbShareRequest request{.phases = member.Vehicle().Phases(),
                          .mostMilliAmpere = member.Vehicle().Most(),
                          .overdrawn = member.Vehicle().Overdrawn(),
                          .isOffer = place.isOffer};
  if (mDoFallbacksFit) {
    request.reserveMilliAmpere = reserve;
  } else {
    for (std::uint32_t& each : request.overdrawn) each = std::max(each, reserve);
    // That it may draw so much anyway is no reason to tell it so.
    if (reserve != 0) request.mostMilliAmpere = std::min(request.mostMilliAmpere, member.Share().Allowed());
  }
  if (mSupply.isSettling) request.mostMilliAmpere = std::min(request.mostMilliAmpere, FallbackOf(member));
  if (mSupply.isOwnHeld && member.IsOwn()) request.mostMilliAmpere = 0;
  return request;
}

void CLbGroup::SetShare(CLbMember& member, const SLbShareRequest& request, EChange change) const {
  SLbLimit share{.milliAmpere = request.shareMilliAmpere};
  const SLbLimit& former = member.Share();
  const bool isRise = share.milliAmpere > former.Allowed();
  const bool isSmall =
      former.milliAmpere >= kLbLeastMilliAmpere && share.milliAmpere - former.milliAmpere < kSmallestRise;
  if (isRise && member.HasShare() && (isSmall || change == EChange::Fall)) return;
  const bool areKnown = member.IsOwn() || member.Vehicle().ArePhasesKnown();
  if (!areKnown && share.milliAmpere >= kLbPhaseDiscoveryMilliAmpere) share = {.isPhaseDiscovery = true};
  member.SetShare(share);
}
