#include "platform/mdns/serviceannouncement.h"
#include "platform/mdns/servicediscovery.h"

std::shared_ptr<IServiceDiscovery> CreateServiceDiscovery() {
  return std::make_shared<CNoServiceDiscovery>();
}

std::unique_ptr<IServiceAnnouncement> AnnounceService(const std::string&, const SFoundService&,
                                                      std::string& reason) {
  reason = "this build announces no services on the network";
  return nullptr;
}
