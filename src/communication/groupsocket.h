#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/network/network.h"

/// A socket that belongs to a group.
struct SGroupSocket {
  std::unique_ptr<IUdpSocket> socket;
  SUdpAddress group;
};

/// Where a group is met.
struct SGroupPlace {
  std::string adapter;
  bool isLoopback = false;  ///< any adapter will do, and others on this machine may join in
  std::uint32_t index = 0;  ///< the adapter's
  std::uint16_t port = 0;
  std::uint16_t groupId = 0;
};

/// Sets a new socket up and joins the group. Nothing, and why not: it cannot be had.
std::optional<SGroupSocket> OpenGroupSocket(std::unique_ptr<IUdpSocket> socket, const SGroupPlace& place,
                                            std::string& failure);
