#include "simulation/groupsafetyrule.h"

#include <fmt/ranges.h>

CGroupSafetyRule::CGroupSafetyRule(EFallbacks fallbacks, Report report)
    : CGroupRule(fallbacks == EFallbacks::Fit ? "the supply is enough for all that may be drawn"
                                              : "the supply is enough for what all are told",
                 std::move(report)),
      mFallbacks(fallbacks) {}

bool CGroupSafetyRule::Counts(const SGroupMoment& moment) const {
  if (mFallbacks == EFallbacks::Fit) return moment.DoFallbacksFit();
  return !moment.DoFallbacksFit() && moment.Calm() >= kAllLed &&
         std::ranges::all_of(moment.stations, [](const auto& station) { return station.isLed; });
}

void CGroupSafetyRule::Check(const SGroupMoment& moment) {
  if (moment.isNoisy) mNoisyUntil = moment.at;
  if (std::ranges::equal(moment.mayDraw, moment.granted, std::ranges::less_equal()) || !Counts(moment)) {
    mHeldUntil = moment.at;
    mIsTold = false;
    return;
  }
  const bool mayBeDamage =
      moment.plan.medium == SGroupPlan::EMedium::Line && moment.at - mNoisyUntil < kDamaged;
  if (mIsTold || (mayBeDamage && moment.at - mHeldUntil < kDamaged)) return;
  mIsTold = true;
  std::string stations;
  for (std::size_t i = 0; i < moment.stations.size(); ++i) {
    const LbPhaseCurrents& mayDraw = moment.stations[i].mayDraw;
    if (mayDraw != LbPhaseCurrents{}) stations += fmt::format("; {}: {}", i + 1, fmt::join(mayDraw, ", "));
  }
  Violate(moment.at, fmt::format("{} mA of {} mA{}", fmt::join(moment.mayDraw, ", "),
                                 fmt::join(moment.granted, ", "), stations));
}
