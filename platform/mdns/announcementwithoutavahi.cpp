#include "platform/mdns/serviceannouncement.h"

std::unique_ptr<IServiceAnnouncement> AnnounceService(const std::string&, const SFoundService&,
                                                      std::string& reason) {
  reason = "this build announces no services on the network";
  return nullptr;
}
