#include "simulation/offeredcurrentrule.h"

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
