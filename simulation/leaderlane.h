#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <utility>

#include "platform/worker/worker.h"
#include "src/components/loadbalancing/lbmessage.h"

/// A leader's requests over a way on which only one may wait for its answer: each is sent when the one before
/// was answered, or was not in time. On the leader's worker.
class CLeaderLane {
 public:
  struct SRequest {
    ELbMessage id;
    LbSerialNumber station{};

    friend bool operator==(const SRequest&, const SRequest&) = default;
  };
  using Send = std::function<void(const SRequest& request)>;

  CLeaderLane(CWorker& worker, Milliseconds responseTime, Send send)
      : mWorker(worker), mResponseTime(responseTime), mSend(std::move(send)) {}

  /// One that waits for its turn already is not added again.
  void Add(const SRequest& request);
  void TakeAnswer(const SRequest& request);

 private:
  void SendNext();

  CWorker& mWorker;
  const Milliseconds mResponseTime;
  const Send mSend;
  std::deque<SRequest> mWaiting;
  std::optional<SRequest> mAsked;
  CCallHandle mGivingUp;
};
