#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/rpc/channel.h"
#include "platform/rpc/servicetable.h"
#include "platform/utility/mutex.h"
#include "platform/worker/worker.h"

namespace Rpc {

class CInProcessSubscription;

/// Peers of one process calling each other without sockets, for tests and simulation. Calls run the handler
/// on the caller's thread; notifications and changes of links run on the network's own worker, so that
/// nothing re-enters under a lock. Peers fail on demand. Any thread.
class CInProcessNetwork {
 public:
  /// What is wrong with the peer at an address.
  enum class EFault {
    None,
    Absent,   ///< nobody answers
    Hanging,  ///< there, but calls time out (at once: virtual time cannot block) and streams are silent
    DiesDuringCall,  ///< the next call is handled, its answer is lost, and the peer is Absent from then on
    Garbage,         ///< answers and notifications are no messages
    NoSubscriptions  ///< calls are answered, subscriptions are lost and refused
  };

  explicit CInProcessNetwork(IScheduler& scheduler);
  ~CInProcessNetwork();
  CInProcessNetwork(const CInProcessNetwork&) = delete;
  CInProcessNetwork& operator=(const CInProcessNetwork&) = delete;

  /// Stays until changed; None is a cure, after which subscriptions come back by themselves.
  void SetFault(const std::string& address, EFault fault);

  bool IsServed(const std::string& address) const;
  /// False: somebody serves there.
  bool Serve(const std::string& address, std::shared_ptr<CServiceTable> services);
  /// No handler of the address is running any more when it returns.
  void StopServing(const std::string& address);

  IChannel::SAnswer Call(const std::string& address, std::string_view path, std::string_view request);

 private:
  friend class CInProcessSubscription;

  struct SPeer {
    EFault fault = EFault::None;
    std::shared_ptr<CServiceTable> services;  // null: not served
    int runningCalls = 0;
    std::vector<std::shared_ptr<CInProcessSubscription>> subscriptions;  // established ones
  };
  struct SAttachment {
    EStatus status = EStatus::Ok;
    std::string detail;
    std::shared_ptr<CNotificationHub> hub;
  };

  /// Ok: the peer is there and well enough to take the call.
  IChannel::SAnswer Admit(const SPeer& peer, const std::string& address) const REQUIRES(mMutex);
  /// Answers as the peer's state at the end of the call allows.
  IChannel::SAnswer Answer(SPeer& peer, IChannel::SAnswer answer) REQUIRES(mMutex);
  void LoseSubscriptions(SPeer& peer) REQUIRES(mMutex);

  SAttachment Attach(const std::string& address, std::string_view path,
                     const std::shared_ptr<CInProcessSubscription>& subscription);
  void Detach(const std::string& address, const CInProcessSubscription* subscription);
  EFault FaultOf(const std::string& address) const;

  const IScheduler& mScheduler;
  mutable CMutex mMutex;
  CCondition mCallEnded;
  std::map<std::string, SPeer> mPeers GUARDED_BY(mMutex);  // by address
  CWorker mWorker;
};

}  // namespace Rpc
