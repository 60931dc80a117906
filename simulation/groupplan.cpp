#include "simulation/groupplan.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "simulation/random.h"
#include "src/components/settingskeys.h"

namespace {

using namespace GroupEvents;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr MediumStation kLeader = 1;
constexpr std::uint32_t kLeastAmpere = 6;
constexpr std::uint32_t kMilliAmperePerAmpere = 1000;

/// Makes a plan up, part by part.
class CGroupPlanner {
 public:
  CGroupPlanner(std::uint64_t seed, Milliseconds length) : mRandom(seed) {
    mPlan.seed = seed;
    mPlan.length = length;
  }

  SGroupPlan Make() {
    MakeStations();
    MakeSupply();
    MakeFallbacks();
    for (MediumStation station = 1; station <= mPlan.Last(); ++station) {
      Add(mRandom.Between(seconds(0), seconds(20)), SPower{.station = station, .isOn = true});
      MakeVisits(station);
    }
    MakeTroubles();
    MakeHouse();
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

  // Time.
  static constexpr Milliseconds kRound = SGroupPlan::kBusy + SGroupPlan::kQuiet;
  /// The earliest moment from then on at which something may happen.
  Milliseconds Busy(Milliseconds at) {
    const Milliseconds inRound = at % kRound;
    if (inRound < SGroupPlan::kBusy) return at;
    return at - inRound + kRound + mRandom.Between(Milliseconds(0), SGroupPlan::kBusy / 2);
  }

  void MakeStations();
  std::string MakeSerialNumber();
  void MakeSupply();
  void MakeFallbacks();
  CVehicle::SProperties MakeVehicle();
  void MakeVisits(MediumStation station);
  void MakeSatiation(MediumStation station, CVehicle::SProperties vehicle, Milliseconds from,
                     Milliseconds until);
  void MakeTroubles();
  void MakeTrouble(Milliseconds begin);
  void MakeNoise(Milliseconds from, Milliseconds until);
  SNoise AnyNoise();
  void MakeSecondLeader(MediumStation station, Milliseconds from, Milliseconds until);
  void MakeSplit(Milliseconds from, Milliseconds until);
  void MakeHouse();
  /// Two that would get into each other's way do not overlap.
  bool Reserve(int what, Milliseconds from, Milliseconds until);

  static constexpr int kNoise = -1;
  static constexpr int kWays = -2;  ///< partitions and second leaders

  CRandom mRandom;
  SGroupPlan mPlan;
  std::map<int, Milliseconds> mReservedUntil;
  bool mIsAlwaysNoisy = false;
};

void CGroupPlanner::MakeStations() {
  constexpr std::array kMost{2U, 2U, 5U, 5U, 5U, 8U, 12U, 20U, SGroupPlan::kMostStations};
  const std::uint32_t most = OneOf(kMost);
  mPlan.medium = mRandom.Chance(1, 6) ? SGroupPlan::EMedium::Line : SGroupPlan::EMedium::Network;
  const std::uint32_t fits =
      mPlan.medium == SGroupPlan::EMedium::Line ? SGroupPlan::kMostOnLine : SGroupPlan::kMostStations;
  mPlan.stations.resize(std::min(Number(most == 2 ? 2 : most / 2 + 1, most), fits));
  constexpr std::array<std::string_view, 6> kRotations{"RST", "STR", "TRS", "RST", "STR", "SRT"};
  std::set<std::string> taken;
  for (SGroupPlan::SStation& station : mPlan.stations) {
    do station.serialNumber = MakeSerialNumber();
    while (!taken.insert(station.serialNumber).second);
    station.rotation = OneOf(kRotations);
  }
  mPlan.groupSize = mRandom.Chance(1, 10) ? 0 : mPlan.Last();
}

std::string CGroupPlanner::MakeSerialNumber() {
  constexpr std::string_view kDigits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  std::string text = fmt::format("{:02d}-{:02d}", mRandom.Below(100), mRandom.Below(100));
  for (int i = 0; i < 6; ++i) {
    if (i % 3 == 0) text += '-';
    text += kDigits[mRandom.Index(kDigits.size())];
  }
  return text;
}

void CGroupPlanner::MakeSupply() {
  const std::uint32_t stations = mPlan.Last();
  switch (mRandom.Below(4)) {
    case 0:  // hardly anything
      mPlan.capacityAmpere = Number(kLeastAmpere, kLeastAmpere * std::max(2U, stations / 2));
      break;
    case 1:
      mPlan.capacityAmpere = Number(kLeastAmpere * stations, 16 * stations);
      break;
    case 2:
      mPlan.capacityAmpere = Number(10 * stations, 32 * stations);
      break;
    default:
      mPlan.capacityAmpere = OneOf(std::array{14U, 16U, 25U, 32U, 63U, 80U});
  }
  if (!mRandom.Chance(1, 6)) return;
  mPlan.fuseAmpere = OneOf(std::array{25U, 35U, 63U, 100U, 125U});
  mPlan.stations.front().rotation = "RST";
}

void CGroupPlanner::MakeFallbacks() {
  std::uint32_t left = std::min(mPlan.capacityAmpere, mPlan.fuseAmpere != 0 ? mPlan.fuseAmpere / 2 : 10000);
  const auto kind = mRandom.Below(8);
  for (SGroupPlan::SStation& station : mPlan.stations) {
    if (kind < 3) continue;                                                // nobody charges without a leader
    if (kind == 3) station.fallbackAmpere = mRandom.Chance(1, 2) ? 6 : 8;  // whether they fit or not
    if (kind > 3 && left >= kLeastAmpere && mRandom.Chance(1, 2)) {
      station.fallbackAmpere = Number(kLeastAmpere, std::min(left, 10U));
      left -= station.fallbackAmpere;
    }
  }
}

CVehicle::SProperties CGroupPlanner::MakeVehicle() {
  CVehicle::SProperties vehicle;
  vehicle.maxMilliAmpere = OneOf(std::array{10000U, 13000U, 16000U, 16000U, 20000U, 32000U, 32000U});
  vehicle.phases = OneOf(std::array{1U, 1U, 2U, 3U, 3U});
  vehicle.reaction = mRandom.Chance(1, 4) ? mRandom.Between(seconds(5), SGroupPlan::kLongestReaction)
                                          : mRandom.Between(seconds(1), seconds(5));
  vehicle.rampMilliAmperePerSecond = Number(1000, 16000);
  vehicle.inWholeAmperes = mRandom.Chance(1, 4);
  return vehicle;
}

void CGroupPlanner::MakeVisits(MediumStation station) {
  if (mRandom.Chance(1, 8)) return;
  Milliseconds at =
      mRandom.Chance(1, 2) ? Milliseconds(0) : Busy(mRandom.Between(Milliseconds(0), mPlan.length));
  while (at < mPlan.length) {
    const CVehicle::SProperties vehicle = MakeVehicle();
    Add(at, SPlug{.station = station, .vehicle = vehicle});
    const Milliseconds until =
        Busy(at + mRandom.Between(seconds(30), minutes(mRandom.Chance(1, 3) ? 5 : 60)));
    MakeSatiation(station, vehicle, at, until);
    Add(until, SUnplug{.station = station});
    const auto pause = mRandom.Chance(1, 3) ? mRandom.Between(Milliseconds(0), seconds(20))
                                            : mRandom.Between(Milliseconds(0), minutes(10));
    at = Busy(until + SGroupPlan::kBetweenVehicles + pause);
  }
}

void CGroupPlanner::MakeSatiation(MediumStation station, CVehicle::SProperties vehicle, Milliseconds from,
                                  Milliseconds until) {
  if (!mRandom.Chance(1, 3)) return;
  constexpr std::int64_t kSteps = 3;
  const Milliseconds step = mRandom.Between(seconds(5), seconds(40));
  Milliseconds at = Busy(from + mRandom.Between(seconds(20), minutes(20)));
  for (std::int64_t left = kSteps; left > 0 && at < until; --left, at += step) {
    if (left < kSteps && vehicle.maxMilliAmpere > 2 * CVehicle::kLeastMilliAmpere) {
      vehicle.maxMilliAmpere -= vehicle.maxMilliAmpere / 4;
      Add(at, SPlug{.station = station, .vehicle = vehicle});
    }
  }
  if (at < until) Add(at, SFull{.station = station});
}

bool CGroupPlanner::Reserve(int what, Milliseconds from, Milliseconds until) {
  Milliseconds& reserved = mReservedUntil.try_emplace(what, 0).first->second;
  if (from < reserved) return false;
  reserved = until + seconds(1);
  return true;
}

void CGroupPlanner::MakeTroubles() {
  mIsAlwaysNoisy = mRandom.Chance(1, 6);
  if (mIsAlwaysNoisy) Add(Milliseconds(0), AnyNoise());
  const std::int64_t most = mRandom.Chance(1, 5) ? 0 : 4;
  for (Milliseconds begin{0}; begin < mPlan.length; begin += kRound) {
    for (auto left = mRandom.Between(0, most); left > 0; --left) MakeTrouble(begin);
  }
}

void CGroupPlanner::MakeTrouble(Milliseconds begin) {
  const Milliseconds from = begin + mRandom.Between(seconds(15), SGroupPlan::kBusy);
  const Milliseconds until =
      from + mRandom.Between(seconds(1), mRandom.Chance(1, 2) ? seconds(12) : seconds(90));
  enum EKind { Noise, Split, Restart, LeadersRestart, Adapter, Capacity, SecondLeader, Kinds };
  const auto kind = mRandom.Below(Kinds);
  const bool isLeaders = kind == LeadersRestart || (kind == Adapter && mRandom.Chance(1, 3));
  const MediumStation station = isLeaders ? kLeader : AnyFollower();
  if (kind == Noise) return MakeNoise(from, until);
  if (kind == Split) return MakeSplit(from, until);
  if (kind == Capacity) {
    const std::uint32_t usual = mPlan.capacityAmpere;
    return Add(from, SCapacity{.ampere = Number(usual / 2, usual * 3 / 2)});
  }
  if (kind == SecondLeader) return MakeSecondLeader(station, from, until);
  if (!Reserve(static_cast<int>(station), from, until)) return;
  if (kind == Adapter) {
    Add(from, SAdapter{.station = station, .isPresent = false});
    return Add(until, SAdapter{.station = station, .isPresent = true});
  }
  Add(from, SPower{.station = station, .isOn = false});
  Add(until, SPower{.station = station, .isOn = true});
}

/// Only where everybody hears the first one, which a second one cannot be told from otherwise.
void CGroupPlanner::MakeSecondLeader(MediumStation station, Milliseconds from, Milliseconds until) {
  if (mPlan.medium == SGroupPlan::EMedium::Line || !Reserve(kWays, from, until) ||
      !Reserve(static_cast<int>(kLeader), from, until) || !Reserve(static_cast<int>(station), from, until))
    return;
  Add(from, SSecondLeader{.station = station, .begins = true});
  Add(until, SSecondLeader{.station = station, .begins = false});
}

SNoise CGroupPlanner::AnyNoise() {
  const auto rate = [this](std::int64_t most) { return mRandom.Chance(1, 3) ? 0U : Number(0, most); };
  if (mPlan.medium == SGroupPlan::EMedium::Line) return {.lossPerMille = Number(5, 60)};
  return {.lossPerMille = rate(300),
          .duplicationPerMille = rate(200),
          .longestDelay = mRandom.Between(Milliseconds(1), Milliseconds(300))};
}

void CGroupPlanner::MakeNoise(Milliseconds from, Milliseconds until) {
  if (mIsAlwaysNoisy || !Reserve(kNoise, from, until)) return;
  Add(from, AnyNoise());
  Add(until, SNoise{});
}

void CGroupPlanner::MakeSplit(Milliseconds from, Milliseconds until) {
  if (!Reserve(kWays, from, until)) return;
  CHearing::Parts parts(mRandom.Chance(1, 4) ? 3 : 2);
  for (MediumStation station = 1; station <= mPlan.Last(); ++station)
    parts[mRandom.Index(parts.size())].insert(station);
  Add(from, SSplit{.parts = std::move(parts)});
  Add(until, SSplit{});
}

void CGroupPlanner::MakeHouse() {
  if (mPlan.fuseAmpere == 0) return;
  const std::int64_t most = std::int64_t{mPlan.fuseAmpere} * kMilliAmperePerAmpere * 6 / 10;
  for (Milliseconds at{0}; at < mPlan.length; at = Busy(at + mRandom.Between(seconds(10), seconds(120)))) {
    SHouse house;
    for (auto& milliAmpere : house.milliAmpere)
      milliAmpere = static_cast<std::int32_t>(mRandom.Between(-most / 4, most));
    Add(at, house);
  }
}

}  // namespace

SGroupPlan SGroupPlan::Make(std::uint64_t seed, Milliseconds length) {
  return CGroupPlanner(seed, length).Make();
}

std::string SGroupPlan::Summary() const {
  std::uint32_t fallbacks = 0;
  for (const SStation& station : stations) fallbacks += station.fallbackAmpere;
  return fmt::format("{} stations{} on {}, {} A{}, fallbacks {} A, {} events in {} min", stations.size(),
                     groupSize == 0 ? ", as nobody told the leader," : "",
                     medium == EMedium::Line ? "a line" : "a network", capacityAmpere,
                     fuseAmpere == 0 ? "" : fmt::format(" behind a fuse of {} A", fuseAmpere), fallbacks,
                     events.size(), std::chrono::duration_cast<minutes>(length).count());
}

Json::Value SGroupPlan::Role(bool isLeader) {
  Json::Value values(Json::objectValue);
  values["GroupLoadBalancingRole"] = isLeader ? "Leader" : "Follower";
  return values;
}

Json::Value SGroupPlan::Settings(MediumStation number) const {
  Json::Value values = Role(number == kLeader);
  values[std::string(SettingsKeys::kGroupLoadBalancingEnable)] = true;
  values["GroupLoadBalancingInterface"] = medium == EMedium::Line ? "RS485" : "Ethernet";
  values["GroupLoadBalancingGroupId"] = Json::UInt{kGroupId};
  values["GroupLoadBalancingGroupSize"] = static_cast<Json::Int>(groupSize);
  values["GroupLoadBalancingFallbackCurrent"] = static_cast<Json::Int>(Station(number).fallbackAmpere);
  values["GroupLoadBalancingMaxCurrent"] = static_cast<Json::Int>(capacityAmpere);
  values["PhaseRotation"] = Station(number).rotation;
  return values;
}

Json::Value SGroupPlan::Hwinfo(MediumStation number) const {
  Json::Value values(Json::objectValue);
  values[std::string(SettingsKeys::kHasMeter)] = true;
  values["MainboardSn"] = Station(number).serialNumber;
  return values;
}

Json::Value SGroupPlan::Secrets() {
  Json::Value values(Json::objectValue);
  values["GroupLoadBalancingPassword"] = "let us share";
  return values;
}
