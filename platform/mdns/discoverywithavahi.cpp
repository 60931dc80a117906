#include "platform/mdns/avahidiscovery.h"

std::shared_ptr<IServiceDiscovery> CreateServiceDiscovery() {
  return std::make_shared<CAvahiDiscovery>();
}
