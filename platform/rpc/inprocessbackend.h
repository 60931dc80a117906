#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/rpc/communicationhost.h"
#include "platform/rpc/inprocessnetwork.h"

namespace Rpc {

/// The backend of an AppCommunicationHost over a CInProcessNetwork that several hosts share; see there for
/// what calls and faults do. The network must not be let go from a callback.
class InProcessBackend {
 public:
  class IServer {
   public:
    virtual ~IServer() = default;
  };

  explicit InProcessBackend(std::shared_ptr<CInProcessNetwork> network) : mNetwork(std::move(network)) {}

  /// Both throw CStartError when the address is in use.
  void CheckAddress(const std::string& address);
  std::unique_ptr<IServer> Serve(const std::string& address,
                                 const std::vector<std::shared_ptr<CService>>& services);
  std::unique_ptr<IChannel> Connect(const std::string& address);

 private:
  std::shared_ptr<CInProcessNetwork> mNetwork;
};

}  // namespace Rpc
