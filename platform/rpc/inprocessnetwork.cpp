#include "platform/rpc/inprocessnetwork.h"

#include <algorithm>
#include <utility>

#include "platform/rpc/inprocesssubscription.h"

namespace Rpc {

CInProcessNetwork::CInProcessNetwork(IScheduler& scheduler)
    : mScheduler(scheduler), mWorker(scheduler, "rpc") {
  mWorker.Start();
}

CInProcessNetwork::~CInProcessNetwork() = default;

void CInProcessNetwork::SetFault(const std::string& address, EFault fault) {
  CMutexLock lock(mMutex);
  SPeer& peer = mPeers[address];
  peer.fault = fault;
  if (fault == EFault::Absent || fault == EFault::NoSubscriptions) LoseSubscriptions(peer);
  if (fault == EFault::None) {
    for (const auto& subscription : peer.subscriptions) {
      mWorker.NonBlockingCall([subscription] { subscription->DeliverWithheld(); });
    }
  }
}

bool CInProcessNetwork::IsServed(const std::string& address) const {
  CMutexLock lock(mMutex);
  const auto peer = mPeers.find(address);
  return peer != mPeers.end() && peer->second.services != nullptr;
}

bool CInProcessNetwork::Serve(const std::string& address, std::shared_ptr<CServiceTable> services) {
  CMutexLock lock(mMutex);
  SPeer& peer = mPeers[address];
  if (peer.services) return false;
  peer.services = std::move(services);
  return true;
}

void CInProcessNetwork::StopServing(const std::string& address) {
  CMutexLock lock(mMutex);
  SPeer& peer = mPeers[address];
  peer.services.reset();
  LoseSubscriptions(peer);
  while (peer.runningCalls > 0) mCallEnded.wait(lock);
}

IChannel::SAnswer CInProcessNetwork::Call(const std::string& address, std::string_view path,
                                          std::string_view request) {
  std::shared_ptr<CServiceTable> services;
  {
    CMutexLock lock(mMutex);
    SPeer& peer = mPeers[address];
    IChannel::SAnswer refusal = Admit(peer, address);
    if (refusal.status != EStatus::Ok) return refusal;
    services = peer.services;
    ++peer.runningCalls;
  }

  IChannel::SAnswer answer{EStatus::Ok, {}, {}};
  const CServiceTable::SMethod method = services->Find(path);
  if (method.handler == nullptr) {
    answer = {EStatus::Unimplemented, "no such method", {}};
  } else if (!services->Handle(method, path, request, answer.bytes)) {
    answer = {EStatus::Failed, "the request is not a message of the expected type", {}};
  }

  CMutexLock lock(mMutex);
  SPeer& peer = mPeers[address];
  --peer.runningCalls;
  mCallEnded.notify_all();
  return Answer(peer, std::move(answer));
}

IChannel::SAnswer CInProcessNetwork::Admit(const SPeer& peer, const std::string& address) const {
  if (!peer.services || peer.fault == EFault::Absent) {
    return {EStatus::Unreachable, "nobody serves " + address, {}};
  }
  if (peer.fault == EFault::Hanging) return {EStatus::Timeout, "no answer in time", {}};
  return {EStatus::Ok, {}, {}};
}

IChannel::SAnswer CInProcessNetwork::Answer(SPeer& peer, IChannel::SAnswer answer) {
  if (peer.fault == EFault::DiesDuringCall) {
    peer.fault = EFault::Absent;
    LoseSubscriptions(peer);
    return {EStatus::Unreachable, "the peer died during the call", {}};
  }
  if (peer.fault == EFault::Garbage) answer.bytes = CInProcessSubscription::kGarbage;
  return answer;
}

void CInProcessNetwork::LoseSubscriptions(SPeer& peer) {
  for (auto& subscription : std::exchange(peer.subscriptions, {})) {
    mWorker.NonBlockingCall([subscription] { subscription->Lose(); });
  }
}

CInProcessNetwork::SAttachment CInProcessNetwork::Attach(
    const std::string& address, std::string_view path,
    const std::shared_ptr<CInProcessSubscription>& subscription) {
  CMutexLock lock(mMutex);
  SPeer& peer = mPeers[address];
  IChannel::SAnswer refusal = Admit(peer, address);
  if (refusal.status != EStatus::Ok) return {refusal.status, std::move(refusal.detail), nullptr};
  if (peer.fault == EFault::NoSubscriptions) {
    return {EStatus::Unreachable, "the subscription is refused", nullptr};
  }
  auto hub = peer.services->Find(path).notifications;
  if (!hub) return {EStatus::Unimplemented, "no such subscription", nullptr};
  peer.subscriptions.push_back(subscription);
  hub->Add(subscription);
  return {EStatus::Ok, {}, std::move(hub)};
}

void CInProcessNetwork::Detach(const std::string& address, const CInProcessSubscription* subscription) {
  CMutexLock lock(mMutex);
  std::erase_if(mPeers[address].subscriptions,
                [&](const auto& candidate) { return candidate.get() == subscription; });
}

CInProcessNetwork::EFault CInProcessNetwork::FaultOf(const std::string& address) const {
  CMutexLock lock(mMutex);
  const auto peer = mPeers.find(address);
  return peer == mPeers.end() ? EFault::None : peer->second.fault;
}

}  // namespace Rpc
