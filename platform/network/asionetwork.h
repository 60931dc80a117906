#pragma once

#include "platform/network/network.h"

/// The machine's own network; each of its sockets starts a thread. Sockets may outlive it.
class CAsioNetwork final : public INetwork {
 public:
  std::uint32_t FindInterfaceIndex(const std::string& adapter) const override;
  std::unique_ptr<IUdpSocket> CreateUdpSocket(const std::string& threadName) override;
};
