#pragma once

#include <memory>
#include <string>

#include "platform/mdns/servicediscovery.h"

/// Tells the local network of a service by multicast DNS until it is destroyed.
class IServiceAnnouncement {
 public:
  virtual ~IServiceAnnouncement() = default;
};

/// The service's address is this machine's, whatever `service` says. A name that somebody else has already is
/// given a number. Null, and a reason, when nothing can be announced now. Any thread.
std::unique_ptr<IServiceAnnouncement> AnnounceService(const std::string& serviceType,
                                                      const SFoundService& service, std::string& reason);
