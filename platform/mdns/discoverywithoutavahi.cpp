#include "platform/mdns/servicediscovery.h"

std::shared_ptr<IServiceDiscovery> CreateServiceDiscovery() {
  return std::make_shared<CNoServiceDiscovery>();
}
