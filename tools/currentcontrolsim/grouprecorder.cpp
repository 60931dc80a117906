#include "tools/currentcontrolsim/grouprecorder.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace {

using EState = SSimulatedGroup::EState;

constexpr Milliseconds kSecond{1000};
constexpr std::uint64_t kVolt = 230;
constexpr std::uint64_t kMilliWattSecondsPerWattHour = 3600000;

EState StateOf(const SGroupStationMoment& station, bool isSettling) {
  if (!station.isPowered) return EState::NoPower;
  if (!station.isLed) return EState::Alone;
  if (isSettling) return EState::Settling;
  if (!station.Wants()) return EState::Idle;
  return station.IsServed() ? EState::Charges : EState::Waits;
}

LbPhaseCurrents DrawnBy(const SGroupMoment& moment) {
  LbPhaseCurrents sum{};
  for (const SGroupStationMoment& station : moment.stations) {
    for (std::size_t phase = 0; phase < sum.size(); ++phase) sum[phase] += station.drawn[phase];
  }
  return sum;
}

}  // namespace

CGroupRecorder::CGroupRecorder(SSimulatedGroup& group, const SGroupPlan& plan, Milliseconds step,
                               std::function<bool()> isSettling)
    : mGroup(group), mStep(step), mIsSettling(std::move(isSettling)), mStations(plan.stations.size()) {
  for (const SGroupPlan::SStation& station : plan.stations) {
    mGroup.stations.push_back(
        {.serialNumber = station.serialNumber, .fallbackMilliAmpere = station.fallbackAmpere * 1000});
  }
  mGroup.leastLeft.capacity = std::numeric_limits<std::uint32_t>::max();
}

void CGroupRecorder::Take(const SGroupMoment& moment) {
  NoteStations(moment);
  NoteSupply(moment);
  if (moment.at % mStep == Milliseconds{0}) AddPoint(moment);
}

void CGroupRecorder::NoteStations(const SGroupMoment& moment) {
  for (std::size_t i = 0; i < mStations.size(); ++i) {
    const SGroupStationMoment& seen = moment.stations[i];
    SSimulatedGroup::SStation& station = mGroup.stations[i];
    SStation& note = mStations[i];
    for (const std::uint32_t milliAmpere : seen.drawn) note.milliAmpereSeconds += milliAmpere;
    station.wattHours = note.milliAmpereSeconds * kVolt / kMilliWattSecondsPerWattHour;
    if (DrawingLbPhases(seen.drawn) != 0) station.charging += kSecond;
    if (!std::exchange(note.isWaiting, seen.Wants() && !seen.IsServed())) note.waitingSince = moment.at;
    const Milliseconds waited = note.isWaiting ? moment.at - note.waitingSince : Milliseconds{0};
    if (waited <= station.longestWait) continue;
    station.longestWait = waited;
    station.longestWaitAt = note.waitingSince;
  }
}

void CGroupRecorder::NoteSupply(const SGroupMoment& moment) {
  const LbPhaseCurrents drawn = DrawnBy(moment);
  for (std::size_t phase = 0; phase < drawn.size(); ++phase) {
    const SSimulatedGroup::SExtreme most{moment.at, phase, drawn[phase], moment.capacity[phase]};
    if (most.milliAmpere > mGroup.mostDrawn.milliAmpere) mGroup.mostDrawn = most;
    const SSimulatedGroup::SExtreme least{moment.at, phase, moment.mayDraw[phase], moment.granted[phase]};
    if (least.Left() < mGroup.leastLeft.Left()) mGroup.leastLeft = least;
  }
}

void CGroupRecorder::AddPoint(const SGroupMoment& moment) {
  SSimulatedGroup::SPoint point{.at = moment.at,
                                .capacity = moment.capacity,
                                .mayDraw = moment.mayDraw,
                                .drawn = DrawnBy(moment),
                                .stations = {}};
  const bool isSettling = moment.stations.front().isPowered && mIsSettling();
  for (const SGroupStationMoment& station : moment.stations) {
    point.stations.push_back(
        {station.limitMilliAmpere, std::ranges::max(station.drawn), StateOf(station, isSettling)});
  }
  mGroup.points.push_back(std::move(point));
}
