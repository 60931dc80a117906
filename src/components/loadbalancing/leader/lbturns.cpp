#include "src/components/loadbalancing/leader/lbturns.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace {

// The order is the first one's first.
enum EGroup : std::uint8_t { Turn, Served, Waiting, Open, RestingWaiting, OpenForLong };

TimePoint::rep OldestFirst(TimePoint at) {
  return at.time_since_epoch().count();
}
TimePoint::rep NewestFirst(TimePoint at) {
  return -OldestFirst(at);
}

}  // namespace

void CLbTurns::Arrange(std::vector<SStation>& stations, TimePoint now) {
  std::erase_if(mPast, [&](const auto& entry) { return now - entry.second.seen >= kForgotten; });
  for (auto& [serialNumber, past] : mPast) past.isThere = false;
  for (const SStation& station : stations) Note(station, now);
  GiveTurns(now);

  const bool doesRestingWait = DoesRestingWait();
  mOrder.clear();
  for (const SStation& station : stations) {
    mOrder.emplace_back(KeyOf(station.serialNumber, doesRestingWait, now), station);
  }
  std::ranges::sort(mOrder, {}, [](const auto& entry) { return entry.first; });
  bool isDoorOpen = false;
  for (std::size_t i = 0; i < mOrder.size(); ++i) {
    stations[i] = mOrder[i].second;
    const bool isResting = stations[i].wish == CLbVehicle::EWish::Rests;
    stations[i].isOffer = isResting && isDoorOpen;
    isDoorOpen = isDoorOpen || (isResting && !stations[i].isKept);
  }
}

void CLbTurns::Note(const SStation& station, TimePoint now) {
  const bool isResting = station.wish == CLbVehicle::EWish::Rests;
  const auto [entry, isNew] = mPast.try_emplace(station.serialNumber);
  SPast& past = entry->second;
  const bool hasChanged = past.isServed != station.isServed;
  if (isNew || past.isResting != isResting) {
    past.rank.reset();
    past.hasClaim = false;
    if (isNew || station.isServed) past.since = now;
  }
  if (hasChanged && station.isServed && now - past.since >= kTurn) past.rank.reset();
  // Who makes room for a turn has had its own.
  if (hasChanged) past.hasClaim = !station.isServed && !isResting && !mInFront;
  if (hasChanged) past.since = now;
  if (station.isServed && !past.rank) past.rank = now;
  past.isServed = station.isServed;
  past.isResting = isResting;
  past.seen = now;
  past.isThere = true;
}

void CLbTurns::GiveTurns(TimePoint now) {
  mInFront.reset();
  if (mDoor) GoOnWithDoor(now);
  if (!IsTurnDue(now) || mDoor) return;
  mInFront = LongestWaiting(false, TimePoint::max());
  mTurn = now;
  for (auto& [serialNumber, past] : mPast) past.hasClaim = false;
  SPast& past = mPast.at(*mInFront);
  past.since = now;
  past.rank = now;
  past.hasClaim = true;  // if the supply should fall at this very moment
  if (past.isResting) mDoor = SDoor{*mInFront, now};
}

bool CLbTurns::IsTurnDue(TimePoint now) {
  // One that has only just come, or lost its place, may be served at once.
  if (!LongestWaiting(false, now)) return false;
  if (!mWaited || now - *mWaited > kNoWait) mTurn = now;
  mWaited = now;
  return now - *mTurn >= kTurn;
}

void CLbTurns::GoOnWithDoor(TimePoint now) {
  const auto entry = mPast.find(mDoor->serialNumber);
  const bool isThere = entry != mPast.end() && entry->second.isThere;
  const bool isInVain = isThere && entry->second.isResting;
  if (isInVain && now - mDoor->since < kDoorInTurn) {
    mInFront = mDoor->serialNumber;
  } else {
    mDoor.reset();
  }
}

std::optional<LbSerialNumber> CLbTurns::LongestWaiting(bool isRestingOnly, TimePoint before) const {
  const std::pair<const LbSerialNumber, SPast>* longest = nullptr;
  const auto key = [](const auto& entry) { return std::tuple(entry.second.since, entry.second.isResting); };
  for (const auto& entry : mPast) {
    const SPast& past = entry.second;
    if (!past.isThere || past.isServed || past.since >= before) continue;
    if (isRestingOnly && !past.isResting) continue;
    if (longest == nullptr || key(entry) < key(*longest)) longest = &entry;
  }
  if (longest == nullptr) return std::nullopt;
  return longest->first;
}

bool CLbTurns::DoesRestingWait() const {
  return LongestWaiting(true, TimePoint::max()).has_value();
}

CLbTurns::SKey CLbTurns::KeyOf(const LbSerialNumber& serialNumber, bool doesRestingWait,
                               TimePoint now) const {
  const SPast& past = mPast.at(serialNumber);
  const TimePoint::rep oldestFirst = OldestFirst(past.since);
  if (serialNumber == mInFront) return {Turn, oldestFirst, serialNumber};
  if (!past.isResting) {
    const bool hasPlace = past.isServed || (past.hasClaim && now - past.since < kTurn);
    if (hasPlace) return {Served, NewestFirst(past.rank.value_or(past.since)), serialNumber};
    return {Waiting, oldestFirst, serialNumber};
  }
  if (!past.isServed) return {RestingWaiting, oldestFirst, serialNumber};
  if (!doesRestingWait || now - past.since < kDoor) return {Open, oldestFirst, serialNumber};
  return {OpenForLong, NewestFirst(past.since), serialNumber};
}
