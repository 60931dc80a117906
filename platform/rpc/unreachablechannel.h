#pragma once

#include <string>
#include <utility>

#include "platform/rpc/channel.h"

namespace Rpc {

/// The way to an address where nobody can ever be: every call fails at once. Any thread.
class CUnreachableChannel final : public IChannel {
 public:
  explicit CUnreachableChannel(std::string reason) : mReason(std::move(reason)) {}

  SAnswer Call(std::string_view, std::string_view, Milliseconds) override {
    return {EStatus::Unreachable, mReason, {}};
  }
  std::unique_ptr<ISubscription> Subscribe(std::string_view, std::string, SSubscriber subscriber) override {
    subscriber.failure(EStatus::Unreachable, mReason);
    return std::make_unique<ISubscription>();
  }

 private:
  const std::string mReason;
};

}  // namespace Rpc
