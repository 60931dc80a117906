#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "bench/answeringfollowers.h"
#include "platform/network/network.h"
#include "platform/worker/scheduler.h"

/// A leader's network on which light followers answer at once. It has one adapter, and room for one socket.
/// In virtual time, one thread.
class CAnsweringNetwork final : public INetwork {
 public:
  CAnsweringNetwork(IScheduler& scheduler, CAnsweringFollowers& followers);

  std::uint32_t FindInterfaceIndex(const std::string& /*adapter*/) const override { return 1; }
  std::unique_ptr<IUdpSocket> CreateUdpSocket(const std::string& threadName) override;

 private:
  class CSocket;

  IScheduler& mScheduler;
  CAnsweringFollowers& mFollowers;
};
