#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "platform/utility/mutex.h"

namespace Rpc {

class CGrpcCall;

/// Decides which calls may have a thread for their handler. A handler may block for as long as a peer lets it
/// wait, so one service never takes all threads: while it is slow, the others, such as process control, are
/// answered. What does not fit waits, and is refused when too much waits already. Any thread.
class CGrpcHandlerTurns {
 public:
  static constexpr int kMostAtATime = 5;
  static constexpr int kMostOfOneService = 4;
  static constexpr std::size_t kMostWaitingOfOneService = 32;

  using Call = std::shared_ptr<CGrpcCall>;
  enum class EVerdict { Run, Wait, Refuse };

  explicit CGrpcHandlerTurns(std::size_t services) : mServices(services) {}

  /// Run: the caller runs the handler, then asks `Leave`. Wait: some thread gets the call from `Leave`.
  EVerdict Arrive(std::size_t service, const Call& call);
  /// A handler has ended. Gives the waiting call that has its turn now, to be run at once.
  std::optional<Call> Leave(std::size_t service);
  /// Everything that waits; from now on nothing waits any more but is refused.
  std::vector<Call> Close();

  int Running() const;

 private:
  struct SService {
    int running = 0;
    std::deque<Call> waiting;
  };

  bool HasRoom(const SService& service) const REQUIRES(mMutex);

  mutable CMutex mMutex;
  std::vector<SService> mServices GUARDED_BY(mMutex);
  int mRunning GUARDED_BY(mMutex) = 0;
  std::size_t mNextToAsk GUARDED_BY(mMutex) = 0;  // so that every service has its turn
  bool mClosed GUARDED_BY(mMutex) = false;
};

}  // namespace Rpc
