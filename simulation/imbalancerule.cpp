#include "simulation/imbalancerule.h"

#include <algorithm>

#include <fmt/format.h>

namespace {

constexpr std::uint32_t kMilliVolt = 230000;

}  // namespace

void CImbalanceRule::OnMoment(const SStationMoment& moment, const SDaySituation& situation) {
  const auto [low, high] = std::ranges::minmax(moment.vehicle);
  const std::uint32_t milliVoltAmpere = (high - low) * (kMilliVolt / 1000);
  const std::uint32_t most = situation.plan.imbalanceAmpere * kMilliVolt;
  const bool isAbove = milliVoltAmpere > most && situation.plan.stationPhases == 3;
  if (!isAbove || !situation.isStationMeterGood) return mSince.reset();
  if (!mSince) mSince = moment.at;
  if (moment.at - *mSince <= kLongest) return;
  Violate(moment.at, fmt::format("{} VA of {} VA for {} s", milliVoltAmpere / 1000, most / 1000,
                                 (moment.at - *mSince).count() / 1000));
  mSince.reset();
}
