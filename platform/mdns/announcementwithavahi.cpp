#include "platform/mdns/avahiannouncement.h"

std::unique_ptr<IServiceAnnouncement> AnnounceService(const std::string& serviceType,
                                                      const SFoundService& service, std::string& reason) {
  return CAvahiAnnouncement::Create(serviceType, service, reason);
}
