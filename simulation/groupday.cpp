#include "simulation/groupday.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "simulation/day.h"
#include "simulation/household.h"
#include "simulation/random.h"
#include "simulation/solarroof.h"

namespace {

using namespace GroupEvents;
using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using NetCurrents = std::array<std::int32_t, CVehicle::kPhases>;

constexpr MediumStation kLeader = 1;
constexpr std::uint32_t kLeastAmpere = 6;
constexpr std::int64_t kPercent = 100;
/// Of the fuse: what the households may take at most, and what is left for the group then, as it is planned
/// with 95 %.
constexpr std::uint32_t kHouseholdsPercent = 45;
constexpr std::uint32_t kGroupsPercent = 50;
constexpr std::uint32_t kStationsPerHousehold = 8;
/// mA; smaller changes of the house are none.
constexpr std::int32_t kNoticed = 500;

/// Makes a day up, part by part.
class CGroupDayPlanner {
 public:
  CGroupDayPlanner(std::uint64_t seed, std::uint32_t stations) : mRandom(seed) {
    mPlan.seed = seed;
    mPlan.length = kDay;
    mPlan.stations.resize(stations);
    mPlan.groupSize = stations;
  }

  SGroupPlan Make() {
    mPlan.medium = mPlan.Last() <= SGroupPlan::kMostOnLine && mRandom.Chance(1, 5)
                       ? SGroupPlan::EMedium::Line
                       : SGroupPlan::EMedium::Network;
    MakeSupply();
    MakeStations();
    MakeHouse();
    for (MediumStation station = 1; station <= mPlan.Last(); ++station) {
      Add(mRandom.Between(seconds(0), seconds(20)), SPower{.station = station, .isOn = true});
      MakeVisits(station);
    }
    MakeTroubles();
    MakeShortage();
    std::ranges::stable_sort(mPlan.events, {}, &SGroupEvent::at);
    return std::move(mPlan);
  }

 private:
  std::uint32_t Number(std::int64_t low, std::int64_t high) {
    return static_cast<std::uint32_t>(mRandom.Between(low, high));
  }
  template <class TValue, std::size_t kCount>
  TValue OneOf(const std::array<TValue, kCount>& values) {
    return values[mRandom.Index(kCount)];
  }
  MediumStation AnyFollower() { return Number(kLeader + 1, mPlan.Last()); }
  void Add(Milliseconds at, What what) { mPlan.events.push_back({at, std::move(what)}); }

  void MakeSupply();
  void MakeStations();
  void MakeHouse();
  CVehicle::SProperties MakeVehicle();
  void MakeVisits(MediumStation station);
  Milliseconds MakeVisit(MediumStation station, Milliseconds from, Milliseconds until);
  void MakeTroubles();
  Milliseconds MakeTrouble(Milliseconds from);
  CHearing::Parts MakeParts();
  void MakeShortage();

  CRandom mRandom;
  SGroupPlan mPlan;
};

void CGroupDayPlanner::MakeSupply() {
  constexpr std::array kFuses{25U, 32U, 40U, 50U, 63U, 80U, 100U, 125U, 160U, 200U, 250U, 315U, 400U};
  const std::uint32_t wanted = mPlan.Last() * Number(3, 10);
  const auto* const fuse = std::ranges::find_if(kFuses, [wanted](auto each) { return each >= wanted; });
  mPlan.fuseAmpere = fuse == kFuses.end() ? kFuses.back() : *fuse;
  mPlan.capacityAmpere = mPlan.fuseAmpere;
}

void CGroupDayPlanner::MakeStations() {
  constexpr std::array<std::string_view, CVehicle::kPhases> kRotations{"RST", "STR", "TRS"};
  const std::uint32_t fit =
      static_cast<std::uint32_t>(mPlan.fuseAmpere * kGroupsPercent / kPercent) / kLeastAmpere;
  const std::uint32_t without = mPlan.Last() - std::min(mPlan.Last(), Number(0, fit));
  const std::uint64_t first = mRandom.Below(900);  // bought together
  for (std::size_t i = 0; i < mPlan.stations.size(); ++i) {
    SGroupPlan::SStation& station = mPlan.stations[i];
    station.serialNumber = fmt::format("26-47-A3F-{:03}", first + i);
    station.rotation = kRotations[i % kRotations.size()];
    station.fallbackAmpere = i < without ? 0 : kLeastAmpere;
  }
}

// The house: its households less its roofs.

void CGroupDayPlanner::MakeHouse() {
  constexpr Milliseconds kPeriod = seconds(10);
  const std::uint32_t households = 1 + mPlan.Last() / kStationsPerHousehold;
  const auto weather = OneOf(std::array{CSolarRoof::EWeather::Clear, CSolarRoof::EWeather::BrokenClouds,
                                        CSolarRoof::EWeather::Rain});
  std::vector<std::vector<SLoads>> loads;
  std::vector<CSolarRoof> roofs;
  for (std::uint32_t i = 0; i < households; ++i) {
    const auto share = static_cast<std::uint32_t>(mPlan.fuseAmpere * kHouseholdsPercent / kPercent);
    loads.push_back(CHousehold(mRandom.Below(1000000)).Behind(share / households));
    roofs.emplace_back(CSolarRoof::SProperties{
        .weather = weather, .peakWatt = Number(3000, 10000), .phases = 3, .seed = mRandom.Below(1000000)});
  }
  std::vector<std::size_t> next(households, 0);
  NetCurrents told{};
  for (Milliseconds at{0}; at < kDay; at += kPeriod) {
    NetCurrents house{};
    for (std::uint32_t i = 0; i < households; ++i) {
      while (next[i] + 1 < loads[i].size() && loads[i][next[i] + 1].at <= at) ++next[i];
      const CVehicle::Currents roof = roofs[i].CurrentsAt(at);
      for (std::size_t phase = 0; phase < house.size(); ++phase)
        house[phase] += static_cast<std::int32_t>(loads[i][next[i]].milliAmpere[phase]) -
                        static_cast<std::int32_t>(roof[phase]);
    }
    const bool isNews = !std::ranges::equal(
        house, told, [](std::int32_t one, std::int32_t other) { return std::abs(one - other) < kNoticed; });
    if (isNews) Add(at, SHouse{.milliAmpere = told = house});
  }
}

// Vehicles.

CVehicle::SProperties CGroupDayPlanner::MakeVehicle() {
  CVehicle::SProperties vehicle;
  vehicle.maxMilliAmpere = OneOf(std::array{10000U, 16000U, 16000U, 16000U, 20000U, 32000U, 32000U});
  vehicle.phases = OneOf(std::array{1U, 1U, 2U, 3U, 3U, 3U});
  vehicle.reaction = mRandom.Between(Milliseconds(500), Milliseconds(3000));
  vehicle.rampMilliAmperePerSecond = Number(1000, 8000);
  vehicle.rampDownMilliAmperePerSecond = 20000;  // there in time, whatever it has
  vehicle.inWholeAmperes = mRandom.Chance(1, 4);
  return vehicle;
}

void CGroupDayPlanner::MakeVisits(MediumStation station) {
  Milliseconds free{0};
  if (mRandom.Chance(1, 3)) free = MakeVisit(station, Milliseconds(0), mRandom.Between(hours(5), hours(9)));
  if (mRandom.Chance(1, 2)) {
    const Milliseconds from = free + mRandom.Between(minutes(10), hours(5));
    free = MakeVisit(station, from, from + mRandom.Between(minutes(20), hours(7)));
  }
  const Milliseconds evening =
      std::max(free, Milliseconds(hours(16))) + mRandom.Between(minutes(1), hours(5));
  if (mRandom.Chance(4, 5) && evening < kDay) MakeVisit(station, evening, kDay);
}

/// Answers from when on the next one can come.
Milliseconds CGroupDayPlanner::MakeVisit(MediumStation station, Milliseconds from, Milliseconds until) {
  Add(from, SPlug{.station = station, .vehicle = MakeVehicle()});
  const Milliseconds full = from + mRandom.Between(minutes(40), hours(7));
  if (full < until) Add(full, SFull{.station = station});
  if (until < kDay) Add(until, SUnplug{.station = station});
  return until + SGroupPlan::kBetweenVehicles;
}

// Failures.

void CGroupDayPlanner::MakeTroubles() {
  for (Milliseconds at = mRandom.Between(minutes(20), hours(4)); at < kDay - hours(1);)
    at = MakeTrouble(at) + mRandom.Between(minutes(30), hours(4));
}

/// Answers when it is over.
Milliseconds CGroupDayPlanner::MakeTrouble(Milliseconds from) {
  const Milliseconds until = from + mRandom.Between(seconds(10), minutes(mRandom.Chance(1, 2) ? 2 : 25));
  const auto kind = mRandom.Below(9);
  const MediumStation station = AnyFollower();
  if (kind <= 2) {
    Add(from, SSplit{.parts = MakeParts()});
    Add(until, SSplit{});
  } else if (kind <= 5) {
    const MediumStation off = kind == 5 ? kLeader : station;
    Add(from, SPower{.station = off, .isOn = false});
    Add(until, SPower{.station = off, .isOn = true});
  } else if (kind == 6) {
    Add(from, SAdapter{.station = station, .isPresent = false});
    Add(until, SAdapter{.station = station, .isPresent = true});
  } else if (kind == 7 && mPlan.medium == SGroupPlan::EMedium::Network) {
    Add(from, SSecondLeader{.station = station, .begins = true});
    Add(until, SSecondLeader{.station = station, .begins = false});
  } else {
    const bool isLine = mPlan.medium == SGroupPlan::EMedium::Line;
    Add(from,
        SNoise{.lossPerMille = isLine ? Number(5, 60) : Number(20, 300),
               .duplicationPerMille = isLine ? 0 : Number(0, 100),
               .longestDelay = isLine ? Milliseconds(0) : mRandom.Between(seconds(0), Milliseconds(300))});
    Add(until, SNoise{});
  }
  return until;
}

CHearing::Parts CGroupDayPlanner::MakeParts() {
  CHearing::Parts parts(2);
  for (MediumStation station = 1; station <= mPlan.Last(); ++station)
    parts[mRandom.Index(parts.size())].insert(station);
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (!parts[i].empty()) continue;
    parts[i].insert(mPlan.Last());
    parts[1 - i].erase(mPlan.Last());
  }
  return parts;
}

/// Somebody leaves less to the group for an hour or two.
void CGroupDayPlanner::MakeShortage() {
  if (!mRandom.Chance(1, 3)) return;
  const Milliseconds from = mRandom.Between(hours(17), hours(20));
  Add(from, SCapacity{.ampere = static_cast<std::uint32_t>(mPlan.capacityAmpere * 6 / 10)});
  Add(from + mRandom.Between(hours(1), hours(2)), SCapacity{.ampere = mPlan.capacityAmpere});
}

}  // namespace

SGroupPlan GroupDay::Make(std::uint64_t seed, std::uint32_t stations) {
  return CGroupDayPlanner(seed, stations).Make();
}
