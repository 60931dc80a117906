#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/rpc/channel.h"
#include "platform/rpc/logger.h"
#include "platform/rpc/service.h"

namespace Rpc {

class CGrpcEventLoop;

/// The backend of an AppCommunicationHost over gRPC, without encryption: unix sockets ("unix:" and an
/// absolute path) and TCP ("host:port"). Speaks with any gRPC program that has the same .proto files. Copies
/// share the threads that serve subscriptions. Any thread.
class GrpcBackend {
 public:
  class IServer {
   public:
    virtual ~IServer() = default;
  };

  GrpcBackend();

  /// Where gRPC's own log goes, of this whole process; nowhere when null.
  static void SetLogger(std::shared_ptr<ILogger> logger);

  /// Throws CStartError when the address cannot be served at.
  void CheckAddress(const std::string& address);
  /// Throws CStartError.
  std::unique_ptr<IServer> Serve(const std::string& address,
                                 const std::vector<std::shared_ptr<CService>>& services);
  /// The peer need not be there.
  std::unique_ptr<IChannel> Connect(const std::string& address);

 private:
  std::shared_ptr<CGrpcEventLoop> mLoop;
};

}  // namespace Rpc
