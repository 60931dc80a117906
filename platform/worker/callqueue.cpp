#include "platform/worker/callqueue.h"

namespace {

// A call that was late has missed the places in between; the next one keeps the step of the first.
TimePoint NextDue(TimePoint due, Milliseconds period, TimePoint now) {
  return due + period * ((now - due) / period + 1);
}

}  // namespace

void CCallQueue::Add(CallId id, Call call, TimePoint due, Milliseconds period) {
  const auto added = mCalls.emplace(id, SCall{std::move(call), due, period}).first;
  mPlaces.emplace(Place{due, id}, &added->second);
}

CCallQueue::Dropped CCallQueue::Cancel(CallId id) {
  if (id == mRunning) {
    mNextPlace = {};
    return {};
  }
  Dropped dropped = mCalls.extract(id);
  if (dropped) mPlaces.erase({dropped.mapped().due, id});
  return dropped;
}

CCallQueue::Calls CCallQueue::Clear() {
  Dropped running = mCalls.extract(mRunning);
  Calls dropped = std::exchange(mCalls, {});
  mCalls.insert(std::move(running));
  mPlaces.clear();
  mNextPlace = {};
  return dropped;
}

CCallQueue::SRun CCallQueue::BeginRun(TimePoint now) {
  if (mPlaces.empty() || mPlaces.begin()->first.first > now) return {};
  mNextPlace = mPlaces.extract(mPlaces.begin());
  mRunning = mNextPlace.key().second;
  SCall& call = *mNextPlace.mapped();
  if (call.period > ICallLine::kOnce) {
    call.due = NextDue(call.due, call.period, now);
    mNextPlace.key().first = call.due;
  } else {
    mNextPlace = {};
  }
  return {mRunning, &call.call};
}

CCallQueue::Dropped CCallQueue::EndRun() {
  const CallId ended = std::exchange(mRunning, 0);
  if (mNextPlace.empty()) return mCalls.extract(ended);
  mPlaces.insert(std::move(mNextPlace));
  return {};
}
