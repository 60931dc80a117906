#include "simulation/solarroof.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr std::int64_t kPerMille = 1000;
constexpr std::int64_t kPerMillion = 1000000;
constexpr std::uint32_t kMilli = 1000;
constexpr std::uint32_t kVolt = 230;

/// Parts of a million of what the day's sun gives at noon: the square of a parabola, which begins and ends
/// without a corner.
std::int64_t Bell(Milliseconds ofDay) {
  if (ofDay <= CSolarRoof::kSunrise || ofDay >= CSolarRoof::kSunset) return 0;
  constexpr std::int64_t kLength = (CSolarRoof::kSunset - CSolarRoof::kSunrise).count();
  const std::int64_t since = (ofDay - CSolarRoof::kSunrise).count();
  const std::int64_t parabola = 4 * since * (kLength - since) / (kLength * kLength / kPerMillion);
  return parabola * parabola / kPerMillion;
}

}  // namespace

CSolarRoof::CSolarRoof(const SProperties& properties) : mProperties(properties) {
  CRandom random(mProperties.seed);
  switch (mProperties.weather) {
    case EWeather::Clear:
      mSky = {{Milliseconds{0}, kPerMille}};
      break;
    case EWeather::BrokenClouds:
      AddClouds(random);
      break;
    case EWeather::Rain:
      AddRain(random);
  }
  mSky.push_back({kDay, mSky.back().perMille});
}

void CSolarRoof::AddClouds(CRandom& random) {
  using std::chrono::seconds;
  for (Milliseconds at{0}; at < kDay;) {
    // The edge of a cloud throws light of its own upon the modules.
    const std::int64_t bright = random.Between(950, 1100);
    const std::int64_t dark = random.Between(120, 450);
    mSky.push_back({at, bright});
    mSky.push_back({at += random.Between(seconds(20), seconds(480)), bright});
    mSky.push_back({at += random.Between(seconds(2), seconds(15)), dark});
    mSky.push_back({at += random.Between(seconds(15), seconds(360)), dark});
    at += random.Between(seconds(2), seconds(15));
  }
  while (mSky.back().at >= kDay) mSky.pop_back();
}

void CSolarRoof::AddRain(CRandom& random) {
  for (Milliseconds at{0}; at < kDay;) {
    mSky.push_back({at, random.Between(40, 200)});
    at += random.Between(std::chrono::minutes(5), std::chrono::minutes(20));
  }
}

std::int64_t CSolarRoof::PerMilleAt(Milliseconds ofDay) const {
  const auto next = std::ranges::upper_bound(mSky, ofDay, {}, &SKnot::at);
  const SKnot& from = *std::prev(next);
  return from.perMille + (next->perMille - from.perMille) * (ofDay - from.at).count() /
                             std::max<std::int64_t>(1, (next->at - from.at).count());
}

std::uint32_t CSolarRoof::WattAt(Milliseconds ofDay) const {
  ofDay %= kDay;
  const std::int64_t bell = Bell(ofDay);
  if (bell == 0) return 0;
  const std::int64_t watt = mProperties.peakWatt * bell / kPerMille * PerMilleAt(ofDay) / kPerMillion;
  return std::min(mProperties.peakWatt, static_cast<std::uint32_t>(watt));
}

CVehicle::Currents CSolarRoof::CurrentsAt(Milliseconds ofDay) const {
  CVehicle::Currents currents{};
  std::fill_n(currents.begin(), mProperties.phases, WattAt(ofDay) * kMilli / kVolt / mProperties.phases);
  return currents;
}
