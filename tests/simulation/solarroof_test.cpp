#include "simulation/solarroof.h"

#include <algorithm>
#include <numeric>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using EWeather = CSolarRoof::EWeather;

/// What a roof of 6 kW gives every ten seconds from 11:00 to 15:00, in W, when a clear sky gives 5060 and
/// more.
std::vector<std::int64_t> AroundNoon(EWeather weather, std::uint64_t seed) {
  const CSolarRoof roof({.weather = weather, .peakWatt = 6000, .seed = seed});
  std::vector<std::int64_t> watts;
  for (Milliseconds at = 11h; at <= 15h; at += 10s) watts.push_back(roof.WattAt(at));
  return watts;
}

std::int64_t LargestStep(std::vector<std::int64_t> watts) {
  std::adjacent_difference(watts.begin(), watts.end(), watts.begin());
  return std::abs(*std::max_element(watts.begin() + 1, watts.end()));
}

TEST(SolarRoof, ShinesThroughTheDayAsTheWeatherLetsIt) {
  const CSolarRoof clear({.peakWatt = 6000, .phases = 1});
  for (const auto& [at, watt] : {std::pair<Milliseconds, std::uint32_t>{0h, 0},
                                 {6h, 0},
                                 {13h, 6000},
                                 {9h + 30min, 3375},  // half way up: the square of 3/4
                                 {16h + 30min, 3375},
                                 {20h, 0},
                                 {37h, 6000}}) {
    EXPECT_EQ(clear.WattAt(at), watt) << at.count();
  }
  EXPECT_EQ(clear.CurrentsAt(13h), (CVehicle::Currents{26086, 0, 0}));
  EXPECT_EQ(CSolarRoof({.peakWatt = 6900}).CurrentsAt(13h), (CVehicle::Currents{10000, 10000, 10000}));

  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    const auto broken = AroundNoon(EWeather::BrokenClouds, seed);
    EXPECT_LT(*std::ranges::min_element(broken), 2700);
    EXPECT_GT(*std::ranges::max_element(broken), 4800);
    EXPECT_GT(LargestStep(broken), 1500);
    const auto rain = AroundNoon(EWeather::Rain, seed);
    EXPECT_GT(*std::ranges::min_element(rain), 200);
    EXPECT_LE(*std::ranges::max_element(rain), 1200);
    EXPECT_LT(LargestStep(rain), 40);
    EXPECT_EQ(broken, AroundNoon(EWeather::BrokenClouds, seed));
    EXPECT_NE(broken, AroundNoon(EWeather::BrokenClouds, seed + 1));
  }
}

}  // namespace
