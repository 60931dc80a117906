#pragma once

#include <functional>
#include <memory>

#include "ipc/adac.service.h"

#include "platform/utility/mutex.h"

/// Analogue data acquisition as those see it who need the state of the proximity pilot. Any thread.
class IAdacService {
 public:
  /// Called on a thread of the RPC framework, which it must not keep waiting; must not set a handler.
  using PpStateHandler = std::function<void(const ipc::MPpState& state)>;

  virtual ~IAdacService() = default;

  /// Replaces the handler; an empty one hears nothing. The former one does not run any more when this
  /// returns.
  virtual void SetPpStateHandler(PpStateHandler handler) = 0;
};

/// The "Adac" peer. `Connect` and `Disconnect` one at a time; the rest from any thread.
class CAdacService final : public IAdacService {
 public:
  explicit CAdacService(const std::shared_ptr<Rpc::CClient>& client) : mPeer(client) {}
  ~CAdacService() override { Disconnect(); }
  CAdacService(const CAdacService&) = delete;
  CAdacService& operator=(const CAdacService&) = delete;

  /// Begins to hear of the state, the present one first, now and whenever the peer comes back.
  void Connect();
  void Disconnect() { mSubscription.reset(); }

  void SetPpStateHandler(PpStateHandler handler) override EXCLUDES(mMutex);

  /// For whatever else the peer tells.
  ipc::CAdacClient& Peer() { return mPeer; }

 private:
  ipc::CAdacClient mPeer;
  CMutex mMutex;
  PpStateHandler mHandler GUARDED_BY(mMutex);
  Rpc::Subscription mSubscription;
};
