#include "simulation/leaderlane.h"

#include <algorithm>

void CLeaderLane::Add(const SRequest& request) {
  if (std::ranges::find(mWaiting, request) != mWaiting.end()) return;
  mWaiting.push_back(request);
  if (!mAsked) SendNext();
}

void CLeaderLane::TakeAnswer(const SRequest& request) {
  if (mAsked == request) SendNext();
}

void CLeaderLane::SendNext() {
  mAsked.reset();
  mGivingUp.Cancel();
  if (mWaiting.empty()) return;
  mAsked = mWaiting.front();
  mWaiting.pop_front();
  mGivingUp = mWorker.AddCall([this] { SendNext(); }, mResponseTime);
  mSend(*mAsked);
}
