#include "simulation/offerrules.h"

#include <algorithm>

#include <fmt/format.h>

#include "src/limitationsources/limits.h"

namespace {

std::uint32_t CableAmpere(ipc::EPpState cable) {
  switch (cable) {
    case ipc::EPp13A:
    case ipc::EPpInvalid:
      return 13;
    case ipc::EPp20A:
      return 20;
    case ipc::EPp32A:
      return 32;
    case ipc::EPp63A70A:
      return 70;
    default:
      return 0;
  }
}

std::uint32_t Allowed(const SStationMoment& moment, const SDaySituation& situation) {
  const SDayPlan& plan = situation.plan;
  const std::uint32_t ampere =
      std::min({plan.hardwareAmpere, plan.installationAmpere, situation.settings.userAmpere});
  return kMilliAmperePerAmpere * (plan.hasSocket ? std::min(ampere, CableAmpere(moment.cable)) : ampere);
}

}  // namespace

void COfferedCurrentRule::OnSetpoint(Milliseconds /*at*/, std::uint32_t milliAmpere,
                                     std::uint32_t /*phases*/) {
  mHighest = std::max(mHighest, milliAmpere);
}

void COfferedCurrentRule::OnMoment(const SStationMoment& moment, const SDaySituation& situation) {
  const std::uint32_t allowed = Allowed(moment, situation);
  const bool isBroken = mHighest > std::max(allowed, mAllowedBefore);
  if (isBroken && !mIsBroken) Violate(moment.at, fmt::format("{} mA instead of {} mA", mHighest, allowed));
  mIsBroken = isBroken;
  mAllowedBefore = allowed;
  mHighest = moment.setpointMilliAmpere;
}

void COfferAfterStopRule::OnMoment(const SStationMoment& moment, const SDaySituation& situation) {
  const std::uint32_t draw = *std::ranges::max_element(moment.vehicle);
  const bool isBroken = situation.stoppedBy != ipc::ECurrentControlNone && situation.visit != nullptr &&
                        (moment.setpointMilliAmpere > 0 || draw > 0);
  if (isBroken && !mIsBroken) {
    Violate(moment.at, fmt::format("{} mA offered, {} mA drawn", moment.setpointMilliAmpere, draw));
  }
  mIsBroken = isBroken;
}

void CFuseRule::OnMoment(const SStationMoment& moment, const SDaySituation& situation) {
  const bool hasJustTripped = moment.hasFuseTripped && !mHadTripped;
  mHadTripped = moment.hasFuseTripped;
  if (!hasJustTripped || (situation.visit != nullptr && !situation.visit->Obeys())) return;
  Violate(moment.at, fmt::format("{} mA, household {} {} {} mA", moment.fuseMilliAmpere, moment.load[0],
                                 moment.load[1], moment.load[2]));
}
