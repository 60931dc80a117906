#include "src/components/loadbalancing/leader/lbvehicle.h"

#include <algorithm>

#include "src/components/loadbalancing/ilbphasehandler.h"

namespace {

// All in mA.
constexpr std::uint32_t kUnusedFrom = 1500;  // below the limit: so much is more than inaccuracy
constexpr std::uint32_t kSpare = 1000;       // above what it takes, so that it is seen when it takes more
constexpr std::uint32_t kUsedUpFrom = 500;   // below what it can use
constexpr std::uint32_t kLeastGrowth = 2000;
constexpr std::uint32_t kLeastOverdraw = 1000;

std::uint32_t Highest(const LbPhaseCurrents& milliAmpere) {
  return *std::ranges::max_element(milliAmpere);
}

/// Of a current that is said with a sign, by a meter that shows a little below zero.
std::uint32_t NotNegative(std::uint32_t milliAmpere) {
  const auto withSign = static_cast<std::int32_t>(milliAmpere);
  const bool isSlightlyNegative = withSign < 0 && withSign >= -std::int64_t{CLbVehicle::kNonsenseMilliAmpere};
  return isSlightlyNegative ? 0 : milliAmpere;
}

/// Whether it is more than a meter's inaccuracy.
bool IsBeyond(std::uint32_t milliAmpere, std::uint32_t limit) {
  return milliAmpere > std::uint64_t{limit} + std::max(kLeastOverdraw, limit / 10);
}

}  // namespace

void CLbVehicle::Take(const SLbLoad& load, std::uint32_t limitMilliAmpere, TimePoint now) {
  std::ranges::transform(load.milliAmpere, mDrawn.begin(), NotNegative);
  mIsNonsense = Highest(mDrawn) > kNonsenseMilliAmpere;
  if (mIsNonsense) {
    const std::uint32_t drawn = std::min(limitMilliAmpere, kNonsenseMilliAmpere);
    for (std::size_t phase = 0; phase < mDrawn.size(); ++phase) {
      mDrawn[phase] = HasLbPhase(Phases(), phase) ? drawn : 0;
    }
  }
  NoteWish(limitMilliAmpere, now);
  NotePhases((load.report & ILbPhaseHandler::kDiscoveryDone) != 0, now);
  NoteUse(limitMilliAmpere, now);
  NoteOverdraw(limitMilliAmpere, now);
}

std::uint32_t CLbVehicle::Most() const {
  // One that draws more than it may is told as little as possible: whatever it is told, it draws more.
  const bool isIgnoring = Highest(mOverdrawn) != 0;
  return mWish == EWish::Rests || isIgnoring ? kLbLeastMilliAmpere : mMost;
}

void CLbVehicle::NoteWish(std::uint32_t limit, TimePoint now) {
  const bool isDrawing = DrawingLbPhases(mDrawn) != 0;
  if (isDrawing) mWish = EWish::Draws;
  if (isDrawing || limit < kLbLeastMilliAmpere) {
    mIdleSince.reset();  // one that may not draw shows nothing by not drawing
    return;
  }
  if (!mIdleSince) mIdleSince = now;
  if (now - *mIdleSince < kTimeToStart) return;
  mWish = EWish::Rests;
  mMost = kUnlimited;  // the next one may be another vehicle
  mGrown.reset();
}

void CLbVehicle::NotePhases(bool isDiscoveryDone, TimePoint now) {
  const bool hasEnded = isDiscoveryDone && !mWasDiscoveryDone;
  mWasDiscoveryDone = isDiscoveryDone;
  const LbPhases drawing = DrawingLbPhases(mDrawn);
  if (drawing == 0) {
    mPhases = 0;
    mPhasesSince.reset();
    mArePhasesKnown = false;
    return;
  }
  const LbPhases together = static_cast<LbPhases>(mPhases | drawing);
  if (together != mPhases) mPhasesSince = now;
  mPhases = together;
  if (hasEnded || now - *mPhasesSince >= kTimeToFindPhases) mArePhasesKnown = true;
}

void CLbVehicle::NoteUse(std::uint32_t limit, TimePoint now) {
  const std::uint32_t drawn = Highest(mDrawn);
  if (DrawingLbPhases(mDrawn) == 0) {
    mUse.reset();
    return;
  }
  if (mMost != kUnlimited && drawn + kUsedUpFrom >= mMost) {
    const bool isNew = !mGrown || now - *mGrown >= kTimeToGrow;
    mMost = isNew ? kUnlimited : mMost + std::max(mMost / 4, kLeastGrowth);
    mGrown = now;
    mUse.reset();
    return;
  }
  const SUse fresh{now, limit, drawn};
  if (!mUse) mUse = fresh;
  mUse->lowestLimit = std::min(mUse->lowestLimit, limit);
  mUse->highest = std::max(mUse->highest, drawn);
  if (mUse->highest + kUnusedFrom >= mUse->lowestLimit) {
    mUse = fresh;
  } else if (now - mUse->since >= kTimeToFollow) {
    mMost = std::max(kLbLeastMilliAmpere, mUse->highest + kSpare);
    mUse = fresh;
  }
}

void CLbVehicle::NoteOverdraw(std::uint32_t limit, TimePoint now) {
  const std::uint32_t limitOfLate = mLimitOfLate.Take(limit, now);
  for (std::size_t phase = 0; phase < mDrawn.size(); ++phase) {
    SOverdraw& over = mOver[phase];
    // A limit that is raised so far that it is kept to by chance ends nothing.
    if (!IsBeyond(mDrawn[phase], std::min(limit, over.ignored.value_or(limit)))) {
      over = {};
    } else if (!over.since) {
      over.since = now;
    }
    const bool isIgnoring = over.since && now - *over.since >= kTimeToFollow;
    if (!over.ignored && isIgnoring && IsBeyond(mDrawn[phase], limitOfLate)) over.ignored = limitOfLate;
    mOverdrawn[phase] = over.ignored ? mDrawn[phase] : 0;
  }
}
