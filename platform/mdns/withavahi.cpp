#include "platform/mdns/avahiannouncement.h"
#include "platform/mdns/avahidiscovery.h"

std::shared_ptr<IServiceDiscovery> CreateServiceDiscovery() {
  return std::make_shared<CAvahiDiscovery>();
}

std::unique_ptr<IServiceAnnouncement> AnnounceService(const std::string& serviceType,
                                                      const SFoundService& service, std::string& reason) {
  return CAvahiAnnouncement::Create(serviceType, service, reason);
}
