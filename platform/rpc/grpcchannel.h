#pragma once

#include <memory>
#include <string>

#include <grpcpp/channel.h>

#include "platform/rpc/channel.h"
#include "platform/rpc/grpceventloop.h"

namespace Rpc {

/// A way to one peer over gRPC. Any thread.
class CGrpcChannel final : public IChannel {
 public:
  CGrpcChannel(const std::string& address, std::shared_ptr<CGrpcEventLoop> loop);

  SAnswer Call(std::string_view path, std::string_view request, Milliseconds timeout) override;
  std::unique_ptr<ISubscription> Subscribe(std::string_view path, std::string request,
                                           SSubscriber subscriber) override;

 private:
  const std::shared_ptr<CGrpcEventLoop> mLoop;
  const std::shared_ptr<grpc::Channel> mChannel;
};

}  // namespace Rpc
