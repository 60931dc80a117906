#include "src/communication/groupsocket.h"

#include <string_view>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "platform/log/log.h"

namespace {

/// Steps give their failure; empty: none.
std::string Failed(std::string_view step, const SGroupPlace& place, const std::error_code& error) {
  return fmt::format(
      "Failed to {:s} interface {:s}, error {:d}: {:s}. Not starting ethernet group loadbalancing.", step,
      place.adapter, error.value(), error.message());
}

std::string Open(IUdpSocket& socket, const SGroupPlace& place) {
  if (const auto error = socket.Open()) return Failed("open a socket for", place, error);
  if (place.isLoopback) {
    const auto error = socket.AllowAddressReuse();
    return error ? Failed("share the port on", place, error) : "";
  }
  const auto error = socket.BindToDevice(place.adapter);
  return error ? Failed("bind to", place, error) : "";
}

std::string Bind(IUdpSocket& socket, const SGroupPlace& place, SUdpAddress& local) {
  if (const auto error = socket.Bind(place.port)) {
    return fmt::format("Error on bind to '{:s}:{:d}', error {:d}: {:s}", ToText(SUdpAddress{}), place.port,
                       error.value(), error.message());
  }
  if (const auto error = socket.GetLocalAddress(local)) {
    return fmt::format("Error on retrieving local endpoint, error {:d}: {:s}.", error.value(),
                       error.message());
  }
  LOG_DEBUG("scope_id: {}, port: {}", local.scope, local.port);
  return "";
}

SUdpAddress GroupAddress(const SGroupPlace& place, std::uint16_t port) {
  const std::string text = fmt::format("ff12:7062:6c72:100::{:x}%{:d}", place.groupId, place.index);
  return ParseUdpAddress(text, port).value();
}

std::string Join(IUdpSocket& socket, const SGroupPlace& place, const SUdpAddress& group) {
  if (const auto error = socket.SetMulticastLoopback(place.isLoopback))
    return Failed("set the multicast loopback of", place, error);
  if (const auto error = socket.SetMulticastInterface(place.index))
    return Failed("send multicasts through", place, error);
  if (const auto error = socket.JoinGroup(group, place.index))
    return Failed("join the group on", place, error);
  return "";
}

}  // namespace

std::optional<SGroupSocket> OpenGroupSocket(std::unique_ptr<IUdpSocket> socket, const SGroupPlace& place,
                                            std::string& failure) {
  SUdpAddress local;
  SUdpAddress group;
  failure = Open(*socket, place);
  if (failure.empty()) failure = Bind(*socket, place, local);
  if (failure.empty()) {
    group = GroupAddress(place, local.port);
    failure = Join(*socket, place, group);
  }
  if (failure.empty()) return SGroupSocket{.socket = std::move(socket), .group = group};
  socket->Close();
  return std::nullopt;
}
