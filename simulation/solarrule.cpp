#include "simulation/solarrule.h"

#include <algorithm>
#include <numeric>

#include <fmt/format.h>

namespace {

using std::chrono::seconds;

constexpr seconds kRun{20};
constexpr std::int32_t kDoubtVolt = 2;
constexpr std::int32_t kRoundingWatt = 20;
constexpr std::int32_t kLeastChargingMilliAmpere = 6000;

}  // namespace

CSolarRule::CSolarRule(EKind kind, Report report)
    : CDayRule(kind == EKind::Starts ? "with enough surplus charging starts in time"
                                     : "with too little surplus charging stops in time",
               std::move(report)),
      mKind(kind) {}

void CSolarRule::Note(const SStationMoment& moment) {
  const std::uint32_t milliAmpere = std::accumulate(moment.vehicle.begin(), moment.vehicle.end(), 0U);
  mPowers[mNoted++ % kSeen] = {
      .vehicleWatt = moment.vehicleWatt,
      .gridWatt = moment.gridWatt,
      .doubtWatt = static_cast<std::int32_t>(milliAmpere) * kDoubtVolt / 1000 + kRoundingWatt};
}

bool CSolarRule::IsDecided(std::int32_t thresholdWatt) const {
  if (mNoted < kSeen) return false;
  const auto [leastVehicle, mostVehicle] = std::ranges::minmax(mPowers, {}, &SPowers::vehicleWatt);
  const auto [leastGrid, mostGrid] = std::ranges::minmax(mPowers, {}, &SPowers::gridWatt);
  const std::int32_t doubt = std::ranges::max(mPowers, {}, &SPowers::doubtWatt).doubtWatt;
  if (mKind == EKind::Starts) return leastVehicle.vehicleWatt - mostGrid.gridWatt - doubt >= thresholdWatt;
  return mostVehicle.vehicleWatt - leastGrid.gridWatt + doubt < thresholdWatt;
}

Milliseconds CSolarRule::Allowed(const SDaySettings::SThresholds& thresholds) const {
  const seconds time = mKind == EKind::Starts ? thresholds.start : thresholds.stop;
  return kRun + kRun * std::max<std::int64_t>(1, (time + kRun - seconds(1)) / kRun);
}

void CSolarRule::OnMoment(const SStationMoment& moment, const SDaySituation& situation) {
  Note(moment);
  const SDaySettings::SThresholds thresholds = situation.settings.Thresholds();
  const bool isAnew = mSettingsChanges != situation.settingsChanges;
  mSettingsChanges = situation.settingsChanges;
  const bool isSolar = situation.settings.isSolarEnabled && situation.isHouseMeterGood &&
                       situation.isStationMeterGood && !moment.hasFuseTripped;
  if (!isSolar || isAnew || !IsDecided(thresholds.watt)) return mSince.reset();
  if (!mSince) mSince = moment.at;
  if (moment.at - *mSince <= Allowed(thresholds)) return;
  const auto limit = situation.limitOf(ipc::ECurrentControlSolarCharging);
  const bool mayCharge = limit && *limit >= kLeastChargingMilliAmpere;
  if (mayCharge != (mKind == EKind::Starts)) {
    Violate(moment.at,
            fmt::format("{} mA with {} W for {} s in mode {}", limit.value_or(-1), moment.surplusWatt,
                        (moment.at - *mSince) / seconds(1), situation.settings.mode));
  }
  mSince.reset();
}
