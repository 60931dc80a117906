#include "platform/rpc/grpchandlerturns.h"

#include <utility>

namespace Rpc {

CGrpcHandlerTurns::EVerdict CGrpcHandlerTurns::Arrive(std::size_t service, const Call& call) {
  CMutexLock lock(mMutex);
  if (mClosed) return EVerdict::Refuse;
  SService& asking = mServices.at(service);
  if (asking.waiting.empty() && HasRoom(asking)) {
    ++asking.running;
    ++mRunning;
    return EVerdict::Run;
  }
  if (asking.waiting.size() >= kMostWaitingOfOneService) return EVerdict::Refuse;
  asking.waiting.push_back(call);
  return EVerdict::Wait;
}

std::optional<CGrpcHandlerTurns::Call> CGrpcHandlerTurns::Leave(std::size_t service) {
  CMutexLock lock(mMutex);
  --mServices.at(service).running;
  --mRunning;
  for (std::size_t step = 0; step < mServices.size(); ++step) {
    SService& next = mServices[(mNextToAsk + step) % mServices.size()];
    if (next.waiting.empty() || !HasRoom(next)) continue;
    mNextToAsk = (mNextToAsk + step + 1) % mServices.size();
    ++next.running;
    ++mRunning;
    Call call = std::move(next.waiting.front());
    next.waiting.pop_front();
    return call;
  }
  return std::nullopt;
}

std::vector<CGrpcHandlerTurns::Call> CGrpcHandlerTurns::Close() {
  CMutexLock lock(mMutex);
  mClosed = true;
  std::vector<Call> waiting;
  for (SService& service : mServices) {
    for (Call& call : std::exchange(service.waiting, {})) waiting.push_back(std::move(call));
  }
  return waiting;
}

int CGrpcHandlerTurns::Running() const {
  CMutexLock lock(mMutex);
  return mRunning;
}

bool CGrpcHandlerTurns::HasRoom(const SService& service) const {
  return mRunning < kMostAtATime && service.running < kMostOfOneService;
}

}  // namespace Rpc
