#include "platform/rpc/grpcchannel.h"

#include <utility>

#include <grpc/support/time.h>
#include <grpcpp/client_context.h>
#include <grpcpp/create_channel.h>
#include <grpcpp/impl/client_unary_call.h>
#include <grpcpp/security/credentials.h>
#include <grpcpp/support/channel_arguments.h>

#include "platform/rpc/backoff.h"
#include "platform/rpc/grpcaddress.h"
#include "platform/rpc/grpcstatus.h"
#include "platform/rpc/grpcsubscription.h"
#include "platform/rpc/grpcwire.h"

namespace Rpc {

namespace {

grpc::ChannelArguments Arguments(bool isUnixSocket) {
  grpc::ChannelArguments arguments;
  // One connection for each channel: what happens to one client does not reach another.
  arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
  arguments.SetInt(GRPC_ARG_INITIAL_RECONNECT_BACKOFF_MS, static_cast<int>(CBackOff::kFirst.count()));
  arguments.SetInt(GRPC_ARG_MIN_RECONNECT_BACKOFF_MS, static_cast<int>(CBackOff::kCap.count()));
  arguments.SetInt(GRPC_ARG_MAX_RECONNECT_BACKOFF_MS, static_cast<int>(CBackOff::kCap.count()));
  arguments.SetMaxReceiveMessageSize(kLargestMessage);
  arguments.SetInt(GRPC_ARG_ENABLE_HTTP_PROXY, 0);
  arguments.SetInt(GRPC_ARG_ENABLE_CHANNELZ, 0);
  if (!isUnixSocket) {
    arguments.SetInt(GRPC_ARG_KEEPALIVE_TIME_MS, kKeepAliveTimeMs);
    arguments.SetInt(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, kKeepAliveTimeoutMs);
    arguments.SetInt(GRPC_ARG_HTTP2_MAX_PINGS_WITHOUT_DATA, 0);
  }
  return arguments;
}

}  // namespace

CGrpcChannel::CGrpcChannel(const std::string& address, std::shared_ptr<CGrpcEventLoop> loop)
    : mLoop(std::move(loop)),
      mChannel(grpc::CreateCustomChannel(ToGrpcAddress(address), grpc::InsecureChannelCredentials(),
                                         Arguments(UnixPathOf(address).has_value()))) {}

IChannel::SAnswer CGrpcChannel::Call(std::string_view path, std::string_view request, Milliseconds timeout) {
  const std::string name(path);
  const grpc::internal::RpcMethod method(name.c_str(), grpc::internal::RpcMethod::NORMAL_RPC);
  grpc::ClientContext context;
  // Not the wall clock, which may jump.
  context.set_deadline(
      gpr_time_add(gpr_now(GPR_CLOCK_MONOTONIC), gpr_time_from_millis(timeout.count(), GPR_TIMESPAN)));

  // What generated stubs call too: the shortest way there is, without a change of threads.
  grpc::ByteBuffer response;
  const grpc::Status status =
      grpc::internal::BlockingUnaryCall(mChannel.get(), method, &context, ToBuffer(request), &response);
  if (!status.ok()) return {ToStatus(status), status.error_message(), {}};
  return {EStatus::Ok, {}, std::string(CReceivedBytes(response).View())};
}

std::unique_ptr<IChannel::ISubscription> CGrpcChannel::Subscribe(std::string_view path, std::string request,
                                                                 SSubscriber subscriber) {
  return std::make_unique<CGrpcSubscription>(mLoop, mChannel, std::string(path), request,
                                             std::move(subscriber));
}

}  // namespace Rpc
