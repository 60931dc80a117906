#include "simulation/vehicle.h"

#include <algorithm>

void CVehicle::SetProperties(const SProperties& properties) {
  mProperties = properties;
}

void CVehicle::Connect() {
  if (mConnected) return;
  mConnected = true;
  Offer(mOffer.milliAmpere, mOffer.phases);
}

void CVehicle::Disconnect() {
  mConnected = false;
  mFull = false;
  mStopped = false;
  mFollowed = {};
  mPending.clear();
  DropCurrent();
}

void CVehicle::SetFull(bool full) {
  mFull = full;
}

void CVehicle::SetSupplied(bool supplied) {
  mSupplied = supplied;
  if (!supplied) DropCurrent();
}

void CVehicle::Stop() {
  if (!mConnected) return;
  mStopped = true;
  DropCurrent();
}

void CVehicle::DropCurrent() {
  mLevel = 0;
  mRampRemainder = 0;
}

void CVehicle::Offer(std::uint32_t milliAmpere, std::uint32_t phases) {
  mOffer = {milliAmpere, phases};
  if (!mConnected) return;
  Milliseconds due = mNow + mProperties.reaction;
  // Offers are followed in the order in which they came, also when the reaction has become quicker.
  if (!mPending.empty()) due = std::max(due, mPending.back().due);
  // One offer for each millisecond: a flood of them needs no more memory than that.
  if (!mPending.empty() && mPending.back().due == due) mPending.pop_back();
  mPending.push_back({due, mOffer});
  React();
}

void CVehicle::Advance(Milliseconds span) {
  const Milliseconds end = mNow + span;
  if (IsSteady()) {
    mNow = end;
    mFlowsFrom.reset();
    mRampRemainder = 0;
  }
  while (mNow < end) {
    AskForCurrent();
    Milliseconds next = mPending.empty() ? end : std::min(end, mPending.front().due);
    if (mFlowsFrom && *mFlowsFrom > mNow) {
      next = std::min(next, *mFlowsFrom);
    } else {
      Ramp(next - mNow);
    }
    mNow = next;
    React();
  }
}

void CVehicle::React() {
  while (!mPending.empty() && mPending.front().due <= mNow) {
    mFollowed = mPending.front().offer;
    mPending.pop_front();
  }
}

void CVehicle::AskForCurrent() {
  if (mLevel > 0 || Target() == 0) {
    mFlowsFrom.reset();
  } else if (!mFlowsFrom) {
    mFlowsFrom = mNow + kSwitchOn;
  }
}

std::uint32_t CVehicle::Target() const {
  const std::uint32_t allowed = Step(std::min(mFollowed.milliAmpere, mProperties.maxMilliAmpere));
  const bool wants = mConnected && mSupplied && !mStopped && !mFull;
  return wants && allowed >= kLeastMilliAmpere ? allowed : 0;
}

std::uint32_t CVehicle::Step(std::uint32_t milliAmpere) const {
  constexpr std::uint32_t kMilliAmperePerAmpere = 1000;
  return mProperties.inWholeAmperes ? milliAmpere - milliAmpere % kMilliAmperePerAmpere : milliAmpere;
}

void CVehicle::Ramp(Milliseconds span) {
  const std::uint32_t target = Target();
  if (mLevel == 0 && target > 0) mLevel = kLeastMilliAmpere;
  if (mLevel != target && span.count() > 0) Approach(target, span);
  // What is left over belongs to this ramp only: the next one begins the same however time was cut.
  if (mLevel == target) mRampRemainder = 0;
}

void CVehicle::Approach(std::uint32_t target, Milliseconds span) {
  constexpr std::uint64_t kMillisecondsPerSecond = 1000;
  const std::uint32_t up = mProperties.rampMilliAmperePerSecond;
  const std::uint32_t ramp = mLevel < target ? up : mProperties.rampDownMilliAmperePerSecond.value_or(up);
  mRampRemainder += std::uint64_t{ramp} * static_cast<std::uint64_t>(span.count());
  const std::uint64_t step = mRampRemainder / kMillisecondsPerSecond;
  mRampRemainder %= kMillisecondsPerSecond;
  if (mLevel < target) {
    mLevel = static_cast<std::uint32_t>(std::min<std::uint64_t>(target, mLevel + step));
  } else {
    const std::uint32_t lowest = std::max(target, kLeastMilliAmpere);
    mLevel = step < mLevel - lowest ? mLevel - static_cast<std::uint32_t>(step) : target;
  }
}

CVehicle::EState CVehicle::State() const {
  if (!mConnected) return EState::Absent;
  if (mLevel > 0 || Target() > 0) return EState::Charging;
  return mFull ? EState::Full : EState::Connected;
}

CVehicle::Currents CVehicle::Draw() const {
  Currents currents{};
  const std::uint32_t offered = mProperties.ignoresPhaseCount ? kPhases : mFollowed.phases;
  const std::uint32_t phases = std::min({offered, mProperties.phases, kPhases});
  constexpr std::uint32_t kPercent = 100;
  std::fill_n(currents.begin(), phases, Step(mLevel) * (kPercent + mProperties.excessPercent) / kPercent);
  return currents;
}
