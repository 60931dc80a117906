#include "tools/currentcontrolsim/grouptroubles.h"

#include <algorithm>
#include <map>
#include <utility>

#include <fmt/format.h>

namespace {

using STrouble = SSimulatedGroup::STrouble;

/// Of what begins and ends, whether this is its end, and what else it says.
class CTroubleList {
 public:
  explicit CTroubleList(const SGroupPlan& plan) : mPlan(plan) {}

  std::vector<STrouble> Make() {
    for (const SGroupEvent& event : mPlan.events)
      std::visit([&](const auto& what) { Take(event.at, what); }, event.what);
    return std::move(mTroubles);
  }

 private:
  using Key = std::pair<std::size_t, MediumStation>;

  template <class TEvent>
  void Take(Milliseconds, const TEvent&) {}
  void Take(Milliseconds at, const GroupEvents::SPower& power) {
    const std::string what = power.station == 1 ? "the leader is switched off" : "switched off";
    if (mWasOn[power.station]) Note(at, {0, power.station}, !power.isOn, what, {power.station});
    mWasOn[power.station] = mWasOn[power.station] || power.isOn;
  }
  void Take(Milliseconds at, const GroupEvents::SAdapter& adapter) {
    Note(at, {1, adapter.station}, !adapter.isPresent, "the network adapter is gone", {adapter.station});
  }
  void Take(Milliseconds at, const GroupEvents::SSecondLeader& leader) {
    Note(at, {2, leader.station}, leader.begins, "set up as a leader, too", {leader.station});
  }
  void Take(Milliseconds at, const GroupEvents::SSplit& split) {
    std::vector<MediumStation> apart;
    for (MediumStation station = 1; station <= mPlan.Last(); ++station) {
      const bool joins = std::ranges::any_of(
          split.parts, [=](const auto& part) { return part.contains(1) && part.contains(station); });
      if (!joins) apart.push_back(station);
    }
    Note(at, {3, 0}, !split.parts.empty(), "cut off from the leader", apart);
  }
  void Take(Milliseconds at, const GroupEvents::SNoise& noise) {
    Note(at, {4, 0}, !noise.IsQuiet(),
         fmt::format("{} % of all packets are lost", static_cast<double>(noise.lossPerMille) / 10), {});
  }
  void Take(Milliseconds at, const GroupEvents::SCapacity& capacity) {
    Note(at, {5, 0}, capacity.ampere != mPlan.capacityAmpere,
         fmt::format("the group may have {} A", capacity.ampere), {});
  }

  /// Whatever is going on under that key ends, and perhaps something else begins.
  void Note(Milliseconds at, Key key, bool begins, std::string what, std::vector<MediumStation> stations) {
    if (const auto running = mRunning.find(key); running != mRunning.end()) {
      mTroubles[running->second].until = at;
      mRunning.erase(running);
    }
    if (!begins) return;
    mRunning[key] = mTroubles.size();
    mTroubles.push_back({at, mPlan.length, std::move(what), std::move(stations)});
  }

  const SGroupPlan& mPlan;
  std::vector<STrouble> mTroubles;
  std::map<Key, std::size_t> mRunning;  ///< their places in the list
  std::map<MediumStation, bool> mWasOn;
};

}  // namespace

std::vector<STrouble> TroublesOf(const SGroupPlan& plan) {
  return CTroubleList(plan).Make();
}
