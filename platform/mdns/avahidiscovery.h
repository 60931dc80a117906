#pragma once

#include "platform/mdns/servicediscovery.h"

/// Finds services with the help of avahi's daemon, which must be running. Searches outlive it: they go on
/// when it is back. Only IPv4.
class CAvahiDiscovery final : public IServiceDiscovery {
 public:
  /// Takes `CAvahiLoop::kPatience` at most. The handler is called under a lock that destroying the search
  /// takes too.
  std::unique_ptr<ISearch> Search(const std::string& serviceType, FoundHandler found,
                                  std::string& reason) override;
};
