#include "simulation/overcurrentrule.h"

#include <algorithm>

#include <fmt/format.h>

namespace {

using std::chrono::seconds;

struct SThreshold {
  std::uint32_t percent;
  seconds duration;
};
constexpr std::array<SThreshold, 3> kThresholds{
    {{110, seconds(1200)}, {120, seconds(30)}, {125, seconds(5)}}};
/// The meter's second and five checks.
constexpr seconds kNoticed{6};
constexpr seconds kTimeToFollow{10};
/// mA; a vehicle that waits may be measured with some.
constexpr std::uint32_t kWaiting = 1000;

std::int64_t Tenths(Milliseconds span) {
  return span.count() / 100;
}

}  // namespace

void COvercurrentRule::OnSetpoint(Milliseconds at, std::uint32_t milliAmpere, std::uint32_t /*phases*/) {
  while (!mFormer.empty() && mFormer.back().milliAmpere <= mSetpoint) mFormer.pop_back();
  if (mSetpoint > milliAmpere) mFormer.push_back({mSetpoint, at + kTimeToFollow});
  mSetpoint = milliAmpere;
}

std::uint32_t COvercurrentRule::Tolerated(Milliseconds at) {
  while (!mFormer.empty() && mFormer.front().until <= at) mFormer.pop_front();
  return mFormer.empty() ? mSetpoint : std::max(mSetpoint, mFormer.front().milliAmpere);
}

void COvercurrentRule::OnMoment(const SStationMoment& moment, const SDaySituation& situation) {
  const std::uint32_t tolerated = Tolerated(moment.at);
  const std::uint32_t draw = *std::ranges::max_element(moment.vehicle);
  const bool isSteady = tolerated == mTolerated && situation.isStationMeterGood;
  mTolerated = tolerated;
  for (std::size_t i = 0; i < kThresholds.size(); ++i) {
    const std::uint64_t most = std::max(tolerated * kThresholds[i].percent / 100, kWaiting);
    if (!isSteady || draw <= most + 1) mSince[i].reset();
    if (draw > most + 1 && !mSince[i]) mSince[i] = moment.at;
    if (!mSince[i] || moment.at - *mSince[i] <= kThresholds[i].duration + kNoticed) continue;
    Violate(moment.at, fmt::format("{} mA instead of {} mA for {}.{} s", draw, tolerated,
                                   Tenths(moment.at - *mSince[i]) / 10, Tenths(moment.at - *mSince[i]) % 10));
    mSince[i].reset();
  }
}
