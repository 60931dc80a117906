#pragma once

#include "platform/mdns/avahiloop.h"
#include "platform/mdns/serviceannouncement.h"

/// Announces by avahi's daemon, again when it went away and came back.
class CAvahiAnnouncement final : public IServiceAnnouncement {
 public:
  /// See `AnnounceService`.
  static std::unique_ptr<CAvahiAnnouncement> Create(const std::string& serviceType,
                                                    const SFoundService& service, std::string& reason);

 private:
  explicit CAvahiAnnouncement(std::unique_ptr<CAvahiLoop> loop) : mLoop(std::move(loop)) {}

  const std::unique_ptr<CAvahiLoop> mLoop;
};
